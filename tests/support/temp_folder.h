// A temporary folder that goes away with the record, and small file helpers.
#pragma once

#include <string>

struct temp_folder {
  std::string path;
  temp_folder();
  ~temp_folder();
  temp_folder(const temp_folder&) = delete;
  temp_folder& operator=(const temp_folder&) = delete;
};

// The whole file, or an empty text when there is none.
std::string file_text(const std::string& path);

void file_write(const std::string& path, const std::string& text);

// Makes a self-signed ECDSA certificate with its key in one PEM file.
void make_certificate(const std::string& path);
