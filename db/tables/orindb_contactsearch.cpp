#include "orindb_contactsearch.h"

#include <array>

namespace {

constexpr uint32_t QUOTED_SIZE = 256;
using QuotedSearch = QuotedText<QUOTED_SIZE>;

// Groups whose contacts are found: all but the system groups.
constexpr uint32_t SEARCHED_GROUPS = 0x83FFFFFF;

constexpr char GERMAN_LETTERS[] = "ÄÖÜäöüß";

struct Umlaut {
    char letter;
    const char* umlaut;
};
constexpr std::array UMLAUTS{Umlaut{'A', "Ä"}, Umlaut{'O', "Ö"}, Umlaut{'U', "Ü"}};

using RestrictionText = SqlText<ORINDB_SQL_DELETE>;

RestrictionText restriction() {
    return RestrictionText(
        " AND contactId IN (SELECT DISTINCT contactId FROM contact WHERE (contactGrpBitfield & %u > 0 OR "
        "contactGrpBitfield=0)) ",
        SEARCHED_GROUPS);
}

// The searches take where their rows go, and the search text.
struct Search {
    DbContext* dbContext;
    ContactDetail** details;
    uint32_t* count;
};

int namesThatBeginWithADigit(const Search& search) {
    return orindb_getContactDetailArray(
        search.dbContext, search.details, search.count,
        "WHERE key=%i AND (value LIKE '0%%' OR value LIKE '1%%' OR value LIKE '2%%' OR value LIKE '3%%' OR value LIKE "
        "'4%%' OR value LIKE '5%%' OR value LIKE '6%%' OR value LIKE '7%%' OR value LIKE '8%%' OR value LIKE '9%%') %s "
        "ORDER BY value ASC",
        ORINDB_DETAIL_FAMILY_NAME, restriction().get());
}

int namesWithoutALetter(const Search& search) {
    return orindb_getContactDetailArray(
        search.dbContext, search.details, search.count,
        "WHERE key=%i AND NOT GLOB('[0-9A-Za-z%s]*',value)   %s UNION SELECT contactId, %i, '' FROM contact WHERE "
        "(contactGrpBitfield & %u > 0 OR contactGrpBitfield=0)   AND contactId NOT IN (SELECT DISTINCT contactId FROM "
        "contactDetail WHERE key=%i) ORDER BY value ASC",
        ORINDB_DETAIL_FAMILY_NAME, GERMAN_LETTERS, restriction().get(), ORINDB_DETAIL_FAMILY_NAME, SEARCHED_GROUPS,
        ORINDB_DETAIL_FAMILY_NAME);
}

int namesWithLetterOrUmlaut(const Search& search, const char* searchText, const char* umlaut) {
    return orindb_getContactDetailArray(
        search.dbContext, search.details, search.count,
        "WHERE key=%i AND (value LIKE '%s%%' OR value LIKE '%%%s%%') %s ORDER BY value ASC", ORINDB_DETAIL_FAMILY_NAME,
        QuotedSearch(searchText).get(), umlaut, restriction().get());
}

int namesThatBeginWith(const Search& search, const char* searchText) {
    return orindb_getContactDetailArray(search.dbContext, search.details, search.count,
                                        "WHERE key=%i AND value LIKE '%s%%' %s ORDER BY value ASC",
                                        ORINDB_DETAIL_FAMILY_NAME, QuotedSearch(searchText).get(), restriction().get());
}

}  // namespace

int orindb_getContactDetailArrayByKey(DbContext* dbContext, int32_t key, ContactDetail** details, uint32_t* count) {
    return orindb_getContactDetailArray(dbContext, details, count, "WHERE key=%i", key);
}

int orindb_getContactDetailArrayByValue(DbContext* dbContext, const char* value, ContactDetail** details,
                                        uint32_t* count) {
    return orindb_getContactDetailArray(dbContext, details, count, "WHERE value='%s'", QuotedSearch(value).get());
}

int orindb_getContactDetailArrayByFamilyName(DbContext* dbContext, const char* value, ContactDetail** details,
                                             uint32_t* count) {
    return orindb_getContactDetailArray(dbContext, details, count, "WHERE key=%i AND value='%s'",
                                        ORINDB_DETAIL_FAMILY_NAME, QuotedSearch(value).get());
}

int orindb_searchContactsByName(DbContext* dbContext, const char* searchText, ContactDetail** details,
                                uint32_t* count) {
    if (searchText == nullptr || details == nullptr || count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    const Search search{dbContext, details, count};
    switch (searchText[0]) {
        case '0':
            return namesThatBeginWithADigit(search);
        case '@':
            return namesWithoutALetter(search);
        default:
            break;
    }
    for (const Umlaut& umlaut : UMLAUTS) {
        if (searchText[0] == umlaut.letter) {
            return namesWithLetterOrUmlaut(search, searchText, umlaut.umlaut);
        }
    }
    return namesThatBeginWith(search, searchText);
}
