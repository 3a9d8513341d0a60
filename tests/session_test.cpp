// The session check, the login module and the status file, over sockets.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "session/rest_engine_session_hdr.h"
#include "switchsim/switchsim.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"
#include "tests/support/raw_client.h"
#include "tests/support/temp_folder.h"

static const char NO_SESSION[] = "Session time out or log out. Please log in again.";
static const char NULL_KEY[] = "Null Session Key";
static const char BAD_VALUE[] = "The value of parameter is invalid.";
static const char GOT_DATA[] = "Get data successfully.";

static std::string log_in()
{
  reply_t reply = engine_request("POST", "/login", "user=guest&password=guest");
  size_t at = reply.body.find("<sessionKey>");
  return at == std::string::npos ? "" : reply.body.substr(at + strlen("<sessionKey>"), 32);
}

static void expect_xml(int line, const reply_t& reply, int code, const std::string& message)
{
  EXPECT_EQ(reply.body, xml_envelope(code, message)) << "case of line " << line;
}

static std::string status_file()
{
  return file_text(engine_folder() + "/restsessionstatus");
}

TEST(Login, KeyIsTheMd5OfAddressAndSecond)
{
  engine_reset();
  api_loginsession_t session = {};
  engine_do([&] { session = session_table[0]; });
  EXPECT_EQ(session.session_id, 1u);
  EXPECT_EQ(engine_session_key(), session.session_key);
  EXPECT_LE(labs(static_cast<long>(time(nullptr)) - static_cast<long>(session.login_time)), 5);
  std::string text = "127.0.0.1" + std::to_string(session.login_time);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  ASSERT_TRUE(EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr));
  std::string hex;
  for (unsigned i = 0; i < length; i++) {
    char byte[3];
    snprintf(byte, sizeof byte, "%02x", unsigned{digest[i]});
    hex += byte;
  }
  EXPECT_EQ(session.session_key, hex);
}

TEST(Login, LifeCycleWithFiveSessionsAndASixthRefused)
{
  engine_reset();
  std::string first = engine_session_key();
  expect_xml(__LINE__, engine_request("POST", "/login?user=admin&password=wrong"), 1,
             "Authentication failed.");
  expect_xml(__LINE__, engine_request("POST", "/login?user=admin"), 1, "Authentication failed.");
  expect_xml(__LINE__,
             engine_request("POST", "/login", "user=admin&password=admin&sessionkey=" + first), 0,
             "You already logged in.");
  for (int i = 2; i <= 5; i++)
    EXPECT_EQ(log_in().size(), 32u) << i;
  expect_xml(__LINE__, engine_request("POST", "/login", "user=admin&password=admin"), 2,
             "The Number of sessions has reached the upper limit. Please try later.");
  run_script(__LINE__, "DELETE /login -> 0 Log out successfully.");
  // Within one second all keys of an address are the same; make the next one differ.
  engine_do([] {
    for (api_loginsession_t& session : session_table)
      session.session_key[0] = 'x';
  });
  expect_xml(__LINE__, engine_request("DELETE", "/login?sessionkey=" + first), 900, NO_SESSION);
  EXPECT_EQ(log_in().size(), 32u);
  engine_do([] {
    EXPECT_EQ(session_table[0].session_id, 6u);
    EXPECT_STREQ(session_table[0].user_name, "guest");
    EXPECT_EQ(session_table[1].session_id, 2u);
  });
}

