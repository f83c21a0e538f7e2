#pragma once
// The Google account that the stand-in serves, as plain records: what the user owns (persons, groups, photos) and what
// Google's authorisation server knows of it (tokens, device code). All of it may be changed at any time, by a test
// through GoogleStandIn::update(), by a script through the account file (see account_file.h).

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

// A person: the members Google always sends and the rest by name, each kept as its JSON text
// (fields["phoneNumbers"] = R"([{"metadata":{"primary":true},"value":"+49 30 1"}])"). A list asks for some of the
// fields; they are sent as they stand here, so that a test can also send what Google would not. An empty text is not
// sent.
struct GooglePerson {
    std::string resourceName{};  // "people/c5170723913980391624"; empty: the member is not sent
    std::string etag{};          // begins with "%"
    std::map<std::string, std::string, std::less<>> fields{};
};

// Reads a person as Google writes it; false: the text is no JSON object (the person is then untouched).
[[nodiscard]] bool parsePerson(const std::string& json, GooglePerson& person);

struct GoogleContactGroup {
    std::string resourceName{};                   // "contactGroups/myContacts" or "contactGroups/4f1c"
    std::string name{};                           // "myContacts"
    std::string formattedName{};                  // in the language of the account: "Meine Kontakte"
    std::string groupType{"USER_CONTACT_GROUP"};  // or "SYSTEM_CONTACT_GROUP"
};

struct GooglePhoto {
    std::string contentType{"image/jpeg"};
    std::string bytes{};
};

struct AccessToken {
    std::string text{};
    std::chrono::steady_clock::time_point expires{};
};

// The device code the user has been shown. It is good for one exchange: `redeemed` is then set and the code dead, until
// POST /device/code gives it out again.
struct DeviceAuthorisation {
    std::string deviceCode{"AH-1Ng3invented0device0code0of0the0stand0in"};
    std::string userCode{"GQVQ-JKEC"};
    std::string verificationUrl{"https://www.google.com/device"};
    unsigned expiresIn{1800};    // seconds, told to the client only
    unsigned interval{5};        // seconds, told to the client only
    unsigned pendingAnswers{0};  // 428 "authorization_pending" that many times, counted down, then the tokens
    bool redeemed{false};
};

struct GoogleAccount {
    std::string clientId{"40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com"};
    std::string clientSecret{"Qx7LmNa2Rk_pTzWv4bYcHd3F"};
    std::string scope{"https://www.googleapis.com/auth/contacts"};
    // The one live refresh token. Empty: the user has revoked it; the next device exchange makes and keeps a new one.
    // A device exchange hands out the one that stands here.
    std::string refreshToken{"1//09invented-refresh-token-of-the-stand-in"};
    std::string tokenType{"Bearer"};
    unsigned accessTokenLifetime{3599};     // seconds
    std::vector<AccessToken> accessTokens;  // issued and not forgotten; clear() makes the client renew (401)
    DeviceAuthorisation device;
    std::vector<GoogleContactGroup> groups;       // memberCount is counted from the persons' memberships
    std::vector<GooglePerson> persons;            // in the order they are listed
    std::map<std::string, GooglePhoto> photos{};  // by path, on every googleusercontent host: "/contacts/abc=s100"
};

// An account of `count` invented persons with all fields in all their variety: names with umlauts, mononyms, none at
// all; organisations; birthdays with and without year or as text only; own, generated and absent photos; up to 4
// phone numbers, 3 mails, 3 urls, 3 addresses; own labels; the groups myContacts, starred, friends, family, coworkers
// and two of the user's. The same count and seed give the same account; its first persons do not depend on the count.
[[nodiscard]] GoogleAccount generateAccount(std::size_t count, unsigned seed = 1);
