#include "tests/support/api_script.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <thread>
#include <vector>

#include "engine/rest_web_request_hdr.h"
#include "modules/rest_module_interface.h"
#include "modules/rest_module_lag.h"
#include "modules/rest_module_system.h"
#include "switchsim/switchsim.h"
#include "tests/support/api_sweep.h"
#include "tests/support/file_server.h"
#include "tests/support/local_engine.h"
#include "tests/support/temp_folder.h"

void set_fault(const std::string& call, std::string json)
{
  std::replace(json.begin(), json.end(), '\'', '"');
  std::string error;
  for (const char* prefix : {"rpcclt_openapi", "openapi", ""})
    if (switchsim_fault_set((prefix + call).c_str(), json.c_str(), &error))
      return;
  ADD_FAILURE() << error;
}

std::string script_short_name(const std::string& call)
{
  const size_t at = call.find("openapi");
  return at > call.find('(') ? call : call.substr(at + strlen("openapi"));
}

// The tags of the entries of lists.
static const char ENTRY_TAGS[] =
    " vlans=vlan interfaces=interface pending_vlans=vlan pending_interfaces=interface "
    "ipv6_addresses=prefix/prefix_length secondary_ip_addresses=secondary_ipv4_address "
    "secondary_ipv4_addresses=secondary_ipv4_address counters=counter "
    "participations=participation members=member lag_interfaces=lag_interface "
    "logging_hosts=logging_host policies=policy script_files=script_file temp_sensors=temp_sensor "
    "interface=mac vlan_routing_interfaces=vlan_routing_interface "
    "fans=fan sfp_transceivers=sfp groups=group power_supplies=power_supply ";

// A JSON document as XML shows it; a tag loses the full stop behind a key.
static std::string script_xml_of(json_object* object, const std::string& group)
{
  if (!json_object_is_type(object, json_type_object))
    return json_object_get_string(object);
  std::string xml;
  json_object_object_foreach(object, key, value)
  {
    std::string tag = key;
    const std::string rule = " " + group + "=";
    const char* const found = isdigit(key[0]) ? strstr(ENTRY_TAGS, rule.c_str()) : nullptr;
    if (found)
      tag.assign(found + rule.size(), strcspn(found + rule.size(), " "));
    else if (tag.back() == '.')
      tag.pop_back();
    const std::string text = script_xml_of(value, key);
    xml += "<" + tag + ">" + text + "</" + tag + ">";
  }
  return xml;
}

std::string script_xml(const std::string& json)
{
  const std::unique_ptr<json_object, int (*)(json_object*)> object(json_tokener_parse(json.c_str()),
                                                                   json_object_put);
  return object ? script_xml_of(object.get(), "") : "not JSON: " + json;
}

static std::vector<std::string> script_faults;  // of the steps "fault" that are in force
static std::string script_switch = "{}";        // the profile of the last step "switch"
static constexpr size_t CONTINUES = 3;          // an indentation that goes on with the line above
static constexpr char SUCCESS[] = "\"rlt_code\": 0,";

std::vector<std::string> script_split(const std::string& text, const std::string& separator)
{
  std::vector<std::string> parts;
  size_t start = 0, end;
  for (; (end = text.find(separator, start)) != std::string::npos; start = end + separator.size())
    parts.push_back(text.substr(start, end - start));
  if (start < text.size())
    parts.push_back(text.substr(start));
  return parts;
}

static std::string script_trim(const std::string& text)
{
  const size_t start = std::min(text.find_first_not_of(' '), text.size());
  return text.substr(start, text.find_last_not_of(' ') + 1 - start);
}

// ---- what a script consists of ----

struct script_item_t {
  int line;
  std::string text;
};
struct script_step_t {
  script_item_t head;
  std::vector<script_item_t> expected;
};
using script_texts_t = std::vector<std::string>;  // names and texts in turn
struct script_test_t {
  std::string file, name;
  int line;
  std::vector<script_item_t> steps;
  script_texts_t texts;
  std::vector<script_texts_t> rows;  // none: made once
};

// The text behind the word that it begins with, or null.
static const char* script_behind(const std::string& text, const char* word)
{
  const size_t length = strlen(word);
  if (text.compare(0, length, word) != 0 || (text.size() > length && text[length] != ' '))
    return nullptr;
  return text.c_str() + length + (text.size() > length);
}

