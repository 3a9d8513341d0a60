// The engine: registers with the management API, waits for it, and serves requests until killed.
#include <errno.h>
#include <malloc.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

#include "engine/rest_config.h"
#include "engine/rest_service.h"
#include "engine/rest_web_request_hdr.h"
#include "httpd/httpd.h"
#include "modules/rest_startupcfg.h"
#include "platform/l7proc.h"
#include "platform/openapi_client.h"
#include "session/rest_engine_session_hdr.h"

static constexpr int EXIT_WRONG_ARGUMENT = 1;
static constexpr int EXIT_NOT_REGISTERED = 2;

// Memory that stays with the process when an answer's tree is freed, enough for the longest lists.
// To give it back and get it again with every request would cost more than the whole rest.
static constexpr int MEMORY_KEPT = 32 * 1024 * 1024;

static void start_complain(const char* address, const char* cause)
{
  l7proc_logf(L7PROC_LOG_SEVERITY_ERROR, 0, "main.cpp", __LINE__,
              "RESTful API Engine: not listening on %s: %s", address, cause);
  fprintf(stderr, "restful_api_engine: not listening on %s: %s\n", address, cause);
}

// The server binds one address after the other and stops at the first one that fails. The engine
// goes on with what there is.
static void start_listening(struct mg_server* server)
{
  errno = 0;
  if (!mg_set_option(server, "listening_port", REST_LISTENING_PORT))
    return;
  const char* cause = errno != 0 ? strerror(errno)
                                 : "the address is invalid, or its certificate and key cannot be "
                                   "used: " REST_SSL_CERTIFICATE;
  // A port in the place of the addresses is that of the first one.
  if (REST_HTTP != REST_HTTP_OFF &&
      strcmp(mg_get_option(server, "listening_port"), REST_LISTENING_PORT) == 0) {
    start_complain(REST_HTTP_ADDRESS, cause);
    cause = "it comes behind that one";
  }
  start_complain(REST_HTTPS_LISTENER, cause);
}

// The server's connections have the descriptors up to 1023; what the engine opens itself finds room
// behind them, so that it never costs a connection.
static constexpr rlim_t DESCRIPTORS = 1024 + 64;

static const mg_limits LIMITS = {
    REST_BODY_MAX,           REST_BUFFER_TOTAL_MAX, REST_HEADER_TIME_S * 1000,
    REST_BODY_TIME_S * 1000, REST_BODY_MIN,         true};

static void raise_descriptor_limit(void)
{
  rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= DESCRIPTORS ||
      limit.rlim_max < DESCRIPTORS)
    return;
  limit.rlim_cur = DESCRIPTORS;
  setrlimit(RLIMIT_NOFILE, &limit);
}

static int print_help(void)
{
  printf(
      "usage: restful_api_engine [--help | --version | --check]\n\n"
      "Serves the REST API of this switch until it is killed:\n"
      "  HTTP   %s\n  HTTPS  %s\n  files  %s\n"
      "Ports, paths and limits are fixed when the engine is built.\n\n"
      "  --check  tells whether the engine that runs here answers: exit status 0 or 1\n"
      "  SIGHUP   has a running engine read its certificate again\n",
      REST_HTTP == REST_HTTP_OFF ? "off" : REST_HTTP_ADDRESS, REST_HTTPS_LISTENER,
      REST_DOCUMENT_ROOT);
  return 0;
}

static int print_version(void)
{
  printf("restful_api_engine %s\n", REST_VERSION);
  if (strcmp(service_hardened_points(), "none") != 0)
    printf("hardened: %s\n", service_hardened_points());
  return 0;
}

int main(int argc, char** argv)
{
  if (argc == 2 && strcmp(argv[1], "--help") == 0)
    return print_help();
  if (argc == 2 && strcmp(argv[1], "--version") == 0)
    return print_version();
  if (argc == 2 && strcmp(argv[1], "--check") == 0)
    return service_check();
  if (argc > 1) {
    fprintf(stderr, "restful_api_engine: unknown argument %s (--help tells more)\n", argv[1]);
    return EXIT_WRONG_ARGUMENT;
  }
  static char name[] = "restful_api_engine";
  l7proc_crashlog_register();
  service_catch_signals();
  mallopt(M_TRIM_THRESHOLD, MEMORY_KEPT);

  open_error_t result = openapiClientRegister(name, &client_handle);
  if (result != OPEN_E_NONE) {
    printf("\nFailed to initialize RPC to OpEN. Exiting (result = %d)\n", static_cast<int>(result));
    return EXIT_NOT_REGISTERED;
  }
  while (rpcclt_openapiConnectivityCheck(&client_handle) != OPEN_E_NONE)
    sleep(REST_CONNECT_RETRY_S);

  l7proc_logf(L7PROC_LOG_SEVERITY_INFO, 0, "main.cpp", __LINE__,
              "Starting RESTful API Engine application");
  printf("\n");
  fflush(stdout);
  initialize_transfer_variables();

  raise_descriptor_limit();
  struct mg_server* server;
  while (!(server = mg_create_server(nullptr, evt_handler)))
    sleep(REST_CONNECT_RETRY_S);  // memory is short
  mg_set_limits(server, &LIMITS);
  start_listening(server);
  mg_set_option(server, "document_root", REST_DOCUMENT_ROOT);
  service_begin(server, REST_VERSION);
  for (;;) {
    session_begin_pass();
    service_poll(server);
  }
}
