#include "httpd/mg_log.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <time.h>

#include "httpd/mg_escape.h"

static void log_header(FILE* file, const mg_connection* conn, const char* name)
{
  if (const char* value = mg_get_header(conn, name))
    fprintf(file, " \"%s\"", value);
  else
    fputs(" -", file);
}

void log_access(const connection* conn)
{
  const char* path = mg_option_value(conn->server, ACCESS_LOG_FILE);
  FILE* file = path ? fopen(path, "a+e") : nullptr;
  if (!file)
    return;
  const mg_connection* c = &conn->mg_conn;
  char date[64] = "", user[100];
  time_t now = time(nullptr);
  struct tm local = {};
  strftime(date, sizeof date, "%d/%b/%Y:%H:%M:%S %z", localtime_r(&now, &local));
  const char* authorization = mg_get_header(c, "Authorization");
  if (!authorization || mg_parse_header(authorization, "username", user, sizeof user) <= 0)
    snprintf(user, sizeof user, "-");

  flock(fileno(file), LOCK_EX);
  fprintf(file, "%s - %s [%s] \"%s ", c->remote_ip, user, date,
          c->request_method ? c->request_method : "-");
  escape_controls(c->uri ? c->uri : "-",
                  [file](const char* text, size_t len) { fwrite(text, 1, len, file); });
  fprintf(file, "%s%s HTTP/%s\" %d 0", c->query_string ? "?" : "",
          c->query_string ? c->query_string : "", c->http_version ? c->http_version : "",
          c->status_code);
  log_header(file, c, "Referer");
  log_header(file, c, "User-Agent");
  fputc('\n', file);
  fflush(file);
  flock(fileno(file), LOCK_UN);
  fclose(file);
}
