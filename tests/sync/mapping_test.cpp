// What becomes of a person's fields: the details of a contact.
#include <algorithm>
#include <filesystem>

#include "sync_world.h"

namespace {

constexpr char ADA[] = "people/c1";

class Mapping : public SyncWorld {
  protected:
    // Synchronises these lists of one person and returns what is stored.
    Details synced(const std::vector<PersonList>& lists) {
        serve({person(ADA, lists)});
        EXPECT_EQ(sync(), 0);
        EXPECT_EQ(status(), "");
        return phoneBook()[ADA];
    }
    // What was announced since the last call is the change of the only contact, and that of the account's row.
    void expectAnnounced(ContactChange change) {
        const std::string kind = std::to_string(static_cast<int>(change));
        EXPECT_THAT(announced(), testing::ElementsAre("1101 " + kind + ";" + contactId(ADA) + ";4", "1000 "));
    }
};

// A person with all that a contact can hold and more; the mark is part of every value.
struct Sample {
    std::vector<PersonList> lists;
    Details details;
};

Sample everything(const std::string& mark) {
    // As many entries, with the mark for @ and their numbers for #.
    const auto entries = [&](size_t count, const std::string& members) {
        std::vector<std::string> made(count, members);
        for (size_t i = 0; i < count; ++i) {
            std::replace(made[i].begin(), made[i].end(), '@', mark[0]);
            std::replace(made[i].begin(), made[i].end(), '#', static_cast<char>('0' + i));
        }
        return made;
    };
    const std::vector<PersonList> lists{
        {"names", entries(2,
                          "'honorificPrefix':'Dr. @','givenName':'Ada @','familyName':'L @','displayName':'Ada L @',"
                          "'displayNameLastFirst':'L @, Ada'")},
        {"organizations", entries(2, "'name':'Firma @#','department':'Lager @#','title':'Chefin @#'")},
        {"birthdays", entries(1, "'text':'10.12.181@','date':{'year':1815}")},
        {"photos", entries(1, "'url':'https://lh3.googleusercontent.com/contacts/ada@=s100'")},
        {"phoneNumbers", entries(5, "'type':'Art @#','value':'030','canonicalForm':'+4930111@#'")},
        {"emailAddresses", entries(4, "'value':'@#@example.test','type':'Post @#'")},
        {"urls", entries(4, "'value':'@#.example.test','type':'Web @#'")},
        {"addresses", entries(4,
                              "'type':'Heim @#','streetAddress':'no','extendedAddress':'Haus @#','city':'Ort @#',"
                              "'postalCode':'101@#','country':'Land @#'")},
    };
    Details details{{0, "Dr. " + mark},
                    {1, "Ada " + mark},
                    {2, "L " + mark},
                    {3, "L " + mark + ", Ada"},
                    {4, "Firma " + mark + "0"},
                    {5, "Lager " + mark + "0"},
                    {6, "Chefin " + mark + "0"},
                    {7, "10.12.181" + mark},
                    // The MD5 digests of the two addresses.
                    {8, mark == "1" ? "75ecd88b9210b1a828d5a7ff5eb28333.jpg" : "8cb5d06e58d43d02945643ef04088edb.jpg"},
                    {51, ADA}};
    for (int i = 0; i < 4; ++i) {
        const std::string own = mark + std::to_string(i);
        details[12 + i] = details[38 + i] = "+4930111" + own;
        details[16 + i] = "0$Art " + own;
        if (i < 3) {
            details[20 + i] = own + mark + "example.test";
            details[23 + i] = "0$Post " + own;
            details[26 + i] = own + ".example.test";
            details[29 + i] = "0$Web " + own;
            details[32 + i] = "Haus " + own;
            details[35 + i] = "0$Heim " + own;
            details[42 + 3 * i] = "101" + own;
            details[43 + 3 * i] = "Ort " + own;
            details[44 + 3 * i] = "Land " + own;
        }
    }
    return {lists, details};
}

TEST_F(Mapping, EveryFieldOfAPersonArrivesChangesAndGoes) {
    const Sample first = everything("1");
    const Sample second = everything("2");
    EXPECT_EQ(first.details.size(), 49U);
    EXPECT_EQ(synced(first.lists), first.details);
    expectAnnounced(ContactChange::created);
    const std::string inContact = "orin_google_syncOneContactDetail: add for contactId " + contactId(ADA);
    EXPECT_TRUE(hasLine(ORINLOG_EDEBUG, inContact + " in detailKey=15 (jsonKey=canonicalForm) new=+493011113"));

    EXPECT_EQ(synced(second.lists), second.details);
    expectAnnounced(ContactChange::changed);
    EXPECT_TRUE(hasLine(ORINLOG_EDEBUG, " in detailKey=44 (jsonKey=country) old=Land 10 new=Land 20"));

    EXPECT_EQ(synced({}), (Details{{51, ADA}}));
    expectAnnounced(ContactChange::changed);
    EXPECT_TRUE(hasLine(ORINLOG_EDEBUG, " in detailKey=8 (jsonKey=url) old=" + second.details.at(8)));
}

TEST_F(Mapping, TheNameIsShownAsThePbxIsSet) {
    const std::vector<PersonList> names{{"names", {"'displayName':'Ada L','displayNameLastFirst':'L, Ada'"}}};
    EXPECT_EQ(synced(names)[3], "L, Ada");
    execute("UPDATE Autor SET adminNVVN=1");
    EXPECT_EQ(synced(names)[3], "Ada L");
    execute("DELETE FROM Autor");
    EXPECT_EQ(synced(names)[3], "L, Ada");
}

TEST_F(Mapping, TypeWordsBecomeNumbersAndOtherWordsLabels) {
    // The word, as the type of a number, and of all else.
    const std::vector<std::array<std::string, 3>> cases{{"work", "1$", "1$"},
                                                        {"home", "2$", "2$"},
                                                        {"mobile", "3$", "0$mobile"},
                                                        {"workFax", "4$", "0$workFax"},
                                                        {"homeFax", "5$", "0$homeFax"},
                                                        {"Work", "0$Work", "0$Work"},
                                                        {"", "0$", "0$"},
                                                        {"%s Süd", "0$%s Süd", "0$%s Süd"}};
    std::vector<GooglePerson> served;
    PhoneBook expected;
    for (const auto& [word, phone, other] : cases) {
        const std::vector<std::string> entry{"'type':'" + word + "'"};
        served.push_back(
            person("people/" + word,
                   {{"phoneNumbers", entry}, {"emailAddresses", entry}, {"urls", entry}, {"addresses", entry}}));
        expected["people/" + word] = {{16, phone}, {23, other}, {29, other}, {35, other}, {51, "people/" + word}};
    }
    serve(served);
    ASSERT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook(), expected);
}

