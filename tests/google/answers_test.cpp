// What is read from Google's answers, whatever shape they have. No network.
#include <gmock/gmock.h>

#include "google_connector.h"
#include "google_guards.h"
#include "google_people_api.h"
#include "json_loader.h"
#include "log_capture.h"
#include "orinlog.h"

namespace {

// What a member is read as, "-" for what it is not: as a text, as a truth and as a number.
std::string readAs(json_object* object) {
    const char* text = orin_jsonObjectGetString(object, "m");
    const int truth = orin_jsonObjectGetBoolean(object, "m", 7);
    const int number = orin_jsonObjectGetInteger(object, "m", -3);
    return std::string(text != nullptr ? text : "-") + " " + (truth != 7 ? std::to_string(truth) : "-") + " " +
           (number != -3 ? std::to_string(number) : "-");
}

TEST(Answers, AMemberIsReadAsItsTypeAndComplainedOfAsAnyOther) {
    const std::vector<std::array<std::string, 3>> members{{R"("Müller")", "Müller - -", "string"},
                                                          {"false", "- 0 -", "boolean"},
                                                          {"-7", "- - -7", "int"},
                                                          {"9223372036854775807", "- - 2147483647", "int"},
                                                          {"1.5", "- - -", "double"},
                                                          {"[]", "- - -", "array"},
                                                          {"null", "- - -", ""}};
    LogCapture log;
    for (const auto& [json, read, type] : members) {
        const JsonObject object(json_tokener_parse((R"({"m":)" + json + "}").c_str()));
        log.clear();
        EXPECT_EQ(readAs(object.get()), read);
        std::vector<std::string> complaints;
        for (const auto& [function, asked] :
             {std::pair{"String", "string"}, {"Boolean", "boolean"}, {"Integer", "int"}}) {
            if (type != asked && !type.empty()) {
                complaints.push_back(std::string("orin_jsonObjectGet") + function + ": failed for key='m', type " +
                                     asked + " was excepted, but type=" + type + " was found");
            }
        }
        EXPECT_EQ(log.texts(ORINLOG_ERROR), complaints);
    }
    const JsonObject list(json_tokener_parse("[1]"));
    EXPECT_EQ(readAs(nullptr) + "|" + readAs(list.get()), "- - -|- - -");
}

TEST(Answers, AConnectorThatCouldNotBeMadeFailsEveryRequest) {
    GoogleConnector noLoader{};
    Jsonloader noHandle{};
    GoogleConnector noCurl{};
    noCurl.jlContext = &noHandle;
    orin_setRefreshToken(&noCurl, "1//token");
    for (GoogleConnector* gContext : {static_cast<GoogleConnector*>(nullptr), &noLoader, &noCurl}) {
        EXPECT_EQ(orin_requestPeopleList(gContext, "", 50), nullptr);
        EXPECT_EQ(orin_pollForTokens(gContext, nullptr, 60, 2, nullptr), nullptr);
        EXPECT_EQ(orin_hasAuthentificationFailed(gContext), 1);
        EXPECT_NE(orin_getLastHttpCode(gContext), HTTP_OK);
    }
}

TEST(Answers, GroupsOfAnotherTypeAreNone) {
    for (const char* text : {"{}", R"({"contactGroups":null})", R"({"contactGroups":{}})", "[]"}) {
        const JsonObject list(json_tokener_parse(text));
        EXPECT_EQ(orin_getGroupListSize(list.get()), 0U) << text;
        EXPECT_EQ(orin_getGroup(list.get(), 0), nullptr) << text;
    }
    const JsonObject list(json_tokener_parse(R"({"contactGroups":[7]})"));
    EXPECT_EQ(orin_getGroupListSize(list.get()), 1U);
    EXPECT_EQ(orin_getGroupFormattedName(orin_getGroup(list.get(), 0)), nullptr);
    EXPECT_EQ(orin_getGroupMemberCount(orin_getGroup(list.get(), 1)), 0);
}

}  // namespace
