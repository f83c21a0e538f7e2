// A client of Google as libcurl makes one: every name leads to the stand-in's port, only its authority is trusted.
#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <json-c/json_pointer.h>

#include <memory>
#include <string>

#include "google_standin.h"
#include "temp_dir.h"

struct CurlRelease {
    void operator()(CURL* curl) const {
        curl_easy_cleanup(curl);
    }
};
struct JsonObjectRelease {
    void operator()(json_object* object) const {
        json_object_put(object);
    }
};
using JsonObject = std::unique_ptr<json_object, JsonObjectRelease>;

struct Reply {
    CURLcode result{};
    long status{0};
    std::string contentType{};
    std::string body{};
    // The member at a path such as "/error/status" as text; "absent" when there is none.
    [[nodiscard]] std::string at(const char* path) const {
        const JsonObject root(json_tokener_parse(body.c_str()));
        json_object* value = nullptr;
        return json_pointer_get(root.get(), path, &value) == 0 ? json_object_get_string(value) : "absent";
    }
};

class GoogleClient : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(google.start("127.0.0.1", 0)) << google.error();
        ASSERT_TRUE(google.authority().writePemFile(authority));
        connectTo.reset(curl_slist_append(nullptr, ("::127.0.0.1:" + std::to_string(google.port())).c_str()));
        google.update([](GoogleAccount& account) {
            account.accessTokens = {{"live", std::chrono::steady_clock::now() + std::chrono::hours(1)}};
        });
    }

    static size_t append(const char* bytes, size_t size, size_t count, void* text) {
        static_cast<std::string*>(text)->append(bytes, size * count);
        return size * count;
    }

    // A GET, or a POST when there is a form. The handle is used again: connections are kept alive.
    Reply ask(const std::string& url, const std::string& form = {}, const char* token = "live") {
        Reply reply;
        const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
            curl_slist_append(nullptr, (std::string("Authorization: Bearer ") + token).c_str()), curl_slist_free_all);
        curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl.get(), CURLOPT_HTTPGET, 1L);
        if (!form.empty()) {
            curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, form.c_str());
        }
        curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
        curl_easy_setopt(curl.get(), CURLOPT_CONNECT_TO, connectTo.get());
        curl_easy_setopt(curl.get(), CURLOPT_CAINFO, authority.empty() ? nullptr : authority.c_str());
        curl_easy_setopt(curl.get(), CURLOPT_CAPATH, caPath.empty() ? nullptr : caPath.c_str());
        curl_easy_setopt(curl.get(), CURLOPT_PROXY, proxy.c_str());
        curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append);
        curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &reply.body);
        reply.result = curl_easy_perform(curl.get());
        curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &reply.status);
        const char* contentType = nullptr;
        curl_easy_getinfo(curl.get(), CURLINFO_CONTENT_TYPE, &contentType);
        reply.contentType = contentType == nullptr ? "" : contentType;
        return reply;
    }

    GoogleStandIn google{generateAccount(25)};
    TempDir folder;
    std::string authority = folder.file("authority.pem");
    std::string caPath;
    std::string proxy;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> connectTo{nullptr, curl_slist_free_all};
    std::unique_ptr<CURL, CurlRelease> curl{curl_easy_init()};
};

inline const std::string PEOPLE = "https://people.googleapis.com/v1/people/me/connections";
inline const std::string TOKEN = "https://oauth2.googleapis.com/token";
inline const std::string CLIENT =
    "client_id=40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com&client_secret="
    "Qx7LmNa2Rk_pTzWv4bYcHd3F";
