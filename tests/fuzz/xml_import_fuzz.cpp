// Any bytes as the file of an import: a failing one leaves the database as it was, and what was imported can be
// exported and imported again without a change.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "db_dump.h"
#include "orindb_dbtables.h"
#include "orindb_xml.h"

namespace {

void require(bool holds, const char* what, const std::string& details = "") {
    if (!holds) {
        fprintf(stderr, "%s\n%s\n", what, details.c_str());
        abort();
    }
}

// A file that lives in memory.
class MemoryFile {
  public:
    MemoryFile() : file_(memfd_create("import", 0)), path_("/proc/self/fd/" + std::to_string(file_)) {}
    ~MemoryFile() {
        close(file_);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void set(const uint8_t* bytes, size_t size) const {
        require(ftruncate(file_, 0) == 0 && pwrite(file_, bytes, size, 0) == static_cast<ssize_t>(size), "memory file");
    }
    [[nodiscard]] const char* path() const {
        return path_.c_str();
    }

  private:
    int file_;
    std::string path_;
};

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
    std::string dump() {
        return dumpDatabase(handle().connection);
    }

    DbContext db{};
};

// A schema may ask for endless work (a table made of a recursive query): that is no fault of the import.
int giveUp(void* /*unused*/) {
    return 1;
}
constexpr int MAX_STEPS = 2000000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const MemoryFile file;
    static auto* configuration = new Configuration;
    static std::string before = configuration->dump();
    sqlite3_progress_handler(configuration->handle().connection, MAX_STEPS, giveUp, nullptr);

    file.set(bytes, size);
    DbContext* db = &configuration->db;
    const int single = orindb_xmlImportTable(db, ORINDB_KONFIG, file.path(), "Contact");
    require(single == ORINDB_OK || configuration->dump() == before, "a failing import of a table changed something");
    const std::string middle = configuration->dump();
    const int whole = orindb_xmlImportDb(db, ORINDB_KONFIG, file.path());
    const std::string after = configuration->dump();
    require(configuration->handle().transactionDepth == 0, "a transaction is open");
    require(whole == ORINDB_OK || after == middle, "a failing import changed something", difference(middle, after));
    if (whole == ORINDB_OK) {
        require(orindb_xmlExportDb(db, ORINDB_KONFIG, file.path()) == ORINDB_OK, "no export");
        require(orindb_xmlImportDb(db, ORINDB_KONFIG, file.path()) == ORINDB_OK, "no second import");
        require(configuration->dump() == after, "the second import differs", difference(after, configuration->dump()));
    }
    if (single == ORINDB_OK || whole == ORINDB_OK) {
        delete configuration;
        configuration = new Configuration;
        before = configuration->dump();
    }
    return 0;
}
