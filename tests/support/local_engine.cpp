#include "tests/support/local_engine.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <regex>
#include <sstream>
#include <thread>

#include "engine/rest_web_request_hdr.h"
#include "httpd/httpd.h"
#include "platform/openapi_client.h"
#include "session/rest_engine_session_hdr.h"
#include "switchsim/switchsim.h"
#include "tests/support/temp_folder.h"

struct local_engine {
  temp_folder folder;
  struct mg_server* server = nullptr;
  std::string url, session_key;
  http_client client;
  std::mutex mutex;             // held during a poll pass, and by who does something between two
  std::atomic<int> waiting{0};  // for the mutex, besides the engine's own thread
  std::atomic<bool> stop{false};
  std::thread thread;

  local_engine();
  ~local_engine();
};

local_engine::local_engine()
{
  EXPECT_EQ(chdir(folder.path.c_str()), 0);
  EXPECT_EQ(openapiClientRegister("restful_api_engine", &client_handle), OPEN_E_NONE);
  server = mg_create_server(nullptr, evt_handler);
  mg_set_option(server, "document_root", ".");
  EXPECT_EQ(mg_set_option(server, "listening_port", "127.0.0.1:0"), nullptr);
  url = std::string("http://127.0.0.1:") + mg_get_option(server, "listening_port");
  thread = std::thread([this] {
    while (!stop) {
      std::unique_lock<std::mutex> lock(mutex);
      mg_poll_server(server, 5);
      lock.unlock();
      while (waiting > 0)
        std::this_thread::yield();
    }
  });
}

local_engine::~local_engine()
{
  stop = true;
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
  engine.waiting++;
  std::lock_guard<std::mutex> lock(engine.mutex);
  engine.waiting--;
  procedure();
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
  std::smatch found;
  ASSERT_TRUE(std::regex_search(login.body, found, std::regex("\"sessionKey\": \"(\\w{32})\"")))
      << login.body;
  engine.session_key = found[1];
}

std::string engine_url()
{
  return engine_instance().url;
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
  using json_ptr = std::unique_ptr<json_object, int (*)(json_object*)>;
  const json_ptr text(json_object_new_string(message.c_str()), json_object_put);
  std::string envelope = "{\"result\":{\"rlt_code\":" + std::to_string(code) +
                         ",\"rlt_mesg\":" + json_object_to_json_string(text.get()) +
                         (data_json.empty() ? "" : ",\"rlt_data\":" + data_json) + "}}";
  const json_ptr object(json_tokener_parse(envelope.c_str()), json_object_put);
  EXPECT_TRUE(object) << "not JSON: " << data_json;
  return std::string(json_object_to_json_string(object.get())) + "\n";
}

std::vector<std::string> api_calls(const char* method, const std::string& path)
{
  switchsim_trace_start();
  const reply_t reply = api_request(method, path, "json");
  EXPECT_EQ(reply.status, 200) << method << " " << path;
  std::vector<std::string> calls;
  std::istringstream trace(switchsim_trace_take());
  for (std::string line; std::getline(trace, line);)
    calls.push_back(line);
  return calls;
}

std::string tree_text(void (*print)(node_t*, char**), node_t* tree)
{
  char* text = nullptr;
  print(tree, &text);
  const std::unique_ptr<char, decltype(&free)> owner(text, free);
  return text ? text : "(nothing)";
}
