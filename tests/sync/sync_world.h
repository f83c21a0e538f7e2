// A PBX with a Google account: fresh databases with the account's row, the stand-in of Google that serves it, a reader
// of the message queue, and the synchroniser as a process of its own. Each case has a world of its own.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "file_tools.h"
#include "google_standin.h"
#include "log_capture.h"
#include "orindb_contact.h"
#include "orindb_dbaccess.h"
#include "orinlog.h"
#include "process.h"
#include "queue_reader.h"
#include "sqlite_peek.h"

constexpr char KONFIG_PATH[] = "/data/db/konfig9.db";

// Nothing takes that long, not even on a machine that is slow and busy: only a run that hangs reaches it.
constexpr std::chrono::seconds RUN_DEADLINE{240};

// The details of a contact by their keys.
using Details = std::map<int, std::string>;
// Contacts by their names in the account (detail 51); those without one by "#" and their id.
using PhoneBook = std::map<std::string, Details>;

// JSON written with ' for ".
std::string json(std::string text);

// A list field and its entries, each the members of an object as json() takes them. The first entry is the primary one.
// An entry that does not begin with ' is sent as it is.
using PersonList = std::pair<std::string, std::vector<std::string>>;
GooglePerson person(const std::string& resourceName, const std::vector<PersonList>& lists);
// A person of whom only this name is known.
GooglePerson named(const std::string& resourceName, const std::string& givenName);
// "people/c1" and so on, each with a name.
std::vector<GooglePerson> persons(int count);

class SyncWorld : public testing::Test {
  protected:
    static constexpr int32_t GROUP = 4;

    SyncWorld();
    ~SyncWorld() override;
    void SetUp() override;

    // Writes an account row; its refresh token is the one that the stand-in takes.
    void addAccount(int id, int32_t group, const std::string& googleGroup = "");
    // Changes a database behind the synchroniser's back.
    void execute(const std::string& sql, int dbType = ORINDB_KONFIG);
    void serve(const std::vector<GooglePerson>& served);

    // Runs the synchroniser and returns its exit status. Anything it says on stderr, a sanitizer's report above all, is
    // a failure.
    int run(const std::vector<std::string>& arguments);
    // Runs it for GROUP, with more arguments on request, expects that it exits with 0, and returns what it leaves
    // behind: "60 contacts, updated", the second part of which is status().
    std::string sync(std::vector<std::string> arguments = {});
    // Does something when the n-th answer of an endpoint from now on is ready but not yet sent: the synchroniser waits
    // for it. In a thread of the stand-in.
    void atAnswer(Endpoint endpoint, unsigned n, const std::function<void()>& action);
    void signalAt(Endpoint endpoint, unsigned n, int signal);

    // What is stored in the groups of a mask. That no contact is there twice, and no detail without its contact, is
    // checked by the way.
    PhoneBook phoneBook(uint32_t groups = GROUP);
    // The contact of that name; "0" when there is none.
    std::string contactId(const std::string& resourceName);
    // The messages sent since the last call: "1101 2;17;4".
    std::vector<std::string> announced();
    // An SQL expression over a group's account row.
    static std::string account(const std::string& expression, int32_t group = GROUP);
    // How a group stands for the web configuration: the content of the error file, "running " when there is a sync
    // file, "unauthorised " when the account needs a new authorisation, "updated" when it has a time of a good run.
    static std::string status(int32_t group = GROUP);

    // How many lines of the synchroniser hold this text.
    [[nodiscard]] size_t lines(uint32_t level, const std::string& text) const {
        return log.count(ORINLOG_CAT_CT_SYNC, level, text);
    }
    [[nodiscard]] size_t errors(const std::string& text) const {
        return lines(ORINLOG_ERROR, text);
    }

    std::atomic<pid_t> pid{0};  // of the last run; 0 while it is being started
    LogCapture log;
    GoogleStandIn google;
    QueueReader queue;
    DbContext db{};

  private:
    std::mutex hooksMutex_;
    std::vector<std::function<void(Endpoint)>> hooks_;  // called at each answer
};
