#include "orindb_xml_schema.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "orindb_contactviews.h"
#include "orindb_version.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_xml_schema.c"};

constexpr std::string_view VERSION_TABLE = "DbFileVersion";
constexpr std::string_view SQLITE_PREFIX = "sqlite_";
constexpr std::string_view SEQUENCE_TABLE = "sqlite_sequence";
constexpr char CREATE[] = "CREATE ";

std::string_view viewOf(const orinStringBuffer& text) {
    return {orin_getStringBuffer(&text), text.length};
}

bool startsWith(const char* text, const char* beginning) {
    return text != nullptr && strncasecmp(text, beginning, strlen(beginning)) == 0;
}

// Runs one statement of a file, and only one: what stands behind it is not looked at.
int runSingle(OrindbXmlSchema& schema, const char* sql) {
    DbCursor* opened = nullptr;
    if (db_cursor_query(schema.dbContext->handles, schema.dbType, sql, &opened) != 0) {
        return ORINDB_FAILED;
    }
    const Cursor cursor(opened);
    return db_cursor_next(cursor.get()) == 0 ? ORINDB_OK : ORINDB_FAILED;
}

int runCreate(OrindbXmlSchema& schema, const char* sql) {
    if (!startsWith(sql, CREATE)) {
        ORINLOG_FN(ORINLOG_ERROR, "no schema text: %.80s", sql != nullptr ? sql : "");
        return ORINDB_FAILED;
    }
    return runSingle(schema, sql);
}

// Whether a query finds anything for one or two names.
bool finds(OrindbXmlSchema& schema, const char* sql, std::string_view first, std::string_view second = {}) {
    DbCursor* opened = nullptr;
    if (db_cursor_query(schema.dbContext->handles, schema.dbType, sql, &opened) != 0) {
        return false;
    }
    const Cursor cursor(opened);
    const DbValue one{DbValueType::text, 0, 0, first.data(), first.size()};
    const DbValue other{DbValueType::text, 0, 0, second.data(), second.size()};
    return db_cursor_bind_value(cursor.get(), 1, one) == 0 &&
           (second.empty() || db_cursor_bind_value(cursor.get(), 2, other) == 0) && db_cursor_next(cursor.get()) == 1;
}

bool schemaHolds(OrindbXmlSchema& schema, std::string_view name) {
    return finds(schema, "SELECT 1 FROM sqlite_master WHERE name=?1 COLLATE NOCASE", name);
}

// Whatever the names: a file from the field may hold any. A table that goes with another one is not missed.
int dropEverything(OrindbXmlSchema& schema) {
    constexpr char LIST[] =
        "SELECT type, name FROM sqlite_master WHERE type IN ('view','table') AND name NOT LIKE 'sqlite\\_%' ESCAPE "
        "'\\'";
    constexpr size_t CELLS_OF_ROW = 2;
    char** cells = nullptr;
    int columns = 0;
    int rows = 0;
    int result = db_execDbGetArray(&schema.dbContext->handles[schema.dbType], LIST, &cells, &columns, &rows);
    if (result != ORINDB_OK) {
        return result;
    }
    orinStringBuffer sql{};
    const orinStringBufferData owner(&sql);
    for (size_t row = 1; row <= static_cast<size_t>(rows) && result == ORINDB_OK; ++row) {
        const char* const* cell = &cells[row * CELLS_OF_ROW];
        orin_clearStringBuffer(&sql);
        result = orin_stringbuffer_printf(&sql, "DROP %s IF EXISTS ", cell[0]);
        if (result == ORINDB_OK) {
            result = orindb_appendQuoted(&sql, cell[1]);
        }
        if (result == ORINDB_OK) {
            result = runSingle(schema, sql.data);
        }
    }
    db_freeArray(cells);
    return result;
}

bool isMade(const OrindbXmlSchema& schema, const OrindbTable* table) {
    const auto* made = static_cast<const OrindbTable* const*>(schema.madeTables.items);
    return std::find(made, made + schema.madeTables.count, table) != made + schema.madeTables.count;
}

int noteMade(OrindbXmlSchema& schema, const OrindbTable* table) {
    auto** made = static_cast<const OrindbTable**>(orindb_appendToArray(&schema.madeTables));
    if (made == nullptr) {
        return ORINDB_FAILED;
    }
    *made = table;
    return ORINDB_OK;
}

int makeKnown(OrindbXmlSchema& schema, const OrindbKnownTable& known, OrindbDefaults defaults) {
    const int result = noteMade(schema, known.table);
    return result == ORINDB_OK ? known.create(schema.dbContext, defaults) : result;
}

bool isTable(OrindbXmlSchema& schema, std::string_view name) {
    return finds(schema, "SELECT 1 FROM main.sqlite_master WHERE type='table' AND name=?1 COLLATE NOCASE", name);
}

bool hasColumn(OrindbXmlSchema& schema, std::string_view table, std::string_view column) {
    return finds(schema, "SELECT 1 FROM pragma_table_info(?1,'main') WHERE name=?2 COLLATE NOCASE", table, column);
}

// Makes a table as the file had it, with the columns that it lacks and this program reads.
int makePartlyKnown(OrindbXmlSchema& schema, const OrindbKnownTable& known, const char* sql) {
    if (!startsWith(sql, CREATE)) {
        return makeKnown(schema, known, OrindbDefaults::no);
    }
    const OrindbTable& table = *known.table;
    int result = noteMade(schema, &table);
    if (result == ORINDB_OK) {
        result = runSingle(schema, sql);
    }
    if (result == ORINDB_OK && !isTable(schema, table.name)) {
        ORINLOG_FN(ORINLOG_ERROR, "no table %s: %.80s", table.name, sql);
        result = ORINDB_FAILED;
    }
    for (const OrindbColumn& column : table.columns) {
        if (result == ORINDB_OK && !hasColumn(schema, table.name, column.name)) {
            const char* type = column.kind == OrindbColumnKind::text ? "VARCHAR(1)" : "INTEGER(1)";
            const SelectText added("ALTER TABLE %s ADD COLUMN %s %s", table.name, column.name.data(), type);
            result = runSingle(schema, added.get());
        }
    }
    return result;
}

