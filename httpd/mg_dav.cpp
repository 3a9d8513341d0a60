// WebDAV without locks: PROPFIND, MKCOL, DELETE and PUT.
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "httpd/mg_builtin.h"
#include "httpd/mg_escape.h"

// A tree whose description is longer, or that is deeper, is not described at once.
static constexpr size_t MAX_MULTISTATUS = 8 * 1024 * 1024;
static constexpr int MAX_LEVELS = 32;

static constexpr mode_t NEW_FOLDER_MODE = 0755;
static constexpr mode_t NEW_FILE_MODE = 0644;

// --- places that may be changed ---

// A folder inside the root, held open, and the name in it that is to be changed.
struct dav_place {
  char real_root[PATH_MAX];
  mg_fd folder;
  char name[NAME_MAX + 1];
};

// Where an open file lies when every link is followed.
static bool real_path_of(int fd, char (&path)[PATH_MAX])
{
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  ssize_t length = readlink(link, path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path || path[0] != '/')
    return false;
  path[length] = '\0';
  return true;
}

static bool lies_inside(const char* real_root, int fd)
{
  char path[PATH_MAX];
  size_t length = strcmp(real_root, "/") == 0 ? 0 : strlen(real_root);
  return real_path_of(fd, path) && strncmp(path, real_root, length) == 0 &&
         (path[length] == '/' || path[length] == '\0');
}

