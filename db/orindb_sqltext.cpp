#include "orindb_sqltext.h"

#include <strings.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "orin_stringutils.h"
#include "orin_utf8.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_sqltext.c"};

}  // namespace

void orindb_vformatSql(char* out, size_t size, const char* format, va_list arguments) {
    const int length = format != nullptr ? vsnprintf(out, size, format, arguments) : -1;
    if (length < 0) {
        out[0] = '\0';
    }
    if (length < 0 || static_cast<size_t>(length) >= size) {
        ORINLOG_FN(ORINLOG_ERROR, "statement does not fit into %zu bytes: %s", size, out);
    }
}

bool orindb_isSameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

void orindb_quoteSql(const char* text, char* out, uint32_t size) {
    text = text != nullptr ? text : "";
    if (orin_copyAndReplaceString(text, "'", "''", out, size) == 0 && strlen(text) < size) {
        return;
    }
    size_t length = strlen(out);
    size_t quotes = 0;
    while (quotes < length && out[length - 1 - quotes] == '\'') {
        ++quotes;
    }
    if (quotes % 2 != 0) {
        out[--length] = '\0';
    }
    orin_utf8_fix_tail(out);
}
