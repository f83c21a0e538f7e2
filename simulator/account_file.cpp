#include "account_file.h"

#include <json-c/json.h>

#include "text_codec.h"

namespace {

// A member of a given type, or NULL.
json_object* member(json_object* object, const char* name, json_type type) {
    json_object* value = nullptr;
    const bool found = json_object_object_get_ex(object, name, &value) != 0 && json_object_is_type(value, type) != 0;
    return found ? value : nullptr;
}

// Entries of a list that may be missing.
std::size_t length(json_object* list) {
    return list == nullptr ? 0 : json_object_array_length(list);
}

// What is not in the file keeps the record's default.
void readTexts(json_object* root, GoogleAccount& account) {
    account.clientId = jsonText(root, "clientId", account.clientId);
    account.clientSecret = jsonText(root, "clientSecret", account.clientSecret);
    account.scope = jsonText(root, "scope", account.scope);
    account.refreshToken = jsonText(root, "refreshToken", account.refreshToken);
    account.tokenType = jsonText(root, "tokenType", account.tokenType);
    account.accessTokenLifetime = jsonUnsigned(root, "accessTokenLifetime", account.accessTokenLifetime);
    json_object* object = member(root, "device", json_type_object);
    DeviceAuthorisation& device = account.device;
    device.deviceCode = jsonText(object, "deviceCode", device.deviceCode);
    device.userCode = jsonText(object, "userCode", device.userCode);
    device.verificationUrl = jsonText(object, "verificationUrl", device.verificationUrl);
    device.expiresIn = jsonUnsigned(object, "expiresIn", device.expiresIn);
    device.interval = jsonUnsigned(object, "interval", device.interval);
    device.pendingAnswers = jsonUnsigned(object, "pendingAnswers", device.pendingAnswers);
}

void readGroups(json_object* list, GoogleAccount& account) {
    for (std::size_t i = 0; i < length(list); i++) {
        json_object* object = json_object_array_get_idx(list, i);
        GoogleContactGroup group;
        group.resourceName = jsonText(object, "resourceName", "");
        group.name = jsonText(object, "name", "");
        group.formattedName = jsonText(object, "formattedName", group.name);
        group.groupType = jsonText(object, "groupType", group.groupType);
        account.groups.push_back(std::move(group));
    }
}

// A person is kept as text: each is written out once more and taken apart by the one reader there is.
bool readPersons(json_object* list, GoogleAccount& account, std::string& error) {
    for (std::size_t i = 0; i < length(list); i++) {
        GooglePerson person;
        if (!parsePerson(json_object_to_json_string(json_object_array_get_idx(list, i)), person)) {
            error = "connections: entry " + std::to_string(i) + " is no object";
            return false;
        }
        account.persons.push_back(std::move(person));
    }
    return true;
}

bool readPhotos(json_object* object, GoogleAccount& account, std::string& error) {
    if (object == nullptr) {
        return true;
    }
    json_object_object_foreach(object, path, value) {
        GooglePhoto photo;
        photo.contentType = jsonText(value, "contentType", photo.contentType);
        if (!base64Decode(jsonText(value, "base64", ""), photo.bytes)) {
            error = "photos: \"" + std::string(path) + "\" has no good base64";
            return false;
        }
        account.photos[path] = std::move(photo);
    }
    return true;
}

bool readCertificates(json_object* object, AccountFile& file, std::string& error) {
    if (object == nullptr) {
        return true;
    }
    json_object_object_foreach(object, host, value) {
        const bool text = json_object_is_type(value, json_type_string) != 0;
        if (!text || !certificateKindFromText(json_object_get_string(value), file.certificates[host])) {
            error = "certificates: good, expired, wrongName or unknownAuthority for \"" + std::string(host) + "\"";
            return false;
        }
    }
    return true;
}

// The fields are JSON already, over several lines.
std::string personText(const GooglePerson& person) {
    std::string text = "{\"resourceName\":" + jsonQuoted(person.resourceName) + ",\"etag\":" + jsonQuoted(person.etag);
    for (const auto& [name, value] : person.fields) {
        text += ",\n      " + jsonQuoted(name) + ":" + value;
    }
    return text + "}";
}

std::string groupText(const GoogleContactGroup& group) {
    return "{\"resourceName\":" + jsonQuoted(group.resourceName) + ",\"name\":" + jsonQuoted(group.name) +
           ",\"formattedName\":" + jsonQuoted(group.formattedName) + ",\"groupType\":" + jsonQuoted(group.groupType) +
           "}";
}

// "[" and the entries, one per line, and "]".
template <typename Entry, typename Writer>
std::string listText(const std::vector<Entry>& entries, const Writer& write) {
    std::string text = "[";
    for (const Entry& entry : entries) {
        text.append(text.size() > 1 ? ",\n    " : "\n    ").append(write(entry));
    }
    return text + "]";
}

}  // namespace

bool parseAccountFile(const std::string& json, AccountFile& file, std::string& error) {
    const JsonHandle root = parseJson(json, error);
    if (!root) {
        return false;
    }
    if (json_object_is_type(root.get(), json_type_object) == 0) {
        error = "an account is an object";
        return false;
    }
    AccountFile read;
    readTexts(root.get(), read.account);
    readGroups(member(root.get(), "contactGroups", json_type_array), read.account);
    json_object* script = member(root.get(), "script", json_type_array);
    const bool good = readPersons(member(root.get(), "connections", json_type_array), read.account, error) &&
                      readPhotos(member(root.get(), "photos", json_type_object), read.account, error) &&
                      readCertificates(member(root.get(), "certificates", json_type_object), read, error) &&
                      (script == nullptr || parseScript(json_object_to_json_string(script), read.script, error));
    if (good) {  // all or nothing: a half-written file changes nothing
        file = std::move(read);
    }
    return good;
}

std::string writeAccountFile(const GoogleAccount& account) {
    const DeviceAuthorisation& device = account.device;
    std::string text = "{\n  \"clientId\": " + jsonQuoted(account.clientId) +
                       ",\n  \"clientSecret\": " + jsonQuoted(account.clientSecret) +
                       ",\n  \"scope\": " + jsonQuoted(account.scope) +
                       ",\n  \"refreshToken\": " + jsonQuoted(account.refreshToken) +
                       ",\n  \"tokenType\": " + jsonQuoted(account.tokenType) +
                       ",\n  \"accessTokenLifetime\": " + std::to_string(account.accessTokenLifetime);
    text += ",\n  \"device\": {\"deviceCode\": " + jsonQuoted(device.deviceCode) +
            ", \"userCode\": " + jsonQuoted(device.userCode) +
            ", \"verificationUrl\": " + jsonQuoted(device.verificationUrl) +
            ", \"expiresIn\": " + std::to_string(device.expiresIn) +
            ", \"interval\": " + std::to_string(device.interval) +
            ", \"pendingAnswers\": " + std::to_string(device.pendingAnswers) + "}";
    text += ",\n  \"contactGroups\": " + listText(account.groups, groupText) +
            ",\n  \"connections\": " + listText(account.persons, personText) + ",\n  \"photos\": {";
    const char* separator = "\n    ";
    for (const auto& [path, photo] : account.photos) {
        text += separator + jsonQuoted(path) + ": {\"contentType\": " + jsonQuoted(photo.contentType) +
                ", \"base64\": \"" + base64(photo.bytes) + "\"}";
        separator = ",\n    ";
    }
    return text + "},\n  \"script\": [],\n  \"certificates\": {}\n}\n";
}