TEST(Login, InfoTimeoutAndUnservedPaths)
{
  engine_reset();
  run_script(__LINE__, R"(GET /login ->
    {"infomation":{"rest_session_max":5,"rest_session_timeout_in_minutes":5}})");
  const auto timeouts = [](const char* script, uint32_t seconds) {
    run_script(__LINE__, script);
    engine_do([&] { EXPECT_EQ(session_timeout_seconds, seconds) << script; });
  };
  timeouts(R"(
PUT /login/RESTTimeout?value=160 -> 0 Update timeout value for REST Sessions successfully.
PUT /login/RESTTimeout ?value=161 ?value=0 ?value=-2 ?value=- ?value=abc ?value=
    ?value=4294967297 -> 1 The value of parameter is invalid.)",
           9600);
  timeouts(R"(
PUT /login/RESTTimeout?value=1 -> 0 Update timeout value for REST Sessions successfully.)",
           60);
  timeouts(R"(
PUT /login/RESTTimeout?value=-1 -> 0 Update timeout value to default for REST Sessions successfully.
)",
           300);
  run_script(__LINE__, R"(OPTIONS /login -> 902)");
}

TEST(Login, ListsSessionsInOrderOfLogin)
{
  engine_reset();
  log_in();
  log_in();
  engine_do([] {
    uint32_t now = static_cast<uint32_t>(time(nullptr));
    session_table[1].login_time = now - (100 * 3600 + 2 * 60 + 3);
    session_table[1].last_activity_time = now - 59;
    session_table[1].session_key[0] = session_table[2].session_key[0] = 'x';
    session_table[0].last_activity_time = now - 5;
  });
  reply_t reply = api_request("GET", "/login/RESTSessions", "xml");
  std::string own = "<rest_session><user_name>admin</user_name><remote_ip>127.0.0.1</remote_ip>";
  EXPECT_EQ(reply.body.find("<result><rlt_code>0</rlt_code><rlt_mesg>Get data successfully."
                            "</rlt_mesg><rlt_data><rest_sessions>" +
                            own),
            0u)
      << reply.body;
  EXPECT_NE(reply.body.find("<idle_time>00:00:00</idle_time></rest_session><rest_session>"
                            "<user_name>guest</user_name>"),
            std::string::npos);
  EXPECT_NE(reply.body.find("<login_time>100:02:0"), std::string::npos) << reply.body;
  std::string json = api_request("GET", "/login/RESTSessions", "json").body;
  EXPECT_NE(json.find("\"rest_sessions\": { \"1\": { \"user_name\": \"admin\""), std::string::npos);
  EXPECT_NE(json.find("\"3\": { \"user_name\": \"guest\""), std::string::npos);
  EXPECT_EQ(json.find("\"4\""), std::string::npos);
}

TEST(SessionCheck, AnswersByKeyAddressAndModule)
{
  engine_reset();
  std::string key = "sessionkey=" + engine_session_key();
  const char NO_MODULE[] = "The module name dose not exist.";
  const char BAD_REQUEST[] = "Bad Request. Please check your method and URI.";
  // clang-format off
  const struct {
    int line;
    const char* method;
    std::string path;
    int code;
    const char* message;
  } cases[] = {
      {__LINE__, "GET",    "/base",                                 905, NULL_KEY},
      {__LINE__, "GET",    "/base?sessionkey=",                     905, NULL_KEY},
      {__LINE__, "GET",    "/base?sessionkey=" + std::string(33, 'a'), 905, NULL_KEY},
      {__LINE__, "GET",    "/base?sessionkey=abc",                  900, NO_SESSION},
      {__LINE__, "GET",    "/nosuchmodule",                         905, NULL_KEY},
      {__LINE__, "GET",    "/nosuchmodule?" + key,                  901, NO_MODULE},
      {__LINE__, "GET",    "/VLANS?" + key,                         901, NO_MODULE},
      {__LINE__, "GET",    "/?" + key,                              901, NO_MODULE},
      {__LINE__, "GET",    "/",                                     905, NULL_KEY},
      {__LINE__, "GET",    "/login",                                905, NULL_KEY},
      {__LINE__, "GET",    "/login?method=POST&user=x&password=y",  1,   "Authentication failed."},
      {__LINE__, "DELETE", "/login",                                905, NULL_KEY},
      {__LINE__, "POST",   "/login/x",                              902, BAD_REQUEST},
  };
  // clang-format on
  for (const auto& c : cases)
    expect_xml(c.line, engine_request(c.method, c.path), c.code, c.message);

  engine_do([] { snprintf(session_table[0].remote_ip, sizeof session_table[0].remote_ip, "x"); });
  expect_xml(__LINE__, engine_request("GET", "/base?" + key), 900, NO_SESSION);
}

