// A world with Google in it: the stand-in, its authority trusted, and a connector that holds the refresh token.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "google_connector.h"
#include "google_guards.h"
#include "google_people_api.h"
#include "google_standin.h"
#include "json_loader.h"
#include "log_capture.h"
#include "orinlog.h"

struct ConnectorRelease {
    void operator()(GoogleConnector* gContext) const {
        orin_destroyGoogleConnector(gContext);
    }
};

class GoogleWorld : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(google.authority().writeTrustDirectory("/data/certs/trusted"));
        ASSERT_TRUE(google.start()) << google.error();
        orin_setRefreshToken(connector.get(), refreshToken.c_str());
    }

    // The list of people.
    JsonObject get() {
        return JsonObject(orin_requestPeopleList(connector.get(), "", 50));
    }
    bool renew() {
        return orin_renewAccessToken(connector.get()) != 0;
    }
    [[nodiscard]] bool hasLine(uint32_t level, const std::string& text) const {
        return log.has(ORINLOG_CAT_CT_SYNC, level, text);
    }
    [[nodiscard]] bool hasError(const std::string& text) const {
        return hasLine(ORINLOG_ERROR, text);
    }

    GoogleStandIn google{generateAccount(3)};
    const std::string refreshToken = GoogleAccount{}.refreshToken;
    LogCapture log;
    std::unique_ptr<GoogleConnector, ConnectorRelease> connector{orin_createGoogleConnector()};
};
