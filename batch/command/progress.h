// How far a run is, on standard error: a bar on a terminal, a line now and then elsewhere.
#pragma once

#include <cstddef>
#include <string>

namespace tvn {

class Progress {
 public:
  enum class Style { bar, lines, quiet };

  // The bar for a terminal, lines for anything else.
  static Style style_for(bool quiet);

  // now: monotonic seconds, here and below.
  Progress(std::size_t total, Style style, double now);

  // Another recording is done.
  void step(double now);

  // A line of its own, also when quiet: "talvern-batch: " and the text.
  void tell(const std::string& text);

  // Takes the bar away; nothing is shown behind it.
  void end();

 private:
  void show() const;

  std::size_t total_, done_ = 0;
  Style style_;
  double started_, shown_;
};

// "12 of 200 recordings, 41.2 a second, 5 s left", after so many seconds.
std::string progress_text(std::size_t done, std::size_t total, double seconds);

}  // namespace tvn
