#include "json_loader.h"

#include <curl/curl.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <new>

#include "google_guards.h"
#include "orin_guards.h"
#include "orin_memory.h"
#include "orin_proxysettings.h"
#include "orin_wget.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "json_loader.c"};

constexpr long CONNECT_TIMEOUT = 10;          // seconds
constexpr long TRANSFER_TIMEOUT = 10;         // seconds, connecting included
constexpr size_t LANGUAGE_HEADER_SIZE = 256;  // bytes

// The body of an answer; the block holds length + 1 bytes, the last a NUL.
struct ResponseBuffer {
    Malloced<char> data;
    size_t length = 0;
};

// libcurl hands over each piece of a body here; any other result than the piece's length ends the transfer.
size_t orin_jsonWriteCallback(char* data, size_t size, size_t count, void* buffer) {
    if (buffer == nullptr) {
        return 0;
    }
    auto* response = static_cast<ResponseBuffer*>(buffer);
    const size_t added = size * count;
    auto* grown = static_cast<char*>(realloc(response->data.get(), response->length + added + 1));
    if (grown == nullptr) {
        return 0;
    }
    memcpy(grown + response->length, data, added);
    static_cast<void>(response->data.release());
    response->data.reset(grown);
    response->length += added;
    grown[response->length] = '\0';
    return added;
}

// What holds for every request of a handle. Redirections are not followed: Google sends none here, and a token must not
// go where they lead.
void setTransferOptions(CURL* curl) {
    curl_easy_setopt(curl, CURLOPT_USERAGENT, ORIN_USER_AGENT);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, CONNECT_TIMEOUT);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, TRANSFER_TIMEOUT);
    curl_easy_setopt(curl, CURLOPT_HTTP09_ALLOWED, 1L);
    curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 1L);  // libcurl takes 1 for 2: the name must match
    curl_easy_setopt(curl, CURLOPT_CAPATH, ORIN_TRUSTED_CA_DIRECTORY);
    // And nothing that this machine's libcurl was built to trust besides.
    curl_easy_setopt(curl, CURLOPT_CAINFO, static_cast<const char*>(nullptr));
}

// The PBX's own proxy or none: the empty texts keep libcurl from taking either the proxy or exceptions from it from the
// environment.
void setProxy(CURL* curl) {
    OrinProxySettings proxy;
    orin_readProxyConf(&proxy);
    char address[ORIN_PROXY_ADDRESS_SIZE];
    orin_getProxyAddress(&proxy, address, sizeof(address));
    curl_easy_setopt(curl, CURLOPT_PROXY, address);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "");
    if (address[0] == '\0') {
        return;
    }
    orin_readProxyAuthConf(&proxy);
    // Credentials that are there are used, whether "authorization:" is on or not.
    if (proxy.userName[0] != '\0' && proxy.password[0] != '\0') {
        curl_easy_setopt(curl, CURLOPT_PROXYUSERNAME, proxy.userName);
        curl_easy_setopt(curl, CURLOPT_PROXYPASSWORD, proxy.password);
    }
}

// The handle is used again and again, so each request sets what the one before may have left.
void setMethod(CURL* curl, const char* postFields) {
    const bool isPost = postFields != nullptr;
    curl_easy_setopt(curl, CURLOPT_POST, isPost ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, postFields);
    curl_easy_setopt(curl, CURLOPT_HTTPGET, isPost ? 0L : 1L);
}

// Without memory the line is missing; a request without its authorisation is then refused by Google.
void appendHeader(HeaderList& headers, const char* line) {
    curl_slist* longer = curl_slist_append(headers.get(), line);
    if (longer != nullptr) {
        static_cast<void>(headers.release());
        headers.reset(longer);
    }
}

// Google words some texts ("formattedType", "formattedName") in the language that is asked for.
void appendLanguageHeader(HeaderList& headers) {
    const char* locale = setlocale(LC_MESSAGES, nullptr);
    if (locale == nullptr || strcmp(locale, "C") == 0) {
        appendHeader(headers, "Accept-Language: de_DE,de;q=0.8,en-US;q=0.5,en;q=0.3");
        return;
    }
    const CutText<LANGUAGE_HEADER_SIZE> line("Accept-Language: %s,%.2s;q=0.8,en-US;q=0.5,en;q=0.3", locale, locale);
    appendHeader(headers, line.text());
}

uint16_t responseCode(CURL* curl) {
    long code = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
    return static_cast<uint16_t>(code);
}

