#include "orin_base64.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "orin_stringbuffer.h"
#include "orin_stringutils.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_base64.c"};

// Characters of both alphabets, and what may fill up the last group.
constexpr char ALPHABETS[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
    "-_";
constexpr char PADDING[] = "=";
constexpr char ZERO = 'A';  // the character of six 0 bits

// Texts are converted in pieces of whole groups: 3 bytes, 4 characters.
constexpr size_t GROUP_CHARACTERS = 4;
constexpr size_t PIECE_BYTES = 768;
constexpr size_t PIECE_CHARACTERS = PIECE_BYTES / 3 * GROUP_CHARACTERS;

enum class Alphabet : uint8_t { standard, urlSafe };

int encode(const void* bytes, size_t count, orinStringBuffer* destination, Alphabet alphabet) {
    if (bytes == nullptr || destination == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "bytes=%p destination=%p", bytes, static_cast<void*>(destination));
        return -1;
    }
    const auto* rest = static_cast<const unsigned char*>(bytes);
    do {
        const size_t taken = std::min(count, PIECE_BYTES);
        std::array<char, PIECE_CHARACTERS + 1> piece = {};
        const int characters =
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(piece.data()), rest, static_cast<int>(taken));
        if (alphabet == Alphabet::urlSafe) {
            orin_replaceChar(piece.data(), '+', '-');
            orin_replaceChar(piece.data(), '/', '_');
        }
        if (orin_appendToStringBuffer(destination, piece.data(), static_cast<size_t>(characters)) != 0) {
            return -1;
        }
        rest += taken;
        count -= taken;
    } while (count > 0);  // no bytes make an empty text
    return 0;
}

}  // namespace

int orin_base64_encode(const void* bytes, size_t count, orinStringBuffer* destination) {
    return encode(bytes, count, destination, Alphabet::standard);
}

int orin_base64url_encode(const void* bytes, size_t count, orinStringBuffer* destination) {
    return encode(bytes, count, destination, Alphabet::urlSafe);
}

int orin_base64_decode(const char* text, orinStringBuffer* destination) {
    if (text == nullptr || destination == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "text=%p destination=%p", static_cast<const void*>(text),
                   static_cast<void*>(destination));
        return -1;
    }
    size_t characters = strspn(text, ALPHABETS);
    const size_t lastGroup = characters % GROUP_CHARACTERS;
    const size_t padding = strspn(text + characters, PADDING);
    const bool padded = padding == 0 || (lastGroup > 0 && lastGroup + padding == GROUP_CHARACTERS);
    if (lastGroup == 1 || !padded || text[characters + padding] != '\0') {
        ORINLOG_FN(ORINLOG_ERROR, "no Base64 at position %zu", characters);
        return -1;
    }
    do {
        const size_t taken = std::min(characters, PIECE_CHARACTERS);
        const size_t whole = (taken + GROUP_CHARACTERS - 1) / GROUP_CHARACTERS * GROUP_CHARACTERS;
        std::array<char, PIECE_CHARACTERS + 1> piece;
        memcpy(piece.data(), text, taken);
        memset(piece.data() + taken, ZERO, whole - taken);  // fills up the last group
        piece[whole] = '\0';
        orin_replaceChar(piece.data(), '-', '+');
        orin_replaceChar(piece.data(), '_', '/');
        std::array<char, PIECE_BYTES> bytes;
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(piece.data()), static_cast<int>(whole));
        if (orin_appendToStringBuffer(destination, bytes.data(), taken * 3 / GROUP_CHARACTERS) != 0) {
            return -1;
        }
        text += taken;
        characters -= taken;
    } while (characters > 0);
    return 0;
}
