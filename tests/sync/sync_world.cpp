#include "sync_world.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "orin_stringutils.h"

namespace {

constexpr std::chrono::seconds RUN_DEADLINE{60};

void emptyFolder(const std::string& path) {
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
}

std::string listText(const std::vector<std::string>& entries) {
    std::string text;
    for (const std::string& entry : entries) {
        const std::string metadata = text.empty() ? "{'metadata':{'primary':true}," : "{'metadata':{},";
        text += text.empty() ? "[" : ",";
        text += entry.starts_with('\'') ? metadata + entry + "}" : entry;
    }
    return json(text + "]");
}

}  // namespace

std::string json(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}

GooglePerson person(const std::string& resourceName, const std::vector<PersonList>& lists) {
    GooglePerson made{resourceName, "%tag", {}};
    for (const auto& [field, entries] : lists) {
        made.fields[field] = listText(entries);
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

SyncWorld::SyncWorld() : queue(std::in_place) {
    for (const char* folder : {"/data/db", "/data/etc", "/data/img"}) {
        emptyFolder(folder);
    }
    google.onAnswer([this](const HttpRequest& request) { callHooks(request); });
}

SyncWorld::~SyncWorld() {
    google.stop();
    process_.reset();
    orindb_closeAllDbs(&db);
}

void SyncWorld::SetUp() {
    ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&db, nullptr, 0), 0);
    addAccount(1, GROUP);
    ASSERT_TRUE(google.authority().writeTrustDirectory("/data/certs/trusted"));
    ASSERT_TRUE(google.start()) << google.error();
    queue->clear();
    log.clear();
}

void SyncWorld::addAccount(uint8_t id, int32_t group, const std::string& googleGroup) {
    GoogleServerConf row{};
    row.googleAccountId = id;
    row.contactGroupId = group;
    orin_strncpy(row.accountname, "Google");
    orin_strncpy(row.serverusername, "ada@example.test");
    orin_strncpy(row.refreshToken, GoogleAccount{}.refreshToken.c_str());
    orin_strncpy(row.googleGroup, googleGroup.c_str());
    row.updateinterval = 60;
    row.serveractiv = 1;
    ASSERT_EQ(db_replaceGoogleServerConf(&db, &row), 0);
}

GoogleServerConf SyncWorld::account(int32_t group) {
    GoogleServerConf row{};
    EXPECT_EQ(db_getDbGoogleServerConfCatId(&db, group, &row), 0);
    EXPECT_NE(row.googleAccountId, 0);
    return row;
}

void SyncWorld::execute(const std::string& sql, int dbType) {
    EXPECT_EQ(_orindb_execDb(&db, dbType, sql.c_str(), nullptr, nullptr, "test"), 0) << sql;
}

void SyncWorld::serve(const std::vector<GooglePerson>& served) {
    google.update([&](GoogleAccount& account) { account.persons = served; });
}

int SyncWorld::sync(const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"ctGrpId=" + std::to_string(GROUP)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all);
}

void SyncWorld::start(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{programPath("ct_synchronizer")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    pid_ = 0;
    process_.emplace(command);
    pid_ = process_->pid();
    pid_.notify_all();
}

int SyncWorld::finish() {
    const ProcessResult result = process_->wait(RUN_DEADLINE);
    EXPECT_FALSE(result.timedOut) << log;
    EXPECT_EQ(result.err, "");
    return result.exitStatus;
}

int SyncWorld::run(const std::vector<std::string>& arguments) {
    start(arguments);
    return finish();
}

pid_t SyncWorld::startedPid() const {
    pid_.wait(0);
    return pid_;
}

void SyncWorld::send(int signal) const {
    kill(startedPid(), signal);
}

void SyncWorld::atAnswer(Endpoint endpoint, unsigned n, std::function<void()> action) {
    const std::lock_guard lock(hooksMutex_);
    hooks_.push_back({endpoint, n, std::move(action)});
}

void SyncWorld::callHooks(const HttpRequest& request) {
    const std::lock_guard lock(hooksMutex_);
    for (Hook& hook : hooks_) {
        if (hook.endpoint == request.endpoint && hook.answersLeft > 0 && --hook.answersLeft == 0) {
            hook.action();
        }
    }
}

PhoneBook SyncWorld::phoneBook(uint32_t groups) {
    // A process that was killed leaves its journal, which a reader without the right to write cannot undo.
    execute("SELECT COUNT(*) FROM Contact");
    EXPECT_EQ(sqliteValue(KONFIG_PATH,
                          "SELECT COUNT(*) FROM ContactDetail WHERE contactId NOT IN (SELECT contactId FROM Contact)"),
              "0");
    std::map<std::string, Details> byId;
    const std::string mask = std::to_string(groups);
    const std::string where = groups == 0 ? "contactGrpBitfield=0" : "(contactGrpBitfield & " + mask + ")<>0";
    for (const auto& row : sqlitePeek(KONFIG_PATH, "SELECT contactId FROM Contact WHERE " + where)) {
        byId[row[0]] = {};
    }
    for (const auto& row : sqlitePeek(KONFIG_PATH, "SELECT contactId,key,value FROM ContactDetail")) {
        if (const auto found = byId.find(row[0]); found != byId.end()) {
            found->second[std::stoi(row[1])] = row[2];
        }
    }
    PhoneBook book;
    for (auto& [id, details] : byId) {
        const auto name = details.find(51);
        const std::string key = name == details.end() ? "#" + id : name->second;
        EXPECT_TRUE(book.try_emplace(key, details).second) << key << " is there twice";
    }
    return book;
}

std::string SyncWorld::contactId(const std::string& resourceName, int32_t group) {
    return std::to_string(orindb_getContactIdByResourceName(&db, resourceName.c_str(), static_cast<uint32_t>(group)));
}

std::vector<std::string> SyncWorld::announced() {
    std::vector<std::string> texts;
    for (const QueueMessage& message : queue->messages()) {
        EXPECT_TRUE(message.text.ends_with('\0')) << message;
        texts.push_back(std::to_string(message.type) + " " + message.text.substr(0, message.text.find('\0')));
    }
    queue->clear();
    return texts;
}

std::string SyncWorld::status(int32_t group) {
    const std::string error = "/data/etc/googleclient_" + std::to_string(group) + ".err";
    const std::string sync = "/data/etc/googlesync_" + std::to_string(group) + ".syn";
    return (fileExists(error) ? readFile(error) : "") + (fileExists(sync) ? "running" : "");
}

bool SyncWorld::hasLine(uint32_t level, const std::string& text) const {
    return log.has(ORINLOG_CAT_CT_SYNC, level, text);
}

bool SyncWorld::hasError(const std::string& text) const {
    return countErrors(text) > 0;
}

size_t SyncWorld::countErrors(const std::string& text) const {
    return log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR, text);
}
