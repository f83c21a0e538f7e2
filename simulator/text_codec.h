#pragma once
// Small conversions of text that the modules of the stand-in share: JSON by way of json-c, base64 and its URL form.

#include <memory>
#include <string>
#include <string_view>

struct json_object;

struct JsonHandleRelease {
    void operator()(json_object* object) const noexcept;
};
using JsonHandle = std::unique_ptr<json_object, JsonHandleRelease>;

// Parses a whole text; empty with one line in `error` when it is no JSON value or more than one.
[[nodiscard]] JsonHandle parseJson(const std::string& text, std::string& error);

// A text in JSON quotes, UTF-8 as it is.
[[nodiscard]] std::string jsonQuoted(std::string_view text);

// A value over several lines, every line but the first moved right by `indent` blanks.
[[nodiscard]] std::string jsonPretty(json_object* value, int indent);

// The text of a string member, or `fallback` when the member is missing or of another type.
[[nodiscard]] std::string jsonText(json_object* object, const char* member, const std::string& fallback);
// The value of an integer member from 0 up, or `fallback` when it is missing, negative or of another type.
[[nodiscard]] unsigned jsonUnsigned(json_object* object, const char* member, unsigned fallback);

[[nodiscard]] std::string base64(std::string_view bytes);
// False: not base64 with its padding.
[[nodiscard]] bool base64Decode(std::string_view text, std::string& bytes);

// With "-" and "_" and without padding, as tokens are written.
[[nodiscard]] std::string base64Url(std::string_view bytes);
[[nodiscard]] bool base64UrlDecode(std::string_view text, std::string& bytes);

// The 64 bits of FNV-1a, for tags and fingerprints that need no secrecy.
[[nodiscard]] unsigned long long fingerprint(std::string_view text);
