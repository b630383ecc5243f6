// The ECG of a run: samples are only ever added at the end, so whoever has looked at a beginning
// may go on reading it without a lock while the strap adds more. An analysis pass, a save and a
// status snapshot thus share the one copy of the recording.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tvn {

// The first samples of a recording, kept alive for as long as the view lives. Reading it needs no
// lock.
class EcgView {
 public:
  EcgView() = default;
  EcgView(std::shared_ptr<const double[]> storage, std::size_t count)
      : storage_(std::move(storage)), count_(count) {}
  std::span<const double> samples() const { return {storage_.get(), count_}; }
  std::size_t size() const { return count_; }

 private:
  std::shared_ptr<const double[]> storage_;
  std::size_t count_ = 0;
};

// The owner guards it with a lock of its own; views taken under that lock are free of it.
class EcgBuffer {
 public:
  EcgBuffer() = default;
  // Takes over a whole recording without copying it.
  explicit EcgBuffer(std::vector<double> samples);

  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  std::span<const double> samples() const { return {storage_.get(), count_}; }

  // Adds samples at the end. Room for a day at 130 samples per second is set aside by the first
  // call (as address space: the system supplies pages when they are written), so that a live run
  // does not stall on growing; a longer run doubles it. Where there is no memory for that, half
  // as much is tried, and so on down to what is needed. Throws std::bad_alloc and is unchanged when
  // there is not even that.
  void append(std::span<const double> more);

  // Forgets all samples; views of them stay valid.
  void clear();

  // The first `count` samples (all when there are fewer). No sample is copied.
  EcgView view(std::size_t count) const;

 private:
  std::shared_ptr<double[]> storage_;
  std::size_t count_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace tvn
