// Request variables and value conversions that every module uses.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"

// Bytes of a buffer for an address as text, the terminator included.
constexpr size_t REST_ADDRESS_TEXT_SIZE = 48;

// Bytes of a buffer for a session key: 32 hexadecimal digits and the terminator.
constexpr size_t REST_SESSION_KEY_SIZE = 33;

// --- Request variables (query string first, then a form-encoded body) ---

// The form asked for by "format": its first letters count, case does not; XML unless it is JSON.
return_format_t parse_return_format(const struct mg_connection* conn);

// The method asked for by "method", else the HTTP verb; first letters count, case does not.
request_method_t parse_request_method(const struct mg_connection* conn);

// Reads "sessionkey" into sessionKey (33 bytes); an absent or longer key gives an empty one.
// RC_FALSE only for a null buffer.
RC_t parse_session_key(const struct mg_connection* conn, char* sessionKey);

// Reads a variable into a whole array. Returns the value's length, 0 for an empty value, or a
// negative number when it is absent or does not fit; the text is terminated in every case, and
// empty when the result is negative.
template <size_t N>
int rest_get_var(const struct mg_connection* conn, const char* name, char (&value)[N])
{
  int length = mg_get_var(conn, name, value, N);
  if (length < 0)
    value[0] = '\0';
  return length;
}

// Reads a variable as a number (rest_atoi). False when it is absent, empty or longer than 255
// characters; number is then left alone.
bool rest_get_number(const struct mg_connection* conn, const char* name, int32_t& number);

// --- Numbers ---

// The number at the start of a text as the switch's 32-bit C library reads it: 0 where there is
// none, the nearest limit of 32 bits where it is out of range.
int32_t rest_atoi(const char* text);

// Decimal digits up to 4294967295 into *localPref; an empty text is 0. RC_FALSE for null
// arguments, a sign, any other character or a larger value.
RC_t convert_to_32bit_uint(const char* buf, uint32_t* localPref);

// RC_FALSE if the number is below 0 or above 65535.
RC_t check_uint16_range(int32_t number);

// Digits with one leading "-" allowed: RC_TRUE and the value (as rest_atoi reads it) in *number.
RC_t check_string_is_number(const char* str, int32_t* number);

// RC_TRUE only for a number that is 0 or 1. The value is stored whenever the text is a number.
RC_t check_string_is_number_within_rest_control(const char* str, int32_t* number);

// --- Addresses ---

// Text of an IPv4 or IPv6 address into out_ipStr (48 bytes). RC_FALSE for null arguments, another
// family or a formatting failure.
RC_t convert_inet_addr_to_ip_string(openapiClientHandle_t* client_handle, open_inet_addr_t* ipAddr,
                                    char* out_ipStr);

// Lets the management API parse the text's first 47 characters. RC_FALSE for null arguments and
// for everything that the API refuses.
RC_t convert_ip_string_to_inet_addr(openapiClientHandle_t* client_handle, const char* ipStr,
                                    open_inet_addr_t* out_ipAddr);

// Text of an IPv6 address into out_ipStr (40 bytes).
RC_t convert_ipv6_with_in6_addr_to_ip_string(const open_in6_addr_t* addr, char* out_ipStr);

// Dotted decimal of an address in host byte order into out_ipStr (40 bytes).
RC_t convert_ipv4_with_uint32_to_ip_string(uint32_t addr, char* out_ipStr);

// The IPv4 address in host byte order; of an IPv6 address its first four bytes, read as the
// switch's own processor does (the highest first).
uint32_t rest_ipv4_member(const open_inet_addr_t& address);

// The mask with the top prefix_length bits set, in host byte order: 0 for 0, all ones from 32 on.
uint32_t rest_ipv4_mask(uint32_t prefix_length);

// "0:1:2:3:4:5", "00:11:22:aa:bb:cc" or "001122aabbcc" into bytes: six fields of one or two letters
// or digits, read as hexadecimal. Zeroes macAddrSize bytes of the output first; it must be 6 or
// more. RC_FALSE for null arguments or another number of fields.
RC_t convert_mac_string_to_uchar_ary(const char* macStr, unsigned char* out_macAddr,
                                     uint32_t macAddrSize);

// Six bytes into text, not zero-padded, with colons when is_sign is 1 and in upper case when
// is_uppercase is 1. out_macStr takes up to 18 bytes.
RC_t convert_uchar_ary_to_mac_string(const unsigned char* macAddr, char* out_macStr, int is_sign,
                                     int is_uppercase);

// --- Text ---

// The entry of a table of texts that is indexed by an enumeration's values; null outside the table.
template <size_t N>
const char* rest_enum_text(const char* const (&table)[N], int32_t value)
{
  return value >= 0 && static_cast<size_t>(value) < N ? table[value] : nullptr;
}

// Upper-case copy of in_str into out_str, which has room for it. Nothing happens for null
// arguments.
void upper(const char* in_str, char* out_str);

// A text for the management API: size is its length with the terminator.
open_buffdesc rest_text_desc(char* text);

// The same for the calls that do not count the terminator.
open_buffdesc rest_unterminated_desc(char* text);

// A whole array as a buffer that the management API fills.
template <size_t N>
open_buffdesc rest_buffer_desc(char (&buffer)[N])
{
  open_buffdesc desc = {};
  desc.size = N;
  desc.pstart = buffer;
  return desc;
}

// Masks the first password of a query string for the log: dst receives the data with the value of
// "password" replaced by ten asterisks. dst stays empty when data has no password or data_len is
// not below dst_len; never more than dst_len bytes are written.
void replace_password(const char* data, size_t data_len, char* dst, size_t dst_len);
