// Export and import of a database: what comes back, what the tables of this version make of it, what damages nothing.
#include <filesystem>

#include "failing_malloc.h"
#include "file_tools.h"
#include "orindb_xml.h"
#include "set_world.h"

namespace {

constexpr char XML_FILE[] = "/tmp/export.xml";

class Xml : public OpenSet {
  protected:
    int exportDb() {
        return orindb_xmlExportDb(&db, ORINDB_KONFIG, XML_FILE);
    }
    int importDb(const char* path = XML_FILE) {
        return orindb_xmlImportDb(&db, ORINDB_KONFIG, path);
    }
    int importText(const std::string& tables) {
        writeFile(XML_FILE, "<orindb database='0'>" + tables + "</orindb>");
        return importDb();
    }
    // Exports and imports with an ever later call failing, until none is left.
    template <typename Failing, typename... Kind>
    void failEach(Kind... kind) {
        ASSERT_EQ(
            importText("<A_table schema='CREATE TABLE A(a INTEGER PRIMARY KEY AUTOINCREMENT)'><A><a>1</a></A></A_table>"
                       "<ContactDetail_table><r><value/></r></ContactDetail_table>"
                       "<schema_view name='v'>CREATE VIEW v AS SELECT 1</schema_view>"),
            ORINDB_OK);
        const std::string imported = dumpFile(KONFIG_FILE);
        std::filesystem::rename(XML_FILE, "/tmp/import.xml");
        bool hasFailed = true;
        for (int allowed = 0; hasFailed; ++allowed) {
            EXPECT_EQ(exec("DELETE FROM A"), ORINDB_OK);
            const std::string changed = dumpFile(KONFIG_FILE);
            log.clear();
            int result = 0;
            {
                const Failing failing(kind..., allowed);
                result = exportDb();
                EXPECT_EQ(result == ORINDB_OK, fileExists(XML_FILE));
                result = result == ORINDB_OK ? importDb("/tmp/import.xml") : result;
                hasFailed = Failing::hasFailed();
            }
            EXPECT_EQ(difference(result == ORINDB_OK ? imported : changed, dumpFile(KONFIG_FILE)), "");
            EXPECT_TRUE(result == ORINDB_OK || errors() > 0);
            EXPECT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
            ASSERT_FALSE(HasFailure()) << "call " << allowed << '\n' << log;
            std::filesystem::remove(XML_FILE);
        }
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
    EXPECT_EQ(rows("SELECT typeof(contactId), * FROM Contact"), "integer|7|NULL;");
    EXPECT_EQ(rows("SELECT version, minorVersion FROM DbFileVersion"), "1987|6;");
    EXPECT_EQ(rows("SELECT COUNT(*) FROM ContactGroup"), "0;") << "it was in the file";
    EXPECT_EQ(rows("SELECT name FROM sqlite_master WHERE name IN ('g','Gone','Telefonbuch1View','ContactNames') AND "
                   "sql NOT LIKE '%SELECT 1' ORDER BY type, name"),
              "ContactNames;Gone;Telefonbuch1View;");
    EXPECT_TRUE(hasLine(ORINLOG_WARNING, "orindb_xmlCreateObject: g is left out: its table has another schema now"));
    EXPECT_TRUE(hasLine(ORINLOG_WARNING, "logLeftOut: gone of contact is left out: there is no such column"));
}

TEST_F(Xml, ATableThatIsKnownInPartKeepsWhatOthersPutThere) {
    ASSERT_EQ(exec("DROP TABLE Teilnehmer; CREATE TABLE Teilnehmer(teilnehmerId INTEGER PRIMARY KEY, name, pin DEFAULT "
                   "1234); INSERT INTO Teilnehmer VALUES(11,'Empfang',4711); DROP TABLE CallThrough; CREATE TABLE "
                   "CallThrough(contactId, number); INSERT INTO CallThrough VALUES(1,'a'),(1,'b')"),
              ORINDB_OK);
    ASSERT_EQ(exportDb(), ORINDB_OK);
    ASSERT_EQ(importDb(), ORINDB_OK) << log;
    EXPECT_EQ(rows("SELECT name, pin, contactGrpBitfield FROM Teilnehmer"), "Empfang|4711|NULL;");
    EXPECT_EQ(rows("SELECT number, useSperrwerk FROM CallThrough"), "a|NULL;b|NULL;");
    ASSERT_EQ(exec("UPDATE Teilnehmer SET name='neu', pin=0"), ORINDB_OK);
    ASSERT_EQ(orindb_xmlImportTable(&db, ORINDB_KONFIG, XML_FILE, "Teilnehmer"), ORINDB_OK) << log;
    EXPECT_EQ(rows("SELECT name, pin FROM Teilnehmer"), "Empfang|4711;");
    EXPECT_EQ(importText("<Autor_table><r><adminNVVN>1</adminNVVN><gone>2</gone></r></Autor_table>"), ORINDB_OK) << log;
    EXPECT_EQ(rows("SELECT * FROM Autor"), "NULL|1;");
    EXPECT_EQ(errors(), 0U) << log;
    for (const char* schema : {"CREATE TEMP TABLE Autor(autorId)", "CREATE VIEW Autor AS SELECT 1 autorId"}) {
        EXPECT_NE(importText(std::string("<Autor_table schema='") + schema + "'/>"), ORINDB_OK) << schema;
    }
}

TEST_F(Xml, ModulesHaveRulesForTheirRows) {
    const std::string begin = "<r><googleAccountId>";
    ASSERT_EQ(importText("<GoogleServerConfig_table>" + begin + "0</googleAccountId></r>" + begin +
                         "1</googleAccountId><googleGroup>0</googleGroup><accountname>" + std::string(600, 'n') +
                         "</accountname></r><r><googleAccountId "
                         "type='real'>1p+1</googleAccountId></r></"
                         "GoogleServerConfig_table><ContactDetail_table><r><contactId>1</contactId>"
                         "<key>3</key><value>a\tb\nc</value></r></ContactDetail_table>"),
              ORINDB_OK);
    EXPECT_EQ(rows("SELECT value FROM ContactDetail"), "a b c;");
    EXPECT_EQ(orindb_xmlImportTable(&db, ORINDB_KONFIG, XML_FILE, "Contact"), ORINDB_NOT_FOUND) << "not in the file";
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "Tabelle 17 = 'ContactDetail' wurde geaendert"));
    EXPECT_EQ(rows("SELECT googleAccountId, googleGroup, needsNewAuth, length(accountname) FROM GoogleServerConfig"),
              "1||1|511;2|NULL|1|NULL;");
}

