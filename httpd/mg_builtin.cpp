#include "httpd/mg_builtin.h"

#include <poll.h>
#include <string.h>
#include <strings.h>

#include "httpd/mg_auth.h"
#include "httpd/mg_body.h"
#include "httpd/mg_cgi.h"
#include "httpd/mg_dav.h"
#include "httpd/mg_file.h"
#include "httpd/mg_listing.h"
#include "httpd/mg_proxy.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"
#include "httpd/mg_ssi.h"
#include "httpd/mg_websocket.h"

// --- what is served for a name ---

static void redirect_to_folder(connection* conn)
{
  mg_text uri = mg_url_encode(conn->mg_conn.uri);
  mg_connection* c = &conn->mg_conn;
  c->status_code = 301;
  mg_printf(c, "HTTP/1.1 301 Moved Permanently\r\nLocation: %s/\r\n\r\n", mg_chars(conn, uri));
  close_local_endpoint(conn);
}

// Turns a folder into its index file; false when it has none.
static bool find_index_file(const connection* conn, mg_target* target)
{
  size_t length = strlen(target->path);
  while (length > 0 && target->path[length - 1] == '/')
    length--;
  const char* list = mg_option_value(conn->server, INDEX_FILES);
  mg_vec name;
  while ((list = next_option(list, &name, nullptr)) != nullptr) {
    char path[PATH_MAX];
    struct stat st;
    if (mg_format_path(path, "%.*s/%.*s", static_cast<int>(length), target->path,
                       static_cast<int>(name.len), name.ptr) &&
        stat(path, &st) == 0 && !must_hide_file(conn, path, target->root_len)) {
      memcpy(target->path, path, sizeof path);
      target->st = st;
      return true;
    }
  }
  return false;
}

static bool is_listing_enabled(const connection* conn)
{
  const char* enabled = mg_option_value(conn->server, ENABLE_DIRECTORY_LISTING);
  return enabled && strcasecmp(enabled, "yes") == 0;
}

static void mg_send_file_internal(connection* conn, mg_target* target, const char* extra_headers)
{
  const char* uri = conn->mg_conn.uri;
  if (!target->exists || must_hide_file(conn, target->path, target->root_len)) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  if (S_ISDIR(target->st.st_mode)) {
    size_t uri_len = strlen(uri);
    if (uri_len == 0 || uri[uri_len - 1] != '/') {
      redirect_to_folder(conn);
      return;
    }
    if (!find_index_file(conn, target)) {
      if (is_listing_enabled(conn))
        mg_send_directory_listing(conn, target);
      else
        send_http_error(conn, 403, "%s", "");
      return;
    }
  }
  if (mg_matches_option(conn, CGI_PATTERN, target->path))
    mg_open_cgi_endpoint(conn, target);
  else if (mg_matches_option(conn, SSI_PATTERN, target->path))
    mg_send_ssi_file(conn, target);
  else
    mg_open_file_endpoint(conn, target, extra_headers);
}

void mg_send_file(struct mg_connection* c, const char* file_name, const char* extra_headers)
{
  mg_target target = {};
  target.exists =
      mg_format_path(target.path, "%s", file_name) && stat(target.path, &target.st) == 0;
  mg_send_file_internal(mg_conn_2_conn(c), &target, extra_headers ? extra_headers : "");
}

// --- dispatch ---

static void open_proxy(connection* conn)
{
  const char* enabled = mg_option_value(conn->server, ENABLE_PROXY);
  if (enabled && strcmp(enabled, "yes") == 0)
    mg_open_proxy_endpoint(conn);
  else
    send_http_error(conn, 405, "%s", "");
}

void mg_open_builtin_endpoint(connection* conn)
{
  const mg_connection* c = &conn->mg_conn;
  if (strcmp(c->request_method, "CONNECT") == 0 || strncasecmp(c->uri, "http", 4) == 0) {
    open_proxy(conn);
    return;
  }
  if (strcmp(c->request_method, "OPTIONS") == 0) {
    mg_send_empty(conn, 200,
                  "Allow: GET, POST, HEAD, CONNECT, PUT, DELETE, OPTIONS, PROPFIND, MKCOL\r\n"
                  "DAV: 1\r\n");
    return;
  }

  mg_target target;
  bool is_dav = mg_is_dav_method(c->request_method);
  convert_uri_to_file_name(conn, &target, !is_dav);
  bool is_served = mg_option_value(conn->server, DOCUMENT_ROOT) != nullptr;
  bool is_authorized = is_dav ? mg_is_dav_authorized(conn) : mg_is_authorized(conn, &target);
  bool is_hidden = must_hide_file(conn, target.path, target.root_len);

  bool takes_body = is_served && is_authorized && !is_hidden &&
                    (is_dav ? strcmp(c->request_method, "PUT") == 0
                            : target.exists && mg_matches_option(conn, CGI_PATTERN, target.path));
  if (!takes_body && mg_must_wait_for_body(conn))
    return;
  // What is hidden does not exist, not even behind a password.
  if (!is_served || is_hidden)
    send_http_error(conn, 404, "%s", "");
  else if (!is_authorized)
    mg_send_digest_auth_request(conn);
  else if (!mg_body_is_complete(conn) && strcmp(c->request_method, "GET") == 0)
    send_http_error(conn, 413, "%s", "");  // the connection stays: the body must not be in the way
  else if (takes_body && !is_dav && conn->is_encoded)
    send_http_error(conn, 411, "%s", "");
  else if (is_dav)
    mg_open_dav_endpoint(conn, &target);
  else
    mg_send_file_internal(conn, &target, "");
}

// --- every pass ---

// Whether a client that is not being read has closed its side.
static bool has_gone(const ns_connection* nc)
{
  pollfd ended = {nc->sock, POLLRDHUP, 0};
  return poll(&ended, 1, 0) > 0;
}

void mg_poll_endpoint(connection* conn, time_t now)
{
  if (conn->endpoint_type == EP_FILE)
    mg_transfer_file_data(conn);
  else if (conn->endpoint_type == EP_PROPFIND)
    mg_continue_propfind(conn);
  mg_pace_client(conn);
  // A program that takes no more of the body would be left running for a client that nobody reads.
  if (conn->endpoint_type == EP_CGI && (conn->ns_conn->flags & NSF_READ_PAUSED) &&
      has_gone(conn->ns_conn))
    conn->ns_conn->flags |= NSF_CLOSE_NOW;
  if (conn->mg_conn.is_websocket)
    mg_ping_idle_websocket(conn, now);
}
