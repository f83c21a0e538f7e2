#pragma once
// A certification authority for tests: made in memory with quick EC keys, with server certificates for every name of
// Google that the synchroniser speaks to, good ones and bad ones. The authority is written where the program under test
// looks for trusted authorities; the keys never leave the process.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// OpenSSL's X509 and EVP_PKEY
struct x509_st;
struct evp_pkey_st;

// What a server shows at the handshake.
enum class CertificateKind : std::uint8_t {
    Good,
    Expired,           // ended yesterday
    WrongName,         // for "www.example.test" only
    UnknownAuthority,  // the right names, signed by an authority that is written nowhere
};
inline constexpr std::size_t CERTIFICATE_KINDS = 4;

// "good", "expired", "wrongName", "unknownAuthority" as they stand in an account file; false: no such word.
[[nodiscard]] bool certificateKindFromText(std::string_view text, CertificateKind& kind);

struct X509Release {
    void operator()(x509_st* certificate) const noexcept;
};
struct KeyRelease {
    void operator()(evp_pkey_st* key) const noexcept;
};
using X509Handle = std::unique_ptr<x509_st, X509Release>;
using KeyHandle = std::unique_ptr<evp_pkey_st, KeyRelease>;

// A certificate with its private key; both empty when OpenSSL could not make them.
struct CertifiedKey {
    X509Handle certificate;
    KeyHandle key;
};

class TestAuthority {
  public:
    // Makes the two authorities and the four server certificates (a few milliseconds).
    TestAuthority();

    // False when OpenSSL failed; nothing below may then be used.
    [[nodiscard]] bool isValid() const;

    // The server certificate of a kind; owned by the authority.
    [[nodiscard]] const CertifiedKey& certificate(CertificateKind kind) const;

    // Writes the trusted authority's certificate in PEM form as the single file `path` (for CURLOPT_CAINFO); the folder
    // must exist. False: errno tells why.
    [[nodiscard]] bool writePemFile(const std::string& path) const;

    // Writes it into the folder as "<subject hash>.0", as OpenSSL looks it up (for CURLOPT_CAPATH); makes the folder
    // with its parents. The name is the same for every TestAuthority: an older one is replaced. False: errno tells why.
    [[nodiscard]] bool writeTrustDirectory(const std::string& directory) const;

  private:
    CertifiedKey authority_;
    CertifiedKey unknownAuthority_;
    std::array<CertifiedKey, CERTIFICATE_KINDS> certificates_;
};
