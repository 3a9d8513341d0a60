#include "httpd/mg_acl.h"

#include <stdio.h>

#include "httpd/mg_parse.h"

// Reads "a.b.c.d" or "a.b.c.d/n", which must be `len` characters long.
static bool parse_network(const char* text, int len, uint32_t* address, int* prefix)
{
  int octets[4] = {};
  int end = 0;
  // Nine digits at most, so that no number overflows; the ranges are checked below.
  if (sscanf(text, "%9d.%9d.%9d.%9d/%9d%n", &octets[0], &octets[1], &octets[2], &octets[3], prefix,
             &end) != 5) {
    *prefix = 32;
    if (sscanf(text, "%9d.%9d.%9d.%9d%n", &octets[0], &octets[1], &octets[2], &octets[3], &end) !=
        4)
      return false;
  }
  *address = 0;
  for (int octet : octets) {
    if (octet < 0 || octet > 255)
      return false;
    *address = *address << 8 | static_cast<uint32_t>(octet);
  }
  return end == len && *prefix >= 0 && *prefix <= 32;
}

int check_acl(const char* acl, uint32_t remote_ip_host_order)
{
  if (acl == nullptr)
    return 1;
  int allowed = 0;
  mg_vec entry = {};
  while ((acl = next_option(acl, &entry, nullptr)) != nullptr) {
    uint32_t network = 0;
    int prefix = 0;
    if (entry.len == 0 || (*entry.ptr != '+' && *entry.ptr != '-') ||
        !parse_network(entry.ptr + 1, static_cast<int>(entry.len) - 1, &network, &prefix))
      return -1;
    uint32_t mask = prefix == 0 ? 0 : UINT32_MAX << (32 - prefix);
    if ((remote_ip_host_order & mask) == network)
      allowed = *entry.ptr == '+';
  }
  return allowed;
}
