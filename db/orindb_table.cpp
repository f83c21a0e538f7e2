#include "orindb_table.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "orin_stringutils.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_table.c"};

int64_t toNumber(const char* text) {
    constexpr int BASE = 10;
    return text != nullptr ? strtoll(text, nullptr, BASE) : 0;
}

template <typename Field>
void storeNumber(void* field, int64_t number) {
    const auto value = static_cast<Field>(number);
    memcpy(field, &value, sizeof(value));
}

template <typename Field>
Field loadNumber(const void* field) {
    Field value{};
    memcpy(&value, field, sizeof(value));
    return value;
}

// A row as texts, as a statement without a cursor hands it over.
struct TextRow {
    char** values;
    [[nodiscard]] int64_t number(int column) const {
        return toNumber(values[column]);
    }
    [[nodiscard]] const char* text(int column) const {
        return values[column] != nullptr ? values[column] : "";
    }
};

// The row that a cursor stands on: its numbers need not become texts first.
struct CursorRow {
    DbCursor* cursor;
    [[nodiscard]] int64_t number(int column) const {
        return db_cursor_get_int(cursor, column);
    }
    [[nodiscard]] const char* text(int column) const {
        return db_cursor_get_text(cursor, column, "");
    }
};

template <typename Row>
void fillField(const OrindbColumn& column, void* record, const Row& row, int index) {
    void* field = static_cast<char*>(record) + column.offset;
    switch (column.kind) {
        case OrindbColumnKind::unsigned8:
            storeNumber<uint8_t>(field, row.number(index));
            break;
        case OrindbColumnKind::unsigned16:
            storeNumber<uint16_t>(field, row.number(index));
            break;
        case OrindbColumnKind::signed32:
            storeNumber<int32_t>(field, row.number(index));
            break;
        case OrindbColumnKind::unsigned32:
            storeNumber<uint32_t>(field, row.number(index));
            break;
        case OrindbColumnKind::text:
            orin_strncpy(static_cast<char*>(field), row.text(index), static_cast<int32_t>(column.size));
            break;
    }
}

template <typename Row>
int fillRow(const OrindbTable& table, void* record, const Row& row) {
    int consumed = 0;
    for (const OrindbColumn& column : table.columns) {
        fillField(column, record, row, consumed++);
    }
    return consumed;
}

// A 32-bit unsigned value is bound as 64 bits, so that bit 31 does not make it negative.
int bindField(DbCursor* cursor, int parameter, const OrindbColumn& column, const void* record) {
    const void* field = static_cast<const char*>(record) + column.offset;
    switch (column.kind) {
        case OrindbColumnKind::unsigned8:
            return db_cursor_bind_int(cursor, parameter, loadNumber<uint8_t>(field));
        case OrindbColumnKind::unsigned16:
            return db_cursor_bind_int(cursor, parameter, loadNumber<uint16_t>(field));
        case OrindbColumnKind::signed32:
            return db_cursor_bind_int(cursor, parameter, loadNumber<int32_t>(field));
        case OrindbColumnKind::unsigned32:
            return db_cursor_bind_int64(cursor, parameter, loadNumber<uint32_t>(field));
        case OrindbColumnKind::text:
            return db_cursor_bind_text(cursor, parameter, static_cast<const char*>(field));
    }
    return -1;
}

constexpr std::array ID_PAIR_COLUMNS{ORINDB_COLUMN(OrindbIdPair, first), ORINDB_COLUMN(OrindbIdPair, second)};

// The number in the only column of the only row.
int selectNumber(DbContext* dbContext, int dbType, const char* sql, int64_t* number, const char* caller) {
    OrindbRowContext row{};
    const int result = _orindb_execDb(dbContext, dbType, sql, orindb_rowCallback, &row, caller);
    *number = row.count;
    return result;
}

int appendRows(DbCursor* cursor, const OrindbTable& table, OrindbArray* array) {
    int step = db_cursor_next(cursor);
    for (; step == 1; step = db_cursor_next(cursor)) {
        void* element = orindb_appendToArray(array);
        if (element == nullptr) {
            return ORINDB_STOPPED_BY_CALLBACK;
        }
        fillRow(table, element, CursorRow{cursor});
    }
    return step == 0 ? ORINDB_OK : ORINDB_FAILED;
}

// Returns the number of texts consumed.
int fillRecord(const OrindbTable& table, void* record, char** values) {
    return fillRow(table, record, TextRow{values});
}

