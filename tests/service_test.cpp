// The engine as a service, in the hardened build: readiness, watchdog, SIGHUP, --check, and what it
// is stricter in.
#include <sys/un.h>

#include <future>

#include "tests/support/engine_test.h"
#include "tests/support/eventually.h"

using std::string;
using namespace std::string_literals;
using steady = std::chrono::steady_clock;

static const int LOG_IS_ON = setenv("L7PROC_LOG_STDERR", "1", 1);  // of every engine

struct service : engine_process {
  http_client client;
  string key;

  explicit service(const string& profile = "", const std::map<string, string>& environment = {})
      : engine_process(profile, environment)
  {
    EXPECT_TRUE(engine_process_wait_listening(*this));
  }
  // How often the log has this text.
  long logged(const string& text) const
  {
    const string log = file_text(folder.path + "/stderr");
    long count = 0;
    for (size_t at = 0; (at = log.find(text, at)) != log.npos; at += text.size())
      count++;
    return count;
  }
  // The body of the answer.
  string log_in(const string& account)
  {
    const string body =
        http_request(client, "POST", url + "/login", "user=" + account + "&password=" + account)
            .body;
    std::smatch found;
    if (std::regex_search(body, found, std::regex("<sessionKey>([0-9a-f]{32})<")))
      key = found[1];
    return body;
  }
  string ask(const char* method, const string& path)
  {
    return http_request(client, method, url + path + "sessionkey=" + key).body;
  }
};

// Exit status and output of a command.
static std::pair<int, string> run(const string& command)
{
  FILE* program = popen((command + " 2>&1 </dev/null").c_str(), "r");
  char text[2000];
  const size_t length = fread(text, 1, sizeof text, program);
  const int status = pclose(program);
  return {WEXITSTATUS(status), string(text, length)};
}

static std::pair<int, string> run_engine(const char* program, const string& argument)
{
  const char* emulator = getenv("EMULATOR");
  return run(string(emulator ? emulator : "") + " '" + getenv(program) + "' " + argument);
}

#ifdef REST_SYSTEMD
// What a service manager hears.
struct notify_socket {
  temp_folder folder;
  string path = folder.path + "/notify";
  int fd = socket(AF_UNIX, SOCK_DGRAM, 0);

