#include "httpd/ns_net.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

static constexpr size_t READ_STEP = 2048;
// Peers that send faster than they are read must not keep the others waiting: one connection is
// read so far in a pass, and after so much time no connection further than one step.
static constexpr size_t READ_SHARE = 256 * 1024;
static constexpr int64_t PASS_TIME_MS = 50;
static constexpr int64_t FILE_SHARE = 512 * 1024;  // of a file in a pass
static constexpr int MAX_ACCEPTS = 32;             // in one pass
static constexpr int64_t SWEEP_TIME_MS = 500;      // between looks at those that stand aside
// Descriptors that accepted connections leave to whatever else the process opens.
static constexpr rlim_t KEPT_DESCRIPTORS = 16;
// Only the busy sockets are looked at when they are so many at least, and of so many at most one.
static constexpr int BUSY_AT_LEAST = 4;
static constexpr int BUSY_SHARE = 4;
static constexpr size_t DATAGRAM_SIZE = 2000;
static constexpr int LISTEN_BACKLOG = 128;
static constexpr size_t WAKEUP_DATA_SIZE = 8192;
static constexpr size_t TLS_PATH_SIZE = sizeof ns_tls_files::cert;

struct ctl_msg {
  ns_callback_t callback;
  char message[WAKEUP_DATA_SIZE];
};

// --- helpers ---

static bool ns_fits_select_set(int sock)
{
  return sock >= 0 && sock < FD_SETSIZE;
}

static void ns_set_close_on_exec(int sock)
{
  fcntl(sock, F_SETFD, FD_CLOEXEC);
}

static void ns_set_non_blocking(int sock)
{
  fcntl(sock, F_SETFL, fcntl(sock, F_GETFL, 0) | O_NONBLOCK);
}

static int64_t ns_clock_ms(void)
{
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// --- the lists ---

static void ns_link(ns_connection* conn)
{
  ns_mgr* mgr = conn->mgr;
  ns_connection*& first =
      conn->flags & NSF_ASIDE ? mgr->aside_connections : mgr->active_connections;
  conn->prev = nullptr;
  conn->next = first;
  if (first)
    first->prev = conn;
  first = conn;
}

static void ns_unlink(ns_connection* conn)
{
  ns_mgr* mgr = conn->mgr;
  ns_connection*& first =
      conn->flags & NSF_ASIDE ? mgr->aside_connections : mgr->active_connections;
  if (conn->prev)
    conn->prev->next = conn->next;
  else
    first = conn->next;
  if (conn->next)
    conn->next->prev = conn->prev;
}

// Moves between the lists.
static void ns_put_aside(ns_connection* conn, bool is_aside)
{
  ns_unlink(conn);
  conn->flags = is_aside ? conn->flags | NSF_ASIDE : conn->flags & ~NSF_ASIDE;
  ns_link(conn);
}

static void ns_wake(ns_connection* conn)
{
  if (conn->flags & NSF_ASIDE)
    ns_put_aside(conn, false);
  conn->flags &= ~NSF_IDLE;
}

ns_connection* ns_next(ns_mgr* mgr, ns_connection* conn)
{
  ns_connection* next = conn ? conn->next : mgr->active_connections;
  bool is_aside = conn && (conn->flags & NSF_ASIDE);
  return next || is_aside ? next : mgr->aside_connections;
}

// The same among those that are visited in this pass.
static ns_connection* ns_next_visited(ns_mgr* mgr, ns_connection* conn)
{
  if (mgr->sweeps)
    return ns_next(mgr, conn);
  return conn ? conn->next : mgr->active_connections;
}

bool ns_is_error(long result)
{
  return result == 0 || (result < 0 && errno != EINTR && errno != EINPROGRESS && errno != EAGAIN);
}

void ns_break_conn(ns_connection* conn)
{
  iobuf_free(&conn->send_iobuf);
  conn->flags |= NSF_BROKEN | NSF_CLOSE_NOW;
}

time_t ns_clock(void)
{
  return static_cast<time_t>(ns_clock_ms() / 1000);
}

// Keeps what a failing TLS call leaves in the thread's error queue away from the next connection.
static int ns_ssl_err(ns_connection* conn, int result)
{
  int code = SSL_get_error(conn->ssl, result);
  if (code == SSL_ERROR_WANT_READ)
    conn->flags |= NSF_TLS_WANT_READ;
  else if (code == SSL_ERROR_WANT_WRITE)
    conn->flags |= NSF_TLS_WANT_WRITE;
  ERR_clear_error();
  return code;
}

static bool ns_ssl_waits(int code)
{
  return code == SSL_ERROR_WANT_READ || code == SSL_ERROR_WANT_WRITE;
}

// --- addresses ---

void ns_address_to_str(const ns_socket_address& address, char* buf, size_t size, int what)
{
  if (size == 0)
    return;
  buf[0] = '\0';
  if (address.sa.sa_family != AF_INET)
    return;
  if (what & NS_SOCK_IP)
    inet_ntop(AF_INET, &address.sin.sin_addr, buf, static_cast<socklen_t>(size));
  if (what & NS_SOCK_PORT) {
    size_t used = strlen(buf);
    snprintf(buf + used, size - used, "%s%d", what & NS_SOCK_IP ? ":" : "",
             int{ntohs(address.sin.sin_port)});
  }
}

void ns_sock_to_str(int sock, char* buf, size_t size, int what)
{
  ns_socket_address address = {};
  socklen_t length = sizeof address;
  int found = what & NS_SOCK_PEER ? getpeername(sock, &address.sa, &length)
                                  : getsockname(sock, &address.sa, &length);
  ns_address_to_str(found == 0 ? address : ns_socket_address{}, buf, size, what);
}

static bool ns_take_prefix(const char** text, const char* prefix)
{
  size_t length = strlen(prefix);
  if (strncmp(*text, prefix, length) != 0)
    return false;
  *text += length;
  return true;
}

int ns_parse_address(const char* text, ns_socket_address* address, int* protocol, bool* use_ssl,
                     char* cert, char* ca)
{
  *address = {};
  address->sin.sin_family = AF_INET;
  *protocol = SOCK_STREAM;
  *use_ssl = false;
  cert[0] = ca[0] = '\0';

  const char* rest = text;
  if (ns_take_prefix(&rest, "ssl://"))
    *use_ssl = true;
  else if (ns_take_prefix(&rest, "udp://"))
    *protocol = SOCK_DGRAM;
  else
    ns_take_prefix(&rest, "tcp://");

  // Field widths keep the numbers inside their type; a longer one leaves text over and is refused.
  unsigned a = 0, b = 0, c = 0, d = 0, port = 0;
  int used = 0;
  char host[200];
  if (sscanf(rest, "%9u.%9u.%9u.%9u:%9u%n", &a, &b, &c, &d, &port, &used) == 5) {
    if (a > 255 || b > 255 || c > 255 || d > 255)
      return 0;
    address->sin.sin_addr.s_addr = htonl(a << 24 | b << 16 | c << 8 | d);
  } else if (sscanf(rest, "%199[^ :]:%9u%n", host, &port, &used) == 2) {
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &found) == 0) {
      address->sin.sin_addr = reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr;
      freeaddrinfo(found);
    }
  } else if (sscanf(rest, "%9u%n", &port, &used) != 1) {
    return 0;
  }
  rest += used;

  if (*use_ssl && *rest == ':') {
    used = 0;
    if (sscanf(rest, ":%99[^:]:%99[^:]%n", cert, ca, &used) != 2) {
      ca[0] = '\0';
      if (sscanf(rest, ":%99[^:]%n", cert, &used) != 1)
        return 0;
    }
    rest += used;
  }
  address->sin.sin_port = htons(static_cast<uint16_t>(port));
  return port < 65535 && *rest == '\0' ? static_cast<int>(rest - text) : 0;
}