TEST_F(Mapping, ANumberWithoutTypeIsAWorkNumberAndLosesItsTypeWithTheNumber) {
    EXPECT_EQ(synced({{"phoneNumbers", {"'value':'110'", "'value':''", "'type':'home'"}}}),
              (Details{{12, "110"}, {16, "1$"}, {17, "1$"}, {18, "2$"}, {38, "110"}, {51, ADA}}));
    // An empty text counts as a value that is never there: it is applied, and announced, each time.
    expectAnnounced(ContactChange::created);
    ASSERT_EQ(sync(), 0);
    expectAnnounced(ContactChange::changed);
    EXPECT_EQ(synced({{"phoneNumbers", {"{}", "'formattedType':'home'"}}}), (Details{{51, ADA}}));
}

TEST_F(Mapping, EntriesAreChosenByTheirMetadata) {
    const std::string primary = "{'metadata':{'primary':true},";
    const std::string other = "{'metadata':{'primary':false},";
    const std::string odd = "{'metadata':{'primary':'true'},";
    EXPECT_EQ(synced({{"urls",
                       {other + "'value':'b'}", "{'value':'-'}", primary + "'value':'a'}", primary + "'value':'-'}",
                        "{'metadata':[],'value':'-'}", odd + "'value':'c'}"}},
                      {"emailAddresses", {other + "'value':'b'}", "7", "null", other + "'value':'c'}"}},
                      {"addresses", {"{'city':'-'}"}}}),
              (Details{{21, "b"}, {22, "c"}, {26, "a"}, {27, "b"}, {28, "c"}, {51, ADA}}));
    EXPECT_TRUE(hasError("key='primary', type boolean was excepted, but type=string was found"));
}

TEST_F(Mapping, CanonicalNumbersAreMadeWhereAndWhenANumberIsWritten) {
    execute("UPDATE Sonstiges SET ortVorwahl='030'");
    const std::vector<PersonList> numbers{
        {"phoneNumbers",
         {"'value':'(0171) 39 20 001'", "'value':'1*234/567'", "'value':'+1 555 0100'", "'value':'112'"}}};
    Details stored = synced(numbers);
    EXPECT_EQ(stored[12] + stored[13], "(0171) 39 20 0011*234/567");
    EXPECT_EQ(stored[38] + stored[39] + stored[40] + stored[41], "+491713920001+49301234567+15550100112");

    // Another place, another meaning, but only for numbers that are written anew.
    execute("UPDATE Sonstiges SET ortVorwahl='1', landVorwahl='39'");
    execute("UPDATE PbxMisc SET value='39' WHERE key='TkLand'", ORINDB_PBX);
    EXPECT_EQ(synced(numbers), stored);
    stored = synced({{"phoneNumbers", {"'value':'0171 39 20 002'", "'value':'1*234/567'"}}});
    EXPECT_EQ(stored[38] + stored[39] + stored[40], "+3901713920002+49301234567");
    // Of a longer text 40 characters are looked at.
    stored = synced({{"phoneNumbers", {"'value':'" + std::string(60, 'x') + "'"}}});
    EXPECT_EQ(stored[12].size(), 60U);
    EXPECT_EQ(stored[38], std::string(40, 'x'));
}

