// Files: what is served for a name, whole or in part, piece by piece on each pass.
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <strings.h>
#include <time.h>

#include <algorithm>

#include "httpd/mg_builtin.h"
#include "httpd/mg_escape.h"

static constexpr size_t READ_SIZE = 8192;

// --- types ---

struct mime_type {
  const char* extension;
  size_t ext_len;
  const char* type;
};

static const mime_type static_builtin_mime_types[] = {
    {".html",    5, "text/html"                    },
    {".htm",     4, "text/html"                    },
    {".shtm",    5, "text/html"                    },
    {".shtml",   6, "text/html"                    },
    {".css",     4, "text/css"                     },
    {".js",      3, "application/x-javascript"     },
    {".ico",     4, "image/x-icon"                 },
    {".gif",     4, "image/gif"                    },
    {".jpg",     4, "image/jpeg"                   },
    {".jpeg",    5, "image/jpeg"                   },
    {".png",     4, "image/png"                    },
    {".svg",     4, "image/svg+xml"                },
    {".txt",     4, "text/plain"                   },
    {".torrent", 8, "application/x-bittorrent"     },
    {".wav",     4, "audio/x-wav"                  },
    {".mp3",     4, "audio/x-mp3"                  },
    {".mid",     4, "audio/mid"                    },
    {".m3u",     4, "audio/x-mpegurl"              },
    {".ogg",     4, "application/ogg"              },
    {".ram",     4, "audio/x-pn-realaudio"         },
    {".ra",      3, "audio/x-pn-realaudio"         },
    {".xml",     4, "text/xml"                     },
    {".json",    5, "application/json"             },
    {".xslt",    5, "application/xml"              },
    {".xsl",     4, "application/xml"              },
    {".doc",     4, "application/msword"           },
    {".exe",     4, "application/octet-stream"     },
    {".zip",     4, "application/x-zip-compressed" },
    {".xls",     4, "application/excel"            },
    {".tgz",     4, "application/x-tar-gz"         },
    {".tar",     4, "application/x-tar"            },
    {".gz",      3, "application/x-gunzip"         },
    {".arj",     4, "application/x-arj-compressed" },
    {".rar",     4, "application/x-rar-compressed" },
    {".rtf",     4, "application/rtf"              },
    {".pdf",     4, "application/pdf"              },
    {".swf",     4, "application/x-shockwave-flash"},
    {".mpg",     4, "video/mpeg"                   },
    {".mpeg",    5, "video/mpeg"                   },
    {".webm",    5, "video/webm"                   },
    {".mov",     4, "video/quicktime"              },
    {".mp4",     4, "video/mp4"                    },
    {".m4v",     4, "video/x-m4v"                  },
    {".asf",     4, "video/x-ms-asf"               },
    {".avi",     4, "video/x-msvideo"              },
    {".bmp",     4, "image/bmp"                    },
    {".ttf",     4, "application/x-font-ttf"       },
    {nullptr,    0, nullptr                        },
};

static bool ends_with(const char* path, size_t path_len, const char* extension, size_t ext_len)
{
  return path_len > ext_len && strncasecmp(path + path_len - ext_len, extension, ext_len) == 0;
}

mg_vec mg_mime_type(const connection* conn, const char* path)
{
  size_t path_len = strlen(path);
  const char* list = mg_option_value(conn->server, EXTRA_MIME_TYPES);
  mg_vec extension, type;
  while ((list = next_option(list, &extension, &type)) != nullptr)
    if (type.ptr && ends_with(path, path_len, extension.ptr, extension.len))
      return type;
  for (const mime_type* row = static_builtin_mime_types; row->extension; row++)
    if (ends_with(path, path_len, row->extension, row->ext_len))
      return {row->type, strlen(row->type)};
  return {"text/plain", strlen("text/plain")};
}

// --- dates and conditions ---

void mg_format_http_date(char (&text)[MG_HTTP_DATE_SIZE], time_t time)
{
  struct tm utc = {};
  text[0] = '\0';
  if (gmtime_r(&time, &utc))
    strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
}

