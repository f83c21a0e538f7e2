// The connector to one Google account: its OAuth 2.0 tokens and authorised requests.
//
// Life of a connector: create; install the stored refresh token, or poll until the user has confirmed a device code;
// any number of API requests, which obtain and renew the access token by themselves; destroy. Tokens are kept in memory
// only, storing the refresh token is the caller's work.
//
// Every function tolerates a missing connector: it logs that as an error and returns its failure value.
#pragma once

#include <cstdint>

struct json_object;
struct Jsonloader;

// Sizes in bytes with the NUL; longer tokens are cut.
constexpr uint32_t GOOGLE_TOKEN_SIZE = 1024;
constexpr uint32_t GOOGLE_TOKEN_TYPE_SIZE = 256;

struct GoogleConnector {
    Jsonloader* jlContext;                   // carries out every request, owned
    char refreshToken[GOOGLE_TOKEN_SIZE];    // empty until installed or obtained
    char accessToken[GOOGLE_TOKEN_SIZE];     // empty means none yet
    char tokenType[GOOGLE_TOKEN_TYPE_SIZE];  // first word of the Authorization header, as Google sent it
    uint8_t authentificationFailed;          // 1 when no access token could be obtained or renewed
    uint16_t lastHttpCode;                   // status of the last authorised API request, of no other
};

// Returns a connector with empty tokens for orin_destroyGoogleConnector, or nullptr (logged).
[[nodiscard]] GoogleConnector* orin_createGoogleConnector();

// Releases the connector and its loader.
void orin_destroyGoogleConnector(GoogleConnector* gContext);

// Returns 1 when the connector and its loader exist, else 0 after an error line in the name of `functionName`.
[[nodiscard]] uint8_t orin_checkGContext(const GoogleConnector* gContext, const char* functionName);

// Installs a stored refresh token. A missing or empty one is logged and leaves the old token.
void orin_setRefreshToken(GoogleConnector* gContext, const char* refreshToken);

// Requests a device code. Returns Google's answer, an error object too (caller releases it), or nullptr. Anything but
// an answer of status 200 is logged.
[[nodiscard]] json_object* orin_requestDeviceCode(GoogleConnector* gContext);

// Exchanges a device code for tokens once; they are installed when the answer holds all of them. Returns the answer
// (caller releases it), whatever it holds, or nullptr. What is missing is logged; status 428, not confirmed yet, only
// as information.
[[nodiscard]] json_object* orin_requestTokens(GoogleConnector* gContext, const char* deviceCode);

// Exchanges a device code again and again until the user has confirmed it.
//   expiresIn  seconds, 60 to 1800; any other value counts as 1800
//   interval   seconds before each request, 2 to 10; any other value counts as 5
//   abortFlag  a byte that a signal handler sets; it ends the polling after the request under way
// Returns the first answer with a member "refresh_token", else the last answer (caller releases it and looks for the
// token), or nullptr: no answer, aborted before the first request, or an argument missing (logged).
[[nodiscard]] json_object* orin_pollForTokens(GoogleConnector* gContext, const char* deviceCode, uint32_t expiresIn,
                                              uint32_t interval, const volatile uint8_t* abortFlag);

// Obtains a new access token with the refresh token. Returns 1 when it is installed, else 0 (logged).
[[nodiscard]] uint8_t orin_renewAccessToken(GoogleConnector* gContext);

// An authorised GET. The access token is obtained first when there is none, and renewed when Google answers 401; then
// the request is repeated once. Returns the answer of status 200 (caller releases it), else nullptr after an error
// line; for status 429 (rate limit) it is a warning, and a second 401 whose renewal succeeds has none. The status is
// kept for orin_getLastHttpCode.
[[nodiscard]] json_object* orin_requestGoogleApiObject(GoogleConnector* gContext, const char* url);

// 1 when the last attempt of a request to obtain an access token failed, or without a connector; else 0.
[[nodiscard]] uint8_t orin_hasAuthentificationFailed(const GoogleConnector* gContext);

// The HTTP status of the last authorised API request; 500 without a connector.
[[nodiscard]] uint16_t orin_getLastHttpCode(const GoogleConnector* gContext);
