// The DECT base stations with their handset places, the call records, and the helpers that all table modules share.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <span>

#include "orindb_dectbasehw.h"
#include "orindb_dectpphw.h"
#include "orindb_gesprdat.h"
#include "set_world.h"

namespace {

struct Free {
    void operator()(void* block) const {
        free(block);
    }
};

class Tables : public OpenSet {
  protected:
    int saveBase(uint16_t slot, uint16_t port, uint16_t* id = nullptr, const char* name = "") {
        DectBaseHw base{0, "1.0", slot, port, "", 1};
        strncpy(base.name, name, sizeof(base.name) - 1);
        const int result = orindb_saveDectBaseHw(&db, &base);
        if (id != nullptr) {
            *id = base.dectBaseHwId;
        }
        return result;
    }
    // The ids of the bases that a query of theirs returns.
    std::vector<int> bases(int (*query)(DbContext*, DectBaseHw**, uint16_t*)) {
        auto* block = reinterpret_cast<DectBaseHw*>(&db);
        uint16_t count = 1;
        EXPECT_EQ(query(&db, &block, &count), ORINDB_OK);
        const std::unique_ptr<DectBaseHw, Free> owner(block);
        EXPECT_EQ(block == nullptr, count == 0);
        std::vector<int> ids;
        for (const DectBaseHw& base : std::span(block, count)) {
            ids.push_back(base.dectBaseHwId);
        }
        return ids;
    }
    static std::string places() {
        return sqliteValue(KONFIG_FILE,
                           "SELECT group_concat(dectBaseHwId||':'||ppNr||'='||dectPpHwId) FROM (SELECT * FROM "
                           "DectPpHw ORDER BY dectPpHwId)");
    }
};

// What rand() answers for this id.
int drawn(int id) {
    return static_cast<int>((id - 0.5) * 2147483647.0 / 9998.0);
}

TEST_F(Tables, ABaseKeepsTheIdOfItsPlaceOrGetsAFreeOne) {
    EXPECT_EQ(bases(orindb_getDectBaseHwAll), std::vector<int>{});
    uint16_t id = 0;
    {
        const DrawnNumbers numbers{0, drawn(1), drawn(1), 2147483647};
        ASSERT_EQ(saveBase(2, 1, &id), ORINDB_OK);
        EXPECT_EQ(id, 1);
        ASSERT_EQ(saveBase(1, 3, &id), ORINDB_OK);
        EXPECT_EQ(id, 9999) << "1 is taken";
    }
    EXPECT_EQ(
        places(),
        "1:1=8,1:2=9,1:3=10,1:4=11,1:5=12,1:6=13,1:7=14,1:8=15,9999:1=79992,9999:2=79993,9999:3=79994,9999:4=79995,"
        "9999:5=79996,9999:6=79997,9999:7=79998,9999:8=79999");
    ASSERT_EQ(exec("UPDATE DectPpHw SET teilnehmerId=5 WHERE dectPpHwId=9"), 0);
    ASSERT_EQ(saveBase(2, 1, &id, "second name"), ORINDB_OK);
    EXPECT_EQ(id, 1) << "the place is known";
    EXPECT_EQ(bases(orindb_getDectBaseHwAll), (std::vector{9999, 1})) << "by slot and port";
    EXPECT_EQ(bases(orindb_getDectBaseHwWithoutTn), std::vector{9999});
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT teilnehmerId FROM DectPpHw WHERE dectPpHwId=9"), "5")
        << "the places of a known base stay";
    EXPECT_EQ(orindb_removeDectBaseHw(&db, 1) + orindb_removeDectBaseHw(&db, 1), ORINDB_OK);
    EXPECT_EQ(bases(orindb_getDectBaseHwAll), std::vector{9999});
    EXPECT_EQ(places().substr(0, 6), "9999:1");
}

TEST_F(Tables, AMissingBaseLeavesTheRecordAndALongTextIsCut) {
    DectBaseHw base{77, "", 3, 0, "", 0};
    EXPECT_EQ(orindb_getDectBaseHw(&db, 1, &base), ORINDB_NOT_FOUND);
    EXPECT_EQ(getDectBaseHwBySlotAndPort(&db, 1, 1, &base), ORINDB_NOT_FOUND);
    EXPECT_EQ(base.dectBaseHwId, 77);
    EXPECT_EQ(base.slot, 3);
    ASSERT_EQ(exec("INSERT INTO DectBaseHw VALUES(4,'" + std::string(50, 'v') + "',65535,2,'" + std::string(300, 'n') +
                   "',NULL)"),
              0);
    EXPECT_EQ(getDectBaseHwBySlotAndPort(&db, 65535, 2, &base), ORINDB_OK);
    EXPECT_EQ(base.version, std::string(12, 'v'));
    EXPECT_EQ(base.name, std::string(128, 'n'));
    EXPECT_EQ(base.anmeldeModus, 0);
    ASSERT_EQ(exec("INSERT INTO DectBaseHw VALUES(5,'',65535,2,'',NULL)"), 0);
    EXPECT_EQ(getDectBaseHwBySlotAndPort(&db, 65535, 2, &base), ORINDB_OK) << "two of them are not none";
    EXPECT_EQ(orindb_getDectBaseHw(&db, 4, nullptr), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_saveDectBaseHw(&db, nullptr), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_saveDectBaseHw(nullptr, &base), ORINDB_INVALID_PARAMETER);
    const DectPpHw ofNone{};
    EXPECT_EQ(orindb_saveDectPpHw(&db, &ofNone), ORINDB_INVALID_PARAMETER);
}

TEST_F(Tables, AFailedSaveLeavesNeitherTheBaseNorItsPlacesChanged) {
    ASSERT_EQ(saveBase(1, 1), ORINDB_OK);
    const auto rows = [] { return sqlitePeek(KONFIG_FILE, "SELECT * FROM DectBaseHw"); };
    const SqliteRows before = rows();
    ASSERT_EQ(exec("DELETE FROM DectPpHw WHERE ppNr=8"), 0);
    EXPECT_EQ(saveBase(1, 1, nullptr, "renamed"), ORINDB_NOT_FOUND) << "seven places";
    EXPECT_EQ(rows(), before);
    ASSERT_EQ(exec("DROP TABLE DectPpHw"), 0);
    EXPECT_EQ(saveBase(2, 2), ORINDB_FAILED);
    EXPECT_EQ(rows(), before);
    ASSERT_EQ(exec("CREATE TRIGGER t BEFORE INSERT ON DectBaseHw BEGIN SELECT RAISE(ABORT,'no'); END"), 0);
    EXPECT_EQ(saveBase(1, 1), ORINDB_WRITE_FAILED);
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(orindb_removeDectBaseHw(&db, 1), ORINDB_FAILED);
    EXPECT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
}

TEST_F(Tables, CallsAreNumberedAndReadLatestFirst) {
    GesprDat call{0, "2024-03-05 09:07:00", 4000000000, 1, 5, "0301234", 2};
    ASSERT_EQ(orindb_saveGesprDat(&db, &call), ORINDB_OK);
    EXPECT_EQ(call.gesprDatId, 1U);
    call.gesprDatId = 4294967290;
    ASSERT_EQ(orindb_saveGesprDat(&db, &call), ORINDB_OK);
    call.gesprDatId = 0;
    ASSERT_EQ(orindb_saveGesprDat(&db, &call), ORINDB_OK);
    EXPECT_EQ(call.gesprDatId, 4294967291U);
    GesprDat* block = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(orindb_getGesprDatAll(&db, &block, &count), ORINDB_OK);
    const std::unique_ptr<GesprDat, Free> owner(block);
    ASSERT_EQ(count, 3);
    EXPECT_EQ(block[0].gesprDatId, 4294967291U);
    EXPECT_EQ(block[2].dauer, 4000000000U);
    EXPECT_STREQ(block[2].beginn, "2024-03-05 09:07:00");
    EXPECT_EQ(orindb_removeGesprDat(&db, 4294967291), ORINDB_OK);
    EXPECT_EQ(orindb_getGesprDat(&db, 4294967291, &call), ORINDB_NOT_FOUND);
    EXPECT_EQ(orindb_getGesprDat(&db, 1, &call), ORINDB_OK);
    EXPECT_STREQ(call.rufnummer, "0301234");
}

TEST_F(Tables, RowsAreCountedAddedUpAndPairedAsTheCallerAsks) {
    int64_t sum = -1;
    uint32_t rowCount = 0;
    EXPECT_EQ(orindb_getRowSum(&db, ORINDB_KONFIG, &sum, "contactId", "Contact", " "), ORINDB_OK);
    EXPECT_EQ(sum, 0) << "without rows";
    ASSERT_EQ(exec("INSERT INTO Contact VALUES(1,4294967295),(2,4294967295),(3,1)"), 0);
    EXPECT_EQ(orindb_getRowSum(&db, ORINDB_KONFIG, &sum, "contactGrpBitfield", "Contact", "WHERE contactId<%d", 3), 0);
    EXPECT_EQ(sum, 8589934590);
    EXPECT_EQ(orindb_getRowCount(&db, ORINDB_KONFIG, &rowCount, "Contact", "WHERE contactId IN (%s)", "2,3,4"), 0);
    EXPECT_EQ(rowCount, 2U);
    EXPECT_EQ(orindb_getRowSum(&db, ORINDB_KONFIG, &sum, "x", "Nowhere", " "), ORINDB_FAILED);

    OrindbIdPair* block = nullptr;
    uint16_t count = 1;
    EXPECT_EQ(orindb_getIdPairArray(&db, ORINDB_KONFIG, &block, &count, "SELECT * FROM %s", "Kw_Tn"), ORINDB_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(orindb_getIdPairArray(&db, ORINDB_KONFIG, &block, &count,
                                    "WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i+1 FROM n WHERE i<%d) "
                                    "SELECT i, i FROM n",
                                    65536),
              ORINDB_OK);
    EXPECT_EQ(count, 65535);
    free(block);
    const std::string padding(1900, ' ');
    EXPECT_EQ(
        orindb_getIdPairArray(&db, ORINDB_KONFIG, &block, &count,
                              "SELECT contactId, contactGrpBitfield %s FROM Contact ORDER BY 1 DESC", padding.c_str()),
        ORINDB_OK);
    const std::unique_ptr<OrindbIdPair, Free> owner(block);
    ASSERT_EQ(count, 3);
    EXPECT_EQ(block[0].first * 10 + block[0].second, 31);
    EXPECT_EQ(block[2].second, 65535) << "16 bits of it";
    EXPECT_EQ(orindb_getIdPairArray(&db, ORINDB_KONFIG, nullptr, &count, "SELECT 1,2"), ORINDB_INVALID_PARAMETER);
}

}  // namespace
