#include "text_codec.h"

#include <json-c/json.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>

namespace {

constexpr int PRETTY =
    JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED | JSON_C_TO_STRING_NOSLASHESCAPE;  // two blanks a level

struct TokenerRelease {
    void operator()(json_tokener* tokener) const noexcept {
        json_tokener_free(tokener);
    }
};

bool isBase64(char letter) {
    return (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') ||
           letter == '+' || letter == '/';
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

void JsonHandleRelease::operator()(json_object* object) const noexcept {
    json_object_put(object);
}

JsonHandle parseJson(const std::string& text, std::string& error) {
    const std::unique_ptr<json_tokener, TokenerRelease> tokener(json_tokener_new());
    if (!tokener) {
        error = "out of memory";
        return nullptr;
    }
    // Strict: json-c would else take what follows the value for granted.
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT);
    // With its NUL, so that a number at the very end is complete.
    JsonHandle value(json_tokener_parse_ex(tokener.get(), text.c_str(), static_cast<int>(text.size() + 1)));
    const json_tokener_error result = json_tokener_get_error(tokener.get());
    if (result != json_tokener_success) {
        const size_t end = json_tokener_get_parse_end(tokener.get());
        const auto line =
            1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(end, text.size())), '\n');
        error = "line " + std::to_string(line) + ": " + json_tokener_error_desc(result);
        return nullptr;
    }
    if (!value) {
        error = "null is no value here";
    }
    return value;
}

std::string jsonQuoted(std::string_view text) {
    const JsonHandle value(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
    return json_object_to_json_string_ext(value.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

std::string jsonPretty(json_object* value, int indent) {
    const std::string flat = json_object_to_json_string_ext(value, PRETTY);
    const std::string margin(static_cast<size_t>(indent), ' ');
    std::string text;
    text.reserve(flat.size() + flat.size() / 2);
    for (const char letter : flat) {
        text += letter;
        if (letter == '\n') {
            text += margin;
        }
    }
    return text;
}

std::string jsonText(json_object* object, const char* member, const std::string& fallback) {
    json_object* value = nullptr;
    if (json_object_object_get_ex(object, member, &value) == 0 || json_object_is_type(value, json_type_string) == 0) {
        return fallback;
    }
    return {json_object_get_string(value), static_cast<size_t>(json_object_get_string_len(value))};
}

unsigned jsonUnsigned(json_object* object, const char* member, unsigned fallback) {
    json_object* value = nullptr;
    if (json_object_object_get_ex(object, member, &value) == 0 || json_object_is_type(value, json_type_int) == 0) {
        return fallback;
    }
    const int64_t number = json_object_get_int64(value);
    return number < 0 || number > UINT32_MAX ? fallback : static_cast<unsigned>(number);
}

std::string base64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // EVP_EncodeBlock adds a NUL
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytesOf(bytes), static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return text;
}

// EVP_DecodeBlock takes blanks and counts the padding as bytes: both are seen to here.
bool base64Decode(std::string_view text, std::string& bytes) {
    const size_t letters = std::min(text.find('='), text.size());
    const size_t padding = text.size() - letters;
    if (text.size() % 4 != 0 || padding > 2 ||
        !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(letters), isBase64) ||
        text.find_first_not_of('=', letters) != std::string_view::npos) {
        return false;
    }
    std::string decoded(text.size() / 4 * 3, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()), bytesOf(text), static_cast<int>(text.size()));
    if (length < 0) {
        return false;
    }
    decoded.resize(static_cast<size_t>(length) - padding);
    bytes = std::move(decoded);
    return true;
}

std::string base64Url(std::string_view bytes) {
    std::string text = base64(bytes);
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    text.resize(std::min(text.find('='), text.size()));
    return text;
}

bool base64UrlDecode(std::string_view text, std::string& bytes) {
    std::string padded(text);
    std::replace(padded.begin(), padded.end(), '-', '+');
    std::replace(padded.begin(), padded.end(), '_', '/');
    padded.append((4 - padded.size() % 4) % 4, '=');
    return base64Decode(padded, bytes);
}

unsigned long long fingerprint(std::string_view text) {
    uint64_t hash = 0xcbf29ce484222325U;
    for (const char letter : text) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3U;
    }
    return hash;
}
