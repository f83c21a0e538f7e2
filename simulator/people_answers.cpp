#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <set>

#include "google_answers.h"
#include "text_codec.h"

namespace {

constexpr std::size_t MAX_PAGE_SIZE = 1000;
constexpr std::size_t DEFAULT_CONNECTIONS = 100;
constexpr std::size_t DEFAULT_GROUPS = 30;
constexpr std::string_view BEARER = "Bearer ";

constexpr std::array<std::string_view, 29> PERSON_FIELDS{
    "addresses",   "ageRanges",      "biographies", "birthdays",     "calendarUrls", "clientData",
    "coverPhotos", "emailAddresses", "events",      "externalIds",   "genders",      "imClients",
    "interests",   "locales",        "locations",   "memberships",   "metadata",     "miscKeywords",
    "names",       "nicknames",      "occupations", "organizations", "phoneNumbers", "photos",
    "relations",   "sipAddresses",   "skills",      "urls",          "userDefined"};
constexpr std::array<std::string_view, 5> GROUP_FIELDS{"clientData", "groupType", "memberCount", "metadata", "name"};
// A part of a list, as asked for; `problem` is set when the request is to be refused.
struct Page {
    std::size_t begin = 0;
    std::size_t size = 0;
    std::set<std::string, std::less<>> fields{};
    std::string problem{};
};

template <std::size_t N>
bool contains(const std::array<std::string_view, N>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// The header as a whole: another token type, or a token cut short, is none.
bool isAuthorised(const HttpRequest& request, const GoogleAccount& account) {
    const std::string header = request.header("Authorization");
    const auto now = std::chrono::steady_clock::now();
    return std::any_of(account.accessTokens.begin(), account.accessTokens.end(), [&](const AccessToken& token) {
        return token.expires > now && header.size() == BEARER.size() + token.text.size() &&
               header.rfind(BEARER, 0) == 0 && header.compare(BEARER.size(), std::string::npos, token.text) == 0;
    });
}

// Everything but the page token: a token is good for the same request only.
unsigned long long requestFingerprint(const HttpRequest& request) {
    NamedTexts parameters = request.query;
    std::erase_if(parameters, [](const auto& parameter) { return parameter.first == "pageToken"; });
    std::sort(parameters.begin(), parameters.end());
    std::string text = request.path;
    for (const auto& [name, value] : parameters) {
        text.append(1, '\n').append(name).append(1, '\n').append(value);
    }
    return fingerprint(text);
}

// Opaque to the client: a mark, the request's fingerprint and the entry where the page begins.
std::string pageToken(const HttpRequest& request, std::size_t begin) {
    std::array<char, 40> text{};
    const auto length =
        std::snprintf(text.data(), text.size(), "\x1a\x02%016llx%016zx", requestFingerprint(request), begin);
    return base64Url(std::string_view(text.data(), static_cast<std::size_t>(length)));
}

// Where the page of a token begins; false: the token is not one of this request's.
bool pageBegin(const HttpRequest& request, const std::string& token, std::size_t& begin) {
    std::string text;
    if (!base64UrlDecode(token, text) || text.size() != 34) {
        return false;
    }
    std::size_t value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data() + 18, end, value, 16);
    if (failure != std::errc() || rest != end || pageToken(request, value) != token) {
        return false;
    }
    begin = value;
    return true;
}

// 0 is the default, as for every number Google is sent.
bool readPageSize(const HttpRequest& request, Page& page) {
    const std::string text = request.parameter("pageSize");
    int size = 0;
    const char* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, size);
    if (!text.empty() && (failure != std::errc() || rest != end)) {
        page.problem = "Invalid value at 'page_size' (TYPE_INT32), \"" + text + "\"";
    } else if (size < 0) {
        page.problem = "Page size must be greater than or equal to 0.";
    } else if (size > static_cast<int>(MAX_PAGE_SIZE)) {
        page.problem = "Page size must be less than or equal to 1000.";
    } else if (size > 0) {
        page.size = static_cast<std::size_t>(size);
    }
    return page.problem.empty();
}

