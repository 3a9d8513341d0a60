// Downloads and uploads against real servers on the loopback address, and the file with the times
// of the startup configuration.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "modules/rest_startupcfg.h"
#include "switchsim/switchsim.h"
#include "tests/support/engine_process.h"
#include "tests/support/local_engine.h"
#include "tests/support/temp_folder.h"

namespace fs = std::filesystem;

// --- Servers ---

struct server_t {
  pid_t pid = -1;
  std::string first_line;  // of what it prints

  explicit server_t(const std::vector<std::string>& command)
  {
    int out[2];
    EXPECT_EQ(pipe(out), 0);
    pid = fork();
    if (pid == 0) {
      std::vector<char*> words;
      for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
      words.push_back(nullptr);
      dup2(out[1], STDOUT_FILENO);
      execvp(words[0], words.data());
      _exit(127);
    }
    close(out[1]);
    for (char c; read(out[0], &c, 1) == 1 && c != '\n';)
      first_line += c;
    close(out[0]);
  }
  ~server_t()
  {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
};

struct web_server_t {
  temp_folder folder;
  server_t process;
  std::string url;

  explicit web_server_t(const std::string& pem = "")
      : process(pem.empty() ? command() : command(pem)),
        url((pem.empty() ? "http" : "https") + ("://127.0.0.1:" + process.first_line))
  {
  }

 private:
  template <class... Pem>
  std::vector<std::string> command(const Pem&... pem)
  {
    return {"python3", std::string(getenv("SOURCE_DIR")) + "/tests/support/file_server.py",
            folder.path, pem...};
  }
};

static web_server_t& web()
{
  static web_server_t server;
  return server;
}

// A port that nobody listens on.
static std::string free_port(int type)
{
  int fd = socket(AF_INET, type, 0);
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), size), 0);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  close(fd);
  return std::to_string(ntohs(address.sin_port));
}

// --- Requests ---

static const char STARTING[] = "File transfer is starting.";
static const char NOT_STARTED[] = "Failed to start a transfer.";
static const char APPLIED[] = "Script transfer and apply successfully.";

static bool wait_until(const std::function<bool()>& condition)
{
  auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Starts a transfer and returns what its status says at the end: "STATUS PROGRESS".
static std::string transfer(int line, const std::string& request)
{
  expect_answer(line, "POST", request, 0, STARTING);
  std::string path = request.substr(0, request.find('/', 1)) + "/status";
  std::string status;
  EXPECT_TRUE(wait_until([&] {
    std::string body = api_request("GET", path, "xml").body;
    auto inside = [&](const std::string& tag) {
      size_t start = body.find("<" + tag + ">") + tag.size() + 2;
      return body.substr(start, body.find("</" + tag + ">") - start);
    };
    status = inside("status") + " " + inside("progress");
    return status.find("in progress") == std::string::npos;
  })) << "case of line "
      << line;
  return status;
}

static const char DONE[] = "Transfer completed successfully. 100%";

static std::string script_download(const std::string& url, const std::string& script,
                                   const char* act)
{
  return "/download/script?url=" + url_encode(url) + "&scr=" + script + "&act=" + act;
}

static std::string hostname()
{
  std::string body = api_request("GET", "/system", "xml").body;
  size_t at = body.find("<hostname>");
  return at == std::string::npos ? "" : body.substr(at + 10, body.find("</hostname>") - at - 10);
}

// A flash folder of the test's own, and a switch with it.
struct flash_t {
  temp_folder folder;
  explicit flash_t(const std::string& more = "")
  {
    engine_reset((R"({"flash": ")" + folder.path + "\"" + more + "}").c_str());
  }
  std::string operator[](const std::string& name) const
  {
    return file_text(folder.path + "/" + name);
  }
  size_t count() const
  {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder.path), {}));
  }
};

// --- The information file ---

static const char INFO[] = "user-apps/startupcfg_info_doc";
static const char INFO_TEMP[] = "user-apps/startupcfg_info_doc.tmp";

static void record_set(const char* time, const char* update)
{
  startupcfgInfo = {0, RC_FALSE, "", ""};
  std::string(time).copy(startupcfgInfo.cfgTime, STARTUPCFG_TIME_SIZE - 1);
  std::string(update).copy(startupcfgInfo.cfgUpdateTime, STARTUPCFG_TIME_SIZE - 1);
}

