// CGI: a program's output becomes the response, the request's body its input.
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <memory>

#include "httpd/mg_body.h"
#include "httpd/mg_cgi.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"

static constexpr size_t ENVIRONMENT_SIZE = 8192;
static constexpr size_t MAX_VARIABLES = 64;
// How long a program that is to end may take to do so by itself.
static constexpr time_t TERMINATION_S = 3;

struct cgi_environment {
  char block[ENVIRONMENT_SIZE];
  size_t used;
  char* variables[MAX_VARIABLES + 1];  // ended by a null pointer
  size_t count;
};

struct cgi_child {
  cgi_child* next;
  pid_t pid;
  bool has_all_input;    // its input has been closed
  bool is_disconnected;  // its pipe is gone: it may be waited for
  time_t kill_time;      // 0: it may take its time
};

// --- environment ---

// Adds "NAME=value"; what does not fit is left out.
__attribute__((format(printf, 2, 3))) static void add_variable(cgi_environment* env,
                                                               const char* format, ...)
{
  char* text = env->block + env->used;
  size_t room = sizeof env->block - env->used;
  va_list args;
  va_start(args, format);
  int length = vsnprintf(text, room, format, args);
  va_end(args);
  if (length < 0 || static_cast<size_t>(length) >= room || env->count >= MAX_VARIABLES)
    return;
  env->variables[env->count++] = text;
  env->used += static_cast<size_t>(length) + 1;
}

static void add_if_set(cgi_environment* env, const char* name, const char* value)
{
  if (value)
    add_variable(env, "%s=%s", name, value);
}

// Adds a header; one that came several times becomes one variable, at its first place.
static void add_header(cgi_environment* env, const mg_connection* c, int index)
{
  const mg_header* headers = c->http_headers;
  const char* separator = strcasecmp(headers[index].name, "Cookie") == 0 ? "; " : ", ";
  char name[256], value[ENVIRONMENT_SIZE];
  size_t used = 0;
  for (int i = 0; i < c->num_headers; i++) {
    if (strcasecmp(headers[i].name, headers[index].name) != 0)
      continue;
    if (i < index)
      return;
    int length = snprintf(value + used, sizeof value - used, "%s%s", i > index ? separator : "",
                          headers[i].value);
    used += static_cast<size_t>(length);
    if (used >= sizeof value)
      return;
  }
  snprintf(name, sizeof name, "%s", headers[index].name);
  for (char* p = name; *p; p++)
    *p = isalnum(static_cast<unsigned char>(*p))
             ? static_cast<char>(toupper(static_cast<unsigned char>(*p)))
             : '_';
  // HTTP_PROXY configures the HTTP clients that a program may use; no request may do that.
  if (strcmp(name, "PROXY") != 0)
    add_variable(env, "HTTP_%s=%s", name, value);
}

static void prepare_environment(const connection* conn, const char* script, cgi_environment* env)
{
  const mg_connection* c = &conn->mg_conn;
  mg_vec host_root = mg_document_root(conn);
  char root[PATH_MAX];
  mg_format_path(root, "%.*s", static_cast<int>(host_root.len), host_root.ptr);
  const char* info = conn->path_info;
  size_t uri_len = strlen(c->uri), info_len = info ? strlen(info) : 0;
  size_t name_len = uri_len > info_len ? uri_len - info_len : uri_len;
  bool is_index = name_len > 0 && c->uri[name_len - 1] == '/';
  *env = {};
  add_if_set(env, "SERVER_NAME", mg_option_value(conn->server, AUTH_DOMAIN));
  add_if_set(env, "SERVER_ROOT", mg_option_value(conn->server, DOCUMENT_ROOT));
  add_variable(env, "DOCUMENT_ROOT=%s", root);
  add_variable(env, "%s", "SERVER_SOFTWARE=mg_server/1.0");
  add_variable(env, "%s", "GATEWAY_INTERFACE=CGI/1.1");
  add_variable(env, "%s", "SERVER_PROTOCOL=HTTP/1.1");
  add_variable(env, "%s", "REDIRECT_STATUS=200");
  add_variable(env, "REQUEST_METHOD=%s", c->request_method);
  add_variable(env, "REMOTE_ADDR=%s", c->remote_ip);
  add_variable(env, "REMOTE_PORT=%d", int{c->remote_port});
  add_if_set(env, "REQUEST_URI", conn->written_target);
  add_variable(env, "SCRIPT_NAME=%.*s%s", static_cast<int>(name_len), c->uri,
               is_index ? strrchr(script, '/') + 1 : "");
  add_if_set(env, "PATH_INFO", info);
  add_variable(env, "SCRIPT_FILENAME=%s", script);
  if (info)
    add_variable(env, "PATH_TRANSLATED=%s%s", root, info);
  add_variable(env, "HTTPS=%s", conn->ns_conn->ssl ? "on" : "off");
  add_if_set(env, "CONTENT_TYPE", mg_get_header(c, "Content-Type"));
  add_variable(env, "QUERY_STRING=%s", c->query_string ? c->query_string : "");
  add_if_set(env, "CONTENT_LENGTH", mg_get_header(c, "Content-Length"));
  static const char* const copied[] = {"PATH",    "TEMP",         "TMPDIR",
                                       "PERLLIB", "SIOBRIOR_CGI", "LD_LIBRARY_PATH"};
  for (const char* name : copied)
    add_if_set(env, name, getenv(name));
  for (int i = 0; i < c->num_headers; i++)
    add_header(env, c, i);
}

