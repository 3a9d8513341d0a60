// The session check, the login module and the status file, over sockets.
#include <sys/mman.h>

#include "session/rest_engine_session_hdr.h"
#include "tests/support/engine_test.h"

static const char NO_SESSION[] = "Session time out or log out. Please log in again.";
static const char NULL_KEY[] = "Null Session Key";

static std::string log_in()
{
  reply_t reply = engine_request("POST", "/login", "user=guest&password=guest");
  size_t at = reply.body.find("<sessionKey>");
  return at == std::string::npos ? "" : reply.body.substr(at + strlen("<sessionKey>"), 32);
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
  EXPECT_NEAR(session.login_time, time(nullptr), 5);
  char key[33];
  mg_md5(key, "127.0.0.1", std::to_string(session.login_time).c_str(), nullptr);
  EXPECT_EQ(engine_session_key(), key);
  EXPECT_STREQ(session.session_key, key);
}

TEST(Login, FiveSessionsAndASixthRefused)
{
  engine_reset();
  for (int i = 2; i <= 5; i++)
    EXPECT_EQ(log_in().size(), 32u) << i;
  EXPECT_EQ(
      engine_request("POST", "/login?user=admin&password=admin").body,
      xml_envelope(2, "The Number of sessions has reached the upper limit. Please try later."));
  run_script(__LINE__, "DELETE /login");
  EXPECT_EQ(log_in().size(), 32u);
  EXPECT_EQ(status_file().substr(0, 2), "6;") << "the place of the first one";
}

TEST(SessionCheck, KnowsAKeyFromItsOwnAddressAlone)
{
  engine_reset();
  engine_do([] { session_table[0].remote_ip[8] = '7'; });  // 127.0.0.7
  run_script(__LINE__, std::string("GET /base  result 900 ") + NO_SESSION);
}

// Makes the last activity of the first session so many seconds old.
static void age(uint32_t seconds)
{
  engine_do([&] {
    session_table[0].last_activity_time = static_cast<uint32_t>(time(nullptr)) - seconds;
  });
}

TEST(SessionCheck, ExpiresAfterTheWholeTimeoutAndNotBefore)
{
  engine_reset();
  age(297);
  run_script(__LINE__, "GET /login");
  age(300);
  run_script(__LINE__, std::string("GET /login  result 900 ") + NO_SESSION);
  engine_do([] { EXPECT_EQ(session_table[0].session_id, 0u); });
  EXPECT_EQ(status_file(), "");
}

TEST(SessionCheck, RefreshesOnlyRequestsOfTheSession)
{
  engine_reset();
  const std::string key = "?sessionkey=" + engine_session_key();
  for (const auto& [path, is_refreshed] :
       {std::pair("/nosuchmodule" + key, true), std::pair("/base" + key, true),
        std::pair("/help" + key, false), std::pair(std::string("/base"), false)}) {
    age(100);
    engine_request("GET", path);
    engine_do([refreshed = is_refreshed] {
      EXPECT_NEAR(session_table[0].last_activity_time, time(nullptr) - (refreshed ? 0 : 100), 5);
    });
  }
}

// A request whose body comes in two parts, the second when the engine has read the first and done
// something else; the body of the answer.
static std::string split_request(
    const std::string& request_line, const std::string& first, const std::string& second,
    const std::function<void()>& meanwhile = [] {})
{
  raw_client client(engine_url());
  raw_send(client, request_line + " HTTP/1.1\r\nContent-Length: " +
                       std::to_string(first.size() + second.size()) + "\r\n\r\n" + first);
  raw_wait_consumed(client);
  meanwhile();
  raw_send(client, second);
  return raw_body(raw_receive_response(client));
}

static void write_through_mapping(const std::string& path)
{
  int fd = open(path.c_str(), O_RDWR);
  void* memory = mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  ASSERT_NE(memory, MAP_FAILED);
  *static_cast<volatile char*>(memory) = 'x';
  munmap(memory, 1);
  close(fd);
}

TEST(StatusFile, HoldsOneLineForEachSessionWhoeverChangedItInBetween)
{
  engine_reset();
  const std::string path = engine_folder() + "/restsessionstatus";
  const std::string key = "?sessionkey=" + engine_session_key();
  file_write("victim", "victim");
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
  setenv("F", "restsessionstatus", 1);
  // clang-format off
  const std::string changes[] = {
      ": >$F", "rm $F", "echo more >>$F", "printf '1;#' | dd of=$F conv=notrunc status=none",
      "mv $F $F.old", "truncate -s 5 $F", "rm $F; mkfifo -m 666 $F", "rm $F; ln -s victim $F",
      "rm $F; ln -s nowhere $F", "rm $F; mkdir $F", "rm $F; ln victim $F", "ln $F $F.second",
      "chmod 666 $F", "a write through a mapping"};
  // clang-format on
  for (size_t round = 0; round < 3 * std::size(changes); round++) {
    const auto change = [&, command = changes[round / 3]] {
      if (command[0] == 'a')
        write_through_mapping(path);
      else
        EXPECT_EQ(system(command.c_str()), 0);
    };
    unlink((path + ".second").c_str());
    if (round % 3 == 0) {
      change();
      api_request("GET", "/login", "json");
    } else {  // while a request runs, answered by the module or refused
      split_request("PUT /login/RESTTimeout" + (round % 3 == 1 ? key : ""), "value", "=5", change);
    }
    EXPECT_EQ(status_file(), expected()) << "change " << round;
    EXPECT_EQ(file_text("victim"), "victim") << "change " << round;
    struct stat st = {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode, S_IFREG | 0640u) << "change " << round;
  }
  struct stat before = {}, after = {};
  stat(path.c_str(), &before);
  engine_do([] { clear_expired_session(); });
  stat(path.c_str(), &after);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
}

