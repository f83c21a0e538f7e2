#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>

#include "orin_datei_tools.h"
#include "orin_memory.h"
#include "orin_stdio.h"
#include "orindb_contact.h"
#include "orindb_contactdetail.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_contactrepair.c"};

// A detail's path always fits. The paths of files that are removed are kept as short as everywhere in the PBX.
constexpr size_t DETAIL_PATH_SIZE = sizeof(ORINDB_PHOTO_DIRECTORY) + ORINDB_DETAIL_VALUE_SIZE;
constexpr size_t FILE_PATH_SIZE = 256;

struct DirectoryRelease {
    void operator()(DIR* directory) const {
        closedir(directory);
    }
};
using Directory = std::unique_ptr<DIR, DirectoryRelease>;

// The path of a file in the photo directory. False when it does not fit: the file is then left alone.
bool photoPath(const char* name, std::span<char> path) {
    const int length = snprintf(path.data(), path.size(), "%s%s", ORINDB_PHOTO_DIRECTORY, name);
    return length > 0 && static_cast<size_t>(length) < path.size();
}

int removeDetailsWithoutFile(DbContext* dbContext, std::span<const ContactDetail> photos) {
    int result = ORINDB_OK;
    for (const ContactDetail& photo : photos) {
        std::array<char, DETAIL_PATH_SIZE> path{};
        if (photoPath(photo.value, path) && !orin_fileExists(path.data())) {
            const int removed = orindb_removeCtdes(dbContext, photo.contactId, photo.key);
            result = result == ORINDB_OK ? removed : result;
        }
    }
    return result;
}

bool isNamed(std::span<const ContactDetail> photos, const char* name) {
    const auto found =
        std::lower_bound(photos.begin(), photos.end(), name,
                         [](const ContactDetail& photo, const char* text) { return strcmp(photo.value, text) < 0; });
    return found != photos.end() && strcmp(found->value, name) == 0;
}

void removeFilesWithoutDetail(std::span<const ContactDetail> photos) {
    const Directory directory(opendir(ORINDB_PHOTO_DIRECTORY));
    if (directory == nullptr) {
        ORINLOG_FN(ORINLOG_INFO, "opendir(%s) failed: %s", ORINDB_PHOTO_DIRECTORY, strerror(errno));
        return;
    }
    while (const dirent* entry = readdir(directory.get())) {
        std::array<char, FILE_PATH_SIZE> path{};
        struct stat status {};
        if (photoPath(entry->d_name, path) && lstat(path.data(), &status) == 0 && S_ISREG(status.st_mode) &&
            !isNamed(photos, entry->d_name)) {
            orin_remove(path.data());
        }
    }
}

}  // namespace

int orindb_repairContactDetailTable(DbContext* dbContext) {
    const char* details = ORINDB_CONTACT_DETAIL_TABLE.name;
    const SelectText clean(
        "DELETE FROM %s WHERE value like '' OR (value like '65535$0' AND key=%d) OR contactId NOT IN (SELECT DISTINCT "
        "contactId FROM %s)",
        details, ORINDB_DETAIL_SHORT_NUMBER, ORINDB_CONTACT_TABLE.name);
    // What cannot be cleaned is logged; the short numbers are repaired all the same.
    static_cast<void>(orindb_execute(dbContext, clean.get(), __func__));
    const SelectText strip("UPDATE %s SET value=CAST(value AS INTEGER) WHERE key=%d AND value LIKE '%%$%%'", details,
                           ORINDB_DETAIL_SHORT_NUMBER);
    return orindb_execute(dbContext, strip.get(), __func__);
}

int orindb_removeUnusedPhotos(DbContext* dbContext) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    ContactDetail* block = nullptr;
    uint32_t count = 0;
    int result =
        orindb_getContactDetailArray(dbContext, &block, &count, "WHERE key=%d ORDER BY value", ORINDB_DETAIL_PHOTO);
    const Malloced<ContactDetail> owner(block);
    const std::span<const ContactDetail> photos(block, count);
    if (result == ORINDB_OK) {
        result = removeDetailsWithoutFile(dbContext, photos);
    }
    if (result == ORINDB_OK) {
        removeFilesWithoutDetail(photos);
    }
    return transaction.end(result);
}
