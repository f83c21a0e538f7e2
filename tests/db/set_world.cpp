#include "set_world.h"

#include <sys/sem.h>
#include <sys/shm.h>

#include <algorithm>
#include <filesystem>

#include "orindb_contactdetail.h"

NewMachine::NewMachine() {
    sqlite3_shutdown();  // its settings, too, are those of a new process
    drawNumbers({});
    std::filesystem::remove_all("/data/db");
    std::filesystem::create_directory("/data/db");
    std::filesystem::remove_all(LOCK_FILE);
    shmctl(shmget(16967, 0, 0), IPC_RMID, nullptr);
    semctl(semget(16968, 0, 0), 0, IPC_RMID);
}

std::jthread NewMachine::atLine(uint32_t level, const std::string& text, const std::function<void()>& action) {
    return std::jthread([=, this](const std::stop_token& stop) {
        while (!stop.stop_requested() && !hasLine(level, text)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        action();
    });
}

std::jthread NewMachine::holdFile(const std::string& path) {
    sqlite3* holder = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &holder), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    return atLine(ORINLOG_INFO, "busy or locked", [holder] { sqlite3_close(holder); });
}

OpenSet::OpenSet() {
    EXPECT_EQ(orindb_openAllDbsWithDefaultNames(&db, nullptr, ORINDB_NOTIFY_CHANGES), ORINDB_OK);
    queue.clear();
    log.clear();
}

OpenSet::~OpenSet() {
    orindb_closeAllDbs(&db);
}

int OpenSet::put(uint16_t contactId, int32_t key, const std::string& value) {
    ContactDetail work{};
    return orindb_createCtD(&db, contactId, key, value.c_str(), &work);
}

std::string OpenSet::lastSelect() const {
    const auto lines = log.texts(ORINLOG_EDEBUG);
    const auto line = std::find_if(lines.rbegin(), lines.rend(),
                                   [](const std::string& text) { return text.find("SELECT") != std::string::npos; });
    return line != lines.rend() ? line->substr(line->find("SELECT"), line->rfind(" db=") - line->find("SELECT")) : "";
}

void sqliteChange(const std::string& path, const std::string& sql) {
    sqlite3* connection = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_close(connection);
}

std::string rows(const std::string& query, const std::string& path) {
    std::string text;
    for (const auto& row : sqlitePeek(path, query)) {
        for (const std::string& value : row) {
            text += value + '|';
        }
        text.back() = ';';
    }
    return text;
}

std::string dumpFile(const std::string& path) {
    sqliteChange(path, "BEGIN IMMEDIATE; COMMIT");
    // A SELECT for each table. quote() shows a value's type, hex() what stands behind a NUL.
    const std::string tables = rows(
        "SELECT group_concat(statement, ' UNION ALL ') FROM (SELECT printf('SELECT %Q||%s FROM \"%w\" NOT INDEXED', "
        "m.name||':', group_concat(printf('quote(\"%w\")||hex(\"%w\")', c.name, c.name), '||''|''||'), m.name) AS "
        "statement FROM sqlite_master m, pragma_table_xinfo(m.name) c WHERE m.type='table' AND c.hidden<>1 AND "
        "m.name NOT LIKE 'sqlite_stat%' GROUP BY m.name ORDER BY m.name)",
        path);
    return rows("SELECT type, name, tbl_name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_stat%' ORDER BY 1, 2",
                path) +
           (tables == "NULL;" ? "" : rows(tables, path));
}

std::string difference(const std::string& a, const std::string& b) {
    if (a == b) {
        return {};
    }
    const auto at = static_cast<size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
    const size_t from = at > 200 ? at - 200 : 0;
    return "at " + std::to_string(at) + ":\n" + a.substr(from, 400) + "\n--- is now ---\n" + b.substr(from, 400);
}