TEST_F(Mapping, LongValuesAreCutBetweenCharacters) {
    const std::string x278(278, 'x');
    const std::vector<PersonList> lists{{"names", {"'givenName':'" + x278 + "äöü','familyName':'" + x278 + "xäö'"}},
                                        {"organizations", {"'name':'" + std::string(300, 'y') + "','title':'A\\tB'"}},
                                        {"urls", {"'type':'" + std::string(300, 'z') + "'"}}};
    const Details stored = synced(lists);
    EXPECT_EQ(stored, (Details{{1, x278 + "ä"},
                               {2, x278 + "x"},
                               {4, std::string(280, 'y')},
                               {6, "A B"},
                               {29, "0$" + std::string(278, 'z')},
                               {51, ADA}}));
    expectAnnounced(ContactChange::created);
    // What is stored other than it came is written again by each pass, with its message.
    EXPECT_EQ(synced(lists), stored);
    expectAnnounced(ContactChange::changed);
    EXPECT_EQ(log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_EDEBUG, "change for contactId"), 4U) << log;
}

class Photos : public Mapping {
  protected:
    const std::string FIRST = "/data/img/75ecd88b9210b1a828d5a7ff5eb28333.jpg";
    const std::string SECOND = "/data/img/8cb5d06e58d43d02945643ef04088edb.jpg";

    Details syncedPhoto(const std::string& mark, const std::string& more = "") {
        return synced({{"photos", {"'url':'https://lh3.googleusercontent.com/contacts/ada" + mark + "=s100'" + more}}});
    }
    bool hasPhotoLine(uint32_t level, const std::string& text) const {
        return hasLine(level, "orin_google_syncOneContactDetail: " + text);
    }
    void SetUp() override {
        Mapping::SetUp();
        google.update([](GoogleAccount& account) {
            account.photos["/contacts/ada1=s100"].bytes = std::string("\xFF\xD8\0one", 6);
            account.photos["/contacts/ada2=s100"].bytes = std::string(200000, '2');
        });
    }
};

TEST_F(Photos, APhotoIsFetchedOnceReplacedAndRemovedWithItsFile) {
    syncedPhoto("1", ",'default':false");
    EXPECT_EQ(readFile(FIRST), std::string("\xFF\xD8\0one", 6));
    EXPECT_TRUE(hasPhotoLine(ORINLOG_DEBUG, "import photo=" + FIRST));
    announced();
    syncedPhoto("1");
    EXPECT_THAT(announced(), testing::ElementsAre("1000 "));
    EXPECT_EQ(syncedPhoto("2"), (Details{{8, "8cb5d06e58d43d02945643ef04088edb.jpg"}, {51, ADA}}));
    EXPECT_FALSE(fileExists(FIRST));
    EXPECT_EQ(readFile(SECOND), std::string(200000, '2'));
    EXPECT_TRUE(hasPhotoLine(ORINLOG_EDEBUG, "remove photo=" + FIRST));
    EXPECT_EQ(syncedPhoto("2", ",'default':true"), (Details{{51, ADA}}));
    EXPECT_FALSE(fileExists(SECOND));
    EXPECT_TRUE(hasPhotoLine(ORINLOG_DEBUG, "remove photo=" + SECOND));
    EXPECT_EQ(google.count(Endpoint::Photo), 2U);
}

TEST_F(Photos, WhatTheServerSendsIsStoredAndNoFailureHarmsTheContact) {
    const Details stored = syncedPhoto("1");
    std::filesystem::remove(FIRST);
    EXPECT_EQ(syncedPhoto("1"), stored);
    EXPECT_FALSE(fileExists(FIRST));
    google.update([](GoogleAccount& account) { account.photos.clear(); });
    EXPECT_EQ(syncedPhoto("2").size(), 2U);
    EXPECT_NE(readFile(SECOND).find("<title>Error 404"), std::string::npos);
    google.presentCertificate(CertificateKind::UnknownAuthority, "lh3.googleusercontent.com");
    EXPECT_EQ(syncedPhoto("1"), stored);
    EXPECT_EQ(readFile(FIRST), "");
    EXPECT_TRUE(log.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, "SSL-Error while retrieving https://lh3.google"));
}

}  // namespace
