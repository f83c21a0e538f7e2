// ct_account: sets up, runs and shows the Google accounts of the phone book's contact groups, for whoever has no web
// configuration at hand.

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "commands.h"
#include "message.h"

int main(int argc, char** argv) {
    // Only for the width of characters: messages and the language asked for at Google stay as they are.
    if (setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1) {
        setlocale(LC_CTYPE, "C.UTF-8");
    }
    const int result = account_main(argc, argv);
    const bool isFlushed = fflush(stdout) == 0;
    if (!isFlushed || ferror(stdout) != 0) {
        account_error("the output cannot be written: %s", isFlushed ? "an earlier write failed" : strerror(errno));
        return ACCOUNT_FAILED;
    }
    return result;
}
