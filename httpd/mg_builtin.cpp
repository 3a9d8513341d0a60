#include "httpd/mg_builtin.h"

#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>

// An answer that does not look at the request's body waits for one of this size at most: a client
// that is still sending when the connection closes would lose the answer.
static constexpr int64_t MAX_AWAITED_BODY = 1024 * 1024;
// A relay's reading side pauses while this much is queued on the other. Most bodies for a program
// are read to their end: only there can it be seen that the client has gone.
static constexpr size_t MAX_RELAY_QUEUE = 65536;
static constexpr size_t MAX_PROGRAM_QUEUE = 1024 * 1024;
// A client that has left so much of its answers unread is not read: each request adds to it.
static constexpr size_t MAX_ANSWER_QUEUE = 262144;

// --- names of files ---

bool mg_format_path(char (&path)[PATH_MAX], const char* format, ...)
{
  va_list args;
  va_start(args, format);
  int length = vsnprintf(path, sizeof path, format, args);
  va_end(args);
  bool fits = length >= 0 && static_cast<size_t>(length) < sizeof path;
  if (!fits)
    path[0] = '\0';
  return fits;
}

bool mg_matches_option(const connection* conn, mg_option option, const char* path)
{
  const char* pattern = mg_option_value(conn->server, option);
  return pattern && mg_match_prefix(pattern, static_cast<int>(strlen(pattern)), path) > 0;
}

mg_vec mg_document_root(const connection* conn)
{
  const char* root = mg_option_value(conn->server, DOCUMENT_ROOT);
  mg_vec folder = {root, root ? strlen(root) : 0};
  const char* host = mg_get_header(&conn->mg_conn, "Host");
  const char* list = host ? mg_option_value(conn->server, URL_REWRITES) : nullptr;
  mg_vec key, value;
  while ((list = next_option(list, &key, &value)) != nullptr) {
    if (value.len > 0 && key.len > 1 && *key.ptr == '@' && key.len - 1 == strcspn(host, ":") &&
        strncasecmp(key.ptr + 1, host, key.len - 1) == 0) {
      folder = value;
      break;
    }
  }
  while (folder.len > 1 && folder.ptr[folder.len - 1] == '/')
    folder.len--;
  return folder;
}

// The part of the URI that is to be looked up in the folder; a rewrite changes the folder.
static const char* rewrite_uri(const connection* conn, mg_vec* folder)
{
  const char* uri = conn->mg_conn.uri;
  const char* list = mg_option_value(conn->server, URL_REWRITES);
  mg_vec pattern, value;
  while ((list = next_option(list, &pattern, &value)) != nullptr) {
    int matched =
        value.len > 0 ? mg_match_prefix(pattern.ptr, static_cast<int>(pattern.len), uri) : -1;
    if (matched > 0) {
      *folder = value;
      return uri + matched;
    }
  }
  return uri;
}

// Drops the components "." of a path, in place: a pattern must see one name for one file.
static void remove_single_dots(char* path)
{
  for (const char* in = path; *in;) {
    if (in[0] != '/' || in[1] != '.' || (in[2] != '/' && in[2] != '\0')) {
      *path++ = *in++;
      continue;
    }
    in += 2;
    if (!*in)
      *path++ = '/';  // it can only name a folder
  }
  *path = '\0';
}

// Finds the CGI program on the way to a file that does not exist; what follows is its path info.
static void find_cgi_program(connection* conn, mg_target* target)
{
  char* slash = target->path + target->root_len;
  while (*slash && (slash = strchr(slash + 1, '/')) != nullptr) {
    *slash = '\0';
    if (mg_matches_option(conn, CGI_PATTERN, target->path) &&
        stat(target->path, &target->st) == 0 && !S_ISDIR(target->st.st_mode)) {
      *slash = '/';
      free(conn->path_info);
      conn->path_info = strdup(slash);
      if (!conn->path_info)
        ns_break_conn(conn->ns_conn);
      *slash = '\0';
      target->exists = conn->path_info != nullptr;
      return;
    }
    *slash = '/';
  }
}

