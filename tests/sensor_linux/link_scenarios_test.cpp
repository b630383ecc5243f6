// The scenarios of all platforms, played by the fake bluetoothd on a bus of its own.
#include <gtest/gtest.h>

#include "tests/sensor_linux/bluez_world.h"
#include "tests/sensor_scenarios/scenarios.h"

namespace tvn {
namespace {

class LinkScenarios : public testing::TestWithParam<Scenario> {};

TEST_P(LinkScenarios, GoAsOnEveryPlatform) {
  BluezWorld world;
  check_scenario(GetParam(), world);
}

INSTANTIATE_TEST_SUITE_P(Linux, LinkScenarios, testing::ValuesIn(scenarios()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace tvn
