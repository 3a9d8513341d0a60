// The real executable: start-up, exit status and logging.
#include "tests/support/engine_test.h"

static std::string process_log_in(engine_process& engine, http_client& client,
                                  const std::string& account = "user=admin&password=admin")
{
  reply_t reply = http_request(client, "POST", engine.url + "/login", account);
  size_t at = reply.body.find("<sessionKey>");
  return at == std::string::npos ? "" : reply.body.substr(at + 12, 32);
}

TEST(StartUp, EndsWithStatus2WhenItCannotRegister)
{
  const auto ends = [](engine_process&& engine, const char* result, const char* told) {
    EXPECT_EQ(engine_process_wait_exit(engine), 2);
    EXPECT_EQ(
        file_text(engine.folder.path + "/stdout"),
        std::string("\nFailed to initialize RPC to OpEN. Exiting (result = ") + result + ")\n");
    const std::string error = file_text(engine.folder.path + "/stderr");
    EXPECT_NE(error.find(told), std::string::npos) << error;
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), *told ? 1 : 0) << error;
  };
  ends(engine_process(R"({"faults": {"openapiClientRegister": {"result": -21}}})"), "-21", "");
  ends(engine_process(R"({"accounts": [{"user": 5}]})"), "-26", "accounts[0].user");
  // whichever library stands behind the name
  const std::map<std::string, std::string> other = {
      {"LD_LIBRARY_PATH", getenv("OTHER_OPENCLT")}
  };
  ends(engine_process("", other), "-28", "");
}

// Exit status of the engine with this argument, and all that it prints.
static std::pair<int, std::string> run_with(const std::string& argument)
{
  const char* emulator = getenv("EMULATOR");
  const std::string command = std::string(emulator ? emulator : "") + " '" + getenv("ENGINE") +
                              "' " + argument + " 2>&1 </dev/null";
  FILE* program = popen(command.c_str(), "r");
  char text[2000];
  size_t length = fread(text, 1, sizeof text, program);
  int status = pclose(program);
  return {WEXITSTATUS(status), std::string(text, length)};
}

TEST(StartUp, TakesTwoArgumentsAndStartsWithNone)
{
  const auto [help, help_text] = run_with("--help");
  EXPECT_EQ(help, 0);
  EXPECT_EQ(help_text.rfind("usage: restful_api_engine", 0), 0u) << help_text;
  const auto [version, version_text] = run_with("--version");
  EXPECT_EQ(version, 0);
  EXPECT_TRUE(std::regex_match(
      version_text, std::regex(R"(restful_api_engine \d+\.\d+\.\d+( \([0-9a-f]{7,}\))?\n)")))
      << version_text;
  for (const char* wrong : {"--port", "help", "--help --version", "''"}) {
    const auto [status, text] = run_with(wrong);
    EXPECT_EQ(status, 1) << wrong;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  }
}

TEST(StartUp, WaitsForTheSwitchAndTriesOnceASecond)
{
  auto start = std::chrono::steady_clock::now();
  engine_process engine(
      R"({"faults": {"rpcclt_openapiConnectivityCheck": {"result": -20, "times": 2}}})",
      {
          {"SWITCHSIM_TRACE", "trace"}
  });
  ASSERT_TRUE(engine_process_wait_listening(engine));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  const std::string trace = file_text(engine.folder.path + "/trace");
  EXPECT_EQ(trace.substr(trace.find("rpcclt_openapiConnectivityCheck")),
            "rpcclt_openapiConnectivityCheck() = -20\nrpcclt_openapiConnectivityCheck() = -20\n"
            "rpcclt_openapiConnectivityCheck() = 0\n");
  EXPECT_EQ(file_text(engine.folder.path + "/stdout"), "\n");
}

