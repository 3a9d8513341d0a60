#include "engine/rest_util.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "platform/openapi_inet.h"

static constexpr size_t VARIABLE_SIZE = 256;
static constexpr size_t IP_TEXT_SIZE = 40;

return_format_t parse_return_format(const struct mg_connection* conn)
{
  char format[VARIABLE_SIZE];
  rest_get_var(conn, "format", format);
  if (strncasecmp(format, "xml", 3) == 0)
    return RETURN_FORMAT_XML;
  if (strncasecmp(format, "json", 4) == 0)
    return RETURN_FORMAT_JSON;
  return RETURN_FORMAT_XML;
}

static request_method_t util_method_of_text(const char* text)
{
  static constexpr struct {
    const char* name;
    size_t length;
    request_method_t method;
  } methods[] = {
      {"GET",    3, REQUEST_METHOD_GET   },
      {"POST",   4, REQUEST_METHOD_POST  },
      {"PUT",    3, REQUEST_METHOD_PUT   },
      {"DELETE", 6, REQUEST_METHOD_DELETE},
  };
  for (const auto& row : methods)
    if (text && strncasecmp(text, row.name, row.length) == 0)
      return row.method;
  return REQUEST_METHOD_OTHER;
}

request_method_t parse_request_method(const struct mg_connection* conn)
{
  char text[VARIABLE_SIZE];
  request_method_t method = REQUEST_METHOD_OTHER;
  if (rest_get_var(conn, "method", text) != 0)
    method = util_method_of_text(text);
  return method != REQUEST_METHOD_OTHER ? method : util_method_of_text(conn->request_method);
}

RC_t parse_session_key(const struct mg_connection* conn, char* sessionKey)
{
  if (!sessionKey)
    return RC_FALSE;
  char key[REST_SESSION_KEY_SIZE] = "";
  rest_get_var(conn, "sessionkey", key);
  memcpy(sessionKey, key, sizeof key);
  return RC_TRUE;
}

int32_t rest_atoi(const char* text)
{
  // strtoll, clamped: plain atoi wraps around where long has 64 bits, and VLAN 4294967297 would
  // be VLAN 1.
  long long value = strtoll(text, nullptr, 10);
  if (value > INT32_MAX)
    return INT32_MAX;
  if (value < INT32_MIN)
    return INT32_MIN;
  return static_cast<int32_t>(value);
}

bool rest_get_number(const struct mg_connection* conn, const char* name, int32_t& number)
{
  char text[VARIABLE_SIZE];
  if (rest_get_var(conn, name, text) <= 0)
    return false;
  number = rest_atoi(text);
  return true;
}

RC_t convert_to_32bit_uint(const char* buf, uint32_t* localPref)
{
  if (!buf || !localPref || buf[0] == '-')
    return RC_FALSE;
  size_t length = strlen(buf);
  if (length > 10 || (length == 10 && (buf[0] < '0' || buf[0] > '4')))
    return RC_FALSE;
  *localPref = 0;
  uint64_t place = 1;
  for (size_t i = length; i-- > 0; place *= 10) {
    if (buf[i] < '0' || buf[i] > '9')
      return RC_FALSE;
    uint64_t part = static_cast<uint64_t>(buf[i] - '0') * place;
    if (part > UINT32_MAX - *localPref)
      return RC_FALSE;
    *localPref += static_cast<uint32_t>(part);
  }
  return RC_TRUE;
}

RC_t check_uint16_range(int32_t number)
{
  return number < 0 || number > UINT16_MAX ? RC_FALSE : RC_TRUE;
}

RC_t check_string_is_number(const char* str, int32_t* number)
{
  if (!str || !number || !*str)
    return RC_FALSE;
  for (const char* p = *str == '-' ? str + 1 : str; *p; p++)
    if (*p < '0' || *p > '9')
      return RC_FALSE;
  *number = rest_atoi(str);
  return RC_TRUE;
}

RC_t check_string_is_number_within_rest_control(const char* str, int32_t* number)
{
  if (check_string_is_number(str, number) != RC_TRUE)
    return RC_FALSE;
  return *number == OPEN_DISABLE || *number == OPEN_ENABLE ? RC_TRUE : RC_FALSE;
}

// Writes the text form of a network-order address; out has room for any form of the family.
static RC_t util_address_text(int family, const void* network_order, char* out)
{
  char text[INET6_ADDRSTRLEN] = "";
  if (!inet_ntop(family, network_order, text, sizeof text))
    return RC_FALSE;
  memcpy(out, text, strlen(text) + 1);
  return RC_TRUE;
}

RC_t convert_ipv4_with_uint32_to_ip_string(uint32_t addr, char* out_ipStr)
{
  if (!out_ipStr)
    return RC_FALSE;
  uint32_t network_order = htonl(addr);
  return util_address_text(AF_INET, &network_order, out_ipStr);
}

RC_t convert_ipv6_with_in6_addr_to_ip_string(const open_in6_addr_t* addr, char* out_ipStr)
{
  static_assert(IP_TEXT_SIZE > sizeof "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fff", "longest text");
  if (!addr || !out_ipStr)
    return RC_FALSE;
  return util_address_text(AF_INET6, addr, out_ipStr);
}