  notify_socket()
  {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const timeval limit = {30, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  }
  ~notify_socket()
  {
    close(fd);
  }
  string next()
  {
    char text[500];
    const ssize_t length = recv(fd, text, sizeof text, 0);
    return string(text, length > 0 ? static_cast<size_t>(length) : 0);
  }
};

TEST(Service, TellsThatItIsReadyAndAliveUnlessACallHangs)
{
  notify_socket notify;
  service engine(R"({"faults": {"rpcclt_openapiCpuIntfGet": {"delay_ms": 2500, "times": 1}}})",
                 {std::pair("NOTIFY_SOCKET", notify.path), std::pair("WATCHDOG_USEC", "1000000"s)});
  EXPECT_EQ(notify.next().find("READY=1\nSTATUS=Listening on HTTP 127.0.0.1:"), 0u);
  engine.log_in("admin");
  for (int i = 0; i < 3; i++) {
    EXPECT_EQ(engine.ask("GET", "/login?").find("<result><rlt_code>0<"), 0u);
    EXPECT_EQ(notify.next(), "WATCHDOG=1");
  }
  auto hanging = std::async(std::launch::async, [&] { return engine.ask("GET", "/base?"); });
  steady::duration silence = {};
  while (hanging.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
    const auto last = steady::now();
    EXPECT_EQ(notify.next(), "WATCHDOG=1");
    silence = std::max(silence, steady::now() - last);
  }
  EXPECT_GT(silence, std::chrono::seconds(2)) << "longer than the service manager waits";
}
#endif

static string subject(const string& tls_url)
{
  return run("(openssl s_client -connect " + tls_url.substr(8) +
             " </dev/null 2>/dev/null | openssl x509 -noout -subject)")
      .second;
}

TEST(Service, ReadsItsCertificateAgainWithoutDroppingAConnection)
{
  service engine;
  const string pem = engine.folder.path + "/ssl.pem";
  const string help = engine.tls_url + "/help/login";
  ASSERT_EQ(http_request(engine.client, "GET", help).status, 200);
  EXPECT_EQ(engine.logged("certificate CN=localhost, self-signed, ends at 20"), 1);
  EXPECT_TRUE(eventually([&] {
    return engine.logged("certificate CN=localhost ends in 29 days") >= 2;
  })) << "it is told again and again";

  const string authority = engine.folder.path + "/authority.pem";
  make_certificate(authority, "-subj /CN=authority");
  make_certificate(pem, "-subj /CN=second -days 40 -CA " + authority + " -CAkey " + authority);
  kill(engine.pid, SIGHUP);
  EXPECT_TRUE(eventually([&] { return engine.logged("certificate CN=second ends at 20") == 1; }));
  EXPECT_EQ(subject(engine.tls_url), "subject=CN = second\n");

  const string good = file_text(pem);
  const string bad[] = {"garbage", good.substr(good.find("-----BEGIN CERT")),
                        good.substr(good.find("-----BEGIN CERT")) + file_text(authority), ""};
  for (long i = 0; i < 4; i++) {
    if (bad[i].empty())
      unlink(pem.c_str());
    else
      file_write(pem, bad[i]);
    kill(engine.pid, SIGHUP);
    const string told = "the certificate and key in ./ssl.pem cannot";
    EXPECT_TRUE(eventually([&] {
      return engine.logged("RESTful API Engine: " + told) == i + 1 &&
             engine.logged("\nrestful_api_engine: " + told) == i + 1;
    })) << i;
    EXPECT_EQ(subject(engine.tls_url), "subject=CN = second\n") << i;
  }
  const reply_t reply = http_request(engine.client, "GET", help);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(http_connections(engine.client), 0) << "the connection of the first certificate lives";
  EXPECT_NE(reply.headers.find("\r\nStrict-Transport-Security: max-age=31536000\r\n"), string::npos)
      << "the certificate is not self-signed now";
  EXPECT_EQ(engine.logged("certificate CN=second ends in"), 0);
}

TEST(Service, ChecksWhetherAnEngineIsHealthy)
{
  for (const char* program : {"ENGINE", "HTTPS_ENGINE"}) {
    const string scheme = *program == 'E' ? "http" : "https";
    const auto expect = [&](int status, const string& text) {
      const auto [actual, said] = run_engine(program, "--check");
      EXPECT_EQ(actual, status);
      EXPECT_TRUE(std::regex_match(said, std::regex("restful_api_engine: " + text + "\n"))) << said;
    };
    const string address = scheme + "://127\\.0\\.0\\.1:\\d+";
    expect(1, "not healthy: " + address + ": nothing listens there");
    const string before = getenv("ENGINE");
    setenv("ENGINE", getenv(program), 1);
    engine_process engine;
    EXPECT_TRUE(eventually([&] { return run_engine(program, "--check").first == 0; }));
    expect(0, "healthy: " + address + " answers");
    kill(engine.pid, SIGSTOP);
    expect(1, "not healthy: " + address + (scheme == "http" ? ": .* the engine hangs" : ": .*"));
    setenv("ENGINE", before.c_str(), 1);
  }
}

TEST(Service, TakesTwoArgumentsAndTellsThatItIsHardened)
{
  const string points =
      "hardened: random keys, read-only accounts, log-in limit, safe headers, HTTP ";
  const string version = R"(restful_api_engine \d+\.\d+\.\d+( \([0-9a-f]{7,}\))?\n)";
  const auto [help, usage] = run_engine("ENGINE", "--help");
  EXPECT_EQ(help, 0);
  EXPECT_EQ(usage.rfind("usage: restful_api_engine", 0), 0u) << usage;
  for (const auto& [program, argument, status, text] :
       {std::tuple("ENGINE", "--port", 1, ".+\n"s), std::tuple("ENGINE", "help", 1, ".+\n"s),
        std::tuple("ENGINE", "--help --version", 1, ".+\n"s),
        std::tuple("ENGINE", "''", 1, ".+\n"s),
        std::tuple("ENGINE", "--version", 0, version + points + "local\n"),
        std::tuple("HTTPS_ENGINE", "--version", 0, version + points + "off\n")}) {
    const auto [actual, said] = run_engine(program, argument);
    EXPECT_EQ(actual, status) << argument;
    EXPECT_TRUE(std::regex_match(said, std::regex(text))) << argument << said;
  }
  service engine;
  EXPECT_TRUE(eventually([&] { return engine.logged(points + "local\n") == 1; }));
}

TEST(Hardened, KeysAreRandomAndAnswersAreNotKept)
{
  service engine;
  std::set<string> keys;
  for (int i = 0; i < 5; i++) {
    engine.log_in("admin");
    keys.insert(engine.key);
  }
  EXPECT_EQ(keys.size(), 5u) << "within a second or two";
  for (const string& request :
       {engine.url + "/help/login", engine.tls_url + "/help/login", engine.url + "/base"}) {
    const reply_t reply = http_request(engine.client, "GET", request);
    EXPECT_NE(reply.headers.find("\r\nCache-Control: no-store\r\n"), string::npos) << request;
    EXPECT_NE(reply.headers.find("\r\nX-Content-Type-Options: nosniff\r\n"), string::npos);
    EXPECT_EQ(reply.headers.find("Strict-Transport"), string::npos) << "it is self-signed";
  }
  const reply_t error = http_request(engine.client, "POST", engine.url + "/login", "",
                                     {"Transfer-Encoding: chunked"});
  EXPECT_EQ(error.status, 411);
  EXPECT_NE(error.headers.find("\r\nCache-Control: no-store\r\n"), string::npos);
}

TEST(Hardened, ReadOnlyAccountsOnlyRead)
{
  service engine;
  EXPECT_NE(http_request(engine.client, "GET", engine.url + "/help/login").body.find("code 906"),
            string::npos);
  for (const bool is_guest : {false, true}) {
    engine.log_in(is_guest ? "guest" : "admin");
    const string refused =
        is_guest ? xml_envelope(906, "The account is read-only.") : "<result><rlt_code>0<";
    for (const auto& [method, path] :
         {std::pair("POST", "/vlans/10?"), std::pair("PUT", "/login/RESTTimeout?value=5&"),
          std::pair("GET", "/vlans/10?method=DELETE&")})
      EXPECT_EQ(engine.ask(method, path).find(refused), 0u) << path;
    EXPECT_EQ(engine.ask("POST", "/vlans?method=GET&").find("<result><rlt_code>0<"), 0u);
    EXPECT_EQ(engine.ask("POST", "/help/login?").find("<result><rlt_code>902<"), 0u);
    EXPECT_EQ(engine.ask("DELETE", "/login/?format=json&"),
              is_guest ? json_envelope(906, "The account is read-only.")
                       : json_envelope(902, "Bad Request. Please check your method and URI."));
    EXPECT_NE(engine.ask("DELETE", "/login?").find("Log out successfully."), string::npos);
  }
}

TEST(Hardened, AnAddressWhoseLogInsFailHasToWait)
{
  service engine;
  const string failed = xml_envelope(1, "Authentication failed.");
  const auto audited = [&] { return engine.logged("POST /login?]: Authentication failed. (1)"); };
  const auto fail = [&](int times) {
    for (int i = 0; i < times; i++)
      EXPECT_EQ(engine.log_in("eve"), failed);
  };
  for (int i = 0; i < 2; i++) {
    fail(4);
    EXPECT_NE(engine.log_in("admin"), failed) << "which makes good for what failed";
  }
  fail(1);
  for (const int pause : {2, 3, 3}) {
    fail(3);
    const auto begin = steady::now();
    fail(1);
    const long lines = audited();
    EXPECT_EQ(engine.log_in("admin"), failed) << "nor is the right password taken";
    fail(3);
    http_client other(CURLOPT_INTERFACE, "127.0.0.2");
    EXPECT_NE(http_request(other, "POST", engine.url + "/login", "user=guest&password=guest").body,
              failed);
    EXPECT_EQ(audited(), lines) << "no line a try";
    EXPECT_TRUE(eventually([&] {
      fail(1);
      return audited() > lines;
    }));
    EXPECT_GE(steady::now() - begin, std::chrono::seconds(pause));
  }
  EXPECT_EQ(engine.logged("Log-ins from [127.0.0.1] are refused for 2 seconds: 5 have failed"), 1);
  EXPECT_EQ(engine.logged("Log-ins from [127.0.0.1] are refused for 3 seconds: 5 have failed"), 2);
}
