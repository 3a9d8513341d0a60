// Downloads and uploads against real servers on the loopback address, and the file with the times
// of the startup configuration.
#include <dlfcn.h>
#include <netdb.h>

#include <future>

#include "modules/rest_startupcfg.h"
#include "tests/support/engine_test.h"
#include "tests/support/eventually.h"

namespace fs = std::filesystem;

// Ends of steps.
static const char STARTING[] = "\n  result 0 File transfer is starting.";
static const char APPLIED[] = "\n  result 0 Script transfer and apply successfully.";
static const char DONE[] = "Transfer completed successfully. 100%";

// A shell command that runs until the record goes; it says one line first.
struct server_t {
  pid_t pid = -1;
  char first_line[64] = "";
  FILE* output;
  explicit server_t(const std::string& command) : output(popen(("echo $$;" + command).c_str(), "r"))
  {
    EXPECT_EQ(fscanf(output, "%d %63[^\n]", &pid, first_line), 2) << command;
  }
  ~server_t()
  {
    kill(pid, SIGKILL);
    pclose(output);
  }
};

struct web_server_t {
  temp_folder folder;
  server_t process;
  std::string url = std::string("http://127.0.0.1:") + process.first_line;
  explicit web_server_t(const std::string& pem = "")
      : process("exec python3 $SOURCE_DIR/tests/support/file_server.py " + folder.path + " " + pem)
  {
    if (!pem.empty())
      url.insert(4, "s");
  }
};

static web_server_t& web()
{
  static web_server_t server;
  return server;
}

static std::string inside(const std::string& xml, const std::string& tag)
{
  size_t at = xml.find("<" + tag + ">");
  const size_t start = at + tag.size() + 2;
  return at == xml.npos ? "" : xml.substr(start, xml.find('<', start) - start);
}

static std::string get(const std::string& path, const std::string& tag)
{
  return inside(api_request("GET", path, "xml").body, tag);
}

// Starts a transfer and returns what its status says at the end: "STATUS PROGRESS".
static std::string transfer(int line, const std::string& request, const std::string& url)
{
  run_script(line, "POST " + request + "&url=" + url_encode(url) + STARTING);
  const std::string path = request.substr(0, request.find('/', 1)) + "/status";
  EXPECT_TRUE(eventually([&] { return get(path, "status") != "Transfer is in progress."; }))
      << line;
  return get(path, "status") + " " + get(path, "progress");
}

static std::string script_download(const std::string& url, const std::string& script,
                                   const std::string& act = "y")
{
  return "POST /download/script?url=" + url_encode(url) + "&scr=" + script + "&act=" + act;
}

// A flash folder of the test's own, and a switch with it.
struct flash_t {
  temp_folder folder;
  std::string path = folder.path + "/";
  explicit flash_t(const std::string& more = "")
  {
    engine_reset((R"({"flash": ")" + path + "\"" + more + "}").c_str());
  }
  size_t count() const
  {
    return static_cast<size_t>(std::distance(fs::directory_iterator(path), {}));
  }
};

// --- The information file ---

static const std::string INFO = "user-apps/startupcfg_info_doc";
static const std::string INFO_TEMP = INFO + ".tmp";

static void info_start(const std::string& content = "", const char* time = "",
                       const char* update = "")
{
  fs::remove_all("user-apps");
  fs::create_directory("user-apps");
  file_write(INFO, content);
  startupcfgInfo = {0, RC_FALSE, "", ""};
  strncpy(startupcfgInfo.cfgTime, time, STARTUPCFG_TIME_SIZE - 1);
  strncpy(startupcfgInfo.cfgUpdateTime, update, STARTUPCFG_TIME_SIZE - 1);
}

