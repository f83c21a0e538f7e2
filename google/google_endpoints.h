// Where Google is reached and as which application: constants only.
//
// The addresses are part of the program. Nothing outside it changes them, so that a token never leaves for another
// host.
#pragma once

#include <string_view>

// OAuth 2.0 for devices: a device code is requested at the one, exchanged and renewed at the other.
constexpr char GOOGLE_DEVICE_CODE_ENDPOINT[] = "https://oauth2.googleapis.com/device/code";
constexpr char GOOGLE_TOKEN_ENDPOINT[] = "https://oauth2.googleapis.com/token";

// The People API.
constexpr char GOOGLE_CONNECTIONS_ENDPOINT[] = "https://people.googleapis.com/v1/people/me/connections";
constexpr char GOOGLE_CONTACT_GROUPS_ENDPOINT[] = "https://people.googleapis.com/v1/contactGroups";

// Read and write access to the account's contacts.
constexpr char GOOGLE_CONTACTS_SCOPE[] = "https://www.googleapis.com/auth/contacts";

// Grant types of the token endpoint: for a device code, for a refresh token.
constexpr char GOOGLE_DEVICE_GRANT_TYPE[] = "http://oauth.net/grant_type/device/1.0";
constexpr char GOOGLE_REFRESH_GRANT_TYPE[] = "refresh_token";

// The application as it is registered with Google. The secret of an installed application is no secret to its owner.
constexpr char GOOGLE_CLIENT_ID[] = "40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com";
constexpr char GOOGLE_CLIENT_SECRET[] = "Qx7LmNa2Rk_pTzWv4bYcHd3F";
static_assert(std::string_view(GOOGLE_CLIENT_ID).size() == 71);
static_assert(std::string_view(GOOGLE_CLIENT_SECRET).size() == 24);