// ---- what must come of a request ----

// What came of a request, and what it was.
struct script_outcome_t {
  const char* method;
  std::string path;
  std::string body;
  std::vector<std::string> calls;
  const script_step_t* step;
};

// The text of another expectation of the same step; empty if there is none.
static std::string script_other(const script_outcome_t& outcome, const char* word)
{
  for (const script_item_t& item : outcome.step->expected)
    if (const char* text = script_behind(item.text, word))
      return text;
  return "";
}

static void script_data(const script_outcome_t& outcome, const std::string& data)
{
  static const std::map<int, std::string> FIXED_TEXTS = {
      {0,   "Get data successfully."                                   },
      {98,  "The same setting is already set."                         },
      {99,
       "Operation failed. It was possibly caused by non-existent resource id in URI, invalid "
       "parameters, or the operation is not supported on the platform."},
      {902, "Bad Request. Please check your method and URI."           },
  };
  const std::string result = script_other(outcome, "result");
  size_t digits = 0;
  const int code = result.empty() ? 0 : std::stoi(result, &digits);
  std::string message = script_trim(result.substr(digits));
  if (message.empty())
    message = FIXED_TEXTS.count(code) ? FIXED_TEXTS.at(code) : "no text for the code";
  if (data[0] == '<') {
    EXPECT_EQ(outcome.body, xml_envelope(code, message, data));
    return;
  }
  EXPECT_EQ(outcome.body, json_envelope(code, message, data));
  const bool repeatable = strcmp(outcome.method, "GET") == 0 && script_faults.empty();
  if (!data.empty() && repeatable && script_other(outcome, "with fault").empty()) {
    const reply_t reply = api_request(outcome.method, outcome.path, "xml");
    EXPECT_EQ(reply.content_type, "text/xml; charset=utf-8");
    EXPECT_EQ(reply.body, xml_envelope(code, message, script_xml(data)));
  }
}

static void script_result(const script_outcome_t& outcome, const std::string&)
{
  if (script_other(outcome, "data").empty())
    script_data(outcome, "");
}

// A success with no data in it, but a place for them.
static void script_done(const script_outcome_t& outcome, const std::string& message)
{
  EXPECT_EQ(outcome.body, json_envelope(0, message, "{}"));
}

static void script_contains(const script_outcome_t& outcome, const std::string& text)
{
  EXPECT_NE(outcome.body.find(text), std::string::npos) << outcome.body;
}

static void script_until(const script_outcome_t& outcome, const std::string& text)
{
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  std::string body = outcome.body;
  while (body.find(text) == std::string::npos && std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    body = api_request(outcome.method, outcome.path, "json").body;
  }
  EXPECT_NE(body.find(text), std::string::npos) << body;
}

// The last call of the request, and with it the answer.
static void script_refused(const script_outcome_t& outcome, const std::string& result)
{
  const std::string last = outcome.calls.empty() ? "no call" : outcome.calls.back();
  EXPECT_EQ(last.substr(last.rfind(") = ") + 1), " = " + result) << last;
  script_contains(outcome, result == "-24" ? "\"rlt_code\": 98," : "\"rlt_code\": 99,");
}

static void script_calls(const script_outcome_t& outcome, const std::string& expected)
{
  const std::vector<std::string> texts = script_split(expected, " then ");
  EXPECT_EQ(outcome.calls.size(), texts.size());
  for (size_t i = 0; i < outcome.calls.size() && i < texts.size(); i++) {
    std::string begin = script_trim(texts[i].substr(0, texts[i].find("...")));
    begin += begin.find('(') == std::string::npos ? "(" : "";
    EXPECT_EQ(script_short_name(outcome.calls[i]).substr(0, begin.size()), begin) << "call " << i;
  }
}

static void script_no_calls(const script_outcome_t& outcome, const std::string&)
{
  EXPECT_EQ(outcome.calls, std::vector<std::string>());
}

static const struct script_expectation_t {
  const char* word;
  bool simulated;  // needs the simulated switch
  void (*judge)(const script_outcome_t& outcome, const std::string& text);
} EXPECTATIONS[] = {
    {"result",     false, script_result  },
    {"data",       false, script_data    },
    {"done",       false, script_done    },
    {"contains",   false, script_contains},
    {"until",      false, script_until   },
    {"refused",    true,  script_refused },
    {"calls",      true,  script_calls   },
    {"no calls",   true,  script_no_calls},
    {"with fault", true,  nullptr        }, // is in force already
};

