// Transfers between the flash and servers, one at a time. Each has a record and a thread of its
// own; the thread works on the record alone and takes the switch's lock to put a file in place and
// to tell the outcome.
#include "switchsim/host/sim_transfer.h"

#include <curl/curl.h>
#include <signal.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iterator>
#include <limits>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/openapi_transfer.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/config/sim_archive.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_reload.h"
#include "switchsim/config/sim_script.h"
#include "switchsim/config/sim_store.h"
#include "switchsim/host/sim_flash.h"

namespace
{
constexpr char CONFIG_ARCHIVE[] = "tarvexia.cfg";

// Configurations and scripts are read whole when they are used.
constexpr uint64_t TEXT_SIZE_MAX = 8u << 20;
constexpr uint32_t STALL_S_DEFAULT = 30;
constexpr uint32_t STALL_S_MAX = 3600;
constexpr long REDIRECTS_MAX = 5;
constexpr long BUFFER_SIZE = 65536;
constexpr long HTTP_PARTIAL_CONTENT = 206;
// The longest that a call which asks whether a transfer runs waits for its end.
constexpr std::chrono::milliseconds PROGRESS_WAIT(100);

enum : uint32_t { RESULT_NONE = 0, RESULT_RUNNING = 1, RESULT_FAILED = 2 };

enum direction_t { DOWNLOAD, UPLOAD, DIRECTIONS };

struct protocol_t {
  const char* scheme;
  const char* allowed;  // on the way, redirects included; null: both ends are on the flash
  bool http;
  bool ssh;
};
constexpr protocol_t PROTOCOLS[] = {
    {"http",  "http,https", true,  false},
    {"https", "http,https", true,  false},
    {"ftp",   "ftp",        false, false},
    {"tftp",  "tftp",       false, false},
    {"sftp",  "sftp",       false, true },
    {"scp",   "scp",        false, true },
    {"file",  nullptr,      false, false},
};

struct transfer_t {
  direction_t direction;
  std::string url;
  const protocol_t* protocol = nullptr;
  long stall_s = 0;

  // of an upload, and of a transfer between two files of the flash
  std::string source_text;  // read through source where it comes from no file
  sim_file_t source;
  uint64_t source_size = 0;

  // of a download, and of a transfer between two files of the flash
  sim_flash_part_t part;
  uint64_t part_size = 0;
  uint64_t part_size_max = 0;
  bool may_be_empty = true;

  uint64_t moved = 0;  // bytes that had come or gone at the time beside it
  std::chrono::steady_clock::time_point moved_at = std::chrono::steady_clock::now();
  bool stalled = false;

  std::atomic<uint32_t> percent{0};
  std::atomic<bool> cut{false};    // to end as soon as possible
  std::atomic<bool> ended{false};  // the thread is about to end and holds no lock

  // under the switch's lock
  uint32_t result = RESULT_RUNNING;
  std::string failure;
  bool restart = false;  // the switch starts again when the transfer has ended well

