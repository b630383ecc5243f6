#include "session/ecg_buffer.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tvn {
namespace {

constexpr std::size_t k_samples_per_day = std::size_t{24} * 3600 * 130;

// Storage for `room` samples, or where there is no memory for that in one piece, for fewer: an
// eighth more than `least` as long as that can be had, so that not every frame copies everything,
// and `least` at any rate. `room` is then how many. Not make_shared: that would write zeros to
// every page of it.
std::shared_ptr<double[]> make_storage(std::size_t& room, std::size_t least) {
  const std::size_t enough = least + least / 8;
  for (;;) {
    try {
      return std::shared_ptr<double[]>(new double[room]);
    } catch (const std::bad_alloc&) {
      if (room <= least) throw;
      room = room > enough ? std::max(room / 2, enough) : least;
    }
  }
}

}  // namespace

EcgBuffer::EcgBuffer(std::vector<double> samples) : count_(samples.size()) {
  capacity_ = count_;  // so that an append moves to storage of its own
  auto owner = std::make_shared<std::vector<double>>(std::move(samples));
  storage_ = std::shared_ptr<double[]>(owner, owner->data());
}

void EcgBuffer::append(std::span<const double> more) {
  if (more.empty()) return;
  if (count_ + more.size() > capacity_) {
    std::size_t room = std::max({k_samples_per_day, 2 * capacity_, count_ + more.size()});
    std::shared_ptr<double[]> bigger = make_storage(room, count_ + more.size());
    std::copy_n(storage_.get(), count_, bigger.get());
    storage_ = std::move(bigger);
    capacity_ = room;
  }
  std::copy(more.begin(), more.end(), storage_.get() + count_);
  count_ += more.size();
}

void EcgBuffer::clear() {
  storage_.reset();
  count_ = 0;
  capacity_ = 0;
}

EcgView EcgBuffer::view(std::size_t count) const {
  return {storage_, std::min(count, count_)};
}

}  // namespace tvn
