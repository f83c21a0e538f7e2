#pragma once
// HTTPS with everything in hand that a test may want to go wrong: the certificate of each new connection, the delivery
// of each answer and the end of the connection. cpp-httplib reads the requests and writes the answers; sockets, TLS and
// threads of the connections are this module's. Keep-alive and TCP_NODELAY are on, TLS sessions are never resumed.

#include <functional>
#include <memory>
#include <string>

#include "http_exchange.h"
#include "test_ca.h"

class TlsServer {
  public:
    // Called in the threads of the connections, several at a time. `host` is the name the client gave at the handshake.
    struct Hooks {
        std::function<const CertifiedKey&(const std::string& host)> certificate;
        // Given all but number, time, endpoint and status.
        std::function<HttpAnswer(HttpRequest& request)> answer;
    };

    static constexpr std::size_t MAX_CONNECTIONS = 32;  // served at a time; more wait
    static constexpr std::size_t PIECE = 16384;         // bytes of a body sent at a time

    explicit TlsServer(Hooks hooks);
    ~TlsServer();  // stops it
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    // Listens from the return on; port 0 picks one. False: `error` says why in one line.
    [[nodiscard]] bool start(const std::string& address, int port, std::string& error);
    // Ends every connection and wait at once. It cannot be started again.
    void stop();
    [[nodiscard]] int port() const;

  private:
    class Engine;
    std::unique_ptr<Engine> engine_;
};