  std::thread thread;
};
using transfer_ptr_t = std::shared_ptr<transfer_t>;

uint32_t stall_s;
transfer_ptr_t latest;
std::array<transfer_ptr_t, DIRECTIONS> latest_of;
std::condition_variable transfer_ended;

bool is_local(const transfer_t& t)
{
  return t.protocol->allowed == nullptr;
}

bool running()
{
  return latest != nullptr && latest->result == RESULT_RUNNING;
}

// ---- what the bytes come from and go to; without the lock ----

size_t part_write(char* bytes, size_t size, size_t count, void* transfer)
{
  transfer_t& t = *static_cast<transfer_t*>(transfer);
  const size_t length = size * count;
  if (t.part.file == nullptr)
    return length;  // what a server answers to an upload
  t.part_size += length;
  return t.part_size > t.part_size_max ? 0 : fwrite(bytes, 1, length, t.part.file.get());
}

size_t source_read(char* room, size_t size, size_t count, void* transfer)
{
  transfer_t& t = *static_cast<transfer_t*>(transfer);
  const size_t length = fread(room, 1, size * count, t.source.get());
  return ferror(t.source.get()) != 0 ? CURL_READFUNC_ABORT : length;
}

// A redirected upload starts again.
int source_seek(void* transfer, curl_off_t offset, int origin)
{
  const transfer_t& t = *static_cast<transfer_t*>(transfer);
  return fseeko(t.source.get(), static_cast<off_t>(offset), origin) == 0 ? CURL_SEEKFUNC_OK
                                                                         : CURL_SEEKFUNC_FAIL;
}

// 100 is told when the file is in place.
void percent_set(transfer_t& t, uint64_t done, uint64_t whole)
{
  constexpr uint64_t RUNNING_MAX = 99;
  if (whole > 0) {
    const auto percent =
        static_cast<uint64_t>(static_cast<double>(done) * 100 / static_cast<double>(whole));
    t.percent = static_cast<uint32_t>(std::min(percent, RUNNING_MAX));
  }
}

// Whether nothing has moved for too long. The library's own measure is an average over some seconds
// and tells too late.
bool stall_check(transfer_t& t, uint64_t moved)
{
  const auto now = std::chrono::steady_clock::now();
  if (moved != t.moved) {
    t.moved = moved;
    t.moved_at = now;
  }
  t.stalled = now - t.moved_at >= std::chrono::seconds(t.stall_s);
  return t.stalled;
}

// Called about once a second when nothing moves, else more often.
int progress_take(void* transfer, curl_off_t download_size, curl_off_t downloaded,
                  curl_off_t upload_size, curl_off_t uploaded)
{
  transfer_t& t = *static_cast<transfer_t*>(transfer);
  if (t.direction == DOWNLOAD)
    percent_set(t, static_cast<uint64_t>(downloaded), static_cast<uint64_t>(download_size));
  else
    percent_set(t, static_cast<uint64_t>(uploaded), static_cast<uint64_t>(upload_size));
  return t.cut || stall_check(t, static_cast<uint64_t>(downloaded + uploaded)) ? 1 : 0;
}

// ---- the thread's work: each returns why it failed, or an empty text ----

std::string part_failure(const transfer_t& t)
{
  return t.part_size > t.part_size_max ? "the file is too large" : "the flash cannot be written";
}

struct curl_free_t {
  void operator()(CURL* curl) const
  {
    curl_easy_cleanup(curl);
  }
  void operator()(curl_slist* list) const
  {
    curl_slist_free_all(list);
  }
  void operator()(CURLU* url) const
  {
    curl_url_cleanup(url);
  }
  void operator()(char* text) const
  {
    curl_free(text);
  }
};
template <class T>
using curl_owner_t = std::unique_ptr<T, curl_free_t>;

std::string url_get(CURLU* url, CURLUPart part, unsigned flags)
{
  char* text = nullptr;
  if (curl_url_get(url, part, &text, flags) != CURLUE_OK)
    return "";
  return curl_owner_t<char>(text).get();
}

// What a server would send for this URL that is not the file as it stands.
std::string url_failure(const transfer_t& t, const char* text)
{
  const curl_owner_t<CURLU> url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, text, 0) != CURLUE_OK)
    return "the URL cannot be read";
  const std::string path = url_get(url.get(), CURLUPART_PATH, 0);
  if (path.find(";type=") != path.npos || path.find(";mode=") != path.npos)
    return "the URL asks for another form of the file";
  const std::string decoded = url_get(url.get(), CURLUPART_PATH, CURLU_URLDECODE);
  const bool is_folder = decoded.empty() || decoded.back() == '/';
  return t.direction == DOWNLOAD && is_folder ? "the URL names a folder" : "";
}

// Keeps the first error.
template <class T>
void option_set(CURL* curl, CURLcode& error, CURLoption option, T value)
{
  const CURLcode result = curl_easy_setopt(curl, option, value);
  error = error == CURLE_OK ? result : error;
}

