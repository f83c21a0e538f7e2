// The phone book as others see it: lists, counts, views, and what a repair leaves of it.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <set>

#include "file_tools.h"
#include "orin_memory.h"
#include "orindb_contactdetail.h"
#include "orindb_contactlist.h"
#include "orindb_contactpartial.h"
#include "orindb_contactviews.h"
#include "set_world.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char BY_KEY[] = " USING INDEX sqlite_autoindex_ContactDetail_1 (contactId=? AND key=?)";

class Store : public OpenSet {
  protected:
    int put(uint16_t contactId, int32_t key, const std::string& value) {
        ContactDetail work{};
        return orindb_createCtD(&db, contactId, key, value.c_str(), &work);
    }
    static SqliteRows rows(const std::string& query) {
        return sqlitePeek(KONFIG_FILE, query);
    }
    // The ids that a list function, called with the out arguments, gives.
    template <typename List>
    static std::vector<uint16_t> contacts(List list) {
        Contact* block = nullptr;
        uint32_t count = 0;
        EXPECT_EQ(list(&block, &count), ORINDB_OK);
        const Malloced<Contact> records(block);
        std::vector<uint16_t> ids;
        for (uint32_t i = 0; i < count; ++i) {
            ids.push_back(block[i].contactId);
        }
        return ids;
    }
};

TEST_F(Store, ContactsAreListedAndCountedAsAsked) {
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,1),(257,3),(513,0x04000001),(2,0x80000000),(3,0),(4,6);"
                   "INSERT INTO Teilnehmer VALUES(21,2147483650)"),
              ORINDB_OK);
    ASSERT_EQ(put(1, 3, "b") + put(257, 3, "a") + put(4, 3, "c") + put(513, 3, "0"), ORINDB_OK);
    EXPECT_THAT(contacts([&](auto... out) { return orindb_getContactArrayPaged(&db, out..., 1, 2); }),
                ElementsAre(2, 3));
    EXPECT_EQ(contacts([&](auto... out) { return orindb_getContactArrayPaged(&db, out..., 1, 0); }).size(), 6U);
    EXPECT_THAT(contacts([&](auto... out) { return orindb_getContactArrayByIdPattern(&db, 1, out...); }),
                ElementsAre(1, 257));
    const auto sorted = [&](uint32_t include, uint32_t exclude, const char* further) {
        return contacts([&](auto... out) {
            return orindb_getContactArraySorted(&db, out..., ORINDB_DETAIL_DISPLAY_NAME, include, exclude, further);
        });
    };
    EXPECT_THAT(sorted(0, 0, "AND cd.value IS NOT NULL"), ElementsAre(257, 1, 4));
    EXPECT_THAT(planOfLastSelect(), HasSubstr("cd" + std::string(BY_KEY)));
    EXPECT_THAT(sorted(3, 4, ""), ElementsAre(257, 1));
    EXPECT_THAT(sorted(0x80000000, 0, ""), ElementsAre(2));
    EXPECT_THAT(sorted(0, 3, nullptr), testing::UnorderedElementsAre(2, 3));

    uint32_t count = 9;
    EXPECT_EQ(orindb_getContactCountOfContactGroup(&db, 0x80000001, 1, &count), ORINDB_OK);
    EXPECT_EQ(count, 3U);
    // Contact 4 is in the mask's group 4 and in the subscriber's group 2, but in no group of both.
    for (const auto& [subscriber, visible] : std::map<uint16_t, uint32_t>{{0, 5}, {21, 1}}) {
        EXPECT_EQ(orindb_getContactCountVisibleToTn(&db, 0x80000005, &count, subscriber), ORINDB_OK);
        EXPECT_EQ(count, visible);
    }
    EXPECT_EQ(orindb_getContactCountVisibleToTn(&db, 1, &count, 22), ORINDB_NOT_FOUND);
    EXPECT_EQ(orindb_getContactCountVisibleToTn(&db, 1, nullptr, 0), ORINDB_INVALID_PARAMETER);
}

