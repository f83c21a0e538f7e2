#include "google_connector.h"

#include <new>

#include "google_endpoints.h"
#include "google_guards.h"
#include "json_loader.h"
#include "orin_stringutils.h"
#include "orin_tools.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "google_connector.c"};

constexpr size_t FORM_SIZE = 1024;    // bytes of a form body
constexpr size_t HEADER_SIZE = 1024;  // bytes of a header line

// A device code's life and the time between two polls, in seconds.
constexpr uint32_t MIN_EXPIRES_IN = 60;
constexpr uint32_t MAX_EXPIRES_IN = 1800;
constexpr uint32_t DEFAULT_EXPIRES_IN = 1800;
constexpr uint32_t MIN_INTERVAL = 2;
constexpr uint32_t MAX_INTERVAL = 10;
constexpr uint32_t DEFAULT_INTERVAL = 5;

constexpr int MAX_API_REQUESTS = 2;  // of one call: the first, and one more with a renewed token

bool isEmpty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

// The byte is written by a signal handler at any time. Nobody's flag is never set.
bool isSet(const volatile uint8_t* abortFlag) {
    return abortFlag != nullptr && *abortFlag != 0;
}

uint32_t inRangeOr(uint32_t value, uint32_t least, uint32_t most, uint32_t otherwise) {
    return value >= least && value <= most ? value : otherwise;
}

// Form values go out as they are: what Google issues consists of characters that need no encoding.
JsonObject post(GoogleConnector* gContext, const char* url, const char* form) {
    return JsonObject(orin_requestJsonObject(gContext->jlContext, url, form, nullptr));
}

// An answer of the last request that is no error object.
bool isUsable(const GoogleConnector* gContext, const JsonObject& answer) {
    return answer != nullptr && orin_getJsonloaderHttpCode(gContext->jlContext) == HTTP_OK;
}

// One authorised GET; its status becomes the connector's. A header that is too long goes out cut, and Google refuses
// it.
JsonObject get(GoogleConnector* gContext, const char* url) {
    const CutText<HEADER_SIZE> authorization("Authorization: %s %s", gContext->tokenType, gContext->accessToken);
    JsonObject answer(orin_requestJsonObject(gContext->jlContext, url, nullptr, authorization.text()));
    gContext->lastHttpCode = orin_getJsonloaderHttpCode(gContext->jlContext);
    return answer;
}

// A renewal on behalf of a request, whose failure is remembered.
bool renewForRequest(GoogleConnector* gContext) {
    gContext->authentificationFailed = 0;
    if (orin_renewAccessToken(gContext) == 0) {
        gContext->authentificationFailed = 1;
    }
    return gContext->authentificationFailed == 0;
}

// All or none: an access token without its refresh token would end with the hour. What is missing is logged in the name
// of `function`.
void installTokens(GoogleConnector* gContext, json_object* tokens, const char* function) {
    const char* refreshToken = orin_jsonObjectGetString(tokens, "refresh_token");
    const char* accessToken = orin_jsonObjectGetString(tokens, "access_token");
    const char* tokenType = orin_jsonObjectGetString(tokens, "token_type");
    if (refreshToken == nullptr) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "failed, got no refresh token");
    }
    if (accessToken == nullptr) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "failed, got no access token");
    }
    if (tokenType == nullptr) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "failed, got no token type ");
    }
    if (refreshToken != nullptr && accessToken != nullptr && tokenType != nullptr) {
        orin_strncpy(gContext->refreshToken, refreshToken);
        orin_strncpy(gContext->accessToken, accessToken);
        orin_strncpy(gContext->tokenType, tokenType);
    }
}

}  // namespace

GoogleConnector* orin_createGoogleConnector() {
    auto* gContext = new (std::nothrow) GoogleConnector{};
    if (gContext == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, out of memory?");
        return nullptr;
    }
    gContext->jlContext = orin_createJsonloader();
    if (gContext->jlContext == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "orin_createJsonloader() failed");
        delete gContext;
        return nullptr;
    }
    return gContext;
}

