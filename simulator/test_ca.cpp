#include "test_ca.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace {

constexpr long DAY = 24L * 60 * 60;
constexpr int X509_VERSION_3_CODE = 2;  // versions count from 0
// The names in every certificate but the one for a wrong name. For the subjectAltName: clients look nowhere else.
constexpr const char* GOOGLE_NAMES =
    "IP:127.0.0.1,DNS:localhost,DNS:oauth2.googleapis.com,DNS:people.googleapis.com,DNS:lh3.googleusercontent.com,"
    "DNS:lh4.googleusercontent.com,DNS:lh5.googleusercontent.com,DNS:lh6.googleusercontent.com";
constexpr std::array<std::string_view, CERTIFICATE_KINDS> KIND_NAMES{"good", "expired", "wrongName",
                                                                     "unknownAuthority"};

// Times relative to now, in days.
struct Validity {
    long begin;
    long end;
};
constexpr Validity VALID{-1, 3650};
constexpr Validity ENDED{-30, -1};

// What is to be certified: who, for how long, for which names.
struct Request {
    std::string commonName;
    Validity validity;
    std::string subjectAltName;  // empty: an authority
};

bool addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    const bool added = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return added;
}

// What a client checks of an authority and of a server.
bool addExtensions(X509* certificate, X509* issuer, const Request& request) {
    if (!addExtension(certificate, issuer, NID_subject_key_identifier, "hash")) {
        return false;
    }
    if (request.subjectAltName.empty()) {
        return addExtension(certificate, issuer, NID_basic_constraints, "critical,CA:TRUE") &&
               addExtension(certificate, issuer, NID_key_usage, "critical,keyCertSign,cRLSign");
    }
    return addExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE") &&
           addExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature") &&
           addExtension(certificate, issuer, NID_ext_key_usage, "serverAuth") &&
           addExtension(certificate, issuer, NID_authority_key_identifier, "keyid") &&
           addExtension(certificate, issuer, NID_subject_alt_name, request.subjectAltName);
}

bool setName(X509_NAME* name, const std::string& commonName) {
    const auto add = [name](const char* field, const std::string& value) {
        return X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8,
                                          reinterpret_cast<const unsigned char*>(value.c_str()), -1, -1, 0) == 1;
    };
    return add("O", "Stand-in of Google, for tests only") && add("CN", commonName);
}

// Random, so that two runs never make different certificates of one number.
bool setSerialNumber(X509* certificate) {
    std::uint64_t serial = 0;
    return RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof(serial)) == 1 &&
           ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1U) == 1;
}

// Empty when OpenSSL failed. `issuer` NULL: signed with its own key.
CertifiedKey certify(const Request& request, const CertifiedKey* issuer) {
    CertifiedKey made{X509Handle(X509_new()), KeyHandle(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"))};
    X509* certificate = made.certificate.get();
    if (certificate == nullptr || !made.key || (issuer != nullptr && !issuer->certificate)) {
        return {};
    }
    X509* signer = issuer == nullptr ? certificate : issuer->certificate.get();
    EVP_PKEY* signingKey = issuer == nullptr ? made.key.get() : issuer->key.get();
    const bool good = X509_set_version(certificate, X509_VERSION_3_CODE) == 1 && setSerialNumber(certificate) &&
                      X509_gmtime_adj(X509_getm_notBefore(certificate), request.validity.begin * DAY) != nullptr &&
                      X509_gmtime_adj(X509_getm_notAfter(certificate), request.validity.end * DAY) != nullptr &&
                      setName(X509_get_subject_name(certificate), request.commonName) &&
                      X509_set_issuer_name(certificate, X509_get_subject_name(signer)) == 1 &&
                      X509_set_pubkey(certificate, made.key.get()) == 1 &&
                      addExtensions(certificate, signer, request) &&
                      X509_sign(certificate, signingKey, EVP_sha256()) > 0;
    return good ? std::move(made) : CertifiedKey{};
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

// By a second name, so that nobody ever reads half a file.
bool replaceFile(const std::string& path, std::string_view text) {
    const std::string draft = path + ".new";
    const int descriptor = open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return false;
    }
    const bool written = writeAll(descriptor, text);
    return close(descriptor) == 0 && written && rename(draft.c_str(), path.c_str()) == 0;
}

std::string pem(X509* certificate) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    if (!memory || PEM_write_bio_X509(memory.get(), certificate) != 1) {
        return {};
    }
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace

void X509Release::operator()(x509_st* certificate) const noexcept {
    X509_free(certificate);
}

void KeyRelease::operator()(evp_pkey_st* key) const noexcept {
    EVP_PKEY_free(key);
}

bool certificateKindFromText(std::string_view text, CertificateKind& kind) {
    for (std::size_t i = 0; i < KIND_NAMES.size(); i++) {
        if (KIND_NAMES[i] == text) {
            kind = static_cast<CertificateKind>(i);
            return true;
        }
    }
    return false;
}

TestAuthority::TestAuthority()
    : authority_(certify({"Test authority", VALID, ""}, nullptr)),
      unknownAuthority_(certify({"Unknown authority", VALID, ""}, nullptr)),
      certificates_{certify({"people.googleapis.com", VALID, GOOGLE_NAMES}, &authority_),
                    certify({"people.googleapis.com", ENDED, GOOGLE_NAMES}, &authority_),
                    certify({"www.example.test", VALID, "DNS:www.example.test"}, &authority_),
                    certify({"people.googleapis.com", VALID, GOOGLE_NAMES}, &unknownAuthority_)} {}

bool TestAuthority::isValid() const {
    bool valid = authority_.certificate != nullptr;
    for (const CertifiedKey& certified : certificates_) {
        valid = valid && certified.certificate != nullptr;
    }
    return valid;
}

const CertifiedKey& TestAuthority::certificate(CertificateKind kind) const {
    return certificates_.at(static_cast<std::size_t>(kind));
}

bool TestAuthority::writePemFile(const std::string& path) const {
    return replaceFile(path, pem(authority_.certificate.get()));
}

bool TestAuthority::writeTrustDirectory(const std::string& directory) const {
    std::error_code failure;
    std::filesystem::create_directories(directory, failure);
    if (failure) {
        errno = failure.value();
        return false;
    }
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "%08lx.0", X509_subject_name_hash(authority_.certificate.get()));
    return writePemFile(directory + "/" + name.data());
}
