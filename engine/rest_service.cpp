#include "engine/rest_service.h"

#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#ifdef REST_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

#include <algorithm>
#include <string_view>

#include "engine/rest_config.h"
#include "httpd/httpd.h"
#include "platform/l7proc.h"

static constexpr int64_t DAY_S = 24 * 60 * 60;
static constexpr int64_t WARNING_S = 30 * DAY_S;  // so long before its end a certificate is told

#if REST_HTTP == REST_HTTP_OFF
static constexpr bool IS_HTTP_ON = false;
#else
static constexpr bool IS_HTTP_ON = true;
#endif
static_assert(REST_HTTP != REST_HTTP_LOCAL ||
                  std::string_view(REST_HTTP_ADDRESS).substr(0, 4) == "127.",
              "with REST_HTTP=local, REST_HTTP_ADDRESS begins with 127.0.0.1:");

// A line of the log, under this file's name.
#define SERVICE_LOG(severity, ...) \
  l7proc_logf(severity, 0, "rest_service.cpp", __LINE__, "RESTful API Engine: " __VA_ARGS__)

static int64_t service_clock_ms(void)
{
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

const char* service_hardened_points(void)
{
  static constexpr const char* points[] = {
      REST_RANDOM_KEYS ? "random keys" : nullptr,
      REST_READ_ONLY_ACCOUNTS ? "read-only accounts" : nullptr,
      REST_LOGIN_LIMIT ? "log-in limit" : nullptr,
      REST_SAFE_HEADERS ? "safe headers" : nullptr,
      REST_HTTP == REST_HTTP_LOCAL ? "HTTP local" : nullptr,
      REST_HTTP == REST_HTTP_OFF ? "HTTP off" : nullptr,
  };
  static char text[128];
  size_t used = 0;
  for (const char* point : points)
    if (point)
      used += static_cast<size_t>(
          snprintf(text + used, sizeof text - used, "%s%s", used ? ", " : "", point));
  return used ? text : "none";
}

// --- The service manager ---

#ifdef REST_SYSTEMD
static void service_tell(const char* state)
{
  sd_notify(0, state);
}

// How often the service manager must hear of the engine, in milliseconds; 0: it need not.
static int64_t service_watchdog_ms(void)
{
  uint64_t usec = 0;
  return sd_watchdog_enabled(0, &usec) > 0 ? static_cast<int64_t>(usec / 1000) : 0;
}
#else
static void service_tell(const char*)
{
}

static int64_t service_watchdog_ms(void)
{
  return 0;
}
#endif

// Four times in the time that is allowed: a pass may come late.
static int64_t pet_pace_ms;
static int64_t next_pet_ms;

static void service_pet_watchdog(void)
{
  int64_t now = service_clock_ms();
  if (pet_pace_ms == 0 || now < next_pet_ms)
    return;
  next_pet_ms = now + pet_pace_ms;
  service_tell("WATCHDOG=1");
}

// --- The certificate ---

static volatile sig_atomic_t is_renewal_wanted;
static int64_t next_look_ms;

static void service_note_signal(int)
{
  is_renewal_wanted = 1;
}

void service_catch_signals(void)
{
  // What the switch's library waits for goes on. The server's own wait ends, or, when the signal
  // comes just before it begins, lasts for REST_POLL_TIMEOUT_MS at most.
  struct sigaction action = {};
  action.sa_handler = service_note_signal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGHUP, &action, nullptr);
}

// Headers go by the certificate: a browser that insists on a self-signed one locks everybody out.
static void service_set_headers(struct mg_server* server, const mg_certificate& certificate)
{
  mg_answer_headers headers = {};
  headers.all = "X-Content-Type-Options: nosniff\r\n";
  headers.documents = "Cache-Control: no-store\r\n";
  if (!certificate.is_self_signed)
    headers.tls = "Strict-Transport-Security: max-age=31536000\r\n";
  if (REST_SAFE_HEADERS)
    mg_set_answer_headers(server, &headers);
}

static void service_log_certificate(const mg_certificate& certificate)
{
  SERVICE_LOG(L7PROC_LOG_SEVERITY_INFO, "certificate %s%s ends at %s", certificate.subject,
              certificate.is_self_signed ? ", self-signed," : "", certificate.end);
}

// Warns once a day when the end is near.
static void service_look_at_certificate(struct mg_server* server)
{
  int64_t now = service_clock_ms();
  mg_certificate certificate;
  if (now < next_look_ms)
    return;
  next_look_ms = now + int64_t{REST_CERTIFICATE_CHECK_S} * 1000;
  if (!mg_get_certificate(server, &certificate) || certificate.seconds_left >= WARNING_S)
    return;
  if (certificate.seconds_left < 0)
    SERVICE_LOG(L7PROC_LOG_SEVERITY_ERROR, "certificate %s has ended at %s", certificate.subject,
                certificate.end);
  else
    SERVICE_LOG(L7PROC_LOG_SEVERITY_WARNING, "certificate %s ends in %d days, at %s",
                certificate.subject, static_cast<int>(certificate.seconds_left / DAY_S),
                certificate.end);
}

static void service_complain_of_certificate(void)
{
  SERVICE_LOG(L7PROC_LOG_SEVERITY_ERROR,
              "the certificate and key in %s cannot be used; what there was is kept",
              REST_SSL_CERTIFICATE);
  fprintf(stderr,
          "restful_api_engine: the certificate and key in %s cannot be used; what there was is "
          "kept\n",
          REST_SSL_CERTIFICATE);
}