RC_t convert_inet_addr_to_ip_string(openapiClientHandle_t* client_handle, open_inet_addr_t* ipAddr,
                                    char* out_ipStr)
{
  if (!client_handle || !ipAddr || !out_ipStr)
    return RC_FALSE;
  switch (ipAddr->family) {
    case OPEN_AF_INET:
      return convert_ipv4_with_uint32_to_ip_string(ipAddr->addr.ipv4, out_ipStr);
    case OPEN_AF_INET6:
      return convert_ipv6_with_in6_addr_to_ip_string(&ipAddr->addr.ipv6, out_ipStr);
    default:
      return RC_FALSE;
  }
}

RC_t convert_ip_string_to_inet_addr(openapiClientHandle_t* client_handle, const char* ipStr,
                                    open_inet_addr_t* out_ipAddr)
{
  if (!client_handle || !ipStr || !out_ipAddr)
    return RC_FALSE;
  char text[REST_ADDRESS_TEXT_SIZE];
  snprintf(text, sizeof text, "%s", ipStr);
  open_buffdesc desc = rest_text_desc(text);
  return rpcclt_openapiInetAddrGet(client_handle, &desc, out_ipAddr) == OPEN_E_NONE ? RC_TRUE
                                                                                    : RC_FALSE;
}

uint32_t rest_ipv4_member(const open_inet_addr_t& address)
{
  return address.family == OPEN_AF_INET6 ? ntohl(address.addr.ipv6.u.addr32[0]) : address.addr.ipv4;
}

uint32_t rest_ipv4_mask(uint32_t prefix_length)
{
  if (prefix_length == 0)
    return 0;
  return prefix_length >= 32 ? UINT32_MAX : UINT32_MAX << (32 - prefix_length);
}

RC_t convert_mac_string_to_uchar_ary(const char* macStr, unsigned char* out_macAddr,
                                     uint32_t macAddrSize)
{
#define MAC_FIELD "%2[A-Za-z0-9]"
  constexpr uint32_t mac_bytes = 6;
  if (!macStr || !out_macAddr)
    return RC_FALSE;
  memset(out_macAddr, 0, macAddrSize);
  if (macAddrSize < mac_bytes)
    return RC_FALSE;
  char fields[mac_bytes][3];
  char rest[2];  // anything that follows counts as a seventh field
  if (sscanf(macStr,
             MAC_FIELD ":" MAC_FIELD ":" MAC_FIELD ":" MAC_FIELD ":" MAC_FIELD ":" MAC_FIELD "%1s",
             fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], rest) != 6 &&
      sscanf(macStr, MAC_FIELD MAC_FIELD MAC_FIELD MAC_FIELD MAC_FIELD MAC_FIELD "%1s", fields[0],
             fields[1], fields[2], fields[3], fields[4], fields[5], rest) != 6)
    return RC_FALSE;
  for (uint32_t i = 0; i < mac_bytes; i++)
    out_macAddr[i] = static_cast<unsigned char>(strtol(fields[i], nullptr, 16));
  return RC_TRUE;
#undef MAC_FIELD
}

RC_t convert_uchar_ary_to_mac_string(const unsigned char* macAddr, char* out_macStr, int is_sign,
                                     int is_uppercase)
{
  if (!macAddr || !out_macStr)
    return RC_FALSE;
  char text[18];
  snprintf(text, sizeof text, is_sign == 1 ? "%x:%x:%x:%x:%x:%x" : "%x%x%x%x%x%x",
           unsigned{macAddr[0]}, unsigned{macAddr[1]}, unsigned{macAddr[2]}, unsigned{macAddr[3]},
           unsigned{macAddr[4]}, unsigned{macAddr[5]});
  if (is_uppercase == 1)
    upper(text, out_macStr);
  else
    memcpy(out_macStr, text, strlen(text) + 1);
  return RC_TRUE;
}

void upper(const char* in_str, char* out_str)
{
  if (!in_str || !out_str)
    return;
  size_t i = 0;
  for (; in_str[i]; i++) {
    char c = in_str[i];
    out_str[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  out_str[i] = '\0';
}

open_buffdesc rest_unterminated_desc(char* text)
{
  open_buffdesc desc = {};
  desc.size = static_cast<uint32_t>(strlen(text));
  desc.pstart = text;
  return desc;
}

open_buffdesc rest_text_desc(char* text)
{
  open_buffdesc desc = rest_unterminated_desc(text);
  desc.size += 1;
  return desc;
}

void replace_password(const char* data, size_t data_len, char* dst, size_t dst_len)
{
  static constexpr char name[] = "password=";
  constexpr size_t name_len = sizeof name - 1;
  if (!dst || dst_len == 0)
    return;
  dst[0] = '\0';
  if (!data || data_len == 0 || data_len >= dst_len)
    return;
  for (size_t p = 0; p + name_len <= data_len; p++) {
    if ((p > 0 && data[p - 1] != '&') || strncasecmp(data + p, name, name_len) != 0)
      continue;
    size_t value = p + name_len;
    const char* s = static_cast<const char*>(memchr(data + value, '&', data_len - value));
    const char* rest = s ? s : data + data_len;
    snprintf(dst, dst_len, "%.*s**********%.*s", static_cast<int>(value), data,
             static_cast<int>(data + data_len - rest), rest);
    return;
  }
}