// --- formatting and queueing ---

int ns_avprintf(char** buf, size_t size, const char* format, va_list args)
{
  va_list copy;
  va_copy(copy, args);
  int length = vsnprintf(*buf, size, format, copy);
  va_end(copy);
  if (length >= 0 && static_cast<size_t>(length) < size)
    return length;
  // A formatter that cannot tell the length is asked again with ever more room.
  for (size_t room = length >= 0 ? static_cast<size_t>(length) + 1 : size * 2;; room *= 2) {
    char* grown = static_cast<char*>(malloc(room));
    if (!grown)
      return -1;
    va_copy(copy, args);
    length = vsnprintf(grown, room, format, copy);
    va_end(copy);
    if (length >= 0 && static_cast<size_t>(length) < room) {
      *buf = grown;
      return length;
    }
    free(grown);
    if (room > SIZE_MAX / 2 || errno == EOVERFLOW)
      return -1;
  }
}

int ns_send(ns_connection* conn, const void* data, size_t len)
{
  if (conn->flags & NSF_UDP) {
    ssize_t sent = sendto(conn->sock, data, len, 0, &conn->sa.sa, sizeof conn->sa.sin);
    return sent < 0 ? 0 : static_cast<int>(sent);
  }
  if (conn->flags & NSF_BROKEN)
    return 0;
  if (conn->flags & NSF_ASIDE)
    ns_wake(conn);
  size_t queued = iobuf_append(&conn->send_iobuf, data, len);
  if (queued != len)
    ns_break_conn(conn);
  return static_cast<int>(queued);
}

int ns_vprintf(ns_connection* conn, const char* format, va_list args)
{
  char memory[500];
  char* text = memory;
  int length = ns_avprintf(&text, sizeof memory, format, args);
  if (length > 0)
    ns_send(conn, text, static_cast<size_t>(length));
  else if (length < 0)
    ns_break_conn(conn);
  if (text != memory)
    free(text);
  return length;
}

int ns_printf(ns_connection* conn, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  int length = ns_vprintf(conn, format, args);
  va_end(args);
  return length;
}

// --- tracing ---

// Appends to a bounded text; what does not fit is cut.
__attribute__((format(printf, 4, 5))) static void ns_put(char* out, size_t size, size_t* used,
                                                         const char* format, ...)
{
  va_list args;
  va_start(args, format);
  int length = vsnprintf(out + *used, size - *used, format, args);
  va_end(args);
  if (length > 0)
    *used +=
        static_cast<size_t>(length) < size - *used ? static_cast<size_t>(length) : size - *used - 1;
}

int ns_hexdump(const void* bytes, size_t len, char* out, size_t out_size)
{
  const unsigned char* p = static_cast<const unsigned char*>(bytes);
  char characters[17] = "";
  size_t used = 0;
  if (out_size == 0)
    return 0;
  out[0] = '\0';
  size_t i = 0;
  for (; i < len; i++) {
    if (i % 16 == 0) {
      if (i > 0)
        ns_put(out, out_size, &used, "  %s\n", characters);
      ns_put(out, out_size, &used, "%04x ", static_cast<unsigned>(i));
    }
    ns_put(out, out_size, &used, " %02x", unsigned{p[i]});
    characters[i % 16] = p[i] < 32 || p[i] > 126 ? '.' : static_cast<char>(p[i]);
    characters[i % 16 + 1] = '\0';
  }
  for (; i % 16 != 0; i++)
    ns_put(out, out_size, &used, "   ");
  ns_put(out, out_size, &used, "  %s\n\n", characters);
  return static_cast<int>(used);
}

static const char* ns_direction_mark(ns_event ev)
{
  switch (ev) {
    case NS_RECV:
      return "<-";
    case NS_SEND:
      return "->";
    case NS_ACCEPT:
      return "<A";
    case NS_CONNECT:
      return "C>";
    case NS_POLL:
    case NS_CLOSE:
      break;
  }
  return "XX";
}

