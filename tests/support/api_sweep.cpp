#include "tests/support/api_sweep.h"

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <algorithm>
#include <map>
#include <memory>
#include <regex>
#include <set>

#include "switchsim/switchsim.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"
#include "tests/support/temp_folder.h"

using words_t = std::vector<std::string>;
using json_ptr = std::unique_ptr<json_object, int (*)(json_object*)>;

static constexpr int RESULT_FIRST = -31, RESULT_LAST = -20, RESULT_EXISTS = -24;
static constexpr size_t CALLS_MAX = 70000;  // of one request, whatever the switch says
static constexpr size_t ROOM_MAX = 20000;   // of any text
static constexpr int TURNS = 3;             // of the same call in one request, and the last one
static const char* const NUMBERS[] = {"0",          "1",           "-1",        "2147483647",
                                      "4294967295", "-2147483648", "4294967296"};

// The switch gives the keys of this list: two that are the same are one in JSON.
static const char KEYS_OF_THE_SWITCH[] = "rpcclt_openapiRtrIntfSecIpAddrGet";

// Paths whose answers differ from one moment to the next.
static const std::regex RESTLESS("/(process|if/\\d+/counters|boxs/(fans|tempSensors)).*");

struct sweep_t {
  const char* method;
  std::string path;
  words_t tolerated;  // calls that may fail without a failure
  words_t before;     // requests before each attempt
  std::set<int> codes;
};

// The codes that the description gives for the request; those of any module where it is not listed.
static std::set<int> sweep_codes(const std::string& method, const std::string& path)
{
  static const json_ptr description(
      json_object_from_file((std::string(getenv("SOURCE_DIR")) + "/docs/openapi.json").c_str()),
      json_object_put);
  std::set<int> codes = {0, 1, 2, 98, 99};
  std::string verb = method;
  std::transform(verb.begin(), verb.end(), verb.begin(), tolower);
  json_object_object_foreach(json_object_object_get(description.get(), "paths"), pattern, item)
  {
    const std::regex shape(
        std::regex_replace(std::string(pattern), std::regex("\\{[^}]*\\}"), std::string("[^/]+")));
    json_object* const api = json_object_object_get(item, verb.c_str());
    if (!api || !std::regex_match(path.substr(0, path.find('?')), shape))
      continue;
    codes = {0, 98, 99};
    json_object_object_foreach(json_object_object_get(api, "x-result-codes"), code, text)
    {
      if (text)
        codes.insert(std::stoi(code));
    }
  }
  return codes;
}

static void sweep_prepare(const sweep_t& sweep)
{
  words_t requests = sweep.before;
  if (!requests.empty() && requests[0] == "switch") {
    script_switch_again();
    requests.erase(requests.begin());
  }
  script_each(0, requests, [](const char* method, const std::string& path) {
    api_request(method, path, "json");
  });
}

// ---- one request with one fault ----

static void sweep_fault(const std::string& call, int turn, const std::string& what)
{
  set_fault(call, "{" + what + ", 'after': " + std::to_string(turn) + ", 'times': 1}");
}

// The answer is one document with a code that it may have. Returns the code.
static int sweep_judge(const sweep_t& sweep, const std::string& json)
{
  const json_ptr document(json_tokener_parse(json.c_str()), json_object_put);
  json_object* const result = json_object_object_get(document.get(), "result");
  json_object* const code_node = json_object_object_get(result, "rlt_code");
  EXPECT_TRUE(code_node && json_object_object_get(result, "rlt_mesg")) << json;
  EXPECT_EQ(json, std::string(json_object_to_json_string(document.get())) + "\n");
  const int code = code_node ? json_object_get_int(code_node) : -1;
  EXPECT_TRUE(sweep.codes.count(code)) << json;
  return code;
}

// Makes the request with a call going wrong. Returns the code, and the result of the call in that
// turn.
static int sweep_attempt(const sweep_t& sweep, const std::string& call, int turn,
                         const std::string& what, bool prepare, std::string* answered = nullptr)
{
  SCOPED_TRACE(call + " at turn " + std::to_string(turn + 1) + " with " + what);
  if (prepare)
    sweep_prepare(sweep);
  sweep_fault(call, turn, what);
  switchsim_trace_start();
  const reply_t reply = api_request(sweep.method, sweep.path, "json");
  EXPECT_EQ(reply.status, 200);
  const words_t calls = script_split(switchsim_trace_take(), "\n");
  EXPECT_LT(calls.size(), CALLS_MAX);
  if (sweep.method == std::string("GET")) {
    sweep_fault(call, turn, what);
    const std::string xml = api_request(sweep.method, sweep.path, "xml").body;
    const bool same = call != KEYS_OF_THE_SWITCH && !std::regex_match(sweep.path, RESTLESS);
    const std::string expected = same ? script_xml(reply.body) + "\n" : "<result>";
    EXPECT_EQ(xml.substr(0, same ? xml.size() : expected.size()), expected);
  }
  switchsim_faults_clear();
  int met = turn;
  for (const std::string& line : calls)
    if (answered && line.compare(0, call.size() + 1, call + "(") == 0 && met-- == 0)
      *answered = line;
  return sweep_judge(sweep, reply.body);
}

