// Runs a fuzz target's function over files, without a fuzzer: every input that ever mattered, on
// every compiler. Takes files and folders of files.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "base/files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool run(const std::filesystem::path& path) {
  std::string bytes;
  if (!tvn::read_file(path.string(), bytes)) return false;
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);  // the last line names the input that ends the process
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int inputs = 0;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      inputs += run(argv[i]) ? 1 : 0;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      inputs += run(entry.path()) ? 1 : 0;
    }
  }
  std::printf("%d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;
}
