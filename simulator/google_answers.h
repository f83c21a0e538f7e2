#pragma once
// What Google answers, endpoint by endpoint, as functions of the request and the account. Each answer has the shape
// that Google's really have, down to what is left out when it is empty.

#include <string>
#include <string_view>

#include "google_account.h"
#include "http_exchange.h"

// Where a request belongs. On "localhost" and "127.0.0.1" the path alone decides, so that a test may do without names.
[[nodiscard]] Endpoint endpointOf(const HttpRequest& request, const GoogleAccount& account);

// The well-behaved answer of the request's endpoint. It may change the account: tokens issued, pending answers counted.
[[nodiscard]] HttpAnswer usualAnswer(const HttpRequest& request, GoogleAccount& account);

// POST /token (device and refresh grant) and POST /device/code.
[[nodiscard]] HttpAnswer tokenAnswer(const HttpRequest& request, GoogleAccount& account);
[[nodiscard]] HttpAnswer deviceCodeAnswer(const HttpRequest& request, GoogleAccount& account);

// An answer of these two, good or bad, without its body.
[[nodiscard]] HttpAnswer oauthAnswer(int status = 200);

// {"error":..., "error_description":...}; an empty description: the usual one of that error.
[[nodiscard]] HttpAnswer oauthError(int status, std::string_view error, std::string_view description = {});

// {"error":{"code":..., "message":..., "status":..., "details":[...]}}; an empty reason: no details.
[[nodiscard]] HttpAnswer apiError(int status, std::string_view message, std::string_view reason = {});

// The page that Google's front end sends for an unknown address or when it has no backend.
[[nodiscard]] HttpAnswer htmlError(int status, std::string_view path);

// The error answer of an endpoint for a status from 400 up, with the usual words or with that error (see Misbehaviour).
[[nodiscard]] HttpAnswer errorAnswer(const HttpRequest& request, int status, std::string_view error);
