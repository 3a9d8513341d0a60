// The simulated switch's core: profile, faults, trace, interfaces; and the process library. What
// happens at start-up or ends a process is done by this program run again as a child.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "platform/l7proc.h"
#include "platform/openapi_auth.h"
#include "platform/openapi_base.h"
#include "platform/openapi_client.h"
#include "platform/openapi_if.h"
#include "platform/openapi_inet.h"
#include "platform/openapi_vlan.h"
#include "switchsim/switchsim.h"
#include "tests/support/engine_process.h"

static std::string folder;
static openapiClientHandle_t client;

static std::string file_with(const std::string& name, const std::string& text)
{
  std::ofstream(folder + "/" + name, std::ios::binary) << text;
  return folder + "/" + name;
}

// ---- this program as a child ----

static int child_main(const std::string& job)
{
  if (job == "register") {
    const open_error_t result = openapiClientRegister("restful_api_engine", &client);
    printf("%d %d", result, rpcclt_openapiConnectivityCheck(&client));
    return 0;
  }
  if (job == "log") {
    const std::string text = std::string(100000, 'x') + "\nend";
    l7proc_logf(L7PROC_LOG_SEVERITY_WARNING, 0, "rest_common.c", 57, "<%s> %d", text.c_str(), 4);
    return 0;
  }
  l7proc_crashlog_register();
  l7proc_crashlog_register();
  if (job == "fault") {
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return *static_cast<volatile char*>(page);
  }
  return raise(atoi(job.c_str()));
}

struct child_t {
  int status;
  std::string out, err;
};

static child_t child_run(const std::string& job, const char* variable, const std::string& value)
{
  const std::string out = folder + "/out", err = folder + "/err";
  const pid_t pid = fork();
  if (pid == 0) {
    setenv(variable, value.c_str(), 1);
    if (freopen(out.c_str(), "w", stdout) && freopen(err.c_str(), "w", stderr))
      program_exec({std::filesystem::read_symlink("/proc/self/exe"), "--child", job});
    _exit(127);
  }
  child_t child = {};
  EXPECT_EQ(waitpid(pid, &child.status, 0), pid);
  child.out = file_text(out);
  child.err = file_text(err);
  return child;
}

int main(int argc, char** argv)
{
  if (argc == 3 && strcmp(argv[1], "--child") == 0)
    return child_main(argv[2]);
  testing::InitGoogleTest(&argc, argv);
  char name[] = "/tmp/switchsim_test.XXXXXX";
  folder = mkdtemp(name);
  setenv("SWITCHSIM_TRACE", (folder + "/trace").c_str(), 1);
  openapiClientRegister("restful_api_engine", &client);
  unsetenv("SWITCHSIM_TRACE");
  const int result = RUN_ALL_TESTS();
  std::filesystem::remove_all(folder);
  return result;
}

// ---- helpers ----

static void reset(const std::string& profile = "")
{
  ASSERT_EQ(switchsim_reset(profile.c_str()), "");
  switchsim_trace_start();
}

static open_error_t authenticate(const char* user, const char* password,
                                 OPEN_LOGIN_ACCESS_LEVELS_t& access)
{
  std::string texts[] = {user, password};
  open_buffdesc descs[2];
  for (int i = 0; i < 2; i++)
    descs[i] = {static_cast<uint32_t>(texts[i].size() + 1), texts[i].data()};
  return rpcclt_openapiAuthenticateUser(&client, &descs[0], &descs[1], &access);
}

static std::vector<uint32_t> walk(OPEN_INTF_TYPE_t type)
{
  std::vector<uint32_t> found;
  uint32_t number = 0;
  open_error_t result = openapiIfFirstGet(&client, type, &number);
  while (result == OPEN_E_NONE) {
    found.push_back(number);
    result = openapiIfNextGet(&client, type, number, &number);
  }
  EXPECT_EQ(result, OPEN_E_FAIL) << "type " << type;
  return found;
}

static bool link_up(uint32_t ifNum)
{
  OPEN_LINK_STATE_t state = OPEN_LINK_DOWN;
  EXPECT_EQ(openapiIfLinkStateGet(&client, ifNum, &state), OPEN_E_NONE) << ifNum;
  return state == OPEN_LINK_UP;
}

// ---- profile ----