void fillJoined(const OrindbRowContext& row, void* element, char** values) {
    int consumed = fillRecord(*row.table, element, values);
    for (size_t i = 0; i < row.joinedTables.size(); ++i) {
        void* record = static_cast<char*>(element) + row.joinedOffsets[i];
        consumed += fillRecord(*row.joinedTables[i], record, values + consumed);
    }
}

}  // namespace

int32_t orindb_drawNumber(double range) {
    constexpr double RAND_RANGE = 2147483647.0;
    return static_cast<int32_t>(rand() * range / RAND_RANGE) + 1;
}

int orindb_rowCallback(void* rowContext, int /*columnCount*/, char** values, char** /*names*/) {
    auto& row = *static_cast<OrindbRowContext*>(rowContext);
    if (row.record != nullptr) {
        fillRecord(*row.table, row.record, values);
    } else if (row.array != nullptr || row.joined != nullptr) {
        void* element = orindb_appendToArray(row.array != nullptr ? row.array : row.joined);
        if (element == nullptr) {
            return 1;
        }
        if (row.array != nullptr) {
            fillRecord(*row.table, element, values);
        } else {
            fillJoined(row, element, values);
        }
    } else {
        row.count = toNumber(values[0]);
        return 0;
    }
    ++row.count;
    return 0;
}

int orindb_selectRecord(DbContext* dbContext, const OrindbTable& table, const char* sql, void* record, uint32_t* count,
                        const char* caller) {
    if (record == nullptr) {
        return orindb_invalidParameter(caller);
    }
    OrindbRowContext row{};
    row.table = &table;
    row.record = record;
    const int result = _orindb_execDb(dbContext, table.dbType, sql, orindb_rowCallback, &row, caller);
    *count = static_cast<uint32_t>(row.count);
    return result;
}

int orindb_selectOne(DbContext* dbContext, const OrindbTable& table, const char* sql, void* record,
                     const char* caller) {
    uint32_t count = 0;
    const int result = orindb_selectRecord(dbContext, table, sql, record, &count, caller);
    if (result != ORINDB_OK) {
        return result;
    }
    return count == 1 ? ORINDB_OK : ORINDB_NOT_FOUND;
}

int orindb_selectByNumber(DbContext* dbContext, const OrindbTable& table, const char* column, int64_t number,
                          void* record, const char* caller) {
    const SelectText sql("SELECT %s FROM %s WHERE %s=%" PRId64, table.columnList, table.name, column, number);
    return orindb_selectOne(dbContext, table, sql.get(), record, caller);
}

int orindb_deleteByNumber(DbContext* dbContext, const OrindbTable& table, const char* column, int64_t number,
                          const char* caller) {
    const DeleteText sql("DELETE FROM %s WHERE %s=%" PRId64, table.name, column, number);
    return _orindb_execDb(dbContext, table.dbType, sql.get(), nullptr, nullptr, caller);
}

int orindb_selectOnly(DbContext* dbContext, const OrindbTable& table, void* record, const char* caller) {
    const SelectText sql("SELECT %s FROM %s", table.columnList, table.name);
    return orindb_selectOne(dbContext, table, sql.get(), record, caller);
}

int orindb_deleteAll(DbContext* dbContext, const OrindbTable& table, const char* caller) {
    const DeleteText sql("DELETE FROM %s", table.name);
    return _orindb_execDb(dbContext, table.dbType, sql.get(), nullptr, nullptr, caller);
}

int orindb_selectRecords(DbContext* dbContext, const OrindbTable& table, const char* sql, void** records,
                         uint32_t* count, const char* caller) {
    *records = nullptr;
    *count = 0;
    OrindbArray array{};
    orindb_initArray(&array, table.recordSize);
    OrindbRowContext row{};
    row.table = &table;
    row.array = &array;
    const int result = _orindb_execDb(dbContext, table.dbType, sql, orindb_rowCallback, &row, caller);
    if (result != ORINDB_OK) {
        orindb_freeArray(&array);
        return result;
    }
    *records = array.items;
    *count = array.count;
    return ORINDB_OK;
}

