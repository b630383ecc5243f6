// Whether the program stands for hours: ./bench soak [minutes], an hour without a number. Half of
// the time goes to each half.
#include <cstdio>
#include <cstdlib>

#include "base/free_memory.h"
#include "benchmarks/soak/soak.h"

int main(int count, char** arguments) {
  const double minutes = count > 1 ? std::atof(arguments[1]) : 60.0;
  if (!(minutes > 0)) {
    std::fprintf(stderr, "%s is no number of minutes\n", arguments[1]);
    return 2;
  }
  tvn::give_back_large_memory();  // as the program does
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const bool replays = tvn::soak::soak_replays(minutes / 2);
  const bool live = tvn::soak::soak_live_run(minutes / 2);
  std::printf("\n%s\n", replays && live ? "Within all limits." : "NOT within all limits.");
  return replays && live ? 0 : 1;
}