// With the times T and U before.
TEST(InformationFile, IsReadLineByLineAndRewrittenWithTheTwoTimesOnly)
{
  engine_reset();
  const std::string cut(23, '7'), plain = "cfg_time:T\ncfg_update:U\n",
                                  turned = "cfg_update:U\ncfg_time:T\n";
  // clang-format off
  const std::string rows[][3] = {
      {"", "T U", plain}, {"cfg_time:1\ncfg_update:2\n", "1 2", plain},
      {"cfg_update:2\n\nother:3\ncfg_time:10:20:30 x", "10:20:30 2", turned},
      {"cfg_time\ncfg_time:\n:5\n cfg_time:6\ncfg_timed:7\n", "T U", plain},
      {"cfg_update:" + cut + "8\ncfg_time:" + std::string(999, '7'), cut + " " + cut, turned},
      {std::string(999, 'x') + "\ncfg_time:9\n", "9 U", plain},
      {std::string("\0cfg_time:1\n\xff\xfe:\x01\ncfg_update:\t2\0 3\n", 34), "T 2", turned},
      {"cfg_update:old\n", "T old", turned},
      {"cfg_time:old\ncfg_update:T\n", "old T", "cfg_time:T\ncfg_update:T\n"},
      {"cfg_time:T\ncfg_update:U more\nx\xff:\n", "T U", plain}};
  // clang-format on
  for (const auto& [text, times, rewritten] : rows) {
    info_start(text, "T", "U");
    EXPECT_EQ(read_startupcfg_info_file(), RC_TRUE) << text;
    EXPECT_EQ(std::string(startupcfgInfo.cfgTime) + " " + startupcfgInfo.cfgUpdateTime, times)
        << text;
    info_start(text, "T", "U");
    EXPECT_EQ(write_startupcfg_info_file(), RC_TRUE) << text;
    EXPECT_EQ(file_text(INFO), rewritten) << text;
    EXPECT_FALSE(fs::exists(INFO_TEMP)) << text;
  }
}

TEST(InformationFile, IsWholeWheneverItIsLookedAt)
{
  engine_reset();
  info_start("cfg_time:0\ncfg_update:0\n");
  std::atomic<bool> stop{false};
  std::atomic<int> broken{0}, looks{0};
  std::thread reader([&] {
    for (; !stop; looks++)
      broken += file_text(INFO).find("\ncfg_update:") == std::string::npos;
  });
  for (int i = 1; i < 60 || looks < 60; i++)
    EXPECT_EQ(set_startup_config_time(std::to_string(i).c_str()), RC_TRUE);
  stop = true;
  reader.join();
  EXPECT_EQ(broken, 0);
}

// As if the flash had no more room.
static void limit_file_size(rlim_t bytes)
{
  const rlimit limit = {bytes, RLIM_INFINITY};
  signal(SIGXFSZ, SIG_IGN);
  EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST(InformationFile, IsNotWhatSomebodyPutInItsPlace)
{
  engine_reset();
  const std::string victim = "user-apps/victim";
  for (const std::string other : {"mkfifo ", "ln -s victim ", "mkdir "}) {
    info_start();
    file_write(victim, "cfg_time:5\n");
    fs::remove(INFO);
    EXPECT_EQ(system((other + INFO).c_str()), 0);
    fs::create_symlink("victim", INFO_TEMP);
    EXPECT_EQ(initialize_transfer_variables(), RC_TRUE);
    EXPECT_EQ(file_text(INFO), "cfg_time:\ncfg_update:\n");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(INFO)));
    EXPECT_EQ(file_text(victim), "cfg_time:5\n");
  }
}

TEST(InformationFile, StaysAsItWasWhenAStepFails)
{
  engine_reset();
  const std::string old = "cfg_time:1\ncfg_update:2\n";
  const std::function<void()> faults[] = {
      [] { limit_file_size(8); }, [] { fs::create_directories(INFO_TEMP + "/in the way"); }};
  for (const auto& fault : faults) {
    info_start(old, "1", "2");
    fault();
    EXPECT_TRUE(api_calls("POST", "/download/config?url=http:x&cfg=1&cfgtime=3&updatetime=4&auto=n")
                    .empty());
    EXPECT_EQ(file_text(INFO), old);
    EXPECT_STREQ(startupcfgInfo.cfgTime, "3");
    limit_file_size(RLIM_INFINITY);
  }
  fs::remove_all("user-apps");
  EXPECT_EQ(write_startupcfg_info_file(), RC_FALSE);
  run_script(__LINE__, "GET /download/startupCfgInfo  result 99");
  EXPECT_FALSE(fs::exists("user-apps"));
}

