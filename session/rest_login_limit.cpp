#include "session/rest_login_limit.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <iterator>

#include "engine/rest_config.h"

#if REST_LOGIN_LIMIT

static constexpr int64_t WINDOW_MS = int64_t{REST_LOGIN_WINDOW_S} * 1000;
static constexpr int64_t PAUSE_MS = int64_t{REST_LOGIN_PAUSE_S} * 1000;
static constexpr int64_t PAUSE_MAX_MS = int64_t{REST_LOGIN_PAUSE_MAX_S} * 1000;

// An address that failed. Times are milliseconds of a clock that nobody sets.
struct limited_address_t {
  char ip[48];                         // empty: the record is free
  int64_t failures[REST_LOGIN_TRIES];  // those that count; the oldest first, 0 for none
  int64_t last_failure;
  int64_t pause;  // the last one; 0: none so far
  int64_t refused_until;
};
static limited_address_t limited_addresses[REST_LOGIN_ADDRESSES];

static int64_t limit_now(void)
{
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

static limited_address_t* limit_find(const char* ip)
{
  for (limited_address_t& address : limited_addresses)
    if (strcmp(address.ip, ip) == 0)
      return &address;
  return nullptr;
}

// A record for one more address: a free one, or that which failed longest ago.
static limited_address_t* limit_add(const char* ip)
{
  auto is_older = [](const limited_address_t& a, const limited_address_t& b) {
    return a.last_failure < b.last_failure;
  };
  limited_address_t* record =
      std::min_element(std::begin(limited_addresses), std::end(limited_addresses), is_older);
  *record = {};
  snprintf(record->ip, sizeof record->ip, "%s", ip);
  return record;
}

// Starts the next pause.
static int limit_refuse(limited_address_t* address, int64_t now)
{
  // Who has been quiet for as long as the longest pause begins anew.
  bool is_repeated = address->pause > 0 && now < address->refused_until + PAUSE_MAX_MS;
  address->pause = is_repeated ? std::min(2 * address->pause, PAUSE_MAX_MS) : PAUSE_MS;
  address->refused_until = now + address->pause;
  std::fill(std::begin(address->failures), std::end(address->failures), 0);
  return static_cast<int>(address->pause / 1000);
}

bool login_limit_refuses(const char* ip)
{
  const limited_address_t* address = limit_find(ip);
  return address && limit_now() < address->refused_until;
}

int login_limit_note_failure(const char* ip)
{
  int64_t now = limit_now();
  limited_address_t* address = limit_find(ip);
  if (!address)
    address = limit_add(ip);
  std::copy(address->failures + 1, std::end(address->failures), address->failures);
  address->failures[REST_LOGIN_TRIES - 1] = address->last_failure = now;
  bool is_series = address->failures[0] != 0 && now - address->failures[0] <= WINDOW_MS;
  return is_series ? limit_refuse(address, now) : 0;
}

void login_limit_forget(const char* ip)
{
  if (limited_address_t* address = limit_find(ip))
    *address = {};
}

#else

bool login_limit_refuses(const char*)
{
  return false;
}

int login_limit_note_failure(const char*)
{
  return 0;
}

void login_limit_forget(const char*)
{
}

#endif
