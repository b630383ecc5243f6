// Any bytes as a notification of the strap. A frame that gives samples, written again from them,
// is the same bytes.
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "sensor/pmd.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tvn::strap_role({reinterpret_cast<const char*>(data), size});
  const std::vector<double> samples = tvn::decode_ecg_frame({data, size});
  const bool is_ecg = size >= 13 && data[0] == 0 && data[9] == 0;
  if (samples.size() != (is_ecg ? (size - 10) / 3 : 0)) std::abort();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto value = static_cast<std::uint32_t>(static_cast<std::int32_t>(samples[i]));
    for (std::size_t byte = 0; byte < 3; ++byte) {
      if (data[10 + 3 * i + byte] != (value >> (8 * byte) & 0xFF)) std::abort();
    }
  }
  return 0;
}
