// Speaking names and texts of contact details.
#pragma once

#include <cstdint>
#include <string>

// "displayName", "phone2", "phone2Type", "city1" ...; "detail10" for a key without meaning.
[[nodiscard]] std::string account_detailName(int32_t key);

// The value for people: a stored type ("1$", "0$Boathouse") becomes its word ("work") or its label, any other value
// stays as it is.
[[nodiscard]] std::string account_detailText(int32_t key, const std::string& value);
