// The phones' name search over a full phone book, against a model of what SQLite's LIKE and GLOB say.
#include <algorithm>
#include <random>

#include "orindb_contact.h"
#include "orindb_contactsearch.h"
#include "set_world.h"

namespace {

// Family names with their contacts.
using Names = std::vector<std::pair<std::string, uint16_t>>;

// The text's first character.
std::string_view firstOf(std::string_view text) {
    size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        ++length;
    }
    return text.substr(0, length);
}

bool isLike(std::string_view text, std::string_view pattern) {
    if (pattern.empty()) {
        return text.empty();
    }
    const std::string_view c = firstOf(text);
    const std::string_view wanted = firstOf(pattern);
    const std::string_view rest = text.substr(c.size());
    if (wanted == "%") {
        return isLike(text, pattern.substr(1)) || (!text.empty() && isLike(rest, pattern));
    }
    const bool areAscii = c.size() == 1 && wanted.size() == 1;
    const bool isSame = wanted == "_" || c == wanted || (areAscii && isalpha(c[0]) != 0 && (c[0] ^ wanted[0]) == ' ');
    return !text.empty() && isSame && isLike(rest, pattern.substr(wanted.size()));
}

// What of a text goes between the quotes of a statement: 255 bytes, with each quote taking two.
std::string cut(std::string_view text) {
    size_t end = 0;
    for (size_t used = 0; end < text.size(); end += firstOf(text.substr(end)).size()) {
        used += text[end] == '\'' ? 2 : firstOf(text.substr(end)).size();
        if (used > 255) {
            break;
        }
    }
    return std::string(text.substr(0, end));
}

bool isFound(const std::string& name, const std::string& text) {
    const std::string_view c = firstOf(name);
    if (name.empty()) {
        return text[0] == '@';  // a contact without a family name
    }
    if (text[0] == '0') {
        return c.size() == 1 && isdigit(c[0]) != 0;
    }
    if (text[0] == '@') {
        return c.size() == 1 ? isalnum(c[0]) == 0 : std::string("ÄÖÜäöüß").find(c) == std::string::npos;
    }
    const std::string umlaut = text[0] == 'A' ? "Ä" : text[0] == 'O' ? "Ö" : text[0] == 'U' ? "Ü" : "none";
    return isLike(name, cut(text) + '%') || name.find(umlaut) != std::string::npos;
}

// Where a statement has no room for more, one of these is within a character.
const std::string LONG_UMLAUTS =
    "xööööööööööööööööööööööööööööööööööööööööööööööööööööööööööööööööö"
    "ööööööööööööööööööööööööööööööööööööööööööööööööööööööööööööööööö";

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
            EXPECT_THAT(Codes({orindb_replaceKontakt(&db, &contact), put(contact.contactId, 3, "Mara"),
                               orindb_createCtD(&db, contact.contactId, 2, name.c_str(), &work)}),
                        testing::Each(ORINDB_OK));
            all.emplace_back(work.value, contact.contactId);
            if (contact.contactGrpBitfield != 0x04000000) {
                searched.emplace_back(work.value, contact.contactId);
            }
        }
        exec("COMMIT");
    }

    template <typename Function, typename Key>
    Names find(Function function, Key key) {
        Names found;
        for (const ContactDetail& detail :
             read<ContactDetail>([&](auto... out) { return function(&db, key, out...); })) {
            EXPECT_EQ(detail.key, ORINDB_DETAIL_FAMILY_NAME);
            found.emplace_back(detail.value, detail.contactId);
        }
        return found;
    }
    void expectFound(const std::string& text) {
        Names expected = searched;
        std::erase_if(expected, [&](const auto& name) { return !isFound(name.first, text); });
        Names found = find(orindb_searchContactsByName, text.c_str());
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
            expectFound('_' + name.substr(firstOf(name).size()));
        }
    }
    for (const auto& [head, repeated] : {std::pair{"m", 'm'}, {"", '\''}, {"%", '\''}, {"M", '_'}}) {
        expectFound(head + std::string(300, repeated));
    }
    expectFound(LONG_UMLAUTS.substr(1) + "ö");
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR), 0U);
}

TEST_F(Search, ExactValuesAreFoundByTheirIndex) {
    std::erase_if(all, [](const auto& name) { return name.first.empty(); });
    EXPECT_EQ(find(orindb_getContactDetailArrayByKey, 2), all);
    for (size_t i = 0; i < all.size(); i += 9) {
        Names expected = all;
        std::erase_if(expected, [text = cut(all[i].first)](const auto& name) { return name.first != text; });
        EXPECT_EQ(find(orindb_getContactDetailArrayByFamilyName, all[i].first.c_str()), expected);
        EXPECT_EQ(find(orindb_getContactDetailArrayByValue, all[i].first.c_str()), expected);
    }
    EXPECT_THAT(planOfLastSelect(), testing::HasSubstr("USING INDEX ContactDetail_Index_Value (value=?)"));
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR), 0U);
}

}  // namespace