static int month_index(const char* name)
{
  static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int i = 0; i < 12; i++)
    if (strcmp(months[i], name) == 0)
      return i;
  return -1;
}

time_t mg_parse_http_date(const char* text)
{
  struct tm utc = {};
  char month[4] = "";
  int day = 0, year = 0, hour = 0, minute = 0, second = 0;
  // Nine digits at most, so that no number overflows; what is out of range fails below.
  bool read =
      sscanf(text, "%9d/%3s/%9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) == 6 ||
      sscanf(text, "%9d %3s %9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) == 6 ||
      sscanf(text, "%*3s, %9d %3s %9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) ==
          6 ||
      sscanf(text, "%9d-%3s-%9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) == 6;
  utc.tm_mon = month_index(month);
  if (!read || utc.tm_mon < 0 || year < 1971 || year > 9999 || day < 1 || day > 31 || hour < 0 ||
      hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60)
    return -1;
  utc.tm_year = year - 1900;
  utc.tm_mday = day;
  utc.tm_hour = hour;
  utc.tm_min = minute;
  utc.tm_sec = second;
  return timegm(&utc);
}

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

int mg_open_plain_file(const char* path, struct stat* st)
{
  // Without O_NONBLOCK a pipe among the files would stop the server.
  int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd >= 0 && (fstat(fd, st) != 0 || !S_ISREG(st->st_mode))) {
    close(fd);
    errno = EACCES;
    return -1;
  }
  return fd;
}

static void open_file_endpoint(connection* conn, const char* path, const char* extra_headers)
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

  char date[MG_HTTP_DATE_SIZE], modified[MG_HTTP_DATE_SIZE], etag[ETAG_SIZE];
  mg_format_http_date(date, time(nullptr));
  mg_format_http_date(modified, st.st_mtime);
  format_etag(etag, &st);
  mg_vec type = mg_mime_type(conn, path);
  mg_printf(c,
            "HTTP/1.1 %d %s\r\nDate: %s\r\nLast-Modified: %s\r\nEtag: %s\r\n"
            "Content-Type: %.*s\r\nContent-Length: %lld\r\nConnection: %s\r\n"
            "Accept-Ranges: bytes\r\n%s%s\r\n",
            c->status_code, status_code_to_str(c->status_code), date, modified, etag,
            static_cast<int>(type.len), type.ptr, static_cast<long long>(conn->cl),
            suggest_connection_header(c), content_range, extra_headers);
  if (strcmp(c->request_method, "HEAD") == 0)
    close_local_endpoint(conn);
  else
    mg_transfer_file_data(conn);
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
  if (nc->send_iobuf.len > MG_MAX_QUEUED)
    return;
  size_t pieces = (MG_MAX_QUEUED - nc->send_iobuf.len) / READ_SIZE + 1;
  int64_t wanted = std::min<int64_t>(conn->cl, static_cast<int64_t>(pieces * READ_SIZE));
  ssize_t got = queue_from_file(&nc->send_iobuf, conn->endpoint.fd, static_cast<size_t>(wanted));
  if (got > 0)
    conn->cl -= got;
  bool is_over = got <= 0 || conn->cl == 0;
  bool is_short = conn->cl > 0;
  if (!is_over) {
    nc->flags |= NSF_MORE_FOLLOWS;
    return;
  }
  nc->flags &= ~NSF_MORE_FOLLOWS;
  close_local_endpoint(conn);
  if (is_short)  // the client still waits for what the headers promised
    nc->flags |= NSF_CLOSE_WHEN_SENT;
}

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

void mg_send_file_internal(connection* conn, mg_target* target, const char* extra_headers)
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
  else if (is_not_modified(conn, &target->st))
    send_http_error(conn, 304, "%s", "");
  else
    open_file_endpoint(conn, target->path, extra_headers);
}

void mg_send_file(struct mg_connection* c, const char* file_name, const char* extra_headers)
{
  mg_target target = {};
  target.exists =
      mg_format_path(target.path, "%s", file_name) && stat(target.path, &target.st) == 0;
  mg_send_file_internal(mg_conn_2_conn(c), &target, extra_headers ? extra_headers : "");
}
