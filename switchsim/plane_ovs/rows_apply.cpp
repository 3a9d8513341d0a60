#include "switchsim/plane_ovs/rows_apply.h"

#include <poll.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "switchsim/plane_ovs/rows_json.h"

namespace
{
constexpr uint32_t VLANS = 4096;
constexpr int WAIT_FIRST_MS =
    1;  // for the switch to take over a change; then twice as long each time
constexpr int WAIT_LAST_MS = 64;

// ---- what is there ----

struct held_row_t {
  std::string uuid;
  bool ours = false;
  columns_t columns;
  std::set<std::string> holds;  // uuids
};

struct held_t {
  std::string switch_uuid;
  bool taken_over = false;                       // by the running switch, all that was changed
  std::map<std::string, held_row_t> bridges;     // by name
  std::map<std::string, held_row_t> ports;       // by name
  std::map<std::string, held_row_t> interfaces;  // by name
};

const char* const SELECTED[][2] = {
    {"Open_vSwitch", R"(["_uuid","next_cfg","cur_cfg"])"                                                                       },
    {"Bridge",       R"(["_uuid","name","external_ids","ports"])"                                                              },
    {"Port",
     R"(["_uuid","name","external_ids","interfaces","vlan_mode","tag","trunks","lacp","bond_mode","other_config"])"            },
    {"Interface",
     R"(["_uuid","name","external_ids","type","options","mac","mtu_request","ofport_request","ofport","error","other_config"])"},
};

void add_operation(json_object* operations, const std::string& json)
{
  json_object_array_add(operations, json_tokener_parse(json.c_str()));
}

std::string uuid_of(json_object* row)
{
  return plain_json(ovsdb_member(row, "_uuid"));
}

// The uuids of a column that refers to rows.
std::set<std::string> references(json_object* value)
{
  std::set<std::string> found;
  if (!json_object_is_type(value, json_type_array) || json_object_array_length(value) != 2)
    return found;
  json_object* second = json_object_array_get_idx(value, 1);
  if (!json_object_is_type(second, json_type_array))
    return {plain_json(value)};
  for (size_t i = 0; i < json_object_array_length(second); i++)
    found.insert(plain_json(json_object_array_get_idx(second, i)));
  return found;
}

// What a select has found; nothing where the result is of another kind.
struct rows_list_t {
  json_object* rows;
  size_t count;
};

rows_list_t rows_of(json_object* result)
{
  json_object* rows = ovsdb_member(result, "rows");
  const bool found = json_object_is_type(rows, json_type_array);
  return {rows, found ? json_object_array_length(rows) : 0};
}

void table_read(json_object* result, const std::string& owner, const char* holds,
                std::map<std::string, held_row_t>& rows)
{
  const rows_list_t list = rows_of(result);
  for (size_t i = 0; i < list.count; i++) {
    json_object* row = json_object_array_get_idx(list.rows, i);
    const char* name = json_object_get_string(ovsdb_member(row, "name"));
    if (name == nullptr)
      continue;
    held_row_t& held = rows[name];
    held.uuid = uuid_of(row);
    held.holds = references(ovsdb_member(row, holds));
    json_object_object_foreach(row, column, value)
    {
      held.columns[column] = canonical_json(value);
    }
    held.ours = held.columns["external_ids"].find("[" + text_json(ROWS_OWNER) + "," +
                                                  text_json(owner) + "]") != std::string::npos;
  }
}

void add_select(json_object* operations, const char* table, const char* columns)
{
  add_operation(operations, std::string(R"({"op":"select","where":[],"table":")") + table +
                                R"(","columns":)" + columns + "}");
}

bool is_taken_over(json_object* top)
{
  return json_object_get_int64(ovsdb_member(top, "cur_cfg")) >=
         json_object_get_int64(ovsdb_member(top, "next_cfg"));
}

