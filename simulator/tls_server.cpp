#include "tls_server.h"

#include <openssl/err.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

#include "tls_connection.h"

namespace {

constexpr std::size_t KEEP_ALIVE_REQUESTS = 10000;

struct ContextRelease {
    void operator()(SSL_CTX* context) const noexcept {
        SSL_CTX_free(context);
    }
};
struct SessionRelease {
    void operator()(SSL* session) const noexcept {
        SSL_free(session);
    }
};

}  // namespace

class TlsServer::Engine final : public httplib::Server {
  public:
    explicit Engine(Hooks hooks);

    bool start(const std::string& address, int port, std::string& error);
    void end();
    int boundPort() const {
        return port_;
    }

  private:
    static int chooseCertificate(SSL* session, void* engine);
    bool process_and_close_socket(socket_t descriptor) override;
    void converse(SSL* session, int descriptor);
    void handle(const httplib::Request& request, httplib::Response& response);
    void deliver(const std::shared_ptr<const HttpAnswer>& answer, httplib::Response& response,
                 TlsConnection& connection);
    bool sendPiece(const HttpAnswer& answer, size_t offset, httplib::DataSink& sink, TlsConnection& connection);
    // False: the server stopped meanwhile.
    bool rest(std::chrono::steady_clock::time_point end);
    bool admit(int descriptor);
    void dismiss(int descriptor);

    Hooks hooks_;
    std::unique_ptr<SSL_CTX, ContextRelease> context_;
    std::thread listener_;
    int port_ = 0;
    std::atomic<unsigned> connections_ = 0;
    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stopping_ = false;      // guarded by mutex_
    std::set<int> descriptors_;  // of the open connections; guarded by mutex_
};

TlsServer::Engine::Engine(Hooks hooks) : hooks_(std::move(hooks)), context_(SSL_CTX_new(TLS_server_method())) {
    if (context_) {
        SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION);
        SSL_CTX_set_cert_cb(context_.get(), chooseCertificate, this);
        // A resumed session would not show a certificate that was changed meanwhile.
        SSL_CTX_set_session_cache_mode(context_.get(), SSL_SESS_CACHE_OFF);
        SSL_CTX_set_options(context_.get(), SSL_OP_NO_TICKET);
        SSL_CTX_set_num_tickets(context_.get(), 0);
    }
    new_task_queue = [] { return new httplib::ThreadPool(MAX_CONNECTIONS); };
    set_socket_options([](socket_t listening) {
        const int on = 1;  // and not SO_REUSEPORT: a second server on the port is a mistake to be told
        setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    set_tcp_nodelay(true);
    set_keep_alive_max_count(KEEP_ALIVE_REQUESTS);  // only said in a header: what is done is converse()'s
    set_keep_alive_timeout(TlsConnection::IDLE_TIMEOUT.count());
    // The body of a POST is read before its handler is called; everything else is answered before it is routed.
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        if (request.method == "POST") {
            return HandlerResponse::Unhandled;
        }
        handle(request, response);
        return HandlerResponse::Handled;
    });
    Post(".*", [this](const httplib::Request& request, httplib::Response& response) { handle(request, response); });
}

bool TlsServer::Engine::start(const std::string& address, int port, std::string& error) {
    if (!context_) {
        error = "OpenSSL gives no TLS context";
        return false;
    }
    errno = 0;
    if (port == 0) {
        port_ = std::max(bind_to_any_port(address), 0);
    } else if (bind_to_port(address, port)) {
        port_ = port;
    }
    if (port_ == 0) {
        error = "cannot listen on " + address + ":" + std::to_string(port) + ": " +
                (errno == 0 ? "no such address" : std::strerror(errno));
        return false;
    }
    listener_ = std::thread([this] { listen_after_bind(); });
    while (!is_running()) {  // stop() has no effect before
        std::this_thread::yield();
    }
    return true;
}

// The sockets first: the threads then come back from whatever they wait for.
void TlsServer::Engine::end() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        for (const int descriptor : descriptors_) {
            shutdown(descriptor, SHUT_RDWR);
        }
    }
    stopped_.notify_all();
    Server::stop();
    if (listener_.joinable()) {
        listener_.join();
    }
}

int TlsServer::Engine::chooseCertificate(SSL* session, void* engine) {
    const char* host = SSL_get_servername(session, TLSEXT_NAMETYPE_host_name);
    const CertifiedKey& shown = static_cast<Engine*>(engine)->hooks_.certificate(host == nullptr ? "" : host);
    const bool set =
        SSL_use_certificate(session, shown.certificate.get()) == 1 && SSL_use_PrivateKey(session, shown.key.get()) == 1;
    return set ? 1 : 0;
}

