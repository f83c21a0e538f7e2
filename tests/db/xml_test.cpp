// Export and import of a database: what comes back, what the tables of this version make of it, what damages nothing.
#include <filesystem>

#include "db_dump.h"
#include "failing_malloc.h"
#include "file_tools.h"
#include "orindb_xml.h"
#include "set_world.h"

namespace {

constexpr char XML_FILE[] = "/tmp/export.xml";

class Xml : public OpenSet {
  protected:
    int exportDb(const char* path = XML_FILE) {
        return orindb_xmlExportDb(&db, ORINDB_KONFIG, path);
    }
    int importDb(const char* path = XML_FILE) {
        return orindb_xmlImportDb(&db, ORINDB_KONFIG, path);
    }
    int importText(const std::string& tables) {
        writeFile(XML_FILE, "<orindb database='0'>" + tables + "</orindb>");
        return importDb();
    }
    static SqliteRows rows(const std::string& query) {
        return sqlitePeek(KONFIG_FILE, query);
    }
};

constexpr char ODD_VALUES[] =
    "(NULL),(''),(x''),(0),(-1),(2147483648),(9223372036854775807),(-9223372036854775807-1),(0.1),(-1e308),(4.9e-324),"
    "(9e999),(-9e999),(5.0),('5'),(x'00ff'),(' \t\r\n leading and trailing \n'),(']]>&amp;<!--'),('\"''<>&'),"
    "('a'||char(0)||'b'),(char(1,7,8,27,31)),(char(127,133,0xFFFD,0xFFFE,0xFFFF,0x10FFFF)),(CAST(x'ff' AS TEXT)),"
    "(CAST(x'eda080' AS TEXT)),(CAST(x'c3' AS TEXT)),('äöü€😀'),(replace(hex(zeroblob(350000)),'0','€')),"
    "(hex(zeroblob(600000))||char(0)),(randomblob(1048577))";
constexpr char ODD_SCHEMA[] =
    "CREATE TABLE \"\"(\"\",\"a\"\"b\",\"_x20_\",\"xml:ü <>\",'1' TEXT COLLATE ORIN_UTF8_COMPARE);"
    "INSERT INTO \"\" VALUES(1,2,3,4,'ä');"
    "CREATE TABLE [_x_](a); INSERT INTO [_x_] VALUES('x');"
    "CREATE TABLE \"schema_index; DROP TABLE Contact--\"(\"select\" DEFAULT '\"\n<&>', b CHECK(b<>'\"'));"
    "CREATE TABLE x_table(id INTEGER PRIMARY KEY AUTOINCREMENT, v UNIQUE ON CONFLICT ROLLBACK);"
    "INSERT INTO x_table VALUES(9000000000,1),(7,NULL); UPDATE sqlite_sequence SET seq=8;"
    "CREATE TABLE Word(w TEXT PRIMARY KEY COLLATE NOCASE, n) WITHOUT ROWID; INSERT INTO Word VALUES('b',1),('A',2);"
    "CREATE TABLE Strict(a INT NOT NULL, b ANY) STRICT; INSERT INTO Strict VALUES(1,1.5),(2,x'00');"
    "CREATE TABLE Made(a, b AS (a*2) STORED, c TEXT AS (a||'!'), d DEFAULT 5); INSERT INTO Made(a) VALUES('x'),(4);"
    "CREATE TABLE Log(t); CREATE TRIGGER Note AFTER INSERT ON x_table BEGIN INSERT INTO Log VALUES(new.id); END;"
    "CREATE TRIGGER NoteContact AFTER INSERT ON Contact BEGIN INSERT INTO Log VALUES(new.contactId); END;"
    "CREATE UNIQUE INDEX \"odd \"\"index\" ON Made(a DESC, b) WHERE a IS NOT NULL; CREATE INDEX e ON Made(lower(a)); "
    "CREATE INDEX all_of_it ON Made(a,d);"
    "CREATE INDEX Version ON DbFileVersion(device); CREATE INDEX Groups ON Contact(contactGrpBitfield);"
    "CREATE VIEW Broken AS SELECT x FROM nowhere; CREATE VIEW \"ö\" AS SELECT a FROM Made;"
    "CREATE TRIGGER Instead INSTEAD OF INSERT ON \"ö\" BEGIN INSERT INTO Log VALUES(1); END;"
    "CREATE VIRTUAL TABLE Search USING fts5(t); INSERT INTO Search VALUES('some words');"
    "INSERT INTO Contact VALUES(2,4294967295),(1,0); INSERT INTO ContactDetail VALUES(1,3,'A < B');"
    "DELETE FROM Log; ANALYZE;";

TEST_F(Xml, EveryValueAndEverySchemaComesBackAsItWas) {
    ASSERT_EQ(exec(ODD_SCHEMA), ORINDB_OK) << log;
    ASSERT_EQ(exec(std::string("CREATE TABLE Odd(v); INSERT INTO Odd VALUES") + ODD_VALUES), ORINDB_OK) << log;
    const std::string before = dumpFile(KONFIG_FILE);
    ASSERT_EQ(exportDb(), ORINDB_OK) << log;
    ASSERT_EQ(importDb(), ORINDB_OK) << log;
    EXPECT_EQ(difference(before, dumpFile(KONFIG_FILE)), "");
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT t FROM Search WHERE Search MATCH 'words'"), "some words");
}

TEST_F(Xml, ATableOfThisVersionTakesWhatItHasColumnsFor) {
    ASSERT_EQ(
        importText("<contact_table schema='CREATE TABLE contact(contactID, gone)'><x><CONTACTID>7</CONTACTID><gone/>"
                   "</x></contact_table><DbFileVersion_table><r><key type='integer'>1</key><version>3</version></r>"
                   "</DbFileVersion_table><ContactGroup_table/><Gone_table schema='CREATE TABLE Gone(a)'/>"
                   "<schema_index table='Contact' name='g'>CREATE INDEX g ON Contact(gone)</schema_index>"
                   "<schema_view table='ContactNames' name='ContactNames'>CREATE VIEW ContactNames AS SELECT 1"
                   "</schema_view><Telefonbuch1View_table schema='CREATE TABLE Telefonbuch1View(a)'><r><a>1</a></r>"
                   "</Telefonbuch1View_table>"),
        ORINDB_OK)
        << log;
    EXPECT_EQ(rows("SELECT typeof(contactId), * FROM Contact"), (SqliteRows{{"integer", "7", "NULL"}}));
    EXPECT_EQ(rows("SELECT version, minorVersion FROM DbFileVersion"), (SqliteRows{{"1987", "6"}}));
    EXPECT_EQ(rows("SELECT COUNT(*) FROM ContactGroup"), (SqliteRows{{"0"}})) << "it was in the file";
    EXPECT_EQ(rows("SELECT COUNT(*) FROM Sonstiges"), (SqliteRows{{"1"}})) << "it was not";
    EXPECT_EQ(rows("SELECT name FROM sqlite_master WHERE name IN ('g','Gone','Telefonbuch1View','ContactNames') AND "
                   "sql NOT LIKE '%SELECT 1' ORDER BY type, name"),
              (SqliteRows{{"ContactNames"}, {"Gone"}, {"Telefonbuch1View"}}));
    EXPECT_TRUE(hasLine(ORINLOG_WARNING, "orindb_xmlCreateObject: g is left out: its table has another schema now"));
}

TEST_F(Xml, ModulesHaveRulesForTheirRows) {
    const std::string detail = "<ContactDetail><contactId>1</contactId><key>";
    const std::string account = "<GoogleServerConfig><googleAccountId>";
    ASSERT_EQ(
        importText("<ContactDetail_table>" + detail + "3</key><value>a\tb\nc&#13;</value></ContactDetail>" + detail +
                   "4</key><value encoding='base64'>AQcH</value></ContactDetail>" + detail +
                   "5</key><value>x</value></ContactDetail>" + detail + "5</key><value/></ContactDetail>" + detail +
                   "6</key><value type='null'/></ContactDetail></ContactDetail_table><GoogleServerConfig_table>" +
                   account + "0</googleAccountId></GoogleServerConfig>" + account +
                   "1</googleAccountId><googleGroup>0</googleGroup></GoogleServerConfig>" + account +
                   "2</googleAccountId><refreshToken>t</refreshToken><needsNewAuth>0</needsNewAuth><accountname>" +
                   std::string(600, 'n') + "</accountname></GoogleServerConfig></GoogleServerConfig_table>"),
        ORINDB_OK)
        << log;
    EXPECT_EQ(rows("SELECT key, value FROM ContactDetail"), (SqliteRows{{"3", "a b c\r"}, {"4", "\1  "}}));
    EXPECT_EQ(rows("SELECT googleAccountId, googleGroup, needsNewAuth, length(accountname) FROM GoogleServerConfig"),
              (SqliteRows{{"1", "", "1", "NULL"}, {"2", "NULL", "0", "511"}}));
}

TEST_F(Xml, OneTableCanBeImportedAlone) {
    const auto import = [this](const char* table) {
        return orindb_xmlImportTable(&db, ORINDB_KONFIG, XML_FILE, table);
    };
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,2),(5,6)"), 0);
    ASSERT_EQ(exportDb(), ORINDB_OK);
    ASSERT_EQ(exec("UPDATE Contact SET contactGrpBitfield=0; DELETE FROM Contact WHERE contactId=5"), 0);
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(9,9); DELETE FROM Sonstiges"), 0);
    log.clear();
    EXPECT_EQ(import("contact"), ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM Contact ORDER BY 1"), (SqliteRows{{"1", "2"}, {"5", "6"}, {"9", "9"}}));
    EXPECT_EQ(rows("SELECT COUNT(*) FROM Sonstiges"), (SqliteRows{{"0"}})) << "not this table";
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_DEBUG, "Tabelle 16 = 'Contact' wurde geaendert"), 1U);
    EXPECT_EQ(import("Unknown"), ORINDB_NOT_FOUND);
    writeFile(XML_FILE, "<orindb database='0'/>");
    EXPECT_EQ(import("Contact"), ORINDB_NOT_FOUND);
    EXPECT_EQ(orindb_xmlImportTable(&db, ORINDB_KONFIG, XML_FILE, nullptr), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_xmlImportDb(&db, ORINDB_DATABASES, XML_FILE), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_xmlExportDb(&db, ORINDB_KONFIG, nullptr), ORINDB_INVALID_PARAMETER);
}

