#include "tests/support/local_engine.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <thread>

#include "engine/rest_web_request_hdr.h"
#include "httpd/httpd.h"
#include "platform/openapi_client.h"
#include "session/rest_engine_session_hdr.h"
#include "switchsim/switchsim.h"
#include "tests/support/temp_folder.h"

struct local_engine {
  temp_folder folder;
  std::string trace_path = folder.path + "/trace";
  struct mg_server* server = nullptr;
  std::string url, tls_url, session_key;
  http_client client;
  std::mutex mutex;  // guards jobs and stop
  std::deque<std::packaged_task<void()>> jobs;
  bool stop = false;
  std::thread thread;

  local_engine();
  ~local_engine();
};

// Runs what is due between two passes; false when the engine is to end.
static bool engine_run_jobs(local_engine& engine)
{
  for (;;) {
    std::packaged_task<void()> job;
    {
      std::lock_guard<std::mutex> lock(engine.mutex);
      if (engine.stop)
        return false;
      if (engine.jobs.empty())
        return true;
      job = std::move(engine.jobs.front());
      engine.jobs.pop_front();
    }
    job();
  }
}

static std::string engine_listen(struct mg_server* server, const std::string& address)
{
  const char* error = mg_set_option(server, "listening_port", address.c_str());
  EXPECT_EQ(error, nullptr) << error;
  return mg_get_option(server, "listening_port");
}

local_engine::local_engine()
{
  setenv("SWITCHSIM_TRACE", trace_path.c_str(), 1);
  EXPECT_EQ(chdir(folder.path.c_str()), 0);
  EXPECT_EQ(openapiClientRegister("restful_api_engine", &client_handle), OPEN_E_NONE);
  make_certificate(folder.path + "/ssl.pem");
  server = mg_create_server(nullptr, evt_handler);
  mg_set_option(server, "document_root", ".");
  url = "http://127.0.0.1:" + engine_listen(server, "127.0.0.1:0");
  tls_url = "https://127.0.0.1:" + engine_listen(server, "ssl://127.0.0.1:0:ssl.pem");
  thread = std::thread([this] {
    while (engine_run_jobs(*this))
      mg_poll_server(server, 5);
  });
}

local_engine::~local_engine()
{
  {
    std::lock_guard<std::mutex> lock(mutex);
    stop = true;
  }
  thread.join();
  mg_destroy_server(&server);
}

static local_engine& engine_instance()
{
  static local_engine engine;
  return engine;
}

void engine_do(const std::function<void()>& procedure)
{
  local_engine& engine = engine_instance();
  std::packaged_task<void()> job(procedure);
  std::future<void> done = job.get_future();
  {
    std::lock_guard<std::mutex> lock(engine.mutex);
    engine.jobs.push_back(std::move(job));
  }
  done.wait();
}

// The text of a member reached by names from the document's root, or an empty one.
static std::string json_text(json_object* object, std::initializer_list<const char*> path)
{
  for (const char* name : path)
    if (!json_object_object_get_ex(object, name, &object))
      return "";
  const char* text = json_object_get_string(object);
  return text ? text : "";
}

using json_ptr = std::unique_ptr<json_object, int (*)(json_object*)>;

static json_ptr json_parse(const std::string& text)
{
  return json_ptr(json_tokener_parse(text.c_str()), json_object_put);
}

void engine_reset(const char* profile_json)
{
  local_engine& engine = engine_instance();
  engine_do([&] {
    memset(session_table, 0, sizeof session_table);
    next_ssid = 1;
    session_timeout_seconds = REST_SESSION_TIMEOUT_S;
    std::string error = switchsim_reset(profile_json);
    EXPECT_EQ(error, "");
  });
  reply_t login = engine_request("POST", "/login", "user=admin&password=admin&format=json");
  engine.session_key =
      json_text(json_parse(login.body).get(), {"result", "rlt_data", "sessionKey"});
  ASSERT_EQ(engine.session_key.size(), 32u) << login.body;
}

std::string engine_url()
{
  return engine_instance().url;
}

std::string engine_tls_url()
{
  return engine_instance().tls_url;
}

const std::string& engine_folder()
{
  return engine_instance().folder.path;
}

const std::string& engine_session_key()
{
  return engine_instance().session_key;
}

reply_t engine_request(const char* method, const std::string& path, const std::string& body)
{
  local_engine& engine = engine_instance();
  return http_request(engine.client, method, engine.url + path, body);
}

reply_t api_request(const char* method, const std::string& path, const char* format)
{
  std::string separator = path.find('?') == std::string::npos ? "?" : "&";
  return engine_request(
      method, path + separator + "sessionkey=" + engine_session_key() + "&format=" + format);
}

