// Runs shell commands and programs and reports how they ended.
//
// Every command is logged before it runs, at ORINLOG_DEBUG of ORINLOG_CAT_SHELL, and LogErrors logs an end that is not
// exit status 0. The functions wait for the child: none of them leaves a process or a descriptor behind.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

struct orinStringBuffer;

// Size of a formatted command and of the text that is logged for a program with arguments, in bytes; longer is cut.
constexpr size_t ORIN_COMMAND_SIZE = 4096;

// Most texts that a program with arguments may consist of, its name included.
constexpr int ORIN_COMMAND_MAX_ARGUMENTS = 63;

// Result of a program that could not be started or was ended by a signal.
constexpr int ORIN_COMMAND_FAILED = 1;

// Formats a command and runs it through the shell. Insecure where an argument may hold a character that means something
// to the shell: use the functions below then. Returns 1 when the command exited with status 0, else 0.
uint8_t orin_systemf_insecure(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Runs a program, searched along PATH, without a shell. `argumentCount` counts the texts that follow, the program's
// name included. Returns the program's exit status or ORIN_COMMAND_FAILED.
int _orin_systemf_returncode(int argumentCount, const char* program, ...);

// The same, and appends what the program writes to its standard output to `output`, however much that is. Output that
// finds no memory is read and dropped; the result is then ORIN_COMMAND_FAILED.
int _orin_systemf_echo(orinStringBuffer* output, int argumentCount, const char* program, ...);

// Both again, with the texts counted by the compiler.
template <std::convertible_to<const char*>... Arguments>
int orin_systemf_returncode(const char* program, Arguments... arguments) {
    return _orin_systemf_returncode(1 + static_cast<int>(sizeof...(arguments)), program,
                                    static_cast<const char*>(arguments)...);
}
template <std::convertible_to<const char*>... Arguments>
int orin_systemf_echo(orinStringBuffer* output, const char* program, Arguments... arguments) {
    return _orin_systemf_echo(output, 1 + static_cast<int>(sizeof...(arguments)), program,
                              static_cast<const char*>(arguments)...);
}

// Logs how a command ended: nothing for exit status 0, else one line with what the wait status tells and the command.
void LogErrors(int status, const char* command);