TEST_F(Xml, WhatIsNoExportGivesACodeAndChangesNothing) {
    ASSERT_EQ(exec(ODD_SCHEMA), ORINDB_OK) << log;
    const std::string before = dumpFile(KONFIG_FILE);
    ASSERT_EQ(exportDb(), ORINDB_OK);
    const std::string xml = readFile(XML_FILE);
    std::vector<std::string> damaged{xml + "<more/>", "", "<html/>", "<orindb/>", "<orindb database='1'/>", "\xff"};
    damaged.emplace_back("<!DOCTYPE orindb [<!ENTITY a 'b'><!ENTITY c '&a;&a;'>]><orindb database='0'>&c;</orindb>");
    for (size_t cut = 1; cut < 60; ++cut) {
        damaged.push_back(xml.substr(0, xml.size() * cut / 60));
    }
    for (const std::string tables :
         {"<Contact/>", "<A_table/>", "<A_table schema='CREATE TABLE A(a'/>", "<A_table schema='DROP TABLE Contact'/>",
          "<A_table schema='COMMIT'/>", "<A_table schema='CREATE TABLE B(a); COMMIT'><A><a/></A></A_table>",
          "<A_table schema64='Q1JFQVR'/>", "<_x4_table schema='CREATE TABLE A(a)'/>",
          "<Contact_table/><Contact_table/>", "<schema_index table='A' name='i'>CREATE INDEX i ON A(a)</schema_index>",
          "<schema_view name='v'>COMMIT; CREATE VIEW v AS SELECT 1</schema_view>", "<schema_view name='v'/>",
          "<schema_view name='v'>CREATE VIEW v AS <b>SELECT</b> 1</schema_view>"}) {
        damaged.push_back("<orindb database='0'>" + tables + "</orindb>");
    }
    for (const std::string value : {"<b>1</b>", "<a type='date'>1</a>", "<a type='integer'>1.5</a>",
                                    "<a type='real'>1,5</a>", "<a type='integer'>9223372036854775808</a>",
                                    "<a type='blob' encoding='base64'>?</a>", "<a><b/></a>", "<_xzz_/>"}) {
        damaged.push_back("<orindb database='0'><A_table schema='CREATE TABLE A(a)'><A>" + value +
                          "</A></A_table></orindb>");
    }
    for (const std::string& file : damaged) {
        writeFile(XML_FILE, file);
        log.clear();
        EXPECT_NE(importDb(), ORINDB_OK) << file.substr(0, 200);
        EXPECT_GE(errors(), 1U) << file.substr(0, 200);
        ASSERT_EQ(difference(before, dumpFile(KONFIG_FILE)), "") << file.substr(0, 200);
    }
    writeFile(XML_FILE, xml);
    EXPECT_EQ(importDb(), ORINDB_OK) << "nothing is left open";
}

TEST_F(Xml, AnyCallOfSqliteMayFailAndAllOrNothingIsDone) {
    failEach<Fault>(Fault::sql);
}

TEST_F(Xml, AnyAllocationMayFailAndAllOrNothingIsDone) {
    failEach<FailingMalloc>();
}

}  // namespace
