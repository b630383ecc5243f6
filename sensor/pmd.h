// The strap's measurement protocol (Polar Measurement Data) as functions over bytes: which
// characteristics it has, what is written to its control point, and how an ECG frame is read.
// Published by the strap's maker with its SDK. Knows no platform.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tvn {

// Bluetooth identifiers, in upper case.
inline constexpr const char* k_pmd_service = "FB005C80-02E7-F387-1CAD-8ACD2D8DF0C8";
inline constexpr const char* k_pmd_control_point = "FB005C81-02E7-F387-1CAD-8ACD2D8DF0C8";
inline constexpr const char* k_pmd_data = "FB005C82-02E7-F387-1CAD-8ACD2D8DF0C8";
inline constexpr const char* k_heart_rate_service = "180D";
inline constexpr const char* k_heart_rate_measurement = "2A37";
// The same as a platform without short forms writes it.
inline constexpr const char* k_heart_rate_measurement_long = "00002A37-0000-1000-8000-00805F9B34FB";

// What is written to the control point, each as a write with response.
// Op code 1, get measurement settings; type 0, ECG.
inline constexpr std::array<std::uint8_t, 2> k_request_ecg_settings{0x01, 0x00};
// Op code 2, start measurement; type 0, ECG; setting 0, sample rate, one value, 130 per second;
// setting 1, resolution, one value, 14 bits.
inline constexpr std::array<std::uint8_t, 10> k_start_ecg{0x02, 0x00, 0x00, 0x01, 0x82,
                                                          0x00, 0x01, 0x01, 0x0E, 0x00};
// Op code 3, stop measurement; type 0, ECG.
inline constexpr std::array<std::uint8_t, 2> k_stop_ecg{0x03, 0x00};

// What a characteristic is to this program.
enum class StrapRole { none, data, heart_rate, control_point };

// The role of the characteristic with this UUID, in short or long form and any case.
StrapRole strap_role(std::string_view uuid);

// The samples of one notification of the data characteristic, in microvolts and in the order of
// measurement. Empty for a frame that is not ECG, is compressed, or holds no whole sample; bytes
// after the last whole sample are ignored. Values are never clipped: a strap just put on swings
// far beyond what a heart does. One allocation.
std::vector<double> decode_ecg_frame(std::span<const std::uint8_t> frame);

}  // namespace tvn