TEST(InformationFile, IsMadeAtTheFirstStartWhereItCan)
{
  engine_reset();
  info_start("cfg_time:1\nthird:kept\n");
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
  engine_reset();
  info_start();
  const std::string info = "GET /download/startupCfgInfo";
  const std::string request = "POST /download/config?url=http://127.0.0.1:1&cfg=1&";
  // Times are kept whether or not the rest of the request is right.
  run_script(__LINE__, R"(
$info  data {"information": {"cfg_time": "", "cfg_update": "", "cfg_modified": "no"}}
$requestcfgtime=T1&auto=n  result 99
$info  contains "cfg_time": "T1", "cfg_update": "", "cfg_modified": "no"
$requestcfgtime=T2&updatetime=U2&auto=x  result 99
$info  contains "cfg_time": "T2", "cfg_update": "U2", "cfg_modified": "no"
$requestcfgtime=T3%0Acfg_time:4&updatetime=U&auto=n  result 99
$requestcfgtime=$[24-times-1]&updatetime=U&auto=n  result 99)",
             "$info", info, "$request", request);
  EXPECT_EQ(file_text(INFO), "cfg_time:T2\ncfg_update:U2\n");
  file_write(INFO, "cfg_time:from\ncfg_update:outside\n");
  run_script(__LINE__, R"(
$info  contains "cfg_time": "from", "cfg_update": "outside", "cfg_modified": "no"
PUT /system/hostname?value=x
$info  contains "cfg_time": "from", "cfg_update": "outside", "cfg_modified": "yes"
sweep GET /download/startupCfgInfo
switch {"faults": {"rpcclt_openapiTransferFileDownload": {"result": -31, "times": 1}}}
POST /download/config?cfg=2&auto=n&url=x  result 2 Failed to start a transfer.)",
             "$info", info);
  for (const char* restart : {"y", "n"}) {
    transfer(__LINE__, std::string("/download/config?cfg=2&auto=") + restart, "http://127.0.0.1:1");
    run_script(__LINE__,
               info + "\n  contains \"cfg_modified\": " + (*restart == 'y' ? "\"no\"" : "\"yes\""));
  }
}

TEST(Transfer, AsksForTheRestartOnlyWithAuto)
{
  for (const char* request : {"/download/image?img=active&url=", "/download/config?cfg=2&url="})
    run_script(__LINE__, R"(switch {}
POST $stall&auto=n  calls TransferFileDownload
switch {}
POST $stall&auto=y  calls TransferFileDownload then TransferCompletedRebootSet() = 0
switch {"faults": {"rpcclt_openapiTransferCompletedRebootSet": {"result": -24}}}
POST $stall&auto=y  result 98)",
               "$stall", request + url_encode(web().url + "/stall"));
}

// --- Real transfers ---

TEST(Download, BringsFilesFromEveryServerByteForByte)
{
  flash_t flash;
  temp_folder folder;
  make_certificate(folder.path + "/ssl.pem");
  chmod(folder.path.c_str(), 0755);
  web_server_t secure(folder.path + "/ssl.pem");
  server_t atftpd(
      "P=$(python3 -c 'import socket; s = socket.socket(2, 2); s.bind((\"127.0.0.1\", 0)); "
      "print(s.getsockname()[1])'); echo $P; exec atftpd --daemon --no-fork --logfile /dev/null "
      "--bind-address 127.0.0.1 --port $P " +
      folder.path);
  char listening[8];
  snprintf(listening, sizeof listening, ":%04X ", static_cast<unsigned>(atoi(atftpd.first_line)));
  ASSERT_TRUE(
      eventually([&] { return file_text("/proc/net/udp").find(listening) != std::string::npos; }));
  const std::string tftp = std::string("tftp://127.0.0.1:") + atftpd.first_line;

  std::string content = "# \r\n";
  for (int i = 0; i < 200000; i++)
    content += static_cast<char>(i * 31 % 251);
  for (const std::string& path : {web().folder.path, secure.folder.path, folder.path})
    file_write(path + "/a b.bin", content);
  for (const std::string& url : {web().url, secure.url, tftp, web().url + "/to?" + web().url}) {
    fs::remove(flash.path + "active");
    EXPECT_EQ(transfer(__LINE__, "/download/image?img=active&auto=n", url + "/a%20b.bin"), DONE);
    EXPECT_TRUE(file_text(flash.path + "active") == content) << url;
  }
  EXPECT_EQ(transfer(__LINE__, "/download/config?cfg=2&auto=n", "file://" + flash.path + "active"),
            DONE);

  // And back, the query string kept.
  file_write(folder.path + "/put", "");
  chmod((folder.path + "/put").c_str(), 0666);
  for (const auto& [url, path] :
       {std::pair(web().url + "/put?x=1%202", web().folder.path + "/put%3Fx%3D1%25202"),
        std::pair(secure.url + "/put?x=1%20", secure.folder.path + "/put%3Fx%3D1%2520"),
        std::pair(tftp + "/put", folder.path + "/put"),
        std::pair("file://" + flash.path + "copy", flash.path + "copy")}) {
    EXPECT_EQ(transfer(__LINE__, "/upload/config?cfg=2&sn=1", url), DONE);
    EXPECT_TRUE(eventually([&, file = path] { return file_text(file) == content; })) << path;
  }
}

