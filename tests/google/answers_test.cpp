// What is read from Google's answers, whatever shape they have. No network.
#include <gtest/gtest.h>

#include "google_connector.h"
#include "google_guards.h"
#include "google_people_api.h"
#include "json_loader.h"
#include "log_capture.h"
#include "orinlog.h"

namespace {

class Answers : public ::testing::Test {
  protected:
    static JsonObject parsed(const std::string& text) {
        JsonObject object(json_tokener_parse(text.c_str()));
        EXPECT_NE(object, nullptr) << text;
        return object;
    }
    bool hasError(const std::string& text) {
        return log.has(ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR, text);
    }

    LogCapture log;
};

TEST_F(Answers, MembersOfTheExpectedTypeAreReadAndAbsentOnesAreSilent) {
    const JsonObject object = parsed(R"({"text":"Müller","no":false,"number":-7,"large":9223372036854775807})");
    EXPECT_STREQ(orin_jsonObjectGetString(object.get(), "text"), "Müller");
    EXPECT_EQ(orin_jsonObjectGetBoolean(object.get(), "no", 1), 0);
    EXPECT_EQ(orin_jsonObjectGetInteger(object.get(), "number", 1), -7);
    EXPECT_EQ(orin_jsonObjectGetInteger(object.get(), "large", 1), INT32_MAX);
    const JsonObject list = parsed("[1]");
    for (json_object* holder : {object.get(), list.get(), static_cast<json_object*>(nullptr)}) {
        EXPECT_EQ(orin_jsonObjectGetString(holder, "absent"), nullptr);
        EXPECT_EQ(orin_jsonObjectGetBoolean(holder, "absent", 7), 7);
        EXPECT_EQ(orin_jsonObjectGetInteger(holder, "absent", -3), -3);
    }
    EXPECT_FALSE(hasError("orin_jsonObjectGet"));
}

TEST_F(Answers, MembersOfAnotherTypeGiveTheDefaultAndAreLoggedWithTheirType) {
    const JsonObject object = parsed(R"({"a":1,"b":"true","c":1.5,"d":null})");
    EXPECT_EQ(orin_jsonObjectGetString(object.get(), "a"), nullptr);
    EXPECT_EQ(orin_jsonObjectGetBoolean(object.get(), "b", 1), 1);
    EXPECT_EQ(orin_jsonObjectGetInteger(object.get(), "c", 9), 9);
    EXPECT_EQ(orin_jsonObjectGetString(object.get(), "d"), nullptr);
    EXPECT_TRUE(hasError("GetString: failed for key='a', type string was excepted, but type=int was found"));
    EXPECT_TRUE(hasError("GetBoolean: failed for key='b', type boolean was excepted, but type=string was found"));
    EXPECT_TRUE(hasError("GetInteger: failed for key='c', type int was excepted, but type=double was found"));
    EXPECT_FALSE(hasError("key='d'")) << "null is as good as absent";
}

TEST_F(Answers, AGroupIsComparedByteForByteWithAllMemberships) {
    const JsonObject person = parsed(R"({"memberships":[null, "contactGroups/7", {"domainMembership":{}},
        {"contactGroupMembership":[]}, {"contactGroupMembership":{"contactGroupResourceName":7}},
        {"contactGroupMembership":{"contactGroupResourceName":"contactGroups/Work"}}]})");
    EXPECT_EQ(orin_isPersonMemberOfGroup(person.get(), "contactGroups/Work"), 1);
    for (const char* group : {"contactGroups/work", "contactGroups/Wor", "contactGroups/Works", "contactGroups/7"}) {
        EXPECT_EQ(orin_isPersonMemberOfGroup(person.get(), group), 0) << group;
    }
    for (const char* everybody : {"", "contactGroups/all", "contactGroups/0", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(orin_isPersonMemberOfGroup(parsed("{}").get(), everybody), 1);
    }
    EXPECT_EQ(orin_isPersonMemberOfGroup(nullptr, "contactGroups/1"), 0);
    EXPECT_TRUE(hasError("orin_isPersonMemberOfGroup: illegal parameter person == NULL"));
}

