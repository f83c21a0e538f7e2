#include "orin_phonenumber.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace {

// More digits than any number has. A longer text is none.
constexpr size_t NUMBER_SIZE = 64;

constexpr std::string_view SEPARATORS = " \t.-/()";
constexpr std::string_view TRUNK_ZERO = "(0)";
// Where subscribers' numbers keep their leading 0 behind the country code.
constexpr std::string_view ITALY = "39";
constexpr std::string_view NORTH_AMERICA = "1";

enum class Areas : uint8_t {
    open,    // a number without a prefix is one of the own area
    closed,  // every number holds its area code, prefix included
};

// How numbers are dialled in a country.
struct DialPlan {
    std::string_view international;  // in front of a country code
    std::string_view national;       // in front of an area code; empty for none
    size_t nationalLength;           // digits of a number that is known by them to hold its area code, or NO_LENGTH
    Areas areas;
};
constexpr size_t NO_LENGTH = 0;
constexpr size_t NORTH_AMERICAN_LENGTH = 10;

// North America has prefixes of its own whatever the setting of the national one is.
DialPlan dialPlanOf(const OrinPhoneLocation& location) {
    const std::string_view country = location.countryNumber;
    if (country == NORTH_AMERICA) {
        return {"011", "1", NORTH_AMERICAN_LENGTH, Areas::open};
    }
    const size_t prefixLength = location.nationalPrefix != '\0' ? 1 : 0;
    return {"00", {&location.nationalPrefix, prefixLength}, NO_LENGTH, country == ITALY ? Areas::closed : Areas::open};
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A number without its separators: digits, perhaps with a "+" in front.
class Number {
  public:
    [[nodiscard]] bool append(char c) {
        if (length_ == text_.size()) {
            return false;
        }
        text_[length_++] = c;
        return true;
    }
    [[nodiscard]] std::string_view text() const {
        return {text_.data(), length_};
    }

  private:
    std::array<char, NUMBER_SIZE> text_{};
    size_t length_ = 0;
};

// The "(0)" behind a country code is not dialled from abroad, except where it belongs to the number.
bool dropsTrunkZero(std::string_view before, std::string_view international) {
    if (before.starts_with('+')) {
        return before.substr(1) != ITALY;
    }
    return before.starts_with(international) && before.substr(international.size()) != ITALY;
}

// Takes the separators out. Returns false for what is no phone number.
bool readNumber(std::string_view entered, const DialPlan& plan, Number& number) {
    while (!entered.empty()) {
        const char c = entered.front();
        if (entered.starts_with(TRUNK_ZERO) && dropsTrunkZero(number.text(), plan.international)) {
            entered.remove_prefix(TRUNK_ZERO.size());
            continue;
        }
        entered.remove_prefix(1);
        if (SEPARATORS.find(c) != std::string_view::npos) {
            continue;
        }
        const bool isPlus = c == '+' && number.text().empty();
        if ((!isDigit(c) && !isPlus) || !number.append(c)) {
            return false;
        }
    }
    const size_t plusLength = number.text().starts_with('+') ? 1 : 0;
    return number.text().size() - plusLength > ORIN_SHORT_NUMBER_DIGITS;
}

// The digits of a setting, without the zeros of a prefix in front.
void copyCode(char (&code)[ORIN_DIALLING_CODE_SIZE], const char* setting) {
    size_t length = 0;
    for (const char c : std::string_view(setting != nullptr ? setting : "")) {
        const bool counts = isDigit(c) && (c != '0' || length > 0);
        if (counts && length < sizeof(code) - 1) {
            code[length++] = c;
        }
    }
    code[length] = '\0';
}

}  // namespace

void orin_initPhoneLocation(OrinPhoneLocation* location, const char* country, const char* areaCode,
                            const char* countryCode, char nationalPrefix) {
    if (location == nullptr) {
        return;
    }
    *location = OrinPhoneLocation{};
    copyCode(location->countryNumber, country);
    copyCode(location->areaCode, areaCode);
    copyCode(location->countryCode, countryCode);
    location->nationalPrefix = nationalPrefix;
}

void orin_phoneNumberToCanonical(const OrinPhoneLocation* location, const char* number, char* out, size_t size) {
    if (out == nullptr || size == 0) {
        return;
    }
    // The answer unless the number can be told to be something better.
    const std::string_view entered = number != nullptr ? number : "";
    out[entered.copy(out, size - 1)] = '\0';
    if (location == nullptr) {
        return;
    }
    const DialPlan plan = dialPlanOf(*location);
    Number digits;
    if (!readNumber(entered, plan, digits)) {
        return;
    }
    const auto write = [out, size](const char* countryCode, const char* areaCode, std::string_view rest) {
        snprintf(out, size, "+%s%s%.*s", countryCode, areaCode, static_cast<int>(rest.size()), rest.data());
    };
    const std::string_view text = digits.text();
    if (text.starts_with('+')) {
        write("", "", text.substr(1));
    } else if (text.starts_with(plan.international)) {
        write("", "", text.substr(plan.international.size()));
    } else if (location->countryCode[0] == '\0') {
        return;
    } else if (plan.areas == Areas::closed || text.size() == plan.nationalLength) {
        write(location->countryCode, "", text);
    } else if (!plan.national.empty() && text.starts_with(plan.national)) {
        write(location->countryCode, "", text.substr(plan.national.size()));
    } else if (location->areaCode[0] != '\0') {
        write(location->countryCode, location->areaCode, text);
    }
}