// A member that is null is as good as absent.
bool findMember(json_object* obj, const char* key, json_object** member) {
    *member = key != nullptr ? json_object_object_get(obj, key) : nullptr;
    return *member != nullptr;
}

// The name for a log line.
const char* foundType(json_object* member) {
    return json_type_to_name(json_object_get_type(member));
}

}  // namespace

Jsonloader* orin_createJsonloader() {
    auto* jlContext = new (std::nothrow) Jsonloader{};
    if (jlContext == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, out of memory?");
        return nullptr;
    }
    CURL* curl = curl_easy_init();
    if (curl == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "curl_easy_init() failed");
        return jlContext;
    }
    jlContext->curl = curl;
    setTransferOptions(curl);
    setProxy(curl);
    return jlContext;
}

void orin_destroyJsonloader(Jsonloader* jlContext) {
    if (jlContext == nullptr || jlContext->curl == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter, jLContext or jLContext->curl is NULL");
    } else {
        curl_easy_cleanup(jlContext->curl);
    }
    delete jlContext;
}

json_object* orin_requestJsonObject(Jsonloader* jlContext, const char* url, const char* postFields,
                                    const char* extraHeader) {
    if (jlContext == nullptr || jlContext->curl == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, jLContext or jLContext->curl is NULL");
        return nullptr;
    }
    CURL* curl = jlContext->curl;
    // The handle keeps pointers to the buffer, the header lines and the form until the next request replaces them; it
    // uses none in between.
    ResponseBuffer response;
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, orin_jsonWriteCallback);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response);
    setMethod(curl, postFields);
    HeaderList headers;
    appendLanguageHeader(headers);
    if (extraHeader != nullptr) {
        appendHeader(headers, extraHeader);
    }
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl, CURLOPT_URL, url);

    ORINLOG_FN(ORINLOG_EDEBUG, "request url=%s", url);
    const CURLcode result = curl_easy_perform(curl);
    if (result != CURLE_OK) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, curl_error=%s", curl_easy_strerror(result));
        jlContext->lastHttpCode = HTTP_SERVICE_UNAVAILABLE;
        return nullptr;
    }
    jlContext->lastHttpCode = responseCode(curl);
    if (jlContext->lastHttpCode != HTTP_OK) {
        ORINLOG_FN(ORINLOG_DEBUG, "httpCode=%lu", static_cast<unsigned long>(jlContext->lastHttpCode));
    }
    if (response.length == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "url=%s empty response", url);
        return nullptr;
    }
    json_object* answer = json_tokener_parse(response.data.get());
    if (answer == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "url=%s json_tokener_parse returns NULL", url);
    } else {
        ORINLOG_FN(ORINLOG_EDEBUG, "response jsonObj=%s", json_object_to_json_string(answer));
    }
    return answer;
}

uint16_t orin_getJsonloaderHttpCode(const Jsonloader* jlContext) {
    return jlContext != nullptr ? jlContext->lastHttpCode : HTTP_INTERNAL_SERVER_ERROR;
}

const char* orin_jsonObjectGetString(json_object* obj, const char* key) {
    json_object* member = nullptr;
    if (!findMember(obj, key, &member)) {
        return nullptr;
    }
    if (json_object_is_type(member, json_type_string) == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "failed for key='%s', type string was excepted, but type=%s was found", key,
                   foundType(member));
        return nullptr;
    }
    return json_object_get_string(member);
}

uint8_t orin_jsonObjectGetBoolean(json_object* obj, const char* key, uint8_t defaultValue) {
    json_object* member = nullptr;
    if (!findMember(obj, key, &member)) {
        return defaultValue;
    }
    if (json_object_is_type(member, json_type_boolean) == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "failed for key='%s', type boolean was excepted, but type=%s was found", key,
                   foundType(member));
        return defaultValue;
    }
    return json_object_get_boolean(member) != 0 ? 1 : 0;
}

int32_t orin_jsonObjectGetInteger(json_object* obj, const char* key, int32_t defaultValue) {
    json_object* member = nullptr;
    if (!findMember(obj, key, &member)) {
        return defaultValue;
    }
    if (json_object_is_type(member, json_type_int) == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "failed for key='%s', type int was excepted, but type=%s was found", key,
                   foundType(member));
        return defaultValue;
    }
    return json_object_get_int(member);
}

json_object* orin_jsonObjectGetArray(json_object* obj, const char* key) {
    json_object* member = nullptr;
    return findMember(obj, key, &member) && json_object_is_type(member, json_type_array) != 0 ? member : nullptr;
}
