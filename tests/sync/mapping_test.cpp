// What becomes of a person's fields: the details of a contact.
#include <filesystem>
#include <sstream>

#include "sync_world.h"

namespace {

constexpr char ADA[] = "people/c1";

class Mapping : public SyncWorld {
  protected:
    // Synchronises these lists of one person and returns what is stored.
    Details synced(const std::vector<PersonList>& lists) {
        serve({person(ADA, lists)});
        EXPECT_EQ(sync(), "1 contacts, updated");
        return phoneBook()[ADA];
    }
    // What was announced since the last call is the change of the only contact, and that of the account's row.
    void expectAnnounced(ContactChange change) {
        const std::string kind = std::to_string(static_cast<int>(change));
        EXPECT_THAT(announced(), testing::ElementsAre("1101 " + kind + ";" + contactId(ADA) + ";4", "1000 "));
    }
};

// The lists of a person: for how many entries there is room, and the members of an entry with the details that they
// become in the first one (-1: none).
constexpr std::tuple<const char*, int, const char*> LISTS[] = {
    {"names", 1, "honorificPrefix=0 givenName=1 familyName=2 displayName=-1 displayNameLastFirst=3"},
    {"organizations", 1, "name=4 department=5 title=6"},
    {"birthdays", 1, "text=7"},
    {"phoneNumbers", 4, "value=-1 canonicalForm=12 type=16"},
    {"emailAddresses", 3, "value=20 type=23"},
    {"urls", 3, "value=26 type=29"},
    {"addresses", 3, "streetAddress=-1 extendedAddress=32 type=35 postalCode=42 city=43 country=44"},
};

// A person whose lists hold one entry more than there is room for, and in `details` what becomes of them. The values
// tell their place: "city-10" is the first one of sample 1.
std::vector<PersonList> everything(int sample, Details& details) {
    details = {{51, ADA}};
    std::vector<PersonList> lists;
    for (const auto& [name, room, memberList] : LISTS) {
        auto& entries = lists.emplace_back(name, std::vector<std::string>{}).second;
        for (int i = 0; i <= room; ++i) {
            std::string entry;
            std::istringstream members(memberList);
            int key = 0;
            for (std::string member; std::getline(members >> std::ws, member, '=') && members >> key;) {
                const std::string value = member + "-" + std::to_string(10 * sample + i);
                entry.append(entry.empty() ? "'" : ",'").append(member).append("':'").append(value).append("'");
                if (key >= 0 && i < room) {
                    details[key < 42 ? key + i : key + 3 * i] = (member == "type" ? "0$" : "") + value;
                }
            }
            entries.push_back(entry);
        }
    }
    for (int i = 0; i < 4; ++i) {
        details[38 + i] = details[12 + i];
    }
    return lists;
}

TEST_F(Mapping, EveryFieldOfAPersonArrivesChangesAndGoes) {
    Details expected;
    EXPECT_EQ(synced(everything(1, expected)), expected);
    expectAnnounced(ContactChange::created);
    const std::string inContact = "orin_google_syncOneContactDetail: add for contactId " + contactId(ADA);
    EXPECT_TRUE(lines(ORINLOG_EDEBUG, inContact + " in detailKey=15 (jsonKey=canonicalForm) new=canonicalForm-13"));

    const std::vector<PersonList> second = everything(2, expected);
    execute("UPDATE Autor SET adminNVVN=1");
    expected[3] = "displayName-20";
    announced();
    EXPECT_EQ(synced(second), expected);
    expectAnnounced(ContactChange::changed);
    EXPECT_TRUE(lines(ORINLOG_EDEBUG, " in detailKey=44 (jsonKey=country) old=country-10 new=country-20"));

    EXPECT_EQ(synced({}), (Details{{51, ADA}}));
    expectAnnounced(ContactChange::changed);
    EXPECT_TRUE(lines(ORINLOG_EDEBUG, " in detailKey=50 (jsonKey=country) old=country-22"));
}

TEST_F(Mapping, TypeWordsBecomeNumbersAndOtherWordsLabels) {
    // The first five are types of a number, the first two those of all else.
    const std::vector<std::string> words{"work", "home", "mobile", "workFax", "homeFax", "Work", "", "%s Süd"};
    std::vector<GooglePerson> served;
    PhoneBook expected;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string name = "people/" + words[i];
        const std::vector<std::string> entry{"'type':'" + words[i] + "'"};
        served.push_back(
            person(name, {{"phoneNumbers", entry}, {"emailAddresses", entry}, {"urls", entry}, {"addresses", entry}}));
        const std::string number = std::to_string(i + 1) + "$";
        const std::string label = "0$" + words[i];
        const std::string other = i < 2 ? number : label;
        expected[name] = {{16, i < 5 ? number : label}, {23, other}, {29, other}, {35, other}, {51, name}};
    }
    serve(served);
    EXPECT_EQ(sync(), "8 contacts, updated");
    EXPECT_EQ(phoneBook(), expected);
}

TEST_F(Mapping, ANumberWithoutTypeIsAWorkNumberAndLosesItsTypeWithTheNumber) {
    EXPECT_EQ(synced({{"phoneNumbers", {"'value':'110'", "'value':''", "'type':'home'"}}}),
              (Details{{12, "110"}, {16, "1$"}, {17, "1$"}, {18, "2$"}, {38, "110"}, {51, ADA}}));
    // An empty text counts as a value that is never there: it is applied, and announced, each time.
    expectAnnounced(ContactChange::created);
    sync();
    expectAnnounced(ContactChange::changed);
    EXPECT_EQ(synced({{"phoneNumbers", {"{}", "'formattedType':'home'"}}}), (Details{{51, ADA}}));
}

