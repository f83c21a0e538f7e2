// Any bytes as the file of an import: a failing one leaves the database as it was, and what was imported can be
// exported and imported again without a change.
#include <sqlite3.h>
#include <sys/mman.h>
#include <unistd.h>

#include <sstream>

#include "fuzz_input.h"
#include "orindb_dbtables.h"
#include "orindb_xml.h"

namespace {

// A configuration in memory with a few rows and one table of other programs.
class Configuration {
  public:
    Configuration() {
        db.messageQueueId = -1;
        require(db_openDb(&handle(), ":memory:", 0, 1987, 6) == ORINDB_OK, "open");
        require(orindb_createDbTables(&db, ORINDB_KONFIG, OrindbDefaults::yes) == ORINDB_OK, "create");
        require(sqlite3_exec(handle().connection,
                             "CREATE TABLE Other(id INTEGER PRIMARY KEY AUTOINCREMENT, v); CREATE INDEX i ON Other(v);"
                             "INSERT INTO Other(v) VALUES('x'),(NULL); INSERT INTO Contact VALUES(1,2);",
                             nullptr, nullptr, nullptr) == SQLITE_OK,
                "fill");
    }
    ~Configuration() {
        db_closeDb(&handle());
    }
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;

    DbHandle& handle() {
        return db.handles[ORINDB_KONFIG];
    }
    // What a query gives or why it fails: a column may be computed, and that fail.
    std::string rows(const std::string& query) {
        std::string text;
        const auto append = [](void* all, int, char** values, char**) {
            *static_cast<std::string*>(all) += std::string(values[0] != nullptr ? values[0] : "") + END;
            return 0;
        };
        const int result = sqlite3_exec(handle().connection, query.c_str(), append, &text, nullptr);
        return result == SQLITE_OK ? text : text + sqlite3_errmsg(handle().connection);
    }
    // The schema and every value, its type visible, but not what SQLite keeps for itself.
    std::string dump() {
        std::string text = rows(
            "SELECT type||'|'||name||'|'||tbl_name||'|'||ifnull(sql,'') FROM sqlite_master "
            "WHERE name NOT LIKE 'sqlite_stat%' ORDER BY 1");
        std::istringstream selects(
            rows("SELECT printf('SELECT %s FROM \"%w\" NOT INDEXED', group_concat(printf('quote(\"%w\")||hex(\"%w\")', "
                 "c.name, c.name), '||''|''||'), m.name) FROM sqlite_master m, pragma_table_xinfo(m.name) c "
                 "WHERE m.type='table' AND m.name NOT LIKE 'sqlite_stat%' AND c.hidden<>1 GROUP BY m.name ORDER BY 1"));
        for (std::string select; std::getline(selects, select, END);) {
            text += select + rows(select);
        }
        return text;
    }

    static constexpr char END = '\x1E';
    DbContext db{};
};

// A schema may ask for endless work (a table made of a recursive query): that is no fault of the import.
int giveUp(void* /*unused*/) {
    return 1;
}
constexpr int MAX_STEPS = 2000000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const int file = memfd_create("import", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    static auto* configuration = new Configuration;
    static std::string before = configuration->dump();
    sqlite3_progress_handler(configuration->handle().connection, MAX_STEPS, giveUp, nullptr);

    require(ftruncate(file, 0) == 0 && pwrite(file, bytes, size, 0) == static_cast<ssize_t>(size), "memory file");
    DbContext* db = &configuration->db;
    const int single = orindb_xmlImportTable(db, ORINDB_KONFIG, path.c_str(), "Contact");
    require(single == ORINDB_OK || configuration->dump() == before, "a failing import of a table changed something");
    const std::string middle = configuration->dump();
    const int whole = orindb_xmlImportDb(db, ORINDB_KONFIG, path.c_str());
    const std::string after = configuration->dump();
    require(configuration->handle().transactionDepth == 0, "a transaction is open");
    require(whole == ORINDB_OK || after == middle, "a failing import changed something");
    if (whole == ORINDB_OK) {
        require(orindb_xmlExportDb(db, ORINDB_KONFIG, path.c_str()) == ORINDB_OK, "no export");
        require(orindb_xmlImportDb(db, ORINDB_KONFIG, path.c_str()) == ORINDB_OK, "no second import");
        require(configuration->dump() == after, "the second import differs");
    }
    if (single == ORINDB_OK || whole == ORINDB_OK) {
        delete configuration;
        configuration = new Configuration;
        before = configuration->dump();
    }
    return 0;
}
