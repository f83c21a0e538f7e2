#include "http_exchange.h"

#include <strings.h>

#include <algorithm>

namespace {

// -1: no hexadecimal digit.
int hexValue(char letter) {
    if (letter >= '0' && letter <= '9') {
        return letter - '0';
    }
    const char lower = static_cast<char>(letter | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// A "%" that is not followed by two hexadecimal digits stands for itself.
std::string decoded(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); i++) {
        const bool escape =
            text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 && hexValue(text[i + 2]) >= 0;
        if (escape) {
            plain += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
            i += 2;
        } else {
            plain += text[i] == '+' ? ' ' : text[i];
        }
    }
    return plain;
}

std::string valueOf(const NamedTexts& texts, std::string_view name) {
    const auto found =
        std::find_if(texts.begin(), texts.end(), [name](const auto& text) { return text.first == name; });
    return found == texts.end() ? std::string() : found->second;
}

}  // namespace

NamedTexts parseFormText(std::string_view text) {
    NamedTexts texts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('&'), text.size());
        const std::string_view pair = text.substr(0, end);
        const std::size_t equals = std::min(pair.find('='), pair.size());
        if (!pair.empty()) {
            texts.emplace_back(decoded(pair.substr(0, equals)),
                               equals < pair.size() ? decoded(pair.substr(equals + 1)) : std::string());
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return texts;
}

std::string HttpRequest::header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0) {
            return value;
        }
    }
    return {};
}

std::string HttpRequest::parameter(std::string_view name) const {
    return valueOf(query, name);
}

std::string HttpRequest::formValue(std::string_view name) const {
    return valueOf(form, name);
}
