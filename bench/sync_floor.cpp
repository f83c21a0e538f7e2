// The least that a synchronisation can cost: fetches the same pages over one connection, parses them with json-c and
// reads or writes the same rows through prepared statements, one transaction per page. Nothing else: no log, no
// messages, no change counters; it ends at the first failure. script/bench measures the synchroniser against it.
//
// usage: sync_floor first|unchanged|changed|removed
//   first      inserts every person's contact and details, and downloads the photos
//   unchanged  reads each person's contact and details
//   changed    reads them, compares each detail, and writes those that differ
//   removed    reads them, and deletes the contacts of all other persons

#include <curl/curl.h>
#include <json-c/json.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "ct_sync_mapping.h"
#include "orin_phonenumber.h"

namespace {

constexpr char KONFIG[] = "/data/db/konfig9.db";
constexpr char PHOTOS[] = "/data/img/";
constexpr char CA_DIRECTORY[] = "/data/certs/trusted/";
constexpr char CONNECTIONS[] =
    "https://people.googleapis.com/v1/people/me/connections?pageSize=50&personFields=memberships,addresses,birthdays,"
    "emailAddresses,names,nicknames,organizations,phoneNumbers,photos,urls";
constexpr char TOKEN[] = "https://oauth2.googleapis.com/token";
constexpr char CREDENTIALS[] =
    "client_id=40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com"
    "&client_secret=Qx7LmNa2Rk_pTzWv4bYcHd3F&grant_type=refresh_token&refresh_token=";
constexpr int GROUP = 2;
constexpr size_t VALUE_SIZE = ORINDB_DETAIL_VALUE_SIZE;

// It stops at the first thing that is not as it should be: a floor that did less than it should would be no measure.
void require(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "sync_floor: %s\n", what);
        exit(EXIT_FAILURE);
    }
}

struct Statement {
    Statement(sqlite3* database, const char* sql) {
        require(sqlite3_prepare_v2(database, sql, -1, &prepared, nullptr) == SQLITE_OK, sql);
    }
    ~Statement() {
        sqlite3_finalize(prepared);
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int parameter, int value) {
        sqlite3_bind_int(prepared, parameter, value);
        return *this;
    }
    Statement& bind(int parameter, const char* text) {
        sqlite3_bind_text(prepared, parameter, text, -1, SQLITE_STATIC);
        return *this;
    }
    bool row() {
        const int code = sqlite3_step(prepared);
        require(code == SQLITE_ROW || code == SQLITE_DONE, sqlite3_sql(prepared));
        return code == SQLITE_ROW;
    }
    void run() {
        while (row()) {
        }
        sqlite3_reset(prepared);
    }

    sqlite3_stmt* prepared = nullptr;
};

struct Database {
    Database() {
        require(sqlite3_open(KONFIG, &connection) == SQLITE_OK, KONFIG);
    }
    ~Database() {
        sqlite3_close(connection);
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    sqlite3* connection = nullptr;
};

struct Store {
    Database database;
    Statement begin{database.connection, "BEGIN IMMEDIATE"};
    Statement commit{database.connection, "COMMIT"};
    Statement insertContact{database.connection, "REPLACE INTO Contact VALUES (?1,?2)"};
    Statement insertDetail{database.connection, "REPLACE INTO ContactDetail VALUES (?1,?2,?3)"};
    Statement contactOf{database.connection,
                        "SELECT ct.contactId FROM Contact ct JOIN ContactDetail cd ON ct.contactId=cd.contactId AND "
                        "cd.key=51 WHERE (ct.contactGrpBitfield & 2) > 0 AND cd.value=?1"};
    Statement detailsOf{database.connection, "SELECT key,value FROM ContactDetail WHERE contactId=?1 ORDER BY key"};
    Statement contacts{database.connection, "SELECT contactId FROM Contact WHERE contactGrpBitfield & 2 > 0"};
    Statement deleteContact{database.connection, "DELETE FROM Contact WHERE contactId=?1"};
    Statement deleteDetails{database.connection, "DELETE FROM ContactDetail WHERE contactId=?1"};
    Statement deleteDetail{database.connection, "DELETE FROM ContactDetail WHERE contactId=?1 AND key=?2"};
    std::set<int> ids;  // of the contacts
};

// Drawn as the phone book draws them, since it makes a difference to the trees whether ids come in order.
int newId(Store& store) {
    constexpr double RANGE = 99998.0;
    for (;;) {
        const int id = static_cast<uint16_t>(static_cast<uint32_t>(rand() * RANGE / RAND_MAX) + 1);
        if (id != 0 && store.ids.insert(id).second) {
            return id;
        }
    }
}

size_t append(char* data, size_t size, size_t count, void* to) {
    static_cast<std::string*>(to)->append(data, size * count);
    return size * count;
}

size_t writeFile(char* data, size_t size, size_t count, void* file) {
    return fwrite(data, size, count, static_cast<FILE*>(file));
}

// One handle, which keeps the connections to all hosts.
struct Network {
    Network() {
        curl_easy_setopt(curl, CURLOPT_CAPATH, CA_DIRECTORY);
        curl_easy_setopt(curl, CURLOPT_CAINFO, nullptr);
        curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    }
    ~Network() {
        curl_easy_cleanup(curl);
        curl_slist_free_all(headers);
    }
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    json_object* fetch(const std::string& url) {
        body.clear();
        curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
        require(curl_easy_perform(curl) == CURLE_OK, url.c_str());
        json_object* answer = json_tokener_parse(body.c_str());
        require(answer != nullptr, body.c_str());
        return answer;
    }
    void download(const char* url, const std::string& path) {
        FILE* file = fopen(path.c_str(), "w");
        require(file != nullptr, path.c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, nullptr);
        curl_easy_setopt(curl, CURLOPT_URL, url);
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, writeFile);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, file);
        require(curl_easy_perform(curl) == CURLE_OK, url);
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
        require(fclose(file) == 0, path.c_str());
    }
    void authorise(const std::string& refreshToken) {
        const std::string form = CREDENTIALS + refreshToken;
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, form.c_str());
        json_object* tokens = fetch(TOKEN);
        const char* token = json_object_get_string(json_object_object_get(tokens, "access_token"));
        require(token != nullptr, "no access token");
        headers = curl_slist_append(headers, (std::string("Authorization: Bearer ") + token).c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
        json_object_put(tokens);
    }

    CURL* curl = curl_easy_init();
    curl_slist* headers = nullptr;
    std::string body;
};

