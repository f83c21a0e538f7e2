#include "google_account.h"

#include <json-c/json.h>

#include "text_codec.h"

namespace {

constexpr int FIELD_INDENT = 6;  // where a person's members stand in a list

}  // namespace

bool parsePerson(const std::string& json, GooglePerson& person) {
    std::string error;
    const JsonHandle object = parseJson(json, error);
    if (json_object_is_type(object.get(), json_type_object) == 0) {
        return false;
    }
    GooglePerson read{jsonText(object.get(), "resourceName", ""), jsonText(object.get(), "etag", ""), {}};
    json_object_object_foreach(object.get(), name, value) {
        const std::string_view field = name;
        // Indented once here, so that a list is made by putting texts together.
        if (field != "resourceName" && field != "etag") {
            read.fields[name] = jsonPretty(value, FIELD_INDENT);
        }
    }
    person = std::move(read);
    return true;
}
