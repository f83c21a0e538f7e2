#include "account_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_ino == other.st_ino && one.st_size == other.st_size && one.st_mtim.tv_sec == other.st_mtim.tv_sec &&
           one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

// The whole content of a file. False: errno tells why.
bool readWholeFile(const std::string& path, std::string& content) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    std::string text;
    std::array<char, 65536> block{};
    ssize_t got = 0;
    while ((got = read(descriptor, block.data(), block.size())) > 0) {
        text.append(block.data(), static_cast<std::size_t>(got));
    }
    close(descriptor);
    if (got == 0) {
        content = std::move(text);
    }
    return got == 0;
}

}  // namespace

void complain(const std::string& message) {
    std::fprintf(stderr, "google_standin: %s\n", message.c_str());
}

AccountSource::AccountSource(std::string path, std::vector<Misbehaviour> rules)
    : path_(std::move(path)), fixedRules_(std::move(rules)) {}

bool AccountSource::refresh(GoogleStandIn& google) {
    struct stat now {};
    if (path_.empty() || stat(path_.c_str(), &now) != 0 || isSame(now, seen_)) {
        return true;
    }
    seen_ = now;  // a bad file is complained of once, not with each request
    std::string text;
    if (!readWholeFile(path_, text)) {
        complain(path_ + ": " + std::strerror(errno));
        return false;
    }
    AccountFile file;
    std::string error;
    if (!parseAccountFile(text, file, error)) {
        complain(path_ + ": " + error);
        return false;
    }
    serve(std::move(file), google);
    return true;
}

void AccountSource::serve(AccountFile file, GoogleStandIn& google) const {
    google.update([&file](GoogleAccount& served) {
        if (served.refreshToken == file.account.refreshToken) {
            file.account.accessTokens = std::move(served.accessTokens);
        }
        served = std::move(file.account);
    });
    file.script.insert(file.script.end(), fixedRules_.begin(), fixedRules_.end());
    google.behave();
    google.setScript(file.script);  // the rules begin to count anew
    for (const auto& [host, kind] : file.certificates) {
        google.presentCertificate(kind, host);
    }
}