TEST(SessionCheck, ExpiresAfterTheWholeTimeoutAndNotBefore)
{
  engine_reset();
  engine_do(
      [] { session_table[0].last_activity_time = static_cast<uint32_t>(time(nullptr)) - 297; });
  run_script(__LINE__, "GET /login");
  engine_do([] {
    EXPECT_GE(session_table[0].last_activity_time, static_cast<uint32_t>(time(nullptr)) - 3);
    session_table[0].last_activity_time = static_cast<uint32_t>(time(nullptr)) - 300;
  });
  run_script(__LINE__, std::string("GET /login -> 900 ") + NO_SESSION);
  engine_do([] { EXPECT_EQ(session_table[0].session_id, 0u); });
  EXPECT_EQ(status_file(), "");
}

TEST(SessionCheck, RefreshesOnlyRequestsOfTheSession)
{
  engine_reset();
  uint32_t past = static_cast<uint32_t>(time(nullptr)) - 100;
  auto idle_since = [&](const std::string& path) {
    engine_do([&] { session_table[0].last_activity_time = past; });
    engine_request("GET", path);
    uint32_t since = 0;
    engine_do([&] { since = session_table[0].last_activity_time; });
    return since;
  };
  std::string key = "?sessionkey=" + engine_session_key();
  EXPECT_GT(idle_since("/nosuchmodule" + key), past);
  EXPECT_GT(idle_since("/base" + key), past);
  EXPECT_EQ(idle_since("/help" + key), past);
  EXPECT_EQ(idle_since("/base"), past);
}

TEST(StatusFile, HoldsOneLineForEachSessionWhoeverChangedItInBetween)
{
  engine_reset();
  std::string path = engine_folder() + "/restsessionstatus";
  log_in();
  auto expected = [] {
    std::string text;
    engine_do([&] {
      for (const api_loginsession_t& session : session_table)
        if (session.session_id != 0)
          text += std::to_string(session.session_id) + ";" + session.session_key + ";" +
                  session.user_name + ";127.0.0.1;" + std::to_string(session.login_time) + ";" +
                  std::to_string(session.last_activity_time) + "\n";
    });
    return text;
  };
  ASSERT_EQ(status_file(), expected());
  ASSERT_EQ(status_file().substr(0, 2), "1;");
  std::string text = status_file();
  const std::vector<std::function<void()>> changes = {
      [&] { file_write(path, ""); },
      [&] { unlink(path.c_str()); },
      [&] { file_write(path, text + "more\n"); },
      [&] {
        std::string other = text;
        other[2] = '#';
        file_write(path, other);
      },
      [&] {
        std::filesystem::rename(path, path + ".old");
        file_write(path, "x");
      },
      [&] { EXPECT_EQ(truncate(path.c_str(), 5), 0); },
  };
  for (size_t round = 0; round < 3 * changes.size(); round++) {
    changes[round % changes.size()]();
    api_request("GET", "/login", "json");
    EXPECT_EQ(status_file(), expected()) << "change " << round;
  }
  struct stat before = {}, after = {};
  stat(path.c_str(), &before);
  engine_do([] { clear_expired_session(); });
  stat(path.c_str(), &after);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
}

TEST(StatusFile, ThatCannotBeWrittenChangesNothingElse)
{
  engine_reset();
  std::string path = engine_folder() + "/restsessionstatus";
  unlink(path.c_str());
  ASSERT_TRUE(std::filesystem::create_directory(path));
  engine_do([] { EXPECT_EQ(output_session_file(), RC_FALSE); });
  EXPECT_EQ(log_in().size(), 32u);
  std::filesystem::remove(path);
  api_request("GET", "/login", "json");
  EXPECT_NE(status_file(), "");
}

