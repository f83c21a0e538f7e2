#include <array>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "db_sqlitevalue.h"
#include "orin_base64.h"
#include "orin_guards.h"
#include "orin_stdio.h"
#include "orin_stringbuffer.h"
#include "orindb_xml.h"
#include "orindb_xml_rows.h"
#include "orindb_xml_text.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_xml_export.c"};
constexpr const char* EXPORT = "orindb_xmlExportDb";

// A buffer is written out when it holds this much.
constexpr uint32_t FLUSH_SIZE = 65536;
// A hexadecimal floating-point number is shorter.
constexpr size_t REAL_SIZE = 40;

// SQLite's own tables are made anew by SQLite, but the last automatic ids must be taken along.
constexpr char LIST_TABLES[] =
    "SELECT name, sql FROM sqlite_master WHERE type='table' AND "
    "(name NOT LIKE 'sqlite\\_%' ESCAPE '\\' OR name='sqlite_sequence') ORDER BY name='sqlite_sequence', rowid";
// Indexes that belong to a key have no text.
constexpr char LIST_OBJECTS[] =
    "SELECT type, tbl_name, name, sql FROM sqlite_master WHERE type<>'table' AND sql IS NOT NULL "
    "ORDER BY type='trigger', rowid";
// Columns that hold values of their own; those that are computed come with the schema.
constexpr char LIST_COLUMNS[] = "SELECT name FROM pragma_table_xinfo(?1) WHERE hidden=0 ORDER BY cid";

// The file being written. After a failure nothing more is written, and the first failure counts.
struct Export {
    DbContext* dbContext;
    int dbType;
    FILE* file;
    orinStringBuffer text;  // not yet written
    int result;
};

bool failed(Export& to, int result) {
    if (to.result == ORINDB_OK && result != ORINDB_OK) {
        to.result = result;
    }
    return to.result != ORINDB_OK;
}

void put(Export& to, const char* text) {
    failed(to, orin_appendStringToStringBuffer(&to.text, text));
}

void putName(Export& to, std::string_view name, const char* suffix) {
    failed(to, orindb_xmlAppendName(&to.text, name));
    put(to, suffix);
}

void flush(Export& to, uint32_t keptSize) {
    if (to.result != ORINDB_OK || to.text.length <= keptSize) {
        return;
    }
    if (fwrite(to.text.data, 1, to.text.length, to.file) != to.text.length) {
        ORINLOG(ORINLOG_ERROR, "%s: writing failed: %s", EXPORT, strerror(errno));
        failed(to, ORINDB_FAILED);
    }
    orin_clearStringBuffer(&to.text);
}

// A text as an attribute, or as Base64 in an attribute "<name>64".
void putAttribute(Export& to, const char* name, std::string_view text) {
    put(to, " ");
    put(to, name);
    if (orindb_xmlCanHold(text)) {
        put(to, "=\"");
        failed(to, orindb_xmlAppendEscaped(&to.text, text));
    } else {
        put(to, "64=\"");
        failed(to, orin_base64_encode(text.data(), text.size(), &to.text));
    }
    put(to, "\"");
}

// The rest of an element whose name and attributes stand there already: '>', the text and the end.
void putText(Export& to, std::string_view text) {
    if (orindb_xmlCanHold(text)) {
        put(to, ">");
        failed(to, orindb_xmlAppendEscaped(&to.text, text));
    } else {
        put(to, " encoding=\"base64\">");
        failed(to, orin_base64_encode(text.data(), text.size(), &to.text));
    }
}

// To the last bit, and whatever the locale.
void putReal(Export& to, double value) {
    std::array<char, REAL_SIZE> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::hex);
    put(to, " type=\"real\">");
    failed(to, orin_appendToStringBuffer(&to.text, digits.data(), static_cast<size_t>(end.ptr - digits.data())));
}

// The text of a value. SQLite has an empty one as "": without any, memory was out.
std::string_view textOf(Export& to, const DbValue& value) {
    failed(to, value.bytes != nullptr ? ORINDB_OK : ORINDB_FAILED);
    return {value.bytes, value.length};
}

void putValue(Export& to, const DbValue& value) {
    switch (value.type) {
        case DbValueType::null:
            put(to, " type=\"null\">");
            break;
        case DbValueType::integer:
            failed(to, orin_stringbuffer_printf(&to.text, " type=\"integer\">%" PRId64, value.integer));
            break;
        case DbValueType::real:
            putReal(to, value.real);
            break;
        case DbValueType::text:
            putText(to, textOf(to, value));
            break;
        case DbValueType::blob:
            put(to, " type=\"blob\" encoding=\"base64\">");
            failed(to, orin_base64_encode(value.bytes != nullptr ? value.bytes : "", value.length, &to.text));
            break;
    }
}

Cursor query(Export& to, const char* sql) {
    DbCursor* cursor = nullptr;
    failed(to, db_cursor_query(to.dbContext->handles, to.dbType, sql, &cursor));
    return Cursor(cursor);
}

