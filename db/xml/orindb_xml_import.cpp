#include <expat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "orin_guards.h"
#include "orin_stdio.h"
#include "orin_stringbuffer.h"
#include "orindb_xml.h"
#include "orindb_xml_element.h"
#include "orindb_xml_rowreader.h"
#include "orindb_xml_schema.h"
#include "orindb_xml_text.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_xml_import.c"};

constexpr int BLOCK_SIZE = 65536;

// Where the parser is: the number of open elements.
enum Depth : int { IN_FILE = 0, IN_DATABASE = 1, IN_TABLE_OR_OBJECT = 2, IN_ROW = 3, IN_COLUMN = 4 };

// What an element at IN_DATABASE is.
enum class Element : uint8_t { skipped, table, object };

struct Parser {
    XML_Parser expat;
    OrindbXmlSchema* schema;
    int depth;
    Element element;
    OrindbXmlText text;  // of the element at hand
    OrindbXmlRowReader row;
    int result;
    const char* complaint;  // what is wrong with the file; nullptr for nothing or for a failure logged elsewhere
};

// Ends the parsing, unless the result is 0.
void stop(Parser& parser, int result, const char* complaint) {
    if (parser.result == ORINDB_OK && result != ORINDB_OK) {
        parser.result = result;
        parser.complaint = complaint;
        XML_StopParser(parser.expat, XML_FALSE);
    }
}

// Ends it because of what is wrong with the file, unless it is nullptr.
void stopBecauseOf(Parser& parser, const char* complaint) {
    stop(parser, complaint != nullptr ? ORINDB_FAILED : ORINDB_OK, complaint);
}

void beginDatabase(Parser& parser, const XML_Char* name, const XML_Char** attributes) {
    const char* database = orindb_xmlAttribute(attributes, "database");
    std::array<char, 2> expected{static_cast<char>('0' + parser.schema->dbType), '\0'};
    if (strcmp(name, ORINDB_XML_ROOT) != 0 || database == nullptr || strcmp(database, expected.data()) != 0) {
        stopBecauseOf(parser, "this is no export of this database");
    }
}

void beginTable(Parser& parser, std::string_view element, const XML_Char** attributes) {
    element.remove_suffix(strlen(ORINDB_XML_TABLE_SUFFIX));
    orinStringBuffer name{};
    const orinStringBufferData nameOwner(&name);
    orinStringBuffer sql{};
    const orinStringBufferData sqlOwner(&sql);
    if (orindb_xmlDecodeName(element, &name) != 0 ||
        orindb_xmlAppendAttribute(attributes, ORINDB_XML_SCHEMA, &sql) != 0) {
        stopBecauseOf(parser, "a table without a readable name and schema");
        return;
    }
    bool isWanted = false;
    stop(parser,
         orindb_xmlBeginTable(*parser.schema, {orin_getStringBuffer(&name), name.length}, orin_getStringBuffer(&sql),
                              &isWanted),
         nullptr);
    parser.element = isWanted ? Element::table : Element::skipped;
}

void beginObject(Parser& parser, const XML_Char** attributes) {
    parser.element = Element::object;
    OrindbXmlSchema& schema = *parser.schema;
    orin_clearStringBuffer(&schema.objectTable);
    orin_clearStringBuffer(&schema.objectName);
    if (orindb_xmlAppendAttribute(attributes, ORINDB_XML_OBJECT_TABLE, &schema.objectTable) != 0 ||
        orindb_xmlAppendAttribute(attributes, ORINDB_XML_OBJECT_NAME, &schema.objectName) != 0) {
        stopBecauseOf(parser, "an index, view or trigger without a readable name");
    }
}

void beginTableOrObject(Parser& parser, std::string_view element, const XML_Char** attributes) {
    parser.element = Element::skipped;
    if (element.ends_with(ORINDB_XML_TABLE_SUFFIX)) {
        beginTable(parser, element, attributes);
    } else if (element.starts_with(ORINDB_XML_OBJECT_PREFIX)) {
        beginObject(parser, attributes);
    } else {
        stopBecauseOf(parser, "an element that is neither a table nor an index, view or trigger");
    }
}

void endRow(Parser& parser) {
    stop(parser, orindb_xmlEndRow(parser.row), nullptr);
    if (parser.result == ORINDB_OK) {
        OrindbImportRow row{&parser.row.values, true};
        stop(parser, orindb_writeRow(parser.schema->writer, row), nullptr);
    }
}

void endObject(Parser& parser) {
    orinStringBuffer sql{};
    const orinStringBufferData owner(&sql);
    stop(parser, orindb_xmlAppendText(parser.text, &sql), "an index, view or trigger that cannot be read");
    if (parser.result == ORINDB_OK) {
        stop(parser, orindb_xmlCreateObject(*parser.schema, orin_getStringBuffer(&sql)), nullptr);
    }
}

void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto& parser = *static_cast<Parser*>(data);
    if (parser.result != ORINDB_OK) {
        return;
    }
    switch (parser.depth++) {
        case IN_FILE:
            beginDatabase(parser, name, attributes);
            break;
        case IN_DATABASE:
            beginTableOrObject(parser, name, attributes);
            orindb_xmlBeginText(parser.text, attributes);
            break;
        case IN_TABLE_OR_OBJECT:
            orindb_xmlBeginRow(parser.row);
            stopBecauseOf(parser,
                          parser.element == Element::object ? "an element within an index, view or trigger" : nullptr);
            break;
        case IN_ROW:
            orindb_xmlBeginText(parser.text, attributes);
            stopBecauseOf(parser, orindb_xmlBeginColumn(parser.row, name, attributes));
            break;
        default:
            stopBecauseOf(parser, "an element within a value");
            break;
    }
}

