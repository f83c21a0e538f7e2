// The phone book: how contacts and details are stored, listed, counted and shown, and what a repair leaves of them.
#include <algorithm>
#include <filesystem>
#include <set>

#include "file_tools.h"
#include "orindb_contactlist.h"
#include "orindb_contactpartial.h"
#include "orindb_contactsearch.h"
#include "orindb_contactviews.h"
#include "set_world.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

class Store : public OpenSet {
  protected:
    uint16_t create(uint32_t groups) {
        Contact contact{};
        EXPECT_EQ(orindb_createContact(&db, groups, 0, &contact), ORINDB_OK);
        return contact.contactId;
    }
    template <typename List>
    std::vector<uint16_t> ids(List list) {
        std::vector<uint16_t> found;
        for (const Contact& contact : read<Contact>(list)) {
            found.push_back(contact.contactId);
        }
        return found;
    }
    // The statement of the last query, where it matters, and the index that SQLite uses for it.
    void expectPlan(const std::string& sql, const std::string& plan) {
        EXPECT_THAT(lastSelect(), HasSubstr(sql));
        EXPECT_THAT(planOfLastSelect(), HasSubstr(plan));
    }
};

TEST_F(Store, AnIdIsDrawnUntilItIsFreeAndNeverZero) {
    // 0 gives 1, the largest number 99,999, of which 34,463 is left, and the third one 65,536.
    constexpr int GIVES_65536 = 1407381556;
    drawNumbers({0, 0, 2147483647, GIVES_65536, 2147483647, 21476});
    EXPECT_THAT((std::array{create(0x80000001), create(2), create(3)}), ElementsAre(1, 34463, 2));
    EXPECT_EQ(rows("SELECT * FROM Contact ORDER BY 1"), "1|2147483649;2|3;34463|2;");
}

TEST_F(Store, AValueIsCutRepairedAndStoredOrRemoved) {
    const std::vector<std::pair<std::string, std::string>> values{{std::string(300, 'x'), std::string(280, 'x')},
                                                                  {std::string(279, 'x') + "ä", std::string(279, 'x')},
                                                                  {"a\tb\t", "a b "},
                                                                  {"\xA4tail", "NULL"},
                                                                  {"", "NULL"}};
    for (const auto& [value, expected] : values) {
        ASSERT_THAT(Codes({put(5, 3, "before"), put(5, 3, value)}), Each(ORINDB_OK));
        EXPECT_EQ(rows("SELECT MAX(value) FROM ContactDetail"), expected + ';') << value;
    }
    EXPECT_EQ(put(0, 3, "x"), ORINDB_INVALID_PARAMETER);
    ASSERT_THAT(Codes({put(5, 3, "x"), exec("ALTER TABLE ContactDetail RENAME TO Gone")}), Each(ORINDB_OK));
    EXPECT_EQ(put(5, 3, "y"), ORINDB_WRITE_FAILED);
    EXPECT_EQ(put(5, 3, ""), ORINDB_FAILED) << "the result of the removal";
}

