// The test's side of machine_faults.h.
#include "tests/api/machine_faults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace tvn {

MachineFaults::MachineFaults() {
  const int fd = open((folder_ / "state").c_str(), O_RDWR | O_CREAT, 0600);
  EXPECT_EQ(ftruncate(fd, sizeof(FaultState)), 0);
  void* page = mmap(nullptr, sizeof(FaultState), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  EXPECT_NE(page, MAP_FAILED);
  close(fd);
  state_ = new (page) FaultState;
}

MachineFaults::~MachineFaults() {
  munmap(state_, sizeof(FaultState));
}

ProgramOptions MachineFaults::on(ProgramOptions options) const {
  options.environment["LD_PRELOAD"] = TVN_FAULTY_MACHINE;
  options.environment["TVN_TEST_FAULTS"] = folder_ / "state";
  return options;
}

}  // namespace tvn