TEST_F(Mapping, EntriesAreChosenByTheirMetadata) {
    const std::string primary = "{'metadata':{'primary':true},'value':";
    const std::string other = "{'metadata':{'primary':false},'value':";
    EXPECT_EQ(synced({{"urls",
                       {other + "'b'}", "{'value':'-'}", "7", "null", primary + "'a'}", primary + "'-'}",
                        "{'metadata':[],'value':'-'}", "{'metadata':{'primary':'true'},'value':'c'}"}},
                      {"emailAddresses", {other + "'b'}"}}}),
              (Details{{21, "b"}, {26, "a"}, {27, "b"}, {28, "c"}, {51, ADA}}));
    EXPECT_TRUE(errors("key='primary', type boolean was excepted, but type=string was found"));
}

TEST_F(Mapping, CanonicalNumbersAreMadeWhereAndWhenANumberIsWritten) {
    execute("UPDATE Sonstiges SET ortVorwahl='030'");
    const std::string others = "'value':'1*234/567'";
    const std::vector<PersonList> numbers{{"phoneNumbers", {"'value':'(0171) 39 20 001'", others, "'value':'112'"}}};
    Details stored = synced(numbers);
    EXPECT_EQ(stored[12] + "|" + stored[13] + "|" + stored[14], "(0171) 39 20 001|1*234/567|112");
    EXPECT_EQ(stored[38] + "|" + stored[39] + "|" + stored[40], "+491713920001|+49301234567|112");
    // Another place, another meaning, but only for numbers that are written anew.
    execute("UPDATE Sonstiges SET ortVorwahl='1', landVorwahl='39', nationalPrefix='9'");
    execute("UPDATE PbxMisc SET value='39' WHERE key='TkLand'", ORINDB_PBX);
    EXPECT_EQ(synced(numbers), stored);
    // Of a longer text 40 characters are looked at.
    stored = synced({{"phoneNumbers", {"'value':'0171 39 20 002'", others, "'value':'" + std::string(60, 'x') + "'"}}});
    EXPECT_EQ(stored[38] + "|" + stored[39], "+3901713920002|+49301234567");
    EXPECT_EQ(stored[14] + "|" + stored[40], std::string(60, 'x') + "|" + std::string(40, 'x'));
}

TEST_F(Mapping, TextsOfAnySizeAndKindDoNoHarm) {
    const std::string x278(278, 'x');
    const std::string huge(200000, 'y');
    serve({person(ADA, {{"names", {"'givenName':'" + x278 + "äöü','familyName':'" + x278 + "xäö'"}},
                        {"urls", {"'value':'A\\tB','type':'" + huge + "'"}}}),
           person("people/" + huge, {{"names", {"'givenName':'a\\u0000b','familyName':'\xC3(\xFF'"}}}),
           named("people/c'3", "Quote"), named("people/c4", "%n%s%s%s")});
    EXPECT_EQ(sync(), "4 contacts, updated");
    PhoneBook book = phoneBook();
    const std::string label = "0$" + huge.substr(0, 278);
    EXPECT_EQ(book[ADA], (Details{{1, x278 + "ä"}, {2, x278 + "x"}, {26, "A B"}, {29, label}, {51, ADA}}));
    EXPECT_EQ(book["people/" + huge.substr(0, 273)][1] + "|" + book["people/c4"][1], "a|%n%s%s%s");
    // What is stored other than it came is written again by each pass, with its message.
    announced();
    EXPECT_EQ(sync(), "4 contacts, updated");
    EXPECT_THAT(announced(), testing::Contains("1101 2;" + contactId(ADA) + ";4"));
}

TEST_F(Mapping, APhotoIsFetchedOnceReplacedAndRemovedWithItsFile) {
    // They are kept under the MD5 digests of their addresses.
    const std::string first = "/data/img/7fd09969eba2f1c14b93668617540536.jpg";
    const std::string second = "/data/img/460b0ae99a2d6c8a7b253a27c2b62a2a.jpg";
    const std::string photo = "'url':'https://lh3.googleusercontent.com/contacts/ada";
    google.update([](GoogleAccount& account) {
        account.photos["/contacts/ada1"].bytes = std::string("\xFF\xD8\0one", 6);
        account.photos["/contacts/ada2"].bytes = std::string(200000, '2');
    });
    const std::vector<PersonList> withFirst{{"photos", {photo + "1','default':false"}}};
    synced(withFirst);
    EXPECT_EQ(readFile(first), std::string("\xFF\xD8\0one", 6));
    announced();
    synced(withFirst);
    EXPECT_THAT(announced(), testing::ElementsAre("1000 "));
    EXPECT_EQ(synced({{"photos", {photo + "2'"}}}), (Details{{8, second.substr(10)}, {51, ADA}}));
    EXPECT_FALSE(fileExists(first));
    EXPECT_EQ(readFile(second), std::string(200000, '2'));
    EXPECT_TRUE(lines(ORINLOG_EDEBUG, "remove photo=" + first));
    EXPECT_EQ(google.count(Endpoint::Photo), 2U);

    // A server that is not believed harms nothing but the photo.
    google.presentCertificate(CertificateKind::UnknownAuthority, "lh3.googleusercontent.com");
    EXPECT_EQ(synced(withFirst), (Details{{8, first.substr(10)}, {51, ADA}}));
    EXPECT_EQ(readFile(first), "");
    EXPECT_TRUE(log.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, "SSL-Error while retrieving https://lh3.google"));
    EXPECT_EQ(synced({{"photos", {photo + "1','default':true"}}}), (Details{{51, ADA}}));
    EXPECT_TRUE(std::filesystem::is_empty("/data/img"));
    EXPECT_TRUE(lines(ORINLOG_DEBUG, "remove photo=" + first));
}

}  // namespace