// The row of a table whose word the text begins with, or null.
template <typename Row, size_t count>
static const Row* script_row(const Row (&table)[count], const std::string& text)
{
  for (const Row& row : table)
    if (script_behind(text, row.word))
      return &row;
  return nullptr;
}

// ---- operations that no route leads to ----

using unrouted_operation_t = int (*)(openapiClientHandle_t* client_handle, mg_connection* conn);

static const std::map<std::string, unrouted_operation_t> UNROUTED = {
#define OPERATION(name) \
  {                     \
#name, name         \
  }
    OPERATION(api_interface_update_soft_shutdown_state),
    OPERATION(api_lag_create_specified_id),
    OPERATION(api_lag_delete_specified_id),
    OPERATION(api_system_delete_networkport_ipv4_parameters),
    OPERATION(api_system_get_networkport_ipv4),
    OPERATION(api_system_update_networkport_ipv4_parameters),
    OPERATION(api_system_update_networkport_ipv4_protocol_mode),
    OPERATION(api_system_update_prompt),
#undef OPERATION
};
static unrouted_operation_t unrouted_operation;

static int unrouted_handler(struct mg_connection* conn, enum mg_event ev)
{
  if (ev == MG_REQUEST)
    unrouted_operation(&client_handle, conn);
  return ev == MG_REQUEST || ev == MG_AUTH ? MG_TRUE : MG_FALSE;
}

// What the operation answers to a request for the path, on a server of its own.
static reply_t unrouted_request(unrouted_operation_t operation, const std::string& path)
{
  unrouted_operation = operation;
  const file_server server("", unrouted_handler);
  http_client client;
  const std::string format = path.find('?') == path.npos ? "?format=json" : "&format=json";
  return http_request(client, "PUT", server.url + path + format);
}

// ---- steps ----

// The path, or each of those that it stands for with "{1..9}" in it.
static std::vector<std::string> script_paths(const std::string& path)
{
  static const std::regex range("\\{(\\d+)\\.\\.(\\d+)\\}");
  std::smatch found;
  if (!std::regex_search(path, found, range))
    return {path};
  std::vector<std::string> paths;
  for (int number = std::stoi(found[1]); number <= std::stoi(found[2]); number++)
    paths.push_back(found.prefix().str() + std::to_string(number) + found.suffix().str());
  return paths;
}

void script_each(int line, const std::vector<std::string>& words, const script_request_t& judge)
{
  std::string method, path;
  for (const std::string& word : words) {
    if (word[0] == '/' || word[0] == '?') {
      path = word[0] == '?' ? path.substr(0, path.find('?')) + word : word;
      for (const std::string& one : script_paths(path)) {
        SCOPED_TRACE("line " + std::to_string(line) + ": " + method + " " + one);
        judge(method.c_str(), one);
      }
    } else {
      method = word;
    }
  }
}

static void script_fault_set(const std::string& fault)
{
  const size_t json = fault.find(' ');
  set_fault(fault.substr(0, json), fault.substr(json + 1));
}

static void script_request(const char* method, const std::string& path, const script_step_t& step)
{
  script_outcome_t outcome = {method, path, "", {}, &step};
  const bool xml = script_other(outcome, "data")[0] == '<';
  switchsim_trace_start();
  const auto unrouted = UNROUTED.find(method);
  const reply_t reply = unrouted == UNROUTED.end() ? api_request(method, path, xml ? "xml" : "json")
                                                   : unrouted_request(unrouted->second, path);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.content_type,
            xml ? "text/xml; charset=utf-8" : "application/json; charset=utf-8");
  outcome.body = reply.body;
  outcome.calls = script_split(switchsim_trace_take(), "\n");
  bool judged = false;
  for (const script_item_t& item : step.expected) {
    const script_expectation_t* expectation = script_row(EXPECTATIONS, item.text);
    if (!expectation)
      ADD_FAILURE() << "line " << item.line << ": no such word: " << item.text;
    else if (expectation->judge)
      expectation->judge(outcome, script_behind(item.text, expectation->word));
    judged = judged || !expectation || expectation->judge;
  }
  if (!judged)
    script_contains(outcome, SUCCESS);
}