TEST_F(Xml, WhatIsNoExportChangesNothing) {
    ASSERT_EQ(exec(ODD_SCHEMA), ORINDB_OK) << log;
    const std::string before = dumpFile(KONFIG_FILE);
    ASSERT_EQ(exportDb(), ORINDB_OK);
    const std::string xml = readFile(XML_FILE);
    std::vector<std::string> damaged{"", "<html/>", "<orindb/>", "<orindb database='1'/>", xml + "<more/>", "\xff"};
    for (size_t cut = 1; cut < 60; ++cut) {
        damaged.push_back(xml.substr(0, xml.size() * cut / 60));
    }
    const std::string tableA = "<A_table schema='CREATE TABLE A(a)'>";
    for (const std::string& tables :
         std::vector<std::string>{"<Contact/>",
                                  "<A_table/>",
                                  "<A_table schema='CREATE TABLE A(a'/>",
                                  "<A_table schema='DROP TABLE Contact'/>",
                                  "<A_table schema='COMMIT'/>",
                                  "<A_table schema='CREATE TABLE B(a); COMMIT'><A><a/></A></A_table>",
                                  "<A_table schema64='Q1JFQVR'/>",
                                  "<_x4_table schema='CREATE TABLE A(a)'/>",
                                  tableA + "<A><b>1</b></A></A_table>",
                                  tableA + "<A><a type='date'>1</a></A></A_table>",
                                  tableA + "<A><a type='integer'>1.5</a></A></A_table>",
                                  tableA + "<A><a type='real'>1,5</a></A></A_table>",
                                  tableA + "<A><a type='integer'>9223372036854775808</a></A></A_table>",
                                  tableA + "<A><a type='blob' encoding='base64'>?</a></A></A_table>",
                                  tableA + "<A><a><b/></a></A></A_table>",
                                  tableA + "<A><_xzz_/></A></A_table>",
                                  "<Contact_table/><Contact_table/>",
                                  "<schema_index table='A' name='i'>CREATE INDEX i ON A(a)</schema_index>",
                                  "<schema_view name='v'>COMMIT; CREATE VIEW v AS SELECT 1</schema_view>",
                                  "<schema_view name='v'/>",
                                  "<schema_view name='v'>CREATE VIEW v AS <b>SELECT</b> 1</schema_view>"}) {
        damaged.push_back("<orindb database='0'>" + tables + "</orindb>");
    }
    damaged.push_back("<!DOCTYPE orindb [<!ENTITY a 'b'><!ENTITY c '&a;&a;'>]><orindb database='0'>&c;</orindb>");
    for (const std::string& file : damaged) {
        writeFile(XML_FILE, file);
        log.clear();
        EXPECT_NE(importDb(), ORINDB_OK) << file.substr(0, 200);
        EXPECT_GE(errors(), 1U) << file.substr(0, 200);
        ASSERT_EQ(difference(before, dumpFile(KONFIG_FILE)), "") << file.substr(0, 200);
    }
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_xmlImportDb: /tmp/export.xml line 1: a document type")) << log;
    EXPECT_EQ(exportDb("/data/db/konfig9.db/export.xml"), ORINDB_FAILED);
    EXPECT_NE(importDb("/tmp/missing.xml"), ORINDB_OK);
    EXPECT_NE(importDb("/tmp"), ORINDB_OK);
    writeFile(XML_FILE, xml);
    EXPECT_EQ(importDb(), ORINDB_OK) << "nothing is left open";
}