// A comma list of names that must all be valid; an empty name is not.
template <std::size_t N>
bool readFields(const std::string& mask, const char* name, const std::array<std::string_view, N>& valid, Page& page) {
    for (std::size_t begin = 0; begin <= mask.size();) {
        const std::size_t end = std::min(mask.find(',', begin), mask.size());
        const std::string field = mask.substr(begin, end - begin);
        if (!contains(valid, field)) {
            page.problem = std::string("Invalid ") + name + " mask path: \"" + field + "\".";
            return false;
        }
        page.fields.insert(field);
        begin = end + 1;
    }
    return true;
}

// What both lists have in common: page size and token.
bool readPage(const HttpRequest& request, Page& page) {
    const std::string token = request.parameter("pageToken");
    if (!token.empty() && !pageBegin(request, token, page.begin)) {
        page.problem = "Request contains an invalid argument.";
        return false;
    }
    return readPageSize(request, page);
}

// The next member of an object whose text is being made.
void addMember(std::string& object, const char* margin, std::string_view name, std::string_view value) {
    object.append(object.back() == '{' ? "\n" : ",\n")
        .append(margin)
        .append(1, '"')
        .append(name)
        .append("\": ")
        .append(value);
}

// The same for a text; an empty one is left out.
void addText(std::string& object, const char* margin, std::string_view name, std::string_view value) {
    if (!value.empty()) {
        addMember(object, margin, name, jsonQuoted(value));
    }
}

// The members that always come, and the fields that were asked for.
std::string personText(const GooglePerson& person, const Page& page) {
    std::string text = "{";
    addText(text, "      ", "resourceName", person.resourceName);
    addText(text, "      ", "etag", person.etag);
    for (const auto& [name, value] : person.fields) {
        if (!value.empty() && page.fields.contains(name)) {
            addMember(text, "      ", name, value);
        }
    }
    return text + "\n    }";
}

// Persons whose memberships name the group.
std::size_t countMembers(const GoogleAccount& account, const GoogleContactGroup& group) {
    // In its quotes, so that "contactGroups/1" is not found in "contactGroups/12".
    const std::string name = jsonQuoted(group.resourceName);
    return static_cast<std::size_t>(
        std::count_if(account.persons.begin(), account.persons.end(), [&](const GooglePerson& person) {
            const auto memberships = person.fields.find("memberships");
            return memberships != person.fields.end() && memberships->second.find(name) != std::string::npos;
        }));
}

std::string groupText(const GoogleAccount& account, const GoogleContactGroup& group, const Page& page) {
    std::string text = "{";
    addText(text, "      ", "resourceName", group.resourceName);
    addText(text, "      ", "etag", base64(group.name));
    if (page.fields.contains("metadata")) {
        addMember(text, "      ", "metadata", "{\n        \"updateTime\": \"2024-02-01T10:00:00.500Z\"\n      }");
    }
    if (page.fields.contains("groupType")) {
        addText(text, "      ", "groupType", group.groupType);
    }
    if (page.fields.contains("name")) {
        addText(text, "      ", "name", group.name);
        addText(text, "      ", "formattedName", group.formattedName);
    }
    const std::size_t members = page.fields.contains("memberCount") ? countMembers(account, group) : 0;
    if (members > 0) {
        addMember(text, "      ", "memberCount", std::to_string(members));
    }
    return text + "\n    }";
}

// Begins the answer with the page of the list, and with the token of the next page when there is one. An empty page has
// no list member.
template <typename Entry, typename Writer>
std::string listText(const HttpRequest& request, const char* member, const std::vector<Entry>& entries,
                     const Page& page, const Writer& write) {
    std::string text = "{";
    const std::size_t begin = std::min(page.begin, entries.size());
    const std::size_t end = std::min(begin + page.size, entries.size());
    if (begin < end) {
        addMember(text, "  ", member, "[");
        for (std::size_t i = begin; i < end; i++) {
            text.append(i == begin ? "\n    " : ",\n    ").append(write(entries[i]));
        }
        text += "\n  ]";
    }
    if (end < entries.size()) {
        addText(text, "  ", "nextPageToken", pageToken(request, end));
    }
    return text;
}

// Ends the text of a list and sends it.
HttpAnswer listAnswer(std::string body) {
    HttpAnswer answer;
    answer.headers = {{"Server", "ESF"},
                      {"Cache-Control", "private"},
                      {"Vary", "X-Origin, Referer, Origin,Accept-Encoding"},
                      {"X-Content-Type-Options", "nosniff"}};
    body += body.back() == '{' ? "}\n" : "\n}\n";
    answer.body = std::move(body);
    return answer;
}

