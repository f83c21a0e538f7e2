// JSON over HTTPS: one request in, one json-c object out, and typed access to the members of such objects.
//
// A loader is one libcurl handle that is configured once and used for every request of the process, so that connections
// stay open between pages. Servers are verified against the trusted CA directory of the PBX, a proxy comes from the
// proxy files of the PBX, and no request takes longer than ten seconds. Answers are held in memory as a whole.
//
// Objects returned by a request belong to the caller (json_object_put); what the accessors return points into them.
#pragma once

#include <cstdint>

struct json_object;

// HTTP statuses the client decides by, and the two that it reports itself.
constexpr uint16_t HTTP_OK = 200;
constexpr uint16_t HTTP_UNAUTHORIZED = 401;
constexpr uint16_t HTTP_PRECONDITION_REQUIRED = 428;
constexpr uint16_t HTTP_TOO_MANY_REQUESTS = 429;
constexpr uint16_t HTTP_INTERNAL_SERVER_ERROR = 500;  // reported when there is no loader or connector
constexpr uint16_t HTTP_SERVICE_UNAVAILABLE = 503;    // reported when the transfer itself failed

struct Jsonloader {
    void* curl;             // libcurl easy handle, owned
    uint16_t lastHttpCode;  // status of the last request; 0 before the first
};

// Returns a configured loader for orin_destroyJsonloader, or nullptr without memory. A loader without a libcurl handle
// is returned as it is: its requests fail. Both failures are logged.
[[nodiscard]] Jsonloader* orin_createJsonloader();

// Releases the handle and the loader. A missing one is logged.
void orin_destroyJsonloader(Jsonloader* jlContext);

// Sends one request and waits for the answer, which is returned whatever its HTTP status was.
//   url          complete address
//   postFields   form body of a POST, sent as it is; nullptr for a GET
//   extraHeader  one complete header line, or nullptr
// Returns the parsed answer (caller releases it), or nullptr when the transfer failed (status 503), the body was empty
// or no JSON, or the loader has no handle (status unchanged). Each of these is logged as an error.
[[nodiscard]] json_object* orin_requestJsonObject(Jsonloader* jlContext, const char* url, const char* postFields,
                                                  const char* extraHeader);

// The HTTP status of the last request; 500 without a loader.
[[nodiscard]] uint16_t orin_getJsonloaderHttpCode(const Jsonloader* jlContext);

// The typed accessors. `obj` may be nullptr or no object: it then has no members. An absent member, or a
// JSON null, gives nullptr or the default silently; a member of another type gives the same and is logged as an error.

// The text of a member; it lives as long as the object that holds it.
[[nodiscard]] const char* orin_jsonObjectGetString(json_object* obj, const char* key);

// The truth of a member: 0 or 1, or `defaultValue` as it is.
[[nodiscard]] uint8_t orin_jsonObjectGetBoolean(json_object* obj, const char* key, uint8_t defaultValue);

// The integer of a member, limited to 32 bits by json-c.
[[nodiscard]] int32_t orin_jsonObjectGetInteger(json_object* obj, const char* key, int32_t defaultValue);

// A member that is an array, else nullptr, never with a message. json-c ends the process when anything but an array is
// asked for its length or its elements, so this is the way to every list of an answer.
[[nodiscard]] json_object* orin_jsonObjectGetArray(json_object* obj, const char* key);
