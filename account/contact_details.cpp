#include "contact_details.h"

#include <array>
#include <span>

#include "orindb_contactdetail.h"

namespace {

// By the digit that a stored type begins with; the synchroniser writes the same ones. 0 is a label of the user's own.
constexpr std::array<const char*, 6> PHONE_TYPES{"other", "work", "home", "mobile", "workFax", "homeFax"};
constexpr std::array<const char*, 3> OTHER_TYPES{"other", "work", "home"};
using TypeWords = std::span<const char* const>;

// Keys first, first + step, ... are the entries 1, 2, ... of a list; a family of one has no number in its name.
struct DetailFamily {
    int32_t first;
    int32_t step;
    int32_t count;
    const char* name;
    const char* nameEnd;  // behind the number
    TypeWords types{};    // of a type's value
};
constexpr int32_t LIST = 3;
constexpr int32_t PLACE_STEP = 3;  // postal code, city and country of an address follow each other
constexpr std::array FAMILIES{
    DetailFamily{ORINDB_DETAIL_NAME_PREFIX, 1, 1, "namePrefix", ""},
    DetailFamily{ORINDB_DETAIL_GIVEN_NAME, 1, 1, "givenName", ""},
    DetailFamily{ORINDB_DETAIL_FAMILY_NAME, 1, 1, "familyName", ""},
    DetailFamily{ORINDB_DETAIL_DISPLAY_NAME, 1, 1, "displayName", ""},
    DetailFamily{ORINDB_DETAIL_ORGANISATION, 1, 1, "organisation", ""},
    DetailFamily{ORINDB_DETAIL_DEPARTMENT, 1, 1, "department", ""},
    DetailFamily{ORINDB_DETAIL_JOB_TITLE, 1, 1, "jobTitle", ""},
    DetailFamily{ORINDB_DETAIL_BIRTHDAY, 1, 1, "birthday", ""},
    DetailFamily{ORINDB_DETAIL_PHOTO, 1, 1, "photo", ""},
    DetailFamily{ORINDB_DETAIL_SHORT_NUMBER, 1, 1, "shortNumber", ""},
    DetailFamily{ORINDB_DETAIL_PHONE, 1, ORINDB_PHONES, "phone", ""},
    DetailFamily{ORINDB_DETAIL_PHONE_TYPE, 1, ORINDB_PHONES, "phone", "Type", PHONE_TYPES},
    DetailFamily{ORINDB_DETAIL_MAIL, 1, LIST, "mail", ""},
    DetailFamily{ORINDB_DETAIL_MAIL_TYPE, 1, LIST, "mail", "Type", OTHER_TYPES},
    DetailFamily{ORINDB_DETAIL_WEB, 1, LIST, "web", ""},
    DetailFamily{ORINDB_DETAIL_WEB_TYPE, 1, LIST, "web", "Type", OTHER_TYPES},
    DetailFamily{ORINDB_DETAIL_STREET, 1, LIST, "street", ""},
    DetailFamily{ORINDB_DETAIL_ADDRESS_TYPE, 1, LIST, "address", "Type", OTHER_TYPES},
    DetailFamily{ORINDB_DETAIL_CANONICAL_PHONE, 1, ORINDB_PHONES, "canonicalPhone", ""},
    DetailFamily{ORINDB_DETAIL_POSTAL_CODE, PLACE_STEP, LIST, "postalCode", ""},
    DetailFamily{ORINDB_DETAIL_CITY, PLACE_STEP, LIST, "city", ""},
    DetailFamily{ORINDB_DETAIL_COUNTRY, PLACE_STEP, LIST, "country", ""},
    DetailFamily{ORINDB_DETAIL_RESOURCE_NAME, 1, 1, "resourceName", ""},
    DetailFamily{ORINDB_DETAIL_INTERNAL_NUMBER, 1, 1, "internalNumber", ""},
};

const DetailFamily* findFamily(int32_t key) {
    for (const DetailFamily& family : FAMILIES) {
        const int32_t distance = key - family.first;
        if (distance >= 0 && distance % family.step == 0 && distance / family.step < family.count) {
            return &family;
        }
    }
    return nullptr;
}

}  // namespace

std::string account_detailName(int32_t key) {
    const DetailFamily* family = findFamily(key);
    if (family == nullptr) {
        return "detail" + std::to_string(key);
    }
    if (family->count == 1) {
        return family->name;
    }
    return family->name + std::to_string((key - family->first) / family->step + 1) + family->nameEnd;
}

std::string account_detailText(int32_t key, const std::string& value) {
    constexpr size_t LABEL = 2;
    const DetailFamily* family = findFamily(key);
    if (family == nullptr || family->types.empty() || value.size() < LABEL || value[LABEL - 1] != '$') {
        return value;
    }
    const auto type = static_cast<size_t>(value[0] - '0');
    const bool known = value[0] >= '0' && type < family->types.size();
    return value.size() > LABEL || !known ? value.substr(LABEL) : family->types[type];
}