TEST(Profile, IsRefusedWithItsKey)
{
  // clang-format off
  const char* const cases[][2] = {  // with ' for "
      {"",                                                              "not JSON"},
      {"{'ports': 5} x",                                                "not JSON"},
      {"[]",                                                            "must be a record"},
      {"{'port': 5}",                                                   "port: "},
      {"{'a\\nb': 5}",                                                  "a\\nb: "},
      {"{'ports': 0}",                                                  "ports: "},
      {"{'ports': -1}",                                                 "ports: "},
      {"{'ports': 4001}",                                               "ports: "},
      {"{'ports': 4294967297}",                                         "ports: "},
      {"{'ports': '5'}",                                                "ports: "},
      {"{'ports': 5.0}",                                                "ports: "},
      {"{'ports': null}",                                               "ports: "},
      {"{'link_up': 5}",                                                "link_up: "},
      {"{'link_up': [9], 'ports': 8}",                                  "link_up[0]: "},
      {"{'vlan_max': 4095}",                                            "vlan_max: "},
      {"{'accounts': {}}",                                              "accounts: "},
      {"{'accounts': [5]}",                                             "accounts[0]: "},
      {"{'accounts': [{'user': 'a\\u0000', 'password': 'x'}]}",         "accounts[0].user: "},
      {"{'accounts': [{'user': 'a'}]}",                                 "accounts[0].password: "},
      {"{'accounts': [{'user': 'a', 'password': ''}, {'user': 'a', 'password': ''}]}",
       "accounts[1].user: "},
      {"{'accounts': [{'user': 'a', 'password': 'b', 'access': 'all'}]}", "accounts[0].access: "},
      {"{'accounts': [{'user': 'a', 'password': 'b', 'shell': 1}]}",    "accounts[0].shell: "},
      {"{'faults': []}",                                                "faults: "},
      {"{'faults': {'printf': {'result': -20}}}",                       "faults.printf: "},
      {"{'faults': {'openapiIfNextGet': {'result': 'no'}}}", "faults.openapiIfNextGet.result: "},
      {"{'faults': {'openapiIfNextGet': {'result': 0}}}", "faults.openapiIfNextGet.result: "},
      {"{'faults': {'openapiIfNextGet': {'value': 1.5}}}", "faults.openapiIfNextGet.value: "},
      {"{'faults': {'openapiIfNextGet': {'times': 0}}}", "faults.openapiIfNextGet.times: "},
      {"{'faults': {'openapiIfNextGet': {'never': 1}}}", "faults.openapiIfNextGet.never: "},
  };
  // clang-format on
  for (const auto& [text, key] : cases) {
    std::string profile = text;
    std::replace(profile.begin(), profile.end(), '\'', '"');
    SCOPED_TRACE(profile);
    // as a test gives it (where an empty text means no profile at all), and from a file
    const std::string why = switchsim_reset(profile.c_str());
    EXPECT_EQ(why.substr(0, strlen(key)), profile.empty() ? "" : key) << why;
    EXPECT_EQ(walk(OPEN_INTF_TYPE_PHY).size(), 54u);
    const std::string path = file_with("profile", profile);
    const child_t child = child_run("register", "SWITCHSIM_PROFILE", path);
    const std::string told = "switchsim: profile " + path + ": " + key;
    EXPECT_EQ(child.out, "-26 -20");
    EXPECT_EQ(child.err.substr(0, told.size()), told) << child.err;
    EXPECT_EQ(child.err.find('\n'), child.err.size() - 1);
  }
  const child_t child = child_run("register", "SWITCHSIM_PROFILE", folder + "/missing");
  EXPECT_EQ(child.out, "-26 -20");
  EXPECT_NE(child.err.find("/missing: cannot be read"), std::string::npos) << child.err;
}

TEST(Profile, IsReadAtRegistration)
{
  const std::string path = file_with(
      "profile", "{\"faults\": {\"rpcclt_openapiConnectivityCheck\": {\"result\": -25}}}\n");
  EXPECT_EQ(child_run("register", "SWITCHSIM_PROFILE", path).out, "0 -25");
  file_with("profile", "{\"faults\": {\"openapiClientRegister\": {\"result\": -23}}}");
  EXPECT_EQ(child_run("register", "SWITCHSIM_PROFILE", path).out, "-23 -20");
  EXPECT_EQ(child_run("register", "SWITCHSIM_TRACE", folder).out, "-26 -20");
}

// ---- interfaces ----

