#include "httpd/mg_file.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <strings.h>
#include <time.h>

#include <algorithm>

#include "httpd/mg_body.h"
#include "httpd/mg_date.h"
#include "httpd/mg_mime.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"

static constexpr size_t READ_SIZE = 8192;

// --- conditions ---

constexpr size_t ETAG_SIZE = 64;

static void format_etag(char (&etag)[ETAG_SIZE], const struct stat* st)
{
  snprintf(etag, sizeof etag, "\"%lx.%lld\"", static_cast<unsigned long>(st->st_mtime),
           static_cast<long long>(st->st_size));
}

static bool is_not_modified(const connection* conn, const struct stat* st)
{
  char etag[ETAG_SIZE];
  format_etag(etag, st);
  const char* none_match = mg_get_header(&conn->mg_conn, "If-None-Match");
  if (none_match && strcasecmp(none_match, etag) == 0)
    return true;
  const char* since = mg_get_header(&conn->mg_conn, "If-Modified-Since");
  time_t time = since ? mg_parse_http_date(since) : -1;
  return time != -1 && time >= st->st_mtime;
}

// Whether a list of entity tags has this one. A weak one says that a file looks the same, not that
// it is the same.
static bool lists_etag(const char* list, const char* etag, bool weak_ones_count)
{
  for (;;) {
    list += strspn(list, " ,");
    if (*list == '\0' || *list == '*')
      return *list == '*';
    bool is_weak = strncmp(list, "W/", 2) == 0;
    list += is_weak ? 2 : 0;
    size_t length = *list == '"' ? strcspn(list + 1, "\"") + 1 : strcspn(list, ",");
    length += *list == '"' && list[length] == '"';
    if ((weak_ones_count || !is_weak) && length == strlen(etag) &&
        strncasecmp(list, etag, length) == 0)
      return true;
    list += length;
  }
}

bool mg_may_change(const connection* conn, const struct stat* st)
{
  const char* match = mg_get_header(&conn->mg_conn, "If-Match");
  const char* none_match = mg_get_header(&conn->mg_conn, "If-None-Match");
  char etag[ETAG_SIZE] = "";
  if (!st)
    return !match;
  format_etag(etag, st);
  return (!match || lists_etag(match, etag, false)) &&
         (!none_match || !lists_etag(none_match, etag, true));
}

// The "Range" header, unless it is about another state of the file.
static const char* wanted_range(const connection* conn, const struct stat* st)
{
  const char* condition = mg_get_header(&conn->mg_conn, "If-Range");
  char etag[ETAG_SIZE];
  format_etag(etag, st);
  if (condition && strcasecmp(condition, etag) != 0 &&
      (st->st_mtime == -1 || mg_parse_http_date(condition) != st->st_mtime))
    return nullptr;
  return mg_get_header(&conn->mg_conn, "Range");
}

// --- ranges ---

enum range_kind { RANGE_NONE, RANGE_PART, RANGE_OUTSIDE };

// What part of a file of that size is asked for. A last byte at or behind the end asks for one byte
// more than there is.
static range_kind parse_range(const char* header, int64_t size, int64_t* first, int64_t* count)
{
  long long r1 = 0, r2 = 0;
  // 18 digits are beyond any file and inside the type.
  int numbers = header ? sscanf(header, "bytes=%18lld-%18lld", &r1, &r2) : 0;
  if (numbers < 1 || r1 < 0 || r2 < 0 || (numbers == 2 && r2 < r1))
    return RANGE_NONE;
  if (r1 >= size)
    return RANGE_OUTSIDE;
  *first = r1;
  *count = numbers == 2 ? std::min<int64_t>(r2, size) - r1 + 1 : size - r1;
  return RANGE_PART;
}

// --- the file endpoint ---

// Frees what an EP_FILE request holds.
static void close_file(connection* conn)
{
  conn->ns_conn->file_left = 0;
  close(conn->endpoint.fd);
}

// Without TLS the kernel sends the file itself.
static bool is_sent_by_kernel(const ns_connection* nc)
{
  return !nc->ssl && !(nc->flags & NSF_UDP);
}

// Ends the request when the last byte has been taken, or cannot be had.
static void finish_file(connection* conn, bool is_short)
{
  ns_connection* nc = conn->ns_conn;
  nc->flags &= ~NSF_MORE_FOLLOWS;
  close_local_endpoint(conn);
  if (is_short)  // the client still waits for what the headers promised
    nc->flags |= NSF_CLOSE_WHEN_SENT;
}