bool rows_read(ovsdb_t& db, const std::string& owner, held_t& held, uint64_t deadline_ms,
               std::string& why)
{
  json_ptr_t operations(json_object_new_array());
  for (const auto& [table, columns] : SELECTED)
    add_select(operations.get(), table, columns);
  const json_ptr_t results = ovsdb_transact(db, std::move(operations), deadline_ms, why);
  if (results == nullptr)
    return false;
  held = {};
  const rows_list_t tops = rows_of(json_object_array_get_idx(results.get(), 0));
  if (tops.count == 0) {
    why = "the database is not initialised";
    return false;
  }
  json_object* top = json_object_array_get_idx(tops.rows, 0);
  held.switch_uuid = uuid_of(top);
  held.taken_over = is_taken_over(top);
  table_read(json_object_array_get_idx(results.get(), 1), owner, "ports", held.bridges);
  table_read(json_object_array_get_idx(results.get(), 2), owner, "interfaces", held.ports);
  table_read(json_object_array_get_idx(results.get(), 3), owner, "", held.interfaces);
  return true;
}

// ---- from one to the other ----

std::string where_uuid(const std::string& uuid)
{
  return R"("where":[["_uuid","==",)" + uuid + "]]";
}

// A transaction under construction.
struct change_t {
  json_ptr_t operations{json_object_new_array()};
  std::map<std::string, std::string> new_bridges;  // by name, to what stands for their uuid
  size_t names = 0;
};

std::string new_name(change_t& change)
{
  return "new" + std::to_string(change.names++);
}

std::string named_uuid(const std::string& name)
{
  return R"(["named-uuid",")" + name + R"("])";
}

std::string columns_json(const columns_t& columns)
{
  std::string json;
  for (const auto& [column, value] : columns)
    json += (json.empty() ? "\"" : ",\"") + column + "\":" + value;
  return "{" + json + "}";
}

// Puts a new row into a table; the result stands for its uuid.
std::string insert(change_t& change, const char* table, const columns_t& columns)
{
  const std::string name = new_name(change);
  add_operation(change.operations.get(), std::string(R"({"op":"insert","table":")") + table +
                                             R"(","uuid-name":")" + name + R"(","row":)" +
                                             columns_json(columns) + "}");
  return named_uuid(name);
}

void mutate(change_t& change, const char* table, const std::string& uuid, const char* column,
            const char* how, const std::string& value)
{
  add_operation(change.operations.get(), std::string(R"({"op":"mutate","table":")") + table +
                                             "\"," + where_uuid(uuid) + R"(,"mutations":[[")" +
                                             column + "\",\"" + how + "\"," + value + "]]}");
}

void update(change_t& change, const char* table, const held_row_t& held, const columns_t& wanted)
{
  columns_t different;
  for (const auto& [column, value] : wanted) {
    const auto found = held.columns.find(column);
    if (found == held.columns.end() || found->second != value)
      different[column] = value;
  }
  if (!different.empty()) {
    add_operation(change.operations.get(), std::string(R"({"op":"update","table":")") + table +
                                               "\"," + where_uuid(held.uuid) + R"(,"row":)" +
                                               columns_json(different) + "}");
  }
}

columns_t with_name(columns_t columns, const std::string& name)
{
  columns["name"] = text_json(name);
  return columns;
}

std::string set_of(const std::string& uuid)
{
  return R"(["set",[)" + uuid + "]]";
}

std::string port_insert(change_t& change, const std::string& name, const columns_t& columns,
                        const std::map<std::string, columns_t>& interfaces)
{
  std::vector<std::string> uuids;
  for (const auto& [interface, settings] : interfaces)
    uuids.push_back(insert(change, "Interface", with_name(settings, interface)));
  columns_t all = with_name(columns, name);
  all["interfaces"] = set_json(uuids);
  return insert(change, "Port", all);
}

// A bridge has a port of its own name. No learning in edges: they have one way in and one out.
void bridge_insert(change_t& change, const held_t& held, const std::string& owner,
                   const std::string& name)
{
  const std::string port =
      port_insert(change, name,
                  rows_owned(owner,
                             {
  }),
                  {{name, rows_owned(owner, {{"type", text_json("internal")}})}});
  columns_t columns = rows_owned(owner, {
                                            {"datapath_type", text_json("netdev")},
                                            {"fail_mode",     text_json("secure")},
                                            {"ports",         port               },
  });
  if (name != owner) {
    std::set<uint32_t> vlans;
    for (uint32_t vlan = 0; vlan < VLANS; vlan++)
      vlans.insert(vlan);
    columns["flood_vlans"] = numbers_json(vlans);
  }
  change.new_bridges[name] = insert(change, "Bridge", with_name(columns, name));
  mutate(change, "Open_vSwitch", held.switch_uuid, "bridges", "insert",
         set_of(change.new_bridges[name]));
}