// A connection that comes while the server stops is not begun.
bool TlsServer::Engine::admit(int descriptor) {
    const std::lock_guard lock(mutex_);
    return !stopping_ && descriptors_.insert(descriptor).second;
}

// Before its descriptor is closed and may be given to another.
void TlsServer::Engine::dismiss(int descriptor) {
    const std::lock_guard lock(mutex_);
    descriptors_.erase(descriptor);
}

bool TlsServer::Engine::rest(std::chrono::steady_clock::time_point end) {
    std::unique_lock lock(mutex_);
    return !stopped_.wait_until(lock, end, [this] { return stopping_; });
}

// The engine calls this in a thread of its pool for each accepted connection.
bool TlsServer::Engine::process_and_close_socket(socket_t descriptor) {
    if (admit(descriptor)) {
        const std::unique_ptr<SSL, SessionRelease> session(SSL_new(context_.get()));
        if (session && SSL_set_fd(session.get(), descriptor) == 1 && SSL_accept(session.get()) == 1) {
            converse(session.get(), descriptor);
        }
        ERR_clear_error();
        dismiss(descriptor);
    }
    close(descriptor);
    return true;
}

// Request by request until the client, an error or stop() ends it.
void TlsServer::Engine::converse(SSL* session, int descriptor) {
    TlsConnection connection(session, descriptor, ++connections_);
    SSL_set_app_data(session, &connection);
    bool open = true;
    while (open && connection.awaitRequest()) {
        bool closed = false;
        open = process_request(connection, false, closed,
                               [session](httplib::Request& request) { request.ssl = session; }) &&
               !closed && !connection.isBroken();
    }
    if (!connection.isBroken()) {
        SSL_shutdown(session);
    }
}

void TlsServer::Engine::handle(const httplib::Request& request, httplib::Response& response) {
    const auto arrival = std::chrono::steady_clock::now();
    TlsConnection& connection = *static_cast<TlsConnection*>(SSL_get_app_data(request.ssl));
    HttpRequest asked = connection.received(request);
    const auto answer = std::make_shared<const HttpAnswer>(hooks_.answer(asked));
    // What the answer has taken to make is part of its delay.
    if (!rest(arrival + answer->delay)) {
        connection.breakOff();
    } else if (answer->delivery == Delivery::Reset) {
        connection.reset();
    } else {
        deliver(answer, response, connection);
    }
}

// JSON goes out in chunks of unknown number, as Google sends it, everything else with its length.
void TlsServer::Engine::deliver(const std::shared_ptr<const HttpAnswer>& answer, httplib::Response& response,
                                TlsConnection& connection) {
    response.status = answer->status;
    for (const auto& [name, value] : answer->headers) {
        response.set_header(name, value);
    }
    const auto send = [this, answer, &connection](size_t offset, httplib::DataSink& sink) {
        return sendPiece(*answer, offset, sink, connection);
    };
    if (answer->contentType.rfind("application/json", 0) == 0) {
        response.set_chunked_content_provider(answer->contentType, send);
    } else if (answer->body.empty()) {
        response.set_content("", answer->contentType);
    } else {
        response.set_content_provider(
            answer->body.size(), answer->contentType,
            [send](size_t offset, size_t /*length*/, httplib::DataSink& sink) { return send(offset, sink); });
    }
}

// Called again and again with the number of bytes already sent.
bool TlsServer::Engine::sendPiece(const HttpAnswer& answer, size_t offset, httplib::DataSink& sink,
                                  TlsConnection& connection) {
    const bool truncated = answer.delivery == Delivery::Truncated;
    const size_t end = truncated ? answer.body.size() / 2 : answer.body.size();
    if (offset >= end) {
        if (truncated) {
            connection.breakOff();
            return false;
        }
        sink.done();
        return true;
    }
    const bool dripping = answer.delivery == Delivery::Drip;
    if (dripping && offset > 0 && !rest(std::chrono::steady_clock::now() + answer.pause)) {
        connection.breakOff();
        return false;
    }
    return sink.write(answer.body.data() + offset, std::min(dripping ? DRIP_BYTES : PIECE, end - offset));
}

TlsServer::TlsServer(Hooks hooks) : engine_(std::make_unique<Engine>(std::move(hooks))) {}

TlsServer::~TlsServer() {
    stop();
}

bool TlsServer::start(const std::string& address, int port, std::string& error) {
    return engine_->start(address, port, error);
}

void TlsServer::stop() {
    engine_->end();
}

int TlsServer::port() const {
    return engine_->boundPort();
}
