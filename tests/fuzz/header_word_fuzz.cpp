#include <cstring>

#include "fuzz_input.h"
#include "orin_headerword.h"
#include "orin_stringbuffer.h"

// Every line has at most 75 characters behind its blank, and is one encoded word of printable characters.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t MAX_WORD = 75;
    const std::string text(viewOf(data, size));
    orinStringBuffer out{};
    require(orin_encodeHeaderWord(text.c_str(), &out) == 0, "every text can be encoded");
    std::string_view rest(out.length > 0 ? out.data : "", out.length);
    while (!rest.empty()) {
        const size_t end = rest.find("\r\n ");
        const std::string_view word = rest.substr(0, end);
        require(word.size() <= MAX_WORD, "a word fits its line");
        require(word.starts_with("=?ISO-8859-1?Q?") && word.ends_with("?="), "a line is an encoded word");
        for (const char c : word) {
            require(c > ' ' && c < '\x7f', "only printable characters");
        }
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + strlen("\r\n "));
    }
    orin_freeStringBufferData(&out);
    return 0;
}