void initSchema(OrindbXmlSchema& schema, DbContext* dbContext, int dbType) {
    schema.dbContext = schema.writer.dbContext = dbContext;
    schema.dbType = schema.writer.dbType = dbType;
    orindb_initArray(&schema.madeTables, sizeof(void*));
}

// SQLite's own tables cannot be made. The one that is exported exists as soon as a table needs it.
int beginSqliteTable(OrindbXmlSchema& schema, std::string_view name, bool* isWanted) {
    *isWanted = orindb_isSameName(name, SEQUENCE_TABLE) && schemaHolds(schema, SEQUENCE_TABLE);
    return *isWanted ? runSingle(schema, "DELETE FROM sqlite_sequence") : ORINDB_OK;
}

int beginUnknownTable(OrindbXmlSchema& schema, std::string_view name, const char* sql, bool* isWanted) {
    if (name.size() >= SQLITE_PREFIX.size() && orindb_isSameName(name.substr(0, SQLITE_PREFIX.size()), SQLITE_PREFIX)) {
        return beginSqliteTable(schema, name, isWanted);
    }
    *isWanted = !orindb_isKnownView(schema.dbType, name) && !schemaHolds(schema, name);
    if (!*isWanted) {
        ORINLOG_FN(ORINLOG_WARNING, "%.*s is left out: its name is taken", static_cast<int>(name.size()), name.data());
        return ORINDB_OK;
    }
    return runCreate(schema, sql);
}

// Whether a table or view is made by this program, and perhaps not as it was in the file.
bool isOurs(const OrindbXmlSchema& schema, std::string_view name) {
    return orindb_isSameName(name, VERSION_TABLE) || orindb_isKnownView(schema.dbType, name) ||
           orindb_findKnownTable(schema.dbType, name) != nullptr;
}

}  // namespace

int orindb_xmlBeginWhole(OrindbXmlSchema& schema, DbContext* dbContext, int dbType) {
    initSchema(schema, dbContext, dbType);
    int result = dropEverything(schema);
    if (result != ORINDB_OK) {
        return result;
    }
    const DbHandle& handle = dbContext->handles[dbType];
    result = orindb_setClientVersionInDbFile(dbContext, dbType, handle.clientVersion, handle.clientMinorVersion);
    if (result != ORINDB_OK) {
        ORINLOG_FN(ORINLOG_ERROR, "the version row cannot be written: %d", result);
    }
    return result;
}

int orindb_xmlBeginSingle(OrindbXmlSchema& schema, DbContext* dbContext, int dbType, const char* table) {
    initSchema(schema, dbContext, dbType);
    schema.onlyTable = orindb_findKnownTable(dbType, table);
    return schema.onlyTable != nullptr ? ORINDB_OK : ORINDB_NOT_FOUND;
}

int orindb_xmlBeginTable(OrindbXmlSchema& schema, std::string_view name, const char* sql, bool* isWanted) {
    *isWanted = false;
    const OrindbKnownTable* known = orindb_findKnownTable(schema.dbType, name);
    int result = ORINDB_OK;
    if (schema.onlyTable != nullptr) {
        *isWanted = known == schema.onlyTable;
        schema.hasFoundTable = schema.hasFoundTable || *isWanted;
    } else if (orindb_isSameName(name, VERSION_TABLE)) {
        // It holds the row that is true of the new file.
    } else if (known != nullptr) {
        *isWanted = true;
        result = known->share == OrindbTableShare::part ? makePartlyKnown(schema, *known, sql)
                                                        : makeKnown(schema, *known, OrindbDefaults::no);
    } else {
        result = beginUnknownTable(schema, name, sql, isWanted);
    }
    if (result != ORINDB_OK || !*isWanted) {
        return result;
    }
    return orindb_beginRows(schema.writer, known, name);
}

int orindb_xmlCreateObject(OrindbXmlSchema& schema, const char* sql) {
    if (schema.onlyTable != nullptr) {
        return ORINDB_OK;
    }
    const std::string_view name = viewOf(schema.objectName);
    if (isOurs(schema, name) || schemaHolds(schema, name)) {
        return ORINDB_OK;
    }
    const int result = runCreate(schema, sql);
    if (result != ORINDB_OK && isOurs(schema, viewOf(schema.objectTable))) {
        ORINLOG_FN(ORINLOG_WARNING, "%.*s is left out: its table has another schema now", static_cast<int>(name.size()),
                   name.data());
        return ORINDB_OK;
    }
    return result;
}

int orindb_xmlEndWhole(OrindbXmlSchema& schema) {
    int result = ORINDB_OK;
    for (const OrindbKnownTable& known : orindb_knownTables()) {
        if (result == ORINDB_OK && known.table->dbType == schema.dbType && !isMade(schema, known.table)) {
            result = makeKnown(schema, known, OrindbDefaults::yes);
        }
    }
    return result == ORINDB_OK ? orindb_createDbViews(schema.dbContext, schema.dbType) : result;
}

void orindb_xmlFreeSchema(OrindbXmlSchema& schema) {
    orindb_freeRowWriter(schema.writer);
    orindb_freeArray(&schema.madeTables);
    orin_freeStringBufferData(&schema.objectTable);
    orin_freeStringBufferData(&schema.objectName);
}
