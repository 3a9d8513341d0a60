// The proxy: an upstream connection for each request, and bytes relayed both ways.
#include <arpa/inet.h>
#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <initializer_list>

#include "httpd/mg_body.h"
#include "httpd/mg_cgi.h"
#include "httpd/mg_proxy.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"

// How long the last of what a client sent may wait for the other side to take it.
static constexpr time_t LEFT_S = 30;

struct upstream_address {
  char text[64];  // "IPV4:PORT"
  int status;     // 0, or why there is none
};

static bool is_host_name(const mg_vec& host)
{
  for (size_t i = 0; i < host.len; i++)
    if (!isalnum(static_cast<unsigned char>(host.ptr[i])) && host.ptr[i] != '.' &&
        host.ptr[i] != '-' && host.ptr[i] != '_')
      return false;
  return host.len > 0;
}

// Looks up "host:port" or "host" of that length.
static upstream_address find_upstream(const mg_vec& authority, int default_port)
{
  upstream_address upstream = {"", 400};
  const void* colon = memchr(authority.ptr, ':', authority.len);
  mg_vec host = {
      authority.ptr,
      colon ? static_cast<size_t>(static_cast<const char*>(colon) - authority.ptr) : authority.len};
  char text[300], rest;
  int port = default_port;
  if (colon) {
    snprintf(text, sizeof text, "%.*s", static_cast<int>(authority.len - host.len - 1),
             host.ptr + host.len + 1);
    if (sscanf(text, "%5d%c", &port, &rest) != 1 || port < 1)
      return upstream;
  }
  if (!is_host_name(host))
    return upstream;
  snprintf(text, sizeof text, "%.*s:%d", static_cast<int>(host.len), host.ptr, port);
  ns_socket_address address;
  int protocol;
  bool use_ssl;
  char cert[100], ca[100];
  if (ns_parse_address(text, &address, &protocol, &use_ssl, cert, ca) == 0)
    return upstream;
  // A name that is not found reads as 0.0.0.0, which would be this machine.
  upstream.status = address.sin.sin_addr.s_addr == 0 ? 502 : 0;
  char ip[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &address.sin.sin_addr, ip, sizeof ip);
  snprintf(upstream.text, sizeof upstream.text, "%s:%d", ip, port);
  return upstream;
}

static bool is_tunnel(const connection* conn)
{
  return strcmp(conn->mg_conn.request_method, "CONNECT") == 0;
}

// Moves what has been received on one side to the other, `len` bytes of it.
static void relay(ns_connection* from, ns_connection* to, size_t len)
{
  ns_send(to, from->recv_iobuf.buf, len);
  from->recv_iobuf.len = 0;
  mg_pace(from, to);
}

void mg_forward_to_upstream(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  bool takes_all = is_tunnel(conn) || mg_get_header(&conn->mg_conn, "Transfer-Encoding");
  if (conn->endpoint.nc)
    relay(nc, conn->endpoint.nc, takes_all ? nc->recv_iobuf.len : mg_body_bytes(conn));
  nc->recv_iobuf.len = 0;
}

static void on_response(ns_connection* peer, connection* conn)
{
  mg_connection* c = &conn->mg_conn;
  int status = 0;
  if (c->status_code == 0) {
    char line[32];
    snprintf(line, sizeof line, "%.*s", static_cast<int>(peer->recv_iobuf.len),
             peer->recv_iobuf.buf);
    c->status_code = sscanf(line, "HTTP/%*[0-9.] %3d", &status) == 1 ? status : 200;
  }
  relay(peer, conn->ns_conn, peer->recv_iobuf.len);
}

static void on_connected(connection* conn, int error)
{
  if (error == 0 && is_tunnel(conn)) {
    conn->mg_conn.status_code = 200;
    mg_printf(&conn->mg_conn, "HTTP/1.1 200 OK\r\n\r\n");
  } else if (error != 0) {
    send_http_error(conn, 502, "%s", "");
  }
}

// The client gets what has come, or learns that nothing did.
static void on_close(const ns_connection* peer, connection* conn)
{
  conn->endpoint.nc = nullptr;
  if (peer->flags & NSF_BROKEN)
    ns_break_conn(conn->ns_conn);
  if (conn->mg_conn.status_code == 0)
    send_http_error(conn, 502, "%s", "");
  else
    close_local_endpoint(conn);
}

// Leaves the far side of a request whose client has gone: what is queued for it still goes there.
static void leave_upstream(connection* conn)
{
  if (ns_connection* peer = conn->endpoint.nc) {
    peer->flags &= ~NSF_READ_PAUSED;
    peer->flags |= peer->send_iobuf.len > 0 ? NSF_CLOSE_WHEN_SENT : NSF_CLOSE_NOW;
    peer->user_data = nullptr;
  }
  conn->ns_conn->flags &= ~NSF_READ_PAUSED;
}

