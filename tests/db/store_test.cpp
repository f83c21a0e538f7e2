// The phone book as a whole: lists, counts, groups, bulk removal, views, repair and photos.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>

#include "file_tools.h"
#include "orin_memory.h"
#include "orindb_contactdetail.h"
#include "orindb_contactlist.h"
#include "orindb_contactpartial.h"
#include "orindb_contactsearch.h"
#include "orindb_contactviews.h"
#include "orindb_xml.h"
#include "set_world.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Ids = std::vector<uint16_t>;

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
    template <typename Record, typename Count, typename List>
    static Ids ids(List list) {
        Record* block = nullptr;
        Count count = 0;
        EXPECT_EQ(list(&block, &count), ORINDB_OK);
        const Malloced<Record> records(block);
        Ids found;
        for (Count i = 0; i < count; ++i) {
            found.push_back(block[i].contactId);
        }
        return found;
    }
    template <typename List>
    static Ids contacts(List list) {
        return ids<Contact, uint32_t>(list);
    }
};

// What the phone book must hold.
struct Model {
    std::map<uint16_t, uint32_t> groups;
    std::map<std::pair<uint16_t, int32_t>, std::string> details;
    std::set<uint16_t> assigned;  // to a subscriber, and put through

    void remove(uint16_t contactId) {
        groups.erase(contactId);
        assigned.erase(contactId);
        std::erase_if(details, [&](const auto& detail) { return detail.first.first == contactId; });
    }
    void set(uint16_t contactId, int32_t key, const std::string& value) {
        value.empty() ? void(details.erase({contactId, key})) : void(details[{contactId, key}] = value);
    }
    [[nodiscard]] std::string content() const {
        std::string lines;
        for (const auto& [id, bits] : groups) {
            lines += "Contact|" + std::to_string(id) + '|' + std::to_string(bits) + '\n';
        }
        for (const auto& [place, value] : details) {
            lines += "ContactDetail|" + std::to_string(place.first) + '|' + std::to_string(place.second) + '|' + value +
                     '\n';
        }
        for (const uint16_t id : assigned) {
            lines += "Kw_Tn|" + std::to_string(id) + '|' + std::to_string(id) + "|21\n";
        }
        for (const uint16_t id : assigned) {
            lines += "CallThrough|" + std::to_string(id) + "|1\n";
        }
        return lines;
    }
};

