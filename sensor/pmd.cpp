#include "sensor/pmd.h"

#include <algorithm>
#include <string>

namespace tvn {
namespace {

// Offsets within a frame. The 8 bytes between them are the strap's own clock.
constexpr std::size_t k_measurement_type_at = 0;
constexpr std::size_t k_frame_type_at = 9;
constexpr std::size_t k_samples_at = 10;
constexpr std::size_t k_bytes_per_sample = 3;
constexpr std::uint8_t k_type_ecg = 0x00;
constexpr std::uint8_t k_type_uncompressed = 0x00;

// 24 bits, little-endian, two's complement.
double read_sample(const std::uint8_t* bytes) {
  const std::int32_t unsigned_value = bytes[0] | bytes[1] << 8 | bytes[2] << 16;
  const bool negative = bytes[2] >= 0x80;
  return static_cast<double>(negative ? unsigned_value - (1 << 24) : unsigned_value);
}

char to_upper(char c) {  // without the locale
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

StrapRole strap_role(std::string_view uuid) {
  std::string upper(uuid);
  std::transform(upper.begin(), upper.end(), upper.begin(), to_upper);
  if (upper == k_pmd_data) return StrapRole::data;
  if (upper == k_pmd_control_point) return StrapRole::control_point;
  if (upper == k_heart_rate_measurement_long || upper.starts_with(k_heart_rate_measurement)) {
    return StrapRole::heart_rate;
  }
  return StrapRole::none;
}

std::vector<double> decode_ecg_frame(std::span<const std::uint8_t> frame) {
  if (frame.size() < k_samples_at + k_bytes_per_sample) return {};
  if (frame[k_measurement_type_at] != k_type_ecg) return {};
  if (frame[k_frame_type_at] != k_type_uncompressed) return {};
  const std::size_t count = (frame.size() - k_samples_at) / k_bytes_per_sample;
  std::vector<double> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    samples[i] = read_sample(&frame[k_samples_at + i * k_bytes_per_sample]);
  }
  return samples;
}

}  // namespace tvn
