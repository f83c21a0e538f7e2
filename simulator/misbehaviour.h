#pragma once
// What the stand-in does wrong on purpose: a list of rules, each for an endpoint and for some of the requests to it.
// A rule replaces the status, the content or the delivery of an answer, or delays it, in any combination.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class Endpoint : std::uint8_t {
    Token,        // POST /token
    DeviceCode,   // POST /device/code
    Connections,  // GET /v1/people/me/connections
    Groups,       // GET /v1/contactGroups
    Photo,        // GET on a googleusercontent host
    Other,        // whatever else, answered with 404
    Any,          // in a rule: every request
};
inline constexpr std::size_t ENDPOINTS = 7;

enum class Content : std::uint8_t {
    Usual,  // what the endpoint answers, or the error body that goes with the rule's status
    Empty,  // no body at all
    Html,   // a page where JSON is expected
    Text,   // the rule's `text`
};

enum class Delivery : std::uint8_t {
    Whole,
    Truncated,  // the first half of the body, then the connection is closed
    Drip,       // DRIP_BYTES of the body at a time, `pause` between them
    Reset,      // no answer: the connection is reset (RST)
};
inline constexpr std::size_t DRIP_BYTES = 16;

// misbehave({.endpoint = Endpoint::Connections, .first = 2, .status = 429});
// misbehave({.endpoint = Endpoint::Token, .count = 0, .status = 400, .error = "invalid_grant"});
struct Misbehaviour {
    Endpoint endpoint{Endpoint::Any};
    unsigned first{1};  // the first request it strikes, counted from 1 and from the moment the rule was added
    unsigned count{1};  // how many from there on; 0: every one
    int status{0};      // HTTP status; 0: as usual
    // Word in the error body of that status: for Token and DeviceCode the OAuth "error" ("invalid_grant",
    // "invalid_scope", "authorization_pending", ...; DeviceCode's "rate_limit_exceeded" comes as "error_code"), for the
    // lists the "reason" in the details. Empty: the usual one.
    std::string error{};
    Content content{Content::Usual};
    std::string text{};         // for Content::Text
    std::string contentType{};  // for Content::Text; empty: "application/json; charset=UTF-8"
    Delivery delivery{Delivery::Whole};
    std::chrono::milliseconds delay{0};  // from the request to its answer
    std::chrono::milliseconds pause{0};  // for Delivery::Drip
    unsigned seen{0};                    // requests counted so far; leave it 0
};

// The rules in the order they were added. Every rule counts the requests of its endpoint; the first that strikes wins.
class MisbehaviourScript {
  public:
    void add(Misbehaviour rule);
    void clear();

    // To be called once for each request. The rule that strikes, or NULL; good until the next call of a member.
    [[nodiscard]] const Misbehaviour* strike(Endpoint endpoint);

  private:
    std::vector<Misbehaviour> rules_;
};

// "token", "deviceCode", "connections", "groups", "photo", "other", "any".
[[nodiscard]] std::string_view endpointName(Endpoint endpoint);

// Reads a JSON array of rules, or one rule as an object:
//   {"endpoint":"connections","first":2,"count":1,"status":429,"error":"","content":"usual|empty|html|text",
//    "text":"","contentType":"","delivery":"whole|truncated|drip|reset","delay":ms,"pause":ms}
// Every member may be missing; an unknown member or word is an error. False: `error` says in one line what is wrong.
[[nodiscard]] bool parseScript(const std::string& json, std::vector<Misbehaviour>& rules, std::string& error);
