// Types that every area of the switch's management API shares.
//
// How the calls of all openapi_*.h headers are built:
//  - the client handle comes first; inputs go by value, outputs by pointer after them, unless a
//    call's own comment says otherwise. A null output pointer is answered with OPEN_E_PARAM.
//  - the result is an open_error_t: OPEN_E_NONE or a negative code. Outputs are filled only then,
//    unless said otherwise. A call that answers anything else changed nothing.
//  - text and lists travel in an open_buffdesc. On input, size says how many bytes at pstart belong
//    to the text; a call says whether that counts the terminating zero. On output, size is on entry
//    the room at pstart and on return what was used, the terminating zero of a text included. Room
//    that is too small is answered with OPEN_E_PARAM.
//  - interfaces are named by their interface number, which starts at 1.
//  - a call blocks until the switch has answered; OPEN_E_RPC says that the switch was not reached.
//
// Enumerations have a fixed underlying type, so any number of a request can be handed to the
// switch.
#pragma once

#include <cstdint>

enum open_error_t : int32_t {
  OPEN_E_NONE = 0,
  OPEN_E_RPC = -20,       // the switch was not reached
  OPEN_E_INTERNAL = -21,  // something went wrong inside the switch
  OPEN_E_PARAM = -22,     // an argument is wrong
  OPEN_E_FULL = -23,      // the table is full
  OPEN_E_EXISTS = -24,    // it exists already
  OPEN_E_TIMEOUT = -25,
  OPEN_E_FAIL = -26,      // refused, or the end of a walk
  OPEN_E_DISABLED = -27,  // the feature is switched off
  OPEN_E_UNAVAIL = -28,   // not available here or now
  OPEN_E_NOT_FOUND = -29,
  OPEN_E_EMPTY = -30,
  OPEN_E_ERROR = -31,
};

// Text, or the bytes of a list. The memory at pstart is always the caller's.
struct open_buffdesc {
  uint32_t size;  // bytes
  void* pstart;
};

enum OPEN_CONTROL_t : int32_t {
  OPEN_DISABLE = 0,
  OPEN_ENABLE = 1,
};

enum OPEN_BOOL_t : int32_t {
  OPEN_FALSE = 0,
  OPEN_TRUE = 1,
};

enum OPEN_AF_t : int32_t {
  OPEN_AF_NONE = 0,
  OPEN_AF_INET = 1,
  OPEN_AF_INET6 = 2,
};

// An IPv6 address: 16 bytes in network order, viewable in wider units.
struct open_in6_addr_t {
  union {
    uint32_t addr32[4];
    uint16_t addr16[8];
    uint8_t addr8[16];
  } u;
};

struct open_inet_addr_t {
  OPEN_AF_t family;
  union {
    uint32_t ipv4;  // host byte order
    open_in6_addr_t ipv6;
  } addr;
};

// An address with the length of its prefix in bits.
struct open_inet_pfx_t {
  OPEN_AF_t family;
  union {
    uint32_t ipv4;  // host byte order
    open_in6_addr_t ipv6;
  } addr;
  uint32_t pfxLen;
};

enum OPEN_INTF_TYPE_t : int32_t {
  OPEN_INTF_TYPE_PHY = 0,
  OPEN_INTF_TYPE_CPU = 1,
  OPEN_INTF_TYPE_LAG = 2,
  OPEN_INTF_TYPE_VLAN = 3,
  OPEN_INTF_TYPE_LOOPBACK = 4,
  OPEN_INTF_TYPE_TUNNEL = 5,
  OPEN_INTF_TYPE_SERVICE_PORT = 6,
  OPEN_INTF_TYPE_OTHER = 7,
  OPEN_INTF_TYPE_ANY = 8,
};

// Handle of one client of the management API. The caller owns the memory, the client library what
// is in it.
struct openapiClientHandle_t {
  uint64_t opaque[32];
};
static_assert(sizeof(openapiClientHandle_t) == 256, "the client library writes 256 bytes");