// --- variables in a form body, however its bytes are split ---

TEST(FormBody, WorksHoweverTheBytesAreSplit)
{
  engine_reset();
  std::string body = "format=json&method=GET&sessionkey=" + engine_session_key();
  std::string head =
      "POST /login HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  std::string expected = json_envelope(
      0, GOT_DATA, R"({"infomation":{"rest_session_max":5,"rest_session_timeout_in_minutes":5}})");
  for (size_t split = 0; split <= body.size(); split += 7) {
    raw_client client(engine_url());
    raw_send(client, head + body.substr(0, split));
    raw_wait_consumed(client);
    raw_send(client, body.substr(split));
    EXPECT_EQ(raw_body(raw_receive_response(client)), expected) << "split at " << split;
  }
}

TEST(FormBody, AMethodThatArrivesLateDoesNotSlipPastTheSessionCheck)
{
  engine_reset();
  std::string body = "user=admin&method=GET";
  raw_client client(engine_url());
  raw_send(client, "POST /login HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                       "\r\n\r\nuser=admin&");
  raw_wait_consumed(client);
  raw_send(client, "method=GET");
  EXPECT_EQ(raw_body(raw_receive_response(client)), xml_envelope(905, NULL_KEY));
}

TEST(FormBody, AHeldBackRequestIsNotLetInByAnotherClientsCheck)
{
  engine_reset();
  raw_client held(engine_url());
  raw_send(held, "PUT /login/RESTTimeout HTTP/1.1\r\nContent-Length: 7\r\n\r\nvalue");
  raw_wait_consumed(held);
  EXPECT_EQ(api_request("GET", "/login", "json").status, 200);
  raw_send(held, "=9");
  EXPECT_EQ(raw_body(raw_receive_response(held)), xml_envelope(905, NULL_KEY));
  engine_do([] { EXPECT_EQ(session_timeout_seconds, 300u); });
}

// A login needs no session, and the check is made once for a connection that becomes a WebSocket.
TEST(SessionCheck, IsNotPassedByTheFramesOfAWebSocket)
{
  engine_reset();
  raw_client client(engine_url());
  raw_send(client,
           "POST /login/RESTTimeout HTTP/1.1\r\nSec-WebSocket-Version: 13\r\n"
           "Sec-WebSocket-Key: x\r\n\r\n");
  const std::string frame = "method=PUT&value=17", mask(4, '\0');
  raw_send(client, "\x81" + std::string(1, static_cast<char>(0x80 | frame.size())) + mask + frame +
                       "\x88\x80" + mask);
  std::string answer = raw_receive_all(client);
  EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), "\x88\x02\x03\xe8");
  EXPECT_NE(
      api_request("GET", "/login", "json").body.find("\"rest_session_timeout_in_minutes\": 5"),
      std::string::npos);
}

TEST(FormBody, OfALaterRequestOnTheSameConnectionIsReadAfresh)
{
  engine_reset();
  std::string key = "&sessionkey=" + engine_session_key();
  raw_client client(engine_url());
  for (const char* value : {"value=7", "value=12", "value=8"}) {
    std::string body = value + key;
    raw_send(client, "PUT /login/RESTTimeout HTTP/1.1\r\nContent-Length: " +
                         std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_EQ(raw_body(raw_receive_response(client)),
              xml_envelope(0, "Update timeout value for REST Sessions successfully."));
    engine_do([&] { EXPECT_EQ(session_timeout_seconds, 60u * strtoul(value + 6, nullptr, 10)); });
    raw_send(client, "GET /base HTTP/1.1\r\n\r\n");
    EXPECT_EQ(raw_body(raw_receive_response(client)), xml_envelope(905, NULL_KEY));
  }
}
