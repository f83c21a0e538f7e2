#pragma once
// The account as a JSON file, for the program and its scripts. The lists in it have Google's own shape:
//   {
//     "clientId": "", "clientSecret": "", "refreshToken": "", "tokenType": "Bearer", "accessTokenLifetime": 3599,
//     "device": {"deviceCode": "", "userCode": "", "verificationUrl": "", "expiresIn": 1800, "interval": 5,
//                "pendingAnswers": 0},
//     "contactGroups": [{"resourceName": "", "name": "", "formattedName": "", "groupType": ""}],
//     "connections": [persons],
//     "photos": {"/contacts/abc=s100": {"contentType": "image/jpeg", "base64": ""}},
//     "script": [rules of misbehaviour.h],
//     "certificates": {"": "good", "lh3.googleusercontent.com": "expired"}
//   }
// Every member may be missing; then the default of the record holds. "" in "certificates" means every host.

#include <map>
#include <string>
#include <vector>

#include "google_account.h"
#include "misbehaviour.h"
#include "test_ca.h"

struct AccountFile {
    GoogleAccount account;
    std::vector<Misbehaviour> script;
    std::map<std::string, CertificateKind> certificates;
};

// False: `error` says in one line what is wrong, `file` is untouched.
[[nodiscard]] bool parseAccountFile(const std::string& json, AccountFile& file, std::string& error);

// The account alone as such a file (without access tokens); readable, one person per line.
[[nodiscard]] std::string writeAccountFile(const GoogleAccount& account);