void XMLCALL endElement(void* data, const XML_Char* /*name*/) {
    auto& parser = *static_cast<Parser*>(data);
    if (parser.result != ORINDB_OK) {
        return;
    }
    const int depth = parser.depth--;
    const bool inTable = parser.element == Element::table;
    if (depth == IN_COLUMN) {
        stopBecauseOf(parser, orindb_xmlEndColumn(parser.row, parser.text));
    } else if (depth == IN_ROW && inTable) {
        endRow(parser);
    } else if (depth == IN_TABLE_OR_OBJECT && inTable) {
        orindb_endRows(parser.schema->writer);
    } else if (depth == IN_TABLE_OR_OBJECT && parser.element == Element::object) {
        endObject(parser);
    }
}

void XMLCALL characterData(void* data, const XML_Char* text, int length) {
    auto& parser = *static_cast<Parser*>(data);
    const bool isObject = parser.depth == IN_TABLE_OR_OBJECT && parser.element == Element::object;
    if (parser.result == ORINDB_OK && (parser.depth == IN_COLUMN || isObject)) {
        stop(parser, orin_appendToStringBuffer(&parser.text.raw, text, static_cast<size_t>(length)), nullptr);
    }
}

// An export has no document type; one that declares entities is no export.
void XMLCALL startDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    stopBecauseOf(*static_cast<Parser*>(data), "a document type");
}

struct ExpatRelease {
    void operator()(XML_Parser parser) const {
        XML_ParserFree(parser);
    }
};
using Expat = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ExpatRelease>;

void logComplaint(const Parser& parser, const char* path, const char* complaint) {
    ORINLOG_FOR("orindb_xmlImportDb", ORINLOG_ERROR, "%s line %lu: %s", path,
                static_cast<unsigned long>(XML_GetCurrentLineNumber(parser.expat)), complaint);
}

void parseFile(Parser& parser, FILE* file, const char* path) {
    bool isLast = false;
    while (!isLast && parser.result == ORINDB_OK) {
        void* block = XML_GetBuffer(parser.expat, BLOCK_SIZE);
        const size_t length = block != nullptr ? fread(block, 1, BLOCK_SIZE, file) : 0;
        isLast = length < static_cast<size_t>(BLOCK_SIZE);
        if (block == nullptr || ferror(file) != 0) {
            parser.result = ORINDB_FAILED;
            logComplaint(parser, path, block == nullptr ? "out of memory error" : strerror(errno));
        } else if (XML_ParseBuffer(parser.expat, static_cast<int>(length), isLast ? 1 : 0) == XML_STATUS_ERROR) {
            const bool isOurs = parser.result != ORINDB_OK;
            const char* complaint = isOurs ? parser.complaint : XML_ErrorString(XML_GetErrorCode(parser.expat));
            if (complaint != nullptr) {
                logComplaint(parser, path, complaint);
            }
            parser.result = isOurs ? parser.result : ORINDB_FAILED;
        }
    }
}

// Reads a file into the tables of `schema`.
int importFile(OrindbXmlSchema& schema, const char* path) {
    FILE* opened = nullptr;
    if (orin_fopen(&opened, path, "r") == 0) {
        ORINLOG_FOR("orindb_xmlImportDb", ORINLOG_ERROR, "fopen failed filename=%s error=%s", path, strerror(errno));
        return ORINDB_FAILED;
    }
    const File file(opened);
    const Expat expat(XML_ParserCreate("UTF-8"));
    if (expat == nullptr) {
        ORINLOG_FOR("orindb_xmlImportDb", ORINLOG_ERROR, "out of memory error");
        return ORINDB_FAILED;
    }
    Parser parser{};
    parser.expat = expat.get();
    parser.schema = &schema;
    orindb_xmlInitRowReader(parser.row);
    XML_SetUserData(expat.get(), &parser);
    XML_SetElementHandler(expat.get(), startElement, endElement);
    XML_SetCharacterDataHandler(expat.get(), characterData);
    XML_SetStartDoctypeDeclHandler(expat.get(), startDoctype);

    parseFile(parser, opened, path);

    orin_freeStringBufferData(&parser.text.raw);
    orindb_xmlFreeRowReader(parser.row);
    return parser.result;
}

bool areValid(const DbContext* dbContext, int dbType, const char* path) {
    return dbContext != nullptr && path != nullptr && dbType >= 0 && dbType < ORINDB_DATABASES;
}

}  // namespace

int orindb_xmlImportDb(DbContext* dbContext, int dbType, const char* path) {
    if (!areValid(dbContext, dbType, path)) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, dbType);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    OrindbXmlSchema schema{};
    int result = orindb_xmlBeginWhole(schema, dbContext, dbType);
    if (result == ORINDB_OK) {
        result = importFile(schema, path);
    }
    if (result == ORINDB_OK) {
        result = orindb_xmlEndWhole(schema);
    }
    orindb_xmlFreeSchema(schema);
    return transaction.end(result);
}

int orindb_xmlImportTable(DbContext* dbContext, int dbType, const char* path, const char* table) {
    if (!areValid(dbContext, dbType, path) || table == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, dbType);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    OrindbXmlSchema schema{};
    int result = orindb_xmlBeginSingle(schema, dbContext, dbType, table);
    if (result == ORINDB_OK) {
        result = importFile(schema, path);
    }
    if (result == ORINDB_OK && !schema.hasFoundTable) {
        result = ORINDB_NOT_FOUND;
    }
    orindb_xmlFreeSchema(schema);
    return transaction.end(result);
}
