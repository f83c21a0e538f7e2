// A world with Google in it: the stand-in, its authority trusted, and a connector that holds the refresh token.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "google_connector.h"
#include "google_guards.h"
#include "google_standin.h"
#include "json_loader.h"
#include "log_capture.h"
#include "orinlog.h"

struct ConnectorRelease {
    void operator()(GoogleConnector* gContext) const {
        orin_destroyGoogleConnector(gContext);
    }
};
using Connector = std::unique_ptr<GoogleConnector, ConnectorRelease>;

constexpr char PEOPLE_URL[] = "https://people.googleapis.com/v1/people/me/connections?personFields=names";

class GoogleWorld : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(google.authority().writeTrustDirectory("/data/certs/trusted"));
        ASSERT_TRUE(google.start()) << google.error();
        connector.reset(orin_createGoogleConnector());
        ASSERT_NE(connector, nullptr);
        google.update([&](GoogleAccount& account) { refreshToken = account.refreshToken; });
        orin_setRefreshToken(connector.get(), refreshToken.c_str());
    }

    JsonObject get(const char* url = PEOPLE_URL) {
        return JsonObject(orin_requestGoogleApiObject(connector.get(), url));
    }

    bool hasLine(uint32_t level, const std::string& text) {
        return log.has(ORINLOG_CAT_CT_SYNC, level, text);
    }
    bool hasError(const std::string& text) {
        return hasLine(ORINLOG_ERROR, text);
    }

    GoogleStandIn google{generateAccount(3)};
    std::string refreshToken;
    LogCapture log;
    Connector connector;
};
