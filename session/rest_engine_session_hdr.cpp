#include "session/rest_engine_session_hdr.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "engine/rest_file.h"
#include "httpd/httpd.h"

api_loginsession_t session_table[REST_SESSION_MAX] = {};
uint32_t next_ssid = 1;
uint32_t session_timeout_seconds = REST_SESSION_TIMEOUT_S;

// --- The time of day ---
//
// A switch gets its time minutes after it has started. That must not end anybody's session, so the
// times of the sessions go along with a clock that jumps.

static constexpr int64_t JUMP_MS = 2000;

static int64_t clock_ms(clockid_t clock)
{
  timespec now = {};
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

static void session_move_time(uint32_t& time, int64_t seconds)
{
  time = static_cast<uint32_t>(std::clamp<int64_t>(time + seconds, 0, UINT32_MAX));
}

// What the time of day is ahead of the time that has passed. These clocks go by ticks, and take a
// fraction of what the exact ones do.
static int64_t session_day_began_ms(void)
{
  return clock_ms(CLOCK_REALTIME_COARSE) - clock_ms(CLOCK_MONOTONIC_COARSE);
}

static void session_follow_clock(void)
{
  static int64_t known_ms = session_day_began_ms();
  int64_t moved_ms = session_day_began_ms() - known_ms;
  if (std::abs(moved_ms) > JUMP_MS)  // or this process was kept from reading the second clock
    moved_ms = session_day_began_ms() - known_ms;
  if (std::abs(moved_ms) <= JUMP_MS)
    return;
  known_ms += moved_ms;
  int64_t seconds = (moved_ms + (moved_ms > 0 ? 500 : -500)) / 1000;
  for (api_loginsession_t& session : session_table) {
    session_move_time(session.login_time, seconds);
    session_move_time(session.last_activity_time, seconds);
  }
}

uint32_t session_now(void)
{
  session_follow_clock();
  return static_cast<uint32_t>(time(nullptr));
}

// --- The table ---

static bool session_text_is_written(void);
static RC_t session_write_file(void);

static api_loginsession_t* session_with_id(uint32_t ssid)
{
  if (ssid != 0)
    for (api_loginsession_t& session : session_table)
      if (session.session_id == ssid)
        return &session;
  return nullptr;
}

static void session_free_slot(api_loginsession_t& session)
{
  session.session_id = 0;
  memset(session.session_key, 0, sizeof session.session_key);
}

static constexpr size_t KEY_BYTES = 16;

// In lower-case hexadecimal.
static void session_write_key(const unsigned char (&bytes)[KEY_BYTES], char (&key)[33])
{
  for (size_t i = 0; i < sizeof bytes; i++)
    snprintf(key + 2 * i, sizeof key - 2 * i, "%02x", unsigned{bytes[i]});
}

#if REST_RANDOM_KEYS
// Not even at the start of a machine is it waited for: everybody else would wait, too.
static bool session_derive_key(const char*, uint32_t, char (&key)[33])
{
  unsigned char bytes[KEY_BYTES];
  if (getrandom(bytes, sizeof bytes, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof bytes))
    return false;
  session_write_key(bytes, key);
  return true;
}
#else
// The key is the MD5 of address and login second.
static bool session_derive_key(const char* ip, uint32_t now, char (&key)[33])
{
  char text[33];
  snprintf(text, sizeof text, "%s%lu", ip, static_cast<unsigned long>(now));
  unsigned char digest[KEY_BYTES];
  MD5_CTX md5;
  MD5Init(&md5);
  MD5Update(&md5, reinterpret_cast<const unsigned char*>(text), strlen(text));
  MD5Final(digest, &md5);
  session_write_key(digest, key);
  return true;
}
#endif

static api_loginsession_t* session_find_free_slot(void)
{
  for (api_loginsession_t& session : session_table)
    if (session.session_id == 0)
      return &session;
  return nullptr;
}

bool session_table_is_full(void)
{
  return !session_find_free_slot();
}

RC_t create_session(const char* user, const char* ip, uint16_t port, unsigned char* sessionKey,
                    bool is_read_only)
{
  clear_expired_session();
  api_loginsession_t* slot = session_find_free_slot();
  uint32_t now = session_now();
  if (!slot || !session_derive_key(ip, now, slot->session_key))
    return RC_FALSE;

  slot->session_id = next_ssid++;
  if (next_ssid > INT32_MAX)
    next_ssid = 1;
  snprintf(slot->user_name, sizeof slot->user_name, "%s", user);
  snprintf(slot->remote_ip, sizeof slot->remote_ip, "%s", ip);
  slot->remote_port = port;
  slot->is_read_only = is_read_only;
  slot->login_time = slot->last_activity_time = now;
  memcpy(sessionKey, slot->session_key, sizeof slot->session_key);
  output_session_file();
  return RC_TRUE;
}

uint32_t get_session_id(const char* ip, const char* sessionKey)
{
  for (const api_loginsession_t& session : session_table)
    if (session.session_key[0] && strcmp(session.session_key, sessionKey) == 0 &&
        strcmp(session.remote_ip, ip) == 0)
      return session.session_id;
  return 0;
}

RC_t delete_session(uint32_t ssid)
{
  api_loginsession_t* session = session_with_id(ssid);
  if (!session)
    return RC_FALSE;
  session_free_slot(*session);
  output_session_file();
  return RC_TRUE;
}

RC_t update_last_activity_time(uint32_t ssid)
{
  api_loginsession_t* session = session_with_id(ssid);
  if (!session)
    return RC_FALSE;
  session->last_activity_time = session_now();
  output_session_file();
  return RC_TRUE;
}

void clear_expired_session(void)
{
  if (session_timeout_seconds == 0)
    return;
  uint32_t now = session_now();
  for (api_loginsession_t& session : session_table)
    if (session.session_id != 0 && session.last_activity_time + session_timeout_seconds <= now)
      session_free_slot(session);
  // What others do to the file is looked for when the request has been answered.
  if (!session_text_is_written())
    session_write_file();
}

RC_t get_session_id_list(int32_t* ssid_ary, uint32_t* count)
{
  if (!ssid_ary || !count)
    return RC_FALSE;
  for (size_t i = 0; i < REST_SESSION_MAX; i++)
    ssid_ary[i] = static_cast<int32_t>(session_table[i].session_id);
  qsort(ssid_ary, REST_SESSION_MAX, sizeof ssid_ary[0], compare);
  *count = REST_SESSION_MAX;
  return RC_TRUE;
}

int compare(const void* arg1, const void* arg2)
{
  // Ids are never negative, so the difference cannot overflow.
  return *static_cast<const int32_t*>(arg1) - *static_cast<const int32_t*>(arg2);
}

RC_t get_the_session_by_id(uint32_t ssid, api_loginsession_t* out_session)
{
  const api_loginsession_t* session = session_with_id(ssid);
  if (!session || !out_session)
    return RC_FALSE;
  *out_session = *session;
  return RC_TRUE;
}

RC_t set_session_timeout(uint32_t value)
{
  session_timeout_seconds = value;
  return RC_TRUE;
}

RC_t get_session_timeout(uint32_t* value)
{
  if (!value)
    return RC_FALSE;
  *value = session_timeout_seconds;
  return RC_TRUE;
}

// --- The status file ---
//
// It is due after every change, twice a request, and almost always holds the right bytes already.
// So the text is kept with the sessions it was made from, and the file stays open: as long as its
// status was last changed when this process wrote it, it need not be written again. Whatever is
// done to a file changes that time; taking its name away does, too.
//
// It lies where everybody may put files: nothing there is trusted that is not a regular file of
// this user's own, with one name.

struct status_file_t {
  api_loginsession_t sessions[REST_SESSION_MAX];  // what text says
  char text[REST_SESSION_MAX * 512];              // a line takes at most 400 characters
  size_t length;
  int fd = -1;       // the file, which held the text when it was written; -1: it did not
  struct stat seen;  // what it was then
  bool settled;      // a change of it would show in its times
};
static status_file_t status_file = {};

static bool session_file_holds_text(void)
{
  char content[sizeof status_file.text + 1];
  ssize_t got = pread(status_file.fd, content, sizeof content, 0);
  return got == static_cast<ssize_t>(status_file.length) &&
         memcmp(content, status_file.text, status_file.length) == 0;
}

static bool session_file_is_in_place(void)
{
  struct stat st;
  return lstat(REST_SESSION_FILE, &st) == 0 && st.st_dev == status_file.seen.st_dev &&
         st.st_ino == status_file.seen.st_ino;
}

// Times of files go by this clock's ticks, on some file systems by whole seconds. What happens in
// the tick of the last change does not show: until it is over the text is compared.
static bool session_is_before(const timespec& time, const timespec& now)
{
  return time.tv_nsec != 0 &&
         (time.tv_sec < now.tv_sec || (time.tv_sec == now.tv_sec && time.tv_nsec < now.tv_nsec));
}

static bool session_file_is_unchanged(void)
{
  timespec now = {};
  struct stat st;
  const struct stat& seen = status_file.seen;
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  if (fstat(status_file.fd, &st) != 0 || st.st_ctim.tv_sec != seen.st_ctim.tv_sec ||
      st.st_ctim.tv_nsec != seen.st_ctim.tv_nsec || st.st_nlink != seen.st_nlink)
    return false;
  if (status_file.settled)
    return true;
  status_file.settled = session_is_before(seen.st_ctim, now);
  return session_file_is_in_place() && session_file_holds_text();
}

static void session_close_file(void)
{
  if (status_file.fd >= 0)
    close(status_file.fd);
  status_file.fd = -1;
}

// Opens the file for the text. One that others made, or gave a second name, would be theirs, too.
static int session_open_file(void)
{
  constexpr int flags = O_RDWR | O_CREAT;
  struct stat st;
  if (lstat(REST_SESSION_FILE, &st) == 0 && S_ISREG(st.st_mode) &&
      (st.st_uid != geteuid() || st.st_nlink != 1))
    unlink(REST_SESSION_FILE);
  int fd = rest_open_regular(REST_SESSION_FILE, flags, REST_SESSION_FILE_MODE);
  if (fd < 0)
    return -1;
  if (fstat(fd, &st) == 0 && st.st_uid == geteuid() && st.st_nlink == 1 &&
      ((st.st_mode & 07777) == REST_SESSION_FILE_MODE || fchmod(fd, REST_SESSION_FILE_MODE) == 0))
    return fd;
  close(fd);
  return -1;
}

static size_t session_status_text(char* text, size_t size)
{
  size_t length = 0;
  text[0] = '\0';
  for (const api_loginsession_t& session : session_table)
    if (session.session_id != 0)
      length += static_cast<size_t>(snprintf(text + length, size - length, "%u;%s;%s;%s;%u;%u\n",
                                             session.session_id, session.session_key,
                                             session.user_name, session.remote_ip,
                                             session.login_time, session.last_activity_time));
  return length;
}

// Brings the text up to date; false when what the file holds is out of date.
static bool session_text_is_written(void)
{
  if (memcmp(status_file.sessions, session_table, sizeof session_table) != 0) {
    memcpy(status_file.sessions, session_table, sizeof session_table);
    status_file.length = session_status_text(status_file.text, sizeof status_file.text);
    session_close_file();
  }
  return status_file.fd >= 0;
}

static RC_t session_write_file(void)
{
  // Written over in place and cut to length: a truncation first would have the file system flush
  // the new text to disk at once, which takes milliseconds every second.
  session_close_file();
  int fd = session_open_file();
  if (fd < 0)
    return RC_FALSE;
  status_file.fd = fd;
  status_file.settled = false;
  if (write(fd, status_file.text, status_file.length) != static_cast<ssize_t>(status_file.length) ||
      ftruncate(fd, static_cast<off_t>(status_file.length)) != 0 ||
      fstat(fd, &status_file.seen) != 0 || !session_file_is_unchanged())
    session_close_file();
  return RC_TRUE;
}

enum look_t { LOOK_ALWAYS, LOOK_ONCE, LOOK_NO_MORE };
static look_t status_look = LOOK_ALWAYS;

void session_begin_pass(void)
{
  status_look = LOOK_ONCE;
}

RC_t output_session_file(void)
{
  if (!session_text_is_written())
    return session_write_file();
  if (status_look == LOOK_NO_MORE)
    return RC_TRUE;
  if (status_look == LOOK_ONCE)
    status_look = LOOK_NO_MORE;
  return session_file_is_unchanged() ? RC_TRUE : session_write_file();
}
