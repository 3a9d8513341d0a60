// The "process" module: memory and CPU use, and how the switch's texts about it are split.
#include <sys/prctl.h>

#include "engine/rest_operation.h"
#include "modules/rest_cpu_text.h"
#include "tests/support/engine_test.h"

TEST(Process, SplitsTheUseOfAllAndOfEachTask)
{
  static const uint32_t ALL = 99, MOST = UINT32_MAX;  // the use of all, in place of periods
  // clang-format off
  const std::tuple<uint32_t, std::string_view, const char*> rows[] = {
      {ALL, "", "{ }"},
      {ALL, "5 Secs:12.3456%;60 Secs:9%;", R"({ "5 Secs": ":12.3456%", "60 Secs": ":9%" })"},
      {ALL, "a:1:2;b:", R"({ "a": ":1:2", "b": ":" })"},
      {ALL, ";;a:1;;;b:2;;", R"({ "a": ":1", "b": ":2" })"},
      {ALL, "no colon;:no label;;a:1;:;", R"({ "a": ":1" })"},
      {ALL, "a:1\tx;b\n:2\n3;c:4", R"({ "a": ":1", "b\n": ":2", "c": ":4" })"},
      {3, "", "{ }"},
      {2, "1,init,a:1%;b:2%;c:3%\n22,x y,a:3%;\n",
       R"({ "1": { "PID": 1, "name": "init", "a": "1%", "b": "2%" }, )"
       R"("2": { "PID": 22, "name": "x y", "a": "3%" } })"},
      {0, "1,init,a:1%;", R"({ "1": { "PID": 1, "name": "init" } })"},
      {MOST, "1,init,a:1%;", R"({ "1": { "PID": 1, "name": "init", "a": "1%" } })"},
      {2, "1,init,a:;b:2;", R"({ "1": { "PID": 1, "name": "init" } })"},
      {2, "1,init,a;b:2;", R"({ "1": { "PID": 1, "name": "init", "a;b": "2" } })"},
      {3, "1,init,a:1;:2;b:3;", R"({ "1": { "PID": 1, "name": "init", "a": "1" } })"},
      {3, "1,init,a:1;\tb:3;", R"({ "1": { "PID": 1, "name": "init", "a": "1" } })"},
      {3, "1,init\n\n\n2,sh,",
       R"({ "1": { "PID": 1, "name": "init" }, "2": { "PID": 2, "name": "sh" } })"},
      {1, "x,init,a:1;\n,n,a:1\n3\n4,,a:1;\n-5,n,a:1;",
       R"({ "1": { "PID": -5, "name": "n", "a": "1" } })"},
      {1, "99999999999,n,a:1;", R"({ "1": { "PID": 2147483647, "name": "n", "a": "1" } })"},
      {1, std::string_view("1,init,a:1;\n2,cut", 8), R"({ "1": { "PID": 1, "name": "init" } })"},
  };
  // clang-format on
  for (const auto& [periods, text, json] : rows) {
    tree_ptr tree(new_tree());
    if (periods == ALL)
      process_append_total(tree.get(), text);
    else
      process_append_tasks(tree.get(), text, periods);
    EXPECT_EQ(tree_text(print_tree_by_json, tree.get()), json) << text;
  }
}

TEST(Process, TellsTheFiguresOfTheMachine)
{
  engine_reset();
  const std::string memory = api_request("GET", "/process/memory", "json").body;
  std::smatch kib;
  ASSERT_TRUE(std::regex_search(
      memory, kib,
      std::regex(R"("total_memory": (\d+), "alloc_memory": (\d+), "free_memory": (\d+))")));
  // Asked of a program of the machine, whose memory is more than this processor may be able to
  // count.
  const std::unique_ptr<FILE, int (*)(FILE*)> getconf(popen("getconf _PHYS_PAGES", "r"), pclose);
  long long pages = 0;
  EXPECT_EQ(fscanf(getconf.get(), "%lld", &pages), 1);
  EXPECT_EQ(std::stoll(kib[1]), pages * (sysconf(_SC_PAGESIZE) / 1024)) << memory;
  EXPECT_EQ(std::stoll(kib[1]), std::stoll(kib[2]) + std::stoll(kib[3])) << memory;

  // Names are any bytes, also of the middle of a character. An emulator may show one of its own.
  prctl(PR_SET_NAME, "\xc3\xa9,\xff\xe2\x82\xe2\x82\xac\xed\xa0\x80");
  const bool is_shown = file_text("/proc/self/stat").find("\xc3\xa9,") != std::string::npos;
  const std::string tasks = api_request("GET", "/process/cpu", "xml").body;
  EXPECT_EQ(tasks.find("<name>\u00e9_\ufffd\ufffd\ufffd\u20ac\ufffd\ufffd\ufffd</name>") !=
                std::string::npos,
            is_shown)
      << tasks;
  prctl(PR_SET_NAME, "process_test");

  // Each of three periods has a use of 0 to 100 percent, also this process's.
  const std::string cpu = api_request("GET", "/process/cpu", "json").body;
  const std::string use = R"~((\d{1,2}\.\d+%|100\.0+%)")~";
  const std::string total = R"("\w+": ":)" + use, own = R"(, "\w+": ")" + use;
  for (const std::string& part :
       {R"("total_CPU_utilization": \{ )" + total + ", " + total + ", " + total + " ",
        "\"PID\": " + std::to_string(getpid()) + R"~(, "name": "[^"]+")~" + own + own + own + " "})
    EXPECT_TRUE(std::regex_search(cpu, std::regex(part))) << part << cpu;
}
