// The one way to log: a macro that asks the level first and fills in file, function and line.
//
// A module names itself once, in its anonymous namespace:
//     constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "ct_sync_main.c"};
// and logs with
//     ORINLOG(ORINLOG_ERROR, "text %d", n);      the text as it is
//     ORINLOG_FN(ORINLOG_ERROR, "text %d", n);   the text behind "<function>: "
//     ORINLOG_FOR(NAME, ORINLOG_ERROR, "text");  likewise, on behalf of the function that a step belongs to
//     ORINLOG_AS(category, ORINLOG_ERROR, ...);  under another category than the module's own
// The arguments are evaluated only when the level is enabled, and checked against the format by the compiler.
#pragma once

#include "common/orinlog_message_common.h"
#include "orinlog_level_user.h"

// What a module says of itself in its records. `file` is written with its ending, ".c".
struct orinlog_Module {
    uint32_t category;
    const char* file;
};

#define ORINLOG_ENABLED(level) orinlog_levelEnabled(&orinlog_level_mem, LOG_MODULE.category, (level))

#define ORINLOG_RECORD(logCategory, level, function, ...)                                                             \
    do {                                                                                                              \
        if (orinlog_levelEnabled(&orinlog_level_mem, (logCategory), (level))) {                                       \
            orinlog_message((logCategory), (level), LOG_MODULE.file, orinlog_nameLength(LOG_MODULE.file), (function), \
                            orinlog_nameLength(function), __LINE__, 0, __VA_ARGS__);                                  \
        }                                                                                                             \
    } while (false)

#define ORINLOG(level, ...) ORINLOG_RECORD(LOG_MODULE.category, level, __func__, __VA_ARGS__)
#define ORINLOG_AS(logCategory, level, ...) ORINLOG_RECORD(logCategory, level, __func__, __VA_ARGS__)
#define ORINLOG_FOR(function, level, format, ...) \
    ORINLOG_RECORD(LOG_MODULE.category, level, function, "%s: " format, function __VA_OPT__(, ) __VA_ARGS__)
#define ORINLOG_FN(level, format, ...) ORINLOG_FOR(__func__, level, format __VA_OPT__(, ) __VA_ARGS__)
