// The fake bluetoothd as a program, for tests in other languages: a strap that streams a recording.
//
//   fake_bluetoothd_program <recording> [speed]
//
// Prints the bus address as one line. Obeys lines on its input: "drop" ends the strap's link,
// "off" and "on" switch the adapter. Ends with its input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/bluez/fake_bluetoothd.h"
#include "tests/bluez/private_bus.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest();  // the bus expects that it starts
  if (argc < 2) return 2;
  const tvn::PrivateBus bus;
  tvn::fake::Bluetoothd bluetoothd(bus.address());
  tvn::fake::Strap strap;
  strap.address = "A0:9E:1A:12:34:56";
  strap.name = "Polar H10 12345678";
  strap.speed = argc > 2 ? std::atof(argv[2]) : 1.0;
  std::ifstream recording(argv[1]);
  for (double value; recording >> value;) {
    strap.ecg.push_back(static_cast<std::int32_t>(std::lround(value)));
  }
  bluetoothd.add_strap(strap);
  std::cout << bus.address() << std::endl;
  for (std::string command; std::getline(std::cin, command);) {
    if (command == "drop") bluetoothd.drop_link(strap.address);
    if (command == "off") bluetoothd.set_powered(false);
    if (command == "on") bluetoothd.set_powered(true);
  }
  return 0;
}
