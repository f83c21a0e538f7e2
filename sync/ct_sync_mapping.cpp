#include "ct_sync_mapping.h"

#include <cstdio>
#include <cstring>

#include "orin_md5c.h"

namespace {

constexpr auto plain = ct_MappingRule::plain;

constexpr std::array<ct_MappingRow, CT_MAPPING_ROWS> ROWS{{
    {"names", 0, "honorificPrefix", nullptr, ORINDB_DETAIL_NAME_PREFIX, nullptr, plain},
    {"names", 0, "givenName", nullptr, ORINDB_DETAIL_GIVEN_NAME, nullptr, plain},
    {"names", 0, "familyName", nullptr, ORINDB_DETAIL_FAMILY_NAME, nullptr, plain},
    {"names", 0, "displayNameLastFirst", nullptr, ORINDB_DETAIL_DISPLAY_NAME, nullptr, ct_MappingRule::displayName},
    {"organizations", 0, "name", nullptr, ORINDB_DETAIL_ORGANISATION, nullptr, plain},
    {"organizations", 0, "department", nullptr, ORINDB_DETAIL_DEPARTMENT, nullptr, plain},
    {"organizations", 0, "title", nullptr, ORINDB_DETAIL_JOB_TITLE, nullptr, plain},
    {"birthdays", 0, "text", nullptr, ORINDB_DETAIL_BIRTHDAY, nullptr, plain},
    {"photos", 0, "url", nullptr, ORINDB_DETAIL_PHOTO, ct_convertPhotoUrl, ct_MappingRule::photo},
    {"phoneNumbers", 0, "canonicalForm", "value", ORINDB_DETAIL_PHONE, nullptr, plain},
    {"phoneNumbers", 0, "type", nullptr, ORINDB_DETAIL_PHONE_TYPE, ct_convertPhoneType, ct_MappingRule::phoneType},
    {"phoneNumbers", 1, "canonicalForm", "value", ORINDB_DETAIL_PHONE + 1, nullptr, plain},
    {"phoneNumbers", 1, "type", nullptr, ORINDB_DETAIL_PHONE_TYPE + 1, ct_convertPhoneType, ct_MappingRule::phoneType},
    {"phoneNumbers", 2, "canonicalForm", "value", ORINDB_DETAIL_PHONE + 2, nullptr, plain},
    {"phoneNumbers", 2, "type", nullptr, ORINDB_DETAIL_PHONE_TYPE + 2, ct_convertPhoneType, ct_MappingRule::phoneType},
    {"phoneNumbers", 3, "canonicalForm", "value", ORINDB_DETAIL_PHONE + 3, nullptr, plain},
    {"phoneNumbers", 3, "type", nullptr, ORINDB_DETAIL_PHONE_TYPE + 3, ct_convertPhoneType, ct_MappingRule::phoneType},
    {"emailAddresses", 0, "value", nullptr, ORINDB_DETAIL_MAIL, nullptr, plain},
    {"emailAddresses", 0, "type", nullptr, ORINDB_DETAIL_MAIL_TYPE, ct_convertType, plain},
    {"emailAddresses", 1, "value", nullptr, ORINDB_DETAIL_MAIL + 1, nullptr, plain},
    {"emailAddresses", 1, "type", nullptr, ORINDB_DETAIL_MAIL_TYPE + 1, ct_convertType, plain},
    {"emailAddresses", 2, "value", nullptr, ORINDB_DETAIL_MAIL + 2, nullptr, plain},
    {"emailAddresses", 2, "type", nullptr, ORINDB_DETAIL_MAIL_TYPE + 2, ct_convertType, plain},
    {"urls", 0, "value", nullptr, ORINDB_DETAIL_WEB, nullptr, plain},
    {"urls", 0, "type", nullptr, ORINDB_DETAIL_WEB_TYPE, ct_convertType, plain},
    {"urls", 1, "value", nullptr, ORINDB_DETAIL_WEB + 1, nullptr, plain},
    {"urls", 1, "type", nullptr, ORINDB_DETAIL_WEB_TYPE + 1, ct_convertType, plain},
    {"urls", 2, "value", nullptr, ORINDB_DETAIL_WEB + 2, nullptr, plain},
    {"urls", 2, "type", nullptr, ORINDB_DETAIL_WEB_TYPE + 2, ct_convertType, plain},
    {"addresses", 0, "extendedAddress", nullptr, ORINDB_DETAIL_STREET, nullptr, plain},
    {"addresses", 0, "postalCode", nullptr, ORINDB_DETAIL_POSTAL_CODE, nullptr, plain},
    {"addresses", 0, "city", nullptr, ORINDB_DETAIL_CITY, nullptr, plain},
    {"addresses", 0, "country", nullptr, ORINDB_DETAIL_COUNTRY, nullptr, plain},
    {"addresses", 0, "type", nullptr, ORINDB_DETAIL_ADDRESS_TYPE, ct_convertType, plain},
    {"addresses", 1, "extendedAddress", nullptr, ORINDB_DETAIL_STREET + 1, nullptr, plain},
    {"addresses", 1, "postalCode", nullptr, ORINDB_DETAIL_POSTAL_CODE + 3, nullptr, plain},
    {"addresses", 1, "city", nullptr, ORINDB_DETAIL_CITY + 3, nullptr, plain},
    {"addresses", 1, "country", nullptr, ORINDB_DETAIL_COUNTRY + 3, nullptr, plain},
    {"addresses", 1, "type", nullptr, ORINDB_DETAIL_ADDRESS_TYPE + 1, ct_convertType, plain},
    {"addresses", 2, "extendedAddress", nullptr, ORINDB_DETAIL_STREET + 2, nullptr, plain},
    {"addresses", 2, "postalCode", nullptr, ORINDB_DETAIL_POSTAL_CODE + 6, nullptr, plain},
    {"addresses", 2, "city", nullptr, ORINDB_DETAIL_CITY + 6, nullptr, plain},
    {"addresses", 2, "country", nullptr, ORINDB_DETAIL_COUNTRY + 6, nullptr, plain},
    {"addresses", 2, "type", nullptr, ORINDB_DETAIL_ADDRESS_TYPE + 2, ct_convertType, plain},
}};
static_assert(ROWS.back().field != nullptr);

// A type word becomes its number in this list, counted from 1; a word that is not in it is kept as a label of type 0.
constexpr std::array PHONE_TYPES{"work", "home", "mobile", "workFax", "homeFax"};
constexpr size_t COMMON_TYPES = 2;

void convertWord(std::span<const char* const> types, const char* word, char* out, size_t size) {
    for (size_t i = 0; i < types.size(); ++i) {
        if (strcmp(types[i], word) == 0) {
            snprintf(out, size, "%i$", static_cast<int>(i + 1));
            return;
        }
    }
    snprintf(out, size, "%i$%s", 0, word);
}

}  // namespace

std::span<const ct_MappingRow, CT_MAPPING_ROWS> ct_mappingRows() {
    return ROWS;
}

void ct_convertPhoneType(const char* word, char* out, size_t size) {
    convertWord(PHONE_TYPES, word, out, size);
}

void ct_convertType(const char* word, char* out, size_t size) {
    convertWord(std::span(PHONE_TYPES).first(COMMON_TYPES), word, out, size);
}

void ct_convertPhotoUrl(const char* url, char* out, size_t size) {
    char digest[ORIN_MD5_TEXT_SIZE];
    if (orin_MD5_GetHashOfString(url, digest) != 0) {
        digest[0] = '\0';
    }
    snprintf(out, size, "%s.jpg", digest);
}