std::string bridge_of(const held_t& held, const std::string& port_uuid)
{
  const auto found = std::find_if(held.bridges.begin(), held.bridges.end(), [&](const auto& entry) {
    return entry.second.holds.count(port_uuid) > 0;
  });
  return found == held.bridges.end() ? "" : found->first;
}

// Whether a port can become what it is to be without being made again: in the same bridge, and with
// at least one of its interfaces.
bool port_stays(const held_t& held, const held_row_t& port, const row_port_t& wanted)
{
  return bridge_of(held, port.uuid) == wanted.bridge &&
         std::any_of(
             wanted.interfaces.begin(), wanted.interfaces.end(),
             [&](const auto& entry) {
               const auto found = held.interfaces.find(entry.first);
               return found != held.interfaces.end() && port.holds.count(found->second.uuid) > 0;
             });
}

void port_update(change_t& change, const held_t& held, const held_row_t& port,
                 const row_port_t& wanted)
{
  std::vector<std::string> uuids;
  bool same = port.holds.size() == wanted.interfaces.size();
  for (const auto& [name, columns] : wanted.interfaces) {
    const auto found = held.interfaces.find(name);
    if (found != held.interfaces.end() && port.holds.count(found->second.uuid) > 0) {
      update(change, "Interface", found->second, columns);
      uuids.push_back(found->second.uuid);
    } else {
      uuids.push_back(insert(change, "Interface", with_name(columns, name)));
      same = false;
    }
  }
  update(change, "Port", port, wanted.columns);
  if (!same) {
    add_operation(change.operations.get(), R"({"op":"update","table":"Port",)" +
                                               where_uuid(port.uuid) + R"(,"row":{"interfaces":)" +
                                               set_json(uuids) + "}}");
  }
}

void change_build(change_t& change, const held_t& held, const std::string& owner,
                  const rows_t& wanted)
{
  for (const auto& [name, port] : held.ports) {
    const std::string bridge = bridge_of(held, port.uuid);
    const auto found = wanted.ports.find(name);
    const bool stays = found != wanted.ports.end() && port_stays(held, port, found->second);
    // the port of a bridge's own name goes with the bridge
    if (port.ours && !bridge.empty() && name != bridge && !stays)
      mutate(change, "Bridge", held.bridges.at(bridge).uuid, "ports", "delete", set_of(port.uuid));
  }
  for (const auto& [name, bridge] : held.bridges)
    if (bridge.ours && wanted.bridges.count(name) == 0)
      mutate(change, "Open_vSwitch", held.switch_uuid, "bridges", "delete", set_of(bridge.uuid));
  for (const std::string& name : wanted.bridges)
    if (held.bridges.count(name) == 0)
      bridge_insert(change, held, owner, name);
  for (const auto& [name, port] : wanted.ports) {
    const auto found = held.ports.find(name);
    if (found != held.ports.end() && found->second.ours && port_stays(held, found->second, port)) {
      port_update(change, held, found->second, port);
      continue;
    }
    const std::string uuid = port_insert(change, name, port.columns, port.interfaces);
    const auto fresh = change.new_bridges.find(port.bridge);
    if (fresh == change.new_bridges.end()) {
      mutate(change, "Bridge", held.bridges.at(port.bridge).uuid, "ports", "insert", set_of(uuid));
    } else {
      // a row of this transaction can be named where it is
      add_operation(change.operations.get(),
                    R"({"op":"mutate","table":"Bridge","where":[["name","==",)" +
                        text_json(port.bridge) + R"(]],"mutations":[["ports","insert",)" +
                        set_of(uuid) + "]]}");
    }
  }
}

// Whether a wanted interface, or the port that is to have it, is somebody else's.
bool is_others(const held_t& held, const std::string& port, const std::string& interface)
{
  const auto port_row = held.ports.find(port);
  const auto row = held.interfaces.find(interface);
  if (port_row != held.ports.end() && !port_row->second.ours)
    return true;
  return row != held.interfaces.end() && !row->second.ours &&
         (port_row == held.ports.end() || port_row->second.holds.count(row->second.uuid) == 0);
}

