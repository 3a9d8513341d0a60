#include "switchsim/plane_ovs/netlink.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>

namespace
{
constexpr size_t MESSAGE_SIZE = 1024;  // of what is sent
constexpr int RECEIVE_ROOM = 1 << 20;
constexpr uint32_t LINKS_MAX = 100000;
constexpr uint32_t OWN_METRIC = 256;  // the kernel's usual one; its own addresses tell none

using take_t = std::function<void(const nlmsghdr&)>;

// A request under construction.
struct request_t {
  alignas(nlmsghdr) char bytes[MESSAGE_SIZE] = {};
  nlmsghdr* header = nullptr;
};

nlmsghdr& request_begin(request_t& request, uint16_t type, uint16_t flags)
{
  request.header = mnl_nlmsg_put_header(request.bytes);
  request.header->nlmsg_type = type;
  request.header->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
  return *request.header;
}

template <class T>
T& extra_header(nlmsghdr& header)
{
  return *static_cast<T*>(mnl_nlmsg_put_extra_header(&header, sizeof(T)));
}

int socket_open(uint32_t groups)
{
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  sockaddr_nl address = {};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (fd >= 0 && bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool failed(std::string& why, const char* what)
{
  why = std::string("netlink: ") + what + ": " + strerror(errno);
  return false;
}

// What one datagram of an answer does to the request.
enum progress_t { MORE, DONE, REFUSED };

progress_t datagram_take(const char* bytes, size_t size, uint32_t sequence, const take_t& take)
{
  int left = static_cast<int>(size);
  for (const nlmsghdr* header = reinterpret_cast<const nlmsghdr*>(bytes);
       mnl_nlmsg_ok(header, left); header = mnl_nlmsg_next(header, &left)) {
    if (header->nlmsg_seq != sequence)
      continue;
    if (header->nlmsg_type == NLMSG_DONE)
      return DONE;
    if (header->nlmsg_type == NLMSG_ERROR) {
      if (mnl_nlmsg_get_payload_len(header) < sizeof(nlmsgerr)) {
        errno = EBADMSG;
        return REFUSED;
      }
      const auto* error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(header));
      errno = -error->error;
      return error->error == 0 ? DONE : REFUSED;
    }
    take(*header);
  }
  return MORE;
}

// Sends a request and takes its answer to the end. why begins with what was asked for.
bool talk(
    nl_t& nl, request_t& request, const char* what, uint64_t deadline_ms, std::string& why,
    const take_t& take = [](const nlmsghdr&) {})
{
  alignas(nlmsghdr) char room[65536];
  while (recv(nl.socket.fd, room, sizeof room, MSG_DONTWAIT) > 0) {
    // the rest of an earlier answer that nobody waited for
  }
  request.header->nlmsg_seq = ++nl.last_sequence;
  if (send(nl.socket.fd, request.header, request.header->nlmsg_len, 0) < 0)
    return failed(why, what);
  progress_t progress = MORE;
  while (progress == MORE) {
    const uint64_t now = stream_now_ms();
    pollfd waiting = {nl.socket.fd, POLLIN, 0};
    if (now >= deadline_ms || poll(&waiting, 1, static_cast<int>(deadline_ms - now)) == 0) {
      errno = ETIMEDOUT;
      return failed(why, what);
    }
    const ssize_t got = recv(nl.socket.fd, room, sizeof room, 0);
    if (got < 0 && errno != EAGAIN && errno != EINTR)
      return failed(why, what);
    progress =
        got <= 0 ? MORE : datagram_take(room, static_cast<size_t>(got), nl.last_sequence, take);
  }
  return progress == DONE || failed(why, what);
}

// The attributes of a message behind its own header, by their numbers.
template <size_t N>
std::array<const nlattr*, N> attributes(const nlmsghdr& header, size_t own_size)
{
  std::array<const nlattr*, N> found = {};
  const auto* attribute =
      static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(&header, own_size));
  const char* end = static_cast<const char*>(mnl_nlmsg_get_payload_tail(&header));
  for (; mnl_attr_ok(attribute, static_cast<int>(end - reinterpret_cast<const char*>(attribute)));
       attribute = mnl_attr_next(attribute))
    if (mnl_attr_get_type(attribute) < N)
      found[mnl_attr_get_type(attribute)] = attribute;
  return found;
}

bool holds(const nlattr* attribute, size_t size)
{
  return attribute != nullptr && mnl_attr_get_payload_len(attribute) >= size;
}

void counters_read(const nlattr* attribute, nl_link_t& link)
{
  rtnl_link_stats64 stats = {};
  if (attribute == nullptr)
    return;
  memcpy(&stats, mnl_attr_get_payload(attribute),
         std::min<size_t>(sizeof stats, mnl_attr_get_payload_len(attribute)));
  link.rx = {stats.rx_packets,     stats.rx_bytes,      stats.rx_errors,
             stats.rx_dropped,     stats.multicast,     stats.rx_length_errors,
             stats.rx_over_errors, stats.rx_crc_errors, stats.rx_frame_errors};
  link.tx = {stats.tx_packets, stats.tx_bytes,   stats.tx_errors,
             stats.tx_dropped, stats.collisions, stats.tx_fifo_errors};
}

void link_read(const nlmsghdr& header, nl_links_t& links)
{
  if (header.nlmsg_type != RTM_NEWLINK || mnl_nlmsg_get_payload_len(&header) < sizeof(ifinfomsg) ||
      links.size() >= LINKS_MAX)
    return;
  const auto* info = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&header));
  const auto found = attributes<IFLA_MAX + 1>(header, sizeof *info);
  if (!holds(found[IFLA_IFNAME], 1))
    return;
  const char* name = mnl_attr_get_str(found[IFLA_IFNAME]);
  nl_link_t& link =
      links[std::string(name, strnlen(name, mnl_attr_get_payload_len(found[IFLA_IFNAME])))];
  link.index = static_cast<uint32_t>(info->ifi_index);
  link.up = (info->ifi_flags & IFF_UP) != 0;
  link.carrier = holds(found[IFLA_CARRIER], 1) && mnl_attr_get_u8(found[IFLA_CARRIER]) != 0;
  link.mtu = holds(found[IFLA_MTU], sizeof link.mtu) ? mnl_attr_get_u32(found[IFLA_MTU]) : 0;
  if (holds(found[IFLA_ADDRESS], 6)) {
    const auto* bytes = static_cast<const uint8_t*>(mnl_attr_get_payload(found[IFLA_ADDRESS]));
    link.mac = 0;
    for (int i = 0; i < 6; i++)
      link.mac = link.mac << 8 | bytes[i];
  }
  counters_read(found[IFLA_STATS64], link);
}

