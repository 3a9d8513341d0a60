#include "tests/support/api_script.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <thread>
#include <vector>

#include "engine/rest_web_request_hdr.h"
#include "switchsim/switchsim.h"
#include "tests/support/local_engine.h"

void set_fault(const std::string& call, std::string json)
{
  std::replace(json.begin(), json.end(), '\'', '"');
  std::string error;
  for (const char* prefix : {"rpcclt_openapi", "openapi", ""})
    if (switchsim_fault_set((prefix + call).c_str(), json.c_str(), &error))
      return;
  ADD_FAILURE() << error;
}

static std::string script_short_name(const std::string& call)
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
static std::string script_xml(json_object* object, const std::string& group)
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
    const std::string text = script_xml(value, key);
    xml += "<" + tag + ">" + text + "</" + tag + ">";
  }
  return xml;
}

static bool script_fault;           // a call goes wrong, perhaps for one request alone
static std::string script_profile;  // of the last reset

static std::vector<std::string> script_split(const std::string& text, const std::string& separator)
{
  std::vector<std::string> parts;
  size_t start = 0, end;
  for (; (end = text.find(separator, start)) != std::string::npos; start = end + separator.size())
    parts.push_back(text.substr(start, end - start));
  if (start < text.size())
    parts.push_back(text.substr(start));
  return parts;
}

// The code of the answer, or -1.
static int script_code(const char* method, const std::string& path)
{
  static const std::string before = "\"rlt_code\": ";
  const std::string body = api_request(method, path, "json").body;
  const size_t at = body.find(before);
  return at == body.npos ? -1 : std::stoi(body.substr(at + before.size()));
}

static bool script_ends_with(const std::string& text, const std::string& end)
{
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The last call of the request, and with it the answer.
static void script_result(const char* method, const std::string& path, int result)
{
  const std::vector<std::string> calls = api_calls(method, path);
  const std::string last = calls.empty() ? "no call" : calls.back();
  EXPECT_TRUE(script_ends_with(last, ") = " + std::to_string(result))) << last;
  EXPECT_EQ(script_code(method, path), result == -24 ? 98 : 99);
}

static void script_reply(const char* method, const std::string& path, const char* format,
                         const std::string& body)
{
  const reply_t reply = api_request(method, path, format);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.content_type,
            *format == 'x' ? "text/xml; charset=utf-8" : "application/json; charset=utf-8");
  EXPECT_EQ(reply.body, body);
}

// What stands behind the arrow of a step.
static void script_answer(const char* method, const std::string& path, const std::string& expected)
{
  static const std::map<int, std::string> FIXED_TEXTS = {
      {0,   "Get data successfully."                                   },
      {98,  "The same setting is already set."                         },
      {99,
       "Operation failed. It was possibly caused by non-existent resource id in URI, invalid "
       "parameters, or the operation is not supported on the platform."},
      {902, "Bad Request. Please check your method and URI."           },
  };
  const size_t data_at = std::min(expected.find_first_of("{<"), expected.size());
  const std::string data = expected.substr(data_at);
  size_t digits = 0;
  const int code = data_at > 0 ? std::stoi(expected, &digits) : 0;
  if (code < 0)
    return script_result(method, path, code);
  std::string message = expected.substr(digits, data_at - digits);
  message.erase(0, message.find_first_not_of(' '));
  message.erase(message.find_last_not_of(' ') + 1);
  if (message.empty())
    message = FIXED_TEXTS.at(code);
  if (data[0] == '<')
    return script_reply(method, path, "xml", xml_envelope(code, message, data));
  script_reply(method, path, "json", json_envelope(code, message, data));
  if (data.empty() || strcmp(method, "GET") != 0 || script_fault)
    return;
  const std::unique_ptr<json_object, int (*)(json_object*)> json(json_tokener_parse(data.c_str()),
                                                                 json_object_put);
  script_reply(method, path, "xml", xml_envelope(code, message, script_xml(json.get(), "")));
}

static void script_calls(const char* method, const std::string& path, const std::string& expected)
{
  const std::vector<std::string> calls = api_calls(method, path);
  const std::vector<std::string> texts = script_split(expected, " | ");
  EXPECT_EQ(calls.size(), texts.size());
  for (size_t i = 0; i < calls.size() && i < texts.size(); i++)
    EXPECT_EQ(script_short_name(calls[i]).substr(0, texts[i].size()), texts[i]) << "call " << i;
}

static void script_has(const char* method, const std::string& path, const std::string& text)
{
  const std::string body = api_request(method, path, "json").body;
  EXPECT_NE(body.find(text), std::string::npos) << body;
}

static void script_comes(const char* method, const std::string& path, const std::string& text)
{
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (api_request(method, path, "json").body.find(text) == std::string::npos &&
         std::chrono::steady_clock::now() < limit)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  script_has(method, path, text);
}

using script_judge_t =
    std::function<void(const char* method, const std::string& path, const std::string& expected)>;

// Hands each of the requests on.
static void script_each(int line, const std::vector<std::string>& words,
                        const std::string& expected, const script_judge_t& judge)
{
  std::string method, path;
  for (const std::string& word : words) {
    if (word[0] == '/' || word[0] == '?') {
      path = word[0] == '?' ? path.substr(0, path.find('?')) + word : word;
      SCOPED_TRACE("case of line " + std::to_string(line) + ": " + method + " " + path);
      judge(method.c_str(), path, expected);
    } else {
      method = word;
    }
  }
}

