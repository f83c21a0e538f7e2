// The pattern that all table modules share. A module describes its table once (name, database, schema, columns with
// their fields in the record); column list, save text, record filler and binder follow from the description.
//
//     constexpr char NAME[] = "Contact";
//     constexpr std::array COLUMNS{ORINDB_COLUMN(Contact, contactId), ORINDB_COLUMN(Contact, contactGrpBitfield)};
//     constexpr OrindbTable TABLE = orindb_describeTable<Contact, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);
//
// A missing context, record or out argument is logged and answered with ORINDB_INVALID_PARAMETER.
// Records are plain aggregates of integers and char arrays. Arrays are handed to the caller as one block, released with
// free(); an empty result is count 0 and nullptr.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "orindb_access.h"
#include "orindb_sqltext.h"

enum class OrindbColumnKind : uint8_t { unsigned8, unsigned16, signed32, unsigned32, text };

struct OrindbColumn {
    std::string_view name;
    OrindbColumnKind kind;
    size_t offset;  // of the field in the record
    size_t size;    // of the field, in bytes
};

struct OrindbImportRow;

// A table's own rule for rows that come from an XML file: it may change values, and decides whether the row is written.
// Returns 0 or a code that ends the import.
using OrindbImportRule = int (*)(DbContext* dbContext, OrindbImportRow& row);

struct OrindbTable {
    const char* name;
    int dbType;
    const char* schema;  // the CREATE TABLE statement
    std::span<const OrindbColumn> columns;
    const char* columnList;  // "a,b,c" in schema order
    const char* saveText;    // "REPLACE INTO name VALUES (?1,?2,?3)"
    uint32_t recordSize;
    OrindbImportRule importRule;  // nullptr: every row is written as it is
};

template <typename Field>
consteval OrindbColumnKind orindb_columnKind() {
    if constexpr (std::is_array_v<Field>) {
        static_assert(std::is_same_v<std::remove_extent_t<Field>, char>);
        return OrindbColumnKind::text;
    } else if constexpr (std::is_same_v<Field, uint8_t>) {
        return OrindbColumnKind::unsigned8;
    } else if constexpr (std::is_same_v<Field, uint16_t>) {
        return OrindbColumnKind::unsigned16;
    } else if constexpr (std::is_same_v<Field, uint32_t>) {
        return OrindbColumnKind::unsigned32;
    } else {
        static_assert(std::is_same_v<Field, int32_t>);
        return OrindbColumnKind::signed32;
    }
}

#define ORINDB_COLUMN(Record, field)                                                                           \
    OrindbColumn {                                                                                             \
#field, orindb_columnKind < decltype(Record::field)>(), offsetof(Record, field), sizeof(Record::field) \
    }

// Texts made from a table's columns at compile time.
constexpr size_t ORINDB_TABLE_TEXT_SIZE = 256;
using OrindbTableText = std::array<char, ORINDB_TABLE_TEXT_SIZE>;

consteval void orindb_appendText(OrindbTableText& text, size_t& used, std::string_view more) {
    for (const char c : more) {
        text.at(used++) = c;  // a text that does not fit does not compile
    }
}

template <const auto& COLUMNS>
consteval OrindbTableText orindb_joinColumns() {
    OrindbTableText text{};
    size_t used = 0;
    for (const OrindbColumn& column : COLUMNS) {
        orindb_appendText(text, used, used == 0 ? "" : ",");
        orindb_appendText(text, used, column.name);
    }
    return text;
}

