#include "ct_google_web_ets_interface.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "google_guards.h"
#include "orin_errortext.h"
#include "orin_stdio.h"
#include "orin_systemcalls.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "ct_google_web_ets_interface.c"};

// Sizes in bytes.
constexpr size_t PATH_SIZE = 256;
constexpr size_t LINE_SIZE = 1024;
constexpr size_t PID_LINE_SIZE = 254;

constexpr int DECIMAL = 10;

// The web configuration knows the files by these names.
CutText<PATH_SIZE> syncPath(int32_t group) {
    return CutText<PATH_SIZE>("/data/etc/googlesync_%d.syn", group);
}

CutText<PATH_SIZE> errorPath(int32_t group) {
    return CutText<PATH_SIZE>("/data/etc/googleclient_%d.err", group);
}

// Replaces a file by one line. Returns 1 when it could be opened; a failed write is logged in the name of `function`.
uint8_t writeFile(const char* path, const char* line, const char* function) {
    FILE* file = nullptr;
    if (orin_fopen(&file, path, "w") == 0) {
        return 0;
    }
    const size_t length = strlen(line);
    int failure = 0;
    // Without the flush a full disk would go unnoticed: the stream keeps the line until it is closed.
    if (fwrite(line, 1, length, file) != length || fflush(file) != 0) {
        failure = errno;
        ORINLOG_FOR(function, ORINLOG_ERROR, "%s (%d)", OrinErrorText(failure).get(), failure);
    }
    orin_fclose(&file);
    if (failure != 0) {
        errno = failure;
    }
    return 1;
}

// Reads the first line of a file into `line` of `size` bytes, without its end. False when there is none.
bool readFirstLine(const char* path, char* line, int size) {
    FILE* file = nullptr;
    if (orin_fopen(&file, path, "r") == 0) {
        return false;
    }
    const bool isRead = fgets(line, size, file) != nullptr;
    orin_fclose(&file);
    if (isRead) {
        line[strcspn(line, "\r\n")] = '\0';
    }
    return isRead;
}

}  // namespace

uint8_t orin_ctsync_startet(int32_t processId, int32_t group) {
    const CutText<LINE_SIZE> line("%d \n", processId);
    return writeFile(syncPath(group).text(), line.text(), __func__);
}

void orin_ctsync_writeError(int32_t group, int32_t code) {
    const CutText<LINE_SIZE> line("%d,%d\n", group, code);
    writeFile(errorPath(group).text(), line.text(), __func__);
}

uint8_t orin_ctsync_removeErrorFile(int32_t group) {
    return orin_remove(errorPath(group).text());
}

uint8_t orin_ctsync_removeSyncFile(int32_t group) {
    return orin_remove(syncPath(group).text());
}

uint8_t orin_ctsync_fileExists(int32_t group, uint8_t which) {
    if (which != CTSYNC_SYNC_FILE && which != CTSYNC_ERROR_FILE) {
        return CTSYNC_NO_SUCH_FILE;
    }
    const CutText<PATH_SIZE> path = which == CTSYNC_SYNC_FILE ? syncPath(group) : errorPath(group);
    return access(path.text(), F_OK) == 0 ? 1 : 0;
}

int32_t orin_ctsync_readError(int32_t group) {
    char line[LINE_SIZE];
    if (!readFirstLine(errorPath(group).text(), line, sizeof(line))) {
        return 0;
    }
    // group,code
    const char* comma = strchr(line, ',');
    return comma != nullptr && comma != line ? static_cast<int32_t>(strtol(comma + 1, nullptr, DECIMAL)) : 0;
}

char* orin_ctsync_readSyncPid(int32_t group) {
    char line[PID_LINE_SIZE];
    return readFirstLine(syncPath(group).text(), line, sizeof(line)) ? strdup(line) : nullptr;
}

void orin_ctsync_removeAllSyncFiles() {
    orin_systemf_insecure("rm -f /data/etc/googlesync_*");
}
