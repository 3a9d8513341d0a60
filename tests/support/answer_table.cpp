#include "tests/support/answer_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>

#include "engine/rest_web_request_hdr.h"
#include "httpd/httpd.h"
#include "switchsim/switchsim.h"
#include "tests/support/local_engine.h"

static std::string with_double_quotes(std::string json)
{
  std::replace(json.begin(), json.end(), '\'', '"');
  return json;
}

void expect_answers(std::initializer_list<answer_case> cases)
{
  for (const answer_case& c : cases) {
    if (!c.message.empty())
      expect_answer(c.line, c.method, c.path, c.code, c.message, c.data_json);
    else if (c.code == 98)
      expect_answer(c.line, c.method, c.path, 98, "The same setting is already set.");
    else if (c.code == 99)
      expect_open_error(c.line, c.method, c.path);
    else
      expect_bad_request(c.line, c.method, c.path);
  }
}

void expect_answers_with_fault(const char* call, const std::string& fault,
                               std::initializer_list<answer_case> cases)
{
  set_fault(call, fault);
  expect_answers(cases);
  switchsim_faults_clear();
}

void expect_data(std::initializer_list<data_case> cases)
{
  for (const data_case& c : cases) {
    if (c.data_json.empty())
      expect_open_error(c.line, "GET", c.path);
    else
      expect_answer(c.line, "GET", c.path, 0, "Get data successfully.", c.data_json.c_str());
  }
}

void expect_data_with_fault(const char* profile, std::initializer_list<fault_case> cases)
{
  for (const fault_case& c : cases) {
    engine_reset(with_double_quotes(profile).c_str());
    set_fault(c.call, c.fault);
    expect_data({
        {c.line, c.path, c.data_json}
    });
  }
}

// Hands each request's method and path on.
template <class Expect>
static void each_request(const char* requests, Expect expect)
{
  std::istringstream words(requests);
  std::string method, word;
  while (words >> word) {
    if (word[0] == '/')
      expect(method.c_str(), word);
    else
      method = word;
  }
}

void make_requests(int line, const char* requests)
{
  each_request(requests, [line](const char* method, const std::string& path) {
    std::string body = api_request(method, path, "json").body;
    EXPECT_NE(body.find("\"rlt_code\": 0,"), std::string::npos)
        << "case of line " << line << ": " << method << " " << path << ": " << body;
  });
}

void expect_open_errors(int line, const char* requests)
{
  each_request(requests, [line](const char* method, const std::string& path) {
    expect_open_error(line, method, path);
  });
}

void expect_bad_requests(int line, const char* requests)
{
  each_request(requests, [line](const char* method, const std::string& path) {
    expect_bad_request(line, method, path);
  });
}

void set_fault(const char* call, const std::string& json)
{
  std::string error;
  EXPECT_TRUE(switchsim_fault_set(call, with_double_quotes(json).c_str(), &error)) << error;
}

void expect_in_answer(int line, const std::string& path, const std::string& text)
{
  std::string body = api_request("GET", path, "json").body;
  EXPECT_NE(body.find(text), std::string::npos) << "case of line " << line << ": " << body;
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
  std::string body;
  unrouted_operation = operation;
  engine_do([&] {
    struct mg_server* server = mg_create_server(nullptr, unrouted_handler);
    const char* error = mg_set_option(server, "listening_port", "127.0.0.1:0");
    EXPECT_EQ(error, nullptr) << error;
    std::string url =
        std::string("http://127.0.0.1:") + mg_get_option(server, "listening_port") + path;
    reply_t reply;
    std::atomic<bool> answered{false};
    std::thread request([&] {
      http_client client;
      reply = http_request(client, "PUT", url);
      answered = true;
    });
    while (!answered)
      mg_poll_server(server, 5);
    request.join();
    mg_destroy_server(&server);
    body = reply.body;
  });
  return body;
}
