// The phone book: contacts and their details.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <map>
#include <random>

#include "orin_memory.h"
#include "orindb_contact.h"
#include "orindb_contactdetail.h"
#include "set_world.h"

namespace {

class Contacts : public OpenSet {
  protected:
    uint16_t create(uint32_t groups) {
        Contact contact{};
        EXPECT_EQ(orindb_createContact(&db, groups, 0, &contact), ORINDB_OK);
        return contact.contactId;
    }
    int put(uint16_t contactId, int32_t key, const std::string& value) {
        ContactDetail work{};
        return orindb_createCtD(&db, contactId, key, value.c_str(), &work);
    }
    static std::string stored(uint16_t contactId, int32_t key) {
        return sqliteValue(KONFIG_FILE, "SELECT COALESCE(MAX(value), '') FROM ContactDetail WHERE contactId=" +
                                            std::to_string(contactId) + " AND key=" + std::to_string(key));
    }
};

TEST_F(Contacts, AnIdIsDrawnUntilItIsFreeAndNeverZero) {
    // 0 gives 1, the largest number 99,999, of which 34,463 is left, and the third one 65,536.
    constexpr int GIVES_65536 = 1407381556;
    const DrawnNumbers numbers{0, 0, 2147483647, GIVES_65536, 2147483647, 21476};
    EXPECT_EQ(create(0x80000001), 1);
    EXPECT_EQ(create(2), 34463);
    EXPECT_EQ(create(3), 2);
    EXPECT_EQ(content(), "Contact|1|2147483649\nContact|2|3\nContact|34463|2\n");
    Contact contact{};
    EXPECT_EQ(orindb_getKontakt(&db, 1, &contact), ORINDB_OK);
    EXPECT_EQ(contact.contactGrpBitfield, 0x80000001);
    EXPECT_EQ(orindb_getKontakt(&db, 4, &contact), ORINDB_NOT_FOUND);
    EXPECT_EQ(contact.contactId, 1) << "a missing row leaves the record alone";
}

TEST_F(Contacts, AValueIsCutRepairedAndStoredOrRemoved) {
    const std::vector<std::pair<std::string, std::string>> values{
        {"plain", "plain"},
        {std::string(300, 'x'), std::string(280, 'x')},
        {std::string(279, 'x') + "\xC3\xA4", std::string(279, 'x')},
        {"a\tb\t", "a b "},
        {"O'Neill", "O'Neill"},
        {"\xA4tail", ""},
        {"\xC3", ""},
        {"", ""},
    };
    for (const auto& [value, expected] : values) {
        ASSERT_EQ(put(5, 3, "before") + put(5, 3, value), ORINDB_OK);
        EXPECT_EQ(stored(5, 3), expected) << value;
    }
    ContactDetail none{};
    EXPECT_EQ(orindb_saveContactDetail(&db, &none), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_saveContactDetail(&db, nullptr), ORINDB_INVALID_PARAMETER);
    ASSERT_EQ(put(5, 3, "x") + exec("ALTER TABLE ContactDetail RENAME TO Gone"), ORINDB_OK);
    EXPECT_EQ(put(5, 3, "y"), ORINDB_WRITE_FAILED);
    EXPECT_EQ(put(5, 3, ""), ORINDB_FAILED) << "the result of the removal";
}

TEST_F(Contacts, StatementsAreExactAndUseTheIndexes) {
    EXPECT_STREQ(ORINDB_CONTACT_TABLE.saveText, "REPLACE INTO Contact VALUES (?1,?2)");
    EXPECT_STREQ(ORINDB_CONTACT_TABLE.columnList, "contactId,contactGrpBitfield");
    EXPECT_STREQ(ORINDB_CONTACT_DETAIL_TABLE.saveText, "REPLACE INTO ContactDetail VALUES (?1,?2,?3)");
    EXPECT_STREQ(ORINDB_CONTACT_DETAIL_TABLE.columnList, "contactId,key,value");
    const auto expectStatement = [this](const std::string& sql, const std::string& plan) {
        EXPECT_EQ(lastSelect(), sql);
        EXPECT_THAT(planOfLastSelect(), testing::HasSubstr(plan));
    };
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "people/c1", 0x80000000), 0);
    expectStatement(
        "SELECT ct.contactId,ct.contactGrpBitfield FROM Contact ct  JOIN contactdetail cd ON ct.contactid=cd.contactid "
        "AND cd.key=51  WHERE (ct.contactGrpBitfield & -2147483648) > 0 AND cd.value='people/c1' ",
        "SEARCH cd USING INDEX ContactDetail_Index_Value (value=?); SEARCH ct USING INDEX sqlite_autoindex_Contact_1");
    ContactDetail detail;
    EXPECT_EQ(orindb_getContactDetail(&db, 51, 7, &detail), ORINDB_NOT_FOUND);
    expectStatement("SELECT contactId,key,value FROM ContactDetail WHERE contactId=7 AND key=51 ",
                    "USING INDEX sqlite_autoindex_ContactDetail_1 (contactId=? AND key=?)");
    ContactDetail* details = nullptr;
    Contact* contacts = nullptr;
    uint32_t count = 1;
    EXPECT_EQ(orindb_getContactDetailArrayOfContact(&db, 7, &details, &count), ORINDB_OK);
    expectStatement("SELECT DISTINCT contactId,key,value FROM ContactDetail WHERE contactId=7 ORDER BY contactId, key ",
                    "(contactId=?)");
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(details, nullptr);
    EXPECT_EQ(orindb_getContactArrayOfContactGroup(&db, 4, &contacts, &count), ORINDB_OK);
    EXPECT_EQ(lastSelect(),
              "SELECT DISTINCT contactId,contactGrpBitfield FROM Contact WHERE contactGrpBitfield & 4 > "
              "0 ORDER BY contactId ");
    EXPECT_EQ(orindb_getContactArray(&db, &contacts, &count, "ORDER BY contactId LIMIT %u", 2U), ORINDB_OK);
    EXPECT_EQ(lastSelect(), "SELECT DISTINCT contactId,contactGrpBitfield FROM Contact ORDER BY contactId LIMIT 2  ");
    EXPECT_EQ(orindb_getContactArray(&db, &contacts, &count, "%s", "SELECT 1, 2"), 0);
    EXPECT_EQ(lastSelect(), "SELECT 1, 2 ");
    free(contacts);
    EXPECT_EQ(orindb_getContactArray(&db, nullptr, &count, "%s", ""), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_getContactArray(nullptr, &contacts, &count, "%s", ""), ORINDB_INVALID_PARAMETER);
}

