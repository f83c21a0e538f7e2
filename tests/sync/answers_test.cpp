// What Google, its servers and the way to them can do wrong. A phone book that was filled before must not suffer.
#include "forward_proxy.h"
#include "sync_world.h"

namespace {

class Answers : public SyncWorld {
  protected:
    void SetUp() override {
        SyncWorld::SetUp();
        serve(persons(60));
        ASSERT_EQ(sync(), 0);
        ASSERT_EQ(phoneBook().size(), 60U);
        google.update([](GoogleAccount& account) { account.persons.erase(account.persons.begin()); });
        google.clearLog();
        execute("UPDATE GoogleServerConfig SET lastupdatetime=''");
        log.clear();
    }
    // Runs once more: the result is this code, and nothing but a good run changes the phone book.
    void expectRun(int code, const std::string& what, const std::vector<std::string>& arguments = {}) {
        const PhoneBook before = phoneBook();
        EXPECT_EQ(sync(arguments), 0) << what;
        EXPECT_EQ(status(), code == 0 ? "" : "4," + std::to_string(code) + "\n") << what << log;
        EXPECT_EQ(account().needsNewAuth, code == 8119 ? 1 : 0) << what;
        if (code != 0) {
            EXPECT_EQ(phoneBook(), before) << what;
            EXPECT_STREQ(account().lastupdatetime, "") << what;
        }
    }
    void answerOnce(const std::string& connections) {
        google.setScript({{.endpoint = Endpoint::Connections, .content = Content::Text, .text = json(connections)}});
    }
};

TEST_F(Answers, AnExpiredAccessTokenIsRenewedOnTheWay) {
    atAnswer(Endpoint::Connections, 1,
             [this] { google.update([](GoogleAccount& account) { account.accessTokens.clear(); }); });
    expectRun(0, "401 on the second page");
    EXPECT_EQ(phoneBook().size(), 59U);
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
    EXPECT_EQ(google.count(Endpoint::Token), 2U);
}

TEST_F(Answers, ASecondRefusalFailsThePassButNotTheAuthorisation) {
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .count = 2, .status = 401});
    expectRun(8128, "401 twice");
    EXPECT_TRUE(hasError("orin_google_sync: orin_requestPeopleList failed"));
    EXPECT_EQ(google.count(Endpoint::Token), 3U);
    expectRun(0, "the next run");
    EXPECT_EQ(phoneBook().size(), 59U);
}

TEST_F(Answers, ARefusedRenewalAsksForANewAuthorisationUntilOneIsGiven) {
    google.update([](GoogleAccount& account) { account.refreshToken = "1//other"; });
    expectRun(8119, "revoked", {"retryLimit=2"});
    EXPECT_EQ(google.count(Endpoint::Token), 2U);
    EXPECT_EQ(google.count(Endpoint::Connections), 0U);
    EXPECT_TRUE(hasError("main: orin_google_sync failed lastError=8119"));
    execute("UPDATE GoogleServerConfig SET refreshToken='1//other'");
    expectRun(0, "authorised anew");

    execute("UPDATE GoogleServerConfig SET refreshToken='', lastupdatetime=''");
    expectRun(8119, "no token at all");
    EXPECT_TRUE(hasError("orin_setRefreshToken: illegal parameter, refreshToken == NULL or empty"));
    execute("UPDATE GoogleServerConfig SET refreshToken='1//other'");
    google.misbehave({.endpoint = Endpoint::Token, .status = 503, .content = Content::Html});
    expectRun(8119, "an outage of the token server counts alike");
}

TEST_F(Answers, ARateLimitOnALaterPageIsWaitedOutAndTheSamePageAskedForAgain) {
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .status = 429});
    const auto begin = std::chrono::steady_clock::now();
    expectRun(0, "429");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    const auto requests = google.log(Endpoint::Connections);
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[2].target, requests[1].target);
    EXPECT_EQ(phoneBook().size(), 59U);
    EXPECT_TRUE(hasLine(ORINLOG_WARNING, "orin_google_sync: wait some time and try again"));
    EXPECT_FALSE(hasError("orin_requestPeopleList"));
}

TEST_F(Answers, ARateLimitOnTheFirstPageCountsAsTheEndOfTheListing) {
    google.misbehave({.endpoint = Endpoint::Connections, .status = 429});
    expectRun(0, "429");
    EXPECT_TRUE(phoneBook().empty());
    EXPECT_EQ(google.count(Endpoint::Connections), 1U);
}

