// Invented persons. Numbers are from the ranges kept free for films, mail and web addresses from reserved names.

#include <array>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include "google_account.h"
#include "text_codec.h"

namespace {

// Reproducible everywhere, unlike the distributions of the C++ library.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next() {  // SplitMix64
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = (state_ ^ (state_ >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }
    unsigned below(std::size_t limit) {
        return static_cast<unsigned>(next() % limit);
    }
    bool oneIn(unsigned chances) {
        return below(chances) == 0;
    }
    template <std::size_t N>
    std::string pick(const std::array<const char*, N>& words) {
        return words[below(N)];
    }

  private:
    std::uint64_t state_;
};

constexpr std::array GIVEN{"Jörg",   "Änne",      "Zoë",       "Björn", "Mechthild", "Käthe",  "Łukasz",
                           "Ömer",   "Anna-Lena", "Friedrich", "Søren", "Hélène",    "Ulrike", "Iñigo",
                           "Renate", "Götz",      "Wibke",     "Ágnes", "Karl",      "Şirin"};
constexpr std::array FAMILY{"Müßiggang", "Öztürkmen",   "Grünspan",    "Bächtold", "Schmalfuß",   "Ährenfeld",
                            "Krøyerson", "Vogelsänger", "Tannenhäher", "Lindqvåg", "Weißkopf",    "Pfützner",
                            "Łapiński",  "Querfurthe",  "Nebelhör",    "Dachsbau", "Hübenthaler", "Zwölfer"};
constexpr std::array TITLES{"Dr.", "Prof. Dr.", "Dipl.-Ing.", "Mag."};
constexpr std::array FIRMS{
    "Sägewerk Föhrenthal GmbH & Co. KG", "Bäckerei Krümelgrund", "Kessel & Söhne",          "Institut für Wolkenkunde",
    "\"Zum Weißen Roß\" Gaststätten",    "Nordlicht <Werft> AG", "Übersetzungsbüro Tüftler"};
constexpr std::array JOBS{"Geschäftsführerin", "Einkäufer", "Leitung Vertrieb", "Sägemeister", "Auszubildende"};
constexpr std::array DEPARTMENTS{"Büro", "Einkauf", "Forschung & Prüfung", "Lager Süd"};
constexpr std::array STREETS{"Am Ährenfeld", "Fünfkirchner Straße", "Moosgässchen", "Überseering", "Zur alten Föhre"};
constexpr std::array CITIES{"Föhrenthal", "Groß Krümeln", "Wolkenstadt", "Nebelhöring", "Łąkowo"};
constexpr std::array PHONE_TYPES{"mobile",      "home",  "work",           "homeFax",        "workFax",
                                 "otherFax",    "pager", "workMobile",     "workPager",      "main",
                                 "googleVoice", "other", "Durchwahl Büro", "Ferienhäuschen", ""};
constexpr std::array MAIL_TYPES{"home", "work", "other", "Verein Schützengilde", ""};
constexpr std::array URL_TYPES{"homePage", "work", "blog", "profile", "home", "ftp", "Speiseplan", ""};
constexpr std::array ADDRESS_TYPES{"home", "work", "other", "Ferienhäuschen", ""};
constexpr std::array MAIL_DOMAINS{"example.com", "example.org", "büro.example", "mail.test"};
constexpr std::array SITES{"https://www.example.org/?a=1&b=", "example.com/", "http://blog.test/"};
// Landline and mobile as typed, with the digits of the international form.
struct Range {
    const char* typed;
    const char* international;
    unsigned size;
    int digits;
};
constexpr std::array RANGES{Range{"(030) 23125-", "+493023125", 1000, 3}, Range{"0171 39200 ", "+4917139200", 100, 2},
                            Range{"+49 69 90009 ", "+496990009", 1000, 3}, Range{"089/99998-", "+498999998", 1000, 3}};
constexpr unsigned USER_GROUPS_FROM = 5;

std::vector<GoogleContactGroup> groups() {
    constexpr const char* SYSTEM = "SYSTEM_CONTACT_GROUP";
    constexpr const char* USER = "USER_CONTACT_GROUP";
    return {{"contactGroups/myContacts", "myContacts", "Meine Kontakte", SYSTEM},
            {"contactGroups/starred", "starred", "Markiert", SYSTEM},
            {"contactGroups/friends", "friends", "Freunde", SYSTEM},
            {"contactGroups/family", "family", "Familie", SYSTEM},
            {"contactGroups/coworkers", "coworkers", "Kollegen", SYSTEM},
            {"contactGroups/4f1c0a2b8d3e", "Telefonanlage", "Telefonanlage", USER},
            {"contactGroups/1b7", "Kunden & Gäste", "Kunden & Gäste", USER}};
}

// Writes a person's JSON text list by list. A list without entries and a member without text are left out.
class PersonWriter {
  public:
    using Members = std::initializer_list<std::pair<const char*, std::string>>;