// ---- everything that can be wrong with one call ----

static void sweep_results(const sweep_t& sweep, const std::string& call, int turn)
{
  const std::string name = script_short_name(call);
  const bool may_fail =
      std::count(sweep.tolerated.begin(), sweep.tolerated.end(), name.substr(0, name.find('(')));
  for (int result = RESULT_FIRST; result <= RESULT_LAST; result++) {
    const int code = sweep_attempt(sweep, call, turn, "'result': " + std::to_string(result), true);
    EXPECT_TRUE(may_fail || code == (result == RESULT_EXISTS ? 98 : 99))
        << call << " at turn " << turn + 1 << " with " << result << " leads to " << code;
  }
}

// Whether the switch could put the value in its place.
static bool sweep_takes(const sweep_t& sweep, const std::string& call, int turn,
                        const std::string& what)
{
  std::string line;
  sweep_attempt(sweep, call, turn, what, false, &line);
  return line.rfind(") = -21") == std::string::npos;
}

// Texts: none, as many letters as there is room for, and one more.
static void sweep_texts(const sweep_t& sweep, const std::string& call, int turn,
                        const std::string& output)
{
  static std::map<std::string, size_t> rooms;
  const auto text = [&](size_t length) {
    return output + "'value': '" + std::string(length, 't') + "'";
  };
  if (!sweep_takes(sweep, call, turn, text(0)))
    return;
  const std::string place = sweep.method + sweep.path + call + output;
  if (!rooms.count(place)) {
    size_t fits = 0, too_long = ROOM_MAX;
    while (too_long - fits > 1) {
      const size_t between = fits + (too_long - fits) / 2;
      (sweep_takes(sweep, call, turn, text(between)) ? fits : too_long) = between;
    }
    rooms[place] = fits;
  }
  sweep_attempt(sweep, call, turn, text(rooms[place]), true);
  sweep_attempt(sweep, call, turn, text(rooms[place] + 1), true);
}

static void sweep_values(const sweep_t& sweep, const std::string& line, const std::string& call,
                         int turn)
{
  static const std::regex output_begins("[(,] ?>");
  const auto outputs =
      std::distance(std::sregex_iterator(line.begin(), line.end(), output_begins), {});
  const bool ended = line.compare(line.size() - 4, 4, " = 0") != 0;
  for (long n = 1; n <= std::max(1L, static_cast<long>(outputs)); n++) {
    const std::string output = outputs > 0 ? "'output': " + std::to_string(n) + ", " : "";
    for (const char* number : NUMBERS)  // a walk that is at its end goes on
      sweep_attempt(sweep, call, turn,
                    output + "'value': " + number + (ended ? ", 'result': 0" : ""), true);
    sweep_texts(sweep, call, turn, output);
  }
}

static void sweep_request(const sweep_t& sweep)
{
  sweep_prepare(sweep);
  const words_t calls = api_calls(sweep.method, sweep.path);
  EXPECT_FALSE(calls.empty());
  std::map<std::string, int> made, all;
  for (const std::string& line : calls)
    all[line.substr(0, line.find('('))]++;
  for (const std::string& line : calls) {
    const std::string call = line.substr(0, line.find('('));
    const int turn = made[call]++;
    if (turn >= TURNS && turn + 1 < all[call])
      continue;
    sweep_results(sweep, call, turn);
    sweep_values(sweep, line, call, turn);
  }
}

// The words behind this one, which are taken off with it.
static words_t sweep_take(words_t& words, const char* word)
{
  const auto start = std::find(words.begin(), words.end(), word);
  const words_t taken(start == words.end() ? start : start + 1, words.end());
  words.erase(start, words.end());
  return taken;
}

void api_sweep(int line, const std::string& what)
{
  words_t words = script_split(what, " ");
  const words_t before = sweep_take(words, "after");
  const words_t tolerated = sweep_take(words, "but");
  script_each(line, words, [&](const char* method, const std::string& path) {
    sweep_request({method, path, tolerated, before, sweep_codes(method, path)});
  });
}