static void script_requests(int line, const std::string& step)
{
  static const struct {
    const char* sign;
    script_judge_t judge;
  } kinds[] = {
      {" ->", script_answer},
      {" =>", script_calls },
      {" ~",  script_has   },
      {" ~~", script_comes },
  };
  for (const auto& kind : kinds) {
    const size_t at = (step + " ").find(kind.sign + std::string(" "));
    const size_t expected = std::min(at, step.size()) + strlen(kind.sign) + 1;
    if (at != std::string::npos)
      return script_each(line, script_split(step.substr(0, at), " "),
                         step.substr(std::min(expected, step.size())), kind.judge);
  }
  script_each(line, script_split(step, " "), "\"rlt_code\": 0,", script_has);
}

// The words of a step behind this one, which are taken off it.
static std::vector<std::string> script_take(std::vector<std::string>& words, const char* word)
{
  const auto start = std::find(words.begin(), words.end(), word);
  const std::vector<std::string> taken(start == words.end() ? start : start + 1, words.end());
  words.erase(start, words.end());
  return taken;
}

// One request to see which calls it makes, then two for each call with that call going wrong.
static void script_check_calls(const char* method, const std::string& path,
                               const std::vector<std::string>& tolerated,
                               const std::function<void()>& prepare)
{
  prepare();
  const std::vector<std::string> calls = api_calls(method, path);
  EXPECT_FALSE(calls.empty());
  std::map<std::string, int> made;
  for (const std::string& call : calls) {
    const std::string name = call.substr(0, call.find('('));
    const int earlier = made[name]++;
    for (const int result : {-26, -24}) {
      prepare();
      set_fault(name, "{'result': " + std::to_string(result) +
                          ", 'after': " + std::to_string(earlier) + ", 'times': 1}");
      const int code = script_code(method, path);
      switchsim_faults_clear();
      const bool may_fail = std::count(tolerated.begin(), tolerated.end(), script_short_name(name));
      EXPECT_TRUE(may_fail ? code >= 0 : code == (result == -24 ? 98 : 99))
          << "with call " << earlier + 1 << " of " << name << " failing: " << code;
    }
  }
}

static void script_check(int line, const std::string& step)
{
  std::vector<std::string> words = script_split(step, " ");
  const std::vector<std::string> before = script_take(words, "after");
  const std::vector<std::string> tolerated = script_take(words, "but");
  const auto prepare = [&] {
    if (!before.empty() && before[0] == "reset")
      engine_reset(script_profile.c_str());
    script_each(line, before, "", [](const char* method, const std::string& path, const auto&) {
      api_request(method, path, "json");
    });
  };
  script_each(line, words, "", [&](const char* method, const std::string& path, const auto&) {
    script_check_calls(method, path, tolerated, prepare);
  });
}

static void script_step(int line, const std::string& step)
{
  if (step[0] == '[') {
    const size_t end = step.find(']');
    const std::string rest = step.substr(std::min(end + 2, step.size()));
    script_fault = end > 1;
    for (const std::string& fault : script_split(step.substr(1, end - 1), " | ")) {
      const size_t json = fault.find('{');
      set_fault(fault.substr(0, json - 1), fault.substr(json));
      if (rest.empty())
        continue;
      script_step(line, rest);
      switchsim_faults_clear();
    }
    if (end == 1 || !rest.empty()) {
      switchsim_faults_clear();
      script_fault = false;
    }
  } else if (step.compare(0, 5, "reset") == 0) {
    script_fault = false;
    script_profile = step.size() > 6 ? step.substr(6) : "{}";
    engine_reset(script_profile.c_str());
  } else if (step.compare(0, 6, "check ") == 0) {
    script_check(line, step.substr(6));
  } else {
    script_requests(line, step);
  }
}

void run_script_with(int line, std::string script, const std::vector<std::string>& texts)
{
  for (size_t i = 0; i + 1 < texts.size(); i += 2)
    for (size_t at = 0; (at = script.find(texts[i], at)) != std::string::npos;
         at += texts[i + 1].size())
      script.replace(at, texts[i].size(), texts[i + 1]);
  static const std::regex repeated("\\$(\\d+)([a-z1])");
  for (std::smatch found; std::regex_search(script, found, repeated);)
    script = found.prefix().str() + std::string(std::stoul(found[1]), *found[2].first) +
             found.suffix().str();
  script_fault = false;
  std::string step;
  int first = line;
  const auto run = [&] {
    if (!step.empty())
      script_step(first, step);
    step.clear();
  };
  for (const std::string& text : script_split(script, "\n")) {
    const size_t start = text.find_first_not_of(' ');
    const bool comment = start == std::string::npos || text.compare(start, 2, "//") == 0;
    if (!comment && start > 0) {
      step += (text[start] == '<' ? "" : " ") + text.substr(start);
    } else if (!comment) {
      run();
      step = text;
      first = line;
    }
    line++;
  }
  run();
}

static unrouted_operation_t unrouted_operation;

static int unrouted_handler(struct mg_connection* conn, enum mg_event ev)
{
  if (ev == MG_REQUEST)
    unrouted_operation(&client_handle, conn);
  return ev == MG_REQUEST || ev == MG_AUTH ? MG_TRUE : MG_FALSE;
}

std::string unrouted_answer(unrouted_operation_t operation, const std::string& path)
{
  unrouted_operation = operation;
  struct mg_server* server = mg_create_server(nullptr, unrouted_handler);
  EXPECT_EQ(mg_set_option(server, "listening_port", "127.0.0.1:0"), nullptr);
  const std::string address = std::string("127.0.0.1:") + mg_get_option(server, "listening_port");
  std::atomic<bool> answered{false};
  std::thread poller([&] {
    while (!answered)
      mg_poll_server(server, 5);
  });
  http_client client;
  const reply_t reply = http_request(client, "PUT", "http://" + address + path);
  answered = true;
  poller.join();
  mg_destroy_server(&server);
  return reply.body;
}
