// The status files by which the web configuration follows a synchronisation.
//
// Each contact group has two small text files in /data/etc: the sync file "googlesync_<group>.syn" holds the process id
// of the run in progress and is there as long as it lasts; the error file "googleclient_<group>.err" holds group and
// result code of the last run if that failed. A run that was killed leaves its sync file behind until the next run of
// the group or orin_ctsync_removeAllSyncFiles.
#pragma once

#include <cstdint>

// The two files, as orin_ctsync_fileExists knows them.
constexpr uint8_t CTSYNC_SYNC_FILE = 0;
constexpr uint8_t CTSYNC_ERROR_FILE = 1;
constexpr uint8_t CTSYNC_NO_SUCH_FILE = 255;  // answer for any other number

// Writes the sync file. Returns 1 when it could be opened, else 0. A failed write is logged.
uint8_t orin_ctsync_startet(int32_t processId, int32_t group);

// Writes the error file. A failed write is logged.
void orin_ctsync_writeError(int32_t group, int32_t code);

// Delete the files. Return 1 when the file is gone by this call, else 0.
uint8_t orin_ctsync_removeErrorFile(int32_t group);
uint8_t orin_ctsync_removeSyncFile(int32_t group);

// Returns 1 when the file of the group exists, else 0; CTSYNC_NO_SUCH_FILE when `which` is none of the two.
[[nodiscard]] uint8_t orin_ctsync_fileExists(int32_t group, uint8_t which);

// The result code in the error file of the group; 0 when there is no file or no code in it.
[[nodiscard]] int32_t orin_ctsync_readError(int32_t group);

// The first line of the group's sync file without its line end, with the blank behind the process id; at most 253
// characters. The caller releases it with free. nullptr when there is no file or no line.
[[nodiscard]] char* orin_ctsync_readSyncPid(int32_t group);

// Deletes the sync files of all groups.
void orin_ctsync_removeAllSyncFiles();