// --- the child ---

// In the child: becomes the program, with nothing open but its input, output and error output.
[[noreturn]] static void run_program(int sock, const char* script, const char* interpreter,
                                     cgi_environment* env)
{
  setpgid(0, 0);
  signal(SIGPIPE, SIG_DFL);
  sock = fcntl(sock, F_DUPFD, STDERR_FILENO + 1);
  if (dup2(sock, STDIN_FILENO) < 0 || dup2(sock, STDOUT_FILENO) < 0)
    _exit(EXIT_FAILURE);
  closefrom(STDERR_FILENO + 1);
  char folder[PATH_MAX];
  snprintf(folder, sizeof folder, "%.*s", static_cast<int>(strrchr(script, '/') - script) + 1,
           script);
  if (chdir(folder) == 0) {
    char name[PATH_MAX], program[PATH_MAX];
    snprintf(name, sizeof name, "%s", script);
    snprintf(program, sizeof program, "%s", interpreter ? interpreter : "");
    char* const with_interpreter[] = {program, name, nullptr};
    char* const alone[] = {name, nullptr};
    if (interpreter)
      execvpe(program, with_interpreter, env->variables);
    else
      execve(name, alone, env->variables);
  }
  dprintf(STDOUT_FILENO, "Status: 500\r\n\r\n500 Server Error: %s%s%s: %s",
          interpreter ? interpreter : "", interpreter ? " " : "", script, strerror(errno));
  _exit(EXIT_FAILURE);
}

static void on_peer_event(ns_connection* peer, ns_event ev, void* data);

// Starts the program and returns the connection to it; null with errno.
static ns_connection* start_program(connection* conn, const char* script)
{
  cgi_environment env;
  prepare_environment(conn, script, &env);
  const char* interpreter = mg_option_value(conn->server, CGI_INTERPRETER);
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
    return nullptr;
  mg_fd own, childs;
  own.fd = pair[0];
  childs.fd = pair[1];
  std::unique_ptr<cgi_child, mg_free> child(static_cast<cgi_child*>(malloc(sizeof(cgi_child))));
  ns_connection* peer =
      child ? ns_add_sock(conn->ns_conn->mgr, own.fd, on_peer_event, conn) : nullptr;
  if (!peer) {
    errno = ENOMEM;
    return nullptr;
  }
  own.fd = -1;
  peer->flags |= MGF_CGI_PEER;
  pid_t pid = fork();
  if (pid == 0)
    run_program(childs.fd, script, interpreter, &env);
  if (pid < 0) {
    int error = errno;
    peer->user_data = nullptr;
    ns_close_conn(peer);
    errno = error;
    return nullptr;
  }
  setpgid(pid, pid);
  *child = {conn->server->children, pid, false, false, 0};
  conn->server->children = child.release();
  peer->proto_data = conn->server->children;
  return peer;
}

// Waits for those that have ended, and ends those that should have.
void mg_reap_children(mg_server* server)
{
  for (cgi_child** link = &server->children; *link;) {
    cgi_child* child = *link;
    if (child->is_disconnected && waitpid(child->pid, nullptr, WNOHANG) != 0) {
      *link = child->next;
      free(child);
      continue;
    }
    if (child->kill_time && ns_clock() >= child->kill_time)
      kill(-child->pid, SIGKILL);
    link = &child->next;
  }
}

