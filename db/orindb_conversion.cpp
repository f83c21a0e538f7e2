#include "orindb_conversion.h"

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <span>

#include "orin_datei_tools.h"
#include "orin_stdio.h"
#include "orin_systemcalls.h"
#include "orindb_logandprint.h"
#include "orindb_xml.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_conversion.c"};

// The newest first.
constexpr std::array OLDER_CONFIGURATIONS{"konfig8.db", "konfig7.db", "konfig6.db",
                                          "konfig5.db", "konfig4.db", "konfig3.db"};
constexpr std::array OLDER_PBX_FILES{"pbx3.db"};

constexpr int BACKUPS = 10;

using Path = std::array<char, DB_FILE_NAME_SIZE + 20>;

std::span<const char* const> olderFiles(int dbType) {
    switch (dbType) {
        case ORINDB_KONFIG:
            return OLDER_CONFIGURATIONS;
        case ORINDB_PBX:
            return OLDER_PBX_FILES;
        default:
            return {};
    }
}

// An empty file holds nothing that could be lost: it is what a copy that was cut short at once leaves behind.
bool isMissingOrEmpty(const char* path) {
    struct stat status {};
    return stat(path, &status) != 0 || (S_ISREG(status.st_mode) && status.st_size == 0);
}

Path backupPath(const DbHandle& handle, int number) {
    Path path{};
    snprintf(path.data(), path.size(), "%sbackup_%i", handle.fileName, number);
    return path;
}

// What a failed copy leaves behind goes away: it is no database, or an empty one that would be filled with default
// rows.
int copyOlderFile(const char* older, const char* currentPath) {
    ORINLOG(ORINLOG_INFO, "orindb_openDb...(): copying older db from %s to %s", older, currentPath);
    const bool isCopied = orin_systemf_returncode("cp", "-f", older, currentPath) == 0;
    if (!orin_fileExists(currentPath)) {
        ORINLOG(ORINLOG_ERROR, "orindb_openDbWithDefaultNames(): stat(%s) failed", currentPath);
        return ORINDB_FAILED;
    }
    if (!isCopied) {
        ORINLOG_FN(ORINLOG_ERROR, "copying %s failed, the next start tries again", older);
        orin_remove(currentPath);
        return ORINDB_FAILED;
    }
    return ORINDB_OK;
}

// The oldest one is overwritten.
void rotateBackups(const DbHandle& handle) {
    for (int number = BACKUPS - 1; number >= 0; --number) {
        const Path from = backupPath(handle, number);
        if (orin_fileExists(from.data()) && rename(from.data(), backupPath(handle, number + 1).data()) != 0) {
            ORINLOG_FN(ORINLOG_WARNING, "rename(%s) failed", from.data());
        }
    }
}

int exportAndImport(DbContext* dbContext, int dbType) {
    Path backup{};
    snprintf(backup.data(), backup.size(), "%sbackup_0", dbContext->handles[dbType].fileName);
    const int result = orindb_xmlExportDb(dbContext, dbType, backup.data());
    return result == ORINDB_OK ? orindb_xmlImportDb(dbContext, dbType, backup.data()) : result;
}

}  // namespace

int orindb_takeOverOlderFile(int dbType, const char* directory, const char* currentPath) {
    const std::span<const char* const> names = olderFiles(dbType);
    if (names.empty() || !isMissingOrEmpty(currentPath)) {
        return ORINDB_OK;
    }
    ORINLOG(ORINLOG_INFO, "orindb_openDb...(): %s not found, looking for an older databases or create a new one",
            currentPath);
    for (const char* name : names) {
        Path older{};
        snprintf(older.data(), older.size(), "%s/%s", directory, name);
        if (orin_fileExists(older.data())) {
            return copyOlderFile(older.data(), currentPath);
        }
    }
    return ORINDB_OK;
}

int orindb_convertDb(DbContext* dbContext, int dbType) {
    ORINDB_LOG_AND_PRINT(ORINLOG_INFO, "Converting DB-File ...");
    const int result = exportAndImport(dbContext, dbType);
    if (result != ORINDB_OK) {
        ORINDB_LOG_AND_PRINT(ORINLOG_ERROR, "Converting DB-File failed");
        return result;
    }
    rotateBackups(dbContext->handles[dbType]);
    ORINDB_LOG_AND_PRINT(ORINLOG_INFO, "DB-File is now converted");
    if (dbType == ORINDB_KONFIG) {
        // As it has always been run: without a blank behind the option it removes nothing.
        orin_systemf_insecure("rm -rf/data/lighttpd/statics/* /data/log/coredump/*");
    }
    return ORINDB_OK;
}
