#include <array>

#include "google_answers.h"
#include "text_codec.h"

namespace {

// What the token endpoint says; the first of a status is its usual error.
struct OauthError {
    int status;  // for which it is the usual one; 0: for none
    std::string_view error;
    std::string_view description;
};
constexpr std::array OAUTH_ERRORS{
    OauthError{400, "invalid_grant", "Token has been expired or revoked."},
    OauthError{0, "invalid_scope", "Invalid device flow scope: https://www.googleapis.com/auth/contacts"},
    OauthError{0, "invalid_request", "Required parameter is missing."},
    OauthError{0, "unsupported_grant_type", "Invalid grant_type."},
    OauthError{401, "invalid_client", "The OAuth client was not found."},
    OauthError{403, "access_denied", "Forbidden"},
    OauthError{0, "slow_down", "Forbidden"},
    OauthError{428, "authorization_pending", "Precondition Required"},
    OauthError{500, "internal_failure", "Backend Error"},
};

constexpr std::string_view SCOPE_INSUFFICIENT = "ACCESS_TOKEN_SCOPE_INSUFFICIENT";

// What the People API says.
struct ApiError {
    int code;
    std::string_view status;
    std::string_view message;
    std::string_view reason;
};
constexpr std::array API_ERRORS{
    ApiError{400, "INVALID_ARGUMENT", "Request contains an invalid argument.", ""},
    ApiError{401, "UNAUTHENTICATED",
             "Request had invalid authentication credentials. Expected OAuth 2 access token, login cookie or other "
             "valid authentication credential. See "
             "https://developers.google.com/identity/sign-in/web/devconsole-project.",
             "ACCESS_TOKEN_EXPIRED"},
    ApiError{403, "PERMISSION_DENIED", "Request had insufficient authentication scopes.", SCOPE_INSUFFICIENT},
    ApiError{404, "NOT_FOUND", "Requested entity was not found.", ""},
    ApiError{409, "ABORTED", "The operation was aborted.", ""},
    ApiError{429, "RESOURCE_EXHAUSTED",
             "Quota exceeded for quota metric 'Critical read requests (Contact and Profile Reads)' and limit 'Critical "
             "read requests (Contact and Profile Reads) per minute per user' of service 'people.googleapis.com'.",
             "RATE_LIMIT_EXCEEDED"},
    ApiError{500, "INTERNAL", "Internal error encountered.", ""},
    ApiError{503, "UNAVAILABLE", "The service is currently unavailable.", ""},
};

// The word for a code in "error.status".
std::string_view apiStatus(int code) {
    for (const ApiError& known : API_ERRORS) {
        if (known.code == code) {
            return known.status;
        }
    }
    return "UNKNOWN";
}

std::string_view usualDescription(std::string_view error) {
    for (const OauthError& known : OAUTH_ERRORS) {
        if (known.error == error) {
            return known.description;
        }
    }
    return "Bad Request";
}

HttpAnswer usualOauthError(Endpoint endpoint, int status, std::string_view error) {
    const bool isQuota = error == "rate_limit_exceeded" || (error.empty() && status == 403);
    if (endpoint == Endpoint::DeviceCode && isQuota) {  // the one error in a member of another name
        HttpAnswer answer = oauthAnswer(status);
        answer.body = R"({"error_code":"rate_limit_exceeded"})";
        return answer;
    }
    for (const OauthError& known : OAUTH_ERRORS) {
        if (error.empty() && known.status == status) {
            return oauthError(status, known.error);
        }
    }
    return oauthError(status, error.empty() ? "internal_failure" : error);
}

HttpAnswer usualApiError(int status, std::string_view reason) {
    for (const ApiError& known : API_ERRORS) {
        if (known.code == status) {
            return apiError(status, known.message, reason.empty() ? known.reason : reason);
        }
    }
    return apiError(status, "Unknown error.", reason);
}

constexpr std::string_view INVALID_TOKEN = R"(Bearer realm="https://accounts.google.com/", error="invalid_token")";
// Who has too small a scope is told all that would do: a header of many hundreds of characters.
constexpr std::string_view INSUFFICIENT_SCOPE =
    "Bearer realm=\"https://accounts.google.com/\", error=\"insufficient_scope\", scope=\""
    "https://www.googleapis.com/auth/contacts https://www.googleapis.com/auth/contacts.other.readonly "
    "https://www.googleapis.com/auth/contacts.readonly https://www.googleapis.com/auth/directory.readonly "
    "https://www.googleapis.com/auth/user.addresses.read https://www.googleapis.com/auth/user.birthday.read "
    "https://www.googleapis.com/auth/user.emails.read https://www.googleapis.com/auth/user.gender.read "
    "https://www.googleapis.com/auth/user.organization.read https://www.googleapis.com/auth/user.phonenumbers.read "
    "https://www.googleapis.com/auth/userinfo.email https://www.googleapis.com/auth/userinfo.profile\"";

constexpr std::string_view pageText(int status) {
    switch (status) {
        case 404:
            return "The requested URL was not found on this server.";
        case 502:
            return "The server encountered a temporary error and could not complete your request.<p>Please try again "
                   "in 30 seconds.";
        default:
            return "The server could not process your request.";
    }
}

}  // namespace

