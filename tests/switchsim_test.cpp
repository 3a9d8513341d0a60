// The simulated switch's core: profile, faults, trace, interfaces; and the process library. What
// happens at start-up or ends a process is done by this program run again as a child.
#include <sys/auxv.h>
#include <sys/file.h>
#include <sys/mman.h>

#include "platform/l7proc.h"
#include "platform/openapi_base.h"
#include "platform/openapi_client.h"
#include "platform/openapi_if.h"
#include "platform/openapi_inet.h"
#include "platform/openapi_system.h"
#include "platform/openapi_tcam.h"
#include "switchsim/switchsim.h"
#include "tests/support/engine_test.h"

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
  if (job == "0") {
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

// ---- profile ----

TEST(Profile, IsRefusedWithItsKey)
{
  // each line: what is told first, and the profile
  std::istringstream cases(R"(not JSON|{"ports": 5} x
must be a record|[]
a\nb: |{"a\nb": 5}
ports: |{"ports": 0}
ports: |{"ports": 4294967297}
ports: |{"ports": 5.0}
ports: |{"ports": null}
link_up: |{"link_up": 5}
link_up[0]: |{"link_up": [9], "ports": 8}
vlan_max: |{"vlan_max": 4095}
pending_ms: |{"pending_ms": -1}
accounts[0].user: |{"accounts": [{"user": "a\u0000", "password": "x"}]}
accounts[0].password: |{"accounts": [{"user": "a"}]}
accounts[1].user: |{"accounts": [{"user": "a", "password": ""}, {"user": "a", "password": ""}]}
accounts[0].access: |{"accounts": [{"user": "a", "password": "b", "access": "all"}]}
accounts[0].shell: |{"accounts": [{"user": "a", "password": "b", "shell": 1}]}
vlans: |{"vlans": 11, "vlan_max": 10}
vlans[0].id: |{"vlans": [{"id": 4095}]}
vlans[1].id: |{"vlans": [{"id": 5}, {"id": 5}]}
vlans[0].id: |{"vlans": [{"name": "x"}]}
vlans[0].type: |{"vlans": [{"id": 5, "type": "learned"}]}
vlans[0].name: |{"vlans": [{"id": 5, "name": "123456789012345678901234567890123"}]}
lags[0].id: |{"lags": [{"id": 65}]}
lags[1].id: |{"lags": [{"id": 1}, {"id": 1}]}
lags[0].members[0]|{"lags": [{"id": 1, "members": [55]}]}
lags[1].members[0]|{"lags": [{"id": 1, "members": [5]}, {"id": 2, "members": [5]}]}
lags[0].members[8]|{"lags": [{"id": 1, "members": [1, 2, 3, 4, 5, 6, 7, 8, 9]}]}
flash: |{"flash": "/dev/null"}
scripts.a.txt: a script's name has at most 32 |{"scripts": {"a.txt": ""}}
faults: |{"faults": []}
faults.printf: |{"faults": {"printf": {"result": -20}}}
faults.openapiIfNextGet.result: |{"faults": {"openapiIfNextGet": {"result": "no"}}}
faults.openapiIfNextGet.value: |{"faults": {"openapiIfNextGet": {"value": 1.5}}}
faults.openapiIfNextGet.after: |{"faults": {"openapiIfNextGet": {"after": -1}}}
faults.openapiIfNextGet.times: |{"faults": {"openapiIfNextGet": {"times": 0}}}
faults.openapiIfNextGet.never: |{"faults": {"openapiIfNextGet": {"never": 1}}})");
  for (std::string line; std::getline(cases, line);) {
    const size_t bar = line.find('|');
    EXPECT_EQ(switchsim_reset(line.c_str() + bar + 1).substr(0, bar), line.substr(0, bar));
    uint32_t behind_all_ports = 0;  // of the switch as it was
    EXPECT_EQ(openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 53, &behind_all_ports), OPEN_E_NONE);
    EXPECT_EQ(openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 54, &behind_all_ports), OPEN_E_FAIL);
  }
}

