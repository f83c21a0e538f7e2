// A program as a user of the installed libraries writes it: something of each of them, on a database set of its own.

#include <cstdio>
#include <cstring>

#include "google_connector.h"
#include "json_loader.h"
#include "orin_md5c.h"
#include "orin_stringutils.h"
#include "orindb_contactgroup.h"
#include "orindb_dbaccess.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "consumer.c"};

bool storesAndReadsAGroup(const char* directory) {
    DbContext databases;
    if (orindb_openAllDbsWithDefaultNames(&databases, directory, 0) != ORINDB_OK) {
        return false;
    }
    ContactGroup written{2, 0, ""};
    orin_strncpy(written.name, "Consumer");
    ContactGroup read{};
    const bool same = orindb_saveContactGroup(&databases, &written) == ORINDB_OK &&
                      orindb_getContactGroup(&databases, 2, &read) == ORINDB_OK && strcmp(read.name, written.name) == 0;
    orindb_closeAllDbs(&databases);
    return same;
}

bool computesADigest() {
    char digest[ORIN_MD5_TEXT_SIZE];
    return orin_MD5_GetHashOfString("", digest) == 0 && strcmp(digest, "d41d8cd98f00b204e9800998ecf8427e") == 0;
}

bool hasAConnector() {
    GoogleConnector* connector = orin_createGoogleConnector();
    const bool fresh = connector != nullptr && orin_hasAuthentificationFailed(connector) == 0 &&
                       orin_jsonObjectGetString(nullptr, "member") == nullptr;
    orin_destroyGoogleConnector(connector);
    return fresh;
}

bool check(const char* what, bool holds) {
    printf("%-28s %s\n", what, holds ? "yes" : "NO");
    return holds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: consumer DIRECTORY\n");
        return 2;
    }
    ORINLOG(ORINLOG_DEBUG, "started with %s", argv[1]);
    const bool all = check("log: errors are enabled", ORINLOG_ENABLED(ORINLOG_ERROR)) &
                     check("util: a digest is computed", computesADigest()) &
                     check("db: a group is stored", storesAndReadsAGroup(argv[1])) &
                     check("google: a fresh connector", hasAConnector());
    return all ? 0 : 1;
}
