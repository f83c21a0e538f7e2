// What an operator at the console should see of start-up goes to the standard output as well as to the log.
#pragma once

#include <cstdio>

#include "orinlog.h"

#define ORINDB_LOG_AND_PRINT(level, ...) \
    do {                                 \
        ORINLOG(level, __VA_ARGS__);     \
        printf(__VA_ARGS__);             \
        putchar('\n');                   \
        fflush(stdout);                  \
    } while (false)