bool isPrimary(json_object* metadata) {
    return json_object_get_boolean(json_object_object_get(metadata, "primary")) != 0;
}

// The primary entry of a list, or the n-th of the others.
json_object* entryOf(json_object* person, const char* field, int n) {
    json_object* list = json_object_object_get(person, field);
    const size_t count = list != nullptr ? json_object_array_length(list) : 0;
    int others = 0;
    for (size_t i = 0; i < count; ++i) {
        json_object* entry = json_object_array_get_idx(list, i);
        json_object* metadata = json_object_object_get(entry, "metadata");
        if (metadata != nullptr && (n == 0 ? isPrimary(metadata) : !isPrimary(metadata) && ++others == n)) {
            return entry;
        }
    }
    return nullptr;
}

const char* textOf(json_object* entry, const char* member) {
    return member != nullptr ? json_object_get_string(json_object_object_get(entry, member)) : nullptr;
}

// Calls put(key, value, entry) for each detail that the person has.
template <typename Put>
void forEachDetail(json_object* person, const Put& put) {
    const char* before = nullptr;
    char converted[VALUE_SIZE];
    for (const ct_MappingRow& row : ct_mappingRows()) {
        json_object* entry = entryOf(person, row.field, row.entry);
        const bool isPlaceholder =
            row.rule == ct_MappingRule::photo && json_object_get_boolean(json_object_object_get(entry, "default")) != 0;
        const char* value = isPlaceholder ? nullptr : textOf(entry, row.member);
        if (value == nullptr) {
            value = textOf(entry, row.alternativeMember);
        }
        if (value == nullptr && row.rule == ct_MappingRule::phoneType && before != nullptr) {
            value = "work";
        }
        before = value;
        if (value == nullptr) {
            continue;
        }
        if (row.conversion != nullptr) {
            row.conversion(value, converted, sizeof(converted));
            value = converted;
        }
        put(row.key, value, entry);
    }
}

void canonicalOf(const char* number, char (&canonical)[VALUE_SIZE]) {
    static const OrinPhoneLocation location = [] {
        OrinPhoneLocation made;
        orin_initPhoneLocation(&made, "", "", "", '\0');
        return made;
    }();
    std::string bare = number;
    std::erase_if(bare, [](char c) { return c == ' ' || c == '*' || c == '/'; });
    orin_phoneNumberToCanonical(&location, bare.c_str(), canonical, sizeof(canonical));
}

bool isPhone(int key) {
    return key >= ORINDB_DETAIL_PHONE && key < ORINDB_DETAIL_PHONE + ORINDB_PHONES;
}