std::string xml_envelope(int code, const std::string& message, const std::string& data_xml)
{
  return "<result><rlt_code>" + std::to_string(code) + "</rlt_code><rlt_mesg>" + message +
         "</rlt_mesg>" + (data_xml.empty() ? "" : "<rlt_data>" + data_xml + "</rlt_data>") +
         "</result>\n";
}

std::string json_envelope(int code, const std::string& message, const std::string& data_json)
{
  json_ptr text(json_object_new_string(message.c_str()), json_object_put);
  std::string envelope = "{\"result\":{\"rlt_code\":" + std::to_string(code) +
                         ",\"rlt_mesg\":" + json_object_to_json_string(text.get()) +
                         (data_json.empty() ? "" : ",\"rlt_data\":" + data_json) + "}}";
  json_ptr object = json_parse(envelope);
  EXPECT_TRUE(object) << "not JSON: " << data_json;
  return std::string(json_object_to_json_string(object.get())) + "\n";
}

static void expect_reply(int line, const char* method, const std::string& path,
                         const reply_t& reply, const std::string& expected,
                         const char* content_type)
{
  EXPECT_EQ(reply.error, CURLE_OK) << "case of line " << line << ": " << method << " " << path;
  EXPECT_EQ(reply.status, 200) << "case of line " << line << ": " << method << " " << path;
  EXPECT_EQ(reply.content_type, content_type) << "case of line " << line;
  EXPECT_EQ(reply.body, expected) << "case of line " << line << ": " << method << " " << path;
}

void expect_answer(int line, const char* method, const std::string& path, int code,
                   const std::string& message, const char* data_json)
{
  expect_reply(line, method, path, api_request(method, path, "json"),
               json_envelope(code, message, data_json ? data_json : ""),
               "application/json; charset=utf-8");
}

void expect_xml_answer(int line, const char* method, const std::string& path, int code,
                       const std::string& message, const char* data_xml)
{
  expect_reply(line, method, path, api_request(method, path, "xml"),
               xml_envelope(code, message, data_xml ? data_xml : ""), "text/xml; charset=utf-8");
}

static const char OPEN_ERROR_TEXT[] =
    "Operation failed. It was possibly caused by non-existent resource id in URI, invalid "
    "parameters, or the operation is not supported on the platform.";

void expect_open_error(int line, const char* method, const std::string& path)
{
  expect_answer(line, method, path, 99, OPEN_ERROR_TEXT);
}

void expect_bad_request(int line, const char* method, const std::string& path)
{
  expect_answer(line, method, path, 902, "Bad Request. Please check your method and URI.");
}

static std::vector<std::string> text_lines(const std::string& text)
{
  std::vector<std::string> lines;
  for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  return lines;
}

std::vector<std::string> api_calls(const char* method, const std::string& path)
{
  local_engine& engine = engine_instance();
  EXPECT_EQ(truncate(engine.trace_path.c_str(), 0), 0);
  reply_t reply = api_request(method, path, "json");
  EXPECT_EQ(reply.status, 200) << method << " " << path;
  return text_lines(file_text(engine.trace_path));
}

void expect_calls(int line, const std::vector<std::string>& calls,
                  std::initializer_list<const char*> expected)
{
  std::vector<const char*> texts(expected);
  EXPECT_EQ(calls.size(), texts.size()) << "case of line " << line;
  for (size_t i = 0; i < calls.size() && i < texts.size(); i++)
    EXPECT_EQ(calls[i].compare(0, strlen(texts[i]), texts[i]), 0)
        << "case of line " << line << ", call " << i << "\n  made:     " << calls[i]
        << "\n  expected: " << texts[i];
}

void expect_each_call_checked(int line, const char* method, const std::string& path,
                              const std::vector<std::string>& tolerated,
                              const std::function<void()>& prepare)
{
  prepare();
  std::map<std::string, int> made;
  for (const std::string& call : api_calls(method, path)) {
    std::string name = call.substr(0, call.find('('));
    int earlier = made[name]++;
    bool may_fail = std::find(tolerated.begin(), tolerated.end(), name) != tolerated.end();
    for (int result : {-26, -24}) {
      prepare();
      std::string fault = "{\"result\": " + std::to_string(result) +
                          ", \"after\": " + std::to_string(earlier) + ", \"times\": 1}";
      ASSERT_TRUE(switchsim_fault_set(name.c_str(), fault.c_str())) << name;
      json_ptr answer = json_parse(api_request(method, path, "json").body);
      switchsim_faults_clear();
      std::string code = json_text(answer.get(), {"result", "rlt_code"});
      std::string due = result == -24 ? "98" : "99";
      EXPECT_TRUE(may_fail ? code != "" : code == due)
          << "case of line " << line << ": " << method << " " << path << " with call "
          << earlier + 1 << " of " << name << " failing: " << code;
    }
  }
  EXPECT_FALSE(made.empty()) << "case of line " << line << ": no call made";
}