// A file of the flash and one server: no other protocol, no proxy, no key or account file of this
// machine, and no redirect that leads to anything but a web server. The switch holds no
// certificates, so it believes a server its name.
CURLcode options_set(CURL* curl, curl_slist* headers, transfer_t& t)
{
  constexpr long PASSWORDS = CURLSSH_AUTH_PASSWORD | CURLSSH_AUTH_KEYBOARD;
  CURLcode error = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) { option_set(curl, error, option, value); };
  set(CURLOPT_URL, t.url.c_str());
  set(CURLOPT_PROTOCOLS_STR, t.protocol->allowed);
  set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 1L);
  set(CURLOPT_MAXREDIRS, REDIRECTS_MAX);
  set(CURLOPT_FAILONERROR, 1L);
  set(CURLOPT_PROXY, "");
  set(CURLOPT_SSL_VERIFYPEER, 0L);
  set(CURLOPT_SSL_VERIFYHOST, 0L);
  if (t.protocol->ssh)  // a library without it does not know the option
    set(CURLOPT_SSH_AUTH_TYPES, PASSWORDS);
  set(CURLOPT_BUFFERSIZE, BUFFER_SIZE);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // who stops does not wait for a name server
  set(CURLOPT_CONNECTTIMEOUT, t.stall_s);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, progress_take);
  set(CURLOPT_XFERINFODATA, &t);
  set(CURLOPT_WRITEFUNCTION, part_write);
  set(CURLOPT_WRITEDATA, &t);
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(t.part_size_max));
  if (t.direction == UPLOAD) {
    set(CURLOPT_UPLOAD, 1L);
    set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(t.source_size));
    set(CURLOPT_READFUNCTION, source_read);
    set(CURLOPT_READDATA, &t);
    set(CURLOPT_SEEKFUNCTION, source_seek);
    set(CURLOPT_SEEKDATA, &t);
    set(CURLOPT_HTTPHEADER, headers);
  }
  return error;
}

std::string remote_run(transfer_t& t)
{
  std::string failure = url_failure(t, t.url.c_str());
  if (!failure.empty())
    return failure;
  const curl_owner_t<CURL> curl(curl_easy_init());
  const curl_owner_t<curl_slist> headers(curl_slist_append(nullptr, "Expect:"));
  if (curl == nullptr || headers == nullptr)
    return "out of memory";
  CURLcode error = options_set(curl.get(), headers.get(), t);
  error = error == CURLE_OK ? curl_easy_perform(curl.get()) : error;
  long status = 0;
  const char* last_url = nullptr;  // behind redirects
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(curl.get(), CURLINFO_EFFECTIVE_URL, &last_url);
  if (t.stalled)
    return "nothing moved for " + std::to_string(t.stall_s) + " s";
  if (error == CURLE_WRITE_ERROR)
    return part_failure(t);
  const bool whole = status / 100 == 2 && status != HTTP_PARTIAL_CONTENT;
  if (error == CURLE_HTTP_RETURNED_ERROR || (error == CURLE_OK && t.protocol->http && !whole))
    return "HTTP status " + std::to_string(status);
  if (error != CURLE_OK)
    return curl_easy_strerror(error);
  return last_url == nullptr ? "" : url_failure(t, last_url);
}

std::string local_run(transfer_t& t)
{
  std::vector<char> bytes(BUFFER_SIZE);
  for (;;) {
    const size_t length = fread(bytes.data(), 1, bytes.size(), t.source.get());
    if (length == 0 || t.cut)
      return ferror(t.source.get()) != 0 ? "the file cannot be read" : "";
    if (part_write(bytes.data(), 1, length, &t) != length)
      return part_failure(t);
    percent_set(t, t.part_size, t.source_size);
  }
}

