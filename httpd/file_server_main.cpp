// mg_file_server: the HTTP server without an application, so that its built-in endpoints answer.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "httpd/mg_internal.h"

static volatile sig_atomic_t is_stopped = 0;
static volatile sig_atomic_t is_renewal_wanted = 0;

static void stop(int)
{
  is_stopped = 1;
}

static void renew(int)
{
  is_renewal_wanted = 1;
}

// New connections get the certificates that are in the files now.
static void renew_certificates(mg_server* server)
{
  is_renewal_wanted = 0;
  if (const char* unusable = mg_renew_certificates(server))
    fprintf(stderr, "%s cannot be used; what there was is kept\n", unusable);
}

static void print_help(void)
{
  puts("usage: mg_file_server --OPTION VALUE ...\n\nOptions, applied in the order given:");
  for (const char* const* row = mg_get_valid_option_names(); row[0]; row += 2)
    printf("  --%-26s %s%s\n", row[0], row[1] ? "default: " : "", row[1] ? row[1] : "");
}

// Prints the listeners that stand behind this one in the list, then itself: the oldest is last.
static int print_listeners(mg_server* server, ns_connection* nc)
{
  while (nc && !(nc->flags & NSF_LISTENING))
    nc = ns_next(&server->mgr, nc);
  if (!nc)
    return 0;
  int printed = nc->next ? print_listeners(server, nc->next) : 0;
  char address[64];
  ns_sock_to_str(nc->sock, address, sizeof address, NS_SOCK_IP | NS_SOCK_PORT);
  const char* scheme = nc->flags & NSF_UDP ? "udp://" : nc->ssl_ctx ? "ssl://" : "";
  printf("%s%s%s", printed ? ", " : "listening on ", scheme, address);
  return printed + 1;
}

// Applies the options; null, or the error.
static const char* set_options(mg_server* server, int count, char** arguments)
{
  for (int i = 0; i < count; i += 2) {
    if (strncmp(arguments[i], "--", 2) != 0)
      return "No such option";
    if (i + 1 == count)
      return "An option without a value";
    if (const char* error = mg_set_option(server, arguments[i] + 2, arguments[i + 1]))
      return error;
  }
  return nullptr;
}

int main(int argc, char** argv)
{
  for (int i = 1; i < argc; i += 2) {
    if (strcmp(argv[i], "--help") == 0) {
      print_help();
      return EXIT_SUCCESS;
    }
  }
  signal(SIGINT, stop);
  signal(SIGTERM, stop);
  signal(SIGHUP, renew);
  mg_server* server = mg_create_server(nullptr, nullptr);
  if (!server)
    return EXIT_FAILURE;
  const char* error = set_options(server, argc - 1, argv + 1);
  if (!error && print_listeners(server, ns_next(&server->mgr, nullptr)) == 0)
    error = "Nothing to listen on: give --listening_port";
  if (error) {
    fprintf(stderr, "%s\n", error);
    mg_destroy_server(&server);
    return EXIT_FAILURE;
  }
  putchar('\n');
  fflush(stdout);
  while (!is_stopped) {
    mg_poll_server(server, 1000);
    if (is_renewal_wanted)
      renew_certificates(server);
  }
  mg_destroy_server(&server);
  return EXIT_SUCCESS;
}
