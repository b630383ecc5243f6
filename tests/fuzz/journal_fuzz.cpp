// Any bytes as a journal that was left behind.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "session/journal_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const tvn::JournalContent content = tvn::read_journal(bytes);
  const std::string name = tvn::recording_file_name(content.settings, 0, "recovered_");
  if (name.size() > 255 || name.find('/') != std::string::npos) std::abort();
  // Each sample came from four bytes, or stands for some that could not be read.
  if (content.samples.size() > size / 4 || content.saved > content.samples.size()) std::abort();
  return 0;
}
