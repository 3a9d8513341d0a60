#include "httpd/mg_ssi.h"

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "httpd/mg_cgi.h"
#include "httpd/mg_mime.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"

static constexpr int MAX_LEVEL = 10;
// The page is held in memory: what goes beyond this is left out.
static constexpr size_t MAX_OUTPUT = 16 * 1024 * 1024;

// --- scanner ---

static const char BEGIN_MARK[] = "<!--#";
static constexpr size_t BEGIN_LEN = sizeof BEGIN_MARK - 1;

static void append_bytes(ssi_scanner* scanner, const char* bytes, size_t len)
{
  memcpy(scanner->bytes + scanner->len, bytes, len);
  scanner->len += len;
}

static ssi_piece finish_piece(ssi_scanner* scanner, ssi_piece piece)
{
  scanner->bytes[scanner->len] = '\0';
  scanner->matched = 0;
  scanner->is_done = true;
  return piece;
}

static ssi_piece feed_text(ssi_scanner* scanner, char byte)
{
  if (byte == BEGIN_MARK[scanner->matched]) {
    if (++scanner->matched < BEGIN_LEN)
      return SSI_NOTHING;
    scanner->state = ssi_scanner::IN_TAG;
    return finish_piece(scanner, SSI_TEXT);
  }
  append_bytes(scanner, BEGIN_MARK, scanner->matched);
  scanner->matched = byte == BEGIN_MARK[0] ? 1 : 0;
  if (scanner->matched == 0)
    append_bytes(scanner, &byte, 1);
  if (scanner->len + BEGIN_LEN < SSI_MAX_TAG)
    return SSI_NOTHING;
  size_t matched = scanner->matched;
  finish_piece(scanner, SSI_TEXT);
  scanner->matched = matched;
  return SSI_TEXT;
}

// Whether the byte ends a directive: ">" behind two dashes or more.
static bool ends_tag(ssi_scanner* scanner, char byte)
{
  bool ends = byte == '>' && scanner->matched >= 2;
  scanner->matched = byte == '-' ? scanner->matched + 1 : 0;
  return ends;
}

static ssi_piece feed_tag(ssi_scanner* scanner, char byte)
{
  if (ends_tag(scanner, byte)) {
    scanner->len -= 2;
    scanner->state = ssi_scanner::IN_TEXT;
    return finish_piece(scanner, SSI_TAG);
  }
  if (scanner->len < SSI_MAX_TAG) {
    append_bytes(scanner, &byte, 1);
    return SSI_NOTHING;
  }
  size_t matched = scanner->matched;
  scanner->state = ssi_scanner::IN_LARGE_TAG;
  finish_piece(scanner, SSI_TOO_LARGE);
  scanner->matched = matched;
  return SSI_TOO_LARGE;
}

ssi_piece ssi_feed(ssi_scanner* scanner, char byte)
{
  if (scanner->is_done) {
    scanner->len = 0;
    scanner->is_done = false;
  }
  if (scanner->state == ssi_scanner::IN_TEXT)
    return feed_text(scanner, byte);
  if (scanner->state == ssi_scanner::IN_TAG)
    return feed_tag(scanner, byte);
  if (ends_tag(scanner, byte))
    scanner->state = ssi_scanner::IN_TEXT;
  return SSI_NOTHING;
}

ssi_piece ssi_finish(ssi_scanner* scanner)
{
  if (scanner->is_done)
    scanner->len = 0;
  if (scanner->state == ssi_scanner::IN_TEXT)
    append_bytes(scanner, BEGIN_MARK, scanner->matched);
  // A directive without an end is no text for the reader of the page.
  return scanner->state == ssi_scanner::IN_TEXT && scanner->len > 0
             ? finish_piece(scanner, SSI_TEXT)
             : SSI_NOTHING;
}

// --- directives ---

static bool skip_word(const char** text, const char* word)
{
  size_t length = strlen(word);
  if (strncmp(*text, word, length) != 0)
    return false;
  *text += length;
  return true;
}

// Copies the text between the quotes that follow; false when there is none.
static bool read_quoted(const char* text, char (&argument)[SSI_MAX_TAG + 1])
{
  if (*text != '"')
    return false;
  size_t length = strcspn(text + 1, "\"");
  if (length == 0 || text[1 + length] != '"')
    return false;
  snprintf(argument, sizeof argument, "%.*s", static_cast<int>(length), text + 1);
  return true;
}

