// A client of Google as libcurl makes one: every name leads to the stand-in's port, only its authority is trusted.
#pragma once

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <json-c/json.h>
#include <json-c/json_pointer.h>

#include <memory>
#include <string>

#include "google_standin.h"
#include "temp_dir.h"

struct Reply {
    CURLcode result{};
    long status{0};
    std::string body{};
    // The member at a path such as "/error/status" as text; "absent" when there is none.
    [[nodiscard]] std::string at(const std::string& path) const {
        const std::unique_ptr<json_object, decltype(&json_object_put)> root(json_tokener_parse(body.c_str()),
                                                                            json_object_put);
        json_object* value = nullptr;
        return json_pointer_get(root.get(), path.c_str(), &value) == 0 ? json_object_get_string(value) : "absent";
    }
    // "403 PERMISSION_DENIED": the HTTP status and such a member.
    [[nodiscard]] std::string statusAnd(const std::string& path) const {
        return std::to_string(status) + " " + at(path);
    }
};

class GoogleClient : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(google.start("127.0.0.1", 0)) << google.error();
        ASSERT_TRUE(google.authority().writeTrustDirectory(trusted));
        connectTo.reset(curl_slist_append(nullptr, ("::127.0.0.1:" + std::to_string(google.port())).c_str()));
        google.update([](GoogleAccount& account) {
            account.accessTokens = {{"live", std::chrono::steady_clock::now() + std::chrono::hours(1)}};
        });
    }

    // A GET, or a POST when there is a form. The handle is used again: connections are kept alive.
    Reply ask(const std::string& url, const std::string& form = {}, const std::string& token = "live") {
        Reply reply;
        const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(curl.get(), option, value); };
        const auto append = [](const char* bytes, size_t size, size_t count, void* text) {
            static_cast<std::string*>(text)->append(bytes, size * count);
            return size * count;
        };
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_HTTPGET, 1L);
        if (!form.empty()) {
            set(CURLOPT_POSTFIELDS, form.c_str());
        }
        set(CURLOPT_HTTPAUTH, CURLAUTH_BEARER);
        set(CURLOPT_XOAUTH2_BEARER, token.c_str());
        set(CURLOPT_CONNECT_TO, connectTo.get());
        set(CURLOPT_CAINFO, nullptr);
        set(CURLOPT_CAPATH, trusted.c_str());
        set(CURLOPT_WRITEFUNCTION, static_cast<size_t (*)(const char*, size_t, size_t, void*)>(append));
        set(CURLOPT_WRITEDATA, &reply.body);
        reply.result = curl_easy_perform(curl.get());
        curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &reply.status);
        return reply;
    }
    // A header of the last answer; "" when it has none of that name.
    std::string header(const char* name) {
        curl_header* found = nullptr;
        return curl_easy_header(curl.get(), name, 0, CURLH_HEADER, -1, &found) == CURLHE_OK ? found->value : "";
    }

    GoogleStandIn google{generateAccount(25)};
    TempDir folder;
    std::string trusted = folder.file("trusted");
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> connectTo{nullptr, curl_slist_free_all};
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl{curl_easy_init(), curl_easy_cleanup};
};

inline const std::string PEOPLE = "https://people.googleapis.com/v1/people/me/connections";
inline const std::string NAMES = PEOPLE + "?personFields=names";
inline const std::string GROUPS = "https://people.googleapis.com/v1/contactGroups";
inline const std::string TOKEN = "https://oauth2.googleapis.com/token";
inline const std::string CLIENT =
    "client_id=40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com&client_secret="
    "Qx7LmNa2Rk_pTzWv4bYcHd3F";
