#include "orin_md5c.h"

#include <openssl/evp.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "orin_guards.h"
#include "orin_stdio.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_md5c.c"};

constexpr size_t MD5_SIZE = 16;
// How much of a file is read at a time, in bytes.
constexpr size_t BLOCK_SIZE = 4096;
constexpr char HEX_DIGITS[] = "0123456789abcdef";
static_assert(ORIN_MD5_TEXT_SIZE == 2 * MD5_SIZE + 1);

// As large as the library may ask for, whatever the digest.
using Digest = std::array<unsigned char, EVP_MAX_MD_SIZE>;

struct DigestContextRelease {
    void operator()(EVP_MD_CTX* context) const {
        EVP_MD_CTX_free(context);
    }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, DigestContextRelease>;

// Two digits for each byte, high nibble first, and a NUL.
void writeHex(const Digest& digest, char* out) {
    for (size_t i = 0; i < MD5_SIZE; ++i) {
        *out++ = HEX_DIGITS[digest[i] >> 4];
        *out++ = HEX_DIGITS[digest[i] & 0xF];
    }
    *out = '\0';
}

// Digests the file block by block. Returns 0, or -1 after logging on behalf of `function`.
int digestFile(FILE* file, Digest& digest, const char* function) {
    const DigestContext context(EVP_MD_CTX_new());
    bool digested = context && EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) == 1;
    std::array<unsigned char, BLOCK_SIZE> block{};
    // A short block is the last one, or none because of an error.
    size_t count = block.size();
    while (digested && count == block.size()) {
        count = fread(block.data(), 1, block.size(), file);
        digested = EVP_DigestUpdate(context.get(), block.data(), count) == 1;
    }
    if (ferror(file) != 0) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "fread failed err=%s", strerror(errno));
        return -1;
    }
    if (!digested || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "no digest");
        return -1;
    }
    return 0;
}

}  // namespace

int orin_MD5_GetHashOfString(const char* text, char* out) {
    if (out != nullptr) {
        *out = '\0';
    }
    Digest digest{};
    if (text == nullptr || out == nullptr ||
        EVP_Digest(text, strlen(text), digest.data(), nullptr, EVP_md5(), nullptr) != 1) {
        ORINLOG_FN(ORINLOG_ERROR, "no digest of text=%p out=%p", static_cast<const void*>(text),
                   static_cast<void*>(out));
        return -1;
    }
    writeHex(digest, out);
    return 0;
}

int orin_MD5_GetHashOfFile(const char* path, char* out) {
    if (out == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "out == NULL");
        return -1;
    }
    *out = '\0';
    FILE* opened = nullptr;
    if (orin_fopen(&opened, path, "r") == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "fopen failed filename=%s error=%s", path != nullptr ? path : "", strerror(errno));
        return -1;
    }
    const File file(opened);
    Digest digest{};
    if (digestFile(file.get(), digest, __func__) != 0) {
        return -1;
    }
    writeHex(digest, out);
    return 0;
}
