#include "switchsim/plane_ovs/flow_policies.h"

#include <algorithm>
#include <iterator>

#include "switchsim/plane_ovs/rows.h"

namespace
{
constexpr uint32_t POLICY_PRIORITY_MAX = UINT16_MAX - PRIORITY_POLICY;
constexpr uint16_t ETHERTYPE_IPV4 = 0x0800;
constexpr uint16_t ETHERTYPE_IPV6 = 0x86dd;
constexpr uint32_t PROTO_ICMP = 1;
constexpr uint32_t PROTO_TCP = 6;
constexpr uint32_t PROTO_UDP = 17;
constexpr uint32_t PROTO_ICMPV6 = 58;
constexpr uint32_t PROTO_SCTP = 132;

bool all_zero(const void* bytes, size_t size)
{
  const auto* first = static_cast<const unsigned char*>(bytes);
  return std::all_of(first, first + size, [](unsigned char byte) { return byte == 0; });
}

uint64_t mac_number(const uint8_t (&bytes)[6])
{
  uint64_t mac = 0;
  for (const uint8_t byte : bytes)
    mac = mac << 8 | byte;
  return mac;
}

bool asks_for_ports(const open_tcamApiPolicy_t& policy)
{
  return policy.matchSrcPortIcmpType != 0 || policy.matchSrcPortIcmpTypeMask != 0 ||
         policy.matchDstPortIcmpCode != 0 || policy.matchDstPortIcmpCodeMask != 0;
}

bool asks_for_ipv4(const open_tcamApiPolicy_t& policy)
{
  return policy.matchSrcIp != 0 || policy.matchSrcIpMask != 0 || policy.matchDstIp != 0 ||
         policy.matchDstIpMask != 0;
}

bool asks_for_ipv6(const open_tcamApiPolicy_t& policy)
{
  return !all_zero(&policy.matchSrcIpv6Addr, sizeof policy.matchSrcIpv6Addr) ||
         !all_zero(&policy.matchSrcIpv6Mask, sizeof policy.matchSrcIpv6Mask) ||
         !all_zero(&policy.matchDstIpv6Addr, sizeof policy.matchDstIpv6Addr) ||
         !all_zero(&policy.matchDstIpv6Mask, sizeof policy.matchDstIpv6Mask);
}

bool asks_for_ip(const open_tcamApiPolicy_t& policy)
{
  return policy.matchIpProto != 0 || policy.matchIpProtoMask != 0 || policy.matchIpDscp != 0 ||
         policy.matchIpDscpMask != 0 || asks_for_ports(policy) || asks_for_ipv4(policy) ||
         asks_for_ipv6(policy);
}

// The Ethernet type that a policy matches, its own or that of the addresses it names; 0: any.
uint16_t ethertype_of(const open_tcamApiPolicy_t& policy)
{
  if (policy.matchEthType != 0)
    return policy.matchEthType;
  if (asks_for_ipv6(policy))
    return ETHERTYPE_IPV6;
  return asks_for_ip(policy) ? ETHERTYPE_IPV4 : 0;
}

// A value without a mask is meant whole.
template <class T>
uint64_t mask_of(T value, T mask)
{
  return value != 0 && mask == 0 ? UINT64_MAX : mask;
}

bool whole_or_none(uint64_t mask, uint64_t whole)
{
  return mask == 0 || (mask & whole) == whole;
}

struct port_fields_t {
  uint32_t ethertype, proto;
  of_field_t source, destination;
  bool masks;
};
constexpr port_fields_t PORT_FIELDS[] = {
    {0,              PROTO_TCP,    OF_TCP_SRC,     OF_TCP_DST,     true },
    {0,              PROTO_UDP,    OF_UDP_SRC,     OF_UDP_DST,     true },
    {0,              PROTO_SCTP,   OF_SCTP_SRC,    OF_SCTP_DST,    true },
    {ETHERTYPE_IPV4, PROTO_ICMP,   OF_ICMPV4_TYPE, OF_ICMPV4_CODE, false},
    {ETHERTYPE_IPV6, PROTO_ICMPV6, OF_ICMPV6_TYPE, OF_ICMPV6_CODE, false},
};

// What ports, or types and codes, are called in frames of the policy's protocol; null: it has none.
const port_fields_t* port_fields_of(const open_tcamApiPolicy_t& policy)
{
  const uint32_t ethertype = ethertype_of(policy);
  const auto* end = std::end(PORT_FIELDS);
  const auto* found = std::find_if(std::begin(PORT_FIELDS), end, [&](const port_fields_t& row) {
    return row.proto == policy.matchIpProto && (row.ethertype == 0 || row.ethertype == ethertype);
  });
  return found == end ? nullptr : found;
}

bool ip_matchable(const open_tcamApiPolicy_t& policy)
{
  const uint16_t ethertype = ethertype_of(policy);
  const bool ip = ethertype == ETHERTYPE_IPV4 || ethertype == ETHERTYPE_IPV6;
  return (!asks_for_ip(policy) || ip) && (!asks_for_ipv4(policy) || ethertype == ETHERTYPE_IPV4) &&
         (!asks_for_ipv6(policy) || ethertype == ETHERTYPE_IPV6) &&
         whole_or_none(policy.matchIpProtoMask, 0xff) && policy.matchIpProto <= 0xff &&
         whole_or_none(policy.matchIpDscpMask, 0x3f) && policy.matchIpDscp <= 0x3f;
}

bool ports_matchable(const open_tcamApiPolicy_t& policy)
{
  if (!asks_for_ports(policy))
    return true;
  const port_fields_t* fields = port_fields_of(policy);
  return fields != nullptr &&
         (fields->masks ||
          (whole_or_none(policy.matchSrcPortIcmpTypeMask, 0xff) &&
           whole_or_none(policy.matchDstPortIcmpCodeMask, 0xff) &&
           policy.matchSrcPortIcmpType <= 0xff && policy.matchDstPortIcmpCode <= 0xff));
}

bool has_action(const open_tcamApiPolicy_t& policy, OPEN_TCAM_POLICY_ACTION_t action)
{
  return (policy.actionType & static_cast<uint32_t>(action)) != 0;
}

bool at_egress(const open_tcamApiPolicy_t& policy)
{
  return policy.policyType == OPEN_TCAM_POLICY_TYPE_EGRESS;
}

bool actions_possible(const open_tcamApiPolicy_t& policy)
{
  const OPEN_TCAM_ACTION_t& values = policy.actionVal;
  return !has_action(policy, OPEN_TCAM_POLICY_ACTION_OUTERTPID) &&
         !has_action(policy, OPEN_TCAM_POLICY_ACTION_REDIRECT_CPU) &&
         !(at_egress(policy) && has_action(policy, OPEN_TCAM_POLICY_ACTION_REDIRECT)) &&
         (!has_action(policy, OPEN_TCAM_POLICY_ACTION_OUTERVLAN) ||
          (values.vlanId >= 1 && values.vlanId <= 4094)) &&
         (!has_action(policy, OPEN_TCAM_POLICY_ACTION_USERPRIO) || values.vlanPrio <= 7);
}

void match_ipv6(of_flow_t& flow, of_field_t field, const open_in6_addr_t& address,
                const open_in6_addr_t& mask)
{
  const auto text = [](const open_in6_addr_t& bytes) {
    return std::string(reinterpret_cast<const char*>(bytes.u.addr8), sizeof bytes.u.addr8);
  };
  const bool whole = all_zero(&mask, sizeof mask) && !all_zero(&address, sizeof address);
  of_match_bytes(flow, field, text(address), whole ? std::string(16, '\xff') : text(mask));
}

void match_ip(of_flow_t& flow, const open_tcamApiPolicy_t& policy)
{
  of_match_masked(flow, OF_IPV4_SRC, policy.matchSrcIp,
                  mask_of(policy.matchSrcIp, policy.matchSrcIpMask));
  of_match_masked(flow, OF_IPV4_DST, policy.matchDstIp,
                  mask_of(policy.matchDstIp, policy.matchDstIpMask));
  match_ipv6(flow, OF_IPV6_SRC, policy.matchSrcIpv6Addr, policy.matchSrcIpv6Mask);
  match_ipv6(flow, OF_IPV6_DST, policy.matchDstIpv6Addr, policy.matchDstIpv6Mask);
  if (policy.matchIpProto != 0 || policy.matchIpProtoMask != 0)
    of_match(flow, OF_IP_PROTO, policy.matchIpProto);
  if (policy.matchIpDscp != 0 || policy.matchIpDscpMask != 0)
    of_match(flow, OF_IP_DSCP, policy.matchIpDscp);
  if (const port_fields_t* fields = asks_for_ports(policy) ? port_fields_of(policy) : nullptr) {
    of_match_masked(flow, fields->source, policy.matchSrcPortIcmpType,
                    mask_of(policy.matchSrcPortIcmpType, policy.matchSrcPortIcmpTypeMask));
    of_match_masked(flow, fields->destination, policy.matchDstPortIcmpCode,
                    mask_of(policy.matchDstPortIcmpCode, policy.matchDstPortIcmpCodeMask));
  }
}

// What a policy matches beside the tag.
void match_frame(of_flow_t& flow, const open_tcamApiPolicy_t& policy)
{
  const uint64_t source = mac_number(policy.matchSrcMac);
  const uint64_t destination = mac_number(policy.matchDstMac);
  of_match_masked(flow, OF_ETH_SRC, source, mask_of(source, uint64_t{0}));
  of_match_masked(flow, OF_ETH_DST, destination, mask_of(destination, uint64_t{0}));
  of_match_masked(flow, OF_ETH_TYPE, ethertype_of(policy),
                  mask_of(ethertype_of(policy), uint16_t{0}));
  match_ip(flow, policy);
}

// Every frame has a tag by now, but one that is to be matched or rewritten has to be asked for.
void match_tag(of_flow_t& flow, const open_tcamApiPolicy_t& policy)
{
  of_match_masked(flow, OF_VLAN_VID, OF_VLAN_PRESENT | policy.matchVlanVal,
                  policy.matchVlanVal != 0 ? UINT64_MAX : OF_VLAN_PRESENT);
  of_match_masked(flow, OF_VLAN_PCP, policy.matchVlanPrio,
                  mask_of(policy.matchVlanPrio, uint8_t{0}));
}

std::string mac_rewrites(const open_tcamApiPolicy_t& policy)
{
  std::string actions;
  if (has_action(policy, OPEN_TCAM_POLICY_ACTION_SRCMAC_NEW))
    of_action_set(actions, OF_ETH_SRC, mac_number(policy.actionVal.srcAddr));
  if (has_action(policy, OPEN_TCAM_POLICY_ACTION_DSTMAC_NEW))
    of_action_set(actions, OF_ETH_DST, mac_number(policy.actionVal.dstMac));
  return actions;
}

// What is rewritten in a frame, before it goes anywhere.
std::string rewrites(const open_tcamApiPolicy_t& policy)
{
  std::string actions;
  if (has_action(policy, OPEN_TCAM_POLICY_ACTION_OUTERVLAN))
    of_action_set(actions, OF_VLAN_VID, OF_VLAN_PRESENT | policy.actionVal.vlanId);
  if (has_action(policy, OPEN_TCAM_POLICY_ACTION_USERPRIO))
    of_action_set(actions, OF_VLAN_PCP, policy.actionVal.vlanPrio);
  return actions + mac_rewrites(policy);
}

// The member that a port is, or is in; 0: none.
uint32_t member_of(const wish_t& wish, uint32_t number)
{
  const auto found = std::find_if(wish.members.begin(), wish.members.end(), [&](const auto& entry) {
    const std::vector<uint32_t>& ports = entry.second.ports;
    return entry.first == number || std::find(ports.begin(), ports.end(), number) != ports.end();
  });
  return found == wish.members.end() ? 0 : found->first;
}

// How a frame leaves towards the interface that it is redirected to: nothing where that is not
// there, so that the frame is dropped.
std::string redirection(const std::string& bridge, const wish_t& wish, uint32_t target,
                        const flow_numbers_t& numbers)
{
  const auto router = wish.routers.find(target);
  if (router != wish.routers.end() && router->second.vlan != 0) {
    const uint32_t port = flow_number_of(numbers, rows_router(bridge, target, router->second));
    std::string actions;
    of_action_pop_vlan(actions);
    return port == 0 ? "" : actions + flow_output(port);
  }
  const uint32_t patch = flow_number_of(numbers, rows_inner_patch(bridge, member_of(wish, target)));
  return patch == 0 ? "" : flow_output(patch);
}

std::string policy_actions_in(const std::string& bridge, const wish_t& wish,
                              const open_tcamApiPolicy_t& policy, const flow_numbers_t& numbers)
{
  if (has_action(policy, OPEN_TCAM_POLICY_ACTION_DROP))
    return "";
  if (has_action(policy, OPEN_TCAM_POLICY_ACTION_REDIRECT)) {
    const std::string there = redirection(bridge, wish, policy.actionVal.redirIntfNum, numbers);
    return there.empty() ? "" : rewrites(policy) + there;
  }
  return rewrites(policy) + flow_output(OF_PORT_NORMAL);
}

// At a port that routes frames have no tag, and one way in and out: a policy that asks for a tag
// matches nothing there, and what would send frames elsewhere drops them.
void policy_add_routed(std::set<of_flow_t>& flows, of_flow_t flow,
                       const open_tcamApiPolicy_t& policy, uint32_t from, uint32_t to)
{
  if (policy.matchVlanVal != 0 || policy.matchVlanPrio != 0 || from == 0 || to == 0)
    return;
  const bool passes = !has_action(policy, OPEN_TCAM_POLICY_ACTION_DROP) &&
                      !has_action(policy, OPEN_TCAM_POLICY_ACTION_REDIRECT);
  flow.table = TABLE_TAG;
  of_match(flow, OF_IN_PORT, from);
  of_match(flow, OF_VLAN_VID, 0);
  flow_add(flows, flow, passes ? mac_rewrites(policy) + flow_output(to) : "", NOWHERE);
}
}  // namespace

