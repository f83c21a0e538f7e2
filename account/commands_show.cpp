// Showing the accounts and the phone book.
#include <json-c/json.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "account_database.h"
#include "account_status.h"
#include "commands.h"
#include "contact_details.h"
#include "google_guards.h"
#include "json_members.h"
#include "message.h"
#include "orin_utf8.h"
#include "orindb_contactdetail.h"
#include "orindb_contactgroup.h"
#include "orindb_contactsearch.h"
#include "text_table.h"

namespace {

struct PhoneBookEntry {
    Contact contact;
    ContactPartial listed;
    std::map<int32_t, std::string> details;

    // The detail's text; empty when there is none.
    [[nodiscard]] std::string text(int32_t key) const {
        const auto found = details.find(key);
        return found != details.end() ? account_detailText(key, found->second) : std::string();
    }
};

// What the PBX sorts a contact by.
std::string nameOf(const PhoneBookEntry& entry) {
    if (entry.listed.displayname[0] != '\0') {
        return entry.listed.displayname;
    }
    for (const int32_t key : {ORINDB_DETAIL_FAMILY_NAME, ORINDB_DETAIL_GIVEN_NAME, ORINDB_DETAIL_ORGANISATION}) {
        if (entry.details.contains(key)) {
            return entry.text(key);
        }
    }
    return "";
}

bool comesBefore(const PhoneBookEntry& a, const PhoneBookEntry& b) {
    const std::string nameA = nameOf(a);
    const std::string nameB = nameOf(b);
    const int order = orin_utf8_compare(nameA.data(), nameA.size(), nameB.data(), nameB.size(), OrinCase::insensitive);
    return order != 0 ? order < 0 : a.contact.contactId < b.contact.contactId;
}

bool readDetails(DbContext* databases, PhoneBookEntry& entry) {
    std::vector<ContactDetail> details;
    const bool isRead =
        account_readArray(details, "the contacts' details cannot be read", [&](ContactDetail** block, uint32_t* count) {
            return orindb_getContactDetailArrayOfContact(databases, entry.contact.contactId, block, count);
        });
    for (const ContactDetail& detail : details) {
        entry.details.emplace(detail.key, detail.value);
    }
    return isRead;
}

bool groupExists(DbContext* databases, uint32_t group) {
    std::optional<ContactGroup> row;
    if (!account_readGroup(databases, group, row)) {
        return false;
    }
    if (!row) {
        account_error("there is no contact group %u", group);
    }
    return row.has_value();
}

// Reads the phone book of a group, sorted by name. False: failed.
bool readPhoneBook(uint32_t group, std::vector<PhoneBookEntry>& phoneBook) {
    Databases databases(DatabaseUse::show);
    std::vector<Contact> contacts;
    PhoneList list;
    if (!databases.isOpen() || !account_readContacts(databases.context(), group, contacts) ||
        !account_readList(databases.context(), group, list)) {
        return false;
    }
    if (contacts.empty() && !groupExists(databases.context(), group)) {
        return false;
    }
    for (const Contact& contact : contacts) {
        phoneBook.push_back({contact, list[contact.contactId], {}});
        if (!readDetails(databases.context(), phoneBook.back())) {
            return false;
        }
    }
    std::sort(phoneBook.begin(), phoneBook.end(), comesBefore);
    return true;
}

using PhoneTypes = std::array<std::string, ORINDB_PHONES>;

PhoneTypes phoneTypesOf(const PhoneBookEntry& entry) {
    PhoneTypes types;
    for (int32_t i = 0; i < ORINDB_PHONES; ++i) {
        types.at(static_cast<size_t>(i)) = entry.text(ORINDB_DETAIL_PHONE_TYPE + i);
    }
    return types;
}

// "work +49 30 1, mobile +49 170 2"
std::string numbersOf(const ContactPartial& listed, const PhoneTypes& types) {
    std::string numbers;
    const std::string* type = types.data();
    for (const char* number : {listed.phoneNr1, listed.phoneNr2, listed.phoneNr3, listed.phoneNr4}) {
        if (*number != '\0') {
            numbers.append(numbers.empty() ? "" : ", ").append(*type).append(type->empty() ? "" : " ").append(number);
        }
        ++type;
    }
    return numbers;
}

void printTable(const std::vector<PhoneBookEntry>& phoneBook) {
    TextTable table({"ID", "NAME", "NUMBERS", "MAIL", "ORGANISATION", "PHOTO"});
    for (const PhoneBookEntry& entry : phoneBook) {
        table.addRow({std::to_string(entry.contact.contactId), nameOf(entry),
                      numbersOf(entry.listed, phoneTypesOf(entry)), entry.text(ORINDB_DETAIL_MAIL),
                      entry.text(ORINDB_DETAIL_ORGANISATION),
                      entry.details.contains(ORINDB_DETAIL_PHOTO) ? "yes" : "no"});
    }
    table.print(account_outputWidth());
}

void printDetails(const std::vector<PhoneBookEntry>& phoneBook) {
    for (const PhoneBookEntry& entry : phoneBook) {
        printf("%u %s\n", entry.contact.contactId, account_printable(nameOf(entry)).c_str());
        for (const auto& [key, value] : entry.details) {
            printf("  %-16s %s\n", account_detailName(key).c_str(),
                   account_printable(account_detailText(key, value)).c_str());
        }
    }
}

int printJson(const JsonObject& object) {
    puts(json_object_to_json_string_ext(object.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE));
    return ACCOUNT_OK;
}

int printJson(const std::vector<PhoneBookEntry>& phoneBook) {
    const JsonObject list(json_object_new_array());
    for (const PhoneBookEntry& entry : phoneBook) {
        json_object* details = json_object_new_object();
        for (const auto& [key, value] : entry.details) {
            account_addText(details, account_detailName(key).c_str(), account_detailText(key, value));
        }
        json_object* contact = json_object_new_object();
        account_addNumber(contact, "contactId", entry.contact.contactId);
        account_addNumber(contact, "groups", entry.contact.contactGrpBitfield);
        json_object_object_add(contact, "details", details);
        json_object_array_add(list.get(), contact);
    }
    return printJson(list);
}

bool readStatuses(uint32_t group, std::vector<AccountStatus>& statuses) {
    Databases databases(DatabaseUse::show);
    std::vector<GoogleServerConf> accounts(1);
    if (!databases.isOpen() || !(group != 0 ? account_readOfGroup(databases.context(), group, accounts.front())
                                            : account_readAll(databases.context(), accounts))) {
        return false;
    }
    return std::all_of(accounts.begin(), accounts.end(), [&](const GoogleServerConf& account) {
        return account_readStatus(databases.context(), account, statuses.emplace_back());
    });
}

}  // namespace

