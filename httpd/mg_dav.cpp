// WebDAV without locks: PROPFIND, MKCOL, DELETE and PUT.
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/random.h>
#include <sys/sendfile.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "httpd/mg_body.h"
#include "httpd/mg_date.h"
#include "httpd/mg_dav.h"
#include "httpd/mg_file.h"
#include "httpd/mg_listing.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"

// A tree whose description is longer, or that is deeper, is not described at once.
static constexpr size_t MAX_MULTISTATUS = 8 * 1024 * 1024;
static constexpr int MAX_LEVELS = 32;

static constexpr mode_t NEW_FOLDER_MODE = 0755;
static constexpr mode_t NEW_FILE_MODE = 0644;

// --- places that may be changed ---

// A folder inside the root, held open, and the name in it that is to be changed. The folders that
// were made on the way there go away with the record, unless there is something in them.
struct dav_place {
  char real_root[PATH_MAX] = "";
  mg_fd folder;
  char name[NAME_MAX + 1] = "";
  int made = 0;  // so many of the last ones
  dav_place() = default;
  dav_place(const dav_place&) = delete;
  dav_place& operator=(const dav_place&) = delete;
  ~dav_place();
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

dav_place::~dav_place()
{
  for (; made > 0; made--) {
    char path[PATH_MAX];
    mg_fd parent;
    parent.fd = openat(folder.fd, "..", O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (parent.fd < 0 || !real_path_of(folder.fd, path) ||
        unlinkat(parent.fd, strrchr(path, '/') + 1, AT_REMOVEDIR) != 0)
      return;
    std::swap(folder.fd, parent.fd);
  }
}

// Opens the folder that must not be left.
static bool open_root(const mg_target* target, mg_fd* root, char (&real_root)[PATH_MAX])
{
  char path[PATH_MAX];
  if (!mg_format_path(path, "%.*s", static_cast<int>(target->root_len), target->path))
    return false;
  root->fd = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
  return root->fd >= 0 && real_path_of(root->fd, real_root);
}

// Opens the folder that the target lies in, one component after the other, and makes those that
// are missing when it should. False, with errno, when there is none or a link leaves the root.
static bool find_place(const mg_target* target, bool make_folders, dav_place* place)
{
  mg_fd& at = place->folder;
  if (!open_root(target, &at, place->real_root))
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
    bool is_made = make_folders && mkdirat(at.fd, place->name, NEW_FOLDER_MODE) == 0;
    if (make_folders && !is_made && errno != EEXIST)
      return false;
    mg_fd next;
    next.fd = openat(at.fd, place->name, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (next.fd < 0) {
      int error = errno;
      if (is_made)
        unlinkat(at.fd, place->name, AT_REMOVEDIR);
      errno = error;
      return false;
    }
    if (!lies_inside(place->real_root, next.fd)) {
      errno = EXDEV;
      return false;
    }
    std::swap(at.fd, next.fd);
    place->made = is_made ? place->made + 1 : 0;
  }
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
    case ENOMEM:
      return 500;
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

// A folder whose members are being described.
struct mg_propfind {
  char real_root[PATH_MAX];
  size_t root_len;
  char path[PATH_MAX];
  mg_folder dir;
  mg_text uri;  // without a slash at its end
};

struct dav_member {
  char path[PATH_MAX];
  mg_text uri;
  struct stat st;
  bool is_link;
};

static bool open_members(mg_propfind* folder, const char* path, const char* uri)
{
  size_t uri_len = strlen(uri), path_len = strlen(path);
  while (uri_len > 0 && uri[uri_len - 1] == '/')
    uri_len--;
  while (path_len > folder->root_len && path[path_len - 1] == '/')
    path_len--;
  folder->uri.reset(strndup(uri, uri_len));
  folder->dir.reset(opendir(path));
  return mg_format_path(folder->path, "%.*s", static_cast<int>(path_len), path) && folder->uri &&
         folder->dir;
}

// Describes what a name of the folder stands for. A link that leads out of the root, or nowhere,
// stands for nothing.
static bool find_member(const mg_propfind& folder, const char* name, dav_member* member)
{
  int at = dirfd(folder.dir.get());
  if (fstatat(at, name, &member->st, AT_SYMLINK_NOFOLLOW) != 0)
    return false;
  member->is_link = S_ISLNK(member->st.st_mode);
  if (!member->is_link)
    return true;
  mg_fd fd;
  fd.fd = openat(at, name, O_PATH | O_CLOEXEC);
  return fd.fd >= 0 && lies_inside(folder.real_root, fd.fd) &&
         fstatat(at, name, &member->st, 0) == 0;
}

// Takes the next member that is to be shown; false at the end.
static bool next_member(const connection* conn, const mg_propfind& folder, dav_member* member)
{
  while (const dirent* entry = readdir(folder.dir.get())) {
    const char* name = entry->d_name;
    char* uri = nullptr;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 ||
        !mg_format_path(member->path, "%s/%s", folder.path, name) ||
        must_hide_file(conn, member->path, folder.root_len) || !find_member(folder, name, member) ||
        asprintf(&uri, "%s/%s", folder.uri.get(), name) < 0)
      continue;
    member->uri.reset(uri);
    return true;
  }
  return false;
}

// Describes a folder's members and what is below them, at most so many levels down. False when that
// is too much. A link is not followed, as it could lead in a circle.
static bool print_tree(connection* conn, const mg_propfind& folder, int levels)
{
  dav_member member;
  while (next_member(conn, folder, &member)) {
    print_properties(conn, member.uri.get(), member.st);
    if (conn->ns_conn->send_iobuf.len > MAX_MULTISTATUS)
      return false;
    if (member.is_link || !S_ISDIR(member.st.st_mode))
      continue;
    std::unique_ptr<mg_propfind> below(new (std::nothrow) mg_propfind{});
    if (levels == 1 || !below)
      return false;
    memcpy(below->real_root, folder.real_root, sizeof below->real_root);
    below->root_len = folder.root_len;
    if (open_members(below.get(), member.path, member.uri.get()) &&
        !print_tree(conn, *below, levels - 1))
      return false;
  }
  return true;
}

static void end_propfind(connection* conn)
{
  mg_printf_data(&conn->mg_conn, "%s", "</d:multistatus>\n");
  write_terminating_chunk(conn);
  close_local_endpoint(conn);
}

void mg_continue_propfind(connection* conn)
{
  dav_member member;
  while (conn->ns_conn->send_iobuf.len <= MG_MAX_QUEUED) {
    if (!next_member(conn, *conn->endpoint.propfind, &member)) {
      end_propfind(conn);
      return;
    }
    print_properties(conn, member.uri.get(), member.st);
  }
}

static void release_propfind(connection* conn)
{
  delete conn->endpoint.propfind;
}

enum dav_depth { DEPTH_0, DEPTH_1, DEPTH_INFINITY, DEPTH_BAD };

static dav_depth requested_depth(const connection* conn)
{
  const char* depth = mg_get_header(&conn->mg_conn, "Depth");
  if (!depth || strcasecmp(depth, "infinity") == 0)
    return DEPTH_INFINITY;
  return strcmp(depth, "0") == 0 ? DEPTH_0 : strcmp(depth, "1") == 0 ? DEPTH_1 : DEPTH_BAD;
}

// Whether the target itself lies inside the root when every link is followed.
static bool find_real_root(const mg_target* target, char (&real_root)[PATH_MAX])
{
  mg_fd root, fd;
  if (!open_root(target, &root, real_root))
    return false;
  fd.fd = open(target->path, O_PATH | O_CLOEXEC);
  return fd.fd >= 0 && lies_inside(real_root, fd.fd);
}

static void print_start(connection* conn, const mg_target* target)
{
  mg_connection* c = &conn->mg_conn;
  mg_send_status(c, 207);
  mg_send_header(c, "Content-Type", "text/xml; charset=utf-8");
  mg_send_header(c, "Connection", "close");
  mg_printf_data(c, "%s",
                 "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                 "<d:multistatus xmlns:d=\"DAV:\">\n");
  print_properties(conn, c->uri, target->st);
}

static void handle_propfind(connection* conn, const mg_target* target)
{
  dav_depth depth = requested_depth(conn);
  std::unique_ptr<mg_propfind> folder(new (std::nothrow) mg_propfind{});
  int error = !target->exists                              ? 404
              : depth == DEPTH_BAD                         ? 400
              : !folder                                    ? 500
              : !find_real_root(target, folder->real_root) ? 403
                                                           : 0;
  if (error != 0) {
    send_http_error(conn, error, "%s", "");
    return;
  }
  size_t queued = conn->ns_conn->send_iobuf.len;
  folder->root_len = target->root_len;
  print_start(conn, target);
  if (depth == DEPTH_0 || !S_ISDIR(target->st.st_mode) ||
      !open_members(folder.get(), target->path, conn->mg_conn.uri)) {
    end_propfind(conn);
  } else if (depth == DEPTH_1) {  // however many there are: piece by piece
    conn->endpoint.propfind = folder.release();
    conn->endpoint_type = EP_PROPFIND;
    conn->release_endpoint = release_propfind;
    mg_continue_propfind(conn);
  } else if (print_tree(conn, *folder, MAX_LEVELS)) {
    end_propfind(conn);
  } else {
    // Nothing of it has left yet: take it back, and let the client ask folder by folder.
    conn->ns_conn->send_iobuf.len = queued;
    conn->ns_conn->flags &= ~MGF_HEADERS_SENT;
    send_http_error(conn, 403, "%s", "The tree is too large for one answer, use Depth: 1\n");
  }
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
  struct stat st = target->st;
  int error = !target->exists && lstat(target->path, &st) != 0 ? 404  // a dangling link is there
              : !mg_may_change(conn, &st)                      ? 412
              : !find_place(target, false, &place)             ? 403
              : !remove_tree(place.folder.fd, place.name)      ? 403
                                                               : 0;
  if (error != 0)
    send_http_error(conn, error, "%s", "");
  else
    mg_send_empty(conn, 204, "");
}

// --- PUT ---

// What is written lies beside the file under a name that nobody knows, and takes its place when it
// is complete: whoever reads gets all of the one or all of the other.
struct mg_put {
  dav_place place;
  mg_fd file;
  char new_name[NAME_MAX + 1] = "";  // "" when there is nothing to be removed
  bool is_part = false;              // the rest is the file's, as it is in the end
  int64_t position = 0;              // of the body in the file
};

// Opens the plain file that is to be replaced, and makes the place the one where it really lies; a
// new one has none. False, with errno, when it must not be replaced.
static bool open_old_file(mg_put* put, mg_fd* old)
{
  const int flags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  dav_place& place = put->place;
  struct stat st;
  old->fd = openat(place.folder.fd, place.name, flags | (put->is_part ? O_RDWR : O_WRONLY));
  if (old->fd < 0) {
    if (errno != ENOENT)
      return false;
    // A link that leads nowhere counts as existing here: it is not followed to make a file.
    bool is_link = fstatat(place.folder.fd, place.name, &st, AT_SYMLINK_NOFOLLOW) == 0;
    errno = EEXIST;
    return !is_link;
  }
  char path[PATH_MAX];
  if (fstat(old->fd, &st) != 0 || !S_ISREG(st.st_mode) || !lies_inside(place.real_root, old->fd) ||
      !real_path_of(old->fd, path)) {
    errno = EXDEV;
    return false;
  }
  char* slash = strrchr(path, '/');
  snprintf(place.name, sizeof place.name, "%s", slash + 1);
  slash[1] = '\0';
  mg_fd folder;
  folder.fd = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
  std::swap(place.folder.fd, folder.fd);
  return place.folder.fd >= 0;
}

// Makes the file that is written, with the old one's owner and mode.
static bool make_new_file(mg_put* put, const mg_fd& old)
{
  uint64_t random[2];
  struct stat st;
  if (getrandom(random, sizeof random, 0) != sizeof random)
    return false;
  snprintf(put->new_name, sizeof put->new_name, "%s%016llx%016llx", MG_PUT_PREFIX,
           static_cast<unsigned long long>(random[0]), static_cast<unsigned long long>(random[1]));
  put->file.fd = openat(put->place.folder.fd, put->new_name,
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, NEW_FILE_MODE);
  if (put->file.fd < 0) {
    put->new_name[0] = '\0';
    return false;
  }
  // Who may not give files away keeps this one.
  return old.fd < 0 || (fstat(old.fd, &st) == 0 &&
                        (fchown(put->file.fd, st.st_uid, st.st_gid) == 0 || errno == EPERM) &&
                        fchmod(put->file.fd, st.st_mode & 0777) == 0);
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

// Whether the body's length is a number, and the same one wherever it is told.
static bool has_valid_length(const mg_connection* c)
{
  const char* length = mg_get_header(c, "Content-Length");
  size_t digits = length ? strspn(length, "0123456789") : 0;
  if (length && (digits == 0 || digits > 18 || length[digits] != '\0'))
    return false;
  return std::all_of(c->http_headers, c->http_headers + c->num_headers, [&](const mg_header& h) {
    return strcasecmp(h.name, "Content-Length") != 0 || strcmp(h.value, length) == 0;
  });
}

// A client that is still sending hears of it when it has sent all.
static void refuse_put(connection* conn, int status)
{
  if (!mg_must_wait_for_body(conn))
    send_http_error(conn, status, "%s", "");
}

// What is wrong with the request itself, or 0.
static int check_put(const connection* conn, const mg_target* target, int64_t* position)
{
  const mg_connection* c = &conn->mg_conn;
  if (mg_get_header(c, "Transfer-Encoding"))
    return 411;
  if (!has_valid_length(c) || !find_write_position(conn, position))
    return 400;
  if (target->path[strlen(target->path) - 1] == '/')
    return 405;
  return mg_may_change(conn, target->exists ? &target->st : nullptr) ? 0 : 412;
}

// Frees a PUT; what it made goes away, unless it has become the file.
static void free_put(mg_put* put)
{
  if (put && put->new_name[0] != '\0')
    unlinkat(put->place.folder.fd, put->new_name, 0);
  delete put;
}

static void release_put(connection* conn)
{
  free_put(conn->endpoint.put);
}

static void handle_put(connection* conn, const mg_target* target)
{
  int64_t position = 0;
  int error = check_put(conn, target, &position);
  if (error != 0) {
    refuse_put(conn, error);
    return;
  }
  std::unique_ptr<mg_put> put(new (std::nothrow) mg_put{});
  mg_fd old;
  errno = ENOMEM;
  if (put) {
    put->position = position;
    put->is_part = mg_get_header(&conn->mg_conn, "Content-Range") != nullptr;
  }
  if (!put || !find_place(target, true, &put->place) || !open_old_file(put.get(), &old) ||
      !make_new_file(put.get(), old) ||
      lseek(put->file.fd, static_cast<off_t>(position), SEEK_SET) < 0) {
    error = status_of_error(errno);
    free_put(put.release());
    refuse_put(conn, error);
    return;
  }
  conn->endpoint.put = put.release();
  conn->endpoint_type = EP_PUT;
  conn->release_endpoint = release_put;
  conn->mg_conn.status_code = old.fd < 0 ? 201 : 200;
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

// Copies a part of one file to the same place of another; what lies behind the first one's end is
// none.
static bool copy_part(int from, int to, off_t first, off_t end)
{
  if (lseek(to, first, SEEK_SET) < 0)
    return false;
  while (first < end) {
    ssize_t copied = sendfile(to, from, &first, static_cast<size_t>(end - first));
    if (copied < 0 && errno != EINTR)
      return false;
    if (copied == 0)
      break;
  }
  return true;
}

// Completes a part of the file with the rest of it, as it is now.
static bool copy_rest(const mg_put& put, int64_t length)
{
  struct stat st;
  mg_fd old;
  old.fd = openat(put.place.folder.fd, put.place.name,
                  O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW);
  if (old.fd < 0)
    return errno == ENOENT;
  if (fstat(old.fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    errno = EXDEV;
    return false;
  }
  off_t first = static_cast<off_t>(put.position), end = static_cast<off_t>(put.position + length);
  return copy_part(old.fd, put.file.fd, 0, std::min(first, st.st_size)) &&
         copy_part(old.fd, put.file.fd, end, st.st_size);
}

// Puts what was written in the file's place; 0, or the status that tells why not.
static int finish_put(const connection* conn, mg_put* put)
{
  const dav_place& place = put->place;
  struct stat st;
  bool exists = fstatat(place.folder.fd, place.name, &st, 0) == 0;
  if (!mg_may_change(conn, exists ? &st : nullptr))  // somebody else may have come first
    return 412;
  if (put->is_part && !copy_rest(*put, conn->cl))
    return status_of_error(errno);
  int fd = std::exchange(put->file.fd, -1);
  if (close(fd) != 0 ||  // some file systems tell only here that there is no room
      renameat(place.folder.fd, put->new_name, place.folder.fd, place.name) != 0)
    return status_of_error(errno);
  put->new_name[0] = '\0';
  put->place.made = 0;
  return 0;
}

void mg_put_data(connection* conn)
{
  iobuf* io = &conn->ns_conn->recv_iobuf;
  mg_put* put = conn->endpoint.put;
  size_t length = mg_body_bytes(conn);
  if (!write_whole(put->file.fd, io->buf, length)) {
    send_system_error(conn, errno);
    return;
  }
  iobuf_remove(io, length);
  if (!mg_body_is_complete(conn))
    return;
  if (int error = finish_put(conn, put)) {
    send_http_error(conn, error, "%s", "");
    return;
  }
  mg_printf(&conn->mg_conn, "HTTP/1.1 %d OK\r\nContent-Length: 0\r\n\r\n",
            conn->mg_conn.status_code);
  close_local_endpoint(conn);
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
