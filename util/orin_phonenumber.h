// Turns a phone number as somebody entered it into its canonical form, the E.164 text that the PBX can dial from
// anywhere ("(030) 1234-56" in Berlin becomes "+4930123456").
//
// What a number without a country code means depends on where the PBX stands; that is its phone location. A text that
// cannot be made canonical stays as it is: short numbers, what is no number, and what the location does not tell.
#pragma once

#include <cstddef>

// Sizes of the location's texts with the NUL, in bytes.
constexpr size_t ORIN_COUNTRY_NUMBER_SIZE = 16;
constexpr size_t ORIN_DIALLING_CODE_SIZE = 16;

// Numbers of up to so many digits are emergency and internal numbers.
constexpr size_t ORIN_SHORT_NUMBER_DIGITS = 5;

struct OrinPhoneLocation {
    char countryNumber[ORIN_COUNTRY_NUMBER_SIZE];  // the PBX's country setting; decides how numbers are dialled there
    char areaCode[ORIN_DIALLING_CODE_SIZE];        // digits, without the national prefix ("30"); empty when not set
    char countryCode[ORIN_DIALLING_CODE_SIZE];     // digits, without "+" and leading zeros ("49"); empty when not set
    char nationalPrefix;                           // the digit in front of an area code; NUL for none
};

// Fills the location from the PBX's settings. The codes may be written with their prefixes ("030", "+49", "0049"). A
// missing text is an empty one.
void orin_initPhoneLocation(OrinPhoneLocation* location, const char* country, const char* areaCode,
                            const char* countryCode, char nationalPrefix);

// Writes the canonical form of `number` to `out`, cut to `size` bytes with the NUL. `out` is not `number`. A missing
// number gives the empty text.
void orin_phoneNumberToCanonical(const OrinPhoneLocation* location, const char* number, char* out, size_t size);
