// Any bytes as the two small files that the program reads beside recordings: a marker list, whose
// markers written again and read back are the same, and a JPEG logo.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/files.h"
#include "host/setup/jpeg_size.h"
#include "session/markers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (const auto picture = tvn::jpeg_size(bytes)) {
    if (picture->width < 1 || picture->width > 65535) std::abort();
    if (picture->height < 1 || picture->height > 65535) std::abort();
  }
  static const std::string recording =
      (std::filesystem::temp_directory_path() / ("tvn-fuzz-" + std::to_string(getpid()) + ".csv"))
          .string();
  const std::string list = tvn::markers_path(recording);
  if (!tvn::write_file(list, bytes)) std::abort();
  const auto markers = tvn::read_markers(recording);
  if (!tvn::write_file(list, tvn::marker_file_text(markers))) std::abort();
  const auto again = tvn::read_markers(recording);
  if (again.size() != markers.size()) std::abort();
  for (std::size_t i = 0; i < markers.size(); ++i) {
    const bool same =
        again[i].key == markers[i].key && again[i].sample_index == markers[i].sample_index;
    if (!same || markers[i].key < 1 || markers[i].key > 9 || markers[i].sample_index < 0) {
      std::abort();
    }
  }
  std::filesystem::remove(list);
  return 0;
}