TEST(Profile, IsReadAtRegistration)
{
  const auto registers = [](const std::string& text, const std::string& out, const char* told) {
    const std::string path = text == "missing" ? folder + "/missing" : file_with("profile", text);
    const child_t child = child_run("register", "SWITCHSIM_PROFILE", path);
    EXPECT_EQ(child.out, out);
    EXPECT_EQ(child.err.find("switchsim: profile " + path + told), *told ? 0 : child.err.npos)
        << child.err;
    EXPECT_EQ(child.err.find('\n'), child.err.size() - 1);
  };
  registers("missing", "-26 -20", ": cannot be read");
  registers("", "-26 -20", ": not JSON");
  registers(R"({"ports": 0})", "-26 -20", ": ports: ");
  registers("{\"faults\": {\"rpcclt_openapiConnectivityCheck\": {\"result\": -25}}}\n", "0 -25",
            "");
  registers(R"({"faults": {"openapiClientRegister": {"result": -23}}})", "-23 -20", "");
  EXPECT_EQ(child_run("register", "SWITCHSIM_TRACE", folder).out, "-26 -20");
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
  openapiIfNextGet(&client, static_cast<OPEN_INTF_TYPE_t>(9), 54, &number);
  openapiIfNextGet(&client, OPEN_INTF_TYPE_PHY, 54, nullptr);
  openapiIfNextGet(nullptr, OPEN_INTF_TYPE_PHY, 54, &number);
  const auto address = [](std::string text, uint32_t size) {
    open_inet_addr_t found = {};
    open_buffdesc desc = {size, text.data()};
    rpcclt_openapiInetAddrGet(&client, &desc, &found);
    return found.addr.ipv4;
  };
  EXPECT_EQ(address("10.0.0.1", 9), 0x0a000001u);
  address("FE80::1", 8);
  address("FE80::1", 3);
  address("a\r\nb", 5);
  const std::string long_text(100000, 'u');
  address(long_text, 100001);
  char name[16] = "";
  open_buffdesc desc = {sizeof name, name};
  openapiIfNameGet(&client, 1, &desc);
  desc = {4, nullptr};
  openapiIfNameGet(&client, 1, &desc);
  set_fault("ConnectivityCheck", "{'result': -25}");
  rpcclt_openapiConnectivityCheck(&client);

  const std::string expected =
      "openapiIfNextGet(0, 53, >54) = 0\n"
      "openapiIfNextGet(0, 54, >54) = -26\n"
      "openapiIfNextGet(9, 54, >54) = -22\n"
      "openapiIfNextGet(0, 54, >null) = -22\n"
      "openapiIfNextGet(0, 54, >54) = -20\n"
      "rpcclt_openapiInetAddrGet({9,\"10.0.0.1\"}, >{1,\"10.0.0.1\"}) = 0\n"
      "rpcclt_openapiInetAddrGet({8,\"FE80::1\"}, >{2,\"fe80::1\"}) = 0\n"
      "rpcclt_openapiInetAddrGet({3,\"FE8\"}, >{0,\"\"}) = -26\n"
      "rpcclt_openapiInetAddrGet({5,\"a\\r\\nb\"}, >{0,\"\"}) = -26\n"
      "rpcclt_openapiInetAddrGet({100001,\"" +
      long_text +
      "\"}, >{0,\"\"}) = -26\n"
      "openapiIfNameGet(1, >{4,\"0/1\"}) = 0\n"
      "openapiIfNameGet(1, >null) = -22\n"
      "rpcclt_openapiConnectivityCheck() = -25\n";
  EXPECT_EQ(switchsim_trace_take(), expected);
  EXPECT_EQ(file_text(folder + "/trace"), in_file_before + expected);
  EXPECT_EQ(switchsim_trace_take(), "");
}

TEST(Trace, IsForItsOwnerOnly)
{
  const auto mode = [](const std::string& path) {
    return std::filesystem::status(path).permissions() & std::filesystem::perms::all;
  };
  EXPECT_EQ(mode(folder + "/trace"), std::filesystem::perms(0600));
  const std::string earlier = file_with("earlier", "");
  child_run("register", "SWITCHSIM_TRACE", earlier);
  EXPECT_EQ(mode(earlier), std::filesystem::perms(0600));
}

// ---- faults ----

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

// ---- the end of a process, and of the switch ----

// Of a process that is gone, whoever has its number now; not of one that runs.
TEST(Restart, RemovesTheTemporaryFlashOfAnEarlierProcess)
{
  const std::string where = folder + "/tmp/";
  const std::string stale = where + "switchsim-" + std::to_string(getpid()) + "-abcDE1";
  for (const char* name : {"switchsim-1-", "switchsim-1-abcdefg", "switchsim-x-abcdef", "other"})
    std::filesystem::create_directories(where + name);
  std::filesystem::create_directories(stale);
  const std::string taken = where + "switchsim-1-Abcdef";
  std::filesystem::create_directories(taken);
  const int fd = open(taken.c_str(), O_RDONLY | O_DIRECTORY);
  EXPECT_EQ(flock(fd, LOCK_EX), 0);
  child_run("register", "TMPDIR", where);
  EXPECT_FALSE(std::filesystem::exists(stale));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(where), {}), 5);
  close(fd);
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
  const bool unwinds = getauxval(AT_SYSINFO_EHDR) != 0;
  for (const int number : {0, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {  // 0: memory that is not there
    const std::string path = folder + "/crashlog", name = sigabbrev_np(number ? number : SIGSEGV);
    EXPECT_NE(child_run(std::to_string(number), "L7PROC_CRASHLOG", path).status, 0) << name;
    const std::string log = file_text(path);
    EXPECT_TRUE(std::regex_search(log, std::regex("^signal: SIG" + name +
                                                  "\nprocess: switchsim_test .*\n"
                                                  "build: [0-9a-f]{16,}\nbacktrace:\n")))
        << log;
    const std::regex own("\n.*switchsim_test");  // the process's line and those of its frames
    EXPECT_GE(std::distance(std::sregex_iterator(log.begin(), log.end(), own), {}), unwinds ? 3 : 1)
        << log;
    std::filesystem::remove(path);
  }
  if (!unwinds)
    GTEST_SKIP() << "The backtraces only: the emulator lends a program no vDSO, whose tables the "
                    "unwinder needs to get past a signal's frame.";
}
