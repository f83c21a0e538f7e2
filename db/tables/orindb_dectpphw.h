// Table DectPpHw: the places for handsets (portable parts) of a DECT base station, DECT_PPS_OF_BASE of them for each.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log.
#pragma once

#include <cstdint>

#include "orindb_table.h"

constexpr uint16_t DECT_PPS_OF_BASE = 8;

struct DectPpHw {
    uint32_t dectPpHwId;    // dectBaseHwId * 8 + ppNr - 1
    uint16_t dectBaseHwId;  // the base it belongs to
    uint8_t ppNr;           // 1 to 8
    uint16_t teilnehmerId;  // the subscriber whose handset it is; 0 is none
};
extern const OrindbTable ORINDB_DECT_PP_HW_TABLE;

[[nodiscard]] int orindb_createDectPpHwTable(DbContext* dbContext, OrindbDefaults defaults);

// Reads the places of a base in their order. The array is the caller's, released with free(); nullptr when empty.
[[nodiscard]] int orindb_getDectPpHwArrayForDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId, DectPpHw** places,
                                                       uint16_t* count);

// Creates the empty places of a new base, all or none.
[[nodiscard]] int orindb_createDectPpHwForDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId);

// Writes one place. ORINDB_INVALID_PARAMETER for no record or one without a base.
[[nodiscard]] int orindb_saveDectPpHw(DbContext* dbContext, const DectPpHw* place);

// Removes the places of a base.
[[nodiscard]] int orindb_removeDectPpHwOfDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId);
