#include "fuzz_input.h"
#include "orin_utf8.h"

// The repaired text is the beginning of the old one, and what was valid stays as it was.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view rest = viewOf(data, size);
    const std::string before = nextText(rest);
    std::string text = before;
    orin_utf8_fix_tail(text.data());
    const std::string repaired(text.c_str());
    require(before.compare(0, repaired.size(), repaired) == 0, "the repaired text is a beginning");
    require(orin_utf8_check(before.c_str()) != 0 || repaired == before, "a valid text stays as it is");
    return 0;
}
