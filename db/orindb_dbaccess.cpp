#include "orindb_dbaccess.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "orin_datei_tools.h"
#include "orin_stringutils.h"
#include "orindb_conversion.h"
#include "orindb_dbtables.h"
#include "orindb_repair.h"
#include "orindb_version.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_dbaccess.c"};

constexpr char LOCK_FILE[] = "/tmp/dblockfile~";
constexpr char DATA_DIRECTORY[] = "/data/db";
constexpr char BUILD_ROOT[] = "rootfs-kv7200";
constexpr int SHARED_AREA_KEY = 16967;
constexpr int SHARED_AREA_SEMAPHORE_KEY = 16968;
constexpr int EVERYBODY = 0666;
using Path = std::array<char, DB_FILE_NAME_SIZE>;
// Leaves room for '/' and the longest name of a file.
constexpr int32_t DIRECTORY_SIZE = DB_FILE_NAME_SIZE - (sizeof("/gesprdat3.db") - 1);
using Directory = std::array<char, DIRECTORY_SIZE>;

struct DatabaseFile {
    const char* name;
    uint16_t version;
    uint16_t minorVersion;
};
// By database type.
constexpr std::array<DatabaseFile, ORINDB_DATABASES> FILES{{
    {"konfig9.db", 1987, 6},
    {"gesprdat3.db", 11, 0},
    {"pbx4.db", 6, 0},
}};
// The small files first: what is wrong with them shows before the long work on the configuration.
constexpr std::array CHECK_ORDER{ORINDB_PBX, ORINDB_KONFIG, ORINDB_CALL_RECORDS};

// A file with fewer schema objects than this has no table with a key yet: it is new.
constexpr int64_t MIN_SCHEMA_OBJECTS = 2;

void sqliteLogCallback(void* /*context*/, int errorCode, const char* message) {
    ORINLOG_FN(ORINLOG_INFO, "errCode=%d msg=%s", errorCode, message);
}

// The path of this program, for log lines.
Path executablePath() {
    Path path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
    path[length > 0 ? static_cast<size_t>(length) : 0] = '\0';
    return path;
}

int findDataDirectory(const char* given, Directory& directory) {
    std::array<char, PATH_MAX> ofHome{};
    const char* path = given;
    if (path == nullptr || path[0] == '\0') {
        path = DATA_DIRECTORY;
        if (!orin_fileExists(path)) {
            const char* home = getenv("HOME");
            snprintf(ofHome.data(), ofHome.size(), "%s/%s/data/db", home != nullptr ? home : "", BUILD_ROOT);
            path = ofHome.data();
        }
    }
    // One that does not fit would, cut, be another directory.
    if (strlen(path) >= directory.size() || !orin_fileExists(path)) {
        ORINLOG(ORINLOG_ERROR, "orindb_openDbWithDefaultNames(): path=%s existiert nicht", path);
        return ORINDB_NO_DATA_DIRECTORY;
    }
    orin_strncpy(directory.data(), path, DIRECTORY_SIZE);
    return ORINDB_OK;
}

void logLockFailure(const char* function) {
    ORINLOG(ORINLOG_ERROR, "%s: flock() failed: %s (%d)", function, strerror(errno), errno);
}

// A lock that cannot be had never stops the start.
void orindb_lock(DbContext* dbContext) {
    ORINLOG_FN(ORINLOG_DEBUG, "will lock");
    // Not closed in children: a copy that outlives a killed starter keeps the next one waiting until it is complete.
    dbContext->lockFileDescriptor = open(LOCK_FILE, O_RDWR | O_CREAT, EVERYBODY);
    if (dbContext->lockFileDescriptor < 0) {
        ORINLOG_FN(ORINLOG_ERROR, "open(%s) failed: %s (%d)", LOCK_FILE, strerror(errno), errno);
        return;
    }
    int locked = flock(dbContext->lockFileDescriptor, LOCK_EX);
    while (locked != 0 && errno == EINTR) {
        locked = flock(dbContext->lockFileDescriptor, LOCK_EX);
    }
    if (locked != 0) {
        logLockFailure(__func__);
        return;
    }
    ORINLOG_FN(ORINLOG_DEBUG, "locked");
}

