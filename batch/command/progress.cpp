#include "batch/command/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/number_text.h"
#include "base/rounding.h"

namespace tvn {
namespace {

constexpr double k_between_bars = 0.1;    // seconds
constexpr double k_between_lines = 10.0;  // seconds
constexpr std::size_t k_bar_width = 24;

std::string time_left(double seconds) {
  const auto whole = round_to_integer<std::int64_t>(seconds);
  if (whole < 100) return std::to_string(whole) + " s";
  if (whole < 6000) return std::to_string((whole + 30) / 60) + " min";
  return fixed_text(static_cast<double>(whole) / 3600, 1) + " h";
}

std::string bar(std::size_t done, std::size_t total) {
  const std::size_t filled = total == 0 ? k_bar_width : done * k_bar_width / total;
  return "[" + std::string(filled, '#') + std::string(k_bar_width - filled, '.') + "] ";
}

}  // namespace

std::string progress_text(std::size_t done, std::size_t total, double seconds) {
  std::string text = std::to_string(done) + " of " + std::to_string(total) + " recordings";
  if (done == 0 || !(seconds > 0)) return text;
  const double rate = static_cast<double>(done) / seconds;
  text += ", " + fixed_text(rate, 1) + " a second";
  if (done < total) text += ", " + time_left(static_cast<double>(total - done) / rate) + " left";
  return text;
}

Progress::Style Progress::style_for(bool quiet) {
  if (quiet) return Style::quiet;
  return ::isatty(STDERR_FILENO) == 1 ? Style::bar : Style::lines;
}

Progress::Progress(std::size_t total, Style style, double now)
    : total_(total), style_(style), started_(now), shown_(now) {}

void Progress::step(double now) {
  ++done_;
  if (style_ == Style::quiet) return;
  if (now - shown_ < (style_ == Style::bar ? k_between_bars : k_between_lines)) return;
  shown_ = now;
  show();
}

void Progress::show() const {
  const std::string text = progress_text(done_, total_, shown_ - started_);
  if (style_ == Style::bar) {
    std::fprintf(stderr, "\r%s%s\033[K", bar(done_, total_).c_str(), text.c_str());
  } else {
    std::fprintf(stderr, "talvern-batch: %s\n", text.c_str());
  }
}

void Progress::tell(const std::string& text) {
  std::fprintf(stderr, "%stalvern-batch: %s\n", style_ == Style::bar ? "\r\033[K" : "",
               text.c_str());
}

void Progress::end() {
  if (style_ == Style::bar) std::fputs("\r\033[K", stderr);
}

}  // namespace tvn
