#include <cstring>

#include "fuzz_input.h"
#include "orin_proxysettings.h"

// Any file is looked up without harm; the value is bounded and free of white space at its ends.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "r");
    require(file != nullptr, "a file in memory");
    for (const char* key : {"use-proxy:", "ip-address:", "proxy-port:", "username:"}) {
        char value[64] = "as it was";
        if (orin_lookupConfValue(file, key, value, sizeof(value)) == 0) {
            require(strcmp(value, "as it was") == 0, "a missing key leaves the value");
        } else {
            require(memchr(value, '\0', sizeof(value)) != nullptr, "the value is terminated");
            require(value[0] == '\0' || strchr(" \t\r\n", value[0]) == nullptr, "no white space in front");
        }
    }
    fclose(file);
    return 0;
}
