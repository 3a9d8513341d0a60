#include "httpd/mg_internal.h"

void mg_open_builtin_endpoint(connection* conn)
{
  send_http_error(conn, 404, "%s", "");
}