    explicit PersonWriter(const std::string& id) : source_(R"("source":{"type":"CONTACT","id":")" + id + "\"}}") {}
    // An entry of a field with its metadata; the first of each field is the primary one.
    void add(const char* field, const Members& members, const std::string& rawMember = {}) {
        open(field, field == field_ ? "{\"metadata\":{" : "{\"metadata\":{\"primary\":true,");
        close(members, rawMember);
    }
    // The same for memberships, of which none is primary.
    void addPlain(const char* field, const std::string& rawMember) {
        open(field, "{\"metadata\":{");
        close({}, rawMember);
    }
    // All that was added, with the comma before it.
    [[nodiscard]] std::string text() const {
        return field_.empty() ? "" : text_ + "]";
    }

  private:
    void open(const char* field, const char* beginning) {
        if (field == field_) {
            text_ += ",";
        } else {
            text_.append(field_.empty() ? ",\"" : "],\"").append(field).append("\":[");
            field_ = field;
        }
        text_.append(beginning).append(source_);
    }
    void close(const Members& members, const std::string& rawMember) {
        for (const auto& [name, value] : members) {
            if (!value.empty()) {
                text_.append(",\"").append(name).append("\":").append(jsonQuoted(value));
            }
        }
        text_.append(rawMember).append("}");
    }
    std::string source_;
    std::string text_;
    std::string field_;  // the list that is open
};

std::string digits(unsigned number, int width) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*u", width, number);
    return text.data();
}

// The texts that are not empty, with a separator between them.
std::string joined(std::initializer_list<std::string> parts, const char* separator) {
    std::string text;
    for (const std::string& part : parts) {
        if (!part.empty()) {
            text.append(text.empty() ? "" : separator).append(part);
        }
    }
    return text;
}

void addName(PersonWriter& person, Dice& dice) {
    const std::string given = dice.pick(GIVEN);
    const std::string family = dice.oneIn(10) ? "" : dice.pick(FAMILY);  // a mononym now and then
    const std::string title = dice.oneIn(8) ? dice.pick(TITLES) : "";
    const std::string middle = dice.oneIn(6) ? dice.pick(GIVEN) : "";
    const std::string shown = joined({title, given, middle, family}, " ");
    person.add("names", {{"displayName", shown},
                         {"familyName", family},
                         {"givenName", given},
                         {"middleName", middle},
                         {"honorificPrefix", title},
                         {"displayNameLastFirst", joined({family, joined({title, given, middle}, " ")}, ", ")},
                         {"unstructuredName", shown}});
}

void addNickname(PersonWriter& person, Dice& dice) {
    person.add("nicknames", {{"value", dice.pick(GIVEN) + "lein"}});
}

void addBiography(PersonWriter& person, Dice& dice) {
    person.add("biographies",
               {{"value", "Kennt " + dice.pick(GIVEN) + ".\nRuft gern an."}, {"contentType", "TEXT_PLAIN"}});
}

void addOrganization(PersonWriter& person, Dice& dice) {
    const std::string firm = dice.pick(FIRMS);
    const std::string department = dice.oneIn(2) ? dice.pick(DEPARTMENTS) : "";
    const std::string title = dice.oneIn(3) ? "" : dice.pick(JOBS);
    person.add("organizations", {{"name", firm}, {"department", department}, {"title", title}});
}

void addBirthday(PersonWriter& person, Dice& dice) {
    const std::string year = std::to_string(1930 + dice.below(80));
    const unsigned month = 1 + dice.below(12);
    const unsigned day = 1 + dice.below(28);
    std::string date;
    if (!dice.oneIn(8)) {  // else as text only
        const std::string known = dice.oneIn(4) ? "" : "\"year\":" + year + ",";
        date = ",\"date\":{" + known + "\"month\":" + std::to_string(month) + ",\"day\":" + std::to_string(day) + "}";
    }
    person.add("birthdays", {{"text", joined({digits(day, 2), digits(month, 2), year}, ".")}}, date);
}

void addPhoneNumber(PersonWriter& person, Dice& dice) {
    const Range& range = RANGES[dice.below(RANGES.size())];
    const std::string number = digits(dice.below(range.size), range.digits);
    const bool internal = dice.oneIn(9);  // a short number, which has no international form
    const std::string type = dice.pick(PHONE_TYPES);
    person.add("phoneNumbers", {{"value", internal ? "**" + number : range.typed + number},
                                {"canonicalForm", internal ? "" : range.international + number},
                                {"type", type},
                                {"formattedType", type}});
}

void addMailAddress(PersonWriter& person, Dice& dice) {
    const std::string box = "person." + std::to_string(dice.below(100000)) + "@";
    const std::string value = box + dice.pick(MAIL_DOMAINS);
    const std::string type = dice.pick(MAIL_TYPES);
    person.add("emailAddresses", {{"value", value}, {"type", type}, {"formattedType", type}});
}

void addUrl(PersonWriter& person, Dice& dice) {
    const std::string site = dice.pick(SITES);
    const std::string value = site + std::to_string(dice.below(100000));
    const std::string type = dice.pick(URL_TYPES);
    person.add("urls", {{"value", value}, {"type", type}, {"formattedType", type}});
}

