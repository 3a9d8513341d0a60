// Tables of requests and their answers, and operations that no route leads to.
#pragma once

#include <initializer_list>
#include <string>

#include "httpd/httpd.h"
#include "platform/openapi_types.h"
#include "tests/support/http_client.h"

// Requests in their order and the answers to them. An empty message stands for the fixed one of the
// codes 98, 99 and 902; the data is JSON as in expect_answer.
struct answer_case {
  int line;  // __LINE__
  const char* method;
  std::string path;
  int code;
  std::string message = "";
  const char* data_json = nullptr;
};
void expect_answers(std::initializer_list<answer_case> cases);

// The same as a call, for lists whose cases do not all have the same members.
inline answer_case api_case(int line, const char* method, const std::string& path, int code,
                            const std::string& message = "", const char* data_json = nullptr)
{
  return {line, method, path, code, message, data_json};
}

// Makes a call go wrong as set_fault does, expects the answers, and makes all calls work again.
void expect_answers_with_fault(const char* call, const std::string& fault,
                               std::initializer_list<answer_case> cases);

// Requests, each answered with a success, with 99, or with 902: methods, each with the paths behind
// it, "GET /if/1 /if/2 PUT /if/1/pvid?value=1". line names the list in a failure.
void make_requests(int line, const char* requests);
void expect_open_errors(int line, const char* requests);
void expect_bad_requests(int line, const char* requests);

// Makes a call of the management API go wrong: JSON like a profile's, with ' for ".
void set_fault(const char* call, const std::string& json);

// The JSON answer to a GET of this path has this text in it. line names the case in a failure.
void expect_in_answer(int line, const std::string& path, const std::string& text);

// The JSON answer of an operation that is called for this path without any route.
using unrouted_operation_t = int (*)(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
std::string unrouted_answer(unrouted_operation_t operation, const std::string& path);

// Queries and the data they answer; an empty one stands for 99.
struct data_case {
  int line;
  std::string path;
  std::string data_json;
};
void expect_data(std::initializer_list<data_case> cases);

// The same with one call of the management API gone wrong, on a switch reset to the profile.
struct fault_case {
  int line;
  const char* call;
  std::string fault;
  std::string path;
  std::string data_json;
};
void expect_data_with_fault(const char* profile, std::initializer_list<fault_case> cases);
