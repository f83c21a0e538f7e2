// The log categories of the PBX and the names of the levels.
//
// A category is a number with a name; the kernel logger keeps one threshold for each of the first 625, the others are
// names only. The list is generated with the PBX firmware and must be the one the kernel module was built with, which
// both sides check by the list's id.
#pragma once

#include <cstdint>

// Number of named categories (0..637) and of categories with a threshold of their own (0..624).
constexpr uint32_t ORINLOG_CATEGORY_COUNT = 638;
constexpr uint32_t ORINLOG_LEVEL_ENTRY_COUNT = 625;
// Identity of the category list, compared with the kernel module's.
constexpr uint32_t ORINLOG_CATEGORY_LIST_ID = 0x903CADC6;

// The categories that this program's own code logs under.
constexpr uint32_t ORINLOG_CAT_BACKTRACE = 66;
constexpr uint32_t ORINLOG_CAT_CT_SYNC = 109;
constexpr uint32_t ORINLOG_CAT_DB = 113;
constexpr uint32_t ORINLOG_CAT_DB_MSG = 117;
constexpr uint32_t ORINLOG_CAT_SHELL = 425;
constexpr uint32_t ORINLOG_CAT_TIME = 522;
constexpr uint32_t ORINLOG_CAT_WGET = 616;
constexpr uint32_t ORINLOG_CAT_OTHER = 623;  // also the entry that holds the default threshold
constexpr uint32_t ORINLOG_CAT_ORINLOG = 624;
constexpr uint32_t ORINLOG_CAT_TLS = 637;

// Levels: the smaller the more important. At threshold 0 nothing is logged.
constexpr uint32_t ORINLOG_NONE = 0;
constexpr uint32_t ORINLOG_ERROR = 1;
constexpr uint32_t ORINLOG_WARNING = 2;
constexpr uint32_t ORINLOG_INFO = 3;
constexpr uint32_t ORINLOG_DEBUG = 4;
constexpr uint32_t ORINLOG_EDEBUG = 5;

// The name of a category; "#INVALID" above 637. Static storage.
[[nodiscard]] const char* orinlog_categoryName(uint32_t category);

// The name of a level; "Other" above 5. Static storage.
[[nodiscard]] const char* orinlog_levelName(uint32_t level);
