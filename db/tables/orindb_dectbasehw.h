// Table DectBaseHw: the DECT base stations that are registered at the PBX, each in a slot and at a port of its own. A
// base has DECT_PPS_OF_BASE places for handsets (orindb_dectpphw), made and removed together with it.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log. Arrays are the caller's, to be
// released with free(); an empty one is nullptr.
#pragma once

#include <cstdint>

#include "orindb_table.h"

struct DectBaseHw {
    uint16_t dectBaseHwId;  // 1 to 9999; 0 is none yet
    char version[13];
    uint16_t slot;
    uint16_t port;
    char name[129];
    uint8_t anmeldeModus;  // registration mode
};
extern const OrindbTable ORINDB_DECT_BASE_HW_TABLE;

// Creates the table. It has no default rows.
[[nodiscard]] int orindb_createDectBaseHwTable(DbContext* dbContext, OrindbDefaults defaults);

// Read one base; ORINDB_NOT_FOUND leaves *base as it was, ORINDB_INVALID_PARAMETER for no record.
[[nodiscard]] int orindb_getDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId, DectBaseHw* base);
[[nodiscard]] int getDectBaseHwBySlotAndPort(DbContext* dbContext, uint16_t slot, uint16_t port, DectBaseHw* base);

// Read all bases by slot and port; or those at which no handset belongs to a subscriber.
[[nodiscard]] int orindb_getDectBaseHwAll(DbContext* dbContext, DectBaseHw** bases, uint16_t* count);
[[nodiscard]] int orindb_getDectBaseHwWithoutTn(DbContext* dbContext, DectBaseHw** bases, uint16_t* count);

// Writes a base. It gets the id of the base that is stored for its slot and port, or a new one, in the record too; a
// new base gets its places for handsets. ORINDB_NOT_FOUND when a base has another number of places than it should have,
// ORINDB_WRITE_FAILED when writing fails; nothing has changed then.
[[nodiscard]] int orindb_saveDectBaseHw(DbContext* dbContext, DectBaseHw* base);

// Removes a base with its places for handsets. Removing what is not there is no failure.
[[nodiscard]] int orindb_removeDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId);
