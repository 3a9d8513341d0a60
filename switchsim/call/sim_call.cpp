#include "switchsim/call/sim_call.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>

#include "switchsim/call/sim_client.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/sim_areas.h"
#include "switchsim/switchsim.h"
#include "switchsim/text/sim_inet.h"

namespace
{
struct sim_fault_t {
  bool has_result = false;
  int32_t result = 0;
  sim_fault_value_t value;
  uint32_t after = 0;                                     // calls that still pass
  uint32_t times = std::numeric_limits<uint32_t>::max();  // calls it still meets
  uint32_t delay_ms = 0;
};

constexpr uint32_t DELAY_MAX_MS = 600000;
constexpr size_t TEXT_MAX = 65536;

std::mutex switch_mutex;
std::map<std::string, sim_fault_t, std::less<>> faults;
uint32_t rpc_delay_ms;

int trace_fd = -1;
bool trace_collected;
std::string trace_text;
}  // namespace

std::unique_lock<std::mutex> sim_lock()
{
  return std::unique_lock<std::mutex>(switch_mutex);
}

// ---- faults ----

sim_turn_t sim_turn_take(const char* name)
{
  sim_turn_t turn;
  turn.lock = sim_lock();
  uint32_t delay_ms = rpc_delay_ms;
  const auto found = faults.find(name);
  if (found != faults.end()) {
    sim_fault_t& fault = found->second;
    if (fault.after > 0) {
      fault.after--;
    } else if (fault.times > 0) {
      if (fault.times != std::numeric_limits<uint32_t>::max()) {
        fault.times--;
      }
      turn.has_result = fault.has_result;
      turn.result = fault.result;
      turn.value = fault.value;
      delay_ms += fault.delay_ms;
    }
  }
  if (delay_ms > 0) {
    turn.lock.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    turn.lock.lock();
  }
  return turn;
}

void sim_turn_misfit(const char* name)
{
  fprintf(stderr, "switchsim: faults.%s.value: suits no output of the call\n", name);
}

bool sim_text_set(const sim_out_t<open_buffdesc>& out, const std::string& text)
{
  if (text.size() > out.room) {
    return false;
  }
  // a text that fills its buffer to the last byte has no terminating zero
  const size_t length = text.size() + (text.size() < out.room ? 1 : 0);
  if (length > 0) {
    memcpy(out.at->pstart, text.c_str(), length);
  }
  out.at->size = static_cast<uint32_t>(text.size() + 1);
  return true;
}

static bool fault_value_parse(const sim_json_t& json, sim_fault_value_t& value)
{
  if (json_object_get_type(json.value) == json_type_string) {
    value.kind = sim_fault_value_t::TEXT;
    return sim_json_text(json, 0, TEXT_MAX, value.text);
  }
  if (json_object_get_type(json.value) != json_type_int) {
    return sim_json_refuse(json, "must be a number or a text");
  }
  const int64_t number = json_object_get_int64(json.value);
  value.kind = sim_fault_value_t::NUMBER;
  value.negative = number < 0;
  value.bits = number < 0 ? static_cast<uint64_t>(number) : json_object_get_uint64(json.value);
  return true;
}

// Faults of calls that nobody can make would go unnoticed.
static bool fault_call_exists(const char* name)
{
  const std::string_view call = name;
  const bool named = call.substr(0, 7) == "openapi" || call.substr(0, 14) == "rpcclt_openapi";
  return named && dlsym(RTLD_DEFAULT, name) != nullptr;
}

static bool fault_parse(const char* name, const sim_json_t& json)
{
  if (!fault_call_exists(name)) {
    return sim_json_refuse(json, "no such call");
  }
  constexpr uint32_t UINT_MAX32 = std::numeric_limits<uint32_t>::max();
  constexpr int32_t INT_MIN32 = std::numeric_limits<int32_t>::min();
  constexpr int32_t INT_MAX32 = std::numeric_limits<int32_t>::max();
  sim_fault_t fault;
  const auto parse_value = [&](const sim_json_t& j) { return fault_value_parse(j, fault.value); };
  const auto parse_result = [&](const sim_json_t& j) {
    fault.has_result = true;
    return sim_json_int(j, INT_MIN32, INT_MAX32, fault.result);
  };
  const auto parse_after = [&](const sim_json_t& j) {
    return sim_json_uint(j, 0, UINT_MAX32, fault.after);
  };
  const auto parse_times = [&](const sim_json_t& j) {
    return sim_json_uint(j, 1, UINT_MAX32, fault.times);
  };
  const auto parse_delay = [&](const sim_json_t& j) {
    return sim_json_uint(j, 0, DELAY_MAX_MS, fault.delay_ms);
  };
  const bool parsed = sim_json_record(json, {
                                                {"value",    false, parse_value },
                                                {"result",   false, parse_result},
                                                {"after",    false, parse_after },
                                                {"times",    false, parse_times },
                                                {"delay_ms", false, parse_delay },
  });
  if (parsed) {
    faults[name] = fault;
  }
  return parsed;
}

