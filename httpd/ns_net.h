// Connection manager: a select loop over non-blocking sockets, with TLS, on the caller's thread.
// It knows nothing of HTTP; everything that happens is reported to one callback per connection.
#pragma once

#include <netinet/in.h>
#include <openssl/ssl.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <time.h>

#include "httpd/ns_iobuf.h"

struct ns_connection;
struct ns_mgr;

// Events, with what the data pointer of the callback points to.
enum ns_event {
  NS_POLL = 0,     // time_t: ns_clock() of the pass; of a wake-up: the message text
  NS_ACCEPT = 1,   // address of the peer
  NS_CONNECT = 2,  // int: 0 connected, anything else failed
  NS_RECV = 3,     // int: bytes received
  NS_SEND = 4,     // int: result of the write
  NS_CLOSE = 5     // null; the connection is destroyed after this
};

using ns_callback_t = void (*)(ns_connection* conn, ns_event ev, void* data);

constexpr uint32_t NSF_CLOSE_WHEN_SENT = 0x1;    // close once all output is written
constexpr uint32_t NSF_HOLD_SEND = 0x2;          // keep output queued
constexpr uint32_t NSF_TLS_READY = 0x4;          // TLS handshake completed
constexpr uint32_t NSF_CONNECTING = 0x8;         // outbound connect in progress
constexpr uint32_t NSF_CLOSE_NOW = 0x10;         // close at the next opportunity
constexpr uint32_t NSF_TLS_WANT_READ = 0x20;     // TLS once waited for reading; never cleared
constexpr uint32_t NSF_TLS_WANT_WRITE = 0x40;    // TLS once waited for writing; never cleared
constexpr uint32_t NSF_LISTENING = 0x80;         // listening socket
constexpr uint32_t NSF_UDP = 0x100;              // datagram socket: output is not buffered
constexpr uint32_t NSF_READ_PAUSED = 0x200;      // do not read: what was read has not gone on yet
constexpr uint32_t NSF_MORE_FOLLOWS = 0x400;     // output is certain to follow: fill up segments
constexpr uint32_t NSF_READ_AHEAD = 0x800;       // TLS may hold bytes that were not asked for yet
constexpr uint32_t NSF_DISCARD_INPUT = 0x1000;   // drop what is left of what has arrived by now
constexpr uint32_t NSF_IDLE = 0x2000;            // see ns_mgr; cleared when bytes come
constexpr uint32_t NSF_ASIDE = 0x4000;           // in the second list
constexpr uint32_t NSF_BROKEN = 0x8000;          // see ns_break_conn; never cleared
constexpr uint32_t MGF_HEADERS_SENT = 0x100000;  // the chunked response's headers are written
constexpr uint32_t MGF_UNNAMED = 0x200000;       // cleared with the other request flags
constexpr uint32_t MGF_CGI_PEER = 0x400000;      // the pipe to a CGI child
constexpr uint32_t MGF_PROXY_PEER = 0x800000;    // the upstream side of a proxied request

// The files of a TLS listener: certificate with key and chain, and the CA of client certificates.
struct ns_tls_files {
  char cert[100];
  char ca[100];
};

union ns_socket_address {
  sockaddr sa;
  sockaddr_in sin;
  unsigned char reserved[16];  // room kept for IPv6
};

struct ns_connection {
  ns_connection *next, *prev;  // in one of the manager's lists
  ns_connection* listener;     // of an accepted connection: where it came in
  ns_mgr* mgr;
  int sock;
  ns_socket_address sa;  // peer, bound address, target or sender
  iobuf recv_iobuf;      // received and not yet consumed
  iobuf send_iobuf;      // queued for sending
  int file;              // what follows the queue, from where the file stands: see ns_send_file
  int64_t file_left;     // so many bytes of it
  SSL* ssl;
  SSL_CTX* ssl_ctx;     // owned; null on accepted connections
  ns_tls_files* files;  // owned; what a listener's ssl_ctx was made from
  void* user_data;      // the callback's
  void* proto_data;     // copied from the listener
  time_t last_io_time;  // by ns_clock()
  ns_callback_t callback;
  uint32_t flags;
};

// The connection that is to make room for a new one, or null.
using ns_expendable_t = ns_connection* (*)(ns_mgr* mgr);

