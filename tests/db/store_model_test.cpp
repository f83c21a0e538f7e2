// Whatever is done to the phone book, and whichever statement fails meanwhile: it holds what a model of it holds.
#include <map>
#include <random>
#include <set>

#include "file_tools.h"
#include "orindb_contactlist.h"
#include "orindb_xml.h"
#include "set_world.h"

namespace {

// What the phone book must hold.
struct Model {
    std::map<uint16_t, uint32_t> groups;
    std::map<std::pair<uint16_t, int32_t>, std::string> details;
    std::set<uint16_t> assigned;          // to a subscriber, and put through
    std::vector<QueueMessage> announced;  // by the last step

    template <typename Condition>
    void removeIf(Condition condition) {
        std::erase_if(groups, condition);
        std::erase_if(details, [this](const auto& detail) { return !groups.contains(detail.first.first); });
    }
    void set(uint16_t contactId, int32_t key, const std::string& value) {
        details.erase({contactId, key});
        if (!value.empty()) {
            details[{contactId, key}] = value;
        }
    }
    [[nodiscard]] std::string rows() const {
        std::string all;
        for (const auto& [id, bits] : groups) {
            all += "Contact|" + std::to_string(id) + '|' + std::to_string(bits) + "|;";
        }
        for (const auto& [place, value] : details) {
            all += "Detail|" + std::to_string(place.first) + '|' + std::to_string(place.second) + '|' + value + ';';
        }
        for (const std::string table : {"Kw", "Through"}) {
            for (const uint16_t id : assigned) {
                all += table + '|' + std::to_string(id) + "|1|;";
            }
        }
        return all;
    }
};

class RandomStore : public OpenSet {
  protected:
    template <typename List>
    auto pick(const List& list) {
        return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(random() % std::size(list)));
    }
    // Each does something to the store and the same to the model and gives its code. A removal's tells no failure.
    int create(Model& after) {
        constexpr std::array GROUPS{0U, 1U, 2U, 6U, 0x80000000U, 0x80000001U, 0x04000001U, 0x40000000U};
        Contact contact{};
        const uint32_t groups = pick(GROUPS);
        const int result = orindb_createContact(&db, groups, 0, &contact);
        after.groups[contact.contactId] = groups;
        return result;
    }
    int save(Model& after) {
        const auto [id, key, value] = std::tuple{pick(after.groups).first, pick(KEYS), pick(VALUES)};
        after.set(id, key, value);
        return put(id, key, value);
    }
    int import(Model& after) {
        std::string xml = "<orindb database='0'><ContactDetail_table>";
        for (int i = 0; i < 4; ++i) {
            const auto [id, key, value] = std::tuple{pick(after.groups).first, pick(KEYS), std::string(pick(VALUES))};
            after.set(id, key, value.empty() ? "" : value + "  ");
            xml += "<r><contactId>" + std::to_string(id) + "</contactId><key>" + std::to_string(key) + "</key><value>" +
                   (value.empty() ? "" : value + "\t\n") + "</value></r>";
        }
        writeFile("/tmp/import.xml", xml + "</ContactDetail_table></orindb>");
        return orindb_xmlImportTable(&db, ORINDB_KONFIG, "/tmp/import.xml", "ContactDetail");
    }
    int assign(Model& after) {
        const std::string id = std::to_string(*after.assigned.insert(pick(after.groups).first).first);
        return exec("BEGIN; REPLACE INTO Kw_Tn VALUES(" + id + "," + id + ",1); REPLACE INTO CallThrough VALUES(" + id +
                    ",1); COMMIT");
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
        after.removeIf([gone = id](const auto& contact) { return contact.first == gone; });
        after.assigned.erase(id);
        if (groups != 0) {
            after.announced = {
                {1101, "3;" + std::to_string(id) + ';' + std::to_string(static_cast<int32_t>(groups)) + '\0'}};
        }
        return orindb_removeCt(&db, id) != ORINDB_OK || Fault::hasFailed() ? ORINDB_FAILED : ORINDB_OK;
    }
    int removeAll(Model& after) {
        after.removeIf([](const auto& contact) { return (contact.second & 0x7C000000) == 0; });
        after.assigned.clear();
        after.announced = {{1103, std::string(1, '\0')}};
        return orindb_removeCtall(&db) != ORINDB_OK || Fault::hasFailed() ? ORINDB_FAILED : ORINDB_OK;
    }
    int removeCsv(Model& after) {
        after.removeIf([](const auto& contact) { return contact.second == 0x80000000; });
        return orindb_removeCSVContacts(&db);
    }

    void step() {
        using Store = RandomStore;
        constexpr std::array OPERATIONS{&Store::create, &Store::create, &Store::create,    &Store::create,
                                        &Store::save,   &Store::save,   &Store::import,    &Store::assign,
                                        &Store::move,   &Store::remove, &Store::removeCsv, &Store::removeAll};
        Model after = model;
        after.announced.clear();
        bool hasFailed = false;
        {
            const Fault full(Fault::sql, random() % 2 == 0 ? static_cast<int>(random() % 9) : 1000);
            const int result = (this->*(model.groups.empty() ? &Store::create : pick(OPERATIONS)))(after);
            hasFailed = Fault::hasFailed();
            ASSERT_EQ(result != ORINDB_OK, hasFailed) << result;
        }
        auto messages = queue.messages();
        queue.clear();
        std::erase_if(messages, [](const QueueMessage& message) { return message.type == ORINDB_MSG_CHANGED; });
        if (!hasFailed) {
            model = after;
            ASSERT_EQ(messages, model.announced);
        }
        ASSERT_EQ(rows("SELECT 'Contact', *, '' FROM Contact UNION ALL SELECT 'Detail', * FROM ContactDetail UNION ALL "
                       "SELECT 'Kw', kwId, teilnehmerId, '' FROM Kw_Tn UNION ALL "
                       "SELECT 'Through', *, '' FROM CallThrough ORDER BY 1, 2, 3"),
                  model.rows());
        ASSERT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
    }

    static constexpr std::array KEYS{1, 2, 2, 3, 12, 51};
    static constexpr std::array VALUES{"mara", "Moritz", "O'Neill", "Müller", "100%", "4711", "Öz", ""};
    std::mt19937 random{7};
    Model model;
};

TEST_F(RandomStore, HoldsWhatAModelHoldsAndAFailureChangesNothing) {
    for (int i = 0; i < 800 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        step();
    }
}

}  // namespace