template <const auto& TABLE_NAME, const auto& COLUMNS>
consteval OrindbTableText orindb_joinSaveText() {
    OrindbTableText text{};
    size_t used = 0;
    orindb_appendText(text, used, "REPLACE INTO ");
    orindb_appendText(text, used, TABLE_NAME);
    orindb_appendText(text, used, " VALUES (");
    for (size_t i = 1; i <= COLUMNS.size(); ++i) {
        orindb_appendText(text, used, i == 1 ? "?" : ",?");
        const std::array digits{static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
        orindb_appendText(text, used, std::string_view(digits.data() + (i < 10 ? 1 : 0), i < 10 ? 1 : 2));
    }
    orindb_appendText(text, used, ")");
    return text;
}

template <const auto& COLUMNS>
inline constexpr OrindbTableText ORINDB_COLUMN_LIST = orindb_joinColumns<COLUMNS>();
template <const auto& TABLE_NAME, const auto& COLUMNS>
inline constexpr OrindbTableText ORINDB_SAVE_TEXT = orindb_joinSaveText<TABLE_NAME, COLUMNS>();

template <typename Record, const auto& TABLE_NAME, const auto& COLUMNS>
consteval OrindbTable orindb_describeTable(int dbType, const char* schema, OrindbImportRule importRule = nullptr) {
    static_assert(std::is_trivially_copyable_v<Record> && std::is_standard_layout_v<Record>);
    static_assert(COLUMNS.size() < 100);
    return {TABLE_NAME,
            dbType,
            schema,
            COLUMNS,
            ORINDB_COLUMN_LIST<COLUMNS>.data(),
            ORINDB_SAVE_TEXT<TABLE_NAME, COLUMNS>.data(),
            sizeof(Record),
            importRule};
}

// Whether a table that is created gets its default rows.
enum class OrindbDefaults : uint8_t { no, yes };

// Draws a new id by rand(): 1 to range + 1, the greatest once in 2^31 draws only.
[[nodiscard]] int32_t orindb_drawNumber(double range);

// What orindb_rowCallback does with a row; the first member that is set decides. A record is filled from the row's
// texts column by column: integers with base 10 and cut to the field's width, texts cut to the field's size, NULL as 0
// and "".
struct OrindbRowContext {
    const OrindbTable* table;
    void* record;         // fill this record
    OrindbArray* array;   // append a record and fill it
    OrindbArray* joined;  // append an element: this table's record, then those of `joinedTables`, each at its offset
    std::span<const OrindbTable* const> joinedTables;
    std::span<const size_t> joinedOffsets;
    int64_t count;  // rows so far; without any of the above the number in the row's first column
};
int orindb_rowCallback(void* rowContext, int columnCount, char** values, char** names);

// Runs a query on the table's database and fills `record` from each row, so that the last one stays; *count gets the
// number of rows. Without a row the record keeps what it held. Returns the executor's code.
[[nodiscard]] int orindb_selectRecord(DbContext* dbContext, const OrindbTable& table, const char* sql, void* record,
                                      uint32_t* count, const char* caller);

// The same for a query by key: ORINDB_NOT_FOUND unless exactly one row came back.
[[nodiscard]] int orindb_selectOne(DbContext* dbContext, const OrindbTable& table, const char* sql, void* record,
                                   const char* caller);

// Reads the record whose column holds a number, as orindb_selectOne does; ORINDB_INVALID_PARAMETER for no record.
[[nodiscard]] int orindb_selectByNumber(DbContext* dbContext, const OrindbTable& table, const char* column,
                                        int64_t number, void* record, const char* caller);

// Reads the record of a table that has but one.
[[nodiscard]] int orindb_selectOnly(DbContext* dbContext, const OrindbTable& table, void* record, const char* caller);

// Removes the rows whose column holds a number. Without such a row there is nothing to do, which is no failure.
[[nodiscard]] int orindb_deleteByNumber(DbContext* dbContext, const OrindbTable& table, const char* column,
                                        int64_t number, const char* caller);

// Runs a text of the main database that gives no rows. Returns the executor's code.
[[nodiscard]] inline int orindb_execute(DbContext* dbContext, const char* sql, const char* caller) {
    return _orindb_execDb(dbContext, ORINDB_KONFIG, sql, nullptr, nullptr, caller);
}

// Removes all rows.
[[nodiscard]] int orindb_deleteAll(DbContext* dbContext, const OrindbTable& table, const char* caller);

// Runs a query and returns all rows as records. *records and *count are 0 after any failure.
[[nodiscard]] int orindb_selectRecords(DbContext* dbContext, const OrindbTable& table, const char* sql, void** records,
                                       uint32_t* count, const char* caller);

template <typename Record>
[[nodiscard]] int orindb_selectArray(DbContext* dbContext, const OrindbTable& table, const char* sql, Record** records,
                                     uint32_t* count, const char* caller) {
    if (records == nullptr || count == nullptr) {
        return orindb_invalidParameter(caller);
    }
    void* block = nullptr;
    const int result = orindb_selectRecords(dbContext, table, sql, &block, count, caller);
    *records = static_cast<Record*>(block);
    return result;
}

// The same for the modules that count in 16 bits: rows beyond them are not counted.
template <typename Record>
[[nodiscard]] int orindb_selectArray(DbContext* dbContext, const OrindbTable& table, const char* sql, Record** records,
                                     uint16_t* count, const char* caller) {
    if (count == nullptr) {
        return orindb_invalidParameter(caller);
    }
    uint32_t rows = 0;
    const int result = orindb_selectArray(dbContext, table, sql, records, &rows, caller);
    *count = static_cast<uint16_t>(rows < UINT16_MAX ? rows : UINT16_MAX);
    return result;
}

// All rows for a query with the parameter ?1, by a cursor whose statement is kept: for what is read again and again
// with other numbers. Returns 0, ORINDB_FAILED, or ORINDB_STOPPED_BY_CALLBACK when memory is out.
[[nodiscard]] int orindb_selectRecordsOf(DbContext* dbContext, const OrindbTable& table, const char* sql,
                                         int64_t number, void** records, uint32_t* count);

template <typename Record>
[[nodiscard]] int orindb_selectArrayOf(DbContext* dbContext, const OrindbTable& table, const char* sql, int64_t number,
                                       Record** records, uint32_t* count) {
    if (dbContext == nullptr || records == nullptr || count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    void* block = nullptr;
    const int result = orindb_selectRecordsOf(dbContext, table, sql, number, &block, count);
    *records = static_cast<Record*>(block);
    return result;
}

// "SELECT DISTINCT columns FROM table where order": a WHERE text that brings its own ORDER BY replaces the default one.
[[nodiscard]] SelectText orindb_listStatement(const OrindbTable& table, const char* where, const char* defaultOrder);

// Writes a record with the table's save text and counts the change. Returns 0 or ORINDB_WRITE_FAILED.
[[nodiscard]] int orindb_saveRecord(DbContext* dbContext, const OrindbTable& table, const void* record);

// Creates a table, with further statements (indexes) if it has any and its default rows, in one transaction.
//   saveDefaults  called when `defaults` asks for rows; may be nullptr
[[nodiscard]] int orindb_createTable(DbContext* dbContext, const OrindbTable& table, const char* caller,
                                     OrindbDefaults defaults = OrindbDefaults::no,
                                     int (*saveDefaults)(DbContext*) = nullptr,
                                     std::span<const char* const> furtherStatements = {});

// Counts rows: "SELECT COUNT(*) FROM table where". The WHERE text (at most 1023 characters) is formatted from
// `whereFormat` and placed behind the table's name as it is; it may be empty. Returns the executor's code.
[[nodiscard]] int orindb_getRowCount(DbContext* dbContext, int dbType, uint32_t* count, const char* table,
                                     const char* whereFormat, ...) __attribute__((format(printf, 5, 6)));

// Adds up a column: "SELECT SUM(column) FROM table where", with the WHERE text as above; 0 without rows. Returns the
// executor's code.
[[nodiscard]] int orindb_getRowSum(DbContext* dbContext, int dbType, int64_t* sum, const char* column,
                                   const char* table, const char* whereFormat, ...)
    __attribute__((format(printf, 6, 7)));

struct OrindbIdPair {
    uint16_t first;
    uint16_t second;
};

// Runs a SELECT of two number columns (at most 2047 characters) and returns its rows, counted up to 65535. The array is
// the caller's, released with free(); an empty one is nullptr. Returns the executor's code; ORINDB_INVALID_PARAMETER
// for a missing argument.
[[nodiscard]] int orindb_getIdPairArray(DbContext* dbContext, int dbType, OrindbIdPair** pairs, uint16_t* count,
                                        const char* selectFormat, ...) __attribute__((format(printf, 5, 6)));
