// What a person and a strap can do, once for all platforms: the log lines, status texts and bytes
// that must come of it are the same on each, so that the platforms cannot drift apart.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/sensor_scenarios/strap_world.h"

namespace tvn {

struct Scenario {
  std::string name;
  StrapWorld::Adapter adapter;
  StrapBehaviour behaviour;
  void (*play)(StrapWorld& world);
  // The strap's identifier stands as "<strap>" in the log.
  std::vector<std::string> log;
  std::vector<std::string> statuses;
  std::vector<std::string> writes;
};

const std::vector<Scenario>& scenarios();

// GoogleTest's name for one.
inline void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.name;
}

// Plays the scenario in a fresh world and compares what came of it.
void check_scenario(const Scenario& scenario, StrapWorld& world);

}  // namespace tvn