class RandomStore : public Store {
  protected:
    template <typename List>
    auto pick(const List& list) {
        return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(random() % std::size(list)));
    }
    // Each does something to the store and the same to the model, and tells the code that it got.
    int create(Model& after) {
        constexpr std::array GROUPS{0U, 1U, 2U, 6U, 0x80000000U, 0x80000001U, 0x04000001U, 0x40000000U};
        Contact contact{};
        const uint32_t groups = pick(GROUPS);
        const int result = orindb_createContact(&db, groups, 0, &contact);
        after.groups[contact.contactId] = groups;
        return result;
    }
    int change(Model& after) {
        const uint16_t id = pick(after.groups).first;
        const std::string value = pick(VALUES);
        const int32_t key = pick(KEYS);
        after.set(id, key, value);
        return put(id, key, value);
    }
    int import(Model& after) {
        std::string xml = "<orindb database='0'><ContactDetail_table>";
        for (int i = 0; i < 4; ++i) {
            const uint16_t id = pick(after.groups).first;
            const std::string value = pick(VALUES);
            const int32_t key = pick(KEYS);
            after.set(id, key, value.empty() ? "" : value + "  ");
            xml += "<r><contactId>" + std::to_string(id) + "</contactId><key>" + std::to_string(key) + "</key><value>" +
                   (value.empty() ? "" : value + "\t\n") + "</value></r>";
        }
        writeFile("/tmp/import.xml", xml + "</ContactDetail_table></orindb>");
        return orindb_xmlImportTable(&db, ORINDB_KONFIG, "/tmp/import.xml", "ContactDetail");
    }
    int assign(Model& after) {
        const std::string id = std::to_string(*after.assigned.insert(pick(after.groups).first).first);
        return exec("BEGIN; REPLACE INTO Kw_Tn VALUES(" + id + "," + id + ",21); REPLACE INTO CallThrough VALUES(" +
                    id + ",1); COMMIT");
    }
    int move(Model& after) {
        constexpr std::array BITS{1U, 2U, 4U, 0x80000000U};
        const uint32_t from = pick(BITS);
        const uint32_t to = from == BITS[0] ? 0x80000000U : BITS[0];
        for (auto& [id, groups] : after.groups) {
            groups = (groups & from) != 0 ? (groups | to) & ~from : groups;
        }
        return moveCtGrpIdInContacts(&db, from, to);
    }
    int remove(Model& after) {
        const auto [id, groups] = pick(after.groups);
        after.remove(id);
        if (groups != 0) {
            announced = {1101, "3;" + std::to_string(id) + ';' + std::to_string(static_cast<int32_t>(groups)) + '\0'};
        }
        return orFailed(orindb_removeCt(&db, id));
    }
    int removeAll(Model& after) {
        for (const auto& [id, groups] : Model(after).groups) {
            if ((groups & ORINDB_SYSTEM_GROUPS) == 0) {
                after.remove(id);
            }
        }
        after.assigned.clear();
        announced = {1103, std::string(1, '\0')};
        return orFailed(orindb_removeCtall(&db));
    }
    int removeCsv(Model& after) {
        for (const auto& [id, groups] : Model(after).groups) {
            if (groups == 0x80000000) {
                const bool stays = after.assigned.contains(id);
                after.remove(id);
                stays ? void(after.assigned.insert(id)) : void();
            }
        }
        return orindb_removeCSVContacts(&db);
    }
    // A removal tells nothing of its failure.
    static int orFailed(int result) {
        EXPECT_EQ(result, ORINDB_OK);
        return FailingSql::hasFailed() ? ORINDB_FAILED : ORINDB_OK;
    }

    void step() {
        using Operation = int (RandomStore::*)(Model&);
        constexpr std::array<Operation, 16> OPERATIONS{
            &RandomStore::create,    &RandomStore::create,    &RandomStore::create, &RandomStore::create,
            &RandomStore::change,    &RandomStore::change,    &RandomStore::change, &RandomStore::change,
            &RandomStore::import,    &RandomStore::import,    &RandomStore::assign, &RandomStore::move,
            &RandomStore::removeCsv, &RandomStore::removeCsv, &RandomStore::remove, &RandomStore::removeAll};
        Model after = model;
        const Operation operation = model.groups.empty() ? &RandomStore::create : pick(OPERATIONS);
        announced.reset();
        int result = ORINDB_OK;
        bool hasFailed = false;
        {
            const FailingSql full(random() % 2 == 0 ? static_cast<int>(random() % 9) : 1000, SQLITE_FULL);
            result = (this->*operation)(after);
            hasFailed = FailingSql::hasFailed();
        }
        ASSERT_EQ(result != ORINDB_OK, hasFailed) << result;
        if (!hasFailed) {
            model = after;
            ASSERT_EQ(announcedContacts(), announced ? std::vector{*announced} : std::vector<QueueMessage>());
        }
        ASSERT_EQ(content(), model.content());
        ASSERT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
        queue.clear();
    }
    std::vector<QueueMessage> announcedContacts() {
        auto messages = queue.messages();
        std::erase_if(messages, [](const QueueMessage& message) { return message.type == ORINDB_MSG_CHANGED; });
        return messages;
    }
    void compareReads() {
        std::set<uint16_t> found;
        uint32_t all = 0;
        Ids csv;
        for (const auto& [id, groups] : model.groups) {
            const auto name = model.details.find({id, ORINDB_DETAIL_FAMILY_NAME});
            if (name != model.details.end() && (name->second[0] | ' ') == 'm' &&
                (groups == 0 || (groups & 0x83FFFFFF) != 0)) {
                found.insert(id);
            }
            all += (groups & ORINDB_SYSTEM_GROUPS) == 0 ? 1 : 0;
            (groups & 0x80000000) != 0 ? csv.push_back(id) : void();
        }
        const Ids names =
            ids<ContactDetail, uint32_t>([this](auto... out) { return orindb_searchContactsByName(&db, "m", out...); });
        EXPECT_EQ(std::set(names.begin(), names.end()), found);
        EXPECT_EQ(
            contacts([this](auto... out) { return orindb_getContactArrayOfContactGroup(&db, 0x80000000, out...); }),
            csv);
        uint32_t count = 0;
        EXPECT_EQ(orindb_getNumberofallContact(&db, &count, 0), ORINDB_OK);
        EXPECT_EQ(count, all);
    }

    static constexpr std::array KEYS{1, 2, 2, 3, 12, 51};
    static constexpr std::array VALUES{"mara", "Moritz", "O'Neill", "Müller", "100%", "4711", "Öz", ""};
    std::mt19937 random{7};
    Model model;
    std::optional<QueueMessage> announced;
};

TEST_F(RandomStore, HoldsWhatAModelHoldsAndAFailureChangesNothing) {
    for (int i = 0; i < 800 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        step();
        if (i % 10 == 0) {
            compareReads();
        }
    }
}

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
    EXPECT_THAT((ids<ContactPartial, uint16_t>([&](auto... out) {
                    return orindb_getContactPartialsArray(&db, out..., "WHERE c.contactId<%d ORDER BY c.contactId", 9);
                })),
                ElementsAre(1, 2));
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