static void convert_uri_to_file_name(connection* conn, mg_target* target)
{
  mg_vec folder = mg_document_root(conn);
  *target = {};
  // A target that is no path ("*", "host:port") would be a name beside the root, not in it.
  if (folder.len == 0 || *conn->mg_conn.uri != '/')
    return;
  const char* rest = rewrite_uri(conn, &folder);
  // A slash in between keeps the rest inside the folder of a rewrite.
  if (!mg_format_path(target->path, "%.*s%s%s", static_cast<int>(folder.len), folder.ptr,
                      *rest && *rest != '/' ? "/" : "", rest))
    return;
  target->root_len = folder.len;
  remove_double_dots_and_double_slashes(target->path + folder.len);
  remove_single_dots(target->path + folder.len);
  target->exists = stat(target->path, &target->st) == 0;
  if (!target->exists && !mg_is_dav_method(conn->mg_conn.request_method))
    find_cgi_program(conn, target);
}

bool must_hide_file(const connection* conn, const char* path, size_t root_len)
{
  // A password file is hidden as a folder on the way as well: nobody may put one in its place.
  static const char password_file[] = ".htpasswd";
  for (const char* p = path + root_len; (p = strcasestr(p, password_file)) != nullptr; p++) {
    char behind = p[sizeof password_file - 1];
    if (behind == '\0' || behind == '/')
      return true;
  }
  for (const char* p = path + root_len; (p = strstr(p, MG_PUT_PREFIX)) != nullptr; p++)
    if (p > path && p[-1] == '/')
      return true;
  if (mg_matches_option(conn, HIDE_FILES_PATTERN, path))
    return true;
  // A folder is hidden by its name without a slash as well.
  char name[PATH_MAX];
  size_t length = strlen(path);
  while (length > 1 && path[length - 1] == '/')
    length--;
  return path[length] != '\0' && mg_format_path(name, "%.*s", static_cast<int>(length), path) &&
         mg_matches_option(conn, HIDE_FILES_PATTERN, name);
}

// --- bodies and answers ---

size_t mg_body_bytes(const connection* conn)
{
  int64_t behind = conn->num_bytes_recv - conn->request_len - std::max<int64_t>(conn->cl, 0);
  size_t buffered = conn->ns_conn->recv_iobuf.len;
  size_t excess = static_cast<size_t>(std::max<int64_t>(behind, 0));
  return buffered > excess ? buffered - excess : 0;
}

bool mg_body_is_complete(const connection* conn)
{
  return conn->num_bytes_recv - conn->request_len >= conn->cl;
}

void mg_send_empty(connection* conn, int status, const char* headers)
{
  conn->mg_conn.status_code = status;
  mg_printf(&conn->mg_conn, "HTTP/1.1 %d %s\r\n%s\r\n", status, status_code_to_str(status),
            headers);
  close_local_endpoint(conn);
}

bool mg_must_wait_for_body(connection* conn)
{
  if (mg_body_is_complete(conn) || conn->cl > MAX_AWAITED_BODY)
    return false;
  conn->endpoint_type = EP_USER;
  return true;
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
  convert_uri_to_file_name(conn, &target);
  bool is_dav = mg_is_dav_method(c->request_method);
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

static void pause_reading(ns_connection* nc, bool paused)
{
  if (paused)
    nc->flags |= NSF_READ_PAUSED;
  else
    nc->flags &= ~NSF_READ_PAUSED;
}

void mg_pace(ns_connection* reader, const ns_connection* writer)
{
  bool is_program = writer->flags & MGF_CGI_PEER;
  pause_reading(reader,
                writer->send_iobuf.len > (is_program ? MAX_PROGRAM_QUEUE : MAX_RELAY_QUEUE));
}

void mg_pace_client(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  if ((conn->endpoint_type == EP_CGI || conn->endpoint_type == EP_PROXY) && conn->endpoint.nc)
    mg_pace(nc, conn->endpoint.nc);
  else
    pause_reading(nc, nc->send_iobuf.len > MAX_ANSWER_QUEUE);
}

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