TEST(StartUp, ServesHttpAndHttpsAndLogsChangesOnly)
{
  engine_process engine("", {
                                {"L7PROC_LOG_STDERR", "1"}
  });
  ASSERT_TRUE(engine_process_wait_listening(engine));
  http_client client;
  std::string key = process_log_in(engine, client);
  ASSERT_EQ(key.size(), 32u);
  for (const std::string& url : {engine.url, engine.tls_url})
    for (const char* format : {"json", "JSONP", "xml", "yaml", ""}) {
      reply_t reply =
          http_request(client, "GET", url + "/login?sessionkey=" + key + "&format=" + format);
      bool json = format[0] == 'j' || format[0] == 'J';
      EXPECT_EQ(reply.status, 200);
      EXPECT_EQ(reply.content_type,
                json ? "application/json; charset=utf-8" : "text/xml; charset=utf-8");
      EXPECT_EQ(reply.body.compare(0, 8, json ? "{ \"resul" : "<result>"), 0) << reply.body;
      EXPECT_EQ(reply.body.back(), '\n');
    }
  http_request(client, "PUT", engine.url + "/login/RESTTimeout?value=abc&sessionkey=" + key);
  http_request(client, "POST", engine.url + "/login?user=a&password=b");
  http_request(client, "DELETE",
               engine.url + "/login/" + std::string(300, 'u') + "?sessionkey=" + key);
  http_request(client, "POST", engine.url + "/a%0aFAKE%7F%c3%a9");
  std::string log = file_text(engine.folder.path + "/stderr");
  EXPECT_NE(log.find("Starting RESTful API Engine application"), std::string::npos);
  auto audit = [](const std::string& request, const std::string& message) {
    return "RESTful API Engine: User from [127.0.0.1] accesses API [" + request + "]: " + message +
           "\n";
  };
  const std::string bad_request = "Bad Request. Please check your method and URI. (902)";
  for (const std::string& line :
       {audit("POST /login?", "Log in successfully. (0)"),
        audit("PUT /login/RESTTimeout?val", "The value of parameter is invalid. (1)"),
        audit("POST /login?", "Authentication failed. (1)"),
        audit("POST /a%0AFAKE%7F\xc3\xa9?", "Null Session Key (905)"),
        audit("DELETE /login/" + std::string(248, 'u') + "?ses", bad_request)})
    EXPECT_NE(log.find(line), std::string::npos) << line << "in\n" << log;
  EXPECT_NE(log.find("rest_common.c"), std::string::npos);
  EXPECT_EQ(log.find("accesses API [GET"), std::string::npos);
  EXPECT_EQ(log.find("admin"), std::string::npos);
}

TEST(StartUp, TellsWhereItCannotListenAndGoesOn)
{
  engine_process engine("",
                        {
                            {"L7PROC_LOG_STDERR", "1"}
  },
                        "no certificate");
  const std::string told = "not listening on ssl://127.0.0.1:0:./ssl.pem: ";
  std::string error;
  for (int i = 0; i < 6000 && std::count(error.begin(), error.end(), '\n') < 3; i++) {
    usleep(5000);
    error = file_text(engine.folder.path + "/stderr");
  }
  EXPECT_NE(error.find("RESTful API Engine: " + told), std::string::npos) << error;
  EXPECT_NE(error.find("\nrestful_api_engine: " + told), std::string::npos) << error;
  EXPECT_EQ(error.find("on 127.0.0.1:0"), std::string::npos) << error;
  EXPECT_EQ(kill(engine.pid, 0), 0);
}

TEST(StartUp, LetsInTheAccountsOfItsProfileAndHoldsFewDescriptors)
{
  engine_process engine(R"({"accounts": [{"user": "eve", "password": ""}]})");
  ASSERT_TRUE(engine_process_wait_listening(engine));
  http_client client;
  EXPECT_EQ(process_log_in(engine, client), "");
  EXPECT_EQ(process_log_in(engine, client, "user=eve&password=").size(), 32u);
  EXPECT_LT(engine_process_descriptors(engine), 20);
}

TEST(StartUp, BoundsWhatAClientCostsAndRaisesItsDescriptorLimit)
{
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit little = {256, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &little);
  engine_process engine;
  setrlimit(RLIMIT_NOFILE, &before);
  ASSERT_TRUE(engine_process_wait_listening(engine));
  const std::string limits = file_text("/proc/" + std::to_string(engine.pid) + "/limits");
  EXPECT_NE(limits.find("Max open files            1088 "), std::string::npos) << limits;
  for (const auto& [header, answer] : {
           std::pair{"Content-Length: 8388609",    "HTTP/1.1 413 Payload Too Large\r\n"},
           std::pair{"Transfer-Encoding: chunked", "HTTP/1.1 411 Length Required\r\n"  }
  }) {
    raw_client client(engine.url);
    raw_send(client, std::string("POST /login HTTP/1.1\r\n") + header + "\r\n\r\n");
    EXPECT_EQ(raw_receive_all(client).find(answer), 0u) << header;
  }
}