// Under the lock: puts the file in place and tells the outcome.
void transfer_end(transfer_t& t, std::string failure)
{
  const bool to_flash = t.part.file != nullptr;
  if (t.cut)
    failure = "stopped";
  else if (failure.empty() && to_flash && t.part_size == 0 && !t.may_be_empty)
    failure = "the file is empty";
  else if (failure.empty() && to_flash && !sim_flash_part_keep(t.part))
    failure = part_failure(t);
  sim_flash_part_drop(t.part);
  t.source.reset();
  t.result = failure.empty() ? OPEN_TRANSFER_RESULT_SUCCESS : RESULT_FAILED;
  t.failure.swap(failure);
  if (t.failure.empty()) {
    t.percent = 100;
    if (t.restart)
      sim_reload(SIM_RELOAD_SWITCH);
  }
}

void transfer_run(const transfer_ptr_t& t)
{
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);  // a server that closes is no reason to end the process
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::string failure = "out of memory";
  try {
    failure = is_local(*t) ? local_run(*t) : remote_run(*t);
  } catch (const std::bad_alloc&) {
  }
  try {
    const auto lock = sim_lock();
    transfer_end(*t, failure);
  } catch (const std::bad_alloc&) {
    const auto lock = sim_lock();
    t->result = t->result == RESULT_RUNNING ? RESULT_FAILED : t->result;
  }
  transfer_ended.notify_all();
  t->ended = true;
}

// ---- threads ----

// All that were started and not yet joined. None outlives the process's own data.
struct threads_t {
  std::vector<transfer_ptr_t> transfers;

  ~threads_t()
  {
    for (const transfer_ptr_t& t : transfers)
      t->cut = true;
    for (const transfer_ptr_t& t : transfers)
      t->thread.join();
  }
};

bool thread_start(const transfer_ptr_t& t)
{
  static threads_t threads;
  std::vector<transfer_ptr_t>& all = threads.transfers;
  const auto over = [](const transfer_ptr_t& other) {
    if (other->ended)
      other->thread.join();
    return !other->thread.joinable();
  };
  all.erase(std::remove_if(all.begin(), all.end(), over), all.end());
  all.push_back(t);
  try {
    t->thread = std::thread(transfer_run, t);
  } catch (const std::system_error&) {
    all.pop_back();
  }
  return t->thread.joinable();
}

// ---- starting ----

struct file_kind_t {
  const char* name;
  bool is_kept;  // on the flash, so that it can be replaced
  bool may_be_empty;
  uint64_t size_max;
};
constexpr uint64_t SIZE_ANY = std::numeric_limits<uint64_t>::max();
constexpr file_kind_t FILE_KINDS[] = {
    {"active",             true,  false, SIZE_ANY     },
    {"backup",             true,  false, SIZE_ANY     },
    {SIM_STARTUP_CONFIG,   true,  true,  TEXT_SIZE_MAX},
    {SIM_BACKUP_CONFIG,    true,  true,  TEXT_SIZE_MAX},
    {SIM_FACTORY_DEFAULTS, true,  true,  TEXT_SIZE_MAX},
    {SIM_RUNNING_CONFIG,   false, true,  SIZE_ANY     },
    {CONFIG_ARCHIVE,       false, true,  SIZE_ANY     },
};
constexpr file_kind_t SCRIPT_KIND = {nullptr, true, true, TEXT_SIZE_MAX};
constexpr file_kind_t OTHER_KIND = {nullptr, true, true, SIZE_ANY};

const file_kind_t* file_kind(const std::string& name)
{
  const auto found = std::find_if(std::begin(FILE_KINDS), std::end(FILE_KINDS),
                                  [&](const file_kind_t& kind) { return name == kind.name; });
  if (found != std::end(FILE_KINDS))
    return found;
  return sim_script_name_ok(name) ? &SCRIPT_KIND : nullptr;
}

