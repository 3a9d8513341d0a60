// Texts of addresses and numbers, both ways, and passwords taken out of a query.
#include "engine/rest_address.h"
#include "engine/rest_util.h"
#include "platform/openapi_client.h"
#include "tests/fuzz/fuzz.h"

static void check_address(openapiClientHandle_t* client, const char* text)
{
  open_inet_addr_t address = {}, again = {};
  char shown[REST_ADDRESS_TEXT_SIZE], shown_again[REST_ADDRESS_TEXT_SIZE];
  if (convert_ip_string_to_inet_addr(client, text, &address) != RC_TRUE)
    return;
  require(convert_inet_addr_to_ip_string(client, &address, shown) == RC_TRUE);
  require(convert_ip_string_to_inet_addr(client, shown, &again) == RC_TRUE);
  require(convert_inet_addr_to_ip_string(client, &again, shown_again) == RC_TRUE);
  require(strcmp(shown, shown_again) == 0);
  open_inet_pfx_t prefix = {};
  prefix.family = address.family;
  rest_prefix_address_text(client, prefix, shown);
}

static void check_mac(const char* text)
{
  unsigned char mac[6], again[6];
  char shown[18];
  if (convert_mac_string_to_uchar_ary(text, mac, sizeof mac) != RC_TRUE)
    return;
  for (int is_uppercase : {0, 1}) {
    require(convert_uchar_ary_to_mac_string(mac, shown, 1, is_uppercase) == RC_TRUE);
    require(convert_mac_string_to_uchar_ary(shown, again, sizeof again) == RC_TRUE);
    require(memcmp(mac, again, sizeof mac) == 0);
    require(convert_uchar_ary_to_mac_string(mac, shown, 0, is_uppercase) == RC_TRUE);
  }
}

static void check_numbers(const std::string& text)
{
  uint32_t wide = 0;
  int32_t number = 0;
  bool is_digits = text.find_first_not_of("0123456789") == std::string::npos;
  bool fits = is_digits && text.size() <= 10 && strtoull(text.c_str(), nullptr, 10) <= UINT32_MAX;
  require((convert_to_32bit_uint(text.c_str(), &wide) == RC_TRUE) == fits);
  require(!fits || wide == strtoull(text.c_str(), nullptr, 10));
  bool is_number = check_string_is_number(text.c_str(), &number) == RC_TRUE;
  require(is_number == (!text.empty() &&
                        text.find_first_not_of("0123456789", text[0] == '-') == std::string::npos));
  require(!is_number || number == rest_atoi(text.c_str()));
  check_uint16_range(number);
  require(rest_ipv4_mask(wide) == (wide == 0 ? 0 : wide > 31 ? UINT32_MAX : ~(UINT32_MAX >> wide)));
}

static void check_password(const std::string& text)
{
  std::vector<char> masked(text.size() + 20), upper_case(text.size() + 1);
  replace_password(text.data(), text.size(), masked.data(), masked.size());
  require(memchr(masked.data(), '\0', masked.size()) != nullptr);
  upper(text.c_str(), upper_case.data());
  require(strlen(upper_case.data()) == text.size());
}

static void fuzz(const std::string& input)
{
  static openapiClientHandle_t client;
  static const open_error_t registered = openapiClientRegister("fuzz", &client);
  require(registered == OPEN_E_NONE);
  const std::string text = before_zero(input);
  check_address(&client, text.c_str());
  check_mac(text.c_str());
  check_numbers(text);
  check_password(text);
}