void orin_destroyGoogleConnector(GoogleConnector* gContext) {
    // A connector without a loader is reported and freed all the same.
    if (orin_checkGContext(gContext, __func__) != 0) {
        orin_destroyJsonloader(gContext->jlContext);
    }
    delete gContext;
}

uint8_t orin_checkGContext(const GoogleConnector* gContext, const char* functionName) {
    if (gContext == nullptr) {
        ORINLOG_FOR(functionName, ORINLOG_ERROR, "illegal parameter, gContext == NULL");
        return 0;
    }
    if (gContext->jlContext == nullptr) {
        ORINLOG_FOR(functionName, ORINLOG_ERROR, "illegal parameter, gContext->jlContext == NULL");
        return 0;
    }
    return 1;
}

void orin_setRefreshToken(GoogleConnector* gContext, const char* refreshToken) {
    if (orin_checkGContext(gContext, __func__) == 0) {
        return;
    }
    if (isEmpty(refreshToken)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter, refreshToken == NULL or empty");
        return;
    }
    orin_strncpy(gContext->refreshToken, refreshToken);
}

json_object* orin_requestDeviceCode(GoogleConnector* gContext) {
    if (orin_checkGContext(gContext, __func__) == 0) {
        return nullptr;
    }
    const CutText<FORM_SIZE> form("client_id=%s&scope=%s", GOOGLE_CLIENT_ID, GOOGLE_CONTACTS_SCOPE);
    JsonObject deviceCode = post(gContext, GOOGLE_DEVICE_CODE_ENDPOINT, form.text());
    if (!isUsable(gContext, deviceCode)) {
        ORINLOG_FN(ORINLOG_ERROR, "orin_requestJsonObject failed deviceCode=%p lastHttpCode=%i",
                   static_cast<void*>(deviceCode.get()), orin_getJsonloaderHttpCode(gContext->jlContext));
    }
    return deviceCode.release();
}

json_object* orin_requestTokens(GoogleConnector* gContext, const char* deviceCode) {
    if (orin_checkGContext(gContext, __func__) == 0) {
        return nullptr;
    }
    if (isEmpty(deviceCode)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter, deviceCode == NULL or empty");
        return nullptr;
    }
    const CutText<FORM_SIZE> form("client_id=%s&client_secret=%s&code=%s&grant_type=%s", GOOGLE_CLIENT_ID,
                                  GOOGLE_CLIENT_SECRET, deviceCode, GOOGLE_DEVICE_GRANT_TYPE);
    JsonObject tokens = post(gContext, GOOGLE_TOKEN_ENDPOINT, form.text());
    const uint16_t httpCode = orin_getJsonloaderHttpCode(gContext->jlContext);
    if (httpCode == HTTP_PRECONDITION_REQUIRED) {
        ORINLOG_FN(ORINLOG_INFO, "HTTP_PRECONDITION_REQUIRED: waiting for google authorization ");
    } else if (!isUsable(gContext, tokens)) {
        ORINLOG_FN(ORINLOG_ERROR, "orin_requestJsonObject failed token=%p lastHttpCode=%i",
                   static_cast<void*>(tokens.get()), httpCode);
    } else {
        installTokens(gContext, tokens.get(), __func__);
    }
    return tokens.release();
}

json_object* orin_pollForTokens(GoogleConnector* gContext, const char* deviceCode, uint32_t expiresIn,
                                uint32_t interval, const volatile uint8_t* abortFlag) {
    if (orin_checkGContext(gContext, __func__) == 0) {
        return nullptr;
    }
    if (deviceCode == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter, deviceCode == NULL");
        return nullptr;
    }
    interval = inRangeOr(interval, MIN_INTERVAL, MAX_INTERVAL, DEFAULT_INTERVAL);
    expiresIn = inRangeOr(expiresIn, MIN_EXPIRES_IN, MAX_EXPIRES_IN, DEFAULT_EXPIRES_IN);
    JsonObject answer;
    for (uint32_t pollsLeft = expiresIn / interval; pollsLeft > 0 && !isSet(abortFlag); --pollsLeft) {
        orin_sleep(interval, 0);
        // One answer at a time is kept; the last one is the caller's.
        answer.reset(orin_requestTokens(gContext, deviceCode));
        // The error word of the answer is not read: a token is there or it is not.
        if (json_object_object_get(answer.get(), "refresh_token") != nullptr) {
            break;
        }
    }
    return answer.release();
}