// Takes a URL that the switch follows. One of a file must name a file of the flash, which is then
// in flash_name.
bool url_take(const std::string& text, transfer_t& t, std::string& flash_name)
{
  const curl_owner_t<CURLU> url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK)
    return false;
  const std::string scheme = url_get(url.get(), CURLUPART_SCHEME, 0);
  const auto found = std::find_if(
      std::begin(PROTOCOLS), std::end(PROTOCOLS),
      [&](const protocol_t& protocol) { return strcasecmp(scheme.c_str(), protocol.scheme) == 0; });
  if (found == std::end(PROTOCOLS))
    return false;
  t.url = text;
  t.protocol = found;
  if (!is_local(t))
    return true;
  const std::string path = url_get(url.get(), CURLUPART_PATH, CURLU_URLDECODE);
  const std::string folder = sim_flash_folder() + "/";
  flash_name = path.substr(0, folder.size()) == folder ? path.substr(folder.size()) : "";
  return sim_file_name_ok(flash_name);
}

// Where the bytes come from: a file of the flash, or what is written for the purpose.
bool source_open(transfer_t& t, const std::string& name)
{
  if (name == CONFIG_ARCHIVE)
    t.source_text = sim_archive_text();
  else if (name != SIM_RUNNING_CONFIG)
    t.source = sim_flash_open(name, t.source_size);
  if (t.source != nullptr)
    return true;
  if (t.source_text.empty() && !sim_config_file_text(name, t.source_text))
    return false;
  t.source_size = t.source_text.size();
  t.source.reset(fmemopen(t.source_text.data(), t.source_text.size(), "rb"));
  return t.source != nullptr;
}

bool part_open(transfer_t& t, const std::string& name, const file_kind_t& kind)
{
  t.may_be_empty = kind.may_be_empty;
  t.part_size_max = std::min(sim_flash_free(), kind.size_max);
  return sim_flash_part_open(name, t.part);
}

open_error_t transfer_start(direction_t direction, const std::string& url, const std::string& name)
{
  static const CURLcode curl_ready = curl_global_init(CURL_GLOBAL_DEFAULT);
  const auto t = std::make_shared<transfer_t>();
  const file_kind_t* kind = file_kind(name);
  std::string url_name;
  if (kind == nullptr || !url_take(url, *t, url_name))
    return OPEN_E_PARAM;
  if (direction == UPLOAD && is_local(*t))
    kind = file_kind(url_name) == nullptr ? &OTHER_KIND : file_kind(url_name);
  const bool to_flash = direction == DOWNLOAD || is_local(*t);
  if (to_flash && !kind->is_kept)
    return OPEN_E_PARAM;
  if (running())
    return OPEN_E_UNAVAIL;
  t->direction = direction;
  t->stall_s = static_cast<long>(stall_s);
  const std::string& from = direction == DOWNLOAD ? url_name : name;
  const std::string& to = direction == DOWNLOAD ? name : url_name;
  if ((direction == UPLOAD || is_local(*t)) && !source_open(*t, from))
    return OPEN_E_PARAM;
  if (to_flash && !part_open(*t, to, *kind))
    return OPEN_E_ERROR;
  if (curl_ready != CURLE_OK || !thread_start(t))
    return OPEN_E_ERROR;
  latest = t;
  latest_of[direction] = t;
  return OPEN_E_NONE;
}

// ---- telling ----

void end_wait()
{
  auto lock = sim_lock();
  transfer_ended.wait_for(lock, PROGRESS_WAIT, [] { return !running(); });
}

std::string status_text(const transfer_ptr_t& t)
{
  if (t == nullptr)
    return "No transfer was started.";
  if (t->result == RESULT_RUNNING)
    return "Transfer is in progress.";
  return t->result == OPEN_TRANSFER_RESULT_SUCCESS ? "Transfer completed successfully."
                                                   : "Transfer failed: " + t->failure + ".";
}

open_error_t result_get(uint32_t index, uint32_t& result)
{
  if (index > 0)
    return OPEN_E_NOT_FOUND;  // no older ones are kept
  return sim_give(result, latest == nullptr ? RESULT_NONE : latest->result);
}

