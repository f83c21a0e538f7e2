// Which field of a Google person goes into which detail of a contact, and how the text is converted on the way.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "orindb_contactdetail.h"

// Converts a value into out[size].
using ct_Conversion = void (*)(const char* value, char* out, size_t size);

// What a row does beyond "take this member of this entry".
enum class ct_MappingRule : uint8_t {
    plain,
    displayName,  // the member depends on how the PBX shows names
    photo,        // a placeholder photo counts as none
    phoneType,    // a number without type is a work number
};

struct ct_MappingRow {
    const char* field;              // list field of the person
    uint8_t entry;                  // 0 the primary entry, k the k-th one that is not primary
    const char* member;             // of the entry
    const char* alternativeMember;  // asked when the member is absent; may be nullptr
    int32_t key;                    // of the detail
    ct_Conversion conversion;       // nullptr for none
    ct_MappingRule rule;
};

constexpr size_t CT_MAPPING_ROWS = 44;

// The rows in the order in which they are applied: a phone type follows its number.
[[nodiscard]] std::span<const ct_MappingRow, CT_MAPPING_ROWS> ct_mappingRows();

// "work" -> "1$", "home" -> "2$", "mobile" -> "3$", "workFax" -> "4$", "homeFax" -> "5$", any other word -> "0$word".
void ct_convertPhoneType(const char* word, char* out, size_t size);

// "work" -> "1$", "home" -> "2$", any other word -> "0$word".
void ct_convertType(const char* word, char* out, size_t size);

// The name under which the photo of an address is kept: its MD5 digest and ".jpg".
void ct_convertPhotoUrl(const char* url, char* out, size_t size);
