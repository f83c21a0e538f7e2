// Table GesprDat in "gesprdat3.db": the PBX's call records, one row per call.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log.
#pragma once

#include <cstdint>

#include "orindb_table.h"

enum class CallDirection : uint8_t { incoming = 0, outgoing = 1, internal = 2 };

struct GesprDat {
    uint32_t gesprDatId;    // rising; 0 is none yet
    char beginn[20];        // "2024-03-05 09:07:00", local time
    uint32_t dauer;         // seconds of speech; 0 for a call that nobody answered
    uint8_t richtung;       // a CallDirection
    uint16_t teilnehmerId;  // the PBX's subscriber
    char rufnummer[41];     // the other side's number as it was signalled; empty when it was withheld
    uint16_t contactId;     // the contact that the number belonged to, or 0
};
extern const OrindbTable ORINDB_GESPR_DAT_TABLE;

[[nodiscard]] int orindb_createGesprDatTable(DbContext* dbContext, OrindbDefaults defaults);

// Reads one call; ORINDB_NOT_FOUND leaves *call as it was.
[[nodiscard]] int orindb_getGesprDat(DbContext* dbContext, uint32_t gesprDatId, GesprDat* call);

// Reads all calls, the latest first. The array is the caller's, released with free(); nullptr when empty. The count
// ends at 65535.
[[nodiscard]] int orindb_getGesprDatAll(DbContext* dbContext, GesprDat** calls, uint16_t* count);

// Writes a call; one without an id gets the next one, in the record too. ORINDB_WRITE_FAILED when writing fails.
[[nodiscard]] int orindb_saveGesprDat(DbContext* dbContext, GesprDat* call);

[[nodiscard]] int orindb_removeGesprDat(DbContext* dbContext, uint32_t gesprDatId);