ssi_command ssi_parse_tag(const char* tag, char (&argument)[SSI_MAX_TAG + 1])
{
  struct attribute {
    const char* name;
    ssi_command command;
  };
  static const attribute include_attributes[] = {
      {"virtual=", SSI_INCLUDE_VIRTUAL },
      {"abspath=", SSI_INCLUDE_ABSOLUTE},
      {"file=",    SSI_INCLUDE_FILE    },
      {"",         SSI_INCLUDE_FILE    },
  };
  argument[0] = '\0';
  bool is_include = skip_word(&tag, "include");
  if (!is_include && !skip_word(&tag, "exec"))
    return SSI_UNKNOWN;
  tag += strspn(tag, " \t\r\n");
  if (!is_include) {
    skip_word(&tag, "cmd=");
    return read_quoted(tag, argument) ? SSI_EXEC : SSI_BAD_EXEC;
  }
  for (const attribute& row : include_attributes)
    if (skip_word(&tag, row.name))
      return read_quoted(tag, argument) ? row.command : SSI_BAD_INCLUDE;
  return SSI_BAD_INCLUDE;
}

// --- output ---

static bool is_full(const connection* conn)
{
  return conn->ns_conn->send_iobuf.len >= MAX_OUTPUT;
}

// A long page would be moved with each of its pieces if its queue grew by no more than that.
static constexpr size_t GROWTH = 1024 * 1024;

static void print_data(connection* conn, const char* data, size_t len)
{
  iobuf* queue = &conn->ns_conn->send_iobuf;
  if (queue->len > GROWTH && queue->size - queue->len < 2 * len)
    iobuf_resize(queue, queue->len + GROWTH);
  if (len > 0)  // an empty chunk would end the body
    mg_send_data(&conn->mg_conn, data, len);
}

static void copy_stream(connection* conn, FILE* from)
{
  char piece[8192];
  for (size_t got; !is_full(conn) && (got = fread(piece, 1, sizeof piece, from)) > 0;)
    print_data(conn, piece, got);
}

static void expand_stream(connection* conn, const mg_target* target, FILE* file, int level);

// Puts a file's name behind a folder; ".." leads up to the folder at most.
static bool join_path(mg_target* target, const mg_vec& folder, size_t root_len, const char* name)
{
  if (!mg_format_path(target->path, "%.*s/", static_cast<int>(folder.len), folder.ptr))
    return false;
  size_t used = strlen(target->path);
  target->root_len = root_len;
  while (*name) {
    name += strspn(name, "/");
    size_t length = strcspn(name, "/");
    if (length == 1 && *name == '.') {
      // the folder itself
    } else if (length == 2 && memcmp(name, "..", 2) == 0) {
      while (used > root_len + 1 && target->path[used - 1] == '/')
        used--;
      while (used > root_len + 1 && target->path[used - 1] != '/')
        used--;
    } else if (used + length + 1 >= sizeof target->path) {
      return false;
    } else {
      memcpy(target->path + used, name, length);
      used += length;
      if (name[length] == '/')
        target->path[used++] = '/';
    }
    name += length;
  }
  target->path[used] = '\0';
  return true;
}

// The file that an include means; false when its name is too long.
static bool resolve_include(const connection* conn, const mg_target* including, ssi_command command,
                            const char* name, mg_target* included)
{
  if (command == SSI_INCLUDE_ABSOLUTE)
    return mg_format_path(included->path, "%s", name);
  const char* slash = strrchr(including->path, '/');
  size_t folder_len = slash ? static_cast<size_t>(slash - including->path) : 0;
  mg_vec folder = {including->path, folder_len};
  // A file that was not found below a root stands for its folder.
  size_t root_len = including->root_len > 0 ? including->root_len : folder_len;
  if (command == SSI_INCLUDE_VIRTUAL) {
    folder = mg_document_root(conn);
    root_len = folder.len;
  }
  return join_path(included, folder, root_len, name);
}

static void include_file(connection* conn, const mg_target* including, int level,
                         ssi_command command, const char* tag, const char* name)
{
  mg_target included = {};
  struct stat st;
  mg_fd fd;
  errno = ENAMETOOLONG;
  if (resolve_include(conn, including, command, name, &included)) {
    errno = ENOENT;
    if (!must_hide_file(conn, included.path, included.root_len))
      fd.fd = mg_open_plain_file(included.path, &st);
  }
  std::unique_ptr<FILE, mg_close_file> file(fd.fd >= 0 ? fdopen(fd.fd, "r") : nullptr);
  if (!file) {
    int error = errno;
    mg_text shown_tag = mg_html_escape(tag), shown_path = mg_html_escape(included.path);
    mg_printf_data(&conn->mg_conn, "Cannot open SSI #include: [%s]: fopen(%s): %s",
                   mg_chars(conn, shown_tag), mg_chars(conn, shown_path), strerror(error));
    return;
  }
  fd.fd = -1;
  if (mg_matches_option(conn, SSI_PATTERN, included.path))
    expand_stream(conn, &included, file.get(), level + 1);
  else
    copy_stream(conn, file.get());
}

