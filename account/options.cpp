#include "options.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "db_googleserverconf.h"
#include "message.h"

namespace {

// Reads a whole text as a number. Returns false when it is none, or one that does not fit.
template <typename Number>
bool readNumber(std::string_view text, Number& number, int base = 10) {
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && rest == end;
}

// "2", "0x2" and "bit1" are the same group.
bool readGroup(const char* argument, uint32_t& group) {
    constexpr std::string_view HEXADECIMAL = "0x";
    constexpr std::string_view INDEX = "bit";
    constexpr unsigned BITS = 32;
    constexpr int BASE_16 = 16;
    const std::string_view text(argument);
    if (text.starts_with(INDEX)) {
        unsigned bit = 0;
        if (!readNumber(text.substr(INDEX.size()), bit) || bit >= BITS) {
            return false;
        }
        group = uint32_t{1} << bit;
        return true;
    }
    const bool read = text.starts_with(HEXADECIMAL) ? readNumber(text.substr(HEXADECIMAL.size()), group, BASE_16)
                                                    : readNumber(text, group);
    return read && group != 0;
}

// A text that is longer than its field in the account's row would be cut there without a word.
bool readText(const char* argument, const char*& text) {
    text = argument;
    return strlen(argument) < GOOGLE_CONF_TEXT_SIZE;
}

bool readGoogleGroup(const char* argument, const char*& text) {
    return readText(argument, text) && (*argument == '\0' || std::string_view(argument).starts_with("contactGroups/"));
}

bool justGiven(Options& /*options*/, const char* /*argument*/) {
    return true;
}

struct OptionRule {
    const char* name;
    const char* argument;  // the word for it in the help; nullptr for an option without one
    const char* help;
    bool (*apply)(Options& options, const char* argument);
};
// In the order of Option.
constexpr std::array OPTION_RULES{
    OptionRule{"group", "GROUP", "contact group: its bit as a number (2, 0x2) or by its index (bit1)",
               [](Options& to, const char* argument) { return readGroup(argument, to.group); }},
    OptionRule{"name", "NAME", "name of the account, and of the group when that is created",
               [](Options& to, const char* argument) { return readText(argument, to.name); }},
    OptionRule{"user", "USER", "Google user",
               [](Options& to, const char* argument) { return readText(argument, to.user); }},
    OptionRule{"google-group", "RESOURCE", "take only this group of the account (contactGroups/...), see \"groups\"",
               [](Options& to, const char* argument) { return readGoogleGroup(argument, to.googleGroup); }},
    OptionRule{"token", "FILE", "read a refresh token from a file, or from the standard input (-)",
               [](Options& to, const char* argument) {
                   to.tokenFile = argument;
                   return *argument != '\0';
               }},
    OptionRule{"interval", "N", "synchronisation interval, as the PBX's scheduler reads it",
               [](Options& to, const char* argument) { return readNumber(argument, to.interval) && to.interval >= 0; }},
    OptionRule{"active", nullptr, "synchronise by schedule", justGiven},
    // Without an attempt the synchroniser ends with success.
    OptionRule{
        "retry-limit", "N", "attempts, 1 to 65535",
        [](Options& to, const char* argument) { return readNumber(argument, to.retryLimit) && to.retryLimit > 0; }},
    OptionRule{"retry-wait", "S", "seconds after a failed attempt, 0 to 65535",
               [](Options& to, const char* argument) { return readNumber(argument, to.retryWait); }},
    OptionRule{"notifications", nullptr, "read and show all messages to other PBX processes", justGiven},
    OptionRule{"json", nullptr, "print JSON", justGiven},
    OptionRule{"all-details", nullptr, "show every detail of each contact", justGiven},
    OptionRule{"yes", nullptr, "do not ask", justGiven},
    OptionRule{"help", nullptr, "show this help", justGiven},
};
static_assert(OPTION_RULES.size() == static_cast<size_t>(Option::help) + 1);

constexpr OptionSet setOf(size_t rule) {
    return optionSet({static_cast<Option>(rule)});
}

// The values of getopt's options lie above all characters.
constexpr int FIRST_VALUE = 256;
using LongOptions = std::array<option, OPTION_RULES.size() + 1>;

LongOptions longOptions(OptionSet known) {
    LongOptions list{};
    size_t used = 0;
    for (size_t rule = 0; rule < OPTION_RULES.size(); ++rule) {
        if ((known & setOf(rule)) != 0) {
            const int hasArgument = OPTION_RULES[rule].argument != nullptr ? required_argument : no_argument;
            list[used++] = {OPTION_RULES[rule].name, hasArgument, nullptr, FIRST_VALUE + static_cast<int>(rule)};
        }
    }
    return list;
}

// Whether options begin like this one, which may have a value behind "=".
bool isBeginning(std::string_view text, const LongOptions& list) {
    const std::string_view name = text.substr(0, text.find('='));
    return std::any_of(list.begin(), list.end(), [name](const option& known) {
        return known.name != nullptr && std::string_view(known.name).starts_with(name);
    });
}

// Tells what is wrong with an argument that getopt did not take.
void tellFault(int answer, const char* command, const char* argument, const LongOptions& list) {
    std::string shown = argument;
    const char* fault = "there is no option";
    if (answer == ':') {
        fault = "a value is missing behind";
    } else if (optopt >= FIRST_VALUE) {
        fault = "there is a value too much in";
    } else if (optopt > 0) {
        // Of short options, which no command has, several may stand in one argument.
        shown = std::string("-") + static_cast<char>(optopt);
    } else if (optopt == 0 && isBeginning(std::string_view(argument).substr(2), list)) {
        fault = "more than one option begins with";
    }
    account_error("%s: %s %s", command, fault, shown.c_str());
}

// Takes an option that getopt knows. Returns false after telling what is wrong.
bool takeOption(int answer, const char* command, Options& options) {
    const auto rule = static_cast<size_t>(answer - FIRST_VALUE);
    options.given |= setOf(rule);
    if (!OPTION_RULES[rule].apply(options, optarg)) {
        account_error("%s: '%s' does not do for --%s (%s)", command, optarg, OPTION_RULES[rule].name,
                      OPTION_RULES[rule].help);
        return false;
    }
    return true;
}

// Takes what is left behind the options. Returns false after telling what is wrong.
bool takeOperand(int argc, char** argv, const char* word, Options& options) {
    const char* command = argv[0];
    int next = optind;
    const bool isWanted = *word != '\0';
    if (isWanted && next < argc) {
        options.operand = argv[next++];
    } else if (isWanted && !options.has(Option::help)) {
        account_error("%s: %s is missing", command, word);
        return false;
    }
    if (next < argc) {
        account_error("%s: '%s' is %s", command, argv[next], isWanted ? "too much" : "no option");
        return false;
    }
    return true;
}

bool hasRequired(const char* command, const Options& options, OptionSet required) {
    for (size_t rule = 0; rule < OPTION_RULES.size(); ++rule) {
        if ((required & ~options.given & setOf(rule)) != 0 && !options.has(Option::help)) {
            account_error("%s: --%s is missing", command, OPTION_RULES[rule].name);
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<Options> account_parseOptions(int argc, char** argv, OptionSet known, OptionSet required,
                                            const char* operand) {
    Options options;
    const LongOptions list = longOptions(known);
    const char* command = argv[0];
    // The messages are ours: getopt's would begin with the command's name.
    opterr = 0;
    for (;;) {
        const int answer = getopt_long(argc, argv, ":", list.data(), nullptr);
        if (answer < 0) {
            break;
        }
        if (answer < FIRST_VALUE) {
            tellFault(answer, command, argv[optind - 1], list);
            return std::nullopt;
        }
        if (!takeOption(answer, command, options)) {
            return std::nullopt;
        }
    }
    if (!takeOperand(argc, argv, operand, options) || !hasRequired(command, options, required)) {
        return std::nullopt;
    }
    return options;
}

void account_printOptions(OptionSet options) {
    for (size_t rule = 0; rule < OPTION_RULES.size(); ++rule) {
        if ((options & setOf(rule)) != 0) {
            const OptionRule& shown = OPTION_RULES[rule];
            const std::string head =
                std::string("--") + shown.name + ' ' + (shown.argument != nullptr ? shown.argument : "");
            printf("  %-24s %s\n", head.c_str(), shown.help);
        }
    }
}