TEST(Download, LeavesTheFlashAsItWasWhenItFails)
{
  flash_t flash(R"(, "flash_size": 3000, "transfer_stall_s": 1)");
  file_write(flash.path + "a.scr", "hostname old\n");
  file_write(web().folder.path + "/large", std::string(2990, '#'));
  file_write(web().folder.path + "/empty", "");
  for (const std::string path :
       {"/none", "/cut", "/stall", "/large", "/to?file:///etc/hostname", "/to?ftp://127.0.0.1/x",
        "/to?/to?/to?/to?/to?/to?/to?/empty", "/part", "/", "/?a=b", "/to?/", "/a.scr;type=i", ""})
    for (const char* script : {"a.scr", "new.scr"}) {
      const std::string url = path.empty() ? "http://127.0.0.1:1/refused" : web().url + path;
      run_script(__LINE__,
                 script_download(url, script) + "\n  result 2 Failed to start a transfer.");
      EXPECT_EQ(get("/download/status", "status").find("Transfer failed: "), 0u) << path;
      EXPECT_NE(get("/download/status", "progress"), "100%") << path;
    }
  EXPECT_NE(transfer(__LINE__, "/download/image?img=backup&auto=n", web().url + "/empty"), DONE);
  for (const char* url : {"ftp://127.0.0.1:1/x;type=d", "tftp://127.0.0.1:1/x;mode=netascii"})
    EXPECT_EQ(transfer(__LINE__, "/download/config?cfg=2&auto=n", url),
              "Transfer failed: the URL asks for another form of the file. 0%");
  EXPECT_EQ(file_text(flash.path + "a.scr"), "hostname old\n");
  EXPECT_EQ(flash.count(), 1u);
  EXPECT_EQ(get("/script/list", "filename"), "a.scr");
  file_write(web().folder.path + "/fits", std::string(2987, '#'));
  EXPECT_EQ(transfer(__LINE__, "/download/image?img=backup&auto=n", web().url + "/fits"), DONE);
}

// What is written to a file of the flash has to suit that file, wherever it comes from.
TEST(Upload, ToAFileObeysWhatTheFileIs)
{
  flash_t flash;
  file_write(flash.path + "active", std::string(9 << 20, 'i'));
  file_write(flash.path + "empty.scr", "");
  const std::string large = "Transfer failed: the file is too large.",
                    empty = "Transfer failed: the file is empty.";
  // clang-format off
  const std::string rows[][3] = {
      {"active", "new.scr", large}, {"active", "startup-config", large}, {"active", "other", DONE},
      {"empty.scr", "backup", empty}, {"empty.scr", "new.scr", DONE}};
  // clang-format on
  for (const auto& [file, target, status] : rows)
    EXPECT_EQ(transfer(__LINE__, "/upload/script?scr=" + file, "file://" + flash.path + target)
                  .find(status),
              0u)
        << target;
  run_script(__LINE__,
             "POST /upload/script?scr=active&url=$at/running-config ?scr=active&url=$at/"
             "tarvexia.cfg\n  result 99",
             "$at", "file://" + flash.folder.path);
}

TEST(Flash, KeepsAllButWhatATransferHasLeft)
{
  flash_t flash;
  for (const char* name : {"a.scr", "a.scr~", "a.scr~12", "active~0", "a.scr~1x", "~1", "a~1~2"})
    file_write(flash.path + name, "");
  engine_reset((R"({"flash": ")" + flash.path + "\"}").c_str());
  EXPECT_EQ(flash.count(), 5u);
  EXPECT_FALSE(fs::exists(flash.path + "a.scr~12") || fs::exists(flash.path + "active~0"));
}

