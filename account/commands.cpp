#include "commands.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "message.h"

namespace {

struct Command {
    const char* name;
    const char* summary;
    const char* text;  // of its help, behind the summary
    OptionSet known;
    OptionSet required;
    int (*run)(const Options& options);
    const char* operand = "";  // the word for it in the help; empty for a command without one
};
constexpr std::array COMMANDS{
    Command{"add", "add a Google account for a contact group",
            "The group is created when it does not exist; without --group the next free one is taken. A group has one\n"
            "account at most, and only the groups 0x1 to 0x8000 can be filled. The synchronisation makes the group\n"
            "equal to the Google account: other contacts of the group are removed.",
            optionSet({Option::group, Option::name, Option::user, Option::googleGroup, Option::token, Option::interval,
                       Option::active}),
            0, account_add},
    Command{"groups", "list the Google contact groups of an account", "", optionSet({Option::group}),
            optionSet({Option::group}), account_listGroups},
    Command{"authorise", "let the Google user authorise the account, then synchronise",
            "Shows where to enter which code; the synchroniser waits until that is done and goes on by itself.",
            optionSet({Option::group, Option::notifications}), optionSet({Option::group}), account_authorise},
    Command{"sync", "synchronise a group now", "",
            optionSet({Option::group, Option::retryLimit, Option::retryWait, Option::notifications}),
            optionSet({Option::group}), account_sync},
    Command{"status", "show how the accounts stand", "", optionSet({Option::group, Option::json}), 0,
            account_showStatus},
    Command{"contacts", "show the phone book of a group", "",
            optionSet({Option::group, Option::json, Option::allDetails}), optionSet({Option::group}),
            account_showContacts},
    Command{
        "search", "find contacts of all groups by family name, as the phones do",
        "Finds the names that begin with TEXT; % and _ in it stand for any characters and for one. With a first\n"
        "character A, O or U names that hold the umlaut are found too, with 0 those that begin with a digit, with @\n"
        "those that begin with neither letter nor digit, and contacts without a family name.",
        0, 0, account_search, "TEXT"},
    Command{"remove", "remove an account with what it brought into the phone book",
            "Contacts that came from Google leave the group, and are removed when they are in no other group.",
            optionSet({Option::group, Option::yes}), optionSet({Option::group}), account_remove},
};

const Command* findCommand(const char* name) {
    for (const Command& command : COMMANDS) {
        if (strcmp(name, command.name) == 0) {
            return &command;
        }
    }
    account_error("there is no command '%s', see \"ct_account --help\"", name);
    return nullptr;
}

void printOverview(FILE* to) {
    fputs(
        "usage: ct_account COMMAND [OPTION...]\n"
        "Google accounts that fill contact groups of the PBX's phone book.\n\n",
        to);
    for (const Command& command : COMMANDS) {
        fprintf(to, "  %-12s %s\n", command.name, command.summary);
    }
    fputs("\n  help COMMAND, --help, --version\n", to);
}

int printHelp(const Command& command) {
    printf("usage: ct_account %s [OPTION...]%s%s\n%s\n%s%s\n", command.name, *command.operand != '\0' ? " " : "",
           command.operand, command.summary, command.text, *command.text != '\0' ? "\n" : "");
    account_printOptions(command.known | optionSet({Option::help}));
    return ACCOUNT_OK;
}

int helpFor(int argc, char** argv) {
    constexpr int WITH_COMMAND = 3;
    if (argc < WITH_COMMAND) {
        printOverview(stdout);
        return ACCOUNT_OK;
    }
    const Command* command = findCommand(argv[2]);
    return command != nullptr ? printHelp(*command) : ACCOUNT_USAGE;
}

int runCommand(const Command& command, int argc, char** argv) {
    const auto options =
        account_parseOptions(argc, argv, command.known | optionSet({Option::help}), command.required, command.operand);
    if (!options) {
        return ACCOUNT_USAGE;
    }
    return options->has(Option::help) ? printHelp(command) : command.run(*options);
}

}  // namespace

int account_main(int argc, char** argv) {
    if (argc < 2) {
        printOverview(stderr);
        return ACCOUNT_USAGE;
    }
    const std::string_view word(argv[1]);
    if (word == "help" || word == "--help" || word == "-h") {
        return helpFor(argc, argv);
    }
    if (word == "--version") {
        puts("ct_account " CT_ACCOUNT_VERSION);
        return ACCOUNT_OK;
    }
    const Command* command = findCommand(argv[1]);
    return command != nullptr ? runCommand(*command, argc - 1, argv + 1) : ACCOUNT_USAGE;
}
