// What Google, its servers and the way to them can do wrong. A phone book that was filled before must not suffer.
#include "env_var.h"
#include "forward_proxy.h"
#include "sync_world.h"

namespace {

class Answers : public SyncWorld {
  protected:
    void SetUp() override {
        SyncWorld::SetUp();
        serve(persons(60));
        ASSERT_EQ(sync(), "60 contacts, updated");
        google.update([](GoogleAccount& account) { account.persons.erase(account.persons.begin()); });
        google.clearLog();
    }
    // A run with another result than success leaves the phone book and the time of the last good run alone.
    void expectFailure(int code, const std::string& what, const std::vector<std::string>& arguments = {}) {
        execute("UPDATE GoogleServerConfig SET lastupdatetime='',needsNewAuth=0");
        const PhoneBook before = phoneBook();
        const std::string end = code == 8119 ? "\nunauthorised " : "\n";
        EXPECT_THAT(sync(arguments), testing::EndsWith(" contacts, 4," + std::to_string(code) + end)) << what;
        EXPECT_EQ(phoneBook(), before) << what;
    }
};

TEST_F(Answers, ARefusedAccessTokenIsRenewedAndTheRequestRepeatedOnce) {
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .count = 2, .status = 401});
    expectFailure(8128, "401 twice");
    // The last token would have been for the next request.
    EXPECT_EQ(google.count(Endpoint::Token), 3U);
    EXPECT_TRUE(errors("orin_google_sync: orin_requestPeopleList failed"));

    google.clearLog();
    atAnswer(Endpoint::Connections, 1,
             [this] { google.update([](GoogleAccount& account) { account.accessTokens.clear(); }); });
    EXPECT_EQ(sync(), "59 contacts, updated");
    EXPECT_EQ(google.count(), 5U);
}

TEST_F(Answers, ARefusedRenewalAsksForANewAuthorisationUntilOneIsGiven) {
    google.update([](GoogleAccount& account) { account.refreshToken = "1//other"; });
    expectFailure(8119, "revoked", {"retryLimit=2"});
    EXPECT_EQ(google.count(), 2U);
    EXPECT_EQ(errors("main: orin_google_sync failed lastError=8119"), 2U);
    execute("UPDATE GoogleServerConfig SET refreshToken='1//other'");
    EXPECT_EQ(sync(), "59 contacts, updated");

    google.misbehave({.endpoint = Endpoint::Token, .status = 503, .content = Content::Html});
    expectFailure(8119, "an outage of the token server counts alike");
    google.misbehave({.endpoint = Endpoint::Token, .status = 503});
    google.misbehave({.endpoint = Endpoint::Connections, .status = 500});
    expectFailure(8128, "the last attempt had a token", {"retryLimit=2"});
    execute("UPDATE GoogleServerConfig SET refreshToken=''");
    expectFailure(8119, "no token at all");
}

TEST_F(Answers, ARateLimitIsWaitedOutAndTheSamePageAskedForAgain) {
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .status = 429});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sync(), "59 contacts, updated");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    const auto lists = google.log(Endpoint::Connections);
    ASSERT_EQ(lists.size(), 3U);
    EXPECT_EQ(lists[2].target, lists[1].target);
    EXPECT_TRUE(lines(ORINLOG_WARNING, "orin_google_sync: wait some time and try again"));

    // On the first page it counts as the end of the listing.
    google.misbehave({.endpoint = Endpoint::Connections, .status = 429});
    EXPECT_EQ(sync(), "0 contacts, updated");
    EXPECT_EQ(google.count(Endpoint::Connections), 4U);
}

