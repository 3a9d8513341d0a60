#include "httpd/mg_target.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

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

void convert_uri_to_file_name(connection* conn, mg_target* target, bool may_be_program)
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
  if (!target->exists && may_be_program)
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