TEST(Interfaces, AreNumberedBehindThePorts)
{
  const struct {
    int line;
    const char* profile;
    uint32_t ports, cpu, highest, vlan_max;
  } cases[] = {
      {__LINE__, "{}",                                54,   55,   226 + 127,       4094},
      {__LINE__, "{\"ports\": 1, \"vlan_max\": 100}", 1,    55,   226 + 127,       100 },
      {__LINE__, "{\"ports\": 55}",                   55,   56,   226 + 127,       4094},
 // 64 port channels from 162 on end just before 226
      {__LINE__, "{\"ports\": 160}",                  160,  161,  226 + 127,       4094},
      {__LINE__, "{\"ports\": 161}",                  161,  162,  227 + 127,       4094},
      {__LINE__, "{\"ports\": 4000}",                 4000, 4001, 4002 + 64 + 127, 4094},
  };
  for (const auto& c : cases) {
    reset(c.profile);
    const std::vector<uint32_t> ports = walk(OPEN_INTF_TYPE_PHY);
    EXPECT_EQ(ports.size(), c.ports) << "case of line " << c.line;
    EXPECT_EQ(ports.front(), 1u) << "case of line " << c.line;
    EXPECT_EQ(ports.back(), c.ports) << "case of line " << c.line;
    EXPECT_EQ(walk(OPEN_INTF_TYPE_CPU), std::vector<uint32_t>{c.cpu}) << "case of line " << c.line;
    EXPECT_EQ(walk(OPEN_INTF_TYPE_TUNNEL), std::vector<uint32_t>()) << "case of line " << c.line;
    uint32_t cpu = 0, highest = 0, vlan_max = 0;
    EXPECT_EQ(rpcclt_openapiCpuIntfGet(&client, &cpu), OPEN_E_NONE);
    EXPECT_EQ(openapiMaxInterfaceCountGet(&client, &highest), OPEN_E_NONE);
    EXPECT_EQ(rpcclt_openapiDot1VlanMaxGet(&client, &vlan_max), OPEN_E_NONE);
    EXPECT_EQ(cpu, c.cpu) << "case of line " << c.line;
    EXPECT_EQ(highest, c.highest) << "case of line " << c.line;
    EXPECT_EQ(vlan_max, c.vlan_max) << "case of line " << c.line;
  }
  uint32_t number = 0;
  EXPECT_EQ(openapiIfFirstGet(&client, static_cast<OPEN_INTF_TYPE_t>(9), &number), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfFirstGet(&client, static_cast<OPEN_INTF_TYPE_t>(-1), &number), OPEN_E_PARAM);
}

TEST(Interfaces, HaveLink)
{
  reset();
  for (uint32_t port = 1; port <= 54; port++)
    EXPECT_EQ(link_up(port), port <= 8 || port == 49 || port == 53) << port;
  reset("{\"link_up\": [2, 54]}");
  for (uint32_t port = 1; port <= 54; port++)
    EXPECT_EQ(link_up(port), port == 2 || port == 54) << port;
}

// ---- trace ----

TEST(Trace, TellsEveryCall)
{
  reset();
  const std::string in_file_before = file_text(folder + "/trace");
  EXPECT_EQ(in_file_before.substr(0, in_file_before.find('\n')),
            "openapiClientRegister(\"restful_api_engine\") = 0");

  uint32_t number = 7;
  openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 53, &number);
  openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 54, &number);
  openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 54, nullptr);
  openapiIfNextGet(nullptr, OPEN_INTF_TYPE_PHY, 54, &number);
  OPEN_LOGIN_ACCESS_LEVELS_t access = OPEN_LOGIN_ACCESS_NONE;
  authenticate("admin", "a\r\nb", access);
  authenticate(std::string(100000, 'u').c_str(), "", access);
  open_inet_addr_t address = {};
  char text[] = "10.0.0.1";
  open_buffdesc desc = {sizeof text, text};
  rpcclt_openapiInetAddrGet(&client, &desc, &address);
  EXPECT_EQ(address.addr.ipv4, 0x0a000001u);
  char text6[] = "FE80::1";
  desc = {sizeof text6, text6};
  rpcclt_openapiInetAddrGet(&client, &desc, &address);
  desc = {3, text6};
  rpcclt_openapiInetAddrGet(&client, &desc, &address);
  char name[16] = "";
  desc = {sizeof name, name};
  openapiIfNameGet(&client, 1, &desc);
  desc = {4, nullptr};
  openapiIfNameGet(&client, 1, &desc);
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiConnectivityCheck", "{\"result\": -25}"));
  rpcclt_openapiConnectivityCheck(&client);

  const std::string expected =
      "openapiIfNextGet(0, 53, >54) = 0\n"
      "openapiIfNextGet(0, 54, >54) = -26\n"
      "openapiIfNextGet(0, 54, >null) = -22\n"
      "openapiIfNextGet(0, 54, >54) = -20\n"
      "rpcclt_openapiAuthenticateUser({6,\"admin\"}, {5,\"a\\r\\nb\"}, >0)"
      " = -26\n"
      "rpcclt_openapiAuthenticateUser({100001,\"" +
      std::string(100000, 'u') +
      "\"}, {1,\"\"}, >0) = -26\n"
      "rpcclt_openapiInetAddrGet({9,\"10.0.0.1\"}, >{1,\"10.0.0.1\"}) = 0\n"
      "rpcclt_openapiInetAddrGet({8,\"FE80::1\"}, >{2,\"fe80::1\"}) = 0\n"
      "rpcclt_openapiInetAddrGet({3,\"FE8\"}, >{2,\"fe80::1\"}) = -26\n"
      "openapiIfNameGet(1, >{4,\"0/1\"}) = 0\n"
      "openapiIfNameGet(1, >null) = -22\n"
      "rpcclt_openapiConnectivityCheck() = -25\n";
  EXPECT_EQ(switchsim_trace_take(), expected);
  EXPECT_EQ(file_text(folder + "/trace"), in_file_before + expected);
  EXPECT_EQ(switchsim_trace_take(), "");
}

