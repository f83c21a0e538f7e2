#pragma once
// The stand-in of Google: one HTTPS server that is the OAuth 2.0 endpoints, the People API and the photo hosts at once,
// with an account behind it that may change between two requests, a script of misbehaviour and a log of all it was
// asked. It runs in threads of its own; every member function may be called from any thread.
//
//   GoogleStandIn google(generateAccount(60));
//   ASSERT_TRUE(google.authority().writeTrustDirectory("/data/certs/trusted"));
//   ASSERT_TRUE(google.start()) << google.error();            // 127.0.0.1:443, where /etc/hosts leads Google's names
//   google.update([](GoogleAccount& account) { account.persons.pop_back(); });
//   google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .status = 429});

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "google_account.h"
#include "http_exchange.h"
#include "misbehaviour.h"
#include "test_ca.h"

class GoogleStandIn {
  public:
    static constexpr int HTTPS_PORT = 443;

    explicit GoogleStandIn(GoogleAccount account = {});
    ~GoogleStandIn();  // stops it
    GoogleStandIn(const GoogleStandIn&) = delete;
    GoogleStandIn& operator=(const GoogleStandIn&) = delete;

    // Listens from the return on; port 0 picks one. False: error() says why in one line.
    [[nodiscard]] bool start(const std::string& address = "127.0.0.1", int port = HTTPS_PORT);
    // Closes the port and every connection and waits for the threads. It cannot be started again.
    void stop();
    [[nodiscard]] int port() const;
    [[nodiscard]] const std::string& error() const;

    // The authority that signed the good certificates.
    [[nodiscard]] const TestAuthority& authority() const;

    // Changes or reads the account; no request is answered meanwhile.
    void update(const std::function<void(GoogleAccount&)>& change);

    // Adds a rule behind those there are / replaces all of them / behaves well from now on (certificates too).
    void misbehave(Misbehaviour rule);
    void setScript(const std::vector<Misbehaviour>& rules);
    void behave();

    // The certificate for new connections: to the host of that name, or to all hosts without one of their own.
    void presentCertificate(CertificateKind kind, const std::string& host = {});

    // All requests answered so far, oldest first (one that is still being delivered is in it).
    [[nodiscard]] std::vector<HttpRequest> log() const;
    [[nodiscard]] std::vector<HttpRequest> log(Endpoint endpoint) const;
    [[nodiscard]] std::size_t count(Endpoint endpoint = Endpoint::Any) const;
    void clearLog();

    // Waits until count(endpoint) is at least `requests`; false: it was not within the time.
    [[nodiscard]] bool waitFor(Endpoint endpoint, std::size_t requests, std::chrono::milliseconds timeout) const;

    // Called in a server thread before a certificate is shown and before a request is looked at; after a request is
    // answered and logged, but not yet sent. One call at a time. To be set before start().
    void onRequest(std::function<void()> before);
    void onAnswer(std::function<void(const HttpRequest&)> after);

  private:
    struct State;
    std::unique_ptr<State> state_;
};