// A name server that does not answer until the test says so.
static std::promise<void> name_server_answers;
static const std::shared_future<void> name_server_answer(name_server_answers.get_future());

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** found)
{
  static const auto real =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (name == nullptr || strcmp(name, "unanswered.test") != 0)
    return real(name, service, hints, found);
  name_server_answer.wait();
  return EAI_FAIL;
}

TEST(Download, DoesNotWaitForANameServer)
{
  const char image[] = "/download/image?img=active&auto=n";
  const char url[] = "http://unanswered.test/x";
  engine_reset(R"({"transfer_stall_s": 1})");
  EXPECT_EQ(transfer(__LINE__, image, url).find("Transfer failed: "), 0u);
  run_script(__LINE__, R"(switch {}
POST $image&url=$url  result 0 File transfer is starting.
POST /system/reload?value=3
# that something is not available would say that another transfer runs
POST $image&url=$url  refused -20
GET /download/status  until "status": "Transfer failed: stopped.")",
             "$image", image, "$url", url);
  name_server_answers.set_value();
}

TEST(Download, RefusesNamesAndUrlsThatLeadElsewhere)
{
  flash_t flash;
  fs::create_symlink("/etc/hostname", flash.path + "link.scr");
  file_write(flash.path + "a.scr", "#");
  const std::string at = "file://" + flash.path;
  for (const std::string& url : std::vector<std::string>{
           "file:///etc/hostname", at + "../x", at + "%2e%2e/x", at + "a/b", at + "none.scr",
           at + "link.scr", "/etc/hostname", "127.0.0.1/x", "gopher://127.0.0.1/x", "scp://",
           "http://127.0.0.1/a b", "http://127.0.0.1/a\r\nb"})
    run_script(__LINE__, script_download(url, "x.scr", "n") + "\n  result 99");
  for (const char* name : {"..%2Fx.scr", "%2Ftmp%2Fx.scr", "a%2Fx.scr", "..", ".scr", "x.txt",
                           "running-config", "x.scr%2F", "x.scr%0A"})
    run_script(__LINE__, script_download(web().url + "/empty", name, "n") + "\n  result 99");
  run_script(__LINE__, R"(
POST /upload/script?scr=none.scr$to ?scr=link.scr$to ?scr=$to
    ?scr=..%2F..%2Fetc%2Fhostname$to ?scr=a.scr&url=file:///tmp/x.scr
  result 99)",
             "$to", "&url=" + url_encode(web().url + "/x"));
  EXPECT_EQ(flash.count(), 2u);
}

TEST(Download, RunsAloneAndTellsHowFarItIs)
{
  run_script(__LINE__, R"(switch {}
GET /download/status  data {"information": {"status": "No transfer was started.", "progress": "0%"}}
$stall  result 0 File transfer is starting.
GET /download/status  until "progress": "50%"
$stall /upload/config?cfg=4&sn=1&url=http://x  result 1 Another Transfer is in Progress.
# a switch that starts again ends it
POST /system/reload?value=3
GET /download/status  until "status": "Transfer failed: stopped.")",
             "$stall", script_download(web().url + "/stall", "a.scr", "n"));
}

TEST(Download, WaitsForAScriptWithoutBeingBusy)
{
  file_write(web().folder.path + "/good.scr", "hostname applied\n");
  file_write(web().folder.path + "/bad.scr", "hostname broken\nno such command\n");
  engine_reset(R"({"transfer_stall_s": 2})");
  const std::string good = script_download(web().url + "/good.scr", "a.scr");
  run_script(__LINE__, good + APPLIED);
  run_script(__LINE__, script_download(web().url + "/bad.scr", "a.scr") + "\n  result 99");
  run_script(__LINE__, "GET /system  contains \"hostname\": \"applied\"");

  const clock_t start = clock();
  const std::vector<std::string> calls =
      api_calls("POST", script_download(web().url + "/stall", "a.scr").substr(strlen("POST ")));
  EXPECT_LT(clock() - start, CLOCKS_PER_SEC / 2);
  EXPECT_LT(calls.size(), 60u);
  ASSERT_GT(calls.size(), 10u);
  EXPECT_EQ(calls.end()[-2] + " " + calls.back(),
            "rpcclt_openapiTransferInProgressGet(>0) = 0 "
            "rpcclt_openapiTransferResultCodeGet(0, >2) = 0");

  for (const char* call :
       {"TransferInProgressGet", "TransferResultCodeGet", "TxtCfgValidateAndApply"})
    run_script(__LINE__, "switch {}\n$good\n  with fault $call {\"result\": -24}\n  result 98",
               "$call", call, "$good", good);
}

