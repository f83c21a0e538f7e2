#include "orindb_repair.h"

#include <array>

#include "db_googleserverconf.h"
#include "orindb_contactdetail.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_repair.c"};

struct RepairStep {
    const char* name;
    int (*repair)(DbContext* dbContext);  // nullptr: the module is not part of this build
};

int repairContactDetails(DbContext* dbContext) {
    const int result = orindb_repairContactDetailTable(dbContext);
    return result == ORINDB_OK ? orindb_removeUnusedPhotos(dbContext) : result;
}

// In the order in which they build on each other. Steps of modules that this build does not have do nothing.
constexpr std::array STEPS{
    RepairStep{"db_resetTransientSubscrOfferData", nullptr},
    RepairStep{"db_resetTransientDeviceData", nullptr},
    RepairStep{"orindb_watchOutForIntPortsWithAmtId", nullptr},
    RepairStep{"orindb_removeGebKontoBackup", nullptr},
    RepairStep{"orindb_removeInvalidClipColp", nullptr},
    RepairStep{"orindb_removeInvalidRufVts", nullptr},
    RepairStep{"orindb_repairContactDetailTable", repairContactDetails},
    RepairStep{"orindb_syncNotifyLevels", nullptr},
    RepairStep{"refresh of the TuerStation view", nullptr},
    RepairStep{"orindb_removeTempVmdBox", nullptr},
    RepairStep{"db_repairProvBackupTable", nullptr},
    RepairStep{"orindb_repairSeiteAuthor", nullptr},
    RepairStep{"orindb_repairGoogleServerConf", orindb_repairGoogleServerConf},
};

}  // namespace

int orindb_repairConfiguration(DbContext* dbContext) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    for (const RepairStep& step : STEPS) {
        if (step.repair == nullptr) {
            ORINLOG_FN(ORINLOG_EDEBUG, "%s is not part of this build", step.name);
        } else if (result == ORINDB_OK) {
            result = step.repair(dbContext);
        }
    }
    return transaction.end(result);
}