int account_showStatus(const Options& options) {
    std::vector<AccountStatus> statuses;
    if (!readStatuses(options.group, statuses)) {
        return ACCOUNT_FAILED;
    }
    if (options.has(Option::json)) {
        const JsonObject list(json_object_new_array());
        for (const AccountStatus& status : statuses) {
            json_object_array_add(list.get(), account_statusToJson(status));
        }
        return printJson(list);
    }
    for (const AccountStatus& status : statuses) {
        account_printStatus(status);
    }
    if (statuses.empty()) {
        puts("there is no Google account");
    }
    return ACCOUNT_OK;
}

int account_showContacts(const Options& options) {
    std::vector<PhoneBookEntry> phoneBook;
    if (!readPhoneBook(options.group, phoneBook)) {
        return ACCOUNT_FAILED;
    }
    if (options.has(Option::json)) {
        return printJson(phoneBook);
    }
    if (options.has(Option::allDetails)) {
        printDetails(phoneBook);
    } else {
        printTable(phoneBook);
    }
    return ACCOUNT_OK;
}

int account_search(const Options& options) {
    Databases databases(DatabaseUse::show);
    PhoneList list;
    if (!databases.isOpen() || !account_readList(databases.context(), 0, list)) {
        return ACCOUNT_FAILED;
    }
    std::vector<ContactDetail> names;
    if (!account_readArray(names, "the contacts cannot be searched", [&](ContactDetail** block, uint32_t* count) {
            return orindb_searchContactsByName(databases.context(), options.operand, block, count);
        })) {
        return ACCOUNT_FAILED;
    }
    TextTable table({"ID", "FAMILY NAME", "NAME", "NUMBERS"});
    for (const ContactDetail& name : names) {
        const ContactPartial& listed = list[name.contactId];
        table.addRow({std::to_string(name.contactId), name.value, listed.displayname, numbersOf(listed, {})});
    }
    table.print(account_outputWidth());
    return ACCOUNT_OK;
}
