#include "orindb_version.h"

#include <cstdlib>
#include <cstring>

#include "orindb_logandprint.h"
#include "orindb_sqltext.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_version.c"};

constexpr char CREATE_TABLE[] =
    "CREATE TABLE DbFileVersion\n(\n"
    "    key              INTEGER(1),\n"
    "    version          INTEGER(1),\n"
    "    device           VARCHAR(1),\n"
    "    minorVersion     INTEGER(1),\n"
    "    PRIMARY KEY(key)\n)";

struct FileVersion {
    int version;
    int minorVersion;
};

int versionRowCallback(void* fileVersion, int columnCount, char** values, char** names) {
    auto* file = static_cast<FileVersion*>(fileVersion);
    constexpr int BASE = 10;
    for (int i = 0; i < columnCount; ++i) {
        const int number = values[i] != nullptr ? static_cast<int>(strtol(values[i], nullptr, BASE)) : 0;
        if (strcmp(names[i], "version") == 0) {
            file->version = number;
        } else if (strcmp(names[i], "minorVersion") == 0) {
            file->minorVersion = number;
        }
    }
    return 0;
}

}  // namespace

uint8_t orindb_isDbFileAndClientVersionEqual(DbContext* dbContext, int dbType) {
    if (dbContext == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "invalid parameters");
        return 0;
    }
    const DbHandle& handle = dbContext->handles[dbType];
    FileVersion file{};
    // A missing table or row reads as version 0:0, which no program has.
    static_cast<void>(_orindb_execDb(dbContext, dbType, "SELECT * FROM DbFileVersion WHERE key=1", versionRowCallback,
                                     &file, __func__));
    if (file.version == handle.clientVersion && file.minorVersion == handle.clientMinorVersion) {
        return 1;
    }
    ORINDB_LOG_AND_PRINT(ORINLOG_INFO, "Unterschiedliche Version: DB-File-Version=%i:%i != DB-Client-Version=%i:%i",
                         file.version, file.minorVersion, handle.clientVersion, handle.clientMinorVersion);
    return 0;
}

int orindb_setClientVersionInDbFile(DbContext* dbContext, int dbType, uint16_t version, uint16_t minorVersion) {
    const auto run = [&](const char* sql) {
        return _orindb_execDb(dbContext, dbType, sql, nullptr, nullptr, "orindb_setClientVersionInDbFile");
    };
    const SelectText replace("REPLACE INTO DbFileVersion (key,version,device,minorVersion) VALUES (1,%i,'%s',%i)",
                             version, ORINDB_DEVICE_MODEL, minorVersion);
    int result = run(replace.get());
    if (result != ORINDB_OK) {
        // Without the table the drop fails, which is as good as done.
        static_cast<void>(run("DROP TABLE DbFileVersion"));
        result = run(CREATE_TABLE);
        if (result == ORINDB_OK) {
            result = run(replace.get());
        }
    }
    return result;
}