TEST_F(Store, ContactsAreListedAndCountedAsAsked) {
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,1),(257,3),(513,0x04000001),(2,0x80000000),(3,0),(4,6);"
                   "INSERT INTO Teilnehmer VALUES(21,2147483650)"),
              ORINDB_OK);
    ASSERT_THAT(Codes({put(1, 3, "b"), put(257, 3, "a"), put(4, 3, "c"), put(513, 3, "0")}), Each(ORINDB_OK));
    EXPECT_THAT(ids([&](auto... out) { return orindb_getContactArrayPaged(&db, out..., 1, 2); }), ElementsAre(2, 3));
    EXPECT_THAT(ids([&](auto... out) { return orindb_getContactArrayByIdPattern(&db, 1, out...); }),
                ElementsAre(1, 257));
    EXPECT_THAT(ids([&](auto... out) { return orindb_getContactArrayOfContactGroup(&db, 0x80000004, out...); }),
                ElementsAre(2, 4));
    const auto sorted = [&](uint32_t include, uint32_t exclude, const char* further) {
        return ids(
            [&](auto... out) { return orindb_getContactArraySorted(&db, out..., 3, include, exclude, further); });
    };
    EXPECT_THAT(sorted(0, 0, "AND cd.value IS NOT NULL"), ElementsAre(257, 1, 4));
    EXPECT_THAT(sorted(3, 4, ""), ElementsAre(257, 1));

    // Contact 4 is in the mask's group 4 and in the subscriber's group 2, but in no group of both.
    for (const auto& [subscriber, all, visible] : {std::tuple<uint16_t, uint32_t, uint32_t>{0, 5, 5}, {21, 3, 1}}) {
        std::array<uint32_t, 2> counts{};
        EXPECT_EQ(orindb_getNumberofallContact(&db, &counts[0], subscriber), ORINDB_OK);
        EXPECT_EQ(orindb_getContactCountVisibleToTn(&db, 0x80000005, &counts[1], subscriber), ORINDB_OK);
        EXPECT_THAT(counts, ElementsAre(all, visible));
    }
    uint32_t count = 0;
    EXPECT_EQ(orindb_getContactCountOfContactGroup(&db, 0x80000001, 1, &count), ORINDB_OK);
    EXPECT_EQ(count, 3U);
}

TEST_F(Store, WhatIsReadOftenIsFoundByAnIndex) {
    ASSERT_THAT(Codes({exec("INSERT INTO Contact VALUES(7,0x80000000)"), put(7, 51, "people/c1"), put(7, 12, "+4930"),
                       put(7, 3, "Ada")}),
                Each(ORINDB_OK));
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "people/c1", 0x80000000), 7);
    expectPlan(" WHERE (ct.contactGrpBitfield & -2147483648) > 0 AND cd.value='people/c1' ",
               "SEARCH cd USING INDEX ContactDetail_Index_Value (value=?)");
    EXPECT_THAT(planOfLastSelect(), HasSubstr("SEARCH ct USING INDEX sqlite_autoindex_Contact_1 (contactId=?)"));
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "people/c1", 4), 0);
    ContactDetail detail;
    EXPECT_EQ(orindb_getContactDetail(&db, 12, 7, &detail), ORINDB_OK);
    expectPlan("WHERE contactId=7 AND key=12", "USING INDEX sqlite_autoindex_ContactDetail_1 (contactId=? AND key=?)");
    ContactDetail* block = nullptr;
    uint32_t count = 0;
    OrinHashTable table{};
    ASSERT_EQ(orindb_getContactDetailArrayAndHashTable(&db, 7, &block, &count, &table), ORINDB_OK);
    expectPlan("FROM ContactDetail WHERE contactId=", "(contactId=?)");
    const auto partials = read<ContactPartial, uint16_t>(
        [&](auto... out) { return orindb_getContactPartialsArray(&db, out..., "WHERE phoneNr1<>'%s'", "x"); });
    ASSERT_EQ(partials.size(), 1U);
    EXPECT_EQ(partials[0].displayname + std::string("|") + partials[0].phoneNr1, "Ada|+4930");
    for (const char* joined : {"s", "p1", "p2", "p3", "p4", "d"}) {
        expectPlan("", joined + std::string(" USING INDEX sqlite_autoindex_ContactDetail_1 (contactId=? AND key=?)"));
    }
    const Malloced<ContactDetail> details(block);
    void* found = nullptr;
    ASSERT_EQ(orin_getFromHashTable(&table, reinterpret_cast<void*>(12), &found), 0);
    EXPECT_STREQ(static_cast<ContactDetail*>(found)->value, detail.value);
    orin_destroyHashTable(&table);
    EXPECT_EQ(errors(), 0U);
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "it's", 4), 0) << "a failed query finds nothing";
    EXPECT_GT(errors(), 0U);
}