TEST(Configuration, TravelsAndIsInForceAfterAReload)
{
  flash_t flash;
  auto uploaded = [&](const std::string& cfg) {
    EXPECT_EQ(transfer(__LINE__, "/upload/config?sn=1&cfg=" + cfg, web().url + "/cfg" + cfg), DONE);
    return file_text(web().folder.path + "/cfg" + cfg);
  };
  run_script(__LINE__, "PUT /system/hostname?value=first");
  const std::string delivered = uploaded("1"), running = uploaded("4");
  EXPECT_EQ(delivered, uploaded("3"));
  EXPECT_EQ(delivered.find("first"), std::string::npos);
  EXPECT_NE(running.find("hostname first\n"), std::string::npos) << running;
  run_script(__LINE__, "POST /upload/config?sn=1&cfg=2&url=http://127.0.0.1  result 99");
  uploaded("5");
  server_t tar("cd " + web().folder.path +
               " && mkdir -p archive && tar -C archive -xf cfg5 && "
               "cmp archive/running-config cfg4 && ls archive | tr '\\n' ' '");
  EXPECT_STREQ(tar.first_line, "factory-defaults running-config startup-config ");

  // The running configuration suits the switch it came from.
  run_script(__LINE__, script_download(web().url + "/cfg4", "run.scr") + APPLIED);
  const char in_force[] = "GET /system  until \"hostname\": \"first\"";
  run_script(__LINE__, in_force);

  info_start();
  engine_reset((R"({"flash": ")" + flash.path + "\"}").c_str());
  const std::string startup = "/download/config?cfg=1&cfgtime=1&updatetime=1&auto=";
  EXPECT_EQ(transfer(__LINE__, startup + "n", web().url + "/cfg4"), DONE);
  EXPECT_EQ(file_text(flash.path + "startup-config"), running);
  run_script(__LINE__, R"(GET /system  contains "hostname": "TX5454"
POST /system/reload?value=3
$in_force
# the same in one request; what was not saved is lost
PUT /system/hostname?value=second
POST $startupy&url=$web/cfg4
$in_force)",
             "$in_force", in_force, "$startup", startup, "$web", web().url);
  // What the flash holds is loaded when the process starts.
  engine_reset((R"({"flash": ")" + flash.path + "\"}").c_str());
  run_script(__LINE__, in_force);
}

// The real executable: only its own memory counts. It has made its information file.
TEST(Download, NeedsNoMoreMemoryForALargeFile)
{
  constexpr off_t IMAGE_SIZE = 900L << 20;
  temp_folder flash;
  const std::string image = web().folder.path + "/image";
  file_write(image, "");
  ASSERT_EQ(truncate(image.c_str(), IMAGE_SIZE), 0);
  engine_process engine(R"({"flash": ")" + flash.path + "\"}");
  ASSERT_TRUE(engine_process_wait_listening(engine));
  EXPECT_EQ(file_text(engine.folder.path + "/" + INFO), "cfg_time:\ncfg_update:\n");
  const long resident_max = engine_process_resident_kib(engine) + (32L << 10);
  http_client client;
  auto post = [&](const std::string& path) {
    return http_request(client, "POST", engine.url + path).body;
  };
  const std::string key = inside(post("/login?user=admin&password=admin"), "sessionKey");
  post("/download/image?img=active&auto=n&sessionkey=" + key + "&url=" + web().url + "/image");
  EXPECT_TRUE(eventually([&] {
    EXPECT_LT(engine_process_resident_kib(engine), resident_max);
    return inside(post("/download/status?method=GET&sessionkey=" + key), "progress") == "100%";
  }));
  EXPECT_EQ(fs::file_size(flash.path + "/active"), static_cast<uintmax_t>(IMAGE_SIZE));
}