static void execute(connection* conn, const char* tag, const char* command)
{
  // A line of its own in front of the command: whatever that is, it has nothing to read.
  char script[sizeof "exec </dev/null\n" + SSI_MAX_TAG];
  snprintf(script, sizeof script, "exec </dev/null\n%s", command);
  // The server ignores this signal, and a program would inherit that: it would not end with its
  // reader.
  void (*server_handler)(int) = signal(SIGPIPE, SIG_DFL);
  FILE* output = popen(script, "re");
  int error = errno;
  signal(SIGPIPE, server_handler);
  if (output) {
    copy_stream(conn, output);
    pclose(output);
    return;
  }
  mg_text shown = mg_html_escape(tag);
  mg_printf_data(&conn->mg_conn, "Cannot SSI #exec: [%s]: %s", mg_chars(conn, shown),
                 strerror(error));
}

static void follow_directive(connection* conn, const mg_target* target, int level, const char* tag)
{
  char argument[SSI_MAX_TAG + 1];
  mg_connection* c = &conn->mg_conn;
  ssi_command command = ssi_parse_tag(tag, argument);
  mg_text shown_tag = mg_html_escape(tag), shown_path = mg_html_escape(target->path);
  switch (command) {
    case SSI_INCLUDE_VIRTUAL:
    case SSI_INCLUDE_ABSOLUTE:
    case SSI_INCLUDE_FILE:
      include_file(conn, target, level, command, tag, argument);
      break;
    case SSI_EXEC:
      execute(conn, tag, argument);
      break;
    case SSI_BAD_INCLUDE:
      mg_printf_data(c, "Bad SSI #include: [%s]", mg_chars(conn, shown_tag));
      break;
    case SSI_BAD_EXEC:
      mg_printf_data(c, "Bad SSI #exec: [%s]", mg_chars(conn, shown_tag));
      break;
    case SSI_UNKNOWN:
      mg_printf_data(c, "%s: unknown SSI command: \"%s\"", mg_chars(conn, shown_path),
                     mg_chars(conn, shown_tag));
      break;
  }
}

static void print_piece(connection* conn, const mg_target* target, int level,
                        const ssi_scanner& scanner, ssi_piece piece)
{
  switch (piece) {
    case SSI_NOTHING:
      break;
    case SSI_TEXT:
      print_data(conn, scanner.bytes, scanner.len);
      break;
    case SSI_TAG:
      follow_directive(conn, target, level, scanner.bytes);
      break;
    case SSI_TOO_LARGE:
      mg_printf_data(&conn->mg_conn, "%s: SSI tag is too large",
                     mg_chars(conn, mg_html_escape(target->path)));
      break;
  }
}

static void expand_stream(connection* conn, const mg_target* target, FILE* file, int level)
{
  if (level > MAX_LEVEL) {
    mg_text shown = mg_html_escape(target->path);
    mg_printf_data(&conn->mg_conn, "SSI #include level is too deep (%s)", mg_chars(conn, shown));
    return;
  }
  ssi_scanner scanner = {};
  for (int c; !is_full(conn) && (c = getc(file)) != EOF;)
    print_piece(conn, target, level, scanner, ssi_feed(&scanner, static_cast<char>(c)));
  print_piece(conn, target, level, scanner, ssi_finish(&scanner));
}

void mg_send_ssi_file(connection* conn, const mg_target* target)
{
  mg_connection* c = &conn->mg_conn;
  struct stat st;
  mg_fd fd;
  fd.fd = mg_open_plain_file(target->path, &st);
  if (fd.fd < 0) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  std::unique_ptr<FILE, mg_close_file> file(fdopen(fd.fd, "r"));
  if (!file) {
    ns_break_conn(conn->ns_conn);
    return;
  }
  fd.fd = -1;
  mg_vec type = mg_mime_type(conn, target->path);
  mg_printf(c, "HTTP/1.1 200 OK\r\nContent-Type: %.*s\r\nConnection: close\r\n",
            static_cast<int>(type.len), type.ptr);
  c->status_code = 200;
  terminate_headers(conn);
  if (strcmp(c->request_method, "HEAD") != 0) {
    expand_stream(conn, target, file.get(), 0);
    if (is_full(conn))
      mg_printf_data(c, "%s: SSI output is too large",
                     mg_chars(conn, mg_html_escape(target->path)));
    write_terminating_chunk(conn);
  }
  close_local_endpoint(conn);
}