// Steps on; false at the end and after a failure.
bool next(Export& to, const Cursor& cursor) {
    if (to.result != ORINDB_OK || cursor == nullptr) {
        return false;
    }
    const int step = db_cursor_next(cursor.get());
    failed(to, step < 0 ? ORINDB_FAILED : ORINDB_OK);
    return step == 1;
}

// "SELECT "a","b" FROM "t" NOT INDEXED": the rows in their order and from the table itself, whatever its indexes hold.
void buildSelect(Export& to, const char* table, orinStringBuffer* sql) {
    const Cursor columns = query(to, LIST_COLUMNS);
    if (columns == nullptr || failed(to, db_cursor_bind_text(columns.get(), 1, table))) {
        return;
    }
    const char* separator = "SELECT ";
    while (next(to, columns)) {
        failed(to, orin_appendStringToStringBuffer(sql, separator));
        failed(to, orindb_appendQuoted(sql, textOf(to, db_cursor_get_value(columns.get(), 0))));
        separator = ",";
    }
    failed(to, orin_appendStringToStringBuffer(sql, " FROM "));
    failed(to, orindb_appendQuoted(sql, table));
    failed(to, orin_appendStringToStringBuffer(sql, " NOT INDEXED"));
}

void putRow(Export& to, const Cursor& row, const char* table) {
    put(to, "<");
    putName(to, table, ">");
    const int columns = db_cursor_column_count(row.get());
    for (int i = 0; i < columns; ++i) {
        const char* column = db_cursor_column_name(row.get(), i);
        put(to, "<");
        putName(to, column, "");
        putValue(to, db_cursor_get_value(row.get(), i));
        put(to, "</");
        putName(to, column, ">");
    }
    put(to, "</");
    putName(to, table, ">\n");
}

void putTable(Export& to, const char* table, std::string_view schema) {
    put(to, "<");
    putName(to, table, ORINDB_XML_TABLE_SUFFIX);
    putAttribute(to, ORINDB_XML_SCHEMA, schema);
    put(to, ">\n");

    orinStringBuffer sql{};
    const orinStringBufferData sqlOwner(&sql);
    buildSelect(to, table, &sql);
    if (to.result != ORINDB_OK) {
        return;
    }
    const Cursor row = query(to, sql.data);
    while (next(to, row)) {
        putRow(to, row, table);
        flush(to, FLUSH_SIZE);
    }
    put(to, "</");
    putName(to, table, ORINDB_XML_TABLE_SUFFIX);
    put(to, ">\n");
}

void putTables(Export& to) {
    const Cursor tables = query(to, LIST_TABLES);
    while (next(to, tables)) {
        putTable(to, db_cursor_get_text(tables.get(), 0, ""), textOf(to, db_cursor_get_value(tables.get(), 1)));
    }
}

void putObjects(Export& to) {
    const Cursor objects = query(to, LIST_OBJECTS);
    while (next(to, objects)) {
        const char* kind = db_cursor_get_text(objects.get(), 0, "");
        put(to, "<");
        put(to, ORINDB_XML_OBJECT_PREFIX);
        putName(to, kind, "");
        putAttribute(to, ORINDB_XML_OBJECT_TABLE, textOf(to, db_cursor_get_value(objects.get(), 1)));
        putAttribute(to, ORINDB_XML_OBJECT_NAME, textOf(to, db_cursor_get_value(objects.get(), 2)));
        putText(to, textOf(to, db_cursor_get_value(objects.get(), 3)));
        put(to, "</");
        put(to, ORINDB_XML_OBJECT_PREFIX);
        putName(to, kind, ">\n");
    }
}

void putDatabase(Export& to) {
    const DbHandle& handle = to.dbContext->handles[to.dbType];
    failed(to, orin_stringbuffer_printf(&to.text,
                                        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                        "<%s database=\"%d\" version=\"%u\" minorVersion=\"%u\">\n",
                                        ORINDB_XML_ROOT, to.dbType, handle.clientVersion, handle.clientMinorVersion));
    putTables(to);
    putObjects(to);
    put(to, "</");
    put(to, ORINDB_XML_ROOT);
    put(to, ">\n");
    flush(to, 0);
}

}  // namespace

int orindb_xmlExportDb(DbContext* dbContext, int dbType, const char* path) {
    if (dbContext == nullptr || path == nullptr || dbType < 0 || dbType >= ORINDB_DATABASES) {
        return orindb_invalidParameter(__func__);
    }
    FILE* opened = nullptr;
    if (orin_fopen(&opened, path, "w") == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "fopen failed filename=%s error=%s", path, strerror(errno));
        return ORINDB_FAILED;
    }
    File file(opened);
    Export to{dbContext, dbType, opened, {}, ORINDB_OK};
    const orinStringBufferData textOwner(&to.text);
    putDatabase(to);
    // Whoever has it as a backup counts on it, whatever happens next: it must be on the disk.
    if (to.result == ORINDB_OK && (fflush(opened) != 0 || fsync(fileno(opened)) != 0)) {
        ORINLOG_FN(ORINLOG_ERROR, "writing %s failed: %s", path, strerror(errno));
        to.result = ORINDB_FAILED;
    }
    file.reset();
    if (to.result != ORINDB_OK) {
        orin_remove(path);
    }
    return to.result;
}