// Without a client what still comes is dropped, until all has gone or nothing moves any more.
static void on_event_without_client(ns_connection* peer, ns_event ev, const void* data)
{
  if (ev == NS_RECV)
    peer->recv_iobuf.len = 0;
  else if (ev == NS_POLL && *static_cast<const time_t*>(data) - peer->last_io_time > LEFT_S)
    peer->flags |= NSF_CLOSE_NOW;
}

static void on_peer_event(ns_connection* peer, ns_event ev, void* data)
{
  connection* conn = static_cast<connection*>(peer->user_data);
  if (!conn)
    on_event_without_client(peer, ev, data);
  else if (ev == NS_POLL)
    mg_pace(peer, conn->ns_conn);
  else if (ev == NS_CONNECT)
    on_connected(conn, *static_cast<int*>(data));
  else if (ev == NS_RECV)
    on_response(peer, conn);
  else if (ev == NS_CLOSE)
    on_close(peer, conn);
}

// Whether a list of names, separated by commas and blanks, has this one.
static bool names_header(mg_vec list, const mg_vec& name)
{
  while (list.len > 0) {
    size_t length = 0;
    while (length < list.len && list.ptr[length] != ',' && list.ptr[length] != ' ')
      length++;
    if (length == name.len && strncasecmp(list.ptr, name.ptr, length) == 0)
      return true;
    length += length < list.len;
    list = {list.ptr + length, list.len - length};
  }
  return false;
}

static bool is_named(const mg_vec& name, std::initializer_list<const char*> names)
{
  return std::any_of(
      names.begin(), names.end(),
      [&name](const char* other) {
        return strlen(other) == name.len && strncasecmp(other, name.ptr, name.len) == 0;
      });
}

// Whether a header concerns the connection to the proxy only: one of those that always do, or one
// that a "Connection" header names. The ones that tell where the request ends and whose it is stay,
// whoever names them.
static bool is_hop_header(const mg_connection* c, const mg_vec& name)
{
  if (is_named(name, {"Connection", "Proxy-Connection", "Keep-Alive", "Proxy-Authorization",
                      "Expect", "TE", "Upgrade"}))
    return true;
  if (is_named(name, {"Host", "Content-Length", "Transfer-Encoding"}))
    return false;
  return std::any_of(c->http_headers, c->http_headers + c->num_headers, [&](const mg_header& h) {
    return strcasecmp(h.name, "Connection") == 0 && names_header({h.value, strlen(h.value)}, name);
  });
}

// Sends the request on as it came, for the path alone and for one answer.
static void send_request(connection* conn, ns_connection* peer, const char* path, size_t path_len)
{
  const mg_connection* c = &conn->mg_conn;
  const char* line = conn->proxy_request + strspn(conn->proxy_request, "\r\n ");
  ns_printf(peer, "%s %s%.*s HTTP/%s\r\n", c->request_method,
            path_len > 0 && *path == '/' ? "" : "/", static_cast<int>(path_len), path,
            c->http_version);
  bool passes = true;
  line += strcspn(line, "\n");
  while (*line == '\n') {
    line++;
    size_t length = strcspn(line, "\r\n"), name_len = strcspn(line, ": \r\n");
    if (name_len > 0)  // without a name it goes on with the header before it
      passes = !is_hop_header(c, {line, name_len});
    if (length > 0 && passes)
      ns_printf(peer, "%.*s\r\n", static_cast<int>(length), line);
    line += strcspn(line, "\n");
  }
  ns_printf(peer, "Connection: close\r\n\r\n");
}

void mg_open_proxy_endpoint(connection* conn)
{
  static const char scheme[] = "http://";
  const char* target = conn->proxy_request && conn->written_target ? conn->written_target : "";
  mg_vec authority = {target, strlen(target)};
  mg_vec path = {"", 0};
  if (!is_tunnel(conn)) {
    if (authority.len < sizeof scheme - 1 ||
        strncasecmp(authority.ptr, scheme, sizeof scheme - 1) != 0) {
      send_http_error(conn, 400, "%s", "");
      return;
    }
    authority.ptr += sizeof scheme - 1;
    authority.len -= sizeof scheme - 1;
    size_t name_len = strcspn(authority.ptr, "/? \r\n");
    path = {authority.ptr + name_len, authority.len - name_len};
    authority.len = name_len;
  }
  upstream_address upstream = find_upstream(authority, is_tunnel(conn) ? 443 : 80);
  ns_connection* peer = upstream.status == 0
                            ? ns_connect(conn->ns_conn->mgr, upstream.text, on_peer_event, nullptr)
                            : nullptr;
  if (!peer) {
    send_http_error(conn, upstream.status ? upstream.status : 502, "%s", "");
    return;
  }
  peer->flags |= MGF_PROXY_PEER;
  peer->user_data = conn;
  conn->endpoint.nc = peer;
  conn->endpoint_type = EP_PROXY;
  conn->release_endpoint = leave_upstream;
  if (!is_tunnel(conn))
    send_request(conn, peer, path.ptr, path.len);
  mg_forward_to_upstream(conn);
}