// A small file may be in place before this is asked for.
open_error_t restart_ask()
{
  if (latest == nullptr)
    return OPEN_E_FAIL;
  const bool due = latest->result == OPEN_TRANSFER_RESULT_SUCCESS && !latest->restart;
  latest->restart = true;
  return due ? sim_reload(SIM_RELOAD_SWITCH) : OPEN_E_NONE;
}

// The switch starts again.
void transfer_cut()
{
  if (running())
    latest->cut = true;
}

void transfer_reset()
{
  transfer_cut();
  latest = nullptr;
  latest_of = {};
  stall_s = STALL_S_DEFAULT;
}

bool stall_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 1, STALL_S_MAX, stall_s);
}

}  // namespace

constexpr sim_key_t KEYS[] = {
    {"transfer_stall_s", stall_parse},
};

const sim_area_t sim_transfer_area = [] {
  sim_area_t area = sim_area(transfer_reset, KEYS);
  area.restarted = transfer_cut;
  return area;
}();

// That something is not available says of a start that another transfer runs.
template <class Work>
static open_error_t start_call(const char* name, const openapiClientHandle_t* handle, Work work,
                               open_buffdesc* url, open_buffdesc* file)
{
  return sim_call_or(OPEN_E_RPC, name, handle, work, url, file);
}

open_error_t rpcclt_openapiTransferFileDownload(openapiClientHandle_t* client_handle,
                                                open_buffdesc* url, open_buffdesc* file)
{
  const auto work = [&] { return transfer_start(DOWNLOAD, sim_text(url), sim_text(file)); };
  return start_call(__func__, client_handle, work, url, file);
}

open_error_t rpcclt_openapiTransferFileUpload(openapiClientHandle_t* client_handle,
                                              open_buffdesc* url, open_buffdesc* file)
{
  const auto work = [&] { return transfer_start(UPLOAD, sim_text(url), sim_text(file)); };
  return start_call(__func__, client_handle, work, url, file);
}

open_error_t rpcclt_openapiTransferCompletedRebootSet(openapiClientHandle_t* client_handle)
{
  return sim_call(__func__, client_handle, restart_ask);
}

// Takes its time while a transfer runs: whoever waits for the end asks again at once.
open_error_t rpcclt_openapiTransferInProgressGet(openapiClientHandle_t* client_handle,
                                                 OPEN_BOOL_t* inProgress)
{
  end_wait();
  const auto work = [&] { return sim_give(*inProgress, running() ? OPEN_TRUE : OPEN_FALSE); };
  return sim_call(__func__, client_handle, work, sim_out(inProgress));
}

open_error_t rpcclt_openapiTransferResultCodeGet(openapiClientHandle_t* client_handle,
                                                 uint32_t index, uint32_t* resultCode)
{
  const auto work = [&] { return result_get(index, *resultCode); };
  return sim_call(__func__, client_handle, work, index, sim_out(resultCode));
}

open_error_t rpcclt_openapiTransferDownloadStatusGet(openapiClientHandle_t* client_handle,
                                                     open_buffdesc* status)
{
  const auto work = [&] { return sim_text_put(status, status_text(latest_of[DOWNLOAD])); };
  return sim_call(__func__, client_handle, work, sim_out(status));
}

open_error_t rpcclt_openapiTransferUploadStatusGet(openapiClientHandle_t* client_handle,
                                                   open_buffdesc* status)
{
  const auto work = [&] { return sim_text_put(status, status_text(latest_of[UPLOAD])); };
  return sim_call(__func__, client_handle, work, sim_out(status));
}

open_error_t rpcclt_openapiTransferProgressGet(openapiClientHandle_t* client_handle,
                                               uint32_t* progress)
{
  const auto work = [&] {
    return sim_give(*progress, latest == nullptr ? 0u : latest->percent.load());
  };
  return sim_call(__func__, client_handle, work, sim_out(progress));
}
