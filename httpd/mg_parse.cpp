#include "httpd/mg_parse.h"

#include <ctype.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <iterator>

#include "httpd/httpd.h"

struct status_text {
  int code;
  const char* text;
};

static const status_text STATUS_TEXTS[] = {
    {100, "Continue"                       },
    {101, "Switching Protocols"            },
    {102, "Processing"                     },
    {200, "OK"                             },
    {201, "Created"                        },
    {202, "Accepted"                       },
    {203, "Non-Authoritative Information"  },
    {204, "No Content"                     },
    {205, "Reset Content"                  },
    {206, "Partial Content"                },
    {207, "Multi-Status"                   },
    {208, "Already Reported"               },
    {226, "IM Used"                        },
    {300, "Multiple Choices"               },
    {301, "Moved Permanently"              },
    {302, "Found"                          },
    {303, "See Other"                      },
    {304, "Not Modified"                   },
    {305, "Use Proxy"                      },
    {306, "Switch Proxy"                   },
    {307, "Temporary Redirect"             },
    {308, "Permanent Redirect"             },
    {400, "Bad Request"                    },
    {401, "Unauthorized"                   },
    {402, "Payment Required"               },
    {403, "Forbidden"                      },
    {404, "Not Found"                      },
    {405, "Method Not Allowed"             },
    {406, "Not Acceptable"                 },
    {407, "Proxy Authentication Required"  },
    {408, "Request Timeout"                },
    {409, "Conflict"                       },
    {410, "Gone"                           },
    {411, "Length Required"                },
    {412, "Precondition Failed"            },
    {413, "Payload Too Large"              },
    {414, "URI Too Long"                   },
    {415, "Unsupported Media Type"         },
    {416, "Requested Range Not Satisfiable"},
    {417, "Expectation Failed"             },
    {418, "I'm a teapot"                   },
    {422, "Unprocessable Entity"           },
    {423, "Locked"                         },
    {424, "Failed Dependency"              },
    {426, "Upgrade Required"               },
    {428, "Precondition Required"          },
    {429, "Too Many Requests"              },
    {431, "Request Header Fields Too Large"},
    {451, "Unavailable For Legal Reasons"  },
    {500, "Internal Server Error"          },
    {501, "Not Implemented"                },
    {502, "Bad Gateway"                    },
    {503, "Service Unavailable"            },
    {504, "Gateway Timeout"                },
    {505, "HTTP Version Not Supported"     },
    {506, "Variant Also Negotiates"        },
    {507, "Insufficient Storage"           },
    {508, "Loop Detected"                  },
    {510, "Not Extended"                   },
    {511, "Network Authentication Required"},
};

static const char* const METHODS[] = {"GET",    "POST",    "HEAD",     "CONNECT", "PUT",
                                      "DELETE", "OPTIONS", "PROPFIND", "MKCOL"};

static const char PROTOCOL[] = "HTTP/";
static const size_t PROTOCOL_LEN = sizeof PROTOCOL - 1;

const char* status_code_to_str(int code)
{
  for (const status_text& row : STATUS_TEXTS)
    if (row.code == code)
      return row.text;
  return "Server Error";
}

// Printable ASCII and everything above it, and CR: names and values in UTF-8 or Latin-1 pass. The
// loop neither stops nor branches, so that the compiler can look at many bytes at once.
static bool is_header_line(const char* line, size_t len)
{
  unsigned char control = 0;
  for (size_t i = 0; i < len; i++) {
    unsigned char c = static_cast<unsigned char>(line[i]);
    control |= static_cast<unsigned char>(((c < 0x20) & (c != '\r')) | (c == 0x7f));
  }
  return control == 0;
}

int get_request_len(const char* buf, size_t len)
{
  const char* end = buf + std::min<size_t>(len, INT_MAX);
  for (const char* line = buf; line < end;) {
    const char* lf = static_cast<const char*>(memchr(line, '\n', static_cast<size_t>(end - line)));
    if (!is_header_line(line, static_cast<size_t>((lf == nullptr ? end : lf) - line)))
      return -1;
    if (lf == nullptr)
      break;
    line = lf + 1;
    if (line < end && *line == '\n')
      return static_cast<int>(line - buf) + 1;
    if (line + 1 < end && line[0] == '\r' && line[1] == '\n')
      return static_cast<int>(line - buf) + 2;
  }
  return 0;
}

