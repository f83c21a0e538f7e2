#include "json_members.h"

#include <json-c/json.h>

#include <string>

#include "text_table.h"

void account_addText(json_object* object, const char* name, std::string_view text) {
    json_object_object_add(object, name, json_object_new_string(account_validUtf8(text).c_str()));
}

void account_addTruth(json_object* object, const char* name, bool truth) {
    json_object_object_add(object, name, json_object_new_boolean(truth ? 1 : 0));
}

void account_addNumber(json_object* object, const char* name, std::optional<int64_t> number) {
    json_object_object_add(object, name, number ? json_object_new_int64(*number) : nullptr);
}
