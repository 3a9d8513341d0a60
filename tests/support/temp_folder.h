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

// Makes an ECDSA certificate with its key in one PEM file, with these options of "openssl req
// -x509". Without others it is self-signed, for 30 days.
void make_certificate(const std::string& path, const std::string& options = "-subj /CN=localhost");