class FailingXml : public Xml {
  protected:
    FailingXml() {
        EXPECT_EQ(
            importText("<A_table schema='CREATE TABLE A(a INTEGER PRIMARY KEY AUTOINCREMENT)'><A><a>1</a></A></A_table>"
                       "<ContactDetail_table><r><value/></r></ContactDetail_table>"
                       "<schema_view name='v'>CREATE VIEW v AS SELECT 1</schema_view>"),
            ORINDB_OK);
        imported_ = dumpFile(KONFIG_FILE);
        std::filesystem::rename(XML_FILE, IMPORT_FILE);
    }
    // Exports and imports with an ever later call failing, until none is left.
    template <typename Failing, typename... Code>
    void failEach(Code... code) {
        bool hasFailed = true;
        for (int allowed = 0; hasFailed; ++allowed) {
            EXPECT_EQ(exec("DELETE FROM A"), 0);
            const std::string changed = dumpFile(KONFIG_FILE);
            log.clear();
            int result = 0;
            {
                const Failing failing(allowed, code...);
                result = exportDb();
                EXPECT_EQ(result == ORINDB_OK, fileExists(XML_FILE));
                result = result == ORINDB_OK ? importDb(IMPORT_FILE) : result;
                hasFailed = Failing::hasFailed();
            }
            EXPECT_EQ(difference(result == ORINDB_OK ? imported_ : changed, dumpFile(KONFIG_FILE)), "");
            EXPECT_TRUE(result == ORINDB_OK || errors() > 0);
            EXPECT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
            ASSERT_FALSE(HasFailure()) << "call " << allowed << '\n' << log;
            std::filesystem::remove(XML_FILE);
        }
    }

  private:
    static constexpr char IMPORT_FILE[] = "/tmp/import.xml";
    std::string imported_;
};

TEST_F(FailingXml, AnyCallOfSqliteMayFailAndAllOrNothingIsDone) {
    failEach<FailingSql>(SQLITE_FULL);
}

TEST_F(FailingXml, AnyAllocationMayFailAndAllOrNothingIsDone) {
    failEach<FailingMalloc>();
}

}  // namespace
