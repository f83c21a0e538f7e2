// Names and texts of a database as they stand in XML.
#pragma once

#include <cstddef>
#include <string_view>

#include "orin_stringbuffer.h"

constexpr char ORINDB_XML_ROOT[] = "orindb";
constexpr char ORINDB_XML_TABLE_SUFFIX[] = "_table";
constexpr char ORINDB_XML_OBJECT_PREFIX[] = "schema_";  // of an index, a view or a trigger
constexpr char ORINDB_XML_TYPE[] = "type";
constexpr char ORINDB_XML_SCHEMA[] = "schema";
constexpr char ORINDB_XML_OBJECT_TABLE[] = "table";
constexpr char ORINDB_XML_OBJECT_NAME[] = "name";
constexpr char ORINDB_XML_ENCODING[] = "encoding";
constexpr char ORINDB_XML_BASE64[] = "base64";

// Appends a table's or column's name as an element's name: letters, digits, '_', '-' and '.' as they are, everything
// else byte by byte as "_x<two digits>_". All functions return 0, or -1 when memory is out.
[[nodiscard]] int orindb_xmlAppendName(orinStringBuffer* out, std::string_view name);

// Appends the name that an element's name stands for; -1 also when it is none.
[[nodiscard]] int orindb_xmlDecodeName(std::string_view element, orinStringBuffer* out);

// Whether XML can hold a text: valid UTF-8 without the characters that XML forbids.
[[nodiscard]] bool orindb_xmlCanHold(std::string_view text);

// Appends a text that XML can hold, with the characters that mean something to XML replaced. Fit for content and
// attributes.
[[nodiscard]] int orindb_xmlAppendEscaped(orinStringBuffer* out, std::string_view text);
