// What the built-in endpoints share: the file that a request names, and who makes what of it.
#pragma once

#include <dirent.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "httpd/mg_internal.h"
#include "httpd/mg_parse.h"

// What a request names in the file system.
struct mg_target {
  char path[PATH_MAX];  // "" when there is no root or the name is too long for the file system
  size_t root_len;      // so much of the path is the folder that must not be left
  bool exists;
  struct stat st;  // filled when it exists
};

// A piecewise answer is continued when no more than this is left of it.
constexpr size_t MG_MAX_QUEUED = 16384;

// A descriptor, a file or a folder that is closed with the record.
struct mg_fd {
  int fd = -1;
  ~mg_fd()
  {
    if (fd >= 0)
      close(fd);
  }
};
struct mg_close_file {
  void operator()(FILE* file) const
  {
    fclose(file);
  }
};
struct mg_close_folder {
  void operator()(DIR* dir) const
  {
    closedir(dir);
  }
};
using mg_folder = std::unique_ptr<DIR, mg_close_folder>;

// One entry of a folder.
struct dir_entry {
  const connection* conn;
  char* file_name;  // owned
  struct stat st;
};
struct dir_list {
  dir_entry* entries = nullptr;
  size_t count = 0;
  dir_list() = default;
  dir_list(const dir_list&) = delete;
  dir_list& operator=(const dir_list&) = delete;
  ~dir_list();
};

// The text for an answer; without one, for want of memory, the answer is given up.
inline const char* mg_chars(const connection* conn, const mg_text& text)
{
  if (!text)
    ns_break_conn(conn->ns_conn);
  return text ? text.get() : "";
}

// --- mg_builtin.cpp ---

// Formats a path; false, with an empty one, when it does not fit.
bool mg_format_path(char (&path)[PATH_MAX], const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// The folder that the request's host serves ({null, 0} when there is none); not terminated.
mg_vec mg_document_root(const connection* conn);

// Whether the path, of which so much is the root, must not be shown.
bool must_hide_file(const connection* conn, const char* path, size_t root_len);

// Whether the path matches the patterns of an option.
bool mg_matches_option(const connection* conn, mg_option option, const char* path);

// How many of the received bytes belong to the request's body, and whether that is complete.
size_t mg_body_bytes(const connection* conn);
bool mg_body_is_complete(const connection* conn);

// True when the answer must wait for the body: the request stays open and is opened again then.
bool mg_must_wait_for_body(connection* conn);

// Stops reading one side of a relay while the other's queue is long. To be called on the reader's
// own NS_POLL, which comes just before the loop looks whether to read.
void mg_pace(ns_connection* reader, const ns_connection* writer);

// Answers with a status, headers ("" or complete lines) and no body, and ends the request.
void mg_send_empty(connection* conn, int status, const char* headers);

// --- mg_file.cpp ---

void mg_send_file_internal(connection* conn, mg_target* target, const char* extra_headers);

// Queues the next piece of an EP_FILE request.
void mg_transfer_file_data(connection* conn);

// Whether "If-Match" and "If-None-Match" let a request change the file (null: there is none).
bool mg_may_change(const connection* conn, const struct stat* st);

// Opens a file for reading and describes it; -1 for what is no plain file.
int mg_open_plain_file(const char* path, struct stat* st);

mg_vec mg_mime_type(const connection* conn, const char* path);

// "Sun, 06 Nov 1994 08:49:37 GMT"
constexpr size_t MG_HTTP_DATE_SIZE = 64;
void mg_format_http_date(char (&text)[MG_HTTP_DATE_SIZE], time_t time);

// Seconds since the epoch, or -1.
time_t mg_parse_http_date(const char* text);

// --- mg_listing.cpp ---

void mg_send_directory_listing(connection* conn, const mg_target* target);

// Reads a folder without what is hidden; false when it cannot be read.
bool mg_read_directory(const connection* conn, const char* path, size_t root_len, dir_list* list);

// --- mg_auth.cpp ---

bool mg_is_authorized(const connection* conn, const mg_target* target);
bool mg_is_dav_authorized(const connection* conn);

// --- mg_dav.cpp ---

bool mg_is_dav_method(const char* method);
void mg_open_dav_endpoint(connection* conn, const mg_target* target);

// The name of what PUT writes before it is the file begins like this.
constexpr char MG_PUT_PREFIX[] = ".mg_put.";

// Queues the next piece of an EP_PROPFIND request.
void mg_continue_propfind(connection* conn);

// --- mg_cgi.cpp ---

void mg_open_cgi_endpoint(connection* conn, const mg_target* target);

// What the headers in front of a CGI program's output say.
struct cgi_headers {
  int status;
  mg_vec reason;  // "" when the program gave none
  bool has_content_type;
};

// Reads a header block of that length; false when it is malformed.
bool mg_parse_cgi_headers(const char* block, size_t len, cgi_headers* headers);

// --- mg_ssi.cpp ---

void mg_send_ssi_file(connection* conn, const mg_target* target);

// --- mg_proxy.cpp ---

void mg_open_proxy_endpoint(connection* conn);