TEST_F(Contacts, AContactIsFoundByItsResourceNameInItsGroups) {
    const uint16_t inHighGroup = create(0x80000000);
    const uint16_t inLowGroup = create(4);
    ASSERT_EQ(put(inHighGroup, 51, "people/c1") + put(inLowGroup, 51, "people/c2"), ORINDB_OK);
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "people/c1", 0x80000000), inHighGroup);
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "people/c1", 4), 0);
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "people/c2", 0x80000004), inLowGroup);
    EXPECT_EQ(orindb_getContactIdByResourceName(&db, "it's", 4), 0) << "a failed query finds nothing";
    EXPECT_GT(errors(), 0U);
}

TEST_F(Contacts, TheDetailsOfAContactAreFoundByTheirKeys) {
    ASSERT_EQ(put(9, 12, "+4930") + put(9, 3, "Ada") + put(8, 3, "Eve"), ORINDB_OK);
    ContactDetail* block = nullptr;
    uint32_t count = 0;
    OrinHashTable table{};
    ASSERT_EQ(orindb_getContactDetailArrayAndHashTable(&db, 9, &block, &count, &table), ORINDB_OK);
    const Malloced<ContactDetail> details(block);
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(table.slotCount, 100U);
    void* found = nullptr;
    ASSERT_EQ(orin_getFromHashTable(&table, reinterpret_cast<void*>(12), &found), 0);
    EXPECT_EQ(found, &block[1]);
    EXPECT_EQ(orin_getFromHashTable(&table, reinterpret_cast<void*>(51), &found), -1);
    orin_destroyHashTable(&table);
    const FailingSql full(0, SQLITE_FULL);
    table = {};
    EXPECT_EQ(orindb_getContactDetailArrayAndHashTable(&db, 9, &block, &count, &table), ORINDB_FAILED);
    EXPECT_EQ(table.slots, nullptr);
    EXPECT_EQ(block, nullptr);
}

