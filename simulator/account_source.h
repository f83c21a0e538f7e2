#pragma once
// The files that say what the program serves, kept in step with them: each is read again when its time, size or inode
// has changed. A file that is no good is complained of on stderr, and what it said before still holds.

#include <sys/stat.h>

#include <string>
#include <vector>

#include "account_file.h"
#include "google_standin.h"

// A line to stderr, with the program's name before it.
void complain(const std::string& message);

class WatchedFile {
  public:
    explicit WatchedFile(std::string path) : path_(std::move(path)) {}
    // True: `content` is new. A path that is empty is never new, nor a file that is not there.
    [[nodiscard]] bool changed(std::string& content);
    [[nodiscard]] const std::string& path() const {
        return path_;
    }

  private:
    std::string path_;
    struct stat seen_ {};
};

class AccountSource {
  public:
    // An empty path: no such file. `rules` hold besides those of the files.
    AccountSource(std::string accountPath, std::string scriptPath, std::vector<Misbehaviour> rules);

    // Brings the stand-in to what the files say now. An unchanged pair of files changes nothing: the counters of the
    // rules go on, tokens stay. A changed account keeps the issued access tokens while its refresh token is the same.
    // False: a file that changed was no good.
    bool refresh(GoogleStandIn& google);

  private:
    bool refreshAccount(GoogleStandIn& google, bool& changed);
    bool refreshScript(bool& changed);

    WatchedFile account_;
    WatchedFile script_;
    AccountFile file_;
    std::vector<Misbehaviour> scriptRules_;
    std::vector<Misbehaviour> fixedRules_;
    bool presented_ = false;
};
