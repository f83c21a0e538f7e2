// A PBX with a Google account: fresh databases with the account's row, the stand-in of Google that serves it, a reader
// of the message queue, and the synchroniser as a process of its own. Each case has a world of its own.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "db_googleserverconf.h"
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
  public:
    static constexpr int32_t GROUP = 4;

  protected:
    SyncWorld();
    ~SyncWorld() override;
    void SetUp() override;

    // Writes an account row; its refresh token is the one that the stand-in takes.
    void addAccount(uint8_t id, int32_t group, const std::string& googleGroup = "");
    GoogleServerConf account(int32_t group = GROUP);
    // Changes a database behind the synchroniser's back.
    void execute(const std::string& sql, int dbType = ORINDB_KONFIG);
    void serve(const std::vector<GooglePerson>& served);

    // Runs the synchroniser for GROUP, with more arguments on request. Returns its exit status; anything it says on
    // stderr, a sanitizer's report above all, is a failure.
    int sync(const std::vector<std::string>& arguments = {});
    // The same for other arguments than ctGrpId=4, in two halves.
    void start(const std::vector<std::string>& arguments);
    int finish();
    int run(const std::vector<std::string>& arguments);
    // Of the started process, from any thread.
    [[nodiscard]] pid_t startedPid() const;
    void send(int signal) const;
    // Does something when the n-th answer of an endpoint from now on is ready but not yet sent: the synchroniser waits
    // for it. In a thread of the stand-in.
    void atAnswer(Endpoint endpoint, unsigned n, std::function<void()> action);

    // What is stored in the groups of a mask. That no contact is there twice, and no detail without its contact, is
    // checked by the way.
    PhoneBook phoneBook(uint32_t groups = GROUP);
    // The contact of that name; "0" when there is none.
    std::string contactId(const std::string& resourceName, int32_t group = GROUP);
    // The messages sent since the last call: "1101 2;17;4".
    std::vector<std::string> announced();
    // What the status files of a group say: the content of the error file, and "running" when there is a sync file.
    static std::string status(int32_t group = GROUP);

    // Lines of the synchroniser.
    bool hasLine(uint32_t level, const std::string& text) const;
    bool hasError(const std::string& text) const;
    size_t countErrors(const std::string& text) const;

    LogCapture log;
    GoogleStandIn google;
    std::optional<QueueReader> queue;
    DbContext db{};

  private:
    struct Hook {
        Endpoint endpoint;
        unsigned answersLeft;
        std::function<void()> action;
    };
    void callHooks(const HttpRequest& request);

    std::optional<Process> process_;
    std::atomic<pid_t> pid_{0};
    std::mutex hooksMutex_;
    std::vector<Hook> hooks_;
};