TEST_F(Answers, AnAnswerThatIsNoneFailsThePass) {
    const std::vector<std::pair<std::string, Misbehaviour>> cases{
        {"500", {.status = 500}},
        {"403", {.status = 403}},
        {"an HTML page", {.content = Content::Html}},
        {"nothing", {.content = Content::Empty}},
        {"an unfinished object", {.content = Content::Text, .text = R"({"connections":[{"resourceName":"people/c9)"}},
        {"nested too deep", {.content = Content::Text, .text = std::string(100, '[') + std::string(100, ']')}},
        {"half an answer", {.delivery = Delivery::Truncated}},
        // libcurl repeats a request by itself that an open connection has lost.
        {"a reset", {.count = 2, .delivery = Delivery::Reset}},
    };
    unsigned page = 2;
    for (const auto& [what, misbehaviour] : cases) {
        Misbehaviour rule = misbehaviour;
        rule.endpoint = Endpoint::Connections;
        rule.first = page;
        google.setScript({rule});
        expectRun(8128, what + " on page " + std::to_string(page));
        page = 3 - page;
    }
    google.behave();
    expectRun(0, "a good answer");
    EXPECT_EQ(phoneBook().size(), 59U);
}

TEST_F(Answers, AListThatIsMissingOrNoneLeavesTheGroupUntouched) {
    for (const char* page : {"{}", "{'totalItems':0}", "{'connections':null}", "{'connections':{'a':1}}", "[]", "7",
                             "{'connections':'people/c1'}", "{'nextPageToken':'x','connections':5}"}) {
        google.clearLog();
        log.clear();
        answerOnce(page);
        expectRun(0, page);
        EXPECT_EQ(google.count(Endpoint::Connections), 1U) << page;
        EXPECT_EQ(phoneBook().size(), 60U) << page;
        EXPECT_TRUE(hasLine(ORINLOG_INFO, "orin_google_sync: no 'connections' found cause there are no contacts"));
    }
    answerOnce("{'connections':[],'nextPageToken':17}");
    expectRun(0, "an empty list");
    EXPECT_TRUE(phoneBook().empty());
}

TEST_F(Answers, APersonThatIsNoneIsReportedAndTheOthersAreTaken) {
    answerOnce(
        "{'connections':[null,7,'people/c1',[],{},{'resourceName':null},{'resourceName':5,'names':[]},"
        "{'resourceName':'people/c2','names':{'givenName':'X'},'phoneNumbers':'030','addresses':null,"
        "'urls':[[],3,null,{'metadata':true}],'photos':[{'metadata':{'primary':true},'url':9,'default':'true'}]},"
        "{'resourceName':'people/c3','names':[{'metadata':{'primary':true},'givenName':{'a':[]},'familyName':'F'}]}]}");
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(status(), "4,8128\n");
    EXPECT_EQ(phoneBook(),
              (PhoneBook{{"people/c2", {{51, "people/c2"}}}, {"people/c3", {{2, "F"}, {51, "people/c3"}}}}));
    EXPECT_EQ(countErrors("orin_google_syncOneContact: resourceName is NULL"), 7U) << log;
    EXPECT_EQ(countErrors("key='resourceName', type string was excepted, but type="), 1U);
    EXPECT_TRUE(hasError("key='givenName', type string was excepted, but type=object was found"));
    EXPECT_TRUE(hasError("key='default', type boolean was excepted, but type=string was found"));
}

TEST_F(Answers, TextsOfAnySizeAndKindDoNoHarm) {
    const std::string huge(200000, 'x');
    serve({person("people/" + std::string(600, 'r'), {{"names", {"'givenName':'" + huge + "'"}}}),
           person("people/c2", {{"phoneNumbers", {"'value':'" + huge + "','type':'" + huge + "'"}},
                                {"photos", {"'url':'http://127.0.0.1:1/" + huge + "'"}},
                                {"names", {"'givenName':'a\\u0000b','familyName':'\xC3(\xFF'"}}}),
           person("people/c'3", {{"names", {"'givenName':'Quote'"}}}), named("people/c4", "%n%s%s%s")});
    EXPECT_EQ(sync(), 0);
    const PhoneBook book = phoneBook();
    EXPECT_EQ(book.size(), 4U);
    EXPECT_EQ(book.at("people/c2").at(1), "a");
    EXPECT_EQ(book.at("people/c2").at(16).size(), 280U);
    EXPECT_EQ(book.at("people/c4").at(1), "%n%s%s%s");
}

TEST_F(Answers, OnlyACertificateThatIsTrustedForItsNameIsBelieved) {
    for (const CertificateKind kind :
         {CertificateKind::UnknownAuthority, CertificateKind::Expired, CertificateKind::WrongName}) {
        google.presentCertificate(kind, "people.googleapis.com");
        const std::string what = "certificate " + std::to_string(static_cast<int>(kind));
        expectRun(8128, what);
        EXPECT_TRUE(hasError("failed, curl_error=SSL peer certificate or SSH remote key was not OK")) << what;
        EXPECT_EQ(google.count(Endpoint::Connections), 0U) << what;
        log.clear();
    }
    google.presentCertificate(CertificateKind::Expired, "oauth2.googleapis.com");
    expectRun(8119, "the token server's");
    google.behave();
    expectRun(0, "good certificates");
}

TEST_F(Answers, AProxyIsUsedWithTheCredentialsThatItWants) {
    ForwardProxy proxy(google.port(), "pbx:geheim");
    ASSERT_TRUE(proxy.start());
    writeFile("/data/etc/proxy.conf",
              "use-proxy: 1\nip-address: 127.0.0.1\nproxy-port: " + std::to_string(proxy.port()) + "\n");
    expectRun(8119, "no credentials");
    EXPECT_EQ(google.count(), 0U);
    EXPECT_EQ(proxy.requests().at(0).status, 407);
    writeFile("/data/etc/proxy-auth.conf", "authorization: 0\nusername: pbx\npassword: geheim\n");
    expectRun(0, "credentials");
    EXPECT_EQ(phoneBook().size(), 59U);
    EXPECT_EQ(proxy.requests().back().target, "people.googleapis.com:443");
    EXPECT_EQ(proxy.requests().back().credentials, "pbx:geheim");
}

}  // namespace