TEST_F(Contacts, SystemContactsDoNotCountAndASubscriberCountsWhatHeMaySee) {
    for (const uint32_t groups : {0x1U, 0x6U, 0x80000001U, 0x04000001U, 0x40000000U, 0U}) {
        create(groups);
    }
    uint32_t count = 0;
    EXPECT_EQ(orindb_getNumberofallContact(&db, &count, 0), ORINDB_OK);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(exec("INSERT INTO Teilnehmer VALUES(21,1073741826)"), ORINDB_OK);
    EXPECT_EQ(orindb_getNumberofallContact(&db, &count, 21), ORINDB_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(orindb_getNumberofallContact(&db, &count, 22), ORINDB_NOT_FOUND);
    EXPECT_EQ(orindb_getRowCount(&db, ORINDB_KONFIG, &count, "Contact", "WHERE contactGrpBitfield=%d", 6), ORINDB_OK);
    EXPECT_EQ(count, 1U);
}

TEST_F(Contacts, ARemovedContactTakesAllThatIsItsAndIsAnnounced) {
    ASSERT_EQ(put(create(2), 3, "Ada"), ORINDB_OK);
    const std::string before = content();
    const uint16_t gone = create(0x80000001);
    const std::string id = std::to_string(gone);
    ASSERT_EQ(put(gone, 3, "Eve") + put(gone, 51, "people/c1"), ORINDB_OK);
    ASSERT_EQ(exec("INSERT INTO Kw_Tn VALUES(1," + id + ",21)") + exec("INSERT INTO CallThrough VALUES(" + id + ",1)"),
              ORINDB_OK);
    failEachCall([&] {
        EXPECT_EQ(orindb_removeCt(&db, gone), ORINDB_OK) << "failures are only logged";
        return FailingSql::hasFailed() ? ORINDB_FAILED : ORINDB_OK;
    });
    EXPECT_EQ(content(), before);
    const std::string text = "3;" + id + ";-2147483647";
    EXPECT_THAT(queue.messages(), testing::Contains(QueueMessage{1101, text + '\0'}));
    queue.clear();
    EXPECT_EQ(orindb_removeCt(&db, gone), ORINDB_OK);
    EXPECT_THAT(queue.messages(), testing::IsEmpty()) << "there was nothing to remove";
}

TEST_F(Contacts, ASortedArrayIsSearchedByHalves) {
    Contact contacts[5]{};
    for (uint16_t i = 0; i < 5; ++i) {
        contacts[i].contactId = static_cast<uint16_t>(10 * i + 10);
    }
    for (uint32_t count = 0; count <= 5; ++count) {
        for (int id = 5; id <= 60; id += 5) {
            const int index = id / 10 - 1;
            const bool there = id % 10 == 0 && index < static_cast<int>(count);
            EXPECT_EQ(orindb_findContactInArray(contacts, count, static_cast<uint16_t>(id)), there ? index : -1);
        }
    }
}

// What the phone book must hold: the values of each contact by key.
using Model = std::map<uint16_t, std::map<int32_t, std::string>>;

std::string asContent(const Model& model) {
    std::string contacts;
    std::string details;
    for (const auto& [id, values] : model) {
        contacts += "Contact|" + std::to_string(id) + "|1\n";
        for (const auto& [key, value] : values) {
            details += "ContactDetail|" + std::to_string(id) + '|' + std::to_string(key) + '|' + value + '\n';
        }
    }
    return contacts + details;
}

TEST_F(Contacts, AnyCallMayFailAndThePhoneBookHoldsWhatWasReported) {
    std::mt19937 random(1);
    const auto below = [&](size_t limit) { return static_cast<int>(random() % limit); };
    Model model;
    const auto doSomething = [&] {
        const int action = below(8);
        const FailingSql full(below(2) == 0 ? below(12) : 1000, SQLITE_FULL);
        if (action == 0 || model.empty()) {
            Contact contact{};
            if (orindb_createContact(&db, 1, 0, &contact) == ORINDB_OK) {
                model[contact.contactId];
            }
            return;
        }
        const auto chosen = std::next(model.begin(), below(model.size()));
        if (action == 1) {
            orindb_removeCt(&db, chosen->first);
            if (!FailingSql::hasFailed()) {
                model.erase(chosen);
            }
            return;
        }
        const int key = below(5);
        const std::string value(static_cast<size_t>(below(3)), static_cast<char>('a' + below(26)));
        if (put(chosen->first, key, value) == ORINDB_OK) {
            value.empty() ? void(chosen->second.erase(key)) : void(chosen->second[key] = value);
        }
    };
    for (int step = 0; step < 400; ++step) {
        doSomething();
        if (step % 20 == 19) {
            ASSERT_EQ(content(), asContent(model)) << "step " << step;
        }
    }
    EXPECT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
}

}  // namespace