// Opens the folder that the target lies in, one component after the other, and makes those that
// are missing when it should. False, with errno, when there is none or a link leaves the root.
static bool find_place(const mg_target* target, bool make_folders, dav_place* place)
{
  char root[PATH_MAX];
  if (!mg_format_path(root, "%.*s", static_cast<int>(target->root_len), target->path))
    return false;
  mg_fd at;
  at.fd = open(root, O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (at.fd < 0 || !real_path_of(at.fd, place->real_root))
    return false;
  const char* rest = target->path + target->root_len;
  for (;;) {
    rest += strspn(rest, "/");
    size_t length = strcspn(rest, "/");
    if (length == 0 || length >= sizeof place->name) {
      errno = length == 0 ? EISDIR : ENAMETOOLONG;
      return false;
    }
    memcpy(place->name, rest, length);
    place->name[length] = '\0';
    if (strcmp(place->name, ".") == 0 || strcmp(place->name, "..") == 0) {
      errno = EXDEV;
      return false;
    }
    rest += length;
    if (rest[strspn(rest, "/")] == '\0')
      break;
    if (make_folders && mkdirat(at.fd, place->name, NEW_FOLDER_MODE) != 0 && errno != EEXIST)
      return false;
    mg_fd next;
    next.fd = openat(at.fd, place->name, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (next.fd < 0)
      return false;
    if (!lies_inside(place->real_root, next.fd)) {
      errno = EXDEV;
      return false;
    }
    std::swap(at.fd, next.fd);
  }
  std::swap(place->folder.fd, at.fd);
  return true;
}

static int status_of_error(int error)
{
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return 409;  // a folder on the way is missing
    case EEXIST:
    case EISDIR:
      return 405;
    case ENAMETOOLONG:
      return 414;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return 507;
    default:
      return 403;
  }
}

static void send_system_error(connection* conn, int error)
{
  send_http_error(conn, status_of_error(error), "%s", "");
}

// --- PROPFIND ---

static bool ends_with_slash(const char* uri)
{
  size_t length = strlen(uri);
  return length > 0 && uri[length - 1] == '/';
}

static void print_properties(connection* conn, const char* uri, const struct stat& st)
{
  char modified[MG_HTTP_DATE_SIZE];
  mg_format_http_date(modified, st.st_mtime);
  mg_text href = mg_url_encode(uri);
  bool is_folder = S_ISDIR(st.st_mode);
  mg_printf_data(&conn->mg_conn,
                 "<d:response><d:href>%s%s</d:href><d:propstat><d:prop>"
                 "<d:resourcetype>%s</d:resourcetype>"
                 "<d:getcontentlength>%lld</d:getcontentlength>"
                 "<d:getlastmodified>%s</d:getlastmodified>"
                 "</d:prop><d:status>HTTP/1.1 200 OK</d:status></d:propstat></d:response>\n",
                 mg_chars(conn, href), is_folder && !ends_with_slash(uri) ? "/" : "",
                 is_folder ? "<d:collection/>" : "",
                 is_folder ? 0LL : static_cast<long long>(st.st_size), modified);
}

// Whether the place is a folder of its own and no link to one, which could lead in a circle.
static bool is_real_folder(const char* path)
{
  struct stat st;
  return lstat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

// Describes what a folder holds, and with `levels` above 0 what its folders hold, so many levels
// down. False when that is too much.
static bool print_members(connection* conn, const char* path, size_t root_len, const char* uri,
                          int levels)
{
  dir_list list;
  if (!mg_read_directory(conn, path, root_len, &list))
    return true;
  for (size_t i = 0; i < list.count; i++) {
    const dir_entry& entry = list.entries[i];
    char* text = nullptr;
    if (asprintf(&text, "%s%s%s", uri, ends_with_slash(uri) ? "" : "/", entry.file_name) < 0)
      return false;
    mg_text member(text);
    print_properties(conn, text, entry.st);
    if (conn->ns_conn->send_iobuf.len > MAX_MULTISTATUS)
      return false;
    char below[PATH_MAX];
    if (levels > 0 && mg_format_path(below, "%s/%s", path, entry.file_name) &&
        is_real_folder(below) &&
        (levels == 1 || !print_members(conn, below, root_len, text, levels - 1)))
      return false;
  }
  return true;
}

enum dav_depth { DEPTH_0, DEPTH_1, DEPTH_INFINITY, DEPTH_BAD };

static dav_depth requested_depth(const connection* conn)
{
  const char* depth = mg_get_header(&conn->mg_conn, "Depth");
  if (!depth || strcasecmp(depth, "infinity") == 0)
    return DEPTH_INFINITY;
  return strcmp(depth, "0") == 0 ? DEPTH_0 : strcmp(depth, "1") == 0 ? DEPTH_1 : DEPTH_BAD;
}

static void handle_propfind(connection* conn, const mg_target* target)
{
  mg_connection* c = &conn->mg_conn;
  dav_depth depth = requested_depth(conn);
  if (!target->exists || depth == DEPTH_BAD) {
    send_http_error(conn, target->exists ? 400 : 404, "%s", "");
    return;
  }
  size_t queued = conn->ns_conn->send_iobuf.len;
  mg_send_status(c, 207);
  mg_send_header(c, "Content-Type", "text/xml; charset=utf-8");
  mg_send_header(c, "Connection", "close");
  mg_printf_data(c, "%s",
                 "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                 "<d:multistatus xmlns:d=\"DAV:\">\n");
  print_properties(conn, c->uri, target->st);
  if (depth != DEPTH_0 && S_ISDIR(target->st.st_mode) &&
      !print_members(conn, target->path, target->root_len, c->uri,
                     depth == DEPTH_INFINITY ? MAX_LEVELS : 0)) {
    // Nothing of it has left yet: take it back, and let the client ask folder by folder.
    conn->ns_conn->send_iobuf.len = queued;
    conn->ns_conn->flags &= ~MGF_HEADERS_SENT;
    send_http_error(conn, 403, "%s", "The tree is too large for one answer, use Depth: 1\n");
    return;
  }
  mg_printf_data(c, "%s", "</d:multistatus>\n");
  write_terminating_chunk(conn);
  close_local_endpoint(conn);
}

// --- MKCOL and DELETE ---

static bool has_body(const connection* conn)
{
  return conn->cl > 0 || mg_get_header(&conn->mg_conn, "Transfer-Encoding");
}

static void handle_mkcol(connection* conn, const mg_target* target)
{
  dav_place place;
  if (has_body(conn))
    send_http_error(conn, 415, "%s", "");
  else if (!find_place(target, false, &place) ||
           mkdirat(place.folder.fd, place.name, NEW_FOLDER_MODE) != 0)
    send_system_error(conn, errno);
  else
    mg_send_empty(conn, 201, "Content-Length: 0\r\n");
}

// Removes a file, or a folder and what it holds, from an open folder, so that nobody can put
// another one in its place meanwhile. A link is removed itself, not what it leads to.
static bool remove_tree(int folder, const char* name)
{
  if (unlinkat(folder, name, 0) == 0)
    return true;
  int fd = openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  mg_folder dir(fd >= 0 ? fdopendir(fd) : nullptr);
  if (!dir) {
    if (fd >= 0)
      close(fd);
    return false;
  }
  bool is_empty = true;
  while (const dirent* entry = readdir(dir.get()))
    if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
      is_empty = remove_tree(fd, entry->d_name) && is_empty;
  return is_empty && unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

static void handle_delete(connection* conn, const mg_target* target)
{
  dav_place place;
  if (!target->exists) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  if (!find_place(target, false, &place)) {
    send_http_error(conn, 403, "%s", "");
    return;
  }
  if (remove_tree(place.folder.fd, place.name))
    mg_send_empty(conn, 204, "");
  else
    send_http_error(conn, 403, "%s", "");
}

// --- PUT ---

// Opens a plain file for writing, without changing it yet; -1, with errno, when it must not be.
static int open_for_writing(const dav_place& place, bool* is_new)
{
  const int flags = O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  mg_fd file;
  *is_new = false;
  file.fd = openat(place.folder.fd, place.name, flags);
  if (file.fd < 0 && errno == ENOENT) {
    // A link that leads nowhere counts as existing here: it is not followed to make a file.
    file.fd = openat(place.folder.fd, place.name, flags | O_CREAT | O_EXCL, NEW_FILE_MODE);
    *is_new = true;
  }
  struct stat st;
  if (file.fd < 0)
    return -1;
  if (fstat(file.fd, &st) != 0 || !S_ISREG(st.st_mode) || !lies_inside(place.real_root, file.fd)) {
    errno = EXDEV;
    return -1;
  }
  int fd = file.fd;
  file.fd = -1;
  return fd;
}

// Where in the file the body belongs: at its start, or where "Content-Range" says. False when that
// makes no sense.
static bool find_write_position(const connection* conn, int64_t* position)
{
  const char* header = mg_get_header(&conn->mg_conn, "Content-Range");
  long long first = 0, last = 0;
  *position = 0;
  if (!header)
    return true;
  if (sscanf(header, "bytes %18lld-%18lld", &first, &last) != 2 || first < 0 || last < first ||
      last - first + 1 != conn->cl)
    return false;
  *position = first;
  return true;
}

// A client that is still sending hears of it when it has sent all.
static void refuse_put(connection* conn, int status)
{
  if (!mg_must_wait_for_body(conn))
    send_http_error(conn, status, "%s", "");
}

static void handle_put(connection* conn, const mg_target* target)
{
  mg_connection* c = &conn->mg_conn;
  int64_t position;
  size_t length = strlen(target->path);
  if (mg_get_header(c, "Transfer-Encoding")) {
    refuse_put(conn, 411);
    return;
  }
  if (conn->cl < 0 || !find_write_position(conn, &position)) {
    refuse_put(conn, 400);
    return;
  }
  if (target->path[length - 1] == '/') {
    refuse_put(conn, 405);
    return;
  }
  dav_place place;
  bool is_new = false;
  int fd = find_place(target, true, &place) ? open_for_writing(place, &is_new) : -1;
  if (fd < 0) {
    refuse_put(conn, status_of_error(errno));
    return;
  }
  conn->endpoint.fd = fd;
  conn->endpoint_type = EP_PUT;
  c->status_code = is_new ? 201 : 200;
  bool is_part = mg_get_header(c, "Content-Range") != nullptr;
  if (is_part ? lseek(fd, static_cast<off_t>(position), SEEK_SET) < 0 : ftruncate(fd, 0) != 0)
    send_system_error(conn, errno);
  else
    mg_put_data(conn);
}

static bool write_whole(int fd, const char* data, size_t len)
{
  while (len > 0) {
    ssize_t written = write(fd, data, len);
    if (written < 0 && errno == EINTR)
      continue;
    if (written <= 0)
      return false;
    data += written;
    len -= static_cast<size_t>(written);
  }
  return true;
}

void mg_put_data(connection* conn)
{
  iobuf* io = &conn->ns_conn->recv_iobuf;
  size_t length = mg_body_bytes(conn);
  if (!write_whole(conn->endpoint.fd, io->buf, length)) {
    send_system_error(conn, errno);
    return;
  }
  iobuf_remove(io, length);
  if (mg_body_is_complete(conn)) {
    mg_printf(&conn->mg_conn, "HTTP/1.1 %d OK\r\nContent-Length: 0\r\n\r\n",
              conn->mg_conn.status_code);
    close_local_endpoint(conn);
  }
}

// --- dispatch ---

struct dav_method {
  const char* name;
  void (*handle)(connection* conn, const mg_target* target);
};

static const dav_method dav_methods[] = {
    {"PROPFIND", handle_propfind},
    {"MKCOL",    handle_mkcol   },
    {"DELETE",   handle_delete  },
    {"PUT",      handle_put     },
};

static const dav_method* find_dav_method(const char* name)
{
  for (const dav_method& method : dav_methods)
    if (strcmp(method.name, name) == 0)
      return &method;
  return nullptr;
}

bool mg_is_dav_method(const char* method)
{
  return find_dav_method(method) != nullptr;
}

void mg_open_dav_endpoint(connection* conn, const mg_target* target)
{
  const dav_method* method = find_dav_method(conn->mg_conn.request_method);
  if (!method || target->path[0] == '\0')
    send_http_error(conn, 404, "%s", "");
  else
    method->handle(conn, target);
}
