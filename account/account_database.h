// What the commands of ct_account ask the database set for. Failures are told to the user.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "db_googleserverconf.h"
#include "message.h"
#include "orin_memory.h"
#include "orindb_contact.h"
#include "orindb_contactgroup.h"
#include "orindb_contactpartial.h"
#include "orindb_dbaccess.h"
#include "queue_keeper.h"

enum class DatabaseUse : uint8_t {
    show,    // announces nothing, not even a set that is created or converted while it is opened
    change,  // announces changes as every process of the PBX does, and keeps the queue from filling meanwhile
};

// The database set, open for the length of a block.
class Databases {
  public:
    // Opens the set. When that fails, for want of write access to /data for instance, the user is told why.
    explicit Databases(DatabaseUse use);
    ~Databases();
    Databases(const Databases&) = delete;
    Databases& operator=(const Databases&) = delete;

    [[nodiscard]] bool isOpen() const {
        return open_;
    }
    [[nodiscard]] DbContext* context() {
        return &context_;
    }

  private:
    std::optional<QueueKeeper> keeper_;
    DbContext context_{};
    bool open_ = false;
};

// Makes an array of the block that a read of the library hands out; read(Record** block, Count* count) calls it.
// False: failed, the user has been told `what`.
template <typename Record, typename Count = uint32_t, typename Read>
[[nodiscard]] bool account_readArray(std::vector<Record>& records, const char* what, Read read) {
    Record* block = nullptr;
    Count count = 0;
    const int result = read(&block, &count);
    const Malloced<Record> owner(block);
    records.assign(block, block + count);
    return account_succeeded(result, what);
}

// Reads all accounts, ordered by their ids. False: failed.
[[nodiscard]] bool account_readAll(DbContext* databases, std::vector<GoogleServerConf>& accounts);

// Reads the account of a group. False: failed, or there is none.
[[nodiscard]] bool account_readOfGroup(DbContext* databases, uint32_t group, GoogleServerConf& account);

// The contacts of a group (a contact that is in several groups too), ordered by their ids. False: failed.
[[nodiscard]] bool account_readContacts(DbContext* databases, uint32_t group, std::vector<Contact>& contacts);

// A row of the phone book's list for each contact, by its id.
using PhoneList = std::map<uint16_t, ContactPartial>;

// The list of a group's contacts, or of all (group 0). False: failed.
[[nodiscard]] bool account_readList(DbContext* databases, uint32_t group, PhoneList& list);

// Reads a contact group's row; nothing for one that does not exist. False: failed, the user has been told.
[[nodiscard]] bool account_readGroup(DbContext* databases, uint32_t bit, std::optional<ContactGroup>& group);

// The name of a contact group; empty when it does not exist.
[[nodiscard]] std::string account_groupName(DbContext* databases, uint32_t group);
