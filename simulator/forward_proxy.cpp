#include "forward_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <set>
#include <string_view>
#include <thread>

#include "text_codec.h"

namespace {

constexpr std::size_t MAX_HEAD = 8192;  // bytes of a request with its header
constexpr std::size_t BLOCK = 16384;
constexpr std::string_view HEAD_END = "\r\n\r\n";

// Of 127.0.0.1, as bind() and connect() want it.
sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// MSG_NOSIGNAL: a client that has gone is no reason to end the test program.
bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

// Up to and with the empty line; false: it did not come, or is too long.
bool receiveHead(int client, std::string& head) {
    std::array<char, BLOCK> block{};
    while (head.find(HEAD_END) == std::string::npos) {
        const ssize_t got = head.size() > MAX_HEAD ? -1 : recv(client, block.data(), block.size(), 0);
        if (got <= 0) {
            return false;
        }
        head.append(block.data(), static_cast<std::size_t>(got));
    }
    return true;
}

// The credentials of the Proxy-Authorization header, decoded; empty: none, or not Basic.
std::string credentialsIn(const std::string& head) {
    constexpr std::string_view NAME = "\r\nProxy-Authorization: Basic ";
    std::string credentials;
    for (std::size_t line = head.find("\r\n"); line != std::string::npos; line = head.find("\r\n", line + 2)) {
        if (strncasecmp(head.c_str() + line, NAME.data(), NAME.size()) == 0) {
            const std::size_t begin = line + NAME.size();
            const std::string text = head.substr(begin, head.find("\r\n", begin) - begin);
            return base64Decode(text, credentials) ? credentials : std::string();
        }
    }
    return credentials;
}

// Passes on what one side has sent; false: that side has ended.
bool pass(int from, int to) {
    std::array<char, BLOCK> block{};
    const ssize_t got = recv(from, block.data(), block.size(), 0);
    return got > 0 && sendAll(to, {block.data(), static_cast<std::size_t>(got)});
}

// Until either side ends: the answer to what was sent is then through, or nobody waits for it.
void tunnel(int client, int server) {
    std::array<pollfd, 2> sides{pollfd{client, POLLIN, 0}, pollfd{server, POLLIN, 0}};
    bool open = true;
    while (open && poll(sides.data(), sides.size(), -1) > 0) {
        open = (sides[0].revents == 0 || pass(client, server)) && (sides[1].revents == 0 || pass(server, client));
    }
}

// A refusal closes the connection, so that nothing needs to be read past it.
std::string_view answerText(int status) {
    switch (status) {
        case 200:
            return "HTTP/1.1 200 Connection established\r\n\r\n";
        case 405:
            return "HTTP/1.1 405 Method Not Allowed\r\nAllow: CONNECT\r\nContent-Length: 0\r\nConnection: "
                   "close\r\n\r\n";
        case 407:
            return "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"proxy\"\r\n"
                   "Content-Length: 0\r\nConnection: close\r\n\r\n";
        default:
            return "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    }
}

}  // namespace

struct ForwardProxy::State {
    State(int target, std::string demanded) : targetPort(target), credentials(std::move(demanded)) {}
    void work();
    void serve(int client);
    int connectToTarget();
    // Keeps the socket for the end; false: it is too late.
    bool open(int socket);
    void close(int socket);

    const int targetPort;
    const std::string credentials;
    int listening = -1;
    int port = 0;
    std::vector<std::thread> workers;  // each accepts and serves one connection after the other
    mutable std::mutex mutex;          // guards all below
    bool stopping = false;
    std::set<int> sockets;
    std::vector<ProxyRequest> requests;
};

bool ForwardProxy::State::open(int socket) {
    const std::lock_guard lock(mutex);
    return !stopping && sockets.insert(socket).second;
}

void ForwardProxy::State::close(int socket) {
    const std::lock_guard lock(mutex);
    sockets.erase(socket);
    ::close(socket);
}

// Whatever host was asked for: the stand-in is all of them. -1: nobody listens there.
int ForwardProxy::State::connectToTarget() {
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(targetPort);
    if (server >= 0 &&
        (connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || !open(server))) {
        ::close(server);
        return -1;
    }
    return server;
}

// One client: its request, the verdict on it, and the tunnel until either side ends.
void ForwardProxy::State::serve(int client) {
    std::string head;
    if (!receiveHead(client, head)) {
        return;
    }
    const std::size_t target = std::min(head.find(' '), head.size() - 1) + 1;
    ProxyRequest request{head.substr(target, head.find(' ', target) - target), credentialsIn(head), 200};
    int server = -1;
    if (head.rfind("CONNECT ", 0) != 0) {
        request.status = 405;
    } else if (!credentials.empty() && request.credentials != credentials) {
        request.status = 407;
    } else {
        server = connectToTarget();
        request.status = server < 0 ? 502 : 200;
    }
    {
        const std::lock_guard lock(mutex);
        requests.push_back(request);
    }
    const bool sent = sendAll(client, answerText(request.status));
    if (server >= 0) {
        if (sent) {
            tunnel(client, server);
        }
        close(server);
    }
}

// Until the listening socket is shut down.
void ForwardProxy::State::work() {
    int client = -1;
    while ((client = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC)) >= 0 || errno == ECONNABORTED ||
           errno == EINTR) {
        if (client >= 0 && open(client)) {
            const int on = 1;
            setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            serve(client);
            close(client);
        } else if (client >= 0) {
            ::close(client);
        }
    }
}

ForwardProxy::ForwardProxy(int targetPort, std::string credentials)
    : state_(std::make_unique<State>(targetPort, std::move(credentials))) {}

ForwardProxy::~ForwardProxy() {
    {
        const std::lock_guard lock(state_->mutex);
        state_->stopping = true;
        for (const int socket : state_->sockets) {
            shutdown(socket, SHUT_RDWR);
        }
    }
    if (state_->listening >= 0) {
        shutdown(state_->listening, SHUT_RDWR);  // wakes the workers
        for (std::thread& worker : state_->workers) {
            worker.join();
        }
        ::close(state_->listening);
    }
}

bool ForwardProxy::start() {
    state_->listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof(address);
    auto* name = reinterpret_cast<sockaddr*>(&address);
    if (state_->listening < 0 || bind(state_->listening, name, length) != 0 ||
        listen(state_->listening, SOMAXCONN) != 0 || getsockname(state_->listening, name, &length) != 0) {
        return false;
    }
    state_->port = ntohs(address.sin_port);
    for (std::size_t i = 0; i < MAX_TUNNELS; i++) {
        state_->workers.emplace_back([this] { state_->work(); });
    }
    return true;
}

int ForwardProxy::port() const {
    return state_->port;
}

std::vector<ProxyRequest> ForwardProxy::requests() const {
    const std::lock_guard lock(state_->mutex);
    return state_->requests;
}
