#include "benchmarks/soak/process_facts.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tvn::soak {
namespace {

std::string proc_path(pid_t process, const char* name) {
  return "/proc/" + std::to_string(process) + "/" + name;
}

}  // namespace

double resident_megabytes(pid_t process) {
  double all = 0, resident = 0;
  std::ifstream(proc_path(process, "statm")) >> all >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

std::size_t thread_count(pid_t process) {
  const std::filesystem::directory_iterator threads(proc_path(process, "task"));
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

double slope_after_warm_up(const std::vector<Reading>& readings) {
  if (readings.empty()) return 0;
  const double from = readings.front().hours + (readings.back().hours - readings.front().hours) / 4;
  double n = 0, x = 0, y = 0, xx = 0, xy = 0;
  for (const Reading& reading : readings) {
    if (reading.hours < from) continue;
    const double hours = reading.hours - from;
    n += 1, x += hours, y += reading.megabytes;
    xx += hours * hours, xy += hours * reading.megabytes;
  }
  const double spread = n * xx - x * x;
  return spread > 0 ? (n * xy - x * y) / spread : 0;
}

}  // namespace tvn::soak