// Cuts the text at `*rest` at its first delimiter and moves `*rest` behind the run of delimiters.
static char* cut_token(char** rest, const char* delimiters)
{
  char* token = *rest;
  char* end = token + strcspn(token, delimiters);
  *rest = end + strspn(end, delimiters);
  *end = '\0';
  return token;
}

static bool is_method(const char* token)
{
  return std::any_of(
      std::begin(METHODS), std::end(METHODS),
      [token](const char* method) { return strcmp(token, method) == 0; });
}

// A line without a colon is a name with an empty value.
static mg_header split_header_line(char* line)
{
  char* end_of_name = line + strcspn(line, ": ");
  char* value = end_of_name + strspn(end_of_name, " ");
  value += *value == ':';
  value += strspn(value, " ");
  *end_of_name = '\0';
  return {line, value};
}

// Returns where it has stopped.
static const char* parse_http_headers(char* lines, struct mg_connection* view)
{
  const int capacity = MG_MAX_HEADERS;
  while (view->num_headers < capacity) {
    char* line = cut_token(&lines, "\r\n");
    mg_header header = split_header_line(line);
    if (*header.name == '\0')
      return line;
    view->http_headers[view->num_headers++] = header;
  }
  return lines;
}

static const char LENGTH_NAME[] = "Content-Length";
static const char ENCODING_NAME[] = "Transfer-Encoding";

// A line of a header block, without its end.
struct header_line {
  const char* begin;
  const char* end;
};

template <size_t Size>
static bool begins_with(const header_line& line, const char (&name)[Size])
{
  return line.end - line.begin >= static_cast<ptrdiff_t>(Size - 1) &&
         strncasecmp(line.begin, name, Size - 1) == 0;
}

template <size_t Size>
static bool has_name(const header_line& line, const char (&name)[Size])
{
  const char* behind = line.begin + Size - 1;
  return (*line.begin | 0x20) == (name[0] | 0x20) && begins_with(line, name) &&
         (behind == line.end || *behind == ':' || *behind == ' ');
}

// The value of a Content-Length line, -1 when it is no decimal number of at most 18 digits.
static int64_t length_of(const header_line& line)
{
  const char* p = line.begin + sizeof LENGTH_NAME - 1;
  if (p == line.end || *p != ':')
    return -1;
  p = std::find_if(p + 1, line.end, [](char c) { return c != ' '; });
  const char* first = p;
  int64_t value = 0;
  for (; p < line.end && *p >= '0' && *p <= '9' && p - first < 18; p++)
    value = value * 10 + (*p - '0');
  const bool is_number = p > first && std::all_of(p, line.end, [](char c) { return c == ' '; });
  return is_number ? value : -1;
}

static bool mentions_end(header_line block)
{
  for (; block.begin < block.end; block.begin++)
    if (begins_with(block, LENGTH_NAME) || begins_with(block, ENCODING_NAME))
      return true;
  return false;
}

// Takes the next line that is not empty; false at the end of the block.
static bool take_header_line(const char** rest, const char* end, header_line* line)
{
  do {
    const size_t left = static_cast<size_t>(end - *rest);
    const void* feed = left > 0 ? memchr(*rest, '\n', left) : nullptr;
    if (feed == nullptr)
      return false;
    *line = {*rest, static_cast<const char*>(feed)};
    *rest = line->end + 1;
    while (line->end > line->begin && line->end[-1] == '\r')
      line->end--;
  } while (line->begin == line->end);
  return true;
}

// What the header lines read so far say about the end of the body.
struct told_end {
  int lines;
  int64_t length;   // -1: nothing yet
  bool was_length;  // the last line was one
  bool is_parsed;   // the parser has come this far
};

// False when the line leaves the end unclear.
static bool read_end(told_end* told, header_line line)
{
  const bool stops_parser = *line.begin == ' ' || *line.begin == ':';
  if (stops_parser && told->was_length)
    return false;
  told->is_parsed = told->is_parsed && !stops_parser && ++told->lines <= MG_MAX_HEADERS;
  line.begin += stops_parser ? strspn(line.begin, " :") : 0;
  told->was_length = has_name(line, LENGTH_NAME);
  if (!told->was_length)
    return !has_name(line, ENCODING_NAME);
  const int64_t length = length_of(line);
  const bool is_same = told->length < 0 || told->length == length;
  told->length = length;
  return told->is_parsed && length >= 0 && is_same;
}

