// Waiting for what another thread or process brings about.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace tvn {

// Looks every 10 ms until `condition` holds, for `seconds` at most, which only a broken program
// needs. Whether it holds.
inline bool wait_until(const std::function<bool()>& condition, double seconds = 30.0) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < give_up) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

}  // namespace tvn
