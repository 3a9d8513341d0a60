// The real executable: start-up, exit status and logging. Its arguments are in service_test.cpp.
#include "tests/support/engine_test.h"
#include "tests/support/eventually.h"

static const std::map<std::string, std::string> LOGGED = {std::pair("L7PROC_LOG_STDERR", "1")};

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
  ends(engine_process("", {std::pair("LD_LIBRARY_PATH", getenv("OTHER_OPENCLT"))}), "-28", "");
}

TEST(StartUp, WaitsForTheSwitchAndTriesOnceASecond)
{
  auto start = std::chrono::steady_clock::now();
  engine_process engine(
      R"({"faults": {"rpcclt_openapiConnectivityCheck": {"result": -20, "times": 2}}})",
      {std::pair("SWITCHSIM_TRACE", "trace")});
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
  engine_process engine("", LOGGED);
  ASSERT_TRUE(engine_process_wait_listening(engine));
  http_client client;
  const std::string key = "sessionkey=" + process_log_in(engine, client);
  EXPECT_EQ(http_request(client, "GET", engine.url + "/login?" + key).content_type,
            "text/xml; charset=utf-8");
  EXPECT_EQ(http_request(client, "GET", engine.tls_url + "/login?format=JSONP&" + key).content_type,
            "application/json; charset=utf-8");
  const std::string too_long(300, 'u');
  http_request(client, "PUT", engine.url + "/login/RESTTimeout?value=abc&" + key);
  http_request(client, "POST", engine.url + "/login?user=a&password=b");
  http_request(client, "DELETE", engine.url + "/login/" + too_long + "?" + key);
  http_request(client, "POST", engine.url + "/a%0aFAKE%7F%c3%a9");
  const std::string log = file_text(engine.folder.path + "/stderr");
  const std::string audit = "RESTful API Engine: User from [127.0.0.1] accesses API [";
  for (const std::string& text :
       {std::string("Starting RESTful API Engine application"), std::string("rest_common.c"),
        audit + "POST /login?]: Log in successfully. (0)\n",
        audit + "PUT /login/RESTTimeout?val]: The value of parameter is invalid. (1)\n",
        audit + "POST /login?]: Authentication failed. (1)\n",
        audit + "POST /a%0AFAKE%7F\xc3\xa9?]: Null Session Key (905)\n",
        audit + "DELETE /login/" + too_long.substr(52) +
            "?ses]: Bad Request. Please check your method and URI. (902)\n"})
    EXPECT_NE(log.find(text), std::string::npos) << text << "in\n" << log;
  EXPECT_EQ(log.find("accesses API [GET"), std::string::npos);
  EXPECT_EQ(log.find("admin"), std::string::npos);
}

TEST(StartUp, TellsWhereItCannotListenAndGoesOn)
{
  engine_process engine("", LOGGED, "no certificate");
  const std::string told = "not listening on ssl://127.0.0.1:0:./ssl.pem: ";
  std::string error;
  EXPECT_TRUE(eventually([&] {
    error = file_text(engine.folder.path + "/stderr");
    return std::count(error.begin(), error.end(), '\n') >= 3;
  }));
  EXPECT_NE(error.find("RESTful API Engine: " + told), std::string::npos) << error;
  EXPECT_NE(error.find("\nrestful_api_engine: " + told), std::string::npos) << error;
  EXPECT_EQ(error.find("on 127.0.0.1:0"), std::string::npos) << error;
  EXPECT_EQ(kill(engine.pid, 0), 0);
}

TEST(StartUp, LetsInTheAccountsOfItsProfileAndBoundsWhatAClientCosts)
{
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit little = {256, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &little);
  engine_process engine(R"({"accounts": [{"user": "eve", "password": ""}]})");
  setrlimit(RLIMIT_NOFILE, &before);
  ASSERT_TRUE(engine_process_wait_listening(engine));
  http_client client;
  EXPECT_EQ(process_log_in(engine, client), "");
  EXPECT_EQ(process_log_in(engine, client, "user=eve&password=").size(), 32u);
  EXPECT_LT(engine_process_descriptors(engine), 20);
  const std::string limits = file_text("/proc/" + std::to_string(engine.pid) + "/limits");
  EXPECT_NE(limits.find("Max open files            1088 "), std::string::npos) << limits;
  for (const char* header : {"Content-Length: 8388609", "Transfer-Encoding: chunked"}) {
    raw_client raw(engine.url);
    raw_send(raw, std::string("POST /login HTTP/1.1\r\n") + header + "\r\n\r\n");
    const char* status = *header == 'C' ? "413 Payload Too Large\r\n" : "411 Length Required\r\n";
    EXPECT_EQ(raw_receive_all(raw).find(std::string("HTTP/1.1 ") + status), 0u) << header;
  }
}