bool mg_end_is_clear(const char* block, size_t len)
{
  const char* end = block + len;
  const char* rest =
      std::find_if(block, end, [](char c) { return isspace(static_cast<unsigned char>(c)) == 0; });
  told_end told = {0, -1, false, true};
  header_line line;
  for (bool is_first = true; take_header_line(&rest, end, &line); is_first = false) {
    if (memchr(line.begin, '\r', static_cast<size_t>(line.end - line.begin)) != nullptr) {
      // Alone, a carriage return ends a line here, but not for everyone.
      return !mentions_end({block, end});
    }
    if (!is_first && !read_end(&told, line))
      return false;
  }
  return true;
}

// The path is a C string: a decoded zero byte ends it, for everyone who reads it from here on.
static void split_target(char* target, struct mg_connection* view)
{
  char* query = strchr(target, '?');
  if (query != nullptr) {
    *query++ = '\0';
    view->query_string = query;
  }
  int len = static_cast<int>(strlen(target));
  mg_url_decode(target, len, target, len + 1, 0);
  if (*target == '/' || *target == '.')
    remove_double_dots_and_double_slashes(target);
}

int parse_http_message(char* buf, size_t len, struct mg_connection* view, bool* all_parsed)
{
  view->request_method = view->uri = view->http_version = view->query_string = nullptr;
  view->is_websocket = view->wsbits = view->status_code = view->num_headers = 0;
  if (len == 0 || len > INT_MAX)
    return -1;
  const char* end = buf + len - 1;
  buf[len - 1] = '\0';
  while (isspace(static_cast<unsigned char>(*buf)))
    buf++;
  char* line = cut_token(&buf, "\r\n");
  const char* method = view->request_method = cut_token(&line, " ");
  char* target = cut_token(&line, " ");
  view->uri = target;
  view->http_version = line;
  if (is_method(method)) {
    if (strncmp(line, PROTOCOL, PROTOCOL_LEN) != 0)
      return -1;
    view->http_version = line + PROTOCOL_LEN;
  } else if (strncmp(method, PROTOCOL, PROTOCOL_LEN) == 0) {
    long status = strtol(target, nullptr, 10);
    view->status_code = static_cast<int>(std::clamp<long>(status, INT_MIN, INT_MAX));
  } else {
    return -1;
  }
  const char* stopped = parse_http_headers(buf, view);
  if (all_parsed != nullptr)
    *all_parsed = stopped == end;
  split_target(target, view);
  return static_cast<int>(len);
}

bool is_valid_uri(const char* uri)
{
  unsigned short port = 0;
  return uri != nullptr &&
         (*uri == '/' || strcmp(uri, "*") == 0 || strncasecmp(uri, "http", 4) == 0 ||
          sscanf(uri, "%*[^ :]:%hu", &port) == 1);
}

void remove_double_dots_and_double_slashes(char* s)
{
  const char* from = s;
  while (*from != '\0') {
    char copied = *s++ = *from++;
    if (copied != '/' && copied != '\\')
      continue;
    while (*from == '/' || *from == '\\' || (from[0] == '.' && from[1] == '.'))
      from += *from == '.' ? 2 : 1;
  }
  *s = '\0';
}