// ---- faults ----

TEST(Faults, NumberAndResult)
{
  // each case: the fault, and what five calls for the interface after 3 answer, as traced
  // clang-format off
  const struct {
    const char *fault, *calls[5];
  } cases[] = {
      {"{}",                                      {">4) = 0", ">4) = 0"}},
      {"{'result': -23}",                         {">0) = -23", ">0) = -23", ">0) = -23"}},
      {"{'result': -23, 'after': 2, 'times': 1}",
       {">4) = 0", ">4) = 0", ">0) = -23", ">4) = 0", ">4) = 0"}},
      {"{'value': 4294967295, 'times': 2}", {">4294967295) = 0", ">4294967295) = 0", ">4) = 0"}},
      {"{'value': 9, 'result': -23, 'times': 1}", {">9) = -23", ">4) = 0"}},
      {"{'result': 0, 'value': 9, 'after': 1}",   {">4) = 0", ">9) = 0"}},
      // what the output cannot hold is not cut to fit
      {"{'value': 4294967296, 'times': 1}",       {">4) = -21", ">4) = 0"}},
      {"{'value': -1, 'times': 1}",               {">4) = -21", ">4) = 0"}},
      {"{'value': '9', 'times': 1}",              {">4) = -21", ">4) = 0"}},
  };
  // clang-format on
  for (const auto& c : cases) {
    reset();
    std::string error;
    std::string fault = c.fault;
    std::replace(fault.begin(), fault.end(), '\'', '"');
    EXPECT_TRUE(switchsim_fault_set("openapiIfNextGet", fault.c_str(), &error)) << error;
    for (int i = 0; i < 5 && c.calls[i] != nullptr; i++) {
      uint32_t next = 0;
      openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 3, &next);
      EXPECT_EQ(switchsim_trace_take(), "openapiIfNextGet(0, 3, " + std::string(c.calls[i]) + "\n")
          << c.fault << ", call " << i;
    }
  }
  // past the end, result 0 makes the walk go on
  reset("{\"faults\": {\"openapiIfNextGet\": {\"result\": 0, \"value\": 54}}}");
  uint32_t next = 0;
  EXPECT_EQ(openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 54, &next), OPEN_E_NONE);
  EXPECT_EQ(next, 54u);
  OPEN_LINK_STATE_t state = OPEN_LINK_UP;
  ASSERT_TRUE(switchsim_fault_set("openapiIfLinkStateGet", "{\"value\": -7}"));
  EXPECT_EQ(openapiIfLinkStateGet(&client, 1, &state), OPEN_E_NONE);
  EXPECT_EQ(static_cast<int32_t>(state), -7);
  switchsim_faults_clear();
  EXPECT_EQ(openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 54, &next), OPEN_E_FAIL);

  std::string error;
  EXPECT_FALSE(switchsim_fault_set("openapiIfNextGet", "{\"after\": -1}", &error));
  EXPECT_EQ(error.substr(0, error.find(' ')), "faults.openapiIfNextGet.after:");
}

