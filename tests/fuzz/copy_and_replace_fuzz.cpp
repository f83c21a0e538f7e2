#include <vector>

#include "fuzz_input.h"
#include "orin_stringutils.h"

namespace {

std::string replaced(const std::string& text, const std::string& filter, const std::string& replacement) {
    std::string result;
    for (size_t at = 0; at < text.size();) {
        if (text.compare(at, filter.size(), filter) == 0) {
            result += replacement;
            at += filter.size();
        } else {
            result += text[at++];
        }
    }
    return result;
}

}  // namespace

// Against the obvious way to do it: text, filter and replacement, each up to a NUL, and a size.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const uint32_t room = 1U + data[0];
    std::string_view rest = viewOf(data + 1, size - 1);
    const std::string filter = nextText(rest);
    const std::string replacement = nextText(rest);
    const std::string text = nextText(rest);
    if (filter.empty()) {
        return 0;
    }
    std::vector<char> out(room, 'x');
    const int result = orin_copyAndReplaceString(text.c_str(), filter.c_str(), replacement.c_str(), out.data(), room);
    const std::string expected = replaced(text, filter, replacement);
    require(out.back() == '\0', "the destination is terminated");
    require(expected.substr(0, room - 1) == out.data(), "the result, as far as it fits");
    const bool found = text.find(filter) != std::string::npos;
    require((result == 0) == (!found || expected.size() < room), "the answer tells whether it fits");
    return 0;
}