TEST_F(Answers, AnAnswerThatIsNoneFailsThePassAndOneWithoutAListEndsIt) {
    const std::vector<std::pair<std::string, Misbehaviour>> failures{
        {"500", {.first = 2, .status = 500}},
        {"an unfinished object", {.content = Content::Text, .text = R"({"connections":[{"resourceName":"people/c9)"}},
        {"nested too deep", {.content = Content::Text, .text = std::string(100, '[') + std::string(100, ']')}},
        {"half an answer", {.first = 2, .delivery = Delivery::Truncated}},
    };
    for (auto [what, rule] : failures) {
        rule.endpoint = Endpoint::Connections;
        google.setScript({rule});
        expectFailure(8128, what);
    }
    google.clearLog();
    for (const char* page : {"{}", "{'connections':null}", "{'connections':{'a':1}}", "[]", "7",
                             "{'connections':'people/c1'}", "{'nextPageToken':'x','connections':5}"}) {
        log.clear();
        google.setScript({{.endpoint = Endpoint::Connections, .content = Content::Text, .text = json(page)}});
        EXPECT_EQ(sync(), "60 contacts, updated") << page;
        EXPECT_TRUE(lines(ORINLOG_INFO, "orin_google_sync: no 'connections' found cause there are no contacts"));
    }
    EXPECT_EQ(google.count(Endpoint::Connections), 7U);
    EXPECT_EQ(sync(), "59 contacts, updated");
}

TEST_F(Answers, APersonThatIsNoneIsReportedAndTheOthersAreTaken) {
    const std::string list = json(
        "{'connections':[null,7,'people/c1',[],{},{'resourceName':null},{'resourceName':5,'names':[]},"
        "{'resourceName':'people/c2','names':{'givenName':'X'},'phoneNumbers':'030','addresses':null,"
        "'urls':[[],3,null,{'metadata':true}],'photos':[{'metadata':{'primary':true},'url':9,'default':'true'}]},"
        "{'resourceName':'people/c3','names':[{'metadata':{'primary':true},'givenName':{'a':[]},'familyName':'F'}]}]}");
    google.misbehave({.endpoint = Endpoint::Connections, .content = Content::Text, .text = list});
    EXPECT_EQ(sync(), "2 contacts, 4,8128\nupdated");
    EXPECT_EQ(phoneBook(),
              (PhoneBook{{"people/c2", {{51, "people/c2"}}}, {"people/c3", {{2, "F"}, {51, "people/c3"}}}}));
    EXPECT_EQ(errors("orin_google_syncOneContact: resourceName is NULL"), 7U) << log;
    EXPECT_TRUE(errors("key='givenName', type string was excepted, but type=object was found"));
    EXPECT_TRUE(errors("key='default', type boolean was excepted, but type=string was found"));
}

TEST_F(Answers, OnlyACertificateThatIsTrustedForItsNameIsBelieved) {
    for (const auto& [what, kind] : {std::pair{"an unknown authority", CertificateKind::UnknownAuthority},
                                     {"expired", CertificateKind::Expired},
                                     {"another name", CertificateKind::WrongName}}) {
        log.clear();
        google.presentCertificate(kind, "people.googleapis.com");
        expectFailure(8128, what);
        EXPECT_TRUE(errors("failed, curl_error=SSL peer certificate or SSH remote key was not OK")) << what;
        google.presentCertificate(kind, "oauth2.googleapis.com");
        expectFailure(8119, what);
        google.behave();
    }
    EXPECT_EQ(google.count(Endpoint::Connections), 0U);
    EXPECT_EQ(sync(), "59 contacts, updated");
}

TEST_F(Answers, AProxyIsUsedWhenItIsSwitchedOnWithTheCredentialsThatItWants) {
    ForwardProxy proxy(google.port(), "pbx:geheim");
    ASSERT_TRUE(proxy.start());
    const std::string port = std::to_string(proxy.port());
    const EnvVar environment("https_proxy", ("http://127.0.0.1:" + port).c_str());
    const EnvVar exceptions("no_proxy", "*");
    const std::string settings = "ip-address: 127.0.0.1\nproxy-port: " + port + "\nuse-proxy: ";
    writeFile("/data/etc/proxy.conf", settings + "0\n");
    EXPECT_EQ(sync(), "59 contacts, updated");
    EXPECT_TRUE(proxy.requests().empty());

    writeFile("/data/etc/proxy.conf", settings + "1\n");
    writeFile("/data/etc/proxy-auth.conf", "authorization: 1\nusername: pbx\n");
    expectFailure(8119, "half the credentials");
    EXPECT_EQ(proxy.requests().back().status, 407);
    EXPECT_EQ(proxy.requests().back().credentials, "");
    writeFile("/data/etc/proxy-auth.conf", "authorization: 0\nusername: pbx\npassword: geheim\n");
    EXPECT_EQ(sync(), "59 contacts, updated");
    EXPECT_EQ(proxy.requests().back().target, "people.googleapis.com:443");
    EXPECT_EQ(proxy.requests().back().credentials, "pbx:geheim");
}

}  // namespace
