// Whatever is done to the phone book, and whichever statement fails meanwhile: it holds what a model of it holds.
#include <gmock/gmock.h>

#include <map>
#include <optional>
#include <random>
#include <set>

#include "file_tools.h"
#include "orin_memory.h"
#include "orindb_contactdetail.h"
#include "orindb_contactlist.h"
#include "orindb_contactsearch.h"
#include "orindb_xml.h"
#include "set_world.h"

namespace {

// What the phone book must hold.
struct Model {
    std::map<uint16_t, uint32_t> groups;
    std::map<std::pair<uint16_t, int32_t>, std::string> details;
    std::set<uint16_t> assigned;  // to a subscriber, and put through

    void remove(uint16_t contactId) {
        groups.erase(contactId);
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
        std::string putThrough;
        for (const uint16_t id : assigned) {
            lines += "Kw_Tn|" + std::to_string(id) + '|' + std::to_string(id) + "|21\n";
            putThrough += "CallThrough|" + std::to_string(id) + "|1\n";
        }
        return lines + putThrough;
    }
};

class RandomStore : public OpenSet {
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
        ContactDetail work{};
        return orindb_createCtD(&db, id, key, value.c_str(), &work);
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
        after.assigned.erase(id);
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
                after.remove(id);
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
    void search() {
        std::set<uint16_t> expected;
        for (const auto& [place, value] : model.details) {
            const auto contact = model.groups.find(place.first);
            if (place.second == ORINDB_DETAIL_FAMILY_NAME && (value[0] | ' ') == 'm' && contact != model.groups.end() &&
                (contact->second == 0 || (contact->second & 0x83FFFFFF) != 0)) {
                expected.insert(place.first);
            }
        }
        ContactDetail* block = nullptr;
        uint32_t count = 0;
        EXPECT_EQ(orindb_searchContactsByName(&db, "m", &block, &count), ORINDB_OK);
        const Malloced<ContactDetail> names(block);
        std::set<uint16_t> found;
        for (uint32_t i = 0; i < count; ++i) {
            found.insert(block[i].contactId);
        }
        EXPECT_EQ(found, expected);
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
        search();
    }
}

}  // namespace
