#include "google_standin.h"

#include <condition_variable>
#include <map>
#include <mutex>

#include "google_answers.h"
#include "tls_server.h"

namespace {

// What a rule makes of the answer; the account is asked only for an answer that will be sent.
HttpAnswer misbehavingAnswer(const HttpRequest& request, GoogleAccount& account, const Misbehaviour& rule) {
    constexpr int FIRST_ERROR = 400;
    HttpAnswer answer;
    if (rule.content == Content::Usual && rule.delivery != Delivery::Reset) {
        answer =
            rule.status >= FIRST_ERROR ? errorAnswer(request, rule.status, rule.error) : usualAnswer(request, account);
    } else if (rule.content == Content::Html) {  // a page, though the status may say that all is well
        answer = htmlError(rule.status, request.path);
        answer.status = HttpAnswer{}.status;
    } else if (rule.content == Content::Text) {
        answer.body = rule.text;
        answer.contentType = rule.contentType.empty() ? answer.contentType : rule.contentType;
    }
    answer.status = rule.status == 0 ? answer.status : rule.status;
    answer.delivery = rule.delivery;
    answer.delay = rule.delay;
    answer.pause = rule.pause;
    return answer;
}

}  // namespace

struct GoogleStandIn::State {
    explicit State(GoogleAccount served);
    HttpAnswer answer(HttpRequest& request);
    const CertifiedKey& certificate(const std::string& host);
    std::size_t count(Endpoint endpoint) const;

    TestAuthority authority;
    std::function<void()> before;
    std::function<void(const HttpRequest&)> after;
    std::mutex callbackMutex;  // taken before `mutex` when both are needed
    std::string error;

    std::mutex mutex;  // guards all below but the server
    std::condition_variable answered;
    GoogleAccount account;
    MisbehaviourScript script;
    std::map<std::string, CertificateKind> certificates;
    std::vector<HttpRequest> log;
    unsigned requests = 0;

    TlsServer server;  // last: its threads use all the others
};

GoogleStandIn::State::State(GoogleAccount served)
    : account(std::move(served)),
      server({.certificate = [this](const std::string& host) -> const CertifiedKey& { return certificate(host); },
              .answer = [this](HttpRequest& request) { return answer(request); }}) {}

// The life of a request: fresh files, a number, its endpoint, the rule that strikes it, the answer, the log.
HttpAnswer GoogleStandIn::State::answer(HttpRequest& request) {
    const std::lock_guard oneAtATime(callbackMutex);
    if (before) {
        before();
    }
    HttpAnswer answer;
    {
        const std::lock_guard lock(mutex);
        request.number = ++requests;
        request.time = std::chrono::system_clock::now();
        request.endpoint = endpointOf(request, account);
        const Misbehaviour* rule = script.strike(request.endpoint);
        answer = rule == nullptr ? usualAnswer(request, account) : misbehavingAnswer(request, account, *rule);
        request.status = answer.delivery == Delivery::Reset ? 0 : answer.status;
        log.push_back(request);
    }
    answered.notify_all();
    if (after) {
        after(request);
    }
    return answer;
}

// At the handshake, before there is a request: a changed file must count here already.
const CertifiedKey& GoogleStandIn::State::certificate(const std::string& host) {
    const std::lock_guard oneAtATime(callbackMutex);
    if (before) {
        before();
    }
    const std::lock_guard lock(mutex);
    auto chosen = certificates.find(host);
    if (chosen == certificates.end()) {
        chosen = certificates.find("");
    }
    return authority.certificate(chosen == certificates.end() ? CertificateKind::Good : chosen->second);
}

// Requests in the log; the caller holds the lock.
std::size_t GoogleStandIn::State::count(Endpoint endpoint) const {
    std::size_t found = 0;
    for (const HttpRequest& request : log) {
        found += endpoint == Endpoint::Any || request.endpoint == endpoint ? 1 : 0;
    }
    return found;
}

GoogleStandIn::GoogleStandIn(GoogleAccount account) : state_(std::make_unique<State>(std::move(account))) {}

GoogleStandIn::~GoogleStandIn() {
    stop();
}

bool GoogleStandIn::start(const std::string& address, int port) {
    if (!state_->authority.isValid()) {
        state_->error = "OpenSSL could not make the test certificates";
        return false;
    }
    return state_->server.start(address, port, state_->error);
}

void GoogleStandIn::stop() {
    state_->server.stop();
}

int GoogleStandIn::port() const {
    return state_->server.port();
}

const std::string& GoogleStandIn::error() const {
    return state_->error;
}

const TestAuthority& GoogleStandIn::authority() const {
    return state_->authority;
}

void GoogleStandIn::update(const std::function<void(GoogleAccount&)>& change) {
    const std::lock_guard lock(state_->mutex);
    change(state_->account);
}

void GoogleStandIn::misbehave(Misbehaviour rule) {
    const std::lock_guard lock(state_->mutex);
    state_->script.add(std::move(rule));
}

void GoogleStandIn::setScript(const std::vector<Misbehaviour>& rules) {
    const std::lock_guard lock(state_->mutex);
    state_->script.clear();
    for (const Misbehaviour& rule : rules) {
        state_->script.add(rule);
    }
}

void GoogleStandIn::behave() {
    const std::lock_guard lock(state_->mutex);
    state_->script.clear();
    state_->certificates.clear();
}

void GoogleStandIn::presentCertificate(CertificateKind kind, const std::string& host) {
    const std::lock_guard lock(state_->mutex);
    state_->certificates[host] = kind;
}

std::vector<HttpRequest> GoogleStandIn::log() const {
    const std::lock_guard lock(state_->mutex);
    return state_->log;
}

std::vector<HttpRequest> GoogleStandIn::log(Endpoint endpoint) const {
    std::vector<HttpRequest> requests = log();
    std::erase_if(requests, [endpoint](const HttpRequest& request) {
        return endpoint != Endpoint::Any && request.endpoint != endpoint;
    });
    return requests;
}

std::size_t GoogleStandIn::count(Endpoint endpoint) const {
    const std::lock_guard lock(state_->mutex);
    return state_->count(endpoint);
}

void GoogleStandIn::clearLog() {
    const std::lock_guard lock(state_->mutex);
    state_->log.clear();
}

bool GoogleStandIn::waitFor(Endpoint endpoint, std::size_t requests, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(state_->mutex);
    return state_->answered.wait_for(lock, timeout, [&] { return state_->count(endpoint) >= requests; });
}

void GoogleStandIn::onRequest(std::function<void()> before) {
    state_->before = std::move(before);
}

void GoogleStandIn::onAnswer(std::function<void(const HttpRequest&)> after) {
    state_->after = std::move(after);
}
