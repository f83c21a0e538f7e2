#include "orinlog_categories.h"

#include <array>
#include <iterator>

#include "orinlog_category_names.h"

static_assert(std::size(ORINLOG_CATEGORY_NAMES) == ORINLOG_CATEGORY_COUNT);

namespace {

constexpr std::array LEVEL_NAMES{"None", "Error", "Warning", "Info", "Debug", "EDebug"};

}  // namespace

const char* orinlog_categoryName(uint32_t category) {
    return category < std::size(ORINLOG_CATEGORY_NAMES) ? ORINLOG_CATEGORY_NAMES[category] : "#INVALID";
}

const char* orinlog_levelName(uint32_t level) {
    return level < LEVEL_NAMES.size() ? LEVEL_NAMES[level] : "Other";
}
