#include "fuzz_input.h"
#include "orin_base64.h"
#include "orin_stringbuffer.h"

namespace {

void requireRoundTrip(std::string_view bytes, int (*encode)(const void*, size_t, orinStringBuffer*)) {
    orinStringBuffer encoded{};
    orinStringBuffer decoded{};
    require(encode(bytes.data(), bytes.size(), &encoded) == 0, "all bytes can be encoded");
    require(orin_base64_decode(encoded.data, &decoded) == 0, "what was encoded can be decoded");
    require(std::string_view(decoded.data, decoded.length) == bytes, "and comes back as it was");
    orin_freeStringBufferData(&encoded);
    orin_freeStringBufferData(&decoded);
}

}  // namespace

// Bytes survive both alphabets; as Base64 they are decoded or refused with nothing appended.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(viewOf(data, size));
    requireRoundTrip(input, orin_base64_encode);
    requireRoundTrip(input, orin_base64url_encode);
    orinStringBuffer decoded{};
    const int result = orin_base64_decode(input.c_str(), &decoded);
    require(result == 0 || decoded.length == 0, "a refused text appends nothing");
    orin_freeStringBufferData(&decoded);
    return 0;
}
