// The engine inside the test process, on the simulated switch, behind real sockets.
//
// One engine serves the whole test program: it listens on two ephemeral ports of the loopback
// address and is polled on a thread of its own. Requests go through libcurl.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "tests/support/http_client.h"

// Puts the switch back to the built-in profile changed by this one (JSON), without faults, closes
// all sessions and logs in as admin. Starts the engine at the first call.
void engine_reset(const char* profile_json = "{}");

// "http://127.0.0.1:PORT" and "https://127.0.0.1:PORT".
std::string engine_url();
std::string engine_tls_url();

// The folder that is the engine's document root and working folder.
const std::string& engine_folder();

// The session key of the login made by engine_reset.
const std::string& engine_session_key();

// Runs the procedure while the engine is not inside a poll pass, so that it may look at and change
// the engine's own state.
void engine_do(const std::function<void()>& procedure);

// Sends a request as it stands: no session key is added. A body is sent as a form.
reply_t engine_request(const char* method, const std::string& path, const std::string& body = "");

// Sends a request with the session key and a format ("xml", "json"); the path may hold a query.
reply_t api_request(const char* method, const std::string& path, const char* format);

// The envelopes, byte for byte as they go out; an empty data text stands for no data.
std::string xml_envelope(int code, const std::string& message, const std::string& data_xml = "");
std::string json_envelope(int code, const std::string& message, const std::string& data_json = "");

// One request with session: the answer must have this code and message, and this data. The data is
// given as JSON, compared with member order but without regard to blanks; null stands for none.
// The JSON form is asked for. line (use __LINE__) names the case in a failure.
void expect_answer(int line, const char* method, const std::string& path, int code,
                   const std::string& message, const char* data_json = nullptr);

// The same for the XML form; data_xml is what stands inside <rlt_data>, null for none.
void expect_xml_answer(int line, const char* method, const std::string& path, int code,
                       const std::string& message, const char* data_xml = nullptr);

// The two most common failures: 99 with the text for a failed call, 902 for an unserved path.
void expect_open_error(int line, const char* method, const std::string& path);
void expect_bad_request(int line, const char* method, const std::string& path);

// The management-API calls of one request, as trace lines: "name(arguments) = result".
std::vector<std::string> api_calls(const char* method, const std::string& path);

// Whether the lines begin with the given texts, in this order and number.
void expect_calls(int line, const std::vector<std::string>& calls,
                  std::initializer_list<const char*> expected);

// Makes the request once to see which calls it makes, then once for each call with that call
// failing: the answer must be 99, or 98 where the call answers OPEN_E_EXISTS. Calls named in
// tolerated may fail without the request failing. prepare runs before every request.
void expect_each_call_checked(
    int line, const char* method, const std::string& path,
    const std::vector<std::string>& tolerated = {}, const std::function<void()>& prepare = [] {});
