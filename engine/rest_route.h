// Route tables: which operation serves a method and path.
//
// A module's routes are one constant table in match order; its handler is one call of
// rest_route_request. A pattern is the path with fields in braces, each holding at most 255
// characters and at least one:
//
//   {n}  decimal digits          VLAN ids, interface numbers
//   {b}  the digits 0 and 1      a yes/no segment
//   {s}  anything but "/"        addresses and names
//   {m}  letters and 1 to 9      help module names
//
// Everything else stands for itself, and the whole path must be used up: "/vlans/{n}" serves
// /vlans/10 but neither /vlans/ nor /vlans/10/ nor /vlans/10x. The operation reads its fields from
// the path again (engine/rest_path.h).
#pragma once

#include <stddef.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"

// An operation answers the request exactly once and returns 1 for success, 0 for failure.
using rest_operation_t = int (*)(openapiClientHandle_t* client_handle, struct mg_connection* conn);

enum rest_match_t {
  REST_MATCH_EXACT,  // the whole path
  REST_MATCH_LOOSE,  // from the first field on the path may end early or go another way; only what
                     // follows the complete pattern is refused
  REST_MATCH_OPEN    // everything up to the first field must match; anything may follow
};

struct rest_route_t {
  request_method_t method;
  const char* pattern;
  rest_operation_t operation;
  rest_match_t match = REST_MATCH_EXACT;
};

// Whether the path matches the pattern.
bool rest_route_matches(const char* pattern, const char* uri, rest_match_t match);

// Runs the first route that matches the request's method and path and returns its result; answers
// 902 and returns 0 when none does.
int rest_route_request(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                       const rest_route_t* routes, size_t count);

template <size_t N>
int rest_route_request(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                       const rest_route_t (&routes)[N])
{
  return rest_route_request(client_handle, conn, routes, N);
}
