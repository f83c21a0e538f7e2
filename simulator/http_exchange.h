#pragma once
// A request as the stand-in received it and an answer as it is to be delivered, free of any HTTP library.

#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "misbehaviour.h"

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    unsigned number{0};      // from 1, over the life of the stand-in
    unsigned connection{0};  // TLS connection it came on, from 1
    std::chrono::system_clock::time_point time{};
    Endpoint endpoint{Endpoint::Other};
    std::string method{};
    std::string host{};    // Host header without the port
    std::string target{};  // path and query exactly as sent
    std::string path{};
    NamedTexts query{};    // percent-decoded, in the order sent
    NamedTexts form{};     // the same of a form body
    NamedTexts headers{};  // in no particular order
    std::string body{};
    int status{0};  // what was answered; 0: the connection was reset

    // The first value of that name, "" when there is none. Header names are compared without regard to case.
    [[nodiscard]] std::string header(std::string_view name) const;
    [[nodiscard]] std::string parameter(std::string_view name) const;
    [[nodiscard]] std::string formValue(std::string_view name) const;
};

struct HttpAnswer {
    int status{200};
    std::string contentType{"application/json; charset=UTF-8"};
    NamedTexts headers{};
    std::string body{};
    Delivery delivery{Delivery::Whole};
    std::chrono::milliseconds delay{0};
    std::chrono::milliseconds pause{0};
};

// "a=1&b=%C3%BC+x" decoded, in its order. A name without "=" has the value "".
[[nodiscard]] NamedTexts parseFormText(std::string_view text);
