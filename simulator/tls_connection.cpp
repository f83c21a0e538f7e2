#include "tls_connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace {

bool waitFor(int descriptor, short events, std::chrono::milliseconds timeout) {
    pollfd waiting{descriptor, events, 0};
    int ready = 0;
    do {
        ready = poll(&waiting, 1, static_cast<int>(timeout.count()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// Without the lines that the engine itself adds.
NamedTexts headersOf(const httplib::Request& request) {
    NamedTexts headers;
    for (const auto& [name, value] : request.headers) {
        const bool ofTheEngine = name.rfind("REMOTE_", 0) == 0 || name.rfind("LOCAL_", 0) == 0;
        if (!ofTheEngine) {
            headers.emplace_back(name, value);
        }
    }
    return headers;
}

}  // namespace

bool TlsConnection::is_readable() const {
    return SSL_pending(session_) > 0 || waitFor(descriptor_, POLLIN, IO_TIMEOUT);
}

bool TlsConnection::is_writable() const {
    return !broken_ && waitFor(descriptor_, POLLOUT, IO_TIMEOUT);
}

bool TlsConnection::awaitRequest() {
    requestLine_.clear();
    return SSL_pending(session_) > 0 || waitFor(descriptor_, POLLIN, IDLE_TIMEOUT);
}

// The engine reads byte by byte up to a line end, so that a part of the next request is never lost.
ssize_t TlsConnection::read(char* bytes, size_t size) {
    if (!is_readable()) {
        return -1;
    }
    size_t got = 0;
    if (SSL_read_ex(session_, bytes, size, &got) != 1) {
        return SSL_get_error(session_, 0) == SSL_ERROR_ZERO_RETURN ? 0 : -1;
    }
    if (requestLine_.empty() || requestLine_.back() != '\n') {
        const std::string_view read(bytes, got);
        requestLine_.append(read.substr(0, std::min(read.find('\n'), got - 1) + 1));
    }
    return static_cast<ssize_t>(got);
}

ssize_t TlsConnection::write(const char* bytes, size_t size) {
    size_t sent = 0;
    if (broken_ || SSL_write_ex(session_, bytes, size, &sent) != 1) {
        broken_ = true;
        return -1;
    }
    return static_cast<ssize_t>(sent);
}

// Between the two blanks of the request line.
std::string TlsConnection::target() const {
    const size_t begin = std::min(requestLine_.find(' '), requestLine_.size() - 1) + 1;
    const size_t end = std::min(requestLine_.find(' ', begin), requestLine_.size());
    return requestLine_.substr(begin, end - begin);
}

void TlsConnection::reset() {
    const linger atOnce{1, 0};  // close() then throws away what is unsent and sends an RST
    setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
    broken_ = true;
}

HttpRequest TlsConnection::received(const httplib::Request& request) const {
    HttpRequest made;
    made.connection = number_;
    made.method = request.method;
    made.host = request.get_header_value("Host");
    made.host.resize(std::min(made.host.find(':'), made.host.size()));
    made.target = target();
    made.path = request.path;
    const size_t question = made.target.find('?');
    if (question != std::string::npos) {
        made.query = parseFormText(std::string_view(made.target).substr(question + 1));
    }
    made.headers = headersOf(request);
    made.body = request.body;
    if (request.get_header_value("Content-Type").rfind("application/x-www-form-urlencoded", 0) == 0) {
        made.form = parseFormText(made.body);
    }
    return made;
}