TEST(Faults, Text)
{
  const struct {
    int line;
    std::string text;
    uint32_t size;
    open_error_t result;
  } cases[] = {
      {__LINE__, "",          1, OPEN_E_NONE    },
      {__LINE__, "1234567",   8, OPEN_E_NONE    },
      {__LINE__, "12345678",  9, OPEN_E_NONE    }, // fills the buffer, without a terminating zero
      {__LINE__, "123456789", 7, OPEN_E_INTERNAL},
  };
  for (const auto& c : cases) {
    reset();
    ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiMachineModelNameGet",
                                    ("{\"value\": \"" + c.text + "\"}").c_str()));
    const std::unique_ptr<char[]> room(new char[8]);  // on the heap, where an overrun is seen
    open_buffdesc desc = {8, room.get()};
    EXPECT_EQ(rpcclt_openapiMachineModelNameGet(&client, &desc), c.result) << c.line;
    EXPECT_EQ(desc.size, c.size) << "case of line " << c.line;
    if (c.result == OPEN_E_NONE) {
      const std::string bytes = (c.text + '\0').substr(0, 8);
      EXPECT_EQ(std::string(room.get(), bytes.size()), bytes) << "case of line " << c.line;
      EXPECT_EQ(switchsim_trace_take(), "rpcclt_openapiMachineModelNameGet(>{" +
                                            std::to_string(c.size) + ",\"" + c.text + "\"}) = 0\n");
    }
  }
}

TEST(Faults, DelayKeepsNobodyElseWaiting)
{
  reset("{\"rpc_delay_ms\": 20}");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client), OPEN_E_NONE);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));

  reset("{\"faults\": {\"rpcclt_openapiConnectivityCheck\": {\"delay_ms\": 300}}}");
  std::atomic<bool> started(false), done(false);
  std::thread slow([&] {
    started = true;
    EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client), OPEN_E_NONE);
    done = true;
  });
  while (!started)
    std::this_thread::yield();
  int quick = 0;
  for (; !done; quick++)
    ASSERT_TRUE(switchsim_fault_set("openapiIfNextGet", "{\"result\": -25}"));
  slow.join();
  EXPECT_GT(quick, 20);
}

// ---- the process library ----

TEST(ProcessLibrary, LogLines)
{
  const std::string line = "rest_common.c:57: <" + std::string(100000, 'x') + "\\nend> 4\n";
  EXPECT_EQ(child_run("log", "L7PROC_LOG_STDERR", "1").err, line);
  EXPECT_EQ(child_run("log", "L7PROC_LOG_STDERR", "").err, "");
}

TEST(ProcessLibrary, CrashLog)
{
  const struct {
    std::string job;
    const char* signal;
  } cases[] = {
      {"fault",                 "SIGSEGV"},
      {std::to_string(SIGSEGV), "SIGSEGV"},
      {std::to_string(SIGBUS),  "SIGBUS" },
      {std::to_string(SIGFPE),  "SIGFPE" },
      {std::to_string(SIGILL),  "SIGILL" },
      {std::to_string(SIGABRT), "SIGABRT"},
  };
  const bool unwinds = getauxval(AT_SYSINFO_EHDR) != 0;
  for (const auto& c : cases) {
    const std::string path = folder + "/crashlog";
    const child_t child = child_run(c.job, "L7PROC_CRASHLOG", path);
    EXPECT_NE(child.status, 0) << c.job;
    std::istringstream log(file_text(path));
    std::string line;
    std::getline(log, line);
    EXPECT_EQ(line, std::string("signal: ") + c.signal) << c.job;
    std::getline(log, line);
    EXPECT_EQ(line.substr(0, 24), "process: switchsim_test ") << c.job;
    std::getline(log, line);
    EXPECT_EQ(line.substr(0, 7), "build: ") << c.job;
    EXPECT_EQ(line.find_first_not_of("0123456789abcdef", 7), std::string::npos) << line;
    EXPECT_GE(line.size(), 7u + 16u) << line;
    std::getline(log, line);
    EXPECT_EQ(line, "backtrace:") << c.job;
    int frames = 0;
    while (std::getline(log, line))
      frames += line.find("switchsim_test") != std::string::npos ? 1 : 0;
    EXPECT_GE(frames, unwinds ? 2 : 0) << c.job;
    std::filesystem::remove(path);
  }
  if (!unwinds)
    GTEST_SKIP() << "The backtraces only: the emulator lends a program no vDSO, whose tables the "
                    "unwinder needs to get past a signal's frame.";
}
