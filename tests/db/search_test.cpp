// The phones' name search over a full phone book, against a model of what SQLite's LIKE and GLOB say.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "orin_memory.h"
#include "orindb_contact.h"
#include "orindb_contactsearch.h"
#include "set_world.h"

namespace {

// Family names with their contacts.
using Names = std::vector<std::pair<std::string, uint16_t>>;

// The bytes of the text's first character.
size_t firstLength(std::string_view text) {
    size_t length = text.empty() ? 0 : 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        ++length;
    }
    return length;
}

bool isSameCharacter(std::string_view a, std::string_view b) {
    return a == b || (a.size() == 1 && b.size() == 1 && isalpha(a[0]) != 0 && (a[0] ^ b[0]) == ' ');
}

bool isLike(std::string_view text, std::string_view pattern) {
    if (pattern.empty()) {
        return text.empty();
    }
    if (pattern[0] == '%') {
        return isLike(text, pattern.substr(1)) || (!text.empty() && isLike(text.substr(firstLength(text)), pattern));
    }
    const size_t wanted = firstLength(pattern);
    const size_t length = firstLength(text);
    return !text.empty() && (pattern[0] == '_' || isSameCharacter(text.substr(0, length), pattern.substr(0, wanted))) &&
           isLike(text.substr(length), pattern.substr(wanted));
}

// What of a text goes between the quotes of a statement: 255 bytes, with each quote taking two.
std::string cut(std::string_view text) {
    size_t end = 0;
    for (size_t used = 0; end < text.size();) {
        const size_t length = firstLength(text.substr(end));
        used += text[end] == '\'' ? 2 : length;
        if (used > 255) {
            break;
        }
        end += length;
    }
    return std::string(text.substr(0, end));
}

bool isFound(const std::string& name, const std::string& text) {
    using namespace std::string_literals;
    const std::string_view first = std::string_view(name).substr(0, firstLength(name));
    switch (text[0]) {
        case '0':
            return first.size() == 1 && isdigit(first[0]) != 0;
        case '@':
            return first.size() == 1 ? isalnum(first[0]) == 0 : "ÄÖÜäöüß"s.find(first) == std::string::npos;
        case 'A':
        case 'O':
        case 'U':
            if (name.find(text[0] == 'A' ? "Ä" : text[0] == 'O' ? "Ö" : "Ü") != std::string::npos) {
                return true;
            }
            break;
        default:
            break;
    }
    return isLike(name, cut(text) + '%');
}

// Where a statement has no room for more, one of these is within a character.
const std::string LONG_UMLAUTS = [] {
    std::string text = "x";
    while (text.size() < 261) {
        text += "ö";
    }
    return text;
}();

class Search : public OpenSet {
  protected:
    Search() {
        const std::vector<std::vector<std::string>> alphabets{
            {"A", "M", "O", "U", "ei", "er", "Ä", "ö", "Ü", "ß", "st", "m", " von ", "-", "'"},
            {"Ş", "ı", "İ", "ğ", "Ç", "Ö", "yıl", "maz", "U"},
            {"Π", "α", "Σ", "ς", "ώ", "Άν"},
            {"Ж", "и", "Ё", "ский", "ов"},
            {"😀", "👨‍👩‍👧", "€", "M"},
            {"0", "42", "%", "_", "'", "\"", "100%", "[", "*", "\\", "\x01", "@", ";--"},
            {"Öö", "M", "'", std::string(90, 'x')},
        };
        exec("BEGIN");
        for (int id = 1; id <= 2000; ++id) {
            const auto& alphabet = alphabets[random() % 16 < 9 ? 0 : random() % alphabets.size()];
            std::string name;
            for (size_t length = random() % 7; length > 0; --length) {
                name += alphabet[random() % alphabet.size()];
            }
            if (id % 100 == 0) {
                name.insert(0, id % 200 == 0 ? std::string(250, 'm') : LONG_UMLAUTS.substr(id % 3 == 0 ? 1 : 0));
            }
            constexpr std::array GROUPS{0U, 1U, 0x80000000U, 0x80000001U, 0x40000001U, 0x04000000U};
            const Contact contact{static_cast<uint16_t>(id), GROUPS[random() % GROUPS.size()]};
            ContactDetail work{};
            EXPECT_EQ(orindb_replaceKontakt(&db, &contact) +
                          orindb_createCtD(&db, contact.contactId, ORINDB_DETAIL_DISPLAY_NAME, "Mara", &work) +
                          orindb_createCtD(&db, contact.contactId, ORINDB_DETAIL_FAMILY_NAME, name.c_str(), &work),
                      ORINDB_OK);
            all.emplace_back(work.value, contact.contactId);
            if (contact.contactGrpBitfield != 0x04000000) {
                searched.emplace_back(work.value, contact.contactId);
            }
        }
        exec("COMMIT");
    }