void writeDetail(Store& store, Network& network, int id, int key, const char* value, json_object* entry) {
    if (value[0] == '\0') {
        return;
    }
    store.insertDetail.bind(1, id).bind(2, key).bind(3, value).run();
    if (isPhone(key)) {
        char canonical[VALUE_SIZE];
        canonicalOf(value, canonical);
        constexpr int TO_CANONICAL = ORINDB_DETAIL_CANONICAL_PHONE - ORINDB_DETAIL_PHONE;
        store.insertDetail.bind(1, id).bind(2, key + TO_CANONICAL).bind(3, canonical).run();
    } else if (key == ORINDB_DETAIL_PHOTO) {
        network.download(textOf(entry, "url"), std::string(PHOTOS) + value);
    }
}

void writePerson(Store& store, Network& network, json_object* person) {
    const int id = newId(store);
    store.insertContact.bind(1, id).bind(2, GROUP).run();
    store.insertDetail.bind(1, id).bind(2, ORINDB_DETAIL_RESOURCE_NAME).bind(3, textOf(person, "resourceName")).run();
    forEachDetail(person, [&](int key, const char* value, json_object* entry) {
        writeDetail(store, network, id, key, value, entry);
    });
}

int idOf(Store& store, json_object* person) {
    Statement& find = store.contactOf.bind(1, textOf(person, "resourceName"));
    require(find.row(), "a person has no contact");
    const int id = sqlite3_column_int(find.prepared, 0);
    sqlite3_reset(find.prepared);
    return id;
}

template <typename Take>
void readDetails(Store& store, int id, const Take& take) {
    Statement& details = store.detailsOf.bind(1, id);
    while (details.row()) {
        take(sqlite3_column_int(details.prepared, 0),
             reinterpret_cast<const char*>(sqlite3_column_text(details.prepared, 1)));
    }
    sqlite3_reset(details.prepared);
}

int readPerson(Store& store, json_object* person) {
    const int id = idOf(store, person);
    size_t bytes = 0;
    readDetails(store, id, [&bytes](int, const char* value) { bytes += strlen(value); });
    require(bytes > 0, "a contact has no details");
    return id;
}

void updatePerson(Store& store, Network& network, json_object* person) {
    const int id = idOf(store, person);
    std::map<int, std::string> stored;
    readDetails(store, id, [&stored](int key, const char* value) { stored.emplace(key, value); });
    std::set<int> seen;
    forEachDetail(person, [&](int key, const char* value, json_object* entry) {
        seen.insert(key);
        const auto found = stored.find(key);
        if (found == stored.end() || found->second != value) {
            writeDetail(store, network, id, key, value, entry);
        }
    });
    for (const ct_MappingRow& row : ct_mappingRows()) {
        if (stored.contains(row.key) && !seen.contains(row.key)) {
            store.deleteDetail.bind(1, id).bind(2, row.key).run();
        }
    }
}

void removeOthers(Store& store, const std::set<int>& seen) {
    std::set<int> others;
    while (store.contacts.row()) {
        const int id = sqlite3_column_int(store.contacts.prepared, 0);
        if (!seen.contains(id)) {
            others.insert(id);
        }
    }
    sqlite3_reset(store.contacts.prepared);
    store.begin.run();
    for (const int id : others) {
        store.deleteContact.bind(1, id).run();
        store.deleteDetails.bind(1, id).run();
    }
    store.commit.run();
}

void handlePage(Store& store, Network& network, std::string_view mode, json_object* persons, std::set<int>& seen) {
    store.begin.run();
    for (size_t i = 0; i < json_object_array_length(persons); ++i) {
        json_object* person = json_object_array_get_idx(persons, i);
        if (mode == "first") {
            writePerson(store, network, person);
        } else if (mode == "changed") {
            updatePerson(store, network, person);
        } else {
            seen.insert(readPerson(store, person));
        }
    }
    store.commit.run();
}

std::string refreshToken(Store& store) {
    Statement account(store.database.connection, "SELECT refreshToken FROM GoogleServerConfig");
    require(account.row(), "no account");
    return reinterpret_cast<const char*>(sqlite3_column_text(account.prepared, 0));
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view mode = argc == 2 ? argv[1] : "";
    require(mode == "first" || mode == "unchanged" || mode == "changed" || mode == "removed",
            "usage: sync_floor first|unchanged|changed|removed");
    curl_global_init(CURL_GLOBAL_ALL);
    // As the synchroniser has it.
    sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    {
        Store store;
        Network network;
        network.authorise(refreshToken(store));
        std::set<int> seen;
        std::string url = CONNECTIONS;
        while (!url.empty()) {
            json_object* page = network.fetch(url);
            handlePage(store, network, mode, json_object_object_get(page, "connections"), seen);
            const char* token = textOf(page, "nextPageToken");
            url = token != nullptr ? std::string(CONNECTIONS) + "&pageToken=" + token : "";
            json_object_put(page);
        }
        if (mode == "removed") {
            removeOthers(store, seen);
        }
    }
    curl_global_cleanup();
    return EXIT_SUCCESS;
}
