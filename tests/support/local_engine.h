// The engine inside the test process, on the simulated switch, behind real sockets.
//
// One engine serves the whole test program: it listens on an ephemeral port of the loopback address
// and is polled on a thread of its own. Requests go through libcurl.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/rest_tree_obj.h"
#include "tests/support/http_client.h"

// Puts the switch back to the built-in profile changed by this one (JSON), without faults, closes
// all sessions and logs in as admin. Starts the engine at the first call.
void engine_reset(const char* profile_json = "{}");

// "http://127.0.0.1:PORT".
std::string engine_url();

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

// The envelopes, byte for byte as they go out; an empty data text stands for no data. JSON data is
// given with any blanks, and its members in the order in which they go out.
std::string xml_envelope(int code, const std::string& message, const std::string& data_xml = "");
std::string json_envelope(int code, const std::string& message, const std::string& data_json = "");

// The management-API calls of one request, as trace lines: "name(arguments) = result".
std::vector<std::string> api_calls(const char* method, const std::string& path);

// What a printing procedure makes of a tree; "(nothing)" when it leaves the text alone.
std::string tree_text(void (*print)(node_t*, char**), node_t* tree);