// Where there was no usable certificate at the start, the listener is missing, too.
static bool service_read_certificate(struct mg_server* server, mg_certificate* certificate)
{
  if (mg_get_certificate(server, certificate)
          ? mg_renew_certificates(server) != nullptr
          : mg_set_option(server, "listening_port", REST_HTTPS_LISTENER) != nullptr)
    return false;
  return mg_get_certificate(server, certificate);
}

static void service_renew_certificate(struct mg_server* server)
{
  if (!is_renewal_wanted)
    return;
  is_renewal_wanted = 0;  // before the file is read: what comes now is about what comes later
  mg_certificate certificate;
  if (!service_read_certificate(server, &certificate)) {
    service_complain_of_certificate();
    return;
  }
  service_set_headers(server, certificate);
  service_log_certificate(certificate);
  next_look_ms = 0;
}

// --- Start and loop ---

void service_begin(struct mg_server* server, const char* version)
{
  mg_certificate certificate;
  bool is_tls_open = mg_get_certificate(server, &certificate);
  // The option becomes a port's number with the first listener.
  bool is_open = strcmp(mg_get_option(server, "listening_port"), REST_LISTENING_PORT) != 0;
  char where[256];
  snprintf(where, sizeof where, "HTTP %s, HTTPS %s",
           IS_HTTP_ON && is_open ? REST_HTTP_ADDRESS : "off",
           is_tls_open ? REST_HTTPS_ADDRESS : "off");
  SERVICE_LOG(L7PROC_LOG_SEVERITY_INFO, "version %s, hardened: %s", version,
              service_hardened_points());
  SERVICE_LOG(L7PROC_LOG_SEVERITY_INFO, "listening on %s", where);
  if (is_tls_open)
    service_log_certificate(certificate);
  service_set_headers(server, certificate);
  pet_pace_ms = service_watchdog_ms() / 4;

  char state[sizeof "READY=1\nSTATUS=Listening on " + sizeof where];
  snprintf(state, sizeof state, "%sSTATUS=Listening on %s", is_open ? "READY=1\n" : "", where);
  service_tell(state);
}

void service_poll(struct mg_server* server)
{
  int64_t wait_ms = REST_POLL_TIMEOUT_MS;
  if (pet_pace_ms > 0)
    wait_ms = std::min(wait_ms, pet_pace_ms);
  mg_poll_server(server, static_cast<int>(wait_ms));
  service_renew_certificate(server);
  service_look_at_certificate(server);
  service_pet_watchdog();
}

// --- Health ---

static const char* check_failure;  // null: healthy
static bool check_is_over;

static void check_end(const char* failure)
{
  if (!check_is_over)
    check_failure = failure;
  check_is_over = true;
}

static bool check_is_help(const struct mg_connection* conn)
{
  std::string_view document(conn->content, conn->content_len);
  return conn->status_code == 200 && document.find("\"rlt_code\": 0") != document.npos;
}

static int check_handler(struct mg_connection* conn, enum mg_event ev)
{
  if (ev == MG_CONNECT && conn->status_code != 0) {
    check_end("nothing listens there");
  } else if (ev == MG_CONNECT) {
    check_failure = "it is connected, but gets no answer: the engine hangs";
    mg_printf(conn, "GET /help/login?format=json HTTP/1.1\r\nHost: localhost\r\n\r\n");
    return MG_TRUE;
  } else if (ev == MG_REPLY) {
    check_end(check_is_help(conn) ? nullptr : "the answer is not the engine's help");
  } else if (ev == MG_CLOSE) {
    check_end("the connection ends without an answer");
  }
  return MG_FALSE;
}

// The address that this machine reaches a listening address by.
static void check_local_address(const char* listening, char* address, size_t size)
{
  const char* port = strrchr(listening, ':');
  bool is_anywhere = !port || strncmp(listening, "0.0.0.0:", 8) == 0;
  snprintf(address, size, "%s%s", is_anywhere ? "127.0.0.1:" : "",
           is_anywhere && port ? port + 1 : listening);
}

int service_check(void)
{
  char address[200];
  char target[sizeof "ssl://" + sizeof address];
  check_local_address(IS_HTTP_ON ? REST_HTTP_ADDRESS : REST_HTTPS_ADDRESS, address, sizeof address);
  snprintf(target, sizeof target, "%s%s", IS_HTTP_ON ? "" : "ssl://", address);

  int64_t end_ms = service_clock_ms() + int64_t{REST_CHECK_TIME_S} * 1000;
  check_failure = "no connection in time";
  struct mg_server* client = mg_create_server(nullptr, check_handler);
  if (!client || !mg_connect(client, target))
    check_end("no connection can be made");
  while (!check_is_over && service_clock_ms() < end_ms)
    mg_poll_server(client, 100);
  check_is_over = true;
  const char* failure = check_failure;
  mg_destroy_server(&client);

  const char* scheme = IS_HTTP_ON ? "http" : "https";
  if (failure)
    printf("restful_api_engine: not healthy: %s://%s: %s\n", scheme, address, failure);
  else
    printf("restful_api_engine: healthy: %s://%s answers\n", scheme, address);
  return failure ? 1 : 0;
}
