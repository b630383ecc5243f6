#include "tests/analysis/reference_data.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace tvn::reference {

Blocks read(const std::string& name) {
  const std::string path =
      std::string(TVN_SOURCE_DIR) + "/tests/analysis/reference/" + name + ".txt";
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot open " + path);
  Blocks blocks;
  std::string key, text;
  std::size_t count = 0;
  while (file >> key >> count) {
    std::vector<double>& values = blocks[key];
    while (values.size() < count && file >> text)
      values.push_back(std::strtod(text.c_str(), nullptr));
    if (values.size() != count) throw std::runtime_error(path + ": block " + key + " is short");
  }
  return blocks;
}

testing::AssertionResult agree(std::span<const double> got, std::span<const double> wanted,
                               double scale) {
  if (got.size() != wanted.size()) {
    return testing::AssertionFailure() << got.size() << " values, wanted " << wanted.size();
  }
  if (scale == 0) {
    for (const double value : wanted) scale = std::fmax(scale, std::fabs(value));
  }
  for (std::size_t i = 0; i < got.size(); ++i) {
    if (std::isnan(got[i]) && std::isnan(wanted[i])) continue;
    if (!(std::fabs(got[i] - wanted[i]) <= 1e-9 * scale)) {
      return testing::AssertionFailure()
             << "at " << i << ": " << got[i] << ", wanted " << wanted[i];
    }
  }
  return testing::AssertionSuccess();
}

std::vector<double> every(std::span<const double> values, std::size_t step) {
  std::vector<double> result;
  for (std::size_t i = 0; i < values.size(); i += step) result.push_back(values[i]);
  return result;
}

}  // namespace tvn::reference