static bool same_letter(char a, char b)
{
  return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

// Whether what a pattern goes on with cannot begin at this letter.
static bool starts_otherwise(const char* pattern, const char* end, char letter)
{
  return pattern < end && !strchr("*?$", *pattern) && !same_letter(*pattern, letter);
}

// Matches one alternative; wildcards take as much as they can.
static int match_alternative(const char* pattern, const char* end, const char* str)
{
  const char* s = str;
  for (; pattern < end; pattern++) {
    if (*pattern == '*') {
      const bool across_folders = pattern + 1 < end && pattern[1] == '*';
      const char* rest = pattern + (across_folders ? 2 : 1);
      for (size_t taken = (across_folders ? strlen(s) : strcspn(s, "/")) + 1; taken-- > 0;) {
        if (starts_otherwise(rest, end, s[taken]))
          continue;
        int len = match_alternative(rest, end, s + taken);
        if (len >= 0)
          return static_cast<int>(s - str) + static_cast<int>(taken) + len;
      }
      return -1;
    }
    if (*pattern == '$') {
      if (*s != '\0')
        return -1;
    } else if (*s != '\0' && (*pattern == '?' || same_letter(*pattern, *s))) {
      s++;
    } else {
      return -1;
    }
  }
  return static_cast<int>(s - str);
}

int mg_match_prefix(const char* pattern, int pattern_len, const char* str)
{
  const char* end = pattern + std::max(pattern_len, 0);
  int result = -1;
  for (;;) {
    const char* bar = std::find(pattern, end, '|');
    result = std::max(result, match_alternative(pattern, bar, str));
    if (result > 0 || bar == end)
      return result;
    pattern = bar + 1;
  }
}

const char* next_option(const char* list, mg_vec* val, mg_vec* eq_val)
{
  if (list == nullptr || *list == '\0')
    return nullptr;
  *val = {list, strcspn(list, ",")};
  const char* end = list + val->len;
  if (eq_val != nullptr) {
    const char* equals = std::find(list, end, '=');
    *eq_val = {};
    if (equals != end) {
      val->len = static_cast<size_t>(equals - list);
      *eq_val = {equals + 1, static_cast<size_t>(end - equals - 1)};
    }
  }
  return *end == ',' ? end + 1 : end;
}

const char* mg_get_header(const struct mg_connection* c, const char* name)
{
  for (int i = 0; i < c->num_headers; i++)
    if (strcasecmp(name, c->http_headers[i].name) == 0)
      return c->http_headers[i].value;
  return nullptr;
}

static int hex_digit(char c)
{
  if (c >= '0' && c <= '9')
    return c - '0';
  c = static_cast<char>(c | 0x20);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// `dst` may be `src`: what is written never overtakes what is read.
int mg_url_decode(const char* src, int src_len, char* dst, int dst_len, int is_form)
{
  if (dst == nullptr || dst_len <= 0)
    return -1;
  int in = 0;
  int out = 0;
  if (src_len < dst_len && src_len > 0 &&
      memchr(src, '%', static_cast<size_t>(src_len)) == nullptr &&
      (is_form == 0 || memchr(src, '+', static_cast<size_t>(src_len)) == nullptr)) {
    memmove(dst, src, static_cast<size_t>(src_len));
    in = out = src_len;
  }
  while (in < src_len && out < dst_len - 1) {
    char c = src[in++];
    if (c == '%' && src_len - in >= 2 && hex_digit(src[in]) >= 0 && hex_digit(src[in + 1]) >= 0) {
      c = static_cast<char>(hex_digit(src[in]) << 4 | hex_digit(src[in + 1]));
      in += 2;
    } else if (c == '+' && is_form != 0) {
      c = ' ';
    }
    dst[out++] = c;
  }
  dst[out] = '\0';
  return in < src_len ? -1 : out;
}

// The next variable behind the one at p; null when that was the last.
static const char* next_var(const char* p, const char* end)
{
  p = static_cast<const char*>(memchr(p, '&', static_cast<size_t>(end - p)));
  return p == nullptr ? nullptr : p + 1;
}

static int get_var(const char* data, size_t data_len, const char* name, char* dst, size_t dst_len)
{
  if (dst == nullptr || dst_len == 0)
    return -2;
  *dst = '\0';
  if (data == nullptr || name == nullptr || data_len == 0)
    return -1;
  const size_t name_len = strlen(name);
  const char* end = data + data_len;
  for (const char* p = data; p != nullptr; p = next_var(p, end)) {
    if (static_cast<size_t>(end - p) <= name_len || p[name_len] != '=' ||
        strncasecmp(p, name, name_len) != 0)
      continue;
    const char* value = p + name_len + 1;
    const char* next = next_var(value, end);
    const ptrdiff_t value_len = (next == nullptr ? end : next - 1) - value;
    if (value_len > INT_MAX)
      return -2;
    const int dst_size = static_cast<int>(std::min<size_t>(dst_len, INT_MAX));
    const int len = mg_url_decode(value, static_cast<int>(value_len), dst, dst_size, 1);
    return len < 0 ? -2 : len;
  }
  return -1;
}

int mg_get_var(const struct mg_connection* c, const char* name, char* dst, size_t dst_len)
{
  const char* query = c->query_string;
  int len = get_var(query, query == nullptr ? 0 : strlen(query), name, dst, dst_len);
  return len >= 0 ? len : get_var(c->content, c->content_len, name, dst, dst_len);
}

// The text behind "name=" of a header value, null when there is none.
static const char* find_parameter(const char* value, const char* end, const char* name)
{
  const size_t name_len = strlen(name);
  for (const char* p = value; static_cast<size_t>(end - p) > name_len; p++)
    if ((p == value || p[-1] == ' ' || p[-1] == ',') && p[name_len] == '=' &&
        memcmp(p, name, name_len) == 0)
      return p + name_len + 1;
  return nullptr;
}

// Copies the parameter at `p` without its quotes into `buf`, as much as fits, and returns its
// whole length; -1 when the closing quote is missing.
static ptrdiff_t copy_parameter(const char* p, const char* end, char* buf, size_t buf_size)
{
  const char quote = p < end && (*p == '"' || *p == '\'') ? *p++ : '\0';
  size_t len = 0;
  for (; p < end; p++) {
    if (quote == '\0' ? *p == ' ' || *p == ',' : *p == quote)
      break;
    if (quote != '\0' && *p == '\\' && p + 1 < end && p[1] == quote)
      p++;
    if (len < buf_size)
      buf[len] = *p;
    len++;
  }
  return quote != '\0' && p == end ? -1 : static_cast<ptrdiff_t>(len);
}

// mg_parse_header for a value that is not terminated.
static int parse_parameter(const char* value, const char* end, const char* name, char* buf,
                           size_t buf_size)
{
  if (buf == nullptr || buf_size == 0)
    return 0;
  *buf = '\0';
  const char* parameter = find_parameter(value, end, name);
  if (parameter == nullptr)
    return 0;
  ptrdiff_t copied = copy_parameter(parameter, end, buf, buf_size);
  if (copied < 0) {
    *buf = '\0';
    return 0;
  }
  size_t len = static_cast<size_t>(copied);
  if (len >= buf_size || len > INT_MAX)
    return 0;
  for (char separator : {',', ';'})
    if (len > 0 && buf[len - 1] == separator)
      len--;
  buf[len] = '\0';
  return static_cast<int>(len);
}

int mg_parse_header(const char* header_value, const char* var_name, char* buf, size_t buf_size)
{
  const char* value = header_value == nullptr ? "" : header_value;
  return parse_parameter(value, value + strlen(value), var_name, buf, buf_size);
}

// parse_parameter for a buffer that is a string afterwards, whatever the outcome.
static void parse_disposition(const char* value, const char* end, const char* name, char* buf,
                              int buf_size)
{
  if (buf != nullptr && buf_size > 0 &&
      parse_parameter(value, end, name, buf, static_cast<size_t>(buf_size)) == 0)
    *buf = '\0';
}

static const char* find_end_of_line(const char* line, const char* end)
{
  return std::find_if(
      line, end, [](char c) { return c == '\r' || c == '\n'; });
}

int mg_parse_multipart(const char* buf, int buf_len, char* var_name, int var_name_len,
                       char* file_name, int file_name_len, const char** data, int* data_len)
{
  static const char DISPOSITION[] = "Content-Disposition: ";
  const ptrdiff_t disposition_len = sizeof DISPOSITION - 1;

  parse_disposition(buf, buf, "name", var_name, var_name_len);
  parse_disposition(buf, buf, "filename", file_name, file_name_len);
  const int header_len = buf_len > 0 ? get_request_len(buf, static_cast<size_t>(buf_len)) : 0;
  if (header_len <= 0)
    return 0;
  const char* body = buf + header_len;
  const char* end_of_line = find_end_of_line(buf, body);
  const size_t boundary_len = static_cast<size_t>(end_of_line - buf);
  if (boundary_len <= 2 || memcmp(buf, "--", 2) != 0)
    return 0;
  // The block ends with a line feed, so there is an end of line in front of `body` every time.
  for (const char* line = end_of_line + 1; line < body; line = end_of_line + 1) {
    end_of_line = find_end_of_line(line, body);
    if (end_of_line - line >= disposition_len &&
        strncasecmp(line, DISPOSITION, sizeof DISPOSITION - 1) == 0) {
      parse_disposition(line + disposition_len, end_of_line, "name", var_name, var_name_len);
      parse_disposition(line + disposition_len, end_of_line, "filename", file_name, file_name_len);
    }
  }
  const size_t body_len = static_cast<size_t>(buf_len - header_len);
  const char* next = static_cast<const char*>(memmem(body, body_len, buf, boundary_len));
  if (next == nullptr || next - body < 2)
    return 0;
  if (data != nullptr)
    *data = body;
  if (data_len != nullptr)
    *data_len = static_cast<int>(next - body) - 2;
  return static_cast<int>(next - buf);
}
