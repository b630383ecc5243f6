#include "sensor/callback_slot.h"

#include <utility>

#include "base/mutex.h"

namespace tvn {
namespace {

struct Slot {
  Mutex mutex;
  SamplesCallback samples TVN_GUARDED_BY(mutex);
  StatusCallback status TVN_GUARDED_BY(mutex);
};

// Never destroyed: a Bluetooth thread may still report while the process is ending.
Slot& slot() {
  static Slot* const the_slot = new Slot;
  return *the_slot;
}

}  // namespace

void install_callbacks(SamplesCallback samples, StatusCallback status) {
  const MutexLock<Mutex> hold(slot().mutex);
  slot().samples = std::move(samples);
  slot().status = std::move(status);
}

void remove_callbacks() {
  install_callbacks(nullptr, nullptr);
}

void hand_on_samples(const std::vector<double>& samples) {
  if (samples.empty()) return;
  const MutexLock<Mutex> hold(slot().mutex);
  if (!slot().samples) return;
  try {
    slot().samples(samples);
  } catch (...) {
  }
}

void report_status(const std::string& text) {
  const MutexLock<Mutex> hold(slot().mutex);
  if (!slot().status) return;
  try {
    slot().status(text);
  } catch (...) {
  }
}

}  // namespace tvn
