// The options of ct_account: one table of all, of which every command takes some.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>

enum class Option : uint8_t {
    group,
    name,
    user,
    googleGroup,
    token,
    interval,
    active,
    retryLimit,
    retryWait,
    notifications,
    json,
    allDetails,
    yes,
    help,
};

// A set of options, a bit for each.
using OptionSet = uint32_t;

constexpr OptionSet optionSet(std::initializer_list<Option> options) {
    OptionSet set = 0;
    for (const Option option : options) {
        set |= OptionSet{1} << static_cast<unsigned>(option);
    }
    return set;
}

// What the command line says. Texts point into it.
struct Options {
    OptionSet given = 0;
    uint32_t group = 0;  // bits of the contact group; 0: not given
    const char* name = "";
    const char* user = "";
    const char* googleGroup = "";
    const char* tokenFile = "";  // "-" is the standard input
    int32_t interval = 0;
    uint16_t retryLimit = 0;
    uint16_t retryWait = 0;  // seconds
    const char* operand = "";

    [[nodiscard]] bool has(Option option) const {
        return (given & optionSet({option})) != 0;
    }
};

// Reads the arguments behind the command's name, argv[0], with the options that the command knows and those that it
// cannot do without. `operand` is the word for the command's operand, empty for a command without one. Returns
// nothing after telling the user what is wrong with them. With --help nothing is missed.
[[nodiscard]] std::optional<Options> account_parseOptions(int argc, char** argv, OptionSet known, OptionSet required,
                                                          const char* operand);

// Prints a line for each of these options.
void account_printOptions(OptionSet options);