static void info_start()
{
  engine_reset();
  fs::remove_all("user-apps");
  fs::create_directory("user-apps");
}

TEST(InformationFile, IsReadLineByLine)
{
  info_start();
  const std::string cut(23, '7');
  const struct {
    int line;
    std::string file, time, update;
  } cases[] = {
      {__LINE__, "cfg_time:1\ncfg_update:2\n",                           "1",        "2"                                },
      {__LINE__, "cfg_update:2\n\nother:3\ncfg_time:10:20:30 x",         "10:20:30", "2"                                },
      {__LINE__, "cfg_time\ncfg_time:\n:5\n cfg_time:6\ncfg_timed:7\n",  "T",        "U"                                },
      {__LINE__, "cfg_update:" + cut + "8\ncfg_time:" + std::string(999, '7'),       cut,                                 cut},
      {__LINE__,        std::string(999,                                                       'x') + "\ncfg_time:9\n",                                           "9", "U"},
      {__LINE__,     std::string("\0cfg_time:1\n\xff\xfe:\x01\ncfg_update:\t2\0 3\n",                                                           34),                                                              "T",                              "2"},
      {__LINE__,     "",                                                        "T",     "U"   },
  };
  for (const auto& c : cases) {
    file_write(INFO, c.file);
    record_set("T", "U");
    EXPECT_EQ(read_startupcfg_info_file(), RC_TRUE) << c.line;
    EXPECT_EQ(startupcfgInfo.cfgTime, c.time) << c.line;
    EXPECT_EQ(startupcfgInfo.cfgUpdateTime, c.update) << c.line;
  }
}

TEST(InformationFile, IsRewrittenWithTheTwoTimesOnly)
{
  info_start();
  const struct {
    int line;
    const char *before, *after;
  } cases[] = {
      {__LINE__, "",                                            "cfg_time:T\ncfg_update:U\n"},
      {__LINE__, "third:1\ncfg_update:old\ncfg_time:old",       "cfg_update:U\ncfg_time:T\n"},
      {__LINE__, "cfg_time:\ncfg_update:\n",                    "cfg_time:T\ncfg_update:U\n"},
      {__LINE__, "cfg_update:old\n",                            "cfg_update:U\ncfg_time:T\n"},
      {__LINE__, "cfg_time:old\ncfg_update:T\n",                "cfg_time:T\ncfg_update:T\n"},
      {__LINE__, "cfg_time:T\ncfg_update:U and more\nx\xff:\n", "cfg_time:T\ncfg_update:U\n"},
  };
  record_set("T", "U");
  for (const auto& c : cases) {
    file_write(INFO, c.before);
    EXPECT_EQ(write_startupcfg_info_file(), RC_TRUE) << c.line;
    EXPECT_EQ(file_text(INFO), c.after) << c.line;
    EXPECT_FALSE(fs::exists(INFO_TEMP)) << c.line;
  }
}

TEST(InformationFile, IsWholeWheneverItIsLookedAt)
{
  info_start();
  ASSERT_EQ(initialize_transfer_variables(), RC_TRUE);
  std::atomic<bool> stop{false};
  int broken = 0, looks = 0;
  std::thread reader([&] {
    for (; !stop; looks++)
      broken += file_text(INFO).find("\ncfg_update:") == std::string::npos;
  });
  EXPECT_TRUE(wait_until([&] { return set_startup_config_time("1") == RC_TRUE; }));
  for (int i = 0; i < 60; i++)
    ASSERT_EQ(set_startup_config_time(std::to_string(i).c_str()), RC_TRUE);
  stop = true;
  reader.join();
  EXPECT_GT(looks, 0);
  EXPECT_EQ(broken, 0);
}