void orindb_unlock(DbContext* dbContext) {
    if (dbContext->lockFileDescriptor < 0) {
        return;
    }
    ORINLOG_FN(ORINLOG_DEBUG, "will unlock");
    if (flock(dbContext->lockFileDescriptor, LOCK_UN) != 0) {
        logLockFailure(__func__);
    }
    close(dbContext->lockFileDescriptor);
    dbContext->lockFileDescriptor = -1;
    ORINLOG_FN(ORINLOG_DEBUG, "unlocked");
}

Path filePath(const Directory& directory, const DatabaseFile& file) {
    Path path{};
    snprintf(path.data(), path.size(), "%s/%s", directory.data(), file.name);
    return path;
}

int takeOverOlderFiles(const Directory& directory) {
    for (const int type : {ORINDB_KONFIG, ORINDB_PBX}) {
        const Path current = filePath(directory, FILES[static_cast<size_t>(type)]);
        const int result = orindb_takeOverOlderFile(type, directory.data(), current.data());
        if (result != ORINDB_OK) {
            return result;
        }
    }
    return ORINDB_OK;
}

int openFiles(DbContext* dbContext, const Directory& directory, int flags) {
    const int handleFlags = (flags & ORINDB_NOTIFY_CHANGES) != 0 ? DB_NOTIFY_CHANGES : 0;
    for (size_t type = 0; type < FILES.size(); ++type) {
        const DatabaseFile& file = FILES[type];
        const int result = db_openDb(&dbContext->handles[type], filePath(directory, file).data(), handleFlags,
                                     file.version, file.minorVersion);
        if (result != ORINDB_OK) {
            return result;
        }
    }
    return ORINDB_OK;
}

int checkIntegrity(DbContext* dbContext) {
    for (const int type : CHECK_ORDER) {
        const int result = db_checkIntegrity(&dbContext->handles[type], DbDamagedFile::remove);
        if (result != ORINDB_OK) {
            return result;
        }
    }
    return ORINDB_OK;
}

// Counters and queue are a service to other processes: the set works without them.
void attachSharedArea(DbContext* dbContext) {
    if (orin_attachSharedMem(&dbContext->sharedCache, SHARED_AREA_KEY, SHARED_AREA_SEMAPHORE_KEY,
                             sizeof(OrindbSharedArea)) == 0) {
        dbContext->innerDbCachePtr = static_cast<OrindbSharedArea*>(dbContext->sharedCache.data);
    }
}

int checkAll(DbContext* dbContext) {
    for (const int type : CHECK_ORDER) {
        const int result = checkDB(dbContext, type);
        if (result != ORINDB_OK) {
            return result;
        }
    }
    return ORINDB_OK;
}

// The steps between lock and unlock.
int openLocked(DbContext* dbContext, const Directory& directory, int found, int flags) {
    int result = found;
    if (result == ORINDB_OK) {
        result = takeOverOlderFiles(directory);
    }
    if (result == ORINDB_OK) {
        result = openFiles(dbContext, directory, flags);
    }
    if (result == ORINDB_OK && (flags & ORINDB_INTEGRITY_CHECK) != 0) {
        result = checkIntegrity(dbContext);
    }
    if (result == ORINDB_OK) {
        attachSharedArea(dbContext);
    }
    if ((flags & ORINDB_NOTIFY_CHANGES) != 0) {
        dbContext->messageQueueId = msgget(ORINDB_QUEUE_KEY, IPC_CREAT | EVERYBODY);
        if (dbContext->messageQueueId < 0) {
            ORINLOG_AS(ORINLOG_CAT_DB_MSG, ORINLOG_ERROR, "orindb_openAllDbsWithDefaultNames: msgget() failed: %s (%d)",
                       strerror(errno), errno);
        }
    }
    if (result == ORINDB_OK && (flags & ORINDB_READONLY) == 0) {
        result = checkAll(dbContext);
    }
    if (result == ORINDB_OK && (flags & ORINDB_INTEGRITY_CHECK) != 0) {
        result = orindb_repairConfiguration(dbContext);
    }
    return result;
}