TEST_F(Store, AListShowsNumbersAndNamesCutToItsFields) {
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,0x80010002),(2,4); INSERT INTO CallThrough VALUES(1,1)"), ORINDB_OK);
    ASSERT_EQ(
        put(1, 9, "123456") + put(1, 12, "9") + put(1, 15, std::string(60, '4')) + put(1, 3, std::string(200, 'n')),
        ORINDB_OK);
    ContactPartial* block = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(orindb_getContactPartialsArray(&db, &block, &count, "WHERE phoneNr1<>'%s'", "x"), ORINDB_OK);
    const Malloced<ContactPartial> partials(block);
    // One row of each key, found by the primary key.
    for (const char* joined : {"s", "p1", "p2", "p3", "p4", "d"}) {
        EXPECT_THAT(planOfLastSelect(), HasSubstr(joined + std::string(BY_KEY)));
    }
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(block[0].contactId, 2) << "no number comes before any";
    EXPECT_EQ(std::string(block[0].phoneNr1) + block[0].displayname + block[0].shortNr, "");
    EXPECT_EQ(block[0].callThrought + block[0].callThroughtSperr, 0);
    EXPECT_EQ(block[1].contactGrpBitfield, 2);
    EXPECT_STREQ(block[1].shortNr, "1234");
    EXPECT_STREQ(block[1].phoneNr1, "9");
    EXPECT_EQ(block[1].phoneNr4, std::string(40, '4'));
    EXPECT_EQ(block[1].displayname, std::string(128, 'n'));
    EXPECT_EQ(block[1].callThrought + 2 * block[1].callThroughtSperr, 3);
    ContactPartial* none = nullptr;
    EXPECT_EQ(orindb_getContactPartialsArray(&db, &none, &count, "%s", "WHERE 0 ORDER BY c.contactId"), ORINDB_OK);
    EXPECT_THAT(lastSelect(), testing::EndsWith("WHERE 0 ORDER BY c.contactId  "));
    EXPECT_EQ(none, nullptr);
}

TEST_F(Store, ViewsAndDerivedTablesShowTheDetails) {
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,0x80100000),(2,1),(3,0x100000),(4,1);"
                   "INSERT INTO CallThrough VALUES(1,1)"),
              ORINDB_OK);
    ASSERT_EQ(put(1, 9, "12") + put(1, 12, "030 1") + put(1, 38, "+49301") + put(1, 3, "Ada L") + put(1, 16, "3$") +
                  put(1, 2, "L") + put(2, 15, "7") + put(2, 19, "0$Boot") + put(2, 52, "21") + put(2, 1, "Eve") +
                  put(2, 4, "Co") + put(4, 4, "Co"),
              ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM Telefonbuch1View ORDER BY kwId"),
              (SqliteRows{{"1", "2148532224", "12", "030 1", "+49301", "Ada L", "1", "1"},
                          {"3", "1048576", "NULL", "NULL", "NULL", "NULL", "0", "0"}}));
    const std::string names = "SELECT * FROM ContactNames ORDER BY contactId";
    const std::string phones = "SELECT * FROM ContactPhones ORDER BY contactId, phoneIndex";
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(orindb_updateContactNames(&db) + orindb_updateContactPhones(&db), ORINDB_OK);
        EXPECT_EQ(rows(names), (SqliteRows{{"1", "NULL", "L", "Ada L"},
                                           {"2", "Eve", "NULL", "Eve"},
                                           {"3", "NULL", "NULL", "NULL"},
                                           {"4", "NULL", "NULL", "Co"}}));
        EXPECT_EQ(rows(phones), (SqliteRows{{"1", "0", "030 1", "3", "NULL", "+49301"},
                                            {"2", "0", "21", "0", "internal number", "NULL"},
                                            {"2", "3", "7", "0", "Boot", "NULL"}}));
    }
    ASSERT_EQ(put(1, 3, "") + put(1, 12, ""), ORINDB_OK);
    for (int allowed = 0, result = ORINDB_FAILED; result != ORINDB_OK; ++allowed) {
        {
            const FailingSql full(allowed, SQLITE_FULL);
            result = orindb_updateContactPhones(&db);
        }
        EXPECT_EQ(rows(phones)[0][2], result != ORINDB_OK ? "030 1" : "21") << allowed;
    }
    ASSERT_EQ(orindb_updateContactNames(&db), ORINDB_OK);
    EXPECT_EQ(rows(names)[0][3], "L");
}

