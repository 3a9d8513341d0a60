// Runs the scripts of requests that the command line names, or those of a folder: each "test" in
// them is a test of its own.
#include <algorithm>
#include <filesystem>

#include "tests/support/api_script.h"

int main(int argc, char** argv)
{
  testing::InitGoogleTest(&argc, argv);
  std::vector<std::string> files(argv + 1, argv + argc);
  if (files.empty())
    for (const auto& file :
         std::filesystem::directory_iterator(getenv("SOURCE_DIR") + std::string("/tests/api")))
      files.push_back(file.path());
  std::sort(files.begin(), files.end());
  for (const std::string& file : files)
    script_file_add(file);
  return RUN_ALL_TESTS();
}