// ---- addresses ----

size_t address_size(OPEN_AF_t family)
{
  return family == OPEN_AF_INET ? 4 : 16;
}

void address_read(const nlmsghdr& header, uint32_t index, std::vector<open_inet_pfx_t>& addresses)
{
  if (header.nlmsg_type != RTM_NEWADDR || mnl_nlmsg_get_payload_len(&header) < sizeof(ifaddrmsg))
    return;
  const auto* info = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(&header));
  const auto found = attributes<IFA_MAX + 1>(header, sizeof *info);
  const nlattr* own = found[IFA_LOCAL] != nullptr ? found[IFA_LOCAL] : found[IFA_ADDRESS];
  open_inet_pfx_t address = {};
  address.family = info->ifa_family == AF_INET ? OPEN_AF_INET : OPEN_AF_INET6;
  const bool known = info->ifa_family == AF_INET || info->ifa_family == AF_INET6;
  if (info->ifa_index != index || !known || !holds(own, address_size(address.family)) ||
      (info->ifa_scope == RT_SCOPE_LINK && found[IFA_RT_PRIORITY] == nullptr))
    return;
  address.pfxLen = info->ifa_prefixlen;
  if (address.family == OPEN_AF_INET) {
    uint32_t ipv4 = 0;
    memcpy(&ipv4, mnl_attr_get_payload(own), sizeof ipv4);
    address.addr.ipv4 = ntohl(ipv4);
  } else {
    memcpy(address.addr.ipv6.u.addr8, mnl_attr_get_payload(own), 16);
  }
  addresses.push_back(address);
}

bool address_change(nl_t& nl, uint16_t type, uint16_t flags, uint32_t index,
                    const open_inet_pfx_t& address, uint64_t deadline_ms, std::string& why)
{
  request_t request;
  nlmsghdr& header = request_begin(request, type, static_cast<uint16_t>(NLM_F_ACK | flags));
  auto& info = extra_header<ifaddrmsg>(header);
  const bool ipv4 = address.family == OPEN_AF_INET;
  info.ifa_family = static_cast<uint8_t>(ipv4 ? AF_INET : AF_INET6);
  info.ifa_prefixlen = static_cast<uint8_t>(address.pfxLen);
  info.ifa_index = index;
  const uint32_t wire = htonl(address.addr.ipv4);
  const void* bytes = ipv4 ? static_cast<const void*>(&wire) : address.addr.ipv6.u.addr8;
  mnl_attr_put(&header, IFA_LOCAL, address_size(address.family), bytes);
  mnl_attr_put(&header, IFA_ADDRESS, address_size(address.family), bytes);
  if (!ipv4) {
    mnl_attr_put_u32(&header, IFA_FLAGS, IFA_F_NODAD);  // usable at once
    mnl_attr_put_u32(&header, IFA_RT_PRIORITY, OWN_METRIC);
  }
  return talk(nl, request, "an address", deadline_ms, why);
}
}  // namespace