// What somebody else has under a name that is wanted stays; nothing else has to wait for it.
void others_leave(const held_t& held, rows_t& wanted, rows_state_t& state)
{
  for (auto port = wanted.ports.begin(); port != wanted.ports.end();) {
    auto& interfaces = port->second.interfaces;
    for (auto entry = interfaces.begin(); entry != interfaces.end();) {
      const bool others = is_others(held, port->first, entry->first);
      if (others)
        state.errors[entry->first] = "belongs to somebody else in the database";
      entry = others ? interfaces.erase(entry) : std::next(entry);
    }
    port = interfaces.empty() ? wanted.ports.erase(port) : std::next(port);
  }
}

// Waits until the switch has taken over what the database says.
bool wait_taken_over(ovsdb_t& db, uint64_t deadline_ms, std::string& why)
{
  for (int wait_ms = WAIT_FIRST_MS;; wait_ms = std::min(2 * wait_ms, WAIT_LAST_MS)) {
    json_ptr_t operations(json_object_new_array());
    add_select(operations.get(), SELECTED[0][0], SELECTED[0][1]);
    const json_ptr_t results = ovsdb_transact(db, std::move(operations), deadline_ms, why);
    if (results == nullptr)
      return false;
    const rows_list_t tops = rows_of(json_object_array_get_idx(results.get(), 0));
    if (tops.count > 0 && is_taken_over(json_object_array_get_idx(tops.rows, 0)))
      return true;
    if (stream_now_ms() >= deadline_ms) {
      why = "the switch does not take over its configuration";
      return false;
    }
    poll(nullptr, 0, wait_ms);
  }
}

// A column as it was read; null when it was not.
json_ptr_t column_of(const held_row_t& row, const char* name)
{
  const auto found = row.columns.find(name);
  return found == row.columns.end() ? nullptr
                                    : json_ptr_t(json_tokener_parse(found->second.c_str()));
}

void state_fill(const held_t& held, const rows_t& wanted, rows_state_t& state)
{
  for (const auto& [name, port] : wanted.ports) {
    for (const auto& entry : port.interfaces) {
      const auto found = held.interfaces.find(entry.first);
      if (found == held.interfaces.end())
        continue;
      const json_ptr_t number = column_of(found->second, "ofport");
      const json_ptr_t error = column_of(found->second, "error");
      if (json_object_is_type(error.get(), json_type_string))
        state.errors[entry.first] = json_object_get_string(error.get());
      if (json_object_is_type(number.get(), json_type_int) && json_object_get_int(number.get()) > 0)
        state.port_numbers[entry.first] = static_cast<uint32_t>(json_object_get_int(number.get()));
      else if (state.errors.count(entry.first) == 0)
        state.errors[entry.first] = "is not there yet";
    }
  }
}
}  // namespace

// Puts a transaction in force, and reads what came of it into held; one that changes nothing only
// where the switch has not taken over an earlier one.
static bool change_commit(ovsdb_t& db, const std::string& bridge, change_t& change, held_t& held,
                          uint64_t deadline_ms, std::string& why)
{
  if (json_object_array_length(change.operations.get()) > 0) {
    mutate(change, "Open_vSwitch", held.switch_uuid, "next_cfg", "+=", "1");
    if (ovsdb_transact(db, std::move(change.operations), deadline_ms, why) == nullptr)
      return false;
  } else if (held.taken_over) {
    return true;
  }
  return wait_taken_over(db, deadline_ms, why) && rows_read(db, bridge, held, deadline_ms, why);
}

bool rows_apply(ovsdb_t& db, const std::string& bridge, rows_t wanted, rows_state_t& state,
                uint64_t deadline_ms, std::string& why)
{
  held_t held;
  change_t change;
  state = {};
  if (!rows_read(db, bridge, held, deadline_ms, why))
    return false;
  others_leave(held, wanted, state);
  change_build(change, held, bridge, wanted);
  if (!change_commit(db, bridge, change, held, deadline_ms, why))
    return false;
  state_fill(held, wanted, state);
  return true;
}

bool rows_bridge_ensure(ovsdb_t& db, const std::string& bridge, uint64_t deadline_ms,
                        std::string& why)
{
  held_t held;
  change_t change;
  if (!rows_read(db, bridge, held, deadline_ms, why))
    return false;
  if (held.bridges.count(bridge) == 0)
    bridge_insert(change, held, bridge, bridge);
  return change_commit(db, bridge, change, held, deadline_ms, why);
}
