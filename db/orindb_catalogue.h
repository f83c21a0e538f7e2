// The tables that the PBX counts changes of, each at its index in the shared change area.
#pragma once

#include <cstdint>
#include <string_view>

constexpr uint16_t ORINDB_TABLE_UNKNOWN = 0;
constexpr uint16_t ORINDB_TABLE_CONTACT = 16;
constexpr uint16_t ORINDB_TABLE_CONTACT_DETAIL = 17;
constexpr uint16_t ORINDB_TABLE_CONTACT_GROUP = 18;

// The index (1 to 110) of a table, whatever the case of its letters; ORINDB_TABLE_UNKNOWN for any other name.
[[nodiscard]] uint16_t orindb_tableIndex(std::string_view name);

// The name at an index; "" for 0, for the reserved index and beyond the end. Static storage.
[[nodiscard]] const char* orindb_tableName(uint16_t index);
