#include "orindb_xml_rows.h"

#include <algorithm>
#include <cstring>

#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_xml_rows.c"};

bool hasColumn(const OrindbRowWriter& writer, std::string_view name) {
    if (writer.known == nullptr) {
        return true;
    }
    const auto isNamed = [name](const OrindbColumn& column) { return orindb_isSameName(column.name, name); };
    return std::any_of(writer.known->columns.begin(), writer.known->columns.end(), isNamed);
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

int orindb_beginRows(OrindbRowWriter& writer, const OrindbTable* known, std::string_view table) {
    writer.known = known;
    writer.hasWritten = false;
    orin_clearStringBuffer(&writer.table);
    // Unquoted where it is known: so it is found in the catalogue of counted tables.
    return known != nullptr ? orin_appendStringToStringBuffer(&writer.table, known->name)
                            : orindb_appendQuoted(&writer.table, table);
}

int orindb_writeRow(OrindbRowWriter& writer, OrindbImportRow& row) {
    if (writer.known != nullptr && writer.known->importRule != nullptr) {
        const int result = writer.known->importRule(writer.dbContext, row);
        if (result != ORINDB_OK || !row.isWritten) {
            return result;
        }
    }
    orinStringBuffer columns{};
    const orinStringBufferData columnsOwner(&columns);
    int count = 0;
    int result = listColumns(writer, row, &columns, &count);
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