TEST(InformationFile, StaysAsItWasWhenAStepFails)
{
  info_start();
  const std::string old = "cfg_time:1\ncfg_update:2\n";
  const std::string request =
      "/download/config?url=http%3A%2F%2F127.0.0.1%3A1&cfg=1&cfgtime=3&"
      "updatetime=4&auto=n";
  const std::function<void()> faults[] = {
      [] { fs::create_symlink("/dev/full", INFO_TEMP); },  // no space left
      [] { fs::create_directories(std::string(INFO_TEMP) + "/in the way"); }};
  for (const auto& fault : faults) {
    fs::remove_all(INFO_TEMP);
    file_write(INFO, old);
    record_set("1", "2");
    fault();
    std::vector<std::string> calls = api_calls("POST", request);
    EXPECT_TRUE(calls.empty()) << calls[0];
    EXPECT_EQ(file_text(INFO), old);
    fault();
    record_set("1", "2");
    expect_open_error(__LINE__, "POST", request);
    EXPECT_STREQ(startupcfgInfo.cfgTime, "3");
  }
  // A folder that may only be read, for an account that may not do everything.
  fs::remove_all(INFO_TEMP);
  for (const char* path : {".", "user-apps"})
    chmod(path, 0555);
  EXPECT_EXIT(
      {
        bool became = geteuid() != 0 || seteuid(65534) == 0;
        _exit(became && write_startupcfg_info_file() == RC_FALSE ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  for (const char* path : {".", "user-apps"})
    chmod(path, 0755);
  EXPECT_EQ(file_text(INFO), old);

  fs::remove_all("user-apps");
  EXPECT_EQ(write_startupcfg_info_file(), RC_FALSE);
  expect_open_error(__LINE__, "GET", "/download/startupCfgInfo");
  EXPECT_FALSE(fs::exists("user-apps"));
}

TEST(InformationFile, IsMadeAtTheFirstStartWhereItCan)
{
  engine_process engine;
  ASSERT_TRUE(engine_process_wait_listening(engine));
  EXPECT_EQ(file_text(engine.folder.path + "/" + INFO), "cfg_time:\ncfg_update:\n");

  info_start();
  file_write(INFO, "cfg_time:1\nthird:kept\n");
  EXPECT_EQ(initialize_transfer_variables(), RC_TRUE);
  EXPECT_EQ(file_text(INFO), "cfg_time:1\nthird:kept\n");
  fs::remove_all("user-apps");
  file_write("user-apps", "no folder");
  setenv("L7PROC_LOG_STDERR", "1", 1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(initialize_transfer_variables(), RC_FALSE);
  unsetenv("L7PROC_LOG_STDERR");
  EXPECT_NE(testing::internal::GetCapturedStderr().find(INFO), std::string::npos);
  fs::remove_all("user-apps");
}

TEST(InformationFile, HoldsTheTimesOfTheLatestStartupConfiguration)
{
  info_start();
  ASSERT_EQ(initialize_transfer_variables(), RC_TRUE);
  auto expect_info = [](int line, const char* time, const char* update, const char* modified) {
    expect_xml_answer(
        line, "GET", "/download/startupCfgInfo", 0, "Get data successfully.",
        ("<information><cfg_time>" + std::string(time) + "</cfg_time><cfg_update>" + update +
         "</cfg_update><cfg_modified>" + modified + "</cfg_modified></information>")
            .c_str());
  };
  auto download = [](const std::string& parameters) {
    return "/download/config?url=http%3A%2F%2F127.0.0.1%3A1&" + parameters;
  };
  expect_info(__LINE__, "", "", "no");
  // Times are kept whether or not the rest of the request is right.
  expect_open_error(__LINE__, "POST", download("cfg=1&cfgtime=T1&auto=n"));
  expect_info(__LINE__, "T1", "", "no");
  expect_open_error(__LINE__, "POST", download("cfg=1&cfgtime=T2&updatetime=U2&auto=x"));
  expect_info(__LINE__, "T2", "U2", "no");
  expect_open_error(__LINE__, "POST",
                    download("cfg=1&cfgtime=T3%0Acfg_time:4&updatetime=5&auto=n"));
  expect_open_error(__LINE__, "POST",
                    download("cfg=1&cfgtime=" + std::string(24, '1') + "&updatetime=U&auto=n"));
  expect_info(__LINE__, "T2", "U2", "no");
  EXPECT_EQ(file_text(INFO), "cfg_time:T2\ncfg_update:U2\n");
  file_write(INFO, "cfg_time:from\ncfg_update:outside\n");
  expect_info(__LINE__, "from", "outside", "no");
  expect_answer(__LINE__, "PUT", "/system/hostname?value=changed", 0,
                "Update system hostname successfully.");
  expect_info(__LINE__, "from", "outside", "yes");

  info_start();
  ASSERT_EQ(initialize_transfer_variables(), RC_TRUE);
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiTransferFileDownload", R"({"result": -31})"));
  expect_answer(__LINE__, "POST", download("cfg=2&auto=n"), 2, NOT_STARTED);
  expect_info(__LINE__, "", "", "no");
  switchsim_faults_clear();
  expect_answer(__LINE__, "POST", download("cfg=2&auto=y"), 0, STARTING);
  transfer(__LINE__, download("cfg=3&auto=n"));
  expect_info(__LINE__, "", "", "yes");
  expect_each_call_checked(__LINE__, "GET", "/download/startupCfgInfo");
}

// --- Parameters and calls ---

TEST(Transfer, ChecksItsParametersBeforeItCalls)
{
  engine_reset();
  const std::string url = "url=http%3A%2F%2F127.0.0.1%3A1%2Fx";
  const std::string long_url = "url=http%3A%2F%2F127.0.0.1%2F" + std::string(1007, 'x');
  for (const std::string& request : std::vector<std::string>{
           "/download/image?img=active&auto=n",
           "/download/image?url=&img=active&auto=n",
           "/download/image?" + url + "&auto=n",
           "/download/image?" + url + "&img=Active&auto=n",
           "/download/image?" + url + "&img=active2&auto=n",
           "/download/image?" + url + "&img=active",
           "/download/image?" + url + "&img=active&auto=yes",
           "/download/image?" + url + "&img=active&auto=N",
           "/download/image?" + long_url + "&img=active&auto=n",
           "/download/config?cfg=2&auto=n",
           "/download/config?" + url + "&auto=n",
           "/download/config?" + url + "&cfg=0&auto=n",
           "/download/config?" + url + "&cfg=4&auto=n",
           "/download/config?" + url + "&cfg=-1&auto=n",
           "/download/config?" + url + "&cfg=2x&auto=n",
           "/download/config?" + url + "&cfg=0002&auto=n",
           "/download/config?" + url + "&cfg=2&auto=",
           "/upload/config?cfg=2&sn=1",
           "/upload/config?" + url + "&cfg=6&sn=1",
           "/upload/config?" + url + "&cfg=4",
           "/upload/config?" + url + "&cfg=4&sn=abc",
           "/upload/config?" + url + "&cfg=4&sn=" + std::string(256, '1'),
           "/download/script?scr=a.scr&act=n",
           "/download/script?" + url + "&act=n",
           "/download/script?" + url + "&scr=" + std::string(29, 'a') + ".scr&act=n",
           "/download/script?" + url + "&scr=a.scr",
           "/upload/script?scr=a.scr",
           "/upload/script?" + url,
           "/upload/script?" + url + "&scr=" + std::string(256, 'a'),
       }) {
    std::vector<std::string> calls = api_calls("POST", request);
    EXPECT_TRUE(calls.empty()) << request << ": " << calls[0];
    expect_open_error(__LINE__, "POST", request);
  }
  for (const char* path : {"/download", "/upload", "/upload/image", "/download/image/",
                           "/download/statusx", "/upload/startupCfgInfo"}) {
    expect_bad_request(__LINE__, "POST", path);
    expect_bad_request(__LINE__, "GET", path);
  }
}

TEST(Transfer, HandsOverNamesAndTellsHowTheStartWent)
{
  const std::string text = "http://h/" + std::string(1014, 'x');  // 1023 characters
  const std::string url = "url=" + url_encode(text);
  const std::string tail = "({1024,\"" + text + "\"}, ";
  const struct {
    int line;
    std::string request, call, file;
  } cases[] = {
      {__LINE__,      "/download/image?auto=n&img=backup&",                    "Download", "{7,\"backup\"}"           },
      {__LINE__,      "/download/config?auto=n&cfg=1&cfgtime=1&updatetime=1&", "Download",
       "{15,\"startup-config\"}"                                                                                      },
      {__LINE__,      "/download/config?auto=n&cfg=02&",                       "Download", "{14,\"backup-config\"}"   },
      {__LINE__,      "/download/config?auto=n&cfg=3&",                        "Download", "{17,\"factory-defaults\"}"},
      {__LINE__,      "/upload/config?sn=1&cfg=4&",                            "Upload",   "{15,\"running-config\"}"  },
      {__LINE__,      "/upload/config?sn=1&cfg=5&",                            "Upload",   "{13,\"tarvexia.cfg\"}"    },
      {__LINE__,      "/download/script?act=n&scr=" + std::string(32,          'a') + "&", "Download",
       "{33,\"" + std::string(32, 'a') + "\"}"},
      {__LINE__, "/upload/script?scr=b.scr&",                                                        "Upload",                                                           "{6,\"b.scr\"}"                                                          },
  };
  info_start();
  for (const auto& c : cases) {
    const std::string call = "rpcclt_openapiTransferFile" + c.call;
    const struct {
      int result, code;
    } results[] = {
        {-28, 1 },
        {-31, 2 },
        {-24, 99},
        {-29, 99},
    };
    for (const auto& r : results) {
      ASSERT_TRUE(switchsim_fault_set(call.c_str(),
                                      ("{\"result\": " + std::to_string(r.result) + "}").c_str()));
      if (r.code == 99)
        expect_open_error(c.line, "POST", c.request + url);
      else
        expect_answer(c.line, "POST", c.request + url, r.code,
                      r.code == 1 ? "Another Transfer is in Progress." : NOT_STARTED);
    }
    expect_calls(c.line, api_calls("POST", c.request + url),
                 {(call + tail + c.file + ")").c_str()});
    switchsim_faults_clear();
  }
}

TEST(Transfer, AsksForTheRestartOnlyWithAuto)
{
  for (const std::string request :
       {"/download/image?img=active&url=", "/download/config?cfg=2&url="}) {
    engine_reset();
    const std::string stall = request + url_encode(web().url + "/stall") + "&auto=";
    expect_calls(__LINE__, api_calls("POST", stall + "n"), {"rpcclt_openapiTransferFileDownload("});
    engine_reset();
    expect_calls(
        __LINE__, api_calls("POST", stall + "y"),
        {"rpcclt_openapiTransferFileDownload(", "rpcclt_openapiTransferCompletedRebootSet() = 0"});
    engine_reset(R"({"faults": {"rpcclt_openapiTransferCompletedRebootSet": {"result": -24}}})");
    expect_answer(__LINE__, "POST", stall + "y", 98, "The same setting is already set.");
  }
}

TEST(Transfer, KeepsTheSerialNumberOfAnUpload)
{
  engine_reset();
  const struct {
    const char *sn, *kept;
  } cases[] = {
      {"12345x",     "12345"     },
      {"4294967295", "4294967295"},
      {"4294967296", "4294967295"},
      {"+7",         "7"         },
      {"-1",         "4294967295"},
      {"0",          "0"         }
  };
  for (const auto& c : cases) {
    transfer(__LINE__, "/upload/config?cfg=4&sn=" + url_encode(c.sn) +
                           "&url=" + url_encode(web().url + "/config"));
    expect_xml_answer(__LINE__, "GET", "/upload/status", 0, "Get data successfully.",
                      ("<information><status>Transfer completed successfully.</status><progress>"
                       "100%</progress><cfg_upload_sn>" +
                       std::string(c.kept) + "</cfg_upload_sn></information>")
                          .c_str());
  }
  expect_each_call_checked(__LINE__, "GET", "/upload/status");
  expect_each_call_checked(__LINE__, "GET", "/download/status");
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiTransferDownloadStatusGet",
                                  ("{\"value\": \"" + std::string(256, 's') + "\"}").c_str()));
  expect_answer(
      __LINE__, "GET", "/download/status", 0, "Get data successfully.",
      (R"({"information":{"status":")" + std::string(255, 's') + R"(","progress":"100%"}})")
          .c_str());
}

// --- Real transfers ---

TEST(Download, BringsFilesFromEveryServerByteForByte)
{
  flash_t flash;
  temp_folder folder;
  make_certificate(folder.path + "/ssl.pem");
  web_server_t secure(folder.path + "/ssl.pem");
  chmod(folder.path.c_str(), 0755);
  const std::string tftp_port = free_port(SOCK_DGRAM);
  std::string content = "# \r\n";
  for (int i = 0; i < 200000; i++)
    content += static_cast<char>(i * 31 % 251);
  for (const std::string& path : {web().folder.path, secure.folder.path, folder.path})
    file_write(path + "/a b.bin", content);
  const std::string tftp = "tftp://127.0.0.1:" + tftp_port;
  server_t atftpd({"sh", "-c",
                   "echo; exec atftpd --daemon --no-fork --logfile /dev/null --port " + tftp_port +
                       " --bind-address 127.0.0.1 " + folder.path});
  EXPECT_TRUE(wait_until([&] {
    return api_request("POST", script_download(tftp + "/a%20b.bin", "up.scr", "y"), "xml")
               .body.find("<rlt_code>99<") != std::string::npos;  // here, and no script
  }));
  for (const std::string& url : {web().url, secure.url, tftp, web().url + "/to?" + web().url}) {
    fs::remove(flash.folder.path + "/active");
    EXPECT_EQ(transfer(__LINE__,
                       "/download/image?img=active&auto=n&url=" + url_encode(url + "/a%20b.bin")),
              DONE);
    EXPECT_TRUE(flash["active"] == content) << url;
  }
  EXPECT_EQ(transfer(__LINE__, "/download/config?cfg=2&auto=n&url=" +
                                   url_encode("file://" + flash.folder.path + "/active")),
            DONE);
  EXPECT_TRUE(flash["backup-config"] == content);

  // And back, the query string kept.
  file_write(folder.path + "/put", "");
  chmod((folder.path + "/put").c_str(), 0666);
  for (const std::string& url : {web().url + "/put?x=1%202", secure.url + "/put?x=1%202",
                                 tftp + "/put", "file://" + flash.folder.path + "/copy"})
    EXPECT_EQ(transfer(__LINE__, "/upload/config?cfg=2&sn=1&url=" + url_encode(url)), DONE);
  for (const std::string& path :
       {web().folder.path + "/put%3Fx%3D1%25202", secure.folder.path + "/put%3Fx%3D1%25202",
        folder.path + "/put", flash.folder.path + "/copy"})
    EXPECT_TRUE(wait_until([&] { return file_text(path) == content; })) << path;
}

TEST(Download, LeavesTheFlashAsItWasWhenItFails)
{
  flash_t flash(R"(, "flash_size": 3000, "transfer_stall_s": 1)");
  const std::string refused = "http://127.0.0.1:" + free_port(SOCK_STREAM);
  file_write(flash.folder.path + "/a.scr", "hostname old\n");
  file_write(web().folder.path + "/large", std::string(2990, '#'));
  file_write(web().folder.path + "/empty", "");
  fs::create_symlink("/etc/hostname", flash.folder.path + "/link.scr");
  for (const std::string& url :
       {web().url + "/none", web().url + "/cut", web().url + "/stall", web().url + "/large",
        web().url + "/to?file:///etc/hostname", web().url + "/to?ftp://127.0.0.1/x",
        web().url + "/to?/to?/to?/to?/to?/to?/to?/empty", refused + "/x"}) {
    auto start = std::chrono::steady_clock::now();
    expect_answer(__LINE__, "POST", script_download(url, "a.scr", "y"), 2, NOT_STARTED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << url;
    std::string status = api_request("GET", "/download/status", "xml").body;
    EXPECT_NE(status.find("Transfer failed: "), std::string::npos) << status;
    EXPECT_EQ(status.find("100%"), std::string::npos) << status;
    expect_answer(__LINE__, "POST", script_download(url, "new.scr", "y"), 2, NOT_STARTED);
  }
  EXPECT_NE(transfer(__LINE__,
                     "/download/image?img=backup&auto=n&url=" + url_encode(web().url + "/empty")),
            DONE);
  EXPECT_EQ(flash["a.scr"], "hostname old\n");
  EXPECT_EQ(flash.count(), 2u);  // the script and the link
  expect_answer(__LINE__, "GET", "/script/list", 0, "Get script file list successfully.",
                R"({"script_files":{"count_of_files":1,"1":{"filename":"a.scr"}}})");
}

TEST(Download, RefusesNamesAndUrlsThatLeadElsewhere)
{
  flash_t flash;
  fs::create_symlink("/etc/hostname", flash.folder.path + "/link.scr");
  const std::string inside = "file://" + flash.folder.path + "/";
  file_write(flash.folder.path + "/a.scr", "#");
  for (const std::string& url :
       {std::string("file:///etc/hostname"), inside + "../x", inside + "%2e%2e/x", inside + "a/b",
        inside + "none.scr", inside + "link.scr", std::string("/etc/hostname"),
        std::string("127.0.0.1/x"), std::string("gopher://127.0.0.1/x"), std::string("scp:///x"),
        std::string("http://127.0.0.1/a b"), std::string("http://127.0.0.1/a\r\nb")})
    expect_open_error(__LINE__, "POST", script_download(url, "x.scr", "n"));
  for (const char* name : {"..%2Fx.scr", "%2Ftmp%2Fx.scr", "a%2Fx.scr", "..", ".scr", "x.txt",
                           "running-config", "startup-config.scr%2F", "x.scr%0A"})
    expect_open_error(__LINE__, "POST", script_download(web().url + "/empty", name, "n"));
  for (const std::string name : {"none.scr", "link.scr", "..%2F..%2Fetc%2Fhostname"})
    expect_open_error(__LINE__, "POST",
                      "/upload/script?scr=" + name + "&url=" + url_encode(web().url + "/x"));
  expect_open_error(__LINE__, "POST", "/upload/script?scr=a.scr&url=file%3A%2F%2F%2Ftmp%2Fx.scr");
  EXPECT_EQ(flash.count(), 2u);
}

TEST(Download, RunsAloneAndTellsHowFarItIs)
{
  engine_reset();
  const std::string request = script_download(web().url + "/stall", "a.scr", "n");
  expect_answer(__LINE__, "GET", "/download/status", 0, "Get data successfully.",
                R"({"information":{"status":"No transfer was started.","progress":"0%"}})");
  expect_answer(__LINE__, "POST", request, 0, STARTING);
  EXPECT_TRUE(wait_until([] {
    return api_request("GET", "/download/status", "xml").body.find(">50%<") != std::string::npos;
  }));
  for (const std::string& second :
       {request, "/upload/config?cfg=4&sn=1&url=" + url_encode(web().url + "/x")})
    expect_answer(__LINE__, "POST", second, 1, "Another Transfer is in Progress.");
  // A switch that starts again ends it.
  expect_answer(__LINE__, "POST", "/system/reload?value=3", 0, "Reset the system is starting.");
  EXPECT_TRUE(wait_until([] {
    return api_request("GET", "/download/status", "xml").body.find("stopped") != std::string::npos;
  }));
}

TEST(Download, WaitsForAScriptWithoutBeingBusy)
{
  const std::string good = web().url + "/good.scr";
  file_write(web().folder.path + "/good.scr", "hostname applied\n");
  file_write(web().folder.path + "/bad.scr", "hostname broken\nno such command\n");
  engine_reset(R"({"transfer_stall_s": 2})");
  expect_answer(__LINE__, "POST", script_download(good, "a.scr", "y"), 0, APPLIED);
  EXPECT_EQ(hostname(), "applied");
  expect_open_error(__LINE__, "POST", script_download(web().url + "/bad.scr", "a.scr", "y"));
  EXPECT_EQ(hostname(), "applied");

  const clock_t start = clock();
  std::vector<std::string> calls =
      api_calls("POST", script_download(web().url + "/stall", "a.scr", "y"));
  EXPECT_LT(clock() - start, CLOCKS_PER_SEC / 2);
  EXPECT_LT(calls.size(), 60u);
  ASSERT_GT(calls.size(), 10u);
  EXPECT_EQ(calls.end()[-2], "rpcclt_openapiTransferInProgressGet(>0) = 0");
  EXPECT_EQ(calls.back(), "rpcclt_openapiTransferResultCodeGet(0, >2) = 0");

  for (const char* call :
       {"TransferInProgressGet", "TransferResultCodeGet", "TxtCfgValidateAndApply"})
    for (const char* result : {"-26", "-24"}) {
      engine_reset();
      ASSERT_TRUE(switchsim_fault_set(("rpcclt_openapi" + std::string(call)).c_str(),
                                      ("{\"result\": " + std::string(result) + "}").c_str()));
      std::string code = result == std::string("-24") ? "<rlt_code>98<" : "<rlt_code>99<";
      std::string body = api_request("POST", script_download(good, "a.scr", "y"), "xml").body;
      EXPECT_NE(body.find(code), std::string::npos) << call << result << body;
    }
}

TEST(Configuration, TravelsAndIsInForceAfterAReload)
{
  flash_t flash;
  const std::string at = web().url + "/";
  expect_answer(__LINE__, "PUT", "/system/hostname?value=first", 0,
                "Update system hostname successfully.");
  for (const char* cfg : {"1", "3", "4", "5"})
    EXPECT_EQ(transfer(__LINE__, "/upload/config?sn=1&cfg=" + std::string(cfg) +
                                     "&url=" + url_encode(at + "cfg" + cfg)),
              DONE);
  expect_open_error(__LINE__, "POST", "/upload/config?sn=1&cfg=2&url=" + url_encode(at + "cfg2"));
  const std::string running = file_text(web().folder.path + "/cfg4");
  const std::string delivered = file_text(web().folder.path + "/cfg1");
  EXPECT_NE(running.find("hostname first\n"), std::string::npos) << running;
  EXPECT_EQ(delivered, file_text(web().folder.path + "/cfg3"));
  EXPECT_EQ(delivered.find("first"), std::string::npos);
  server_t tar({"sh", "-c",
                "cd " + web().folder.path +
                    " && mkdir archive && tar -C archive -xf cfg5 && ls archive | "
                    "tr '\\n' ' ' && cmp archive/running-config cfg4"});
  EXPECT_EQ(tar.first_line, "factory-defaults running-config startup-config ");

  // The running configuration suits the switch it came from.
  expect_answer(__LINE__, "POST", script_download(at + "cfg4", "run.scr", "y"), 0, APPLIED);
  EXPECT_EQ(hostname(), "first");

  info_start();
  fs::remove_all(flash.folder.path + "/run.scr");
  engine_reset((R"({"flash": ")" + flash.folder.path + "\"}").c_str());
  const std::string startup =
      "/download/config?cfg=1&cfgtime=1&updatetime=1&url=" + url_encode(at + "cfg4") + "&auto=";
  EXPECT_EQ(transfer(__LINE__, startup + "n"), DONE);
  EXPECT_EQ(flash["startup-config"], running);
  EXPECT_NE(hostname(), "first");
  expect_answer(__LINE__, "POST", "/system/reload?value=3", 0, "Reset the system is starting.");
  EXPECT_TRUE(wait_until([] { return hostname() == "first"; }));
  // The same in one request; whatever was not saved is lost.
  expect_answer(__LINE__, "PUT", "/system/hostname?value=second", 0,
                "Update system hostname successfully.");
  expect_answer(__LINE__, "POST", startup + "y", 0, STARTING);
  EXPECT_TRUE(wait_until([] { return hostname() == "first"; }));
  // What the flash holds is loaded when the process starts.
  engine_reset((R"({"flash": ")" + flash.folder.path + "\"}").c_str());
  EXPECT_EQ(hostname(), "first");
}

// The real executable: only its own memory counts.
TEST(Download, NeedsNoMoreMemoryForALargeFile)
{
  constexpr off_t IMAGE_SIZE = 900L << 20;
  temp_folder flash;
  const std::string image = web().folder.path + "/image";
  file_write(image, "");
  ASSERT_EQ(truncate(image.c_str(), IMAGE_SIZE), 0);
  engine_process engine(R"({"flash": ")" + flash.path + "\"}");
  ASSERT_TRUE(engine_process_wait_listening(engine));
#ifdef __SANITIZE_ADDRESS__
  printf("The sanitizer's own memory leaves no room for a limit: the resident memory counts.\n");
  const long resident_max = engine_process_resident_kib(engine) + (32L << 10);
#else
  const rlimit limit = {64u << 20, 64u << 20};
  ASSERT_EQ(prlimit(engine.pid, RLIMIT_DATA, &limit, nullptr), 0);
  const long resident_max = 64L << 10;
#endif
  http_client client;
  auto request = [&](const std::string& path) {
    return http_request(client, "POST", engine.url + path).body;
  };
  std::string key = request("/login?user=admin&password=admin");
  key = key.substr(key.find("<sessionKey>") + 12, 32);
  request("/download/image?img=active&auto=n&sessionkey=" + key +
          "&url=" + url_encode(web().url + "/image"));
  EXPECT_TRUE(wait_until([&] {
    EXPECT_LT(engine_process_resident_kib(engine), resident_max);
    return request("/download/status?method=GET&sessionkey=" + key).find(">100%<") !=
           std::string::npos;
  })) << request("/download/status?method=GET&sessionkey=" + key);
  EXPECT_EQ(fs::file_size(flash.path + "/active"), static_cast<uintmax_t>(IMAGE_SIZE));
}
