// What a test of the engine includes besides the headers of what it tests.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/api_script.h"
#include "tests/support/engine_process.h"
#include "tests/support/http_client.h"
#include "tests/support/local_engine.h"
#include "tests/support/raw_client.h"
#include "tests/support/temp_folder.h"