bool sim_call_faults_parse(const sim_json_t& json)
{
  return sim_json_each(json, fault_parse);
}

bool sim_call_rpc_delay_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 0, DELAY_MAX_MS, rpc_delay_ms);
}

void sim_call_reset()
{
  faults.clear();
  rpc_delay_ms = 0;
}

// ---- trace ----

bool sim_trace_open()
{
  const char* path = getenv("SWITCHSIM_TRACE");
  if (path == nullptr || path[0] == '\0' || trace_fd >= 0) {
    return true;
  }
  constexpr mode_t OWNER_ONLY = S_IRUSR | S_IWUSR;  // accounts' passwords are among the arguments
  const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, OWNER_ONLY);
  struct stat status = {};
  if (fd < 0 || fstat(fd, &status) != 0 ||
      (S_ISREG(status.st_mode) && fchmod(fd, OWNER_ONLY) != 0)) {
    fprintf(stderr, "switchsim: SWITCHSIM_TRACE: cannot write %s: %s\n", path, strerror(errno));
    if (fd >= 0) {
      close(fd);
    }
    return false;
  }
  trace_fd = fd;
  return true;
}

bool sim_tracing()
{
  return trace_fd >= 0 || trace_collected;
}

void sim_trace_line(const std::string& line)
{
  const std::string whole = line + "\n";
  if (trace_collected) {
    trace_text += whole;
  }
  size_t written = 0;
  while (trace_fd >= 0 && written < whole.size()) {
    const ssize_t n = write(trace_fd, whole.data() + written, whole.size() - written);
    if (n < 0 && errno != EINTR) {
      return;
    }
    written += n > 0 ? static_cast<size_t>(n) : 0;
  }
}

void sim_put(std::string& line, const char* text)
{
  line += text == nullptr ? "null" : "\"" + sim_one_line(text) + "\"";
}

// The size of a descriptor is told as it is, the text read from no more than the room it has.
static void put_text(std::string& line, open_buffdesc* desc, uint32_t room)
{
  if (!sim_usable(desc)) {
    line += "null";
    return;
  }
  open_buffdesc bounded = {std::min(desc->size, room), desc->pstart};
  line += "{" + std::to_string(desc->size) + ",\"" + sim_one_line(sim_text(&bounded)) + "\"}";
}

void sim_put(std::string& line, open_buffdesc* desc)
{
  put_text(line, desc, std::numeric_limits<uint32_t>::max());
}

void sim_put(std::string& line, const sim_out_t<open_buffdesc>& out)
{
  line += '>';
  put_text(line, out.at, out.room);
}

void sim_put(std::string& line, const sim_out_list_t& out)
{
  if (!sim_usable(out)) {
    line += ">null";
    return;
  }
  line += ">{" + std::to_string(out.at->size) + ",\"";
  const unsigned char* bytes = static_cast<const unsigned char*>(out.at->pstart);
  for (size_t i = 0; i + sizeof(uint32_t) <= out.at->size; i += sizeof(uint32_t)) {
    uint32_t number;
    memcpy(&number, bytes + i, sizeof number);
    line += (i > 0 ? "," : "") + std::to_string(number);
  }
  line += "\"}";
}

// Family and address as text; the address of no known family is left out.
static std::string inet_text(OPEN_AF_t family, uint32_t ipv4, const open_in6_addr_t& ipv6)
{
  return std::to_string(family) + ",\"" + sim_inet_text(family, ipv4, ipv6) + "\"";
}

void sim_put(std::string& line, const open_inet_addr_t& address)
{
  line += "{" + inet_text(address.family, address.addr.ipv4, address.addr.ipv6) + "}";
}

void sim_put(std::string& line, const open_inet_pfx_t& address)
{
  line += "{" + inet_text(address.family, address.addr.ipv4, address.addr.ipv6) + "," +
          std::to_string(address.pfxLen) + "}";
}

void sim_put(std::string& line, const open_revision_data_t& revision)
{
  line += "{" + std::to_string(revision.release) + "," + std::to_string(revision.version) + "," +
          std::to_string(revision.maint_level) + "," + std::to_string(revision.build_num) + "}";
}

// ---- steering from tests ----

std::string switchsim_reset(const char* profile_json)
{
  const auto lock = sim_lock();
  sim_client_started();
  return sim_areas_reset(profile_json == nullptr ? "" : profile_json);
}

bool switchsim_fault_set(const char* call, const char* json, std::string* error)
{
  std::string why;
  const sim_json_owner_t value = sim_json_read(json, why);
  const auto lock = sim_lock();
  const bool set =
      value != nullptr && fault_parse(call, {value.get(), std::string("faults.") + call, &why});
  if (error != nullptr) {
    *error = why;
  }
  return set;
}

void switchsim_faults_clear()
{
  const auto lock = sim_lock();
  faults.clear();
}

void switchsim_trace_start()
{
  const auto lock = sim_lock();
  trace_collected = true;
  trace_text.clear();
}

std::string switchsim_trace_take()
{
  const auto lock = sim_lock();
  std::string taken;
  taken.swap(trace_text);
  return taken;
}
