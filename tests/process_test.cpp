// The "process" module: memory and CPU use, and how the switch's texts about it are split.
#include <inttypes.h>
#include <sys/prctl.h>

#include "engine/rest_operation.h"
#include "modules/rest_cpu_text.h"
#include "tests/support/engine_test.h"
#include "tests/support/temp_folder.h"

static std::string total_json(std::string_view text)
{
  tree_ptr tree(new_tree());
  process_append_total(tree.get(), text);
  return tree_text(print_tree_by_json, tree.get());
}

static std::string tasks_json(std::string_view text, uint32_t periods)
{
  tree_ptr tree(new_tree());
  process_append_tasks(tree.get(), text, periods);
  return tree_text(print_tree_by_json, tree.get());
}

TEST(Process, SplitsTheTotalUse)
{
  const struct {
    const char* text;
    const char* json;
  } cases[] = {
      {"",                            "{ }"                                           },
      {"5 Secs:12.3456%;60 Secs:9%;", R"({ "5 Secs": ":12.3456%", "60 Secs": ":9%" })"},
      {"a:1;b:2",                     R"({ "a": ":1", "b": ":2" })"                   },
      {"a:1:2;b:",                    R"({ "a": ":1:2", "b": ":" })"                  },
      {";;a:1;;;b:2;;",               R"({ "a": ":1", "b": ":2" })"                   },
      {"no colon;:no label;;a:1;:;",  R"({ "a": ":1" })"                              },
      {"a:1\tx;b\n:2\n3;c:4",         R"({ "a": ":1", "b\n": ":2", "c": ":4" })"      },
  };
  for (const auto& c : cases)
    EXPECT_EQ(total_json(c.text), c.json) << c.text;
}

TEST(Process, SplitsTheTasksUse)
{
  // clang-format off
  const struct {
    uint32_t periods;
    const char *text, *json;
  } cases[] = {
      {3, "", "{ }"},
      {2, "1,init,a:1%;b:2%;\n22,x y,a:3%;\n", 
       R"({ "1": { "PID": 1, "name": "init", "a": "1%", "b": "2%" }, )"
       R"("2": { "PID": 22, "name": "x y", "a": "3%" } })"},
      {2, "1,init,a:1%;b:2%;c:3%",
       R"({ "1": { "PID": 1, "name": "init", "a": "1%", "b": "2%" } })"},
      {0, "1,init,a:1%;",     R"({ "1": { "PID": 1, "name": "init" } })"},
      {4294967295, "1,init,a:1%;", R"({ "1": { "PID": 1, "name": "init", "a": "1%" } })"},
      {2, "1,init,a:;b:2;",   R"({ "1": { "PID": 1, "name": "init" } })"},
      {2, "1,init,a;b:2;",    R"({ "1": { "PID": 1, "name": "init", "a;b": "2" } })"},
      {3, "1,init,a:1;:2;b:3;", R"({ "1": { "PID": 1, "name": "init", "a": "1" } })"},
      {3, "1,init,a:1;\tb:3;", R"({ "1": { "PID": 1, "name": "init", "a": "1" } })"},
      {3, "1,init\n\n\n2,sh,",
       R"({ "1": { "PID": 1, "name": "init" }, "2": { "PID": 2, "name": "sh" } })"},
      {1, "x,init,a:1;\n,n,a:1\n3\n4,,a:1;\n-5,n,a:1;",
       R"({ "1": { "PID": -5, "name": "n", "a": "1" } })"},
      {1, "99999999999,n,a:1;", R"({ "1": { "PID": 2147483647, "name": "n", "a": "1" } })"},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(tasks_json(c.text, c.periods), c.json) << c.text;
  EXPECT_EQ(tasks_json(std::string_view("1,init,a:1;\n2,cut", 8), 1),
            R"({ "1": { "PID": 1, "name": "init" } })");
}

TEST(Process, TellsTheFiguresOfTheMachine)
{
  engine_reset();
  const std::string memory = api_request("GET", "/process/memory", "json").body;
  const auto number = [&memory](const char* name) {
    const size_t at = memory.find("\"" + std::string(name) + "\": ");
    return at == memory.npos ? -1 : std::stoll(memory.substr(at + strlen(name) + 4));
  };
  // Asked of a program of the machine, whose memory is more than this processor may be able to
  // count.
  const std::unique_ptr<FILE, int (*)(FILE*)> getconf(popen("getconf _PHYS_PAGES", "r"), pclose);
  int64_t pages = 0;
  EXPECT_EQ(fscanf(getconf.get(), "%" SCNd64, &pages), 1);
  EXPECT_EQ(number("total_memory"), pages * (sysconf(_SC_PAGESIZE) / 1024)) << memory;
  EXPECT_EQ(number("total_memory"), number("alloc_memory") + number("free_memory")) << memory;

  // Names are any bytes, also of the middle of a character. An emulator may show one of its own.
  char name[16] = "";
  prctl(PR_GET_NAME, name);
  prctl(PR_SET_NAME, "\xc3\xa9,\xff\xe2\x82\xe2\x82\xac\xed\xa0\x80");
  const bool is_shown = file_text("/proc/self/stat").find("\xc3\xa9,") != std::string::npos;
  const std::string tasks = api_request("GET", "/process/cpu", "xml").body;
  EXPECT_EQ(tasks.find("<name>\u00e9_\ufffd\ufffd\ufffd\u20ac\ufffd\ufffd\ufffd</name>") !=
                std::string::npos,
            is_shown)
      << tasks;
  prctl(PR_SET_NAME, name);

  // Each of three periods has a use of 0 to 100 percent, also this process's.
  const std::string cpu = api_request("GET", "/process/cpu", "json").body;
  const std::string use = R"(\d{1,2}\.\d+%|100\.0+%)";
  const std::string total = "\"\\w+\": \":(" + use + ")\"";
  const std::string own = "\"\\w+\": \"(" + use + ")\"";
  EXPECT_TRUE(std::regex_search(cpu, std::regex("\"total_CPU_utilization\": \\{ " + total + ", " +
                                                total + ", " + total + " ")))
      << cpu;
  EXPECT_TRUE(std::regex_search(
      cpu, std::regex("\"PID\": " + std::to_string(getpid()) + ", \"name\": \"[^\"]+\", " + own +
                      ", " + own + ", " + own + " ")))
      << cpu;
}