int orindb_selectRecordsOf(DbContext* dbContext, const OrindbTable& table, const char* sql, int64_t number,
                           void** records, uint32_t* count) {
    *records = nullptr;
    *count = 0;
    DbCursor* opened = nullptr;
    if (db_cursor_queryKept(dbContext->handles, table.dbType, sql, &opened) != 0) {
        return ORINDB_FAILED;
    }
    const Cursor cursor(opened);
    if (db_cursor_bind_int64(cursor.get(), 1, number) != 0) {
        return ORINDB_FAILED;
    }
    OrindbArray array{};
    orindb_initArray(&array, table.recordSize);
    const int result = appendRows(cursor.get(), table, &array);
    if (result != ORINDB_OK) {
        orindb_freeArray(&array);
        return result;
    }
    *records = array.items;
    *count = array.count;
    return ORINDB_OK;
}

SelectText orindb_listStatement(const OrindbTable& table, const char* where, const char* defaultOrder) {
    const char* order = strstr(where, "ORDER BY") != nullptr ? "" : defaultOrder;
    return SelectText("SELECT DISTINCT %s FROM %s %s %s", table.columnList, table.name, where, order);
}

int orindb_saveRecord(DbContext* dbContext, const OrindbTable& table, const void* record) {
    if (dbContext == nullptr || record == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    DbCursor* opened = nullptr;
    if (db_cursor_queryKept(dbContext->handles, table.dbType, table.saveText, &opened) != 0) {
        return ORINDB_WRITE_FAILED;
    }
    const Cursor cursor(opened);
    int parameter = 0;
    for (const OrindbColumn& column : table.columns) {
        ++parameter;
        if (bindField(cursor.get(), parameter, column, record) != 0) {
            ORINLOG_FN(ORINLOG_ERROR, "cannot bind %s of %s", column.name.data(), table.name);
            return ORINDB_WRITE_FAILED;
        }
    }
    if (db_cursor_next(cursor.get()) != 0) {
        return ORINDB_WRITE_FAILED;
    }
    increaseChangeCounter(dbContext, table.dbType, db_cursor_sql(cursor.get()));
    return ORINDB_OK;
}

int orindb_createTable(DbContext* dbContext, const OrindbTable& table, const char* caller, OrindbDefaults defaults,
                       int (*saveDefaults)(DbContext*), std::span<const char* const> furtherStatements) {
    Transaction transaction(dbContext, table.dbType);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    result = _orindb_execDb(dbContext, table.dbType, table.schema, nullptr, nullptr, caller);
    for (const char* statement : furtherStatements) {
        if (result == ORINDB_OK) {
            result = _orindb_execDb(dbContext, table.dbType, statement, nullptr, nullptr, caller);
        }
    }
    if (result == ORINDB_OK && defaults == OrindbDefaults::yes && saveDefaults != nullptr) {
        result = saveDefaults(dbContext);
    }
    return transaction.end(result);
}

int orindb_getRowCount(DbContext* dbContext, int dbType, uint32_t* count, const char* table, const char* whereFormat,
                       ...) {
    if (count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    char where[ORINDB_SQL_SELECT];
    va_list arguments;
    va_start(arguments, whereFormat);
    orindb_vformatSql(where, sizeof(where), whereFormat, arguments);
    va_end(arguments);

    int64_t number = 0;
    const JoinText sql("SELECT COUNT(*) FROM %s %s", table, where);
    const int result = selectNumber(dbContext, dbType, sql.get(), &number, __func__);
    *count = static_cast<uint32_t>(number);
    return result;
}

int orindb_getRowSum(DbContext* dbContext, int dbType, int64_t* sum, const char* column, const char* table,
                     const char* whereFormat, ...) {
    if (sum == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    char where[ORINDB_SQL_SELECT];
    va_list arguments;
    va_start(arguments, whereFormat);
    orindb_vformatSql(where, sizeof(where), whereFormat, arguments);
    va_end(arguments);

    const JoinText sql("SELECT SUM(%s) FROM %s %s", column, table, where);
    return selectNumber(dbContext, dbType, sql.get(), sum, __func__);
}

int orindb_getIdPairArray(DbContext* dbContext, int dbType, OrindbIdPair** pairs, uint16_t* count,
                          const char* selectFormat, ...) {
    if (dbContext == nullptr || pairs == nullptr || count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    char sql[ORINDB_SQL_JOIN];
    va_list arguments;
    va_start(arguments, selectFormat);
    orindb_vformatSql(sql, sizeof(sql), selectFormat, arguments);
    va_end(arguments);

    const OrindbTable table{"", dbType, nullptr, ID_PAIR_COLUMNS, nullptr, nullptr, sizeof(OrindbIdPair), nullptr};
    return orindb_selectArray(dbContext, table, sql, pairs, count, __func__);
}
