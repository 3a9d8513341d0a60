// Whole requests, from the session check to the simulated switch and back. A request is written as
// its method and target, and lines for its body; an empty line ends it. It is sent with the key of
// a session; one that begins with "!" is sent as it stands.
#include <json-c/json.h>

#include "engine/rest_web_request_hdr.h"
#include "modules/rest_startupcfg.h"
#include "platform/openapi_client.h"
#include "session/rest_engine_session_hdr.h"
#include "switchsim/switchsim.h"
#include "tests/fuzz/fuzz.h"

// No input reaches another host.
static const char PROFILE[] =
    "{\"faults\": {\"rpcclt_openapiTransferFileDownload\": {\"result\": -20},"
    " \"rpcclt_openapiTransferFileUpload\": {\"result\": -20}}, \"pending_ms\": 0}";

static std::string bytes_of(const std::string& request, const std::string& key)
{
  if (request[0] == '!')
    return request.substr(1);
  size_t line = std::min(request.find('\n'), request.size());
  std::string head = request.substr(0, line),
              body = request.substr(std::min(line + 1, request.size()));
  head += (head.find('?') == std::string::npos ? "?sessionkey=" : "&sessionkey=") + key;
  return head + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// The answer of the API is one whole document in the form that was asked for.
static void check_answer(const std::string& answer)
{
  if (status_of(answer) != 200)
    return;
  const std::string body = chunked_body(answer);
  require(!body.empty());
  if (answer.find("Content-Type: application/json;") > answer.find("\r\n\r\n"))
    return;
  json_object* json = json_tokener_parse(body.c_str());
  require(json_object_get_type(json) == json_type_object);
  json_object_put(json);
}

static void fuzz(const std::string& input)
{
  static fuzz_folder folder;
  static mg_server* server = mg_create_server(nullptr, evt_handler);
  static const open_error_t registered = openapiClientRegister("fuzz", &client_handle);
  require(registered == OPEN_E_NONE && switchsim_reset(PROFILE).empty());
  initialize_transfer_variables();
  memset(session_table, 0, sizeof session_table);
  session_timeout_seconds = REST_SESSION_TIMEOUT_S;
  unsigned char key[33];
  require(create_session("admin", "", 1, key) == RC_TRUE);
  for (const std::string& request : split_text(input, "\n\n")) {
    const std::string bytes = bytes_of(request, reinterpret_cast<const char*>(key));
    const std::string answer = answer_of(server, bytes);
    const size_t start = bytes.find_first_not_of(" \t\r\n\v\f");
    if (start == bytes.npos || bytes.compare(start, 5, "HEAD ") != 0)  // which has no body
      check_answer(answer);
  }
}