uint8_t orin_renewAccessToken(GoogleConnector* gContext) {
    if (orin_checkGContext(gContext, __func__) == 0) {
        return 0;
    }
    if (isEmpty(gContext->refreshToken)) {
        ORINLOG_FN(ORINLOG_ERROR, "refreshToken NULL or empty");
        return 0;
    }
    ORINLOG_FN(ORINLOG_DEBUG, "is called");
    const CutText<FORM_SIZE> form("client_id=%s&client_secret=%s&refresh_token=%s&grant_type=%s", GOOGLE_CLIENT_ID,
                                  GOOGLE_CLIENT_SECRET, gContext->refreshToken, GOOGLE_REFRESH_GRANT_TYPE);
    const JsonObject token = post(gContext, GOOGLE_TOKEN_ENDPOINT, form.text());
    if (!isUsable(gContext, token)) {
        ORINLOG_FN(ORINLOG_ERROR, "orin_requestJsonObject failed token=%p lastHttpCode=%i",
                   static_cast<void*>(token.get()), orin_getJsonloaderHttpCode(gContext->jlContext));
        return 0;
    }
    const char* accessToken = orin_jsonObjectGetString(token.get(), "access_token");
    if (accessToken == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, got no access token");
        return 0;
    }
    const char* tokenType = orin_jsonObjectGetString(token.get(), "token_type");
    if (tokenType == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, got no token type");
        return 0;
    }
    // A refresh token in the answer is left alone: the stored one stays good, and only the caller could store another.
    orin_strncpy(gContext->accessToken, accessToken);
    orin_strncpy(gContext->tokenType, tokenType);
    return 1;
}

json_object* orin_requestGoogleApiObject(GoogleConnector* gContext, const char* url) {
    if (orin_checkGContext(gContext, __func__) == 0) {
        return nullptr;
    }
    if (isEmpty(url)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter, url == NULL or empty");
        return nullptr;
    }
    if (isEmpty(gContext->accessToken) && !renewForRequest(gContext)) {
        ORINLOG_FN(ORINLOG_ERROR, "request AccessToken failed");
        return nullptr;
    }
    // One call ends after two refusals whatever Google goes on answering; the caller's next call starts afresh.
    for (int request = 1; request <= MAX_API_REQUESTS; ++request) {
        JsonObject answer = get(gContext, url);
        if (isUsable(gContext, answer)) {
            return answer.release();
        }
        if (gContext->lastHttpCode == HTTP_TOO_MANY_REQUESTS) {
            ORINLOG_FN(ORINLOG_WARNING, "orin_requestJsonObject failed, httpCode=%i", gContext->lastHttpCode);
            return nullptr;
        }
        if (gContext->lastHttpCode != HTTP_UNAUTHORIZED) {
            ORINLOG_FN(ORINLOG_ERROR, "orin_requestJsonObject failed, httpCode=%i", gContext->lastHttpCode);
            return nullptr;
        }
        // After the last request too, so that the next call starts with a fresh token.
        ORINLOG_FN(ORINLOG_DEBUG,
                   "orin_requestJsonObject failed with HTTP_UNAUTHORIZED; trying to renew the access token");
        if (!renewForRequest(gContext)) {
            ORINLOG_FN(ORINLOG_ERROR, "renew AccessToken failed");
            return nullptr;
        }
    }
    return nullptr;
}

uint8_t orin_hasAuthentificationFailed(const GoogleConnector* gContext) {
    return orin_checkGContext(gContext, __func__) != 0 ? gContext->authentificationFailed : uint8_t{1};
}

uint16_t orin_getLastHttpCode(const GoogleConnector* gContext) {
    return orin_checkGContext(gContext, __func__) != 0 ? gContext->lastHttpCode : HTTP_INTERNAL_SERVER_ERROR;
}
