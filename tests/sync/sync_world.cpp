#include "sync_world.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

std::string json(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}

GooglePerson person(const std::string& resourceName, const std::vector<PersonList>& lists) {
    GooglePerson made{resourceName, "%tag", {}};
    for (const auto& [field, entries] : lists) {
        std::string text;
        for (const std::string& entry : entries) {
            const std::string metadata = text.empty() ? "{'metadata':{'primary':true}," : "{'metadata':{},";
            text += (text.empty() ? "" : ",") + (entry.starts_with('\'') ? metadata + entry + "}" : entry);
        }
        made.fields[field] = json("[" + text + "]");
    }
    return made;
}

GooglePerson named(const std::string& resourceName, const std::string& givenName) {
    return person(resourceName, {{"names", {"'givenName':'" + givenName + "'"}}});
}

std::vector<GooglePerson> persons(int count) {
    std::vector<GooglePerson> made;
    for (int i = 1; i <= count; ++i) {
        made.push_back(named("people/c" + std::to_string(i), "Name " + std::to_string(i)));
    }
    return made;
}

SyncWorld::SyncWorld() {
    for (const char* folder : {"/data/db", "/data/etc", "/data/img"}) {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    google.onAnswer([this](const HttpRequest& request) {
        const std::lock_guard lock(hooksMutex_);
        for (const auto& hook : hooks_) {
            hook(request.endpoint);
        }
    });
}

SyncWorld::~SyncWorld() {
    google.stop();
    orindb_closeAllDbs(&db);
}

void SyncWorld::SetUp() {
    ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&db, nullptr, 0), 0);
    addAccount(1, GROUP);
    ASSERT_TRUE(google.authority().writeTrustDirectory("/data/certs/trusted"));
    ASSERT_TRUE(google.start()) << google.error();
    queue.clear();
    log.clear();
}

void SyncWorld::addAccount(int id, int32_t group, const std::string& googleGroup) {
    execute("REPLACE INTO GoogleServerConfig VALUES (" + std::to_string(id) + "," + std::to_string(group) +
            ",'Google','ada@example.test','" + GoogleAccount{}.refreshToken + "',0,'" + googleGroup +
            "',60,'',1,'','')");
}

void SyncWorld::execute(const std::string& sql, int dbType) {
    EXPECT_EQ(_orindb_execDb(&db, dbType, sql.c_str(), nullptr, nullptr, "test"), 0) << sql;
}

void SyncWorld::serve(const std::vector<GooglePerson>& served) {
    google.update([&](GoogleAccount& account) { account.persons = served; });
}

std::string SyncWorld::sync(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "ctGrpId=4");
    EXPECT_EQ(run(arguments), 0) << log;
    return std::to_string(phoneBook().size()) + " contacts, " + status();
}

int SyncWorld::run(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{programPath("ct_synchronizer")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    pid = 0;
    Process process(command);
    pid = process.pid();
    pid.notify_all();
    const ProcessResult result = process.wait(RUN_DEADLINE);
    EXPECT_FALSE(result.timedOut) << log;
    EXPECT_EQ(result.err, "");
    if (result.signal == SIGKILL) {
        // Its journal is left, which a reader without the right to write cannot undo.
        execute("SELECT COUNT(*) FROM Contact");
    }
    return result.exitStatus;
}

void SyncWorld::atAnswer(Endpoint endpoint, unsigned n, const std::function<void()>& action) {
    const std::lock_guard lock(hooksMutex_);
    hooks_.emplace_back([endpoint, n, action](Endpoint answered) mutable {
        if (answered == endpoint && n > 0 && --n == 0) {
            action();
        }
    });
}

void SyncWorld::signalAt(Endpoint endpoint, unsigned n, int signal) {
    atAnswer(endpoint, n, [this, signal] {
        pid.wait(0);
        kill(pid, signal);
    });
}

PhoneBook SyncWorld::phoneBook(uint32_t groups) {
    EXPECT_EQ(sqliteValue(KONFIG_PATH,
                          "SELECT COUNT(*) FROM ContactDetail WHERE contactId NOT IN (SELECT contactId FROM Contact)"),
              "0");
    const std::string query =
        "SELECT contactId,ifnull(key,-1),value FROM Contact LEFT JOIN ContactDetail USING (contactId) "
        "WHERE contactGrpBitfield&";
    std::map<std::string, Details> byId;
    for (const auto& row : sqlitePeek(KONFIG_PATH, query + std::to_string(groups))) {
        byId[row[0]][std::stoi(row[1])] = row[2];
    }
    PhoneBook book;
    for (auto& [id, details] : byId) {
        details.erase(-1);
        const std::string key = details.contains(51) ? details[51] : "#" + id;
        EXPECT_TRUE(book.try_emplace(key, details).second) << key << " is there twice";
    }
    return book;
}

std::string SyncWorld::contactId(const std::string& resourceName) {
    return std::to_string(orindb_getContactIdByResourceName(&db, resourceName.c_str(), GROUP));
}

std::vector<std::string> SyncWorld::announced() {
    std::vector<std::string> texts;
    for (const QueueMessage& message : queue.messages()) {
        EXPECT_TRUE(message.text.ends_with('\0')) << message;
        texts.push_back(std::to_string(message.type) + " " + message.text.substr(0, message.text.find('\0')));
    }
    queue.clear();
    return texts;
}

std::string SyncWorld::account(const std::string& expression, int32_t group) {
    return sqliteValue(
        KONFIG_PATH, "SELECT " + expression + " FROM GoogleServerConfig WHERE contactGroupId=" + std::to_string(group));
}

std::string SyncWorld::status(int32_t group) {
    const std::string error = "/data/etc/googleclient_" + std::to_string(group) + ".err";
    const std::string sync = "/data/etc/googlesync_" + std::to_string(group) + ".syn";
    return (fileExists(error) ? readFile(error) : "") + (fileExists(sync) ? "running " : "") +
           account("iif(needsNewAuth,'unauthorised ','')||iif(lastupdatetime='','','updated')", group);
}
