// Folders.
#pragma once

#include "httpd/mg_target.h"

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

// Reads a folder without what is hidden; false when it cannot be read.
bool mg_read_directory(const connection* conn, const char* path, size_t root_len, dir_list* list);

void mg_send_directory_listing(connection* conn, const mg_target* target);
