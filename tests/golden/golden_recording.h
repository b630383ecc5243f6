// A small recording in which everything that a report can show is there: a woman of 63 who breathes
// in for 6 s and out for 4 s, ectopic beats, a strap that hangs loose for a while, markers. And
// what must stand in the files that are made of it, computed by the oracles of the signal analysis
// (tests/analysis) and by the formulas of the report, never by the code that writes it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "analysis/tfr/fast.h"
#include "session/engine.h"

namespace tvn::golden {

inline constexpr double k_indur = 6, k_outdur = 4;
inline constexpr double k_cycle = 10;
inline constexpr int k_age = 63;
inline constexpr std::time_t k_started_at = 1700000000;

// 84.3 s in microvolts, with fractions.
std::vector<double> ecg();

// At 2.0 s, at 15.0 s and, in that order, at the very begin of the fifth cycle.
std::vector<Marker> markers();

// An RR export in milliseconds, with an artefact.
std::string rr_export();

// Of the colours of a picture: the power in their middle, and from there to the last one.
struct Scale {
  double centre, half_range;
};

struct Numbers {
  std::size_t n_samples;
  std::vector<double> rr, hr;
  std::vector<double> cycles;  // log power of each
  double mean;
  Scale high_time, high_frequency;
};

Numbers numbers_of(std::size_t n_samples, std::vector<double> rr);

// The recording's own.
const Numbers& numbers();

// Between two commas or line ends.
std::vector<std::vector<std::string>> csv_cells(const std::string& text);

// What a page of a report shows of a recording.
void expect_curve(const std::string& page, const Numbers& wanted);
void expect_grid(const std::string& page, const Numbers& wanted, double cycle_seconds);
void expect_marker_lines(const std::string& page, const Numbers& wanted,
                         const std::vector<Marker>& markers);

// The cells of the strip that stands at `left`, by the colours of a woman of 63.
void expect_strip(const std::string& page, const Numbers& wanted, double left, double width);

// A picture as a PDF's object, every pixel of it.
void expect_picture(const std::string& object, const Numbers& wanted, bool high_time);

// The file's objects that are pictures, in their order.
std::vector<std::string> pictures_of(const std::string& file);

}  // namespace tvn::golden