void mg_end_children(mg_server* server)
{
  while (cgi_child* child = server->children) {
    kill(-child->pid, SIGKILL);
    while (waitpid(child->pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    server->children = child->next;
    free(child);
  }
}

// --- the program's headers ---

// Takes the next line, without its end, from a block; false at its empty line.
static bool take_line(const char** block, const char* end, mg_vec* line)
{
  const char* feed =
      static_cast<const char*>(memchr(*block, '\n', static_cast<size_t>(end - *block)));
  if (!feed)
    return false;
  *line = {*block, static_cast<size_t>(feed - *block)};
  *block = feed + 1;
  if (line->len > 0 && line->ptr[line->len - 1] == '\r')
    line->len--;
  return line->len > 0;
}

// The value of a line with that header name, in any letter case; {null, 0} otherwise.
static mg_vec header_value(const mg_vec& line, const char* name)
{
  size_t name_len = strlen(name);
  if (line.len <= name_len || line.ptr[name_len] != ':' ||
      strncasecmp(line.ptr, name, name_len) != 0)
    return {};
  const char* value = line.ptr + name_len + 1;
  const char* end = line.ptr + line.len;
  while (value < end && *value == ' ')
    value++;
  return {value, static_cast<size_t>(end - value)};
}

static bool is_header_line(const mg_vec& line)
{
  size_t name_len = 0;
  while (name_len < line.len && line.ptr[name_len] != ':' && line.ptr[name_len] != ' ')
    name_len++;
  return name_len > 0 && name_len < line.len && line.ptr[name_len] == ':' &&
         !memchr(line.ptr, '\r', line.len);
}

// Reads "404 Not Found".
static bool parse_status(const mg_vec& value, cgi_headers* headers)
{
  size_t digits = 0;
  int status = 0;
  for (; digits < value.len && isdigit(static_cast<unsigned char>(value.ptr[digits])); digits++) {
    if (digits == 3)
      return false;
    status = status * 10 + (value.ptr[digits] - '0');
  }
  if (digits != 3 || status < 100 || (digits < value.len && value.ptr[digits] != ' '))
    return false;
  headers->status = status;
  if (digits < value.len)
    headers->reason = {value.ptr + digits + 1, value.len - digits - 1};
  return true;
}

bool mg_parse_cgi_headers(const char* block, size_t len, cgi_headers* headers)
{
  const char* end = block + len;
  bool has_location = false;
  mg_vec line;
  *headers = {
      0, {"", 0},
       false
  };
  while (take_line(&block, end, &line)) {
    if (!is_header_line(line))
      return false;
    mg_vec status = header_value(line, "Status");
    if (status.ptr && !parse_status(status, headers))
      return false;
    has_location = has_location || header_value(line, "Location").ptr;
    headers->has_content_type = headers->has_content_type || header_value(line, "Content-Type").ptr;
  }
  if (headers->status == 0)
    headers->status = has_location ? 302 : 200;
  return true;
}

// --- its output ---

static void fail_malformed(connection* conn, const iobuf& output)
{
  size_t shown = output.len < 200 ? output.len : 200;
  send_http_error(conn, 500, "CGI program sent malformed headers: [%.*s]", static_cast<int>(shown),
                  output.buf ? output.buf : "");
}

static void send_response_headers(connection* conn, const char* block, size_t len,
                                  const cgi_headers& headers)
{
  mg_connection* c = &conn->mg_conn;
  const char* end = block + len;
  mg_vec line;
  c->status_code = headers.status;
  if (headers.reason.len > 0)
    mg_printf(c, "HTTP/1.1 %d %.*s\r\n", headers.status, static_cast<int>(headers.reason.len),
              headers.reason.ptr);
  else
    mg_printf(c, "HTTP/1.1 %d %s\r\n", headers.status, status_code_to_str(headers.status));
  while (take_line(&block, end, &line))
    if (!header_value(line, "Status").ptr && !header_value(line, "Connection").ptr)
      mg_printf(c, "%.*s\r\n", static_cast<int>(line.len), line.ptr);
  mg_printf(c, "%sConnection: close\r\n\r\n",
            headers.has_content_type ? "" : "Content-Type: text/plain\r\n");
}

// Turns the headers at the start of the output into the response's; false until they are there, or
// when they are no headers and the request has ended.
static bool start_response(connection* conn, iobuf* output)
{
  int length = get_request_len(output->buf, output->len);
  cgi_headers headers;
  if (length == 0 && output->len <= MG_MAX_HEADER_SIZE)
    return false;
  if (length <= 0 || !mg_parse_cgi_headers(output->buf, static_cast<size_t>(length), &headers)) {
    fail_malformed(conn, *output);
    return false;
  }
  send_response_headers(conn, output->buf, static_cast<size_t>(length), headers);
  iobuf_remove(output, static_cast<size_t>(length));
  return true;
}

static void on_output(ns_connection* peer, connection* conn)
{
  iobuf* output = &peer->recv_iobuf;
  if (conn && conn->mg_conn.status_code == 0 && !start_response(conn, output))
    return;
  if (conn && strcmp(conn->mg_conn.request_method, "HEAD") != 0) {
    mg_write(&conn->mg_conn, output->buf, output->len);
    mg_pace(peer, conn->ns_conn);
  }
  output->len = 0;
}

// Tells the program that its input has ended, once it has all of it.
static void end_input(ns_connection* peer, const connection* conn)
{
  cgi_child* child = static_cast<cgi_child*>(peer->proto_data);
  if (!child->has_all_input && mg_body_is_complete(conn) && peer->send_iobuf.len == 0) {
    shutdown(peer->sock, SHUT_WR);
    child->has_all_input = true;
  }
}

// Without a client the program was left in the middle and is to end.
static void on_close(ns_connection* peer, connection* conn)
{
  if (cgi_child* child = static_cast<cgi_child*>(peer->proto_data)) {
    child->is_disconnected = true;
    if (!conn) {
      kill(-child->pid, SIGTERM);
      child->kill_time = ns_clock() + TERMINATION_S;
    }
  }
  if (!conn)
    return;
  conn->endpoint.nc = nullptr;
  if (peer->flags & NSF_BROKEN)
    ns_break_conn(conn->ns_conn);
  if (conn->mg_conn.status_code == 0)
    fail_malformed(conn, peer->recv_iobuf);
  else
    close_local_endpoint(conn);
}

static void on_peer_event(ns_connection* peer, ns_event ev, void*)
{
  connection* conn = static_cast<connection*>(peer->user_data);
  if (ev == NS_POLL && conn) {
    end_input(peer, conn);
    mg_pace(peer, conn->ns_conn);
  } else if (ev == NS_RECV) {
    on_output(peer, conn);
  } else if (ev == NS_CLOSE) {
    on_close(peer, conn);
  }
}

// --- the endpoint ---

// The program's path from the top, since it runs in its own folder.
static bool make_absolute(const char* path, char (&absolute)[PATH_MAX])
{
  const char* slash = strrchr(path, '/');
  char folder[PATH_MAX];
  mg_format_path(folder, "%.*s", slash ? static_cast<int>(slash - path) + 1 : 1,
                 slash ? path : ".");
  mg_text real(realpath(folder, nullptr));
  return real && mg_format_path(absolute, "%s/%s", real.get(), slash ? slash + 1 : path);
}

void mg_forward_to_cgi(connection* conn)
{
  iobuf* body = &conn->ns_conn->recv_iobuf;
  ns_connection* peer = conn->endpoint.nc;
  if (peer) {
    ns_send(peer, body->buf, mg_body_bytes(conn));
    mg_pace(conn->ns_conn, peer);
  }
  body->len = 0;
}

// The program goes on by itself to its end, or to the one that its socket's closing brings.
static void leave_program(connection* conn)
{
  if (ns_connection* peer = conn->endpoint.nc) {
    peer->flags |= NSF_CLOSE_NOW;
    peer->user_data = nullptr;
  }
  conn->ns_conn->flags &= ~NSF_READ_PAUSED;
}

void mg_open_cgi_endpoint(connection* conn, const mg_target* target)
{
  char script[PATH_MAX];
  if (!make_absolute(target->path, script)) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  ns_connection* peer = start_program(conn, script);
  if (!peer) {
    send_http_error(conn, 500, "%s", strerror(errno));
    return;
  }
  conn->endpoint.nc = peer;
  conn->endpoint_type = EP_CGI;
  conn->release_endpoint = leave_program;
  mg_forward_to_cgi(conn);
}
