// Attributes and texts of the elements of an export.
#pragma once

#include <string_view>

#include "orin_stringbuffer.h"

// Attributes as expat hands them over: name, value, name, value, ..., nullptr.
using OrindbXmlAttributes = const char* const*;

// The value of an attribute, or nullptr.
[[nodiscard]] const char* orindb_xmlAttribute(OrindbXmlAttributes attributes, std::string_view name);

// Appends the text of an attribute, which may stand there as Base64 in "<name>64". A missing one appends nothing.
// Returns 0, or -1 when it is no Base64 or memory is out.
[[nodiscard]] int orindb_xmlAppendAttribute(OrindbXmlAttributes attributes, const char* name, orinStringBuffer* out);

// The text of the element at hand, as it comes in.
struct OrindbXmlText {
    orinStringBuffer raw;
    bool isBase64;
};

// Begins with the text of another element.
void orindb_xmlBeginText(OrindbXmlText& text, OrindbXmlAttributes attributes);

// The text as it stands in the file.
[[nodiscard]] std::string_view orindb_xmlRawText(const OrindbXmlText& text);

// Appends what the text stands for. Returns 0, or -1 when it is no Base64 or memory is out.
[[nodiscard]] int orindb_xmlAppendText(const OrindbXmlText& text, orinStringBuffer* out);