TEST_F(Store, ARepairRemovesWhatNoContactHasAndStripsShortNumbers) {
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,1),(2,1),(3,1); INSERT INTO ContactDetail VALUES(1,9,'12$3'),"
                   "(1,3,''),(1,4,'5$5'),(2,9,'65535$0'),(2,3,'65535$0'),(3,9,'77'),(4,3,'nobody')"),
              ORINDB_OK);
    ASSERT_EQ(orindb_repairContactDetailTable(&db), ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM ContactDetail ORDER BY contactId, key"),
              (SqliteRows{{"1", "4", "5$5"}, {"1", "9", "12"}, {"2", "3", "65535$0"}, {"3", "9", "77"}}));
    const FailingSql full(1, SQLITE_FULL);
    EXPECT_EQ(orindb_repairContactDetailTable(&db), ORINDB_FAILED);
}

TEST_F(Store, OnlyRegularFilesThatNoDetailNamesGo) {
    const std::string folder = ORINDB_PHOTO_DIRECTORY;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder + "folder");
    const std::string longNamed(250, 'l');
    std::set<std::string> kept{"folder", "link", "dangling", longNamed, std::string(246, 'u')};
    std::set<std::string> unused{std::string(245, 'u'), "it's", "a b\nc", "%s", ".hidden", "\xff\xfe", "Ä.jpg", "1"};
    std::string details = "INSERT INTO ContactDetail VALUES(1,8,'gone.jpg'),(2,8,'" + longNamed + "'),(3,8,'" +
                          std::string(251, 'l') + "'),(4,8,'folder'),(5,8,'dangling'),(6,3,'1')";
    for (int i = 10; i < 2000; ++i) {
        const std::string name = std::to_string(i) + (i % 3 == 0 ? "'.jpg" : "ä.jpg");
        i % 2 == 0 ? kept.insert(name) : unused.insert(name);
        details += i % 2 == 0 ? ",(" + std::to_string(i) + ",8,'" + QuotedText<64>(name.c_str()).get() + "')" : "";
    }
    ASSERT_EQ(exec(details), ORINDB_OK);
    for (const auto* names : {&kept, &unused}) {
        for (const std::string& name : *names) {
            if (name == "link" || name == "dangling") {
                std::filesystem::create_symlink(name == "link" ? longNamed : "nowhere", folder + name);
            } else if (name != "folder") {
                writeFile(folder + name, "");
            }
        }
    }
    const auto files = [&] {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.insert(entry.path().filename());
        }
        return names;
    };
    const size_t all = files().size();
    {
        const FailingSql full(1, SQLITE_FULL);
        EXPECT_EQ(orindb_removeUnusedPhotos(&db), ORINDB_FAILED);
        EXPECT_EQ(files().size(), all) << "without the details nothing is known to be unused";
    }
    ASSERT_EQ(orindb_removeUnusedPhotos(&db), ORINDB_OK);
    EXPECT_EQ(files(), kept);
    EXPECT_EQ(rows("SELECT contactId FROM ContactDetail WHERE contactId<10 ORDER BY 1"),
              (SqliteRows{{"2"}, {"4"}, {"6"}}));
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT COUNT(*) FROM ContactDetail"), "998");
}

}  // namespace
