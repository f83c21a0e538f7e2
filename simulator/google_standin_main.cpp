// The stand-in of Google as a program, for trials and for tests that are shell scripts.

#include <fcntl.h>
#include <getopt.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "account_source.h"
#include "google_standin.h"
#include "text_codec.h"

namespace {

constexpr const char* HELP =
    "usage: google_standin [--account FILE] [options]\n"
    "       google_standin --generate N [--seed S] > account.json\n"
    "Answers as Google's token endpoint, People API and photo hosts do, out of an account file.\n"
    "  --account FILE           the account, read again whenever it has changed (60 invented persons)\n"
    "  --misbehave JSON         a rule of misbehaviour, or a list of rules, after those in the account\n"
    "  --log FILE               append a JSON line for each request\n"
    "  --ca-dir DIR             write the test authority as \"<hash>.0\" into DIR (/data/certs/trusted)\n"
    "  --listen ADDRESS:PORT    default 127.0.0.1:443; port 0 picks one\n"
    "  --ready-file FILE        written when it listens: the port and a line end\n"
    "  --generate N --seed S    write an account of N invented persons and end\n"
    "Runs in the foreground until SIGTERM or SIGINT. Exit status: 0 ended by signal, 1 failed, 2 wrong arguments.\n";

constexpr std::size_t DEFAULT_PERSONS = 60;
constexpr int FAILED = 1;
constexpr int WRONG_ARGUMENTS = 2;

struct Arguments {
    std::string account;
    std::vector<Misbehaviour> rules;
    std::string log;
    std::string caDirectory;
    std::string address = "127.0.0.1";
    int port = GoogleStandIn::HTTPS_PORT;
    std::string readyFile;
    int generate = -1;
    int seed = 1;
};

bool readNumber(const std::string& text, int& number) {
    const char* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, number);
    return !text.empty() && failure == std::errc() && rest == end && number >= 0;
}

bool readListen(const std::string& text, Arguments& arguments) {
    const std::size_t colon = std::min(text.rfind(':'), text.size());
    arguments.address = text.substr(0, colon);
    return colon < text.size() && readNumber(text.substr(colon + 1), arguments.port) && arguments.port <= 65535;
}

constexpr std::array OPTIONS{
    option{"account", required_argument, nullptr, 'a'},  option{"misbehave", required_argument, nullptr, 'm'},
    option{"log", required_argument, nullptr, 'l'},      option{"ca-dir", required_argument, nullptr, 'c'},
    option{"listen", required_argument, nullptr, 'p'},   option{"ready-file", required_argument, nullptr, 'r'},
    option{"generate", required_argument, nullptr, 'g'}, option{"seed", required_argument, nullptr, 'e'},
    option{"help", no_argument, nullptr, 'h'},           option{nullptr, 0, nullptr, 0}};

bool takeRules(const std::string& text, Arguments& arguments) {
    std::vector<Misbehaviour> rules;
    std::string error;
    if (!parseScript(text, rules, error)) {
        complain("--misbehave: " + error);
        return false;
    }
    arguments.rules.insert(arguments.rules.end(), rules.begin(), rules.end());
    return true;
}

// One option with its value; false: the value is no good.
bool takeOption(int letter, const std::string& value, Arguments& arguments) {
    switch (letter) {
        case 'a':
            arguments.account = value;
            return true;
        case 'm':
            return takeRules(value, arguments);
        case 'l':
            arguments.log = value;
            return true;
        case 'c':
            arguments.caDirectory = value;
            return true;
        case 'p':
            return readListen(value, arguments);
        case 'r':
            arguments.readyFile = value;
            return true;
        case 'g':
            return readNumber(value, arguments.generate);
        default:
            return readNumber(value, arguments.seed);
    }
}

// A list of pairs and no object: a name may come twice.
std::string namedTexts(const NamedTexts& texts) {
    std::string text = "[";
    for (const auto& [name, value] : texts) {
        text.append(text.size() > 1 ? ",[" : "[")
            .append(jsonQuoted(name))
            .append(1, ',')
            .append(jsonQuoted(value))
            .append(1, ']');
    }
    return text + "]";
}