TEST_F(Answers, ListEntriesAreChosenByTheirPrimaryMark) {
    const JsonObject person = parsed(R"({"phoneNumbers":[
        {"value":"no metadata"}, null, "text", {"metadata":[],"value":"odd"},
        {"metadata":{},"value":"B"}, {"metadata":{"primary":true},"value":"A"},
        {"metadata":{"primary":false},"value":"C"}, {"metadata":{"primary":true},"value":"A2"},
        {"metadata":{"primary":"true"},"value":"D"}]})");
    std::string values;
    for (uint8_t n = 0; n < 4; ++n) {
        json_object* entry = orin_getPersonListEntry(person.get(), "phoneNumbers", n);
        ASSERT_NE(entry, nullptr) << values;
        values += orin_jsonObjectGetString(entry, "value");
    }
    EXPECT_EQ(values, "ABCD");
    EXPECT_TRUE(hasError("for key='primary', type boolean was excepted, but type=string was found"));
    EXPECT_EQ(orin_getPersonListEntry(person.get(), "phoneNumbers", 4), nullptr);
    EXPECT_EQ(orin_getPersonListEntry(nullptr, "phoneNumbers", 0), nullptr);
}

TEST_F(Answers, ListsOfAnotherTypeAreEmptyLists) {
    for (const char* list : {"null", "{}", "\"text\"", "5", "true", "[]"}) {
        const JsonObject object(json_object_new_object());
        for (const char* key : {"memberships", "urls", "contactGroups"}) {
            json_object_object_add(object.get(), key, json_tokener_parse(list));
        }
        EXPECT_EQ(orin_isPersonMemberOfGroup(object.get(), "contactGroups/1"), 0) << list;
        EXPECT_EQ(orin_getPersonListEntry(object.get(), "urls", 1), nullptr) << list;
        EXPECT_EQ(orin_getGroupListSize(object.get()), 0U) << list;
        EXPECT_EQ(orin_getGroup(object.get(), 0), nullptr) << list;
    }
}

TEST_F(Answers, MissingArgumentsAreLoggedAndGiveTheFailureValue) {
    EXPECT_EQ(orin_getGroupListSize(nullptr), 0U);
    EXPECT_TRUE(hasError("orin_getGroupListSize: illegal parameter groupList==NULL"));
    EXPECT_EQ(orin_getGroupMemberCount(orin_getGroup(nullptr, 0)), 0);
    EXPECT_TRUE(hasError("orin_getGroupMemberCount: illegal parameter group==NULL"));
    GoogleConnector noLoader{};
    for (GoogleConnector* gContext : {&noLoader, static_cast<GoogleConnector*>(nullptr)}) {
        EXPECT_EQ(orin_pollForTokens(gContext, "code", 60, 2, nullptr), nullptr);
        EXPECT_EQ(orin_hasAuthentificationFailed(gContext), 1);
        EXPECT_EQ(orin_getLastHttpCode(gContext), HTTP_INTERNAL_SERVER_ERROR);
    }
    EXPECT_TRUE(hasError("orin_pollForTokens: illegal parameter, gContext == NULL"));
    EXPECT_TRUE(hasError("orin_pollForTokens: illegal parameter, gContext->jlContext == NULL"));

    Jsonloader noHandle{nullptr, 204};
    EXPECT_EQ(orin_requestJsonObject(&noHandle, "https://localhost/", nullptr, nullptr), nullptr);
    EXPECT_TRUE(hasError("orin_requestJsonObject: failed, jLContext or jLContext->curl is NULL"));
    EXPECT_EQ(orin_getJsonloaderHttpCode(&noHandle), 204);
}

}  // namespace
