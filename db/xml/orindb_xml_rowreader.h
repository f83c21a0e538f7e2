// Puts a row together from the elements of its columns.
#pragma once

#include <string_view>

#include "orindb_importrow.h"
#include "orindb_xml_element.h"

struct OrindbXmlRowReader {
    orinStringBuffer storage;  // names and bytes of the row at hand
    OrindbArray pending;       // its values, by their places in the storage, which moves while the row grows
    OrindbArray values;        // OrindbImportValue: the complete row
    DbValueType type;          // of the column at hand
};

void orindb_xmlInitRowReader(OrindbXmlRowReader& reader);

// Begins with another row.
void orindb_xmlBeginRow(OrindbXmlRowReader& reader);

// Take the begin of a column's element and its end, with its text. Return nullptr, or what is wrong with the file.
[[nodiscard]] const char* orindb_xmlBeginColumn(OrindbXmlRowReader& reader, std::string_view element,
                                                OrindbXmlAttributes attributes);
[[nodiscard]] const char* orindb_xmlEndColumn(OrindbXmlRowReader& reader, const OrindbXmlText& text);

// Makes reader.values of the row; they live until the next row begins. Returns 0 or ORINDB_FAILED.
[[nodiscard]] int orindb_xmlEndRow(OrindbXmlRowReader& reader);

// Releases what the reader holds.
void orindb_xmlFreeRowReader(OrindbXmlRowReader& reader);
