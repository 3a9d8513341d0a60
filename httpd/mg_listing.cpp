// Folders: their entries, and the page that lists them.
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>

#include "httpd/mg_listing.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"

dir_list::~dir_list()
{
  for (size_t i = 0; i < count; i++)
    free(entries[i].file_name);
  free(entries);
}

static void append_entry(dir_list* list, const connection* conn, const char* name,
                         const struct stat& st)
{
  if ((list->count & (list->count - 1)) == 0) {  // room doubles with each power of two
    size_t room = list->count ? list->count * 2 : 1;
    void* grown = reallocarray(list->entries, room, sizeof(dir_entry));
    if (!grown) {
      ns_break_conn(conn->ns_conn);
      return;
    }
    list->entries = static_cast<dir_entry*>(grown);
  }
  if (char* copy = strdup(name))
    list->entries[list->count++] = {conn, copy, st};
  else
    ns_break_conn(conn->ns_conn);
}

bool mg_read_directory(const connection* conn, const char* path, size_t root_len, dir_list* list)
{
  mg_folder dir(opendir(path));
  if (!dir)
    return false;
  // A pattern for what is hidden must see one slash between the names.
  size_t path_len = strlen(path);
  while (path_len > root_len && path[path_len - 1] == '/')
    path_len--;
  while (const dirent* entry = readdir(dir.get())) {
    char name[PATH_MAX];
    struct stat st;
    if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0 &&
        mg_format_path(name, "%.*s%c%s", static_cast<int>(path_len), path, '/', entry->d_name) &&
        stat(name, &st) == 0 && !must_hide_file(conn, name, root_len))
      append_entry(list, conn, entry->d_name, st);
  }
  return true;
}

// "na": by name, ascending.
static const char* sort_order(const connection* conn)
{
  return conn->mg_conn.query_string ? conn->mg_conn.query_string : "na";
}

static bool is_descending(const char* order)
{
  return order[0] != '\0' && order[1] == 'd';
}

static int compare_numbers(int64_t a, int64_t b)
{
  return a < b ? -1 : a > b;
}

static bool comes_before(const dir_entry& a, const dir_entry& b)
{
  const char* order = sort_order(a.conn);
  bool a_is_folder = S_ISDIR(a.st.st_mode), b_is_folder = S_ISDIR(b.st.st_mode);
  if (a_is_folder != b_is_folder)
    return a_is_folder;
  int by_name = strcmp(a.file_name, b.file_name);
  int result = *order == 's'   ? compare_numbers(a.st.st_size, b.st.st_size)
               : *order == 'd' ? compare_numbers(a.st.st_mtime, b.st.st_mtime)
                               : by_name;
  if (result == 0)
    result = by_name;
  return is_descending(order) ? result > 0 : result < 0;
}

static void format_size(char* text, size_t size, const struct stat& st)
{
  double bytes = static_cast<double>(st.st_size);
  if (S_ISDIR(st.st_mode))
    snprintf(text, size, "%s", "[DIRECTORY]");
  else if (st.st_size < 1024)
    snprintf(text, size, "%d", static_cast<int>(st.st_size));
  else if (st.st_size < 1024 * 1024)
    snprintf(text, size, "%.1fk", bytes / 1024);
  else if (st.st_size < 1024 * 1024 * 1024)
    snprintf(text, size, "%.1fM", bytes / 1048576);
  else
    snprintf(text, size, "%.1fG", bytes / 1073741824);
}

static void print_row(connection* conn, const dir_entry& entry)
{
  char size[64], modified[64] = "";
  struct tm local = {};
  format_size(size, sizeof size, entry.st);
  if (localtime_r(&entry.st.st_mtime, &local))
    strftime(modified, sizeof modified, "%d-%b-%Y %H:%M", &local);
  mg_text href = mg_url_encode(entry.file_name);
  mg_text name = mg_html_escape(entry.file_name);
  const char* slash = S_ISDIR(entry.st.st_mode) ? "/" : "";
  mg_printf_data(&conn->mg_conn,
                 "<tr><td><a href=\"%s%s\">%s%s</a></td><td>&nbsp;%s</td>"
                 "<td>&nbsp;&nbsp;%s</td></tr>\n",
                 mg_chars(conn, href), slash, mg_chars(conn, name), slash, modified, size);
}

static void print_page(connection* conn, const dir_list& list)
{
  mg_connection* c = &conn->mg_conn;
  mg_text uri = mg_html_escape(c->uri);
  char other = is_descending(sort_order(conn)) ? 'a' : 'd';
  mg_printf_data(c,
                 "<html><head><title>Index of %s</title>"
                 "<style>th {text-align: left;}</style></head>"
                 "<body><h1>Index of %s</h1><pre><table cellpadding=\"0\">"
                 "<tr><th><a href=\"?n%c\">Name</a></th><th><a href=\"?d%c\">Modified</a></th>"
                 "<th><a href=\"?s%c\">Size</a></th></tr>"
                 "<tr><td colspan=\"3\"><hr></td></tr>\n",
                 mg_chars(conn, uri), mg_chars(conn, uri), other, other, other);
  for (size_t i = 0; i < list.count; i++)
    print_row(conn, list.entries[i]);
  mg_printf_data(c, "%s", "</table></pre></body></html>\n");
  write_terminating_chunk(conn);
}

void mg_send_directory_listing(connection* conn, const mg_target* target)
{
  mg_connection* c = &conn->mg_conn;
  dir_list list;
  if (!mg_read_directory(conn, target->path, target->root_len, &list)) {
    send_http_error(conn, 404, "%s", "");
    return;
  }
  std::sort(list.entries, list.entries + list.count, comes_before);
  mg_send_header(c, "Transfer-Encoding", "chunked");
  mg_send_header(c, "Content-Type", "text/html; charset=utf-8");
  if (strcmp(c->request_method, "HEAD") == 0)
    terminate_headers(conn);
  else
    print_page(conn, list);
  close_local_endpoint(conn);
}
