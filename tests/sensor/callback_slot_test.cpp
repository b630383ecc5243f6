#include "sensor/callback_slot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace tvn {
namespace {

TEST(CallbackSlot, HandsOnToTheInstalledRunOnly) {
  std::vector<double> received;
  std::string status;
  hand_on_samples({1.0});
  report_status("nobody hears this");
  install_callbacks([&](const auto& samples) { received = samples; },
                    [&](const auto& text) { status = text; });
  hand_on_samples({2.0, 3.0});
  report_status("Connecting…");
  EXPECT_EQ(received, (std::vector<double>{2.0, 3.0}));
  EXPECT_EQ(status, "Connecting…");
  remove_callbacks();
  hand_on_samples({4.0});
  report_status("late");
  EXPECT_EQ(received.size(), 2u);
  EXPECT_EQ(status, "Connecting…");
}

TEST(CallbackSlot, AnEmptyBatchIsNoCall) {
  int calls = 0;
  install_callbacks([&](const auto&) { ++calls; }, nullptr);
  hand_on_samples({});
  report_status("no status callback is installed");
  EXPECT_EQ(calls, 0);
  remove_callbacks();
}

TEST(CallbackSlot, WhatACallbackThrowsStaysThere) {
  install_callbacks([](const auto&) { throw std::runtime_error("full"); },
                    [](const auto&) { throw std::runtime_error("full"); });
  hand_on_samples({1.0});
  report_status("x");
  remove_callbacks();
}

TEST(CallbackSlot, RemovingWaitsForTheCallThatRuns) {
  std::atomic<bool> inside = false;
  std::atomic<bool> left = false;
  install_callbacks(
      [&](const auto&) {
        inside = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        left = true;
      },
      nullptr);
  std::thread bluetooth([] { hand_on_samples({1.0}); });
  while (!inside) std::this_thread::yield();
  remove_callbacks();
  EXPECT_TRUE(left);
  bluetooth.join();
}

}  // namespace
}  // namespace tvn