void flow_policy_add(flows_t& all, const std::string& bridge, const wish_t& wish, uint32_t id,
                     const wish_policy_t& policy, const flow_numbers_t& numbers)
{
  const bool out = at_egress(policy.record);
  const bool drops = has_action(policy.record, OPEN_TCAM_POLICY_ACTION_DROP);
  of_flow_t flow = flow_of(out ? TABLE_POLICIES_OUT : TABLE_TAG,
                           static_cast<uint16_t>(PRIORITY_POLICY + policy.record.policyPrio));
  flow.cookie |= id;
  match_frame(flow, policy.record);
  for (const uint32_t port : policy.ports) {
    of_flow_t here = flow;
    const uint32_t number = member_of(wish, port);
    if (number == 0)
      continue;
    const wish_member_t& member = wish.members.at(number);
    std::set<of_flow_t>& edge = all[rows_edge(bridge, number, member.group)];
    const auto router = wish.routers.find(member.routed);
    if (router != wish.routers.end()) {
      const uint32_t wire = flow_number_of(numbers, wish.ports.at(port).netdev);
      const uint32_t inside = flow_number_of(numbers, rows_router(bridge, number, router->second));
      policy_add_routed(edge, here, policy.record, out ? inside : wire, out ? wire : inside);
      continue;
    }
    match_tag(here, policy.record);
    if (!out) {
      of_match(here, OF_PKT_MARK, port);
      flow_add(all[bridge], here, policy_actions_in(bridge, wish, policy.record, numbers), NOWHERE);
      continue;
    }
    const uint32_t patch = flow_number_of(numbers, rows_edge_patch(bridge, number));
    if (patch != 0) {
      of_match(here, OF_IN_PORT, patch);
      flow_add(edge, here, drops ? "" : rewrites(policy.record), drops ? NOWHERE : TABLE_UNTAG);
    }
  }
}

open_error_t flow_policy_room(const open_tcamApiPolicy_t& policy)
{
  const bool possible = policy.policyPrio <= POLICY_PRIORITY_MAX && policy.rulePrio == 0 &&
                        policy.matchVlanVal <= 4094 && policy.matchVlanPrio <= 7 &&
                        ip_matchable(policy) && ports_matchable(policy) && actions_possible(policy);
  return possible ? OPEN_E_NONE : OPEN_E_UNAVAIL;
}