// UTC with milliseconds.
std::string timeText(std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto seconds = static_cast<time_t>(milliseconds / 1000);
    tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ", static_cast<int>(milliseconds % 1000));
    return text.data();
}

// One line, so that a script can read the log with a line reader and a JSON parser.
std::string logLine(const HttpRequest& request) {
    return "{\"number\":" + std::to_string(request.number) + ",\"connection\":" + std::to_string(request.connection) +
           ",\"time\":\"" + timeText(request.time) + "\",\"endpoint\":\"" +
           std::string(endpointName(request.endpoint)) + "\",\"method\":" + jsonQuoted(request.method) +
           ",\"host\":" + jsonQuoted(request.host) + ",\"target\":" + jsonQuoted(request.target) +
           ",\"query\":" + namedTexts(request.query) + ",\"headers\":" + namedTexts(request.headers) +
           ",\"body\":" + jsonQuoted(request.body) + ",\"status\":" + std::to_string(request.status) + "}\n";
}

// False after a complaint about the file; so with those below.
bool failed(const std::string& path) {
    complain(path + ": " + std::strerror(errno));
    return false;
}

bool writeAuthority(const std::string& directory, const TestAuthority& authority) {
    return directory.empty() || authority.writeTrustDirectory(directory) || failed(directory);
}

// After all else is done: whoever waits for it may begin at once.
bool tellReady(const std::string& path, int port) {
    if (path.empty()) {
        return true;
    }
    const std::string text = std::to_string(port) + "\n";
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (descriptor < 0 || write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        return failed(path);
    }
    close(descriptor);
    return true;
}

// In every thread to come, too: only sigwait() takes them.
sigset_t blockEndingSignals() {
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGTERM);
    sigaddset(&endings, SIGINT);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    return endings;
}

int serve(const Arguments& arguments) {
    const sigset_t endings = blockEndingSignals();
    const int log =
        arguments.log.empty() ? -1 : open(arguments.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (!arguments.log.empty() && log < 0) {
        (void)failed(arguments.log);
        return FAILED;
    }
    if (!arguments.account.empty() && access(arguments.account.c_str(), R_OK) != 0) {
        (void)failed(arguments.account);
        return FAILED;
    }
    AccountSource source(arguments.account, arguments.rules);
    GoogleStandIn google(generateAccount(arguments.account.empty() ? DEFAULT_PERSONS : 0));
    google.setScript(arguments.rules);
    google.onRequest([&] { (void)source.refresh(google); });
    google.onAnswer([&](const HttpRequest& request) {
        const std::string line = logLine(request);
        if (log >= 0 && write(log, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            (void)failed(arguments.log);
        }
        google.clearLog();  // nobody reads it here
    });
    if (!source.refresh(google)) {
        return FAILED;
    }
    if (!google.start(arguments.address, arguments.port)) {
        complain(google.error());
        return FAILED;
    }
    if (!writeAuthority(arguments.caDirectory, google.authority()) || !tellReady(arguments.readyFile, google.port())) {
        return FAILED;
    }
    int ending = 0;
    sigwait(&endings, &ending);
    google.stop();
    return 0;
}

int generate(const Arguments& arguments) {
    const std::string text = writeAccountFile(
        generateAccount(static_cast<std::size_t>(arguments.generate), static_cast<unsigned>(arguments.seed)));
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    return written || failed("standard output") ? 0 : FAILED;
}

}  // namespace

int main(int count, char* words[]) {
    Arguments arguments;
    int letter = 0;
    while ((letter = getopt_long(count, words, "", OPTIONS.data(), nullptr)) != -1) {
        if (letter == 'h') {
            std::fputs(HELP, stdout);
            return 0;
        }
        if (letter == '?' || !takeOption(letter, optarg, arguments)) {
            if (letter != '?') {
                complain(std::string("bad value: ") + optarg);
            }
            std::fputs("try: google_standin --help\n", stderr);
            return WRONG_ARGUMENTS;
        }
    }
    if (optind < count) {
        std::fputs(HELP, stderr);
        return WRONG_ARGUMENTS;
    }
    return arguments.generate >= 0 ? generate(arguments) : serve(arguments);
}