// Every connection has its NS_POLL in every pass, but for those whose callback has marked them
// NSF_IDLE: until they bring bytes, or are to send some, they stand aside, and are polled now and
// then only. A thousand of them then cost a pass next to nothing.
struct ns_mgr {
  ns_connection* active_connections;
  ns_connection* aside_connections;
  ns_connection* by_sock[FD_SETSIZE];
  int last_sock;       // none of the above is higher
  fd_set wanted_read;  // what they wait for
  fd_set wanted_write;
  fd_set readable;  // what select has said in this pass
  fd_set writable;
  fd_set busy;  // what was ready since the last look at all of them
  fd_set busy_before;
  bool few_were_busy;          // in the last pass
  int64_t looked_ms;           // when select was last asked about all
  bool sweeps;                 // those that stand aside are visited in this pass
  int64_t swept_ms;            // when they were last
  ns_expendable_t expendable;  // asked when the descriptors are full; null: nothing makes room
  int max_sock;                // an accepted connection's descriptor is below this
  int64_t now_ms;              // time of the pass by a clock that does not jump
  const char* hexdump_file;    // not owned; when set, every event but NS_POLL is traced to it
  int ctl[2];                  // wake-up sockets, -1 when closed
  int spare_fd;                // given up to refuse a connection when descriptors have run out
  void* user_data;
};

void ns_mgr_init(ns_mgr* mgr, void* user_data);
void ns_mgr_free(ns_mgr* mgr);

// One pass of the loop: waits at most so long for something to happen, and returns the pass's time.
time_t ns_mgr_poll(ns_mgr* mgr, int milliseconds);

// Opens a listener; null when the address is invalid or its certificate cannot be used (errno is 0
// then), or when it cannot be bound (errno tells why). The address is "[udp://|ssl://]PORT",
// "IPV4:PORT" or "HOST:PORT", for TLS followed by
// ":CERTIFICATE" and, to demand client certificates, ":CA".
ns_connection* ns_bind(ns_mgr* mgr, const char* address, ns_callback_t callback, void* user_data);

// Reads the files of a TLS listener anew, for the handshakes that begin from now on. False, and the
// listener stays as it is, when they cannot be used.
bool ns_renew_tls(ns_connection* listener);

// Starts an outbound connection; NS_CONNECT tells how it ended. Null when it cannot be started.
ns_connection* ns_connect(ns_mgr* mgr, const char* address, ns_callback_t callback,
                          void* user_data);

// Wraps a socket, which the connection owns from then on; null (the socket stays the caller's) when
// memory is short or the descriptor does not fit the select set.
ns_connection* ns_add_sock(ns_mgr* mgr, int sock, ns_callback_t callback, void* user_data);

// Delivers NS_CLOSE and destroys the connection.
void ns_close_conn(ns_connection* conn);

// Gives a connection up whose bytes were lost for want of memory: nothing that is queued is sent
// any more, so that a cut answer cannot be taken for a whole one, and it is closed.
void ns_break_conn(ns_connection* conn);

// Seconds of a clock that nobody sets: connections idle by it.
time_t ns_clock(void);

// Queues bytes (a datagram is sent at once); returns how many were taken. When memory is short that
// is 0, and the connection is broken.
int ns_send(ns_connection* conn, const void* data, size_t len);

// Sends so many bytes of an open file behind what is queued, without copying them: for connections
// without TLS. The file stays the caller's, who may end this by setting file_left to 0. Otherwise
// it is 0 when all has been sent, and -1 when the file ended before that.
void ns_send_file(ns_connection* conn, int file, int64_t len);

// Formats and queues; returns the formatted length.
int ns_printf(ns_connection* conn, const char* format, ...) __attribute__((format(printf, 2, 3)));
int ns_vprintf(ns_connection* conn, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));

// Formats into *buf of the given size, or into a fresh heap buffer when that is too small: *buf
// then points to it and the caller frees it. Returns the length, negative when memory is short.
int ns_avprintf(char** buf, size_t size, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));

// The connection after this one; the first one for null. Those that stand aside come last.
ns_connection* ns_next(ns_mgr* mgr, ns_connection* conn);

// Text of an address, or of a socket's: what to write and of which end.
constexpr int NS_SOCK_IP = 1;
constexpr int NS_SOCK_PORT = 2;
constexpr int NS_SOCK_PEER = 4;
void ns_sock_to_str(int sock, char* buf, size_t size, int what);
void ns_address_to_str(const ns_socket_address& address, char* buf, size_t size, int what);

// Hex dump text of the bytes; returns its length.
int ns_hexdump(const void* bytes, size_t len, char* out, size_t out_size);

// Reads an address; cert and ca take 100 bytes each. Returns the characters read, 0 for an invalid
// address.
int ns_parse_address(const char* text, ns_socket_address* address, int* protocol, bool* use_ssl,
                     char* cert, char* ca);

// A connected pair of loopback sockets of the type; 1, or 0 with both set to -1.
int ns_socketpair2(int pair[2], int type);
int ns_socketpair(int pair[2]);

// From another thread: has the callback called for every connection with NS_POLL and the data
// (text, below 8192 bytes), and waits until the manager's thread has seen it.
void ns_wakeup(ns_mgr* mgr, ns_callback_t callback, const void* data, size_t len);

// Starts a detached thread.
void ns_start_thread(void* (*procedure)(void*), void* parameter);

// Whether the result of recv, send and the like means that the connection has failed.
bool ns_is_error(long result);
