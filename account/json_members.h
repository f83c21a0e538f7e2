// Members of JSON objects as ct_account prints them. The objects stay the caller's.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct json_object;

// Bytes of the text that are no UTF-8 become "?": the output would be no JSON with them.
void account_addText(json_object* object, const char* name, std::string_view text);
void account_addTruth(json_object* object, const char* name, bool truth);
// A number that is not known is null.
void account_addNumber(json_object* object, const char* name, std::optional<int64_t> number);
