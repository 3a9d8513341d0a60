#include "engine/rest_route.h"

#include <string.h>

#include "engine/rest_common.h"
#include "engine/rest_util.h"

static constexpr size_t FIELD_MAX = 255;

static bool route_field_accepts(char kind, char c)
{
  switch (kind) {
    case 'n':
      return c >= '0' && c <= '9';
    case 'b':
      return c == '0' || c == '1';
    case 's':
      return c != '/';
    case 'm':
      return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '1' && c <= '9');
    default:
      return false;
  }
}

// The number of characters of the path that the field takes.
static size_t route_field_length(char kind, const char* uri)
{
  size_t length = 0;
  while (length < FIELD_MAX && uri[length] && route_field_accepts(kind, uri[length]))
    length++;
  return length;
}

bool rest_route_matches(const char* pattern, const char* uri, rest_match_t match)
{
  bool field_seen = false;
  while (*pattern) {
    if (*pattern == '{') {
      size_t length = route_field_length(pattern[1], uri);
      if (length == 0)
        return field_seen && match != REST_MATCH_EXACT;
      uri += length;
      pattern += sizeof "{n}" - 1;
      field_seen = true;
      if (match == REST_MATCH_OPEN)
        return true;
    } else if (*pattern++ != *uri++) {
      return field_seen && match != REST_MATCH_EXACT;
    }
  }
  if (match == REST_MATCH_LOOSE)
    uri += strspn(uri, " \t\n\v\f\r");
  return *uri == '\0';
}

int rest_route_request(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                       const rest_route_t* routes, size_t count)
{
  request_method_t method = parse_request_method(conn);
  for (size_t i = 0; i < count; i++)
    if (routes[i].method == method &&
        rest_route_matches(routes[i].pattern, conn->uri, routes[i].match))
      return routes[i].operation(client_handle, conn);
  send_bad_request(conn, nullptr);
  return 0;
}
