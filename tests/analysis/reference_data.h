// Reads tests/analysis/reference/*.txt, which tools/make_signal_reference.py writes with SciPy.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <span>
#include <string>
#include <vector>

namespace tvn::reference {

using Blocks = std::map<std::string, std::vector<double>>;

// The blocks of one file by name. Throws when the file is missing or malformed, which fails the
// test that asked for it.
Blocks read(const std::string& name);

// Equal to 1e-9 of `scale` (the largest wanted magnitude when 0), NaN at the same places.
testing::AssertionResult agree(std::span<const double> got, std::span<const double> wanted,
                               double scale = 0);

// Every `step`-th value, from the first on.
std::vector<double> every(std::span<const double> values, std::size_t step);

}  // namespace tvn::reference