static void ns_trace(ns_connection* conn, ns_event ev, const void* data)
{
  FILE* file = fopen(conn->mgr->hexdump_file, "ae");
  if (!file)
    return;
  char local[64], peer[64];
  ns_sock_to_str(conn->sock, local, sizeof local, NS_SOCK_IP | NS_SOCK_PORT);
  if (conn->flags & NSF_UDP)
    ns_address_to_str(conn->sa, peer, sizeof peer, NS_SOCK_IP | NS_SOCK_PORT);
  else
    ns_sock_to_str(conn->sock, peer, sizeof peer, NS_SOCK_IP | NS_SOCK_PORT | NS_SOCK_PEER);
  int count = ev == NS_RECV || ev == NS_SEND ? *static_cast<const int*>(data) : 0;
  fprintf(file, "%lu %p %s %s %s %d\n", static_cast<unsigned long>(time(nullptr)), conn->user_data,
          local, ns_direction_mark(ev), peer, count);
  const iobuf& io = ev == NS_RECV ? conn->recv_iobuf : conn->send_iobuf;
  size_t bytes = count > 0 ? static_cast<size_t>(count) : 0;
  if (bytes > 0 && bytes <= io.len) {
    size_t room = bytes * 5 + 100;
    std::unique_ptr<char, decltype(&free)> text(static_cast<char*>(malloc(room)), free);
    if (text) {
      ns_hexdump(ev == NS_RECV ? io.buf + io.len - bytes : io.buf, bytes, text.get(), room);
      fputs(text.get(), file);
    }
  }
  fclose(file);
}

static void ns_call(ns_connection* conn, ns_event ev, void* data)
{
  if (conn->mgr->hexdump_file && ev != NS_POLL)
    ns_trace(conn, ev, data);
  if (conn->callback)
    conn->callback(conn, ev, data);
}

// --- birth and death of connections ---

// Wraps a socket that is non-blocking and closed in children.
static ns_connection* ns_wrap_sock(ns_mgr* mgr, int sock, ns_callback_t callback, void* user_data)
{
  if (!ns_fits_select_set(sock))
    return nullptr;
  ns_connection* conn = static_cast<ns_connection*>(calloc(1, sizeof *conn));
  if (!conn)
    return nullptr;
  conn->sock = sock;
  conn->user_data = user_data;
  conn->callback = callback;
  conn->mgr = mgr;
  conn->last_io_time = ns_clock();
  ns_link(conn);
  mgr->by_sock[sock] = conn;
  mgr->last_sock = std::max(mgr->last_sock, sock);
  return conn;
}

ns_connection* ns_add_sock(ns_mgr* mgr, int sock, ns_callback_t callback, void* user_data)
{
  ns_connection* conn = ns_wrap_sock(mgr, sock, callback, user_data);
  if (conn) {
    ns_set_non_blocking(sock);
    ns_set_close_on_exec(sock);
  }
  return conn;
}

static void ns_destroy(ns_connection* conn)
{
  if ((conn->flags & (NSF_TLS_READY | NSF_BROKEN)) == NSF_TLS_READY) {
    // So that the peer can tell an end from a cut; whether it still listens does not matter.
    SSL_shutdown(conn->ssl);
    ERR_clear_error();
  }
  if (conn->sock >= 0)
    close(conn->sock);
  iobuf_free(&conn->recv_iobuf);
  iobuf_free(&conn->send_iobuf);
  SSL_free(conn->ssl);
  SSL_CTX_free(conn->ssl_ctx);
  free(conn->files);
  free(conn);
}

// Whoever takes the descriptor next is not met in this pass.
static void ns_forget_sock(const ns_connection* conn)
{
  ns_mgr* mgr = conn->mgr;
  mgr->by_sock[conn->sock] = nullptr;
  for (fd_set* set : {&mgr->wanted_read, &mgr->wanted_write, &mgr->readable, &mgr->writable,
                      &mgr->busy, &mgr->busy_before})
    FD_CLR(conn->sock, set);
  while (mgr->last_sock > 0 && !mgr->by_sock[mgr->last_sock])
    mgr->last_sock--;
}

void ns_close_conn(ns_connection* conn)
{
  ns_call(conn, NS_CLOSE, nullptr);
  ns_unlink(conn);
  ns_forget_sock(conn);
  ns_destroy(conn);
}

// --- TLS contexts ---