void addAddress(PersonWriter& person, Dice& dice) {
    const std::string road = dice.pick(STREETS) + " ";
    const std::string street = road + std::to_string(1 + dice.below(120));
    const std::string floor = dice.oneIn(4) ? std::to_string(1 + dice.below(5)) + ". Obergeschoß" : "";
    const std::string box = dice.oneIn(6) ? "Postfach " + digits(dice.below(10000), 4) : "";
    const std::string code = digits(1000 + dice.below(98000), 5);
    const std::string city = dice.pick(CITIES);
    const std::string type = dice.pick(ADDRESS_TYPES);
    const std::string lines = joined({street, floor, box, joined({code, city}, " "), "Deutschland"}, "\n");
    if (dice.oneIn(10)) {  // typed as a text that was not understood
        person.add("addresses",
                   {{"formattedValue", lines}, {"streetAddress", lines}, {"type", type}, {"formattedType", type}});
        return;
    }
    person.add("addresses", {{"formattedValue", lines},
                             {"type", type},
                             {"formattedType", type},
                             {"streetAddress", street},
                             {"extendedAddress", floor},
                             {"poBox", box},
                             {"city", city},
                             {"postalCode", code},
                             {"country", "Deutschland"},
                             {"countryCode", "DE"}});
}

void addMemberships(PersonWriter& person, Dice& dice, const std::vector<GoogleContactGroup>& all) {
    for (std::size_t i = 0; i < all.size(); i++) {
        if (i == 0 || (i < USER_GROUPS_FROM ? dice.oneIn(6) : dice.oneIn(2))) {
            const std::string& name = all[i].resourceName;
            const std::string id = name.substr(name.find('/') + 1);
            person.addPlain("memberships", R"(,"contactGroupMembership":{"contactGroupId":)" + jsonQuoted(id) +
                                               R"(,"contactGroupResourceName":)" + jsonQuoted(name) + "}");
        }
    }
}

std::string randomBytes(Dice& dice, std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(dice.below(256));
    }
    return bytes;
}

// The first and last bytes of an image of that type with noise between.
GooglePhoto photo(Dice& dice) {
    const std::string noise = randomBytes(dice, 600 + dice.below(3000));
    if (dice.oneIn(4)) {
        return {"image/png", "\x89PNG\r\n\x1a\n" + noise};
    }
    return {"image/jpeg", "\xFF\xD8\xFF\xE0" + noise + "\xFF\xD9"};
}

// Half of the persons have a photo of their own, some a letter that Google drew, the rest none.
void addPhoto(PersonWriter& person, Dice& dice, GoogleAccount& account) {
    const bool drawn = dice.oneIn(3);
    if (!drawn && dice.oneIn(4)) {
        return;
    }
    const std::string path = (drawn ? "/cm/" : "/contacts/") + base64Url(randomBytes(dice, 54)) + "=s100";
    const std::string host = "https://lh" + std::to_string(3 + dice.below(4)) + ".googleusercontent.com";
    person.add("photos", {{"url", host + path}}, drawn ? ",\"default\":true" : "");
    account.photos[path] = photo(dice);
}

// Some of a list: the same step up to `limit` times.
template <typename Step>
void upTo(unsigned limit, PersonWriter& person, Dice& dice, const Step& step) {
    for (unsigned left = dice.below(limit + 1); left > 0; left--) {
        step(person, dice);
    }
}

GooglePerson generatePerson(Dice& dice, GoogleAccount& account) {
    const std::uint64_t id = dice.next() >> 1U;
    std::array<char, 20> hexadecimal{};
    std::snprintf(hexadecimal.data(), hexadecimal.size(), "%llx", static_cast<unsigned long long>(id));
    PersonWriter person(hexadecimal.data());
    if (!dice.oneIn(12)) {
        addName(person, dice);
    }
    upTo(1, person, dice, addNickname);
    upTo(1, person, dice, addBiography);
    upTo(1, person, dice, addOrganization);
    upTo(1, person, dice, addBirthday);
    addPhoto(person, dice, account);
    upTo(4, person, dice, addPhoneNumber);
    upTo(3, person, dice, addMailAddress);
    upTo(3, person, dice, addUrl);
    upTo(3, person, dice, addAddress);
    addMemberships(person, dice, account.groups);
    std::string text = "{\"resourceName\":\"people/c" + std::to_string(id) + "\",\"etag\":\"%";
    text.append(base64(randomBytes(dice, 30))).append("\"").append(person.text()).append("}");
    GooglePerson made;
    (void)parsePerson(text, made);
    return made;
}

}  // namespace

GoogleAccount generateAccount(std::size_t count, unsigned seed) {
    GoogleAccount account;
    account.groups = groups();
    for (std::size_t i = 0; i < count; i++) {
        Dice dice((std::uint64_t{seed} << 32U) + i);
        account.persons.push_back(generatePerson(dice, account));
    }
    return account;
}
