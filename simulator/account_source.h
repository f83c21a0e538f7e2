#pragma once
// The file that says what the program serves, kept in step with it: it is read again when its time, size or inode has
// changed. A file that is no good is complained of on stderr, and what it said before still holds.

#include <sys/stat.h>

#include <string>
#include <vector>

#include "account_file.h"
#include "google_standin.h"

// A line to stderr, with the program's name before it.
void complain(const std::string& message);

class AccountSource {
  public:
    // An empty path: no file, the stand-in is left as it is. `rules` hold besides those of the file.
    AccountSource(std::string path, std::vector<Misbehaviour> rules);

    // Brings the stand-in to what the file says now. An unchanged file, or one that is not there, changes nothing: the
    // counters of the rules go on, tokens stay. A changed one keeps the issued access tokens while its refresh token is
    // the same. False: the file has changed and is no good.
    bool refresh(GoogleStandIn& google);

  private:
    void serve(AccountFile file, GoogleStandIn& google) const;

    std::string path_;
    std::vector<Misbehaviour> fixedRules_;
    struct stat seen_ {};
};