TEST_F(Store, ViewsAndDerivedTablesShowTheDetails) {
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,0x80100000),(2,1),(3,0x100000),(4,1);"
                   "INSERT INTO CallThrough VALUES(1,1); INSERT INTO ContactDetail VALUES(1,9,'12'),(1,12,'030 1'),"
                   "(1,38,'+49301'),(1,3,'Ada L'),(1,16,'3$'),(1,2,'L'),(2,15,'7'),(2,19,'0$Boot'),(2,52,'21'),"
                   "(2,1,'Eve'),(2,4,'Co'),(4,4,'Co')"),
              ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM Telefonbuch1View ORDER BY kwId"),
              "1|2148532224|12|030 1|+49301|Ada L|1|1;3|1048576|NULL|NULL|NULL|NULL|0|0;");
    ASSERT_THAT(Codes({orindb_updateContactNames(&db), orindb_updateContactPhones(&db)}), Each(ORINDB_OK));
    EXPECT_EQ(rows("SELECT * FROM ContactNames ORDER BY 1"),
              "1|NULL|L|Ada L;2|Eve|NULL|Eve;3|NULL|NULL|NULL;4|NULL|NULL|Co;");
    ASSERT_THAT(Codes({put(1, 16, ""), put(1, 12, "7")}), Each(ORINDB_OK));
    failEachCall([&] { return orindb_updateContactPhones(&db); });
    EXPECT_EQ(rows("SELECT * FROM ContactPhones ORDER BY 1, 2"),
              "1|0|7|NULL|NULL|+49301;2|0|21|0|internal number|NULL;2|3|7|0|Boot|NULL;");
}

TEST_F(Store, OnlyRegularFilesThatNoDetailNamesGo) {
    const std::string folder = ORINDB_PHOTO_DIRECTORY;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder + "folder");
    const std::string longNamed(250, 'l');
    std::set<std::string> kept{longNamed, std::string(246, 'u')};
    std::set<std::string> unused{std::string(245, 'u'), "it's", "a b\nc", "%s", ".hidden", "\xff\xfe", "Ä.jpg", "1"};
    std::string details = "INSERT INTO ContactDetail VALUES(1,8,'gone.jpg'),(2,8,'" + longNamed + "'),(3,8,'" +
                          std::string(251, 'l') + "'),(4,8,'folder'),(5,8,'dangling'),(6,3,'1')";
    for (int i = 10; i < 4000; ++i) {
        const std::string name = std::to_string(i) + (i % 3 == 0 ? "'.jpg" : "ä.jpg");
        (i % 2 == 0 ? kept : unused).insert(name);
        details += i % 2 == 0 ? ",(" + std::to_string(i) + ",8,'" + QuotedText<64>(name.c_str()).get() + "')" : "";
    }
    ASSERT_EQ(exec(details), ORINDB_OK);
    std::for_each(kept.begin(), kept.end(), [&](const auto& name) { writeFile(folder + name, ""); });
    std::for_each(unused.begin(), unused.end(), [&](const auto& name) { writeFile(folder + name, ""); });
    std::filesystem::create_symlink(longNamed, folder + "link");
    std::filesystem::create_symlink("nowhere", folder + "dangling");
    kept.insert({"folder", "link", "dangling"});
    const auto files = [&] {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.insert(entry.path().filename());
        }
        return names;
    };
    {
        const Fault full(Fault::sql, 1);
        EXPECT_EQ(orindb_removeUnusedPhotos(&db), ORINDB_FAILED);
        EXPECT_EQ(files().size(), kept.size() + unused.size()) << "without the details nothing is known to be unused";
    }
    ASSERT_EQ(orindb_removeUnusedPhotos(&db), ORINDB_OK);
    EXPECT_EQ(files(), kept);
    EXPECT_EQ(rows("SELECT contactId FROM ContactDetail WHERE contactId<10 ORDER BY 1"), "2;4;6;");
    EXPECT_EQ(rows("SELECT COUNT(*) FROM ContactDetail"), "1998;");
}

}  // namespace
