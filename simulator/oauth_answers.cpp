#include <atomic>

#include "google_answers.h"
#include "text_codec.h"

namespace {

constexpr std::string_view DEVICE_GRANT = "http://oauth.net/grant_type/device/1.0";
constexpr std::string_view REFRESH_GRANT = "refresh_token";
constexpr std::size_t ACCESS_TOKEN_RANDOM = 150;  // bytes: about as long as Google's are today
constexpr std::size_t REFRESH_TOKEN_RANDOM = 72;
constexpr std::size_t MAX_ACCESS_TOKENS = 100;  // live at a time; the oldest goes

// Text nobody was given before. It needs no secrecy, only the look.
std::string inventedText(std::size_t bytes) {
    static std::atomic<unsigned> issued = 0;
    const std::string number = std::to_string(++issued);
    std::string random;
    while (random.size() < bytes) {
        const unsigned long long hash = fingerprint(random + number);
        random.append(reinterpret_cast<const char*>(&hash), sizeof(hash));
    }
    random.resize(bytes);
    return base64Url(random);
}

// A new token beside those that still live, as Google keeps them.
std::string issueAccessToken(GoogleAccount& account) {
    const auto now = std::chrono::steady_clock::now();
    std::erase_if(account.accessTokens, [now](const AccessToken& token) { return token.expires <= now; });
    if (account.accessTokens.size() >= MAX_ACCESS_TOKENS) {
        account.accessTokens.erase(account.accessTokens.begin());
    }
    AccessToken token{"ya29.a0" + inventedText(ACCESS_TOKEN_RANDOM),
                      now + std::chrono::seconds(account.accessTokenLifetime)};
    account.accessTokens.push_back(token);
    return token.text;
}

// Without the refresh token when it is empty, as after a renewal.
HttpAnswer tokens(GoogleAccount& account, std::string_view refreshToken) {
    HttpAnswer answer = oauthAnswer();
    answer.body = "{\n  \"access_token\": " + jsonQuoted(issueAccessToken(account)) +
                  ",\n  \"expires_in\": " + std::to_string(account.accessTokenLifetime);
    if (!refreshToken.empty()) {
        answer.body += ",\n  \"refresh_token\": " + jsonQuoted(refreshToken);
    }
    answer.body += ",\n  \"scope\": " + jsonQuoted(account.scope) +
                   ",\n  \"token_type\": " + jsonQuoted(account.tokenType) + "\n}";
    return answer;
}

// The device code for tokens, once the user has confirmed it.
HttpAnswer exchange(std::string_view deviceCode, GoogleAccount& account) {
    DeviceAuthorisation& device = account.device;
    if (deviceCode.empty()) {
        return oauthError(400, "invalid_request", "Missing required parameter: code");
    }
    if (deviceCode != device.deviceCode || device.redeemed) {
        return oauthError(400, "invalid_grant", "Malformed auth code.");
    }
    if (device.pendingAnswers > 0) {
        device.pendingAnswers--;
        return oauthError(428, "authorization_pending");
    }
    device.redeemed = true;
    if (account.refreshToken.empty()) {
        account.refreshToken = "1//09" + inventedText(REFRESH_TOKEN_RANDOM);
    }
    return tokens(account, account.refreshToken);
}

HttpAnswer refresh(std::string_view refreshToken, GoogleAccount& account) {
    if (refreshToken.empty()) {
        return oauthError(400, "invalid_request", "Missing required parameter: refresh_token");
    }
    if (refreshToken != account.refreshToken) {
        return oauthError(400, "invalid_grant");
    }
    return tokens(account, {});
}

}  // namespace

HttpAnswer oauthAnswer(int status) {
    HttpAnswer answer;
    answer.status = status;
    answer.contentType = "application/json; charset=utf-8";
    answer.headers = {{"Cache-Control", "no-cache, no-store, max-age=0, must-revalidate"},
                      {"Pragma", "no-cache"},
                      {"Server", "scaffolding on HTTPServer2"},
                      {"Vary", "X-Origin"},
                      {"Vary", "Referer"},
                      {"Vary", "Origin,Accept-Encoding"}};
    return answer;
}

HttpAnswer tokenAnswer(const HttpRequest& request, GoogleAccount& account) {
    const std::string grant = request.formValue("grant_type");
    if (grant.empty()) {
        return oauthError(400, "invalid_request", "Required parameter is missing: grant_type");
    }
    if (request.formValue("client_id") != account.clientId) {
        return oauthError(401, "invalid_client");
    }
    if (request.formValue("client_secret") != account.clientSecret) {
        return oauthError(401, "invalid_client", "Unauthorized");
    }
    if (grant == DEVICE_GRANT) {
        return exchange(request.formValue("code"), account);
    }
    if (grant == REFRESH_GRANT) {
        return refresh(request.formValue("refresh_token"), account);
    }
    return oauthError(400, "unsupported_grant_type", "Invalid grant_type: " + grant);
}

HttpAnswer deviceCodeAnswer(const HttpRequest& request, GoogleAccount& account) {
    if (request.formValue("client_id") != account.clientId) {
        return oauthError(401, "invalid_client");
    }
    if (request.formValue("scope") != account.scope) {
        return oauthError(400, "invalid_scope", "Invalid device flow scope: " + request.formValue("scope"));
    }
    DeviceAuthorisation& device = account.device;
    device.redeemed = false;
    HttpAnswer answer = oauthAnswer();
    answer.body = "{\n  \"device_code\": " + jsonQuoted(device.deviceCode) +
                  ",\n  \"user_code\": " + jsonQuoted(device.userCode) +
                  ",\n  \"expires_in\": " + std::to_string(device.expiresIn) +
                  ",\n  \"interval\": " + std::to_string(device.interval) +
                  ",\n  \"verification_url\": " + jsonQuoted(device.verificationUrl) + "\n}";
    return answer;
}
