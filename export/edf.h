// Recordings as EDF+ files, which EEG and ECG viewers and analysis packages read. Kemp and Olivan,
// "European data format 'plus' (EDF+), an EDF alike standard format for the exchange of
// physiological data", Clin. Neurophysiol. 114 (2003), on the base of Kemp et al., "A simple format
// for exchange of digitized polygraphic recordings", Electroenceph. Clin. Neurophysiol. 82 (1992).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tvn {

struct EdfAnnotation {
  double onset;      // seconds from the recording's start
  std::string text;  // without the bytes 0 and 20, which end texts in the file
};

// The bytes of a continuous file (EDF+C) of two signals: the ECG, one second per data record, and
// the annotations.
// samples: ECG in microvolts, stored as whole ones within +-32767, halves away from zero; NaN is
// stored as 0. rate: samples per second. name: goes into the patient field, which holds 74 bytes of
// it, with "_" for spaces and spaces for bytes that are not printable ASCII (readers may refuse a
// name that begins with one; a sanitised name does not). annotations: in any order. Each stands in
// the record of its second; those at or beyond the end, those without a finite onset, and those for
// which the record's 120 bytes have no room left are left out. start_time: seconds since 1970 in
// UTC, written as local time; 0 is now. Readers take the format's two-digit year for one of 1985 to
// 2084. Empty without samples or for a rate below 1. Linear in samples, n log n in annotations.
std::string edf_file(std::span<const double> samples, std::int32_t rate, std::string_view name,
                     std::vector<EdfAnnotation> annotations, std::uint64_t start_time);

// Writes that file at `path`, replacing what was there. False, with no file made, where edf_file is
// empty; false also when the file could not be opened or not written whole.
bool write_edf(const std::string& path, std::span<const double> samples, std::int32_t rate,
               std::string_view name, std::vector<EdfAnnotation> annotations,
               std::uint64_t start_time);

}  // namespace tvn