    template <typename Read>
    static Names read(Read function) {
        ContactDetail* block = nullptr;
        uint32_t count = 0;
        EXPECT_EQ(function(&block, &count), ORINDB_OK);
        const Malloced<ContactDetail> details(block);
        Names found;
        for (uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(block[i].key, ORINDB_DETAIL_FAMILY_NAME);
            found.emplace_back(block[i].value, block[i].contactId);
        }
        return found;
    }
    void expectFound(const std::string& text) {
        Names expected;
        for (const auto& name : searched) {
            // A contact without a family name is found by "@" alone.
            if (name.first.empty() ? text[0] == '@' : isFound(name.first, text)) {
                expected.push_back(name);
            }
        }
        Names found = read([&](auto... out) { return orindb_searchContactsByName(&db, text.c_str(), out...); });
        EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), [](auto& a, auto& b) { return a.first < b.first; }));
        std::sort(found.begin(), found.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(found, expected) << "search for " << text;
    }

    std::mt19937 random{11};
    Names all;
    Names searched;
};

TEST_F(Search, FindsWhatItsFormSaysWhateverTheTextHolds) {
    for (const char* text :
         {"0",    "0151",         "@",    "@x", "A",  "Aei",  "O", "U'", "a",  "u",    "Ä",  "ä",
          "m",    "M%r",          "_",    "%",  "%%", "100%", "'", "''", "O'", "M'_%", "\\", "[a-z]*",
          "\"",   "?1",           "%s%n", "ş",  "Ş",  "Π",    "ж", "😀",  "€",  ";--",  "*",  "') OR 1=1--",
          "\x01", "' ORDER BY '", ""}) {
        expectFound(text);
    }
    for (const auto& [name, id] : searched) {
        if (id % 9 == 0 && !name.empty()) {
            expectFound(name);
            expectFound('_' + name.substr(firstLength(name)));
        }
    }
    for (const auto& [head, repeated] : Names{{"m", 'm'}, {"", '\''}, {"%", '\''}, {"M", '_'}}) {
        expectFound(head + std::string(300, static_cast<char>(repeated)));
    }
    expectFound(LONG_UMLAUTS + "ö");
    expectFound(LONG_UMLAUTS.substr(1) + "ö");
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR), 0U) << log;
    uint32_t count = 0;
    EXPECT_EQ(orindb_searchContactsByName(&db, nullptr, nullptr, &count), ORINDB_INVALID_PARAMETER);
}

TEST_F(Search, ExactValuesAreFoundByTheirIndex) {
    Names byKey = read([&](auto... out) { return orindb_getContactDetailArrayByKey(&db, 2, out...); });
    std::erase_if(all, [](const auto& name) { return name.first.empty(); });
    EXPECT_EQ(byKey, all);
    for (const auto& [name, id] : all) {
        if (id % 9 != 0) {
            continue;
        }
        Names expected;
        std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
                     [text = cut(name)](const auto& other) { return other.first == text; });
        const char* text = name.c_str();
        EXPECT_EQ(read([&](auto... out) { return orindb_getContactDetailArrayByValue(&db, text, out...); }), expected);
        EXPECT_EQ(read([&](auto... out) { return orindb_getContactDetailArrayByFamilyName(&db, text, out...); }),
                  expected);
    }
    EXPECT_THAT(planOfLastSelect(), testing::HasSubstr("USING INDEX ContactDetail_Index_Value (value=?)"));
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR), 0U) << log;
}

}  // namespace
