#include "account_source.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_ino == other.st_ino && one.st_size == other.st_size && one.st_mtim.tv_sec == other.st_mtim.tv_sec &&
           one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

void append(std::vector<Misbehaviour>& rules, const std::vector<Misbehaviour>& more) {
    rules.insert(rules.end(), more.begin(), more.end());
}

}  // namespace

void complain(const std::string& message) {
    std::fprintf(stderr, "google_standin: %s\n", message.c_str());
}

bool WatchedFile::changed(std::string& content) {
    struct stat now {};
    if (path_.empty() || stat(path_.c_str(), &now) != 0 || isSame(now, seen_)) {
        return false;
    }
    seen_ = now;  // a bad file is complained of once, not with each request
    if (!readWholeFile(path_, content)) {
        complain(path_ + ": " + std::strerror(errno));
        return false;
    }
    return true;
}

AccountSource::AccountSource(std::string accountPath, std::string scriptPath, std::vector<Misbehaviour> rules)
    : account_(std::move(accountPath)), script_(std::move(scriptPath)), fixedRules_(std::move(rules)) {}

bool AccountSource::refresh(GoogleStandIn& google) {
    bool changed = !presented_;
    const bool accountGood = refreshAccount(google, changed);
    const bool scriptGood = refreshScript(changed);
    if (changed) {  // the rules begin to count anew
        presented_ = true;
        std::vector<Misbehaviour> rules = file_.script;
        append(rules, scriptRules_);
        append(rules, fixedRules_);
        google.behave();
        google.setScript(rules);
        for (const auto& [host, kind] : file_.certificates) {
            google.presentCertificate(kind, host);
        }
    }
    return accountGood && scriptGood;
}

bool AccountSource::refreshAccount(GoogleStandIn& google, bool& changed) {
    std::string text;
    std::string error;
    if (!account_.changed(text)) {
        return true;
    }
    if (!parseAccountFile(text, file_, error)) {
        complain(account_.path() + ": " + error);
        return false;
    }
    changed = true;
    google.update([this](GoogleAccount& served) {
        std::vector<AccessToken> tokens = std::move(served.accessTokens);
        const bool sameUser = served.refreshToken == file_.account.refreshToken;
        served = file_.account;
        if (sameUser) {
            served.accessTokens = std::move(tokens);
        }
    });
    return true;
}

bool AccountSource::refreshScript(bool& changed) {
    std::string text;
    std::string error;
    if (!script_.changed(text)) {
        return true;
    }
    if (!parseScript(text, scriptRules_, error)) {
        complain(script_.path() + ": " + error);
        return false;
    }
    changed = true;
    return true;
}
