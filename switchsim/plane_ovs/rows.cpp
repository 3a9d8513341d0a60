#include "switchsim/plane_ovs/rows.h"

#include "switchsim/plane_ovs/rows_json.h"
#include "switchsim/text/sim_mac.h"

namespace
{
constexpr uint32_t NO_VLAN = 4095;  // no frame has it: an empty list would mean all of them
constexpr uint32_t EDGE_PATCH_NUMBERS = 10000;  // OpenFlow numbers of patches in edges, from here

void patch_add(rows_t& rows, const std::string& owner, const std::string& bridge,
               const std::string& name, const std::string& peer, uint32_t number, columns_t columns)
{
  row_port_t& port = rows.ports[name];
  port.bridge = bridge;
  port.columns = rows_owned(owner, std::move(columns));
  port.interfaces[name] = rows_owned(owner, {
                                                {"type",           text_json("patch")        },
                                                {"options",        map_json({{"peer", peer}})},
                                                {"ofport_request", number_json(number)       },
  });
}

columns_t wire_columns(const std::string& bridge, uint32_t number, const wish_port_t& port)
{
  return rows_owned(bridge, {
                                {"mtu_request",    number_json(port.mtu)},
                                {"ofport_request", number_json(number)  },
  });
}

void member_add(rows_t& rows, const std::string& bridge, uint32_t number,
                const wish_member_t& member, const wish_t& wish,
                const std::set<std::string>& absent)
{
  const std::string edge = rows_edge(bridge, number, member.group);
  rows.bridges.insert(edge);
  row_port_t wire;
  wire.bridge = edge;
  wire.columns = rows_owned(bridge, {});
  for (const uint32_t port : member.ports)
    if (absent.count(wish.ports.at(port).netdev) == 0)
      wire.interfaces[wish.ports.at(port).netdev] = wire_columns(bridge, port, wish.ports.at(port));
  if (member.group && !wire.interfaces.empty()) {
    // else it would be that of one of the members, and change with them: the other end would leave
    // the others alone until it has given up on those with the old key
    for (auto& entry : wire.interfaces)
      entry.second["other_config"] = map_json({
          {"lacp-aggregation-key", std::to_string(number)}
      });
    wire.columns["lacp"] = text_json("active");
    wire.columns["bond_mode"] = text_json("balance-tcp");
    wire.columns["other_config"] = map_json({
        {"lacp-fallback-ab", "true"},
        {"lacp-time",        "fast"}
    });
    rows.ports[edge + "b"] = wire;
  } else if (!wire.interfaces.empty()) {
    rows.ports[wire.interfaces.begin()->first] = wire;
  }
  if (member.routed != 0)
    return;  // its frames stay at the edge
  std::set<uint32_t> vlans = member.vlans;
  if (vlans.empty())
    vlans.insert(NO_VLAN);
  patch_add(rows, bridge, bridge, rows_inner_patch(bridge, number), rows_edge_patch(bridge, number),
            number,
            {
                {"vlan_mode", text_json("trunk") },
                {"trunks",    numbers_json(vlans)},
                {"tag",       set_json({})       },
  });
  patch_add(rows, bridge, edge, rows_edge_patch(bridge, number), rows_inner_patch(bridge, number),
            EDGE_PATCH_NUMBERS + number, {});
}

void router_add(rows_t& rows, const std::string& bridge, uint32_t number,
                const wish_router_t& router)
{
  const std::string name = rows_router(bridge, number, router);
  row_port_t& port = rows.ports[name];
  port.bridge = router.vlan != 0 ? bridge : rows_edge(bridge, number, false);
  port.columns = rows_owned(bridge, {});
  if (router.vlan != 0) {
    port.columns["vlan_mode"] = text_json("access");
    port.columns["tag"] = number_json(router.vlan);
  }
  const uint32_t openflow = number + (router.vlan != 0 ? 0 : 2 * EDGE_PATCH_NUMBERS);
  port.interfaces[name] = rows_owned(bridge, {
                                                 {"type",           text_json("internal")              },
                                                 {"mac",            text_json(sim_mac_text(router.mac))},
                                                 {"mtu_request",    number_json(router.mtu)            },
                                                 {"ofport_request", number_json(openflow)              },
  });
}
}  // namespace

columns_t rows_owned(const std::string& bridge, columns_t columns)
{
  columns["external_ids"] = map_json({
      {ROWS_OWNER, bridge}
  });
  return columns;
}

std::string rows_edge(const std::string& bridge, uint32_t member, bool group)
{
  return bridge + (group ? "-g" + std::to_string(member) : "-e");
}

std::string rows_inner_patch(const std::string& bridge, uint32_t member)
{
  return bridge + "-p" + std::to_string(member);
}

std::string rows_edge_patch(const std::string& bridge, uint32_t member)
{
  return bridge + "-q" + std::to_string(member);
}

std::string rows_router(const std::string& bridge, uint32_t router, const wish_router_t& settings)
{
  return settings.vlan != 0 ? bridge + "-v" + std::to_string(settings.vlan)
                            : bridge + "-r" + std::to_string(router);
}

rows_t rows_wanted(const std::string& bridge, const wish_t& wish,
                   const std::set<std::string>& absent)
{
  rows_t rows;
  rows.bridges = {bridge};
  for (const auto& [number, member] : wish.members)
    member_add(rows, bridge, number, member, wish, absent);
  for (const auto& [number, router] : wish.routers)
    router_add(rows, bridge, number, router);
  return rows;
}