static void script_requests_once(const script_step_t& step)
{
  const std::vector<std::string> words = script_split(step.head.text, " ");
  script_each(step.head.line, words, [&](const char* method, const std::string& path) {
    script_request(method, path, step);
  });
}

// Once for each fault. What stands behind a fault is expected with it, in the place of what stands
// below.
static void script_requests(const script_step_t& step, const std::string&)
{
  bool once = true;
  for (const script_item_t& item : step.expected)
    if (script_behind(item.text, "with fault")) {
      SCOPED_TRACE(item.text);
      once = false;
      const size_t end = std::min(item.text.find("  "), item.text.size());
      script_step_t own = {step.head, {{item.line, item.text.substr(0, end)}}};
      if (end < item.text.size())
        own.expected.push_back({item.line, script_trim(item.text.substr(end))});
      script_fault_set(script_behind(own.expected[0].text, "with fault"));
      script_requests_once(end < item.text.size() ? own : step);
      switchsim_faults_clear();
      for (const std::string& stays : script_faults)
        script_fault_set(stays);
    }
  if (once)
    script_requests_once(step);
}

static void script_switch_set(const script_step_t&, const std::string& profile)
{
  script_faults.clear();
  script_switch = profile.empty() ? "{}" : profile;
  engine_reset(script_switch.c_str());
}

void script_switch_again()
{
  engine_reset(script_switch.c_str());
}

static void script_fault(const script_step_t&, const std::string& fault)
{
  script_faults.push_back(fault);
  script_fault_set(fault);
}

static void script_no_faults(const script_step_t&, const std::string&)
{
  script_faults.clear();
  switchsim_faults_clear();
}

static void script_sweep(const script_step_t& step, const std::string& rest)
{
  api_sweep(step.head.line, rest);
}

static const struct script_kind_t {
  const char* word;
  bool simulated;  // needs the simulated switch
  void (*make)(const script_step_t& step, const std::string& rest);
} KINDS[] = {
    {"GET",       false, script_requests  },
    {"POST",      false, script_requests  },
    {"PUT",       false, script_requests  },
    {"DELETE",    false, script_requests  },
    {"OPTIONS",   false, script_requests  },
    {"CALL",      true,  script_requests  },
    {"switch",    true,  script_switch_set},
    {"fault",     true,  script_fault     },
    {"no faults", true,  script_no_faults },
    {"sweep",     true,  script_sweep     },
};

// ---- reading ----

// What stands behind the requests of a line, with two blanks between, is expected of them first.
static script_step_t script_step(int line, const std::string& text)
{
  script_step_t step = {
      {line,    text},
      {       }
  };
  const script_kind_t* kind = script_row(KINDS, text);
  if (!kind || kind->make != script_requests)
    return step;
  for (size_t at = text.find(' '); at != std::string::npos; at = text.find(' ', at + 1)) {
    const std::string rest = script_trim(text.substr(at));
    if (script_row(EXPECTATIONS, rest)) {
      const bool whole = script_behind(rest, "with fault");
      for (const std::string& one : whole ? script_texts_t{rest} : script_split(rest, "  "))
        step.expected.push_back({line, one});
      step.head.text = script_trim(text.substr(0, at));
      return step;
    }
  }
  return step;
}

// The lines of the text with those put together that go on with another; the indentation stays.
static std::vector<script_item_t> script_lines(int line, const std::string& text)
{
  std::vector<script_item_t> items;
  for (const std::string& one : script_split(text, "\n")) {
    const size_t start = one.find_first_not_of(' ');
    if (start == std::string::npos || one[start] == '#')
      ;  // a comment
    else if (start >= CONTINUES && !items.empty())
      items.back().text += (one[start] == '<' ? "" : " ") + script_trim(one);
    else
      items.push_back({line, one});
    line++;
  }
  return items;
}

// The text with others in the place of their names; they may hold names, and one name begin
// another.
static std::string script_replaced(std::string script, const script_texts_t& texts)
{
  std::vector<std::pair<std::string, std::string>> pairs;
  for (size_t i = 0; i + 1 < texts.size(); i += 2)
    pairs.emplace_back(texts[i], texts[i + 1]);
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
  constexpr int DEPTH_MAX = 4;
  for (int depth = 0; depth < DEPTH_MAX; depth++)
    for (const auto& [name, text] : pairs)
      for (size_t at = 0; (at = script.find(name, at)) != std::string::npos; at += text.size())
        script.replace(at, name.size(), text);
  static const std::regex repeated("\\$\\[(\\d+)-times-(.)\\]");
  for (std::smatch found; std::regex_search(script, found, repeated);)
    script = found.prefix().str() + std::string(std::stoul(found[1]), *found[2].first) +
             found.suffix().str();
  return script;
}