// --- the time of day ---

static std::atomic<long> day_shift{0};  // seconds that the time of day has been set ahead

extern "C" int __real_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now);
extern "C" time_t __real_time(time_t* now);
extern "C" time_t __wrap_time(time_t* now);

int __wrap_clock_gettime(clockid_t clock, timespec* now)
{
  int result = __real_clock_gettime(clock, now);
  if (clock == CLOCK_REALTIME_COARSE)
    now->tv_sec += day_shift;
  return result;
}

time_t __wrap_time(time_t*)
{
  return __real_time(nullptr) + day_shift;
}

TEST(TimeOfDay, ThatJumpsEndsNeitherSessionsNorConnections)
{
  engine_reset();
  log_in();
  engine_do([] {
    session_table[1].login_time -= 100 * 3600 + 62;
    session_table[1].last_activity_time -= 250;
    session_table[1].session_key[0] = 'x';
  });
  raw_client client(engine_url());
  for (long shift : {3600L, -100000L, 30L, 1700000L, 0L}) {
    day_shift = shift;
    raw_send(client, "GET /login/RESTSessions?format=json&sessionkey=" + engine_session_key() +
                         " HTTP/1.1\r\n\r\n");
    const std::string shown = raw_body(raw_receive_response(client));
    EXPECT_TRUE(std::regex_search(
        shown,
        std::regex(R"("admin", [^}]*"login_time": "00:00:\d\d", "idle_time": "00:00:00" .*)"
                   R"("guest", [^}]*"login_time": "100:0[12]:\d\d", "idle_time": "00:04:[12])")))
        << shift << shown;
    engine_do([] { EXPECT_NEAR(session_table[0].last_activity_time, time(nullptr), 2.0); });
    EXPECT_NE(status_file().find(std::to_string(session_table[1].last_activity_time)),
              std::string::npos);
  }
  // A session that is older than the clock says is as new as can be.
  engine_do([] { session_table[1].login_time += 200 * 3600; });
  run_script(__LINE__, R"(GET /login/RESTSessions
  contains "guest", "remote_ip": "127.0.0.1", "login_time": "00:00:00")");
  // Time that has passed, too, is counted: what is idle for long enough has expired.
  engine_do([] { session_table[1].last_activity_time -= 60; });
  day_shift = 5000;
  api_request("GET", "/login", "json");
  engine_do([] { EXPECT_EQ(session_table[1].session_id, 0u); });
  day_shift = 0;
  api_request("GET", "/login", "json");
}

TEST(StatusFile, ThatCannotBeWrittenChangesNothingElse)
{
  engine_reset();
  std::string path = engine_folder() + "/restsessionstatus";
  unlink(path.c_str());
  ASSERT_TRUE(std::filesystem::create_directories(path + "/of another"));
  engine_do([] { EXPECT_EQ(output_session_file(), RC_FALSE); });
  EXPECT_EQ(log_in().size(), 32u);
  std::filesystem::remove_all(path);
  api_request("GET", "/login", "json");
  EXPECT_NE(status_file(), "");
}

// --- variables in a form body, however its bytes are split ---

TEST(FormBody, WorksHoweverTheBytesAreSplit)
{
  engine_reset();
  const std::string body = "format=json&method=GET&sessionkey=" + engine_session_key();
  const std::string expected = api_request("GET", "/login", "json").body;
  EXPECT_NE(expected.find("\"rlt_code\": 0,"), std::string::npos);
  for (size_t at = 0; at <= body.size(); at += 7)
    EXPECT_EQ(split_request("POST /login", body.substr(0, at), body.substr(at)), expected) << at;
}

TEST(FormBody, ThatArrivesLateDoesNotSlipPastTheSessionCheck)
{
  engine_reset();
  const std::string refusal = xml_envelope(905, NULL_KEY), request = "PUT /login/RESTTimeout";
  EXPECT_EQ(split_request("POST /login", "user=admin&", "method=GET"), refusal);
  // nor is it let in by another client's check
  const auto get = [] { run_script(__LINE__, "GET /login"); };
  EXPECT_EQ(split_request(request, "value", "=9", get), refusal);
  // nor by a session that is gone, or by the beginning of a longer key
  const std::string gone = xml_envelope(1, "Authentication failed.");
  const std::string key = "sessionkey=" + engine_session_key();
  const auto log_out = [] { run_script(__LINE__, "DELETE /login"); };
  EXPECT_EQ(split_request(request, "value=9&" + key, "x"), gone);
  EXPECT_EQ(split_request(request + "?" + key, "value", "=9", log_out), gone);
  engine_do([] { EXPECT_EQ(session_timeout_seconds, 300u); });
}

// A login needs no session, and the check is made once for a connection that becomes a WebSocket.
TEST(SessionCheck, IsNotPassedByTheFramesOfAWebSocket)
{
  engine_reset();
  raw_client client(engine_url());
  const std::string mask(4, '\0');
  raw_send(client,
           "POST /login/RESTTimeout HTTP/1.1\r\nSec-WebSocket-Version: 13\r\n"
           "Sec-WebSocket-Key: x\r\n\r\n\x81\x93" +
               mask + "method=PUT&value=17\x88\x80" + mask);
  std::string answer = raw_receive_all(client);
  EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), "\x88\x02\x03\xe8");
  engine_do([] { EXPECT_EQ(session_timeout_seconds, 300u); });
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
