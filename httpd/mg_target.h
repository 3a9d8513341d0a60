// What a request names in the file system.
#pragma once

#include <dirent.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "httpd/mg_internal.h"
#include "httpd/mg_parse.h"

struct mg_target {
  char path[PATH_MAX];  // "" when there is no root or the name is too long for the file system
  size_t root_len;      // so much of the path is the folder that must not be left
  bool exists;
  struct stat st;  // filled when it exists
};

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

// The name of what PUT writes before it is the file begins like this.
constexpr char MG_PUT_PREFIX[] = ".mg_put.";

// Formats a path; false, with an empty one, when it does not fit.
bool mg_format_path(char (&path)[PATH_MAX], const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// The folder that the request's host serves ({null, 0} when there is none); not terminated.
mg_vec mg_document_root(const connection* conn);

// Finds the file of the request. A name behind that of a CGI program may name that program.
void convert_uri_to_file_name(connection* conn, mg_target* target, bool may_be_program);

// Whether the path, of which so much is the root, must not be shown.
bool must_hide_file(const connection* conn, const char* path, size_t root_len);

// Whether the path matches the patterns of an option.
bool mg_matches_option(const connection* conn, mg_option option, const char* path);

// Opens a file for reading and describes it; -1 for what is no plain file.
int mg_open_plain_file(const char* path, struct stat* st);
