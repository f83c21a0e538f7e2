#include "set_world.h"

#include <sys/sem.h>
#include <sys/shm.h>

#include <algorithm>
#include <filesystem>

NewMachine::NewMachine() {
    sqlite3_shutdown();  // its settings, too, are those of a new process
    std::filesystem::remove_all("/data/db");
    std::filesystem::create_directory("/data/db");
    std::filesystem::remove_all("/tmp/dblockfile~");
    shmctl(shmget(16967, 0, 0), IPC_RMID, nullptr);
    semctl(semget(16968, 0, 0), 0, IPC_RMID);
}

OpenSet::OpenSet() {
    EXPECT_EQ(orindb_openAllDbsWithDefaultNames(&db, nullptr, ORINDB_NOTIFY_CHANGES), ORINDB_OK);
    queue.clear();
    log.clear();
}

OpenSet::~OpenSet() {
    orindb_closeAllDbs(&db);
}

std::string OpenSet::content() {
    std::string lines;
    for (const char* table : {"Contact", "ContactDetail", "GoogleServerConfig", "Kw_Tn", "CallThrough"}) {
        for (const auto& row : sqlitePeek(KONFIG_FILE, std::string("SELECT * FROM ") + table + " ORDER BY 1, 2")) {
            lines += table;
            for (const std::string& value : row) {
                lines += '|' + value;
            }
            lines += '\n';
        }
    }
    return lines;
}

std::string OpenSet::lastSelect() const {
    const std::string begin = "db_exec(): ";
    const auto lines = log.texts(ORINLOG_EDEBUG);
    const auto line = std::find_if(lines.rbegin(), lines.rend(), [&](const std::string& text) {
        return text.find(begin + "SELECT") != std::string::npos;
    });
    return line != lines.rend() ? line->substr(line->find(begin) + begin.size()) : "";
}

std::string OpenSet::planOfLastSelect() const {
    std::string plan;
    for (const auto& row : sqlitePeek(KONFIG_FILE, "EXPLAIN QUERY PLAN " + lastSelect())) {
        plan += row.back() + "; ";
    }
    return plan;
}

HeldFile::HeldFile(const std::string& path) {
    sqlite3* connection = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    thread_ = std::thread([connection] {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        sqlite3_close(connection);
    });
}

HeldFile::~HeldFile() {
    thread_.join();
}

void sqliteChange(const std::string& path, const std::string& sql) {
    sqlite3* connection = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_close(connection);
}
