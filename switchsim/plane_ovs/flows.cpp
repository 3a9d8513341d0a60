#include "switchsim/plane_ovs/flows.h"

#include <iterator>

#include "switchsim/plane_ovs/flow_policies.h"
#include "switchsim/plane_ovs/rows.h"

namespace
{
// Flows for frames from a port: what they need to get their VLAN.
void tag_add(std::set<of_flow_t>& flows, const wish_member_t& member, uint32_t wire)
{
  const auto from_wire = [&](uint16_t priority) {
    of_flow_t flow = flow_of(TABLE_TAG, priority);
    of_match(flow, OF_IN_PORT, wire);
    return flow;
  };
  std::string set_pvid;
  of_action_set(set_pvid, OF_VLAN_VID, OF_VLAN_PRESENT | member.pvid);
  std::string push_pvid;
  of_action_push_vlan(push_pvid);
  push_pvid += set_pvid;

  of_flow_t untagged = from_wire(PRIORITY_VLAN);
  of_match(untagged, OF_VLAN_VID, 0);
  of_flow_t priority_tagged = from_wire(PRIORITY_VLAN);
  of_match(priority_tagged, OF_VLAN_VID, OF_VLAN_PRESENT);
  if (member.accept_untagged) {
    flow_add(flows, untagged, push_pvid, TABLE_LOCK);
    flow_add(flows, priority_tagged, set_pvid, TABLE_LOCK);
  } else {
    flow_add(flows, untagged, "", NOWHERE);
    flow_add(flows, priority_tagged, "", NOWHERE);
  }
  flow_add(flows, from_wire(PRIORITY_PORT), "", member.accept_tagged ? TABLE_LOCK : NOWHERE);
}

void lock_add(std::set<of_flow_t>& flows, const wish_port_t& port, uint32_t wire)
{
  if (port.locked.empty())
    return;
  for (const auto& [mac, vlan] : port.locked) {
    of_flow_t allowed = flow_of(TABLE_LOCK, PRIORITY_VLAN);
    of_match(allowed, OF_IN_PORT, wire);
    of_match(allowed, OF_ETH_SRC, mac);
    of_match(allowed, OF_VLAN_VID, OF_VLAN_PRESENT | vlan);
    flow_add(flows, allowed, "", TABLE_INSIDE);
  }
  of_flow_t rest = flow_of(TABLE_LOCK, PRIORITY_PORT);
  of_match(rest, OF_IN_PORT, wire);
  flow_add(flows, rest, "", NOWHERE);
}

void untag_add(std::set<of_flow_t>& flows, const wish_member_t& member, uint32_t patch,
               uint32_t way_out)
{
  const auto from_inside = [&](uint8_t table, uint16_t priority) {
    of_flow_t flow = flow_of(table, priority);
    of_match(flow, OF_IN_PORT, patch);
    return flow;
  };
  flow_add(flows, from_inside(TABLE_TAG, PRIORITY_FROM_INSIDE), "", TABLE_POLICIES_OUT);
  std::string pop;
  of_action_pop_vlan(pop);
  for (const uint32_t vlan : member.untagged) {
    of_flow_t untagged = from_inside(TABLE_UNTAG, PRIORITY_VLAN);
    of_match(untagged, OF_VLAN_VID, OF_VLAN_PRESENT | vlan);
    flow_add(flows, untagged, pop + flow_output(way_out), NOWHERE);
  }
  flow_add(flows, from_inside(TABLE_UNTAG, PRIORITY_PORT), flow_output(way_out), NOWHERE);
}

// A port that routes has nothing to do with VLANs: frames without a tag go to and from its
// interface.
void routed_add(std::set<of_flow_t>& flows, const std::string& bridge, const wish_t& wish,
                const wish_member_t& member, uint32_t wire, const flow_numbers_t& numbers)
{
  const auto router = wish.routers.find(member.routed);
  if (router == wish.routers.end())
    return;
  const uint32_t inside =
      flow_number_of(numbers, rows_router(bridge, member.routed, router->second));
  if (inside == 0)
    return;
  of_flow_t in = flow_of(TABLE_TAG, PRIORITY_VLAN);
  of_match(in, OF_IN_PORT, wire);
  of_match(in, OF_VLAN_VID, 0);
  flow_add(flows, in, flow_output(inside), NOWHERE);
  of_flow_t out = flow_of(TABLE_TAG, PRIORITY_VLAN);
  of_match(out, OF_IN_PORT, inside);
  flow_add(flows, out, flow_output(wire), NOWHERE);
}

void edge_add(flows_t& all, const std::string& bridge, const wish_t& wish, uint32_t number,
              const wish_member_t& member, const flow_numbers_t& numbers)
{
  std::set<of_flow_t>& flows = all[rows_edge(bridge, number, member.group)];
  flow_add(flows, flow_of(TABLE_LOCK, PRIORITY_DEFAULT), "", TABLE_INSIDE);
  flow_add(flows, flow_of(TABLE_POLICIES_OUT, PRIORITY_DEFAULT), "", TABLE_UNTAG);
  const uint32_t patch = flow_number_of(numbers, rows_edge_patch(bridge, number));
  uint32_t way_out = 0;
  for (const uint32_t port : member.ports) {
    const uint32_t wire = flow_number_of(numbers, wish.ports.at(port).netdev);
    if (wire != 0 && member.routed != 0) {
      routed_add(flows, bridge, wish, member, wire, numbers);
    } else if (wire != 0 && patch != 0) {
      tag_add(flows, member, wire);
      lock_add(flows, wish.ports.at(port), wire);
      of_flow_t inside = flow_of(TABLE_INSIDE, PRIORITY_PORT);
      of_match(inside, OF_IN_PORT, wire);
      std::string actions;
      of_action_set(actions, OF_PKT_MARK, port);
      way_out = member.group ? OF_PORT_NORMAL : wire;
      // which frames a group's member may take in, and which member one goes out by, the bond knows
      actions += flow_output(member.group ? way_out : patch);
      flow_add(flows, inside, actions, NOWHERE);
    }
  }
  if (way_out != 0)
    untag_add(flows, member, patch, way_out);
}
}  // namespace

flows_t flows_wanted(const std::string& bridge, const wish_t& wish, const flow_numbers_t& numbers)
{
  flows_t all;
  flow_add(all[bridge], flow_of(TABLE_TAG, PRIORITY_DEFAULT), flow_output(OF_PORT_NORMAL), NOWHERE);
  for (const auto& [number, member] : wish.members)
    edge_add(all, bridge, wish, number, member, numbers);
  for (const auto& [id, policy] : wish.policies)
    flow_policy_add(all, bridge, wish, id, policy, numbers);
  // of flows that match the same frames with the same priority there can be one only
  for (auto& entry : all) {
    std::set<of_flow_t>& flows = entry.second;
    for (auto flow = flows.begin(); flow != flows.end();) {
      const auto next = std::next(flow);
      const bool again = next != flows.end() && next->table == flow->table &&
                         next->priority == flow->priority && next->match == flow->match;
      flow = again ? (flows.erase(next), flow) : next;
    }
  }
  return all;
}