static void script_run(const std::vector<script_item_t>& items, const script_texts_t& texts)
{
  script_faults.clear();
  std::vector<script_step_t> steps;
  for (const script_item_t& item : items) {
    const std::string text = script_replaced(item.text, texts);
    if (text[0] == ' ' && !steps.empty())
      steps.back().expected.push_back({item.line, script_trim(text)});
    else
      steps.push_back(script_step(item.line, text));
  }
  for (const script_step_t& step : steps)
    if (const script_kind_t* kind = script_row(KINDS, step.head.text))
      kind->make(step, script_behind(step.head.text, kind->word));
    else
      ADD_FAILURE() << "line " << step.head.line << ": no such step: " << step.head.text;
}

void run_script_with(int line, std::string script, const script_texts_t& texts)
{
  script_run(script_lines(line, script_replaced(std::move(script), texts)), {});
}

// ---- files ----

static void script_test_run(const script_test_t& test)
{
  SCOPED_TRACE(test.file);
  for (script_texts_t texts : test.rows.empty() ? decltype(test.rows){{}} : test.rows) {
    SCOPED_TRACE(testing::PrintToString(texts));
    texts.insert(texts.end(), test.texts.begin(), test.texts.end());
    if (!script_behind(test.steps[0].text, "switch"))
      script_switch_set({}, "");
    script_run(test.steps, texts);
  }
}

static bool script_is_simulated(const script_test_t& test)
{
  for (const script_item_t& item : test.steps) {
    const script_step_t step = script_step(item.line, script_trim(item.text));
    const auto* kind = script_row(KINDS, step.head.text);
    const auto* own = script_row(EXPECTATIONS, step.head.text);
    const auto* first =
        step.expected.empty() ? nullptr : script_row(EXPECTATIONS, step.expected[0].text);
    if ((kind && kind->simulated) || (own && own->simulated) || (first && first->simulated))
      return true;
  }
  return false;
}

static void script_test_add(const script_test_t& test)
{
  struct script_fixture_t : testing::Test {
    script_test_t test;
    explicit script_fixture_t(const script_test_t& which) : test(which)
    {
    }
    void TestBody() override
    {
      script_test_run(test);
    }
  };
  const std::string suite = std::filesystem::path(test.file).stem().string() +
                            (script_is_simulated(test) ? "_simulated" : "");
  const std::string name = std::regex_replace(test.name, std::regex("[^0-9A-Za-z]"), "_");
  testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, test.file.c_str(), test.line,
                        [test]() -> testing::Test* { return new script_fixture_t(test); });
}

// The cells of a row of a table.
static std::vector<std::string> script_cells(const std::string& row)
{
  std::vector<std::string> cells = script_split(row + " ", "|");
  for (std::string& cell : cells)
    cell = script_trim(cell);
  return cells;
}

void script_file_add(const std::string& path)
{
  std::vector<script_test_t> tests;
  script_texts_t shared, columns;
  for (const script_item_t& item : script_lines(1, file_text(path))) {
    if (const char* name = script_behind(item.text, "test")) {
      tests.push_back({path, name, item.line, {}, shared, {}});
    } else if (const char* rest = script_behind(item.text, "let")) {
      const char* const end = strchrnul(rest, ' ');
      script_texts_t& texts = tests.empty() ? shared : tests.back().texts;
      texts.insert(texts.begin(), {std::string(rest, end), script_trim(end)});
    } else if (const char* names = script_behind(item.text, "for each")) {
      columns = script_cells(names);
    } else if (!columns.empty() && item.text[0] == ' ') {
      const std::vector<std::string> cells = script_cells(item.text);
      script_texts_t& row = tests.back().rows.emplace_back();
      for (size_t i = 0; i < std::min(columns.size(), cells.size()); i++)
        row.insert(row.end(), {columns[i], cells[i]});
    } else {
      columns.clear();
      tests.back().steps.push_back(item);
    }
  }
  for (const script_test_t& test : tests)
    script_test_add(test);
}
