// Table modules with rows of their own kind, and what all modules count and look up with.
#include "orindb_contact.h"
#include "orindb_dectbasehw.h"
#include "orindb_gesprdat.h"
#include "set_world.h"

namespace {

TEST_F(OpenSet, ABaseIsStoredWithItsPlacesOrNotAtAll) {
    const auto save = [this](uint16_t port, uint8_t mode) {
        DectBaseHw base{0, "1.0", 2, port, "name", mode};
        return orindb_saveDectBaseHw(&db, &base);
    };
    drawNumbers({0, 100000, 2147483647});  // 1, 1 again, 9999
    EXPECT_THAT(Codes({save(1, 1), save(3, 1)}), testing::Each(ORINDB_OK));
    failEachCall([&] { return save(1, 2); });
    failEachCall([&] { return save(4, 5); });
    ASSERT_EQ(exec("DELETE FROM DectPpHw WHERE dectPpHwId=79999"), 0);
    EXPECT_EQ(save(3, 3), ORINDB_NOT_FOUND) << "seven places";
    EXPECT_EQ(
        rows("SELECT p.dectBaseHwId, port, anmeldeModus, MIN(dectPpHwId), MAX(dectPpHwId), MAX(ppNr) FROM DectPpHw "
             "p JOIN DectBaseHw b USING(dectBaseHwId) WHERE port<4 GROUP BY 1"),
        "1|1|2|8|15|8;9999|3|1|79992|79998|7;");
    failEachCall([&] { return orindb_removeDectBaseHw(&db, 1); });
    ASSERT_EQ(exec("UPDATE DectPpHw SET teilnehmerId=5 WHERE dectBaseHwId=9999"), 0);
    const auto all = read<DectBaseHw, uint16_t>([&](auto... out) { return orindb_getDectBaseHwAll(&db, out...); });
    const auto unused =
        read<DectBaseHw, uint16_t>([&](auto... out) { return orindb_getDectBaseHwWithoutTn(&db, out...); });
    EXPECT_THAT((std::array{all.size(), unused.size()}), testing::ElementsAre(2, 1));
}

TEST_F(OpenSet, CallsGetRisingNumbersAndTheLatestComesFirst) {
    const std::string number(60, '7');
    for (const uint8_t direction : {uint8_t{0}, uint8_t{1}, uint8_t{2}}) {
        GesprDat call{0, "2024-03-05 09:07:00", 70000, direction, 65535, "", 12};
        number.copy(call.rufnummer, sizeof(call.rufnummer) - 1);
        EXPECT_EQ(orindb_saveGesprDat(&db, &call), ORINDB_OK);
        EXPECT_EQ(call.gesprDatId, direction + 1U);
    }
    EXPECT_EQ(orindb_removeGesprDat(&db, 2), ORINDB_OK);
    GesprDat call{};
    EXPECT_EQ(orindb_getGesprDat(&db, 2, &call), ORINDB_NOT_FOUND);
    EXPECT_EQ(orindb_getGesprDat(&db, 3, &call), ORINDB_OK);
    EXPECT_EQ(call.beginn + ('|' + std::to_string(call.dauer) + '|') + call.rufnummer,
              "2024-03-05 09:07:00|70000|" + number.substr(0, 40));
    const auto all = read<GesprDat, uint16_t>([&](auto... out) { return orindb_getGesprDatAll(&db, out...); });
    ASSERT_EQ(all.size(), 2U);
    EXPECT_THAT((std::array{all[0].gesprDatId, all[1].gesprDatId}), testing::ElementsAre(3, 1));
}

TEST_F(OpenSet, RowsAreSummedPairedAndFoundByHalves) {
    for (uint16_t id = 2; id <= 18; id += 4) {
        const Contact contact{id, 0x80000000};
        ASSERT_EQ(orindb_replaceKontakt(&db, &contact), ORINDB_OK);
    }
    int64_t sum = 0;
    EXPECT_EQ(orindb_getRowSum(&db, ORINDB_KONFIG, &sum, "contactGrpBitfield", "Contact", "WHERE contactId>%d", 6),
              ORINDB_OK);
    EXPECT_EQ(sum, 3 * int64_t{0x80000000});
    const auto pairs = read<OrindbIdPair, uint16_t>([&](auto... out) {
        return orindb_getIdPairArray(&db, ORINDB_KONFIG, out..., "SELECT contactId, contactId+%d FROM Contact", 65530);
    });
    ASSERT_EQ(pairs.size(), 5U);
    EXPECT_EQ(pairs.back().second, 12) << "65548 in 16 bits";
    const auto contacts =
        read<Contact>([&](auto... out) { return orindb_getContactArray(&db, out..., "ORDER BY contactId"); });
    for (uint32_t count = 0; count <= contacts.size(); ++count) {
        for (uint16_t id = 0; id < 20; ++id) {
            const bool isThere = id % 4 == 2 && id / 4U < count;
            EXPECT_EQ(orindb_findContactInArray(contacts.data(), count, id), isThere ? id / 4 : -1) << id;
        }
    }
}

}  // namespace
