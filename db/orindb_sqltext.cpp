#include "orindb_sqltext.h"

#include <cstdarg>
#include <cstdio>

#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_sqltext.c"};

}  // namespace

void orindb_formatSql(char* out, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    orindb_vformatSql(out, size, format, arguments);
    va_end(arguments);
}

void orindb_vformatSql(char* out, size_t size, const char* format, va_list arguments) {
    const int length = vsnprintf(out, size, format, arguments);
    if (length < 0) {
        out[0] = '\0';
    }
    if (length < 0 || static_cast<size_t>(length) >= size) {
        ORINLOG_FN(ORINLOG_ERROR, "statement does not fit into %zu bytes: %s", size, out);
    }
}