bool nl_open(nl_t& nl, std::string& why)
{
  nl.socket.reset(socket_open(0));
  setsockopt(nl.socket.fd, SOL_SOCKET, SO_RCVBUF, &RECEIVE_ROOM, sizeof RECEIVE_ROOM);
  return nl.socket.fd >= 0 || failed(why, "a socket");
}

bool nl_events_open(fd_guard_t& events, std::string& why)
{
  events.reset(socket_open(RTMGRP_LINK));
  return events.fd >= 0 || failed(why, "a socket");
}

bool nl_links_read(nl_t& nl, nl_links_t& links, uint64_t deadline_ms, std::string& why)
{
  request_t request;
  nlmsghdr& header = request_begin(request, RTM_GETLINK, NLM_F_DUMP);
  extra_header<ifinfomsg>(header).ifi_family = AF_UNSPEC;
  links.clear();
  return talk(nl, request, "the links", deadline_ms, why,
              [&](const nlmsghdr& answer) { link_read(answer, links); });
}

bool nl_addresses_read(nl_t& nl, uint32_t index, std::vector<open_inet_pfx_t>& addresses,
                       uint64_t deadline_ms, std::string& why)
{
  request_t request;
  nlmsghdr& header = request_begin(request, RTM_GETADDR, NLM_F_DUMP);
  extra_header<ifaddrmsg>(header).ifa_family = AF_UNSPEC;
  addresses.clear();
  return talk(nl, request, "the addresses", deadline_ms, why,
              [&](const nlmsghdr& answer) { address_read(answer, index, addresses); });
}

static nlmsghdr& link_request(request_t& request, uint32_t index)
{
  nlmsghdr& header = request_begin(request, RTM_NEWLINK, NLM_F_ACK);
  extra_header<ifinfomsg>(header).ifi_index = static_cast<int>(index);
  return header;
}

bool nl_up_set(nl_t& nl, uint32_t index, bool up, uint64_t deadline_ms, std::string& why)
{
  request_t request;
  nlmsghdr& header = link_request(request, index);
  auto* info = static_cast<ifinfomsg*>(mnl_nlmsg_get_payload(&header));
  info->ifi_change = IFF_UP;
  info->ifi_flags = up ? IFF_UP : 0;
  return talk(nl, request, "a link's state", deadline_ms, why);
}

bool nl_carrier_set(nl_t& nl, uint32_t index, bool carrier, uint64_t deadline_ms, std::string& why)
{
  request_t request;
  nlmsghdr& header = link_request(request, index);
  mnl_attr_put_u8(&header, IFLA_CARRIER, carrier ? 1 : 0);
  return talk(nl, request, "a link's carrier", deadline_ms, why);
}

bool nl_address_add(nl_t& nl, uint32_t index, const open_inet_pfx_t& address, uint64_t deadline_ms,
                    std::string& why)
{
  return address_change(nl, RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE, index, address, deadline_ms,
                        why);
}

bool nl_address_remove(nl_t& nl, uint32_t index, const open_inet_pfx_t& address,
                       uint64_t deadline_ms, std::string& why)
{
  return address_change(nl, RTM_DELADDR, 0, index, address, deadline_ms, why);
}

void nl_events_drain(const fd_guard_t& events)
{
  char room[65536];
  ssize_t got = 0;
  do {
    got = recv(events.fd, room, sizeof room, MSG_DONTWAIT);
  } while (got > 0 || (got < 0 && (errno == EINTR || errno == ENOBUFS)));
}

bool nl_speed_read(const nl_t& nl, const std::string& name, uint32_t& megabits, bool& full)
{
  ifreq request = {};
  ethtool_cmd command = {};
  if (name.size() >= sizeof request.ifr_name)
    return false;
  memcpy(request.ifr_name, name.data(), name.size());
  command.cmd = ETHTOOL_GSET;
  request.ifr_data = reinterpret_cast<char*>(&command);
  if (ioctl(nl.socket.fd, SIOCETHTOOL, &request) != 0)
    return false;
  megabits = ethtool_cmd_speed(&command);
  full = command.duplex == DUPLEX_FULL;
  return megabits != 0 && megabits != static_cast<uint32_t>(SPEED_UNKNOWN);
}