// Reads straight into the queue; the result of the read.
static ssize_t queue_from_file(iobuf* queue, int fd, size_t len)
{
  if (queue->size - queue->len < len)
    iobuf_resize(queue, queue->len + len);
  ssize_t got = read(fd, queue->buf + queue->len, std::min(len, queue->size - queue->len));
  if (got > 0)
    queue->len += static_cast<size_t>(got);
  return got;
}

// Pieces are read as long as the queue is short; those of one pass in one call.
void mg_transfer_file_data(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  if (is_sent_by_kernel(nc)) {
    if (nc->file_left <= 0)
      finish_file(conn, nc->file_left < 0);
    return;
  }
  if (nc->send_iobuf.len > MG_MAX_QUEUED)
    return;
  size_t pieces = (MG_MAX_QUEUED - nc->send_iobuf.len) / READ_SIZE + 1;
  int64_t wanted = std::min<int64_t>(conn->cl, static_cast<int64_t>(pieces * READ_SIZE));
  ssize_t got = queue_from_file(&nc->send_iobuf, conn->endpoint.fd, static_cast<size_t>(wanted));
  if (got > 0)
    conn->cl -= got;
  if (got <= 0 || conn->cl == 0)
    finish_file(conn, conn->cl > 0);
  else
    nc->flags |= NSF_MORE_FOLLOWS;
}

static void send_file(connection* conn, const char* path, const char* extra_headers)
{
  mg_connection* c = &conn->mg_conn;
  struct stat st;
  mg_fd file;
  file.fd = mg_open_plain_file(path, &st);
  if (file.fd < 0) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  int64_t size = st.st_size;
  int64_t first = 0;
  char content_range[100] = "";
  conn->cl = size;
  c->status_code = 200;
  switch (parse_range(wanted_range(conn, &st), size, &first, &conn->cl)) {
    case RANGE_NONE:
      break;
    case RANGE_PART:
      c->status_code = 206;
      snprintf(content_range, sizeof content_range, "Content-Range: bytes %lld-%lld/%lld\r\n",
               static_cast<long long>(first), static_cast<long long>(first + conn->cl - 1),
               static_cast<long long>(size));
      break;
    case RANGE_OUTSIDE:
      snprintf(content_range, sizeof content_range, "Content-Range: bytes */%lld\r\n",
               static_cast<long long>(size));
      send_http_error_with(conn, 416, content_range, "%s", "");
      return;
  }
  if (first > 0 && lseek(file.fd, static_cast<off_t>(first), SEEK_SET) < 0) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  conn->endpoint.fd = file.fd;
  file.fd = -1;
  conn->endpoint_type = EP_FILE;
  conn->release_endpoint = close_file;

  char date[MG_HTTP_DATE_SIZE], modified[MG_HTTP_DATE_SIZE], etag[ETAG_SIZE];
  mg_format_http_date(date, time(nullptr));
  mg_format_http_date(modified, st.st_mtime);
  format_etag(etag, &st);
  mg_vec type = mg_mime_type(conn, path);
  mg_printf(c, "HTTP/1.1 %d %s\r\n", c->status_code, status_code_to_str(c->status_code));
  write_server_headers(conn, true);
  mg_printf(c,
            "Date: %s\r\nLast-Modified: %s\r\nEtag: %s\r\n"
            "Content-Type: %.*s\r\nContent-Length: %lld\r\nConnection: %s\r\n"
            "Accept-Ranges: bytes\r\n%s%s\r\n",
            date, modified, etag, static_cast<int>(type.len), type.ptr,
            static_cast<long long>(conn->cl), suggest_connection_header(c), content_range,
            extra_headers);
  if (strcmp(c->request_method, "HEAD") == 0) {
    close_local_endpoint(conn);
    return;
  }
  if (is_sent_by_kernel(conn->ns_conn))
    ns_send_file(conn->ns_conn, conn->endpoint.fd, conn->cl);
  mg_transfer_file_data(conn);
}

void mg_open_file_endpoint(connection* conn, const mg_target* target, const char* extra_headers)
{
  if (is_not_modified(conn, &target->st))
    send_http_error(conn, 304, "%s", "");
  else
    send_file(conn, target->path, extra_headers);
}
