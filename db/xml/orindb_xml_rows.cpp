#include "orindb_xml_rows.h"

#include <algorithm>
#include <cstring>

#include "orindb_catalogue.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_xml_rows.c"};

bool hasColumn(const OrindbRowWriter& writer, std::string_view name) {
    if (writer.known == nullptr) {
        return true;
    }
    if (writer.known->share == OrindbTableShare::whole) {
        const auto& columns = writer.known->table->columns;
        return std::any_of(columns.begin(), columns.end(),
                           [name](const OrindbColumn& column) { return orindb_isSameName(column.name, name); });
    }
    std::string_view existing(orin_getStringBuffer(&writer.existing), writer.existing.length);
    while (!existing.empty()) {
        const size_t length = existing.find('\n');
        if (orindb_isSameName(existing.substr(0, length), name)) {
            return true;
        }
        existing.remove_prefix(length + 1);
    }
    return false;
}

// Reads the names of the columns that a table really has.
int readExisting(OrindbRowWriter& writer, const char* table) {
    orin_clearStringBuffer(&writer.existing);
    DbCursor* opened = nullptr;
    if (db_cursor_query(writer.dbContext->handles, writer.dbType, "SELECT name FROM pragma_table_info(?1,'main')",
                        &opened) != 0) {
        return ORINDB_FAILED;
    }
    const Cursor cursor(opened);
    int step = db_cursor_bind_text(cursor.get(), 1, table) == 0 ? db_cursor_next(cursor.get()) : -1;
    for (; step == 1; step = db_cursor_next(cursor.get())) {
        if (orin_appendStringToStringBuffer(&writer.existing, db_cursor_get_text(cursor.get(), 0, "")) != 0 ||
            orin_appendStringToStringBuffer(&writer.existing, "\n") != 0) {
            return ORINDB_FAILED;
        }
    }
    return step == 0 ? ORINDB_OK : ORINDB_FAILED;
}

// "a","b" of the columns that are written. *count gets their number.
int listColumns(const OrindbRowWriter& writer, const OrindbImportRow& row, orinStringBuffer* columns, int* count) {
    *count = 0;
    for (const OrindbImportValue& value : orindb_importValues(row)) {
        if (!hasColumn(writer, value.column)) {
            continue;
        }
        if (*count > 0 && orin_appendStringToStringBuffer(columns, ",") != 0) {
            return ORINDB_FAILED;
        }
        if (orindb_appendQuoted(columns, value.column) != 0) {
            return ORINDB_FAILED;
        }
        ++*count;
    }
    return ORINDB_OK;
}

void logLeftOut(OrindbRowWriter& writer, const OrindbImportRow& row) {
    writer.hasLeftOut = true;
    for (const OrindbImportValue& value : orindb_importValues(row)) {
        if (!hasColumn(writer, value.column)) {
            ORINLOG_FN(ORINLOG_WARNING, "%.*s of %s is left out: there is no such column",
                       static_cast<int>(value.column.size()), value.column.data(), writer.table.data);
        }
    }
}

int prepare(OrindbRowWriter& writer, const char* columns, int count) {
    orinStringBuffer parameters{};
    const orinStringBufferData parametersOwner(&parameters);
    for (int i = 1; i <= count; ++i) {
        if (orin_stringbuffer_printf(&parameters, i == 1 ? "?%d" : ",?%d", i) != 0) {
            return ORINDB_FAILED;
        }
    }
    orinStringBuffer sql{};
    const orinStringBufferData sqlOwner(&sql);
    if (orin_stringbuffer_printf(&sql, "REPLACE INTO %s (%s) VALUES (%s)", writer.table.data, columns,
                                 parameters.data) != 0 ||
        orin_setStringBuffer(&writer.columns, columns) != 0) {
        return ORINDB_FAILED;
    }
    DbCursor* cursor = nullptr;
    const int result = db_cursor_query(writer.dbContext->handles, writer.dbType, sql.data, &cursor);
    writer.statement.reset(cursor);
    return result;
}

int step(OrindbRowWriter& writer, const OrindbImportRow& row) {
    DbCursor* statement = writer.statement.get();
    int parameter = 0;
    for (const OrindbImportValue& value : orindb_importValues(row)) {
        if (hasColumn(writer, value.column) && db_cursor_bind_value(statement, ++parameter, value.value) != 0) {
            ORINLOG_FN(ORINLOG_ERROR, "cannot bind %.*s of %s", static_cast<int>(value.column.size()),
                       value.column.data(), writer.table.data);
            return ORINDB_WRITE_FAILED;
        }
    }
    if (db_cursor_next(statement) != 0) {
        return ORINDB_WRITE_FAILED;
    }
    writer.hasWritten = true;
    return db_cursor_reset(statement) == 0 && db_cursor_clear_bindings(statement) == 0 ? ORINDB_OK
                                                                                       : ORINDB_WRITE_FAILED;
}

}  // namespace

int orindb_beginRows(OrindbRowWriter& writer, const OrindbKnownTable* known, std::string_view table) {
    writer.known = known;
    writer.hasWritten = false;
    writer.hasLeftOut = false;
    if (known != nullptr && known->share == OrindbTableShare::part &&
        readExisting(writer, known->table->name) != ORINDB_OK) {
        return ORINDB_FAILED;
    }
    orin_clearStringBuffer(&writer.table);
    // Unquoted if it is in the catalogue: only so its change is counted.
    return orindb_tableIndex(table) != ORINDB_TABLE_UNKNOWN
               ? orin_appendToStringBuffer(&writer.table, table.data(), table.size())
               : orindb_appendQuoted(&writer.table, table);
}

int orindb_writeRow(OrindbRowWriter& writer, OrindbImportRow& row) {
    if (writer.known != nullptr && writer.known->table->importRule != nullptr) {
        const int result = writer.known->table->importRule(writer.dbContext, row);
        if (result != ORINDB_OK || !row.isWritten) {
            return result;
        }
    }
    orinStringBuffer columns{};
    const orinStringBufferData columnsOwner(&columns);
    int count = 0;
    int result = listColumns(writer, row, &columns, &count);
    if (!writer.hasLeftOut && static_cast<size_t>(count) < orindb_importValues(row).size()) {
        logLeftOut(writer, row);
    }
    if (result != ORINDB_OK || count == 0) {
        return result;
    }
    if (writer.statement == nullptr || strcmp(columns.data, writer.columns.data) != 0) {
        result = prepare(writer, columns.data, count);
    }
    return result == ORINDB_OK ? step(writer, row) : result;
}

void orindb_endRows(OrindbRowWriter& writer) {
    if (writer.hasWritten) {
        increaseChangeCounter(writer.dbContext, writer.dbType, db_cursor_sql(writer.statement.get()));
    }
    writer.statement.reset();
    writer.hasWritten = false;
}

void orindb_freeRowWriter(OrindbRowWriter& writer) {
    writer.statement.reset();
    orin_freeStringBufferData(&writer.table);
    orin_freeStringBufferData(&writer.existing);
    orin_freeStringBufferData(&writer.columns);
}

int orindb_appendQuoted(orinStringBuffer* sql, std::string_view name) {
    int result = orin_appendStringToStringBuffer(sql, "\"");
    for (size_t i = 0; i < name.size() && result == 0; ++i) {
        result = orin_appendToStringBuffer(sql, &name[i], 1);
        if (result == 0 && name[i] == '"') {
            result = orin_appendToStringBuffer(sql, "\"", 1);
        }
    }
    return result == 0 ? orin_appendStringToStringBuffer(sql, "\"") : result;
}
