// Waiting for what another thread or program does.
#pragma once

#include <unistd.h>

#include <chrono>

// Asks until the condition holds; false when it does not within a minute.
template <typename Condition>
bool eventually(Condition condition)
{
  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit)
      return false;
    usleep(2000);
  }
  return true;
}
