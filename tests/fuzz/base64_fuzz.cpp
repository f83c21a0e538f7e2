#include "fuzz_input.h"
#include "orin_base64.h"
#include "orin_stringbuffer.h"

namespace {

std::string_view textOf(const orinStringBuffer& buffer) {
    return {buffer.length > 0 ? buffer.data : "", buffer.length};
}

void requireRoundTrip(std::string_view bytes, int (*encode)(const void*, size_t, orinStringBuffer*)) {
    orinStringBuffer encoded{};
    orinStringBuffer decoded{};
    require(encode(bytes.data(), bytes.size(), &encoded) == 0, "all bytes can be encoded");
    const char* text = encoded.length > 0 ? encoded.data : "";
    require(orin_base64_decode(text, &decoded) == 0, "what was encoded can be decoded");
    require(textOf(decoded) == bytes, "and comes back as it was");
    orin_freeStringBufferData(&encoded);
    orin_freeStringBufferData(&decoded);
}

}  // namespace

// Bytes survive both alphabets; as Base64 they are decoded or refused with nothing appended.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    requireRoundTrip(input, orin_base64_encode);
    requireRoundTrip(input, orin_base64url_encode);
    orinStringBuffer decoded{};
    if (orin_base64_decode(input.c_str(), &decoded) != 0) {
        require(decoded.length == 0, "a refused text appends nothing");
    }
    orin_freeStringBufferData(&decoded);
    return 0;
}
