// What fuzz targets make of their bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// A claim about the tested code: the fuzzer reports where it does not hold.
inline void require(bool holds, const char* claim) {
    if (!holds) {
        fprintf(stderr, "does not hold: %s\n", claim);
        abort();
    }
}

inline std::string_view viewOf(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Cuts the first part off, up to a NUL byte.
inline std::string nextText(std::string_view& rest) {
    const size_t end = rest.find('\0');
    const std::string text(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return text;
}
