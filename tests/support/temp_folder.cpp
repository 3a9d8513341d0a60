#include "tests/support/temp_folder.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

temp_folder::temp_folder()
{
  char name[] = "/tmp/rest_test_XXXXXX";
  if (!mkdtemp(name))
    abort();
  path = name;
}

temp_folder::~temp_folder()
{
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string file_text(const std::string& path)
{
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void file_write(const std::string& path, const std::string& text)
{
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
}

void make_certificate(const std::string& path, const std::string& options)
{
  std::string command = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes " +
                        options + " -keyout /dev/stdout 2>/dev/null | cat >" + path;
  EXPECT_EQ(system(command.c_str()), 0);
  EXPECT_NE(file_text(path), "");
}