HttpAnswer oauthError(int status, std::string_view error, std::string_view description) {
    HttpAnswer answer = oauthAnswer(status);
    answer.body = "{\n  \"error\": " + jsonQuoted(error) + ",\n  \"error_description\": " +
                  jsonQuoted(description.empty() ? usualDescription(error) : description) + "\n}";
    return answer;
}

HttpAnswer apiError(int status, std::string_view message, std::string_view reason) {
    HttpAnswer answer;
    answer.status = status;
    answer.headers = {{"Server", "ESF"}, {"Cache-Control", "private"}};
    if (status == 401 || reason == SCOPE_INSUFFICIENT) {
        answer.headers.emplace_back("WWW-Authenticate", status == 401 ? INVALID_TOKEN : INSUFFICIENT_SCOPE);
    }
    answer.body = "{\n  \"error\": {\n    \"code\": " + std::to_string(status) +
                  ",\n    \"message\": " + jsonQuoted(message) + ",\n    \"status\": " + jsonQuoted(apiStatus(status));
    if (!reason.empty()) {
        answer.body +=
            ",\n    \"details\": [\n      {\n        \"@type\": \"type.googleapis.com/google.rpc.ErrorInfo\",\n"
            "        \"reason\": " +
            jsonQuoted(reason) +
            ",\n        \"domain\": \"googleapis.com\",\n        \"metadata\": {\n"
            "          \"service\": \"people.googleapis.com\"\n        }\n      }\n    ]";
    }
    answer.body += "\n  }\n}\n";
    return answer;
}

HttpAnswer htmlError(int status, std::string_view path) {
    HttpAnswer answer;
    answer.status = status;
    answer.contentType = "text/html; charset=UTF-8";
    answer.headers = {{"Referrer-Policy", "no-referrer"}};
    const std::string number = std::to_string(status);
    answer.body = "<!DOCTYPE html>\n<html lang=en>\n  <meta charset=utf-8>\n  <title>Error " + number +
                  "</title>\n  <p><b>" + number + ".</b> <ins>That\xE2\x80\x99s an error.</ins>\n  <p>";
    answer.body.append(pageText(status)).append(" <code>");
    for (const char letter : path) {  // the path is the client's: no markup of it goes back
        answer.body += letter == '<' || letter == '&' ? '?' : letter;
    }
    answer.body += "</code>  <ins>That\xE2\x80\x99s all we know.</ins>\n";
    return answer;
}

HttpAnswer errorAnswer(const HttpRequest& request, int status, std::string_view error) {
    if (status == 502) {  // comes from the front end, whatever lies behind it
        return htmlError(status, request.path);
    }
    switch (request.endpoint) {
        case Endpoint::Token:
        case Endpoint::DeviceCode:
            return usualOauthError(request.endpoint, status, error);
        case Endpoint::Connections:
        case Endpoint::Groups:
            return usualApiError(status, error);
        default:
            return htmlError(status, request.path);
    }
}
