#pragma once
// An HTTP forward proxy for tests: CONNECT only. Whatever host and port it is asked for, the tunnel leads to one port
// of this machine, the stand-in's. It can demand Basic authentication and remembers what it was asked.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct ProxyRequest {
    std::string target{};       // "people.googleapis.com:443"
    std::string credentials{};  // "user:password" as sent, decoded; empty: none
    int status{0};              // 200 tunnelled, 407 wrong or missing credentials, 405 not CONNECT, 502 nobody there
};

class ForwardProxy {
  public:
    static constexpr std::size_t MAX_TUNNELS = 16;  // open at a time; more wait

    // `credentials` ("user:password"): what is demanded; empty: everybody may pass.
    explicit ForwardProxy(int targetPort, std::string credentials = {});
    ~ForwardProxy();  // stops it
    ForwardProxy(const ForwardProxy&) = delete;
    ForwardProxy& operator=(const ForwardProxy&) = delete;

    // Listens on 127.0.0.1 from the return on, on a port of the system's choice. False: errno tells why.
    [[nodiscard]] bool start();
    [[nodiscard]] int port() const;

    // All requests so far, oldest first.
    [[nodiscard]] std::vector<ProxyRequest> requests() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};