static int ns_use_cert(SSL_CTX* ctx, const char* path)
{
  if (!ctx)
    return -1;
  if (!*path)
    return 0;
  if (SSL_CTX_use_certificate_file(ctx, path, SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_use_PrivateKey_file(ctx, path, SSL_FILETYPE_PEM) != 1)
    return -2;
  SSL_CTX_use_certificate_chain_file(ctx, path);
  return 0;
}

static int ns_use_ca_cert(SSL_CTX* ctx, const char* path)
{
  if (!ctx)
    return -1;
  if (!*path)
    return 0;
  SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  return SSL_CTX_load_verify_locations(ctx, path, nullptr) == 1 ? 0 : -2;
}

// What a server agrees to: of TLS 1.2 only suites with forward secrecy and authenticated
// encryption, and the order is the server's.
static bool ns_restrict_tls(SSL_CTX* ctx)
{
  static char groups[] = "X25519:P-256";  // the call takes no constant
  SSL_CTX_set_options(ctx, SSL_OP_CIPHER_SERVER_PREFERENCE);
  return SSL_CTX_set_cipher_list(ctx, "ECDHE+AESGCM:ECDHE+CHACHA20") == 1 &&
         SSL_CTX_set1_groups_list(ctx, groups) == 1;
}

// Gives the connection a context of its own; false when a file cannot be used.
static bool ns_make_ssl_ctx(ns_connection* conn, const SSL_METHOD* method, const char* cert,
                            const char* ca)
{
  conn->ssl_ctx = SSL_CTX_new(method);
  if (conn->ssl_ctx) {
    static const unsigned char session_scope[] = "httpd";
    SSL_CTX_set_min_proto_version(conn->ssl_ctx, TLS1_2_VERSION);
    // An idle connection gives its record buffers back, more than 32 KiB of them; a write is tried
    // again from a buffer that has grown, and so may have moved, in between; the chain comes from
    // the certificate's file, as looking for one would verify signatures at every handshake.
    SSL_CTX_set_mode(conn->ssl_ctx, SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                        SSL_MODE_NO_AUTO_CHAIN);
    // Clients resume sessions by ticket; a table of them would only take memory. With client
    // certificates a session without a scope could not be resumed at all.
    SSL_CTX_set_session_cache_mode(conn->ssl_ctx, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_session_id_context(conn->ssl_ctx, session_scope, sizeof session_scope - 1);
  }
  bool usable = ns_use_cert(conn->ssl_ctx, cert) == 0 && ns_use_ca_cert(conn->ssl_ctx, ca) == 0 &&
                (!(conn->flags & NSF_LISTENING) || ns_restrict_tls(conn->ssl_ctx));
  ERR_clear_error();
  return usable;
}

// Keeps the paths, so that the files can be read anew; false when memory is short.
static bool ns_keep_files(ns_connection* listener, const char* cert, const char* ca)
{
  listener->files = static_cast<ns_tls_files*>(calloc(1, sizeof *listener->files));
  if (!listener->files)
    return false;
  snprintf(listener->files->cert, sizeof listener->files->cert, "%s", cert);
  snprintf(listener->files->ca, sizeof listener->files->ca, "%s", ca);
  return true;
}

bool ns_renew_tls(ns_connection* listener)
{
  SSL_CTX* old = listener->ssl_ctx;
  // A context of its own: a certificate with another kind of key would not replace the old one.
  bool usable =
      ns_make_ssl_ctx(listener, TLS_server_method(), listener->files->cert, listener->files->ca) &&
      SSL_CTX_check_private_key(listener->ssl_ctx) == 1;
  ERR_clear_error();
  if (!usable)
    std::swap(old, listener->ssl_ctx);
  SSL_CTX_free(old);  // connections that came from it hold it themselves
  return usable;
}

static bool ns_attach_ssl(ns_connection* conn, SSL_CTX* ctx)
{
  conn->ssl = SSL_new(ctx);
  bool attached = conn->ssl && SSL_set_fd(conn->ssl, conn->sock) == 1;
  ERR_clear_error();
  return attached;
}

// --- listeners and outbound connections ---

static int ns_open_listening_socket(ns_socket_address* address, int protocol)
{
  int sock = socket(AF_INET, protocol | SOCK_CLOEXEC, 0);
  int on = 1;
  socklen_t length = sizeof address->sin;
  if (sock >= 0 && setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
      bind(sock, &address->sa, length) == 0 &&
      (protocol == SOCK_DGRAM || listen(sock, LISTEN_BACKLOG) == 0) &&
      getsockname(sock, &address->sa, &length) == 0)
    return sock;
  if (sock >= 0)
    close(sock);
  return -1;
}

ns_connection* ns_bind(ns_mgr* mgr, const char* address, ns_callback_t callback, void* user_data)
{
  ns_socket_address sa;
  int protocol;
  bool use_ssl;
  char cert[TLS_PATH_SIZE], ca[TLS_PATH_SIZE];
  if (!ns_parse_address(address, &sa, &protocol, &use_ssl, cert, ca) || (use_ssl && !*cert)) {
    errno = 0;
    return nullptr;
  }
  int sock = ns_open_listening_socket(&sa, protocol);
  if (sock < 0)
    return nullptr;
  ns_connection* conn = ns_add_sock(mgr, sock, nullptr, user_data);
  if (!conn) {
    close(sock);
    return nullptr;
  }
  conn->sa = sa;
  conn->flags |= NSF_LISTENING | (protocol == SOCK_DGRAM ? NSF_UDP : 0);
  if (use_ssl &&
      (!ns_make_ssl_ctx(conn, TLS_server_method(), cert, ca) || !ns_keep_files(conn, cert, ca))) {
    ns_close_conn(conn);
    errno = 0;
    return nullptr;
  }
  conn->callback = callback;
  return conn;
}

ns_connection* ns_connect(ns_mgr* mgr, const char* address, ns_callback_t callback, void* user_data)
{
  ns_socket_address sa;
  int protocol;
  bool use_ssl;
  char cert[TLS_PATH_SIZE], ca[TLS_PATH_SIZE];
  if (!ns_parse_address(address, &sa, &protocol, &use_ssl, cert, ca))
    return nullptr;
  int sock = socket(AF_INET, protocol | SOCK_CLOEXEC, 0);
  if (sock < 0)
    return nullptr;
  ns_set_non_blocking(sock);
  bool started =
      protocol == SOCK_DGRAM || connect(sock, &sa.sa, sizeof sa.sin) == 0 || errno == EINPROGRESS;
  ns_connection* conn = started ? ns_add_sock(mgr, sock, nullptr, user_data) : nullptr;
  if (!conn) {
    close(sock);
    return nullptr;
  }
  conn->sa = sa;
  conn->flags = protocol == SOCK_DGRAM ? NSF_UDP : NSF_CONNECTING;
  if (use_ssl && (!ns_make_ssl_ctx(conn, TLS_client_method(), cert, ca) ||
                  !ns_attach_ssl(conn, conn->ssl_ctx))) {
    ns_close_conn(conn);
    return nullptr;
  }
  conn->callback = callback;
  return conn;
}

// --- socket pairs and threads ---

static void ns_close_pair(int pair[2])
{
  for (int i = 0; i < 2; i++) {
    if (pair[i] >= 0)
      close(pair[i]);
    pair[i] = -1;
  }
}

int ns_socketpair2(int pair[2], int type)
{
  sockaddr_in sin = {}, other = {};
  socklen_t length = sizeof sin, other_length = sizeof other;
  sin.sin_family = AF_INET;
  sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  pair[0] = pair[1] = -1;
  int first = socket(AF_INET, type | SOCK_CLOEXEC, 0);
  bool done = first >= 0 && bind(first, reinterpret_cast<sockaddr*>(&sin), length) == 0 &&
              (type != SOCK_STREAM || listen(first, 1) == 0) &&
              getsockname(first, reinterpret_cast<sockaddr*>(&sin), &length) == 0 &&
              (pair[0] = socket(AF_INET, type | SOCK_CLOEXEC, 0)) >= 0 &&
              connect(pair[0], reinterpret_cast<sockaddr*>(&sin), length) == 0;
  if (done && type == SOCK_STREAM) {
    pair[1] = accept4(first, nullptr, nullptr, SOCK_CLOEXEC);
    done = pair[1] >= 0;
  } else if (done) {
    done = getsockname(pair[0], reinterpret_cast<sockaddr*>(&other), &other_length) == 0 &&
           connect(first, reinterpret_cast<sockaddr*>(&other), other_length) == 0;
    if (done) {
      pair[1] = first;
      first = -1;
      // Somebody else may have sent to it before it was connected.
      while (recv(pair[1], &other, sizeof other, MSG_DONTWAIT) >= 0) {
      }
    }
  }
  if (first >= 0)
    close(first);
  if (!done)
    ns_close_pair(pair);
  return done ? 1 : 0;
}

int ns_socketpair(int pair[2])
{
  return ns_socketpair2(pair, SOCK_STREAM);
}

void ns_start_thread(void* (*procedure)(void*), void* parameter)
{
  pthread_t thread;
  if (pthread_create(&thread, nullptr, procedure, parameter) == 0)
    pthread_detach(thread);
}

// --- the manager ---

static int ns_open_spare(void)
{
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

// Where the numbers of accepted connections end: the process's own files take higher ones.
static int ns_max_sock(void)
{
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
    return FD_SETSIZE;
  rlim_t kept = std::min(KEPT_DESCRIPTORS, limit.rlim_cur / 2);
  return static_cast<int>(std::min<rlim_t>(limit.rlim_cur - kept, FD_SETSIZE));
}

void ns_mgr_init(ns_mgr* mgr, void* user_data)
{
  *mgr = {};
  mgr->max_sock = ns_max_sock();
  mgr->now_ms = ns_clock_ms();
  mgr->ctl[0] = mgr->ctl[1] = -1;
  mgr->user_data = user_data;
  signal(SIGPIPE, SIG_IGN);
  do {
    ns_socketpair2(mgr->ctl, SOCK_DGRAM);
  } while (mgr->ctl[0] < 0);
  mgr->spare_fd = ns_open_spare();
  static int ssl_uses = 0;
  if (ssl_uses++ == 0)
    OPENSSL_init_ssl(0, nullptr);
}

void ns_mgr_free(ns_mgr* mgr)
{
  if (!mgr)
    return;
  ns_mgr_poll(mgr, 0);
  ns_close_pair(mgr->ctl);
  while (ns_connection* conn = ns_next(mgr, nullptr))
    ns_close_conn(conn);
  if (mgr->spare_fd >= 0)
    close(mgr->spare_fd);
  mgr->spare_fd = -1;
}

void ns_wakeup(ns_mgr* mgr, ns_callback_t callback, const void* data, size_t len)
{
  ctl_msg msg;
  if (mgr->ctl[0] < 0 || !data || len >= sizeof msg.message)
    return;
  msg.callback = callback;
  memcpy(msg.message, data, len);
  unsigned char acknowledged;
  if (send(mgr->ctl[0], &msg, offsetof(ctl_msg, message) + len, 0) > 0)
    while (recv(mgr->ctl[0], &acknowledged, sizeof acknowledged, 0) < 0 && errno == EINTR) {
    }
}

static void ns_take_wakeup(ns_mgr* mgr)
{
  ctl_msg msg;
  ssize_t got = recv(mgr->ctl[1], &msg, offsetof(ctl_msg, message) + sizeof msg.message - 1, 0);
  // The sender waits for this.
  if (send(mgr->ctl[1], "", 1, 0) != 1)
    return;
  if (got < static_cast<ssize_t>(offsetof(ctl_msg, message)) || !msg.callback)
    return;
  msg.message[static_cast<size_t>(got) - offsetof(ctl_msg, message)] = '\0';
  for (ns_connection *conn = ns_next(mgr, nullptr), *next; conn; conn = next) {
    next = ns_next(mgr, conn);
    msg.callback(conn, NS_POLL, msg.message);
  }
  mgr->sweeps = true;  // it may have changed any of them
}

// --- one connection's share of a pass ---

// Takes a connection off the queue when there is no descriptor left to serve it with: the listener
// would stay readable for ever. The pass opens the next spare descriptor.
static void ns_refuse_connection(ns_connection* listener)
{
  ns_mgr* mgr = listener->mgr;
  if (mgr->spare_fd >= 0)
    close(mgr->spare_fd);
  mgr->spare_fd = -1;
  int sock = accept4(listener->sock, nullptr, nullptr, SOCK_CLOEXEC);
  if (sock >= 0)
    close(sock);
}

// Closes a connection for a newcomer; false when none can be spared.
static bool ns_make_room(ns_mgr* mgr)
{
  ns_connection* victim = mgr->expendable ? mgr->expendable(mgr) : nullptr;
  if (!victim)
    return false;
  ns_close_conn(victim);
  return true;
}

static int ns_accept_socket(const ns_connection* listener, ns_socket_address* peer)
{
  socklen_t length = sizeof *peer;
  return accept4(listener->sock, &peer->sa, &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
}

// Gives a newcomer whose descriptor is too high the one of a connection that makes room; -1, with
// the newcomer closed, when there is none.
static int ns_move_down(ns_mgr* mgr, int sock)
{
  int lower = ns_make_room(mgr) ? fcntl(sock, F_DUPFD_CLOEXEC, 0) : -1;
  close(sock);
  if (lower < mgr->max_sock)
    return lower;
  close(lower);
  return -1;
}

static void ns_start_accepted(ns_connection* listener, int sock, ns_socket_address* peer)
{
  ns_connection* conn = ns_wrap_sock(listener->mgr, sock, listener->callback, listener->user_data);
  if (!conn) {
    close(sock);
    return;
  }
  conn->sa = *peer;
  // An answer behind the end of a TLS handshake would wait for the peer's delayed acknowledgement.
  int on = 1;
  setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (listener->ssl_ctx && !ns_attach_ssl(conn, listener->ssl_ctx)) {
    conn->callback = nullptr;
    ns_close_conn(conn);
    return;
  }
  conn->listener = listener;
  conn->proto_data = listener->proto_data;
  ns_call(conn, NS_ACCEPT, peer);
}

// Accepts one connection; false when no other is to be expected. Without a free descriptor the
// system does not look whether one is there: room is made only for one that is known to be.
static bool accept_conn(ns_connection* listener, bool is_there)
{
  ns_socket_address peer = {};
  int sock = ns_accept_socket(listener, &peer);
  if (sock < 0 && is_there && (errno == EMFILE || errno == ENFILE)) {
    if (!ns_make_room(listener->mgr)) {
      ns_refuse_connection(listener);
      return false;
    }
    sock = ns_accept_socket(listener, &peer);
  }
  if (sock < 0)
    return false;
  if (sock >= listener->mgr->max_sock)
    sock = ns_move_down(listener->mgr, sock);
  if (sock >= 0)
    ns_start_accepted(listener, sock, &peer);
  return true;
}

static void ns_handle_udp(ns_connection* listener)
{
  char datagram[DATAGRAM_SIZE];
  ns_connection conn = {};
  socklen_t length = sizeof conn.sa;
  ssize_t got = recvfrom(listener->sock, datagram, sizeof datagram, 0, &conn.sa.sa, &length);
  if (got <= 0)
    return;
  conn.mgr = listener->mgr;
  conn.sock = listener->sock;
  conn.callback = listener->callback;
  conn.user_data = listener->user_data;
  conn.proto_data = listener->proto_data;
  conn.listener = listener;
  conn.flags = NSF_UDP;
  conn.recv_iobuf.buf = datagram;
  conn.recv_iobuf.len = conn.recv_iobuf.size = static_cast<size_t>(got);
  int count = static_cast<int>(got);
  ns_call(&conn, NS_RECV, &count);
}

static void ns_finish_connecting(ns_connection* conn)
{
  int error = 0;
  socklen_t length = sizeof error;
  if (getsockopt(conn->sock, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
    error = errno;
  if (error == 0 && conn->ssl) {
    int result = SSL_connect(conn->ssl);
    if (result == 1)
      conn->flags |= NSF_TLS_READY;
    else if (ns_ssl_waits(ns_ssl_err(conn, result)))
      return;
    else
      error = 1;
  }
  conn->flags &= ~NSF_CONNECTING;
  if (error != 0)
    conn->flags |= NSF_CLOSE_NOW;
  ns_call(conn, NS_CONNECT, &error);
}

static void ns_finish_handshake(ns_connection* conn)
{
  int result = SSL_accept(conn->ssl);
  if (result == 1)
    conn->flags |= NSF_TLS_READY;
  else if (!ns_ssl_waits(ns_ssl_err(conn, result)))
    conn->flags |= NSF_CLOSE_NOW;
}

static int ns_read_step(ns_connection* conn, char* bytes, size_t size)
{
  return conn->ssl ? SSL_read(conn->ssl, bytes, static_cast<int>(size))
                   : static_cast<int>(recv(conn->sock, bytes, size, 0));
}

// Whether a read took all that was there: the next one would find nothing, or that the client has
// closed its side behind a request that is to be answered first. TLS has read ahead.
static bool ns_is_all(const ns_connection* conn, int got)
{
  return got > 0 && static_cast<size_t>(got) < READ_STEP &&
         !(conn->ssl && SSL_has_pending(conn->ssl));
}

// Whether a connection that has been read so far in this pass is read further. Everyone gets one
// step, however long the pass has taken already.
static bool ns_may_read_on(const ns_connection* conn, size_t taken, int64_t deadline_ms)
{
  return !(conn->flags & (NSF_READ_PAUSED | NSF_DISCARD_INPUT)) && taken < READ_SHARE &&
         (taken == 0 || ns_clock_ms() <= deadline_ms);
}

static void ns_read_from_socket(ns_connection* conn, int64_t deadline_ms)
{
  if (conn->flags & NSF_CONNECTING) {
    ns_finish_connecting(conn);
    return;
  }
  if (conn->ssl && !(conn->flags & NSF_TLS_READY)) {
    ns_finish_handshake(conn);
    return;
  }
  // A record is read with one call instead of two. Not during the handshake: what comes behind it
  // must stay in the socket, to make it readable again.
  if (conn->ssl)
    SSL_set_read_ahead(conn->ssl, 1);
  char bytes[READ_STEP];
  int got = 1;
  size_t taken = 0;
  bool is_drained = false;
  while (!is_drained && ns_may_read_on(conn, taken, deadline_ms) &&
         (got = ns_read_step(conn, bytes, sizeof bytes)) > 0) {
    taken += static_cast<size_t>(got);
    is_drained = ns_is_all(conn, got);
    if (iobuf_append(&conn->recv_iobuf, bytes, static_cast<size_t>(got)) == 0)
      ns_break_conn(conn);
    ns_call(conn, NS_RECV, &got);
    if (conn->flags & NSF_BROKEN)
      return;
  }
  // All that is there now goes: the next request must not seem to begin in the middle of it.
  for (taken = 0; !is_drained && got > 0 && (conn->flags & NSF_DISCARD_INPUT) && taken < READ_SHARE;
       taken += static_cast<size_t>(got)) {
    got = ns_read_step(conn, bytes, sizeof bytes);
    is_drained = ns_is_all(conn, got);
  }
  if (is_drained) {
    conn->flags &= ~(NSF_READ_AHEAD | NSF_DISCARD_INPUT);
    return;
  }
  if (got > 0) {
    conn->flags |= conn->ssl ? NSF_READ_AHEAD : 0;
    return;
  }
  conn->flags &= ~(NSF_READ_AHEAD | NSF_DISCARD_INPUT);
  bool failed = conn->ssl ? !ns_ssl_waits(ns_ssl_err(conn, got)) : ns_is_error(got);
  if (failed)
    conn->flags |= NSF_CLOSE_NOW;
}

void ns_send_file(ns_connection* conn, int file, int64_t len)
{
  conn->file = file;
  conn->file_left = len;
}

// Sends bytes from the queue or, behind it, of the file; the result of the call.
static int ns_write_plain(ns_connection* conn)
{
  const iobuf& io = conn->send_iobuf;
  if (io.len > 0) {
    bool more_follows = (conn->flags & NSF_MORE_FOLLOWS) || conn->file_left > 0;
    return static_cast<int>(send(conn->sock, io.buf, io.len, more_follows ? MSG_MORE : 0));
  }
  ssize_t sent = sendfile(conn->sock, conn->file, nullptr,
                          static_cast<size_t>(std::min(conn->file_left, FILE_SHARE)));
  conn->file_left = sent == 0 ? -1 : conn->file_left - std::max<ssize_t>(sent, 0);
  return sent == 0 ? 1 : static_cast<int>(sent);  // the end of the file is no error
}

// A write that is only tried, without the socket being known to be writable, finds it full in the
// ordinary course of things: it leaves no mark on the connection.
static void ns_write_to_socket(ns_connection* conn, bool is_tried)
{
  iobuf& io = conn->send_iobuf;
  int sent;
  if (conn->ssl) {
    sent = SSL_write(conn->ssl, io.buf, io.len > INT32_MAX ? INT32_MAX : static_cast<int>(io.len));
    if (sent <= 0) {
      uint32_t before = conn->flags;
      bool waits = ns_ssl_waits(ns_ssl_err(conn, sent));
      if (is_tried)
        conn->flags = before;
      if (waits)
        return;
      conn->flags |= NSF_CLOSE_NOW;
    }
  } else {
    sent = ns_write_plain(conn);
  }
  bool failed = !conn->ssl && ns_is_error(sent);
  ns_call(conn, NS_SEND, &sent);
  if (failed)
    conn->flags |= NSF_CLOSE_NOW;
  else if (sent > 0 && io.len > 0)
    iobuf_remove(&io, static_cast<size_t>(sent));
}

static void ns_serve_listener(ns_connection* listener)
{
  if (listener->flags & NSF_UDP) {
    ns_handle_udp(listener);
    return;
  }
  for (int i = 0; i < MAX_ACCEPTS && accept_conn(listener, i == 0); i++) {
  }
}

// Whether there is output that may be written now.
static bool ns_has_output(const ns_connection* conn)
{
  return (conn->send_iobuf.len > 0 || conn->file_left > 0) &&
         !(conn->flags & (NSF_CONNECTING | NSF_HOLD_SEND));
}

// --- the pass ---

// Without the spare descriptor a listener that has run out of them could not refuse a client and
// would keep the loop spinning.
static bool ns_waits_for_reading(const ns_connection* conn)
{
  bool accepts = (conn->flags & (NSF_LISTENING | NSF_UDP)) == NSF_LISTENING;
  return !(conn->flags & (NSF_TLS_WANT_WRITE | NSF_READ_PAUSED)) &&
         !(accepts && conn->mgr->spare_fd < 0);
}

static bool ns_waits_for_writing(const ns_connection* conn)
{
  if (conn->flags & NSF_CONNECTING)
    return !(conn->flags & NSF_TLS_WANT_READ);
  return ns_has_output(conn);
}

// Whether there is something to read that does not make the socket readable.
static bool ns_has_read_ahead(const ns_connection* conn)
{
  return (conn->flags & NSF_READ_AHEAD) && ns_waits_for_reading(conn);
}

static void ns_serve(ns_connection* conn, bool readable, bool writable, time_t now,
                     int64_t deadline_ms)
{
  if (readable && (conn->flags & NSF_LISTENING)) {
    ns_serve_listener(conn);
    return;
  }
  if (readable) {
    ns_wake(conn);
    conn->last_io_time = now;
    ns_read_from_socket(conn, deadline_ms);
  }
  if (writable && (conn->flags & NSF_CONNECTING)) {
    ns_read_from_socket(conn, deadline_ms);
  } else if (ns_has_output(conn) && (writable || (readable && !(conn->flags & NSF_CLOSE_NOW)))) {
    conn->last_io_time = now;
    ns_write_to_socket(conn, !writable);  // also the answer to what was just read
    if (conn->send_iobuf.len == 0 && conn->file_left > 0 && !(conn->flags & NSF_CLOSE_NOW))
      ns_write_to_socket(conn, !writable);  // and the file behind its headers
  }
}

static void ns_want(int sock, fd_set* set, bool wanted)
{
  if (wanted)
    FD_SET(sock, set);
  else
    FD_CLR(sock, set);
}

// Polls the connections and notes what they wait for; true when one has something to read already.
static bool ns_poll_connections(ns_mgr* mgr)
{
  bool has_read_ahead = false;
  time_t now = static_cast<time_t>(mgr->now_ms / 1000);
  for (ns_connection *conn = ns_next_visited(mgr, nullptr), *next; conn; conn = next) {
    next = ns_next_visited(mgr, conn);
    if (!(conn->flags & (NSF_LISTENING | NSF_CONNECTING)))
      ns_call(conn, NS_POLL, &now);
    if (conn->flags & NSF_CLOSE_NOW) {
      ns_close_conn(conn);
      continue;
    }
    if (conn->send_iobuf.len == 0 && conn->send_iobuf.buf)
      iobuf_free(&conn->send_iobuf);  // an idle connection keeps no buffer
    ns_want(conn->sock, &mgr->wanted_read, ns_waits_for_reading(conn));
    ns_want(conn->sock, &mgr->wanted_write, ns_waits_for_writing(conn));
    has_read_ahead = has_read_ahead || ns_has_read_ahead(conn);
  }
  return has_read_ahead;
}

// Asks the system about the sockets in both sets; how many descriptors are ready.
static int ns_ask_system(ns_mgr* mgr, int milliseconds)
{
  timeval timeout = {};
  timeout.tv_sec = milliseconds / 1000;
  timeout.tv_usec = milliseconds % 1000 * 1000;
  mgr->writable = mgr->wanted_write;
  int last = mgr->last_sock;
  if (ns_fits_select_set(mgr->ctl[1])) {
    FD_SET(mgr->ctl[1], &mgr->readable);
    last = std::max(last, mgr->ctl[1]);
  }
  int ready = select(last + 1, &mgr->readable, &mgr->writable, nullptr, &timeout);
  mgr->few_were_busy = ready >= BUSY_AT_LEAST && ready <= mgr->last_sock / BUSY_SHARE;
  if (ready >= 0)
    return ready;
  FD_ZERO(&mgr->readable);
  FD_ZERO(&mgr->writable);
  return 0;
}

// Waits for something to happen; how many descriptors are ready. The system looks at a thousand
// idle sockets longer than it takes to serve the few busy ones among them. So behind a busy pass
// those are asked for first that brought something lately, and all of them when these bring
// nothing, and at least once in a millisecond.
static int ns_select(ns_mgr* mgr, int milliseconds)
{
  mgr->readable = mgr->wanted_read;
  if (mgr->few_were_busy && mgr->now_ms == mgr->looked_ms) {
    for (int i = 0; i <= mgr->last_sock / NFDBITS; i++)
      mgr->readable.fds_bits[i] &= mgr->busy.fds_bits[i] | mgr->busy_before.fds_bits[i];
    int ready = ns_ask_system(mgr, 0);
    if (ready > 0)
      return ready;
    mgr->readable = mgr->wanted_read;
  }
  mgr->looked_ms = mgr->now_ms;
  mgr->busy_before = mgr->busy;
  FD_ZERO(&mgr->busy);
  return ns_ask_system(mgr, milliseconds);
}

// What has been read ahead does not make the socket readable.
static int ns_add_read_ahead(ns_mgr* mgr)
{
  int added = 0;
  for (ns_connection* conn = mgr->active_connections; conn; conn = conn->next)
    if (ns_has_read_ahead(conn) && !FD_ISSET(conn->sock, &mgr->readable)) {
      FD_SET(conn->sock, &mgr->readable);
      added++;
    }
  return added;
}

// A word of the set: its lowest bit is the descriptor of NFDBITS times the index, on any machine.
static unsigned long ns_word_of(const fd_set& set, int index)
{
  static_assert(sizeof(unsigned long) * 8 == NFDBITS);
  unsigned long word;
  memcpy(&word, &set.fds_bits[index], sizeof word);
  return word;
}

// Serves what is ready, the newest first. Serving one may close others.
static void ns_serve_ready(ns_mgr* mgr)
{
  constexpr int BITS = NFDBITS;
  int64_t deadline_ms = mgr->now_ms + PASS_TIME_MS;
  time_t now = static_cast<time_t>(mgr->now_ms / 1000);
  for (int i = mgr->last_sock / BITS; i >= 0; i--) {
    unsigned long ready = ns_word_of(mgr->readable, i) | ns_word_of(mgr->writable, i);
    while (ready != 0) {
      int bit = BITS - 1 - __builtin_clzl(ready);
      int sock = i * BITS + bit;
      ready &= ~(1UL << bit);
      FD_SET(sock, &mgr->busy);
      if (ns_connection* conn = mgr->by_sock[sock])
        ns_serve(conn, FD_ISSET(sock, &mgr->readable), FD_ISSET(sock, &mgr->writable), now,
                 deadline_ms);
    }
  }
}

// Whether nothing is to be done for it until it brings bytes.
static bool ns_may_stand_aside(const ns_connection* conn)
{
  constexpr uint32_t ALLOWED = NSF_IDLE | NSF_TLS_READY | NSF_TLS_WANT_READ;
  return (conn->flags & NSF_IDLE) && !(conn->flags & ~ALLOWED) && conn->send_iobuf.len == 0 &&
         conn->file_left == 0;
}

static void ns_end_pass(ns_mgr* mgr)
{
  for (ns_connection *conn = ns_next_visited(mgr, nullptr), *next; conn; conn = next) {
    next = ns_next_visited(mgr, conn);
    if ((conn->flags & NSF_CLOSE_NOW) ||
        ((conn->flags & NSF_CLOSE_WHEN_SENT) && conn->send_iobuf.len == 0)) {
      ns_close_conn(conn);
    } else if (ns_may_stand_aside(conn)) {
      iobuf_free(&conn->send_iobuf);
      ns_want(conn->sock, &mgr->wanted_read, true);
      ns_want(conn->sock, &mgr->wanted_write, false);
      ns_put_aside(conn, true);
    }
  }
}

time_t ns_mgr_poll(ns_mgr* mgr, int milliseconds)
{
  mgr->now_ms = ns_clock_ms();
  mgr->sweeps = mgr->now_ms - mgr->swept_ms >= SWEEP_TIME_MS;
  if (mgr->sweeps)
    mgr->swept_ms = mgr->now_ms;
  if (mgr->spare_fd < 0)
    mgr->spare_fd = ns_open_spare();

  bool has_read_ahead = ns_poll_connections(mgr);
  int ready = ns_select(mgr, has_read_ahead ? 0 : milliseconds);
  if (has_read_ahead)
    ready += ns_add_read_ahead(mgr);
  if (ready > 0) {
    mgr->now_ms = ns_clock_ms();
    if (ns_fits_select_set(mgr->ctl[1]) && FD_ISSET(mgr->ctl[1], &mgr->readable))
      ns_take_wakeup(mgr);
    ns_serve_ready(mgr);
  }
  ns_end_pass(mgr);
  return time(nullptr);
}