int countSchemaObjects(DbContext* dbContext, int dbType, int64_t* count) {
    OrindbRowContext row{};
    const int result =
        _orindb_execDb(dbContext, dbType, "SELECT COUNT(*) FROM Sqlite_Master", orindb_rowCallback, &row, "checkDB");
    *count = row.count;
    return result;
}

int createNewDatabase(DbContext* dbContext, int dbType) {
    const int result = orindb_createDbTables(dbContext, dbType, OrindbDefaults::yes);
    if (result == ORINDB_OK && dbType == ORINDB_KONFIG && dbContext->innerDbCachePtr != nullptr) {
        dbContext->innerDbCachePtr->newConfiguration = 1;
        dbContext->innerDbCachePtr->newConfigurationSeen = 1;
    }
    return result;
}

// What holds for the whole process, as long as it has not opened a file yet. A handle is used by one thread at a time,
// and nobody reads SQLite's memory statistics: neither needs a lock in every call.
void configureSqlite() {
    if (sqlite3_config(SQLITE_CONFIG_LOG, sqliteLogCallback, nullptr) == SQLITE_OK) {
        sqlite3_config(SQLITE_CONFIG_MULTITHREAD);
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    }
}

}  // namespace

int orindb_openAllDbsWithDefaultNames(DbContext* dbContext, const char* dataDirectory, int flags) {
    if (dbContext == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    const Path process = executablePath();
    ORINLOG_FN(ORINLOG_DEBUG, "process=%s dbPath=%s notifyChanges=%i integrityCheck=%i readonly=%i", process.data(),
               dataDirectory != nullptr ? dataDirectory : "", flags & ORINDB_NOTIFY_CHANGES,
               (flags & ORINDB_INTEGRITY_CHECK) >> 1, (flags & ORINDB_READONLY) >> 2);
    configureSqlite();
    *dbContext = {};
    dbContext->messageQueueId = -1;
    dbContext->lockFileDescriptor = -1;
    srand(static_cast<unsigned>(time(nullptr)));

    Directory directory{};
    const int found = findDataDirectory(dataDirectory, directory);
    const bool locking = (flags & ORINDB_READONLY) == 0;
    if (locking) {
        orindb_lock(dbContext);
    }
    const int result = openLocked(dbContext, directory, found, flags);
    if (locking) {
        orindb_unlock(dbContext);
    }

    const Path konfigPath = filePath(directory, FILES[ORINDB_KONFIG]);
    if (result != ORINDB_OK) {
        ORINLOG(ORINLOG_ERROR, "%s failed: returnCode=%i konfigDbPath=%s process=%s", __func__, result,
                konfigPath.data(), process.data());
        orindb_closeAllDbs(dbContext);
    } else {
        ORINLOG(ORINLOG_DEBUG, "%s finished: returnCode=%i konfigDbPath=%s process=%s", __func__, result,
                konfigPath.data(), process.data());
    }
    return result;
}

void orindb_closeAllDbs(DbContext* dbContext) {
    if (dbContext == nullptr) {
        return;
    }
    for (DbHandle& handle : dbContext->handles) {
        db_closeDb(&handle);
    }
    orin_detachSharedMem(&dbContext->sharedCache);
    dbContext->innerDbCachePtr = nullptr;
}

int checkDB(DbContext* dbContext, int dbType) {
    Transaction transaction(dbContext, dbType);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    int64_t objects = 0;
    result = countSchemaObjects(dbContext, dbType, &objects);
    if (result == ORINDB_OK && objects < MIN_SCHEMA_OBJECTS) {
        result = createNewDatabase(dbContext, dbType);
    }
    if (result == ORINDB_OK && orindb_isDbFileAndClientVersionEqual(dbContext, dbType) == 0) {
        result = orindb_convertDb(dbContext, dbType);
    }
    return transaction.end(result);
}
