#include "misbehaviour.h"

#include <json-c/json.h>

#include <array>

#include "text_codec.h"

namespace {

constexpr std::array<std::string_view, ENDPOINTS> ENDPOINT_NAMES{"token", "deviceCode", "connections", "groups",
                                                                 "photo", "other",      "any"};
constexpr std::array<std::string_view, 4> CONTENT_NAMES{"usual", "empty", "html", "text"};
constexpr std::array<std::string_view, 4> DELIVERY_NAMES{"whole", "truncated", "drip", "reset"};

// The value of a word, by its place in the list; false: it is not there.
template <typename Value, std::size_t N>
bool readWord(json_object* member, const std::array<std::string_view, N>& words, Value& value) {
    const std::string_view text =
        json_object_is_type(member, json_type_string) != 0 ? json_object_get_string(member) : "";
    for (std::size_t i = 0; i < words.size(); i++) {
        if (words[i] == text) {
            value = static_cast<Value>(i);
            return true;
        }
    }
    return false;
}

bool readText(json_object* member, std::string& value) {
    const bool text = json_object_is_type(member, json_type_string) != 0;
    if (text) {
        value.assign(json_object_get_string(member), static_cast<std::size_t>(json_object_get_string_len(member)));
    }
    return text;
}

template <typename Number>
bool readNumber(json_object* member, Number& value) {
    constexpr int LIMIT = 24 * 60 * 60 * 1000;  // a day of milliseconds; counts and statuses are smaller
    const bool fits = json_object_is_type(member, json_type_int) != 0 && json_object_get_int64(member) >= 0 &&
                      json_object_get_int64(member) <= LIMIT;
    if (fits) {
        value = Number(json_object_get_int(member));
    }
    return fits;
}

// False: no such member, or not with such a value.
bool readMember(std::string_view name, json_object* member, Misbehaviour& rule) {
    return (name == "endpoint" && readWord(member, ENDPOINT_NAMES, rule.endpoint)) ||
           (name == "first" && readNumber(member, rule.first)) || (name == "count" && readNumber(member, rule.count)) ||
           (name == "status" && readNumber(member, rule.status)) || (name == "error" && readText(member, rule.error)) ||
           (name == "content" && readWord(member, CONTENT_NAMES, rule.content)) ||
           (name == "text" && readText(member, rule.text)) ||
           (name == "contentType" && readText(member, rule.contentType)) ||
           (name == "delivery" && readWord(member, DELIVERY_NAMES, rule.delivery)) ||
           (name == "delay" && readNumber(member, rule.delay)) || (name == "pause" && readNumber(member, rule.pause));
}

bool readRule(json_object* object, Misbehaviour& rule, std::string& error) {
    if (json_object_is_type(object, json_type_object) == 0) {
        error = "script: a rule is an object";
        return false;
    }
    json_object_object_foreach(object, name, member) {
        if (!readMember(name, member, rule)) {
            error =
                "script: unknown member or value: \"" + std::string(name) + "\": " + json_object_to_json_string(member);
            return false;
        }
    }
    return true;
}

}  // namespace

void MisbehaviourScript::add(Misbehaviour rule) {
    rules_.push_back(std::move(rule));
}

void MisbehaviourScript::clear() {
    rules_.clear();
}

const Misbehaviour* MisbehaviourScript::strike(Endpoint endpoint) {
    const Misbehaviour* striking = nullptr;
    for (Misbehaviour& rule : rules_) {
        if (rule.endpoint == endpoint || rule.endpoint == Endpoint::Any) {
            rule.seen++;  // also when an earlier rule strikes: "the n-th request" is the n-th sent
            const bool strikes = rule.seen >= rule.first && (rule.count == 0 || rule.seen - rule.first < rule.count);
            striking = striking == nullptr && strikes ? &rule : striking;
        }
    }
    return striking;
}

std::string_view endpointName(Endpoint endpoint) {
    return ENDPOINT_NAMES.at(static_cast<std::size_t>(endpoint));
}

bool parseScript(const std::string& json, std::vector<Misbehaviour>& rules, std::string& error) {
    const JsonHandle script = parseJson(json, error);
    if (!script) {
        error = "script: " + error;
        return false;
    }
    const bool list = json_object_is_type(script.get(), json_type_array) != 0;
    const std::size_t count = list ? json_object_array_length(script.get()) : 1;
    std::vector<Misbehaviour> read(count);
    for (std::size_t i = 0; i < count; i++) {
        json_object* rule = list ? json_object_array_get_idx(script.get(), i) : script.get();
        if (!readRule(rule, read[i], error)) {
            return false;
        }
    }
    rules = std::move(read);
    return true;
}
