#include "switchsim/plane_ovs/openflow.h"

#include <algorithm>
#include <tuple>

namespace
{
constexpr uint8_t VERSION = 5;  // 1.4
constexpr size_t HEADER_SIZE = 8;
constexpr size_t MESSAGE_MAX = 65535;
constexpr size_t FLOWS_MAX = 500000;

enum message_t : uint8_t {
  HELLO = 0,
  ERROR = 1,
  ECHO_REQUEST = 2,
  ECHO_REPLY = 3,
  FLOW_MOD = 14,
  MULTIPART_REQUEST = 18,
  MULTIPART_REPLY = 19,
  BARRIER_REQUEST = 20,
  BARRIER_REPLY = 21,
  BUNDLE_CONTROL = 33,
  BUNDLE_ADD = 34,
};
constexpr uint16_t MULTIPART_FLOW = 1;
constexpr uint16_t MULTIPART_MORE = 1;
constexpr uint16_t BUNDLE_OPEN = 0;
constexpr uint16_t BUNDLE_OPENED = 1;
constexpr uint16_t BUNDLE_COMMIT = 4;
constexpr uint16_t BUNDLE_COMMITTED = 5;
constexpr uint16_t BUNDLE_ATOMIC_ORDERED = 3;
constexpr uint8_t FLOW_ADD = 0;
constexpr uint8_t FLOW_DELETE_STRICT = 4;
constexpr uint16_t ACTION_OUTPUT = 0;
constexpr uint16_t ACTION_PUSH_VLAN = 17;
constexpr uint16_t ACTION_POP_VLAN = 18;
constexpr uint16_t ACTION_SET_FIELD = 25;
constexpr uint16_t INSTRUCTION_GOTO = 1;
constexpr uint16_t INSTRUCTION_APPLY = 4;
constexpr uint16_t MATCH_OXM = 1;
constexpr uint16_t ETHERTYPE_VLAN = 0x8100;
constexpr uint32_t NO_BUFFER = 0xffffffff;
constexpr uint32_t ANY = 0xffffffff;  // port and group
constexpr uint8_t ALL_TABLES = 0xff;
constexpr size_t OXM_HEADER_SIZE = 4;
constexpr uint32_t OXM_MASKED = 0x100;  // the bit of a field's header that says a mask follows

struct message_in_t {
  uint8_t type;
  uint32_t xid;
  std::string body;
};

// ---- numbers in network order ----

void put(std::string& bytes, uint64_t value, size_t size)
{
  while (size-- > 0)
    bytes += static_cast<char>(value >> (8 * size));
}

void pad(std::string& bytes)
{
  bytes.resize((bytes.size() + 7) / 8 * 8, '\0');
}

// The number at a place of the bytes; the caller has seen that it is there.
uint64_t number_at(const std::string& bytes, size_t at, size_t size)
{
  uint64_t value = 0;
  for (size_t i = 0; i < size; i++)
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

size_t field_size(uint32_t header)
{
  return header & 0xff;
}

std::string number_bytes(of_field_t field, uint64_t value)
{
  std::string bytes;
  put(bytes, value, field_size(field));
  return bytes;
}

// ---- matches ----

// Splits fields in their wire form; false when they are not that.
bool fields_split(const std::string& match, std::vector<std::string>& fields)
{
  for (size_t at = 0; at < match.size();) {
    if (match.size() - at < OXM_HEADER_SIZE)
      return false;
    const size_t size = OXM_HEADER_SIZE + (number_at(match, at, OXM_HEADER_SIZE) & 0xff);
    if (match.size() - at < size)
      return false;
    fields.push_back(match.substr(at, size));
    at += size;
  }
  return true;
}

bool match_sort(std::string& match)
{
  std::vector<std::string> fields;
  if (!fields_split(match, fields))
    return false;
  std::sort(fields.begin(), fields.end());
  match.clear();
  for (const std::string& field : fields)
    match += field;
  return true;
}

// A match wants fields in an order in which each follows those that it needs; the numbers of the
// standard fields have that order, and the switch's own ones need nothing.
std::string match_wire(const std::string& match)
{
  std::string wire;
  put(wire, MATCH_OXM, 2);
  put(wire, 4 + match.size(), 2);
  wire += match;
  pad(wire);
  return wire;
}

// ---- messages ----

std::string message(uint8_t type, uint32_t xid, const std::string& body)
{
  std::string bytes;
  put(bytes, VERSION, 1);
  put(bytes, type, 1);
  put(bytes, HEADER_SIZE + body.size(), 2);
  put(bytes, xid, 4);
  return bytes + body;
}

// Takes the next message off the stream.
bool message_take(of_t& of, message_in_t& in, uint64_t deadline_ms, std::string& why)
{
  stream_t& stream = of.stream;
  if (!stream_receive(stream, HEADER_SIZE, deadline_ms, why))
    return false;
  const size_t size = number_at(stream.received, 2, 2);
  if (size < HEADER_SIZE)
    return stream_fail(stream, why, "does not talk OpenFlow");
  if (!stream_receive(stream, size, deadline_ms, why))
    return false;
  const uint8_t version = static_cast<uint8_t>(stream.received[0]);
  in.type = static_cast<uint8_t>(stream.received[1]);
  in.xid = static_cast<uint32_t>(number_at(stream.received, 4, 4));
  in.body = stream.received.substr(HEADER_SIZE, size - HEADER_SIZE);
  stream.received.erase(0, size);
  if (in.type == HELLO ? version < VERSION : version != VERSION)
    return stream_fail(stream, why, "does not talk OpenFlow 1.4");
  return true;
}

std::string error_text(const message_in_t& in)
{
  if (in.body.size() < 4)
    return "refuses a flow";
  return "refuses a flow: error " + std::to_string(number_at(in.body, 0, 2)) + "/" +
         std::to_string(number_at(in.body, 2, 2));
}

// Takes messages until the one with this number and type. An error, whatever it is about, makes it
// false; the connection stays open then.
bool answer_take(of_t& of, uint8_t type, uint32_t xid, message_in_t& in, uint64_t deadline_ms,
                 std::string& why)
{
  for (;;) {
    if (!message_take(of, in, deadline_ms, why))
      return false;
    if (in.type == ECHO_REQUEST) {
      if (!stream_send(of.stream, message(ECHO_REPLY, in.xid, in.body), deadline_ms, why))
        return false;
    } else if (in.type == ERROR) {
      why = error_text(in);
      return false;
    } else if (in.type == type && (type == HELLO || in.xid == xid)) {
      return true;
    }
  }
}

std::string flow_mod(const of_flow_t& flow, uint8_t command)
{
  std::string body;
  put(body, flow.cookie, 8);
  put(body, 0, 8);  // cookie mask
  put(body, flow.table, 1);
  put(body, command, 1);
  put(body, 0, 4);  // timeouts
  put(body, flow.priority, 2);
  put(body, NO_BUFFER, 4);
  put(body, ANY, 4);
  put(body, ANY, 4);
  put(body, 0, 4);  // flags, importance
  body += match_wire(flow.match);
  return command == FLOW_ADD ? body + flow.instructions : body;
}

std::string bundle_control(uint32_t xid, uint32_t bundle, uint16_t type)
{
  std::string body;
  put(body, bundle, 4);
  put(body, type, 2);
  put(body, BUNDLE_ATOMIC_ORDERED, 2);
  return message(BUNDLE_CONTROL, xid, body);
}

std::string bundle_add(uint32_t xid, uint32_t bundle, const std::string& inner)
{
  std::string body;
  put(body, bundle, 4);
  put(body, 0, 2);
  put(body, BUNDLE_ATOMIC_ORDERED, 2);
  return message(BUNDLE_ADD, xid, body + inner);
}

// ---- flows as the bridge tells them ----

constexpr size_t ENTRY_FIXED = 48;  // bytes before the match

// One entry of a list of flows.
bool entry_read(const std::string& entry, of_flow_t& flow)
{
  if (entry.size() < ENTRY_FIXED + 4)
    return false;
  flow.table = static_cast<uint8_t>(entry[2]);
  flow.priority = static_cast<uint16_t>(number_at(entry, 12, 2));
  flow.cookie = number_at(entry, 24, 8);
  const size_t match_size = number_at(entry, ENTRY_FIXED + 2, 2);
  const size_t match_end = ENTRY_FIXED + (match_size + 7) / 8 * 8;
  if (match_size < 4 || match_end > entry.size())
    return false;
  flow.match = entry.substr(ENTRY_FIXED + 4, match_size - 4);
  flow.instructions = entry.substr(match_end);
  return match_sort(flow.match);
}

bool entries_read(const std::string& body, std::vector<of_flow_t>& flows)
{
  for (size_t at = HEADER_SIZE; at < body.size();) {  // behind the list's own head
    const size_t size = body.size() - at < 2 ? 0 : number_at(body, at, 2);
    flows.emplace_back();
    if (size == 0 || size > body.size() - at || flows.size() > FLOWS_MAX ||
        !entry_read(body.substr(at, size), flows.back()))
      return false;
    at += size;
  }
  return true;
}
}  // namespace

static auto flow_key(const of_flow_t& flow)
{
  return std::tie(flow.table, flow.priority, flow.match, flow.cookie, flow.instructions);
}

bool operator==(const of_flow_t& a, const of_flow_t& b)
{
  return flow_key(a) == flow_key(b);
}

bool operator<(const of_flow_t& a, const of_flow_t& b)
{
  return flow_key(a) < flow_key(b);
}

void of_match_bytes(of_flow_t& flow, of_field_t field, std::string value, const std::string& mask)
{
  const auto bits = [&](char bit_of_byte) {
    return std::all_of(mask.begin(), mask.end(), [=](char byte) { return byte == bit_of_byte; });
  };
  if (bits('\0'))
    return;
  if (bits('\xff')) {
    put(flow.match, field, OXM_HEADER_SIZE);
    flow.match += value;
  } else {
    for (size_t i = 0; i < value.size(); i++)
      value[i] = static_cast<char>(value[i] & mask[i]);
    put(flow.match, (field | OXM_MASKED) + static_cast<uint32_t>(mask.size()), OXM_HEADER_SIZE);
    flow.match += value + mask;
  }
  match_sort(flow.match);
}

void of_match_masked(of_flow_t& flow, of_field_t field, uint64_t value, uint64_t mask)
{
  of_match_bytes(flow, field, number_bytes(field, value), number_bytes(field, mask));
}

void of_match(of_flow_t& flow, of_field_t field, uint64_t value)
{
  of_match_masked(flow, field, value, UINT64_MAX);
}

void of_action_output(std::string& actions, uint32_t port)
{
  put(actions, ACTION_OUTPUT, 2);
  put(actions, 16, 2);
  put(actions, port, 4);
  put(actions, 0, 8);
}

void of_action_set(std::string& actions, of_field_t field, uint64_t value)
{
  std::string action;
  put(action, ACTION_SET_FIELD, 2);
  put(action, (4 + OXM_HEADER_SIZE + field_size(field) + 7) / 8 * 8, 2);
  put(action, field, OXM_HEADER_SIZE);
  action += number_bytes(field, value);
  pad(action);
  actions += action;
}

void of_action_push_vlan(std::string& actions)
{
  put(actions, ACTION_PUSH_VLAN, 2);
  put(actions, 8, 2);
  put(actions, ETHERTYPE_VLAN, 2);
  put(actions, 0, 2);
}

void of_action_pop_vlan(std::string& actions)
{
  put(actions, ACTION_POP_VLAN, 2);
  put(actions, 8, 2);
  put(actions, 0, 4);
}

void of_instructions(of_flow_t& flow, const std::string& actions, uint8_t next_table)
{
  flow.instructions.clear();
  if (!actions.empty()) {
    put(flow.instructions, INSTRUCTION_APPLY, 2);
    put(flow.instructions, 8 + actions.size(), 2);
    put(flow.instructions, 0, 4);
    flow.instructions += actions;
  }
  if (next_table != 0) {
    put(flow.instructions, INSTRUCTION_GOTO, 2);
    put(flow.instructions, 8, 2);
    put(flow.instructions, next_table, 1);
    put(flow.instructions, 0, 3);
  }
}

bool of_connect(of_t& of, const std::string& path, uint64_t deadline_ms, std::string& why)
{
  message_in_t hello;
  return stream_connect(of.stream, path, deadline_ms, why) &&
         stream_send(of.stream, message(HELLO, ++of.last_xid, ""), deadline_ms, why) &&
         (answer_take(of, HELLO, 0, hello, deadline_ms, why) ||
          stream_fail(of.stream, why, std::string(why)));
}

bool of_flows_read(of_t& of, uint64_t cookie, uint64_t mask, std::vector<of_flow_t>& flows,
                   uint64_t deadline_ms, std::string& why)
{
  std::string body;
  put(body, MULTIPART_FLOW, 2);
  put(body, 0, 6);
  put(body, ALL_TABLES, 1);
  put(body, 0, 3);
  put(body, ANY, 4);
  put(body, ANY, 4);
  put(body, 0, 4);
  put(body, cookie, 8);
  put(body, mask, 8);
  body += match_wire("");
  const uint32_t xid = ++of.last_xid;
  if (!stream_send(of.stream, message(MULTIPART_REQUEST, xid, body), deadline_ms, why))
    return false;
  flows.clear();
  message_in_t in;
  do {
    if (!answer_take(of, MULTIPART_REPLY, xid, in, deadline_ms, why))
      return false;
    if (in.body.size() < HEADER_SIZE || number_at(in.body, 0, 2) != MULTIPART_FLOW ||
        !entries_read(in.body, flows))
      return stream_fail(of.stream, why, "tells its flows in a way that is not OpenFlow 1.4");
  } while ((number_at(in.body, 2, 2) & MULTIPART_MORE) != 0);
  return true;
}

bool of_flows_change(of_t& of, const std::vector<of_flow_t>& removed,
                     const std::vector<of_flow_t>& added, uint64_t deadline_ms, std::string& why)
{
  const uint32_t bundle = ++of.last_xid;
  std::string bytes = bundle_control(bundle, bundle, BUNDLE_OPEN);
  bool fits = true;
  const auto add = [&](const of_flow_t& flow, uint8_t command) {
    const uint32_t xid = ++of.last_xid;
    const std::string inner = flow_mod(flow, command);
    fits = fits && inner.size() + 3 * HEADER_SIZE <= MESSAGE_MAX;
    bytes += bundle_add(xid, bundle, message(FLOW_MOD, xid, inner));
  };
  for (const of_flow_t& flow : removed)
    add(flow, FLOW_DELETE_STRICT);
  for (const of_flow_t& flow : added)
    add(flow, FLOW_ADD);
  if (!fits) {
    why = "a flow is too long";
    return false;
  }
  // a flow that the bridge cannot read is no part of the bundle, which could be committed without
  // it
  const uint32_t barrier = ++of.last_xid;
  const uint32_t commit = ++of.last_xid;
  bytes += message(BARRIER_REQUEST, barrier, "");
  message_in_t in;
  const auto told = [&](uint32_t xid, uint16_t type) {
    return answer_take(of, BUNDLE_CONTROL, xid, in, deadline_ms, why) &&
           ((in.body.size() >= 6 && number_at(in.body, 4, 2) == type) ||
            stream_fail(of.stream, why, "does not know bundles of flows"));
  };
  if (stream_send(of.stream, bytes, deadline_ms, why) && told(bundle, BUNDLE_OPENED) &&
      answer_take(of, BARRIER_REPLY, barrier, in, deadline_ms, why) &&
      stream_send(of.stream, bundle_control(commit, bundle, BUNDLE_COMMIT), deadline_ms, why) &&
      told(commit, BUNDLE_COMMITTED))
    return true;
  // the bundle goes with the connection, and with it what else there is to say about it
  return stream_fail(of.stream, why, std::string(why));
}
