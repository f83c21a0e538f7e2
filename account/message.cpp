#include "message.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "orindb_codes.h"

namespace {

struct ResultWords {
    int32_t code;
    const char* words;
};
// The codes of the four-digit kind without a name here are the synchroniser's own.
constexpr std::array RESULT_WORDS{
    ResultWords{ORINDB_OK, "success"},
    ResultWords{8104, "the phone book is full"},
    ResultWords{8119, "Google authentication failed: authorise the account anew, or check the network"},
    ResultWords{8121, "the synchroniser was ended by a fatal signal"},
    ResultWords{8128, "a request to Google failed, or its answer was unusable"},
    ResultWords{ORINDB_NOT_FOUND, "not found in the database"},
    ResultWords{ORINDB_INVALID_PARAMETER, "invalid parameter"},
    ResultWords{ORINDB_NO_DATA_DIRECTORY, "there is no data directory"},
    ResultWords{ORINDB_WRITE_FAILED, "writing to the database failed"},
    ResultWords{ORINDB_STOPPED_BY_CALLBACK, "a database query was stopped"},
    ResultWords{ORINDB_FAILED, "a database call failed: the log tells more"},
};

}  // namespace

void account_error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    flockfile(stderr);
    fputs("ct_account: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    funlockfile(stderr);
    va_end(arguments);
}

const char* account_resultWords(int32_t code) {
    for (const ResultWords& known : RESULT_WORDS) {
        if (known.code == code) {
            return known.words;
        }
    }
    return "unknown result";
}

bool account_succeeded(int code, const char* what) {
    if (code != ORINDB_OK) {
        account_error("%s: %s (%d)", what, account_resultWords(code), code);
    }
    return code == ORINDB_OK;
}
