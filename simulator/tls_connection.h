#pragma once
// One TLS connection of the stand-in, as the HTTP engine reads and writes it. It is for tls_server.cpp only: this
// header brings the HTTP library in.

#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <string>

#include "http_exchange.h"

// It keeps the request line as it came, which the engine decodes.
class TlsConnection final : public httplib::Stream {
  public:
    static constexpr std::chrono::seconds IO_TIMEOUT{10};     // within a request or an answer
    static constexpr std::chrono::seconds IDLE_TIMEOUT{240};  // between two requests

    // Session and descriptor are the caller's and outlive it; the handshake is done.
    TlsConnection(SSL* session, int descriptor, unsigned number)
        : session_(session), descriptor_(descriptor), number_(number) {}

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override {
        return descriptor_;
    }

    // Waits for the next request; false: none came.
    [[nodiscard]] bool awaitRequest();
    // The request as it was received, without number, time, endpoint and status.
    [[nodiscard]] HttpRequest received(const httplib::Request& request) const;

    // Nothing more is sent; the connection is to be ended after this request.
    void breakOff() {
        broken_ = true;
    }
    // The same, with an RST at the end.
    void reset();
    [[nodiscard]] bool isBroken() const {
        return broken_;
    }

  private:
    [[nodiscard]] std::string target() const;

    SSL* session_;
    int descriptor_;
    unsigned number_;
    bool broken_ = false;
    std::string requestLine_;  // with its line end, once it is complete
};