// The lists look at the bearer token first.
HttpAnswer connectionsAnswer(const HttpRequest& request, const GoogleAccount& account) {
    if (!isAuthorised(request, account)) {
        return errorAnswer(request, 401, {});
    }
    Page page{.size = DEFAULT_CONNECTIONS};
    const std::string mask = request.parameter("personFields");
    if (mask.empty()) {
        page.problem =
            "personFields mask is required. Please specify one or more valid paths. Valid paths are documented "
            "at https://developers.google.com/people/api/rest/v1/people.connections/list.";
    } else if (readFields(mask, "personFields", PERSON_FIELDS, page)) {
        (void)readPage(request, page);
    }
    if (!page.problem.empty()) {
        return apiError(400, page.problem);
    }
    std::string text = listText(request, "connections", account.persons, page,
                                [&](const GooglePerson& person) { return personText(person, page); });
    if (!account.persons.empty()) {
        addMember(text, "  ", "totalPeople", std::to_string(account.persons.size()));
        addMember(text, "  ", "totalItems", std::to_string(account.persons.size()));
    }
    return listAnswer(std::move(text));
}

HttpAnswer groupsAnswer(const HttpRequest& request, const GoogleAccount& account) {
    if (!isAuthorised(request, account)) {
        return errorAnswer(request, 401, {});
    }
    Page page{.size = DEFAULT_GROUPS};
    const std::string mask = request.parameter("groupFields");
    if (!readFields(mask.empty() ? "metadata,groupType,memberCount,name" : mask, "groupFields", GROUP_FIELDS, page) ||
        !readPage(request, page)) {
        return apiError(400, page.problem);
    }
    std::string text = listText(request, "contactGroups", account.groups, page,
                                [&](const GoogleContactGroup& group) { return groupText(account, group, page); });
    if (!account.groups.empty()) {
        addMember(text, "  ", "totalItems", std::to_string(account.groups.size()));
    }
    addText(text, "  ", "nextSyncToken", "EKjQ07mPhIQD");  // on every page; nobody asks for changes with it
    return listAnswer(std::move(text));
}

HttpAnswer photoAnswer(const HttpRequest& request, const GoogleAccount& account) {
    const auto photo = account.photos.find(request.path);
    if (photo == account.photos.end()) {
        return htmlError(404, request.path);
    }
    HttpAnswer answer;
    answer.contentType = photo->second.contentType;
    answer.headers = {{"Server", "fife"}, {"Cache-Control", "public, max-age=86400, no-transform"}};
    answer.body = photo->second.bytes;
    return answer;
}

}  // namespace

Endpoint endpointOf(const HttpRequest& request, const GoogleAccount& account) {
    constexpr std::string_view PHOTO_HOSTS = ".googleusercontent.com";
    const bool local = request.host == "localhost" || request.host == "127.0.0.1";
    const bool get = request.method == "GET" || request.method == "HEAD";
    const bool post = request.method == "POST";
    if (request.host.ends_with(PHOTO_HOSTS) || (local && account.photos.contains(request.path))) {
        return get ? Endpoint::Photo : Endpoint::Other;
    }
    if (post && (local || request.host == "oauth2.googleapis.com")) {
        return request.path == "/token"         ? Endpoint::Token
               : request.path == "/device/code" ? Endpoint::DeviceCode
                                                : Endpoint::Other;
    }
    if (get && (local || request.host == "people.googleapis.com")) {
        return request.path == "/v1/people/me/connections" ? Endpoint::Connections
               : request.path == "/v1/contactGroups"       ? Endpoint::Groups
                                                           : Endpoint::Other;
    }
    return Endpoint::Other;
}

HttpAnswer usualAnswer(const HttpRequest& request, GoogleAccount& account) {
    switch (request.endpoint) {
        case Endpoint::Token:
            return tokenAnswer(request, account);
        case Endpoint::DeviceCode:
            return deviceCodeAnswer(request, account);
        case Endpoint::Connections:
            return connectionsAnswer(request, account);
        case Endpoint::Groups:
            return groupsAnswer(request, account);
        case Endpoint::Photo:
            return photoAnswer(request, account);
        default:
            return htmlError(404, request.path);
    }
}
