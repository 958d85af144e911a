// Runs a fuzz target without a fuzzer over every file of the folders named: as it is, cut at every
// length, and with each byte damaged.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

int runs = 0;

void Run(const std::string& bytes) {
  ++runs;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

void RunDamaged(std::string bytes) {
  Run(bytes);
  for (std::size_t size = 0; size < bytes.size(); ++size) Run(bytes.substr(0, size));
  for (char& byte : bytes)
    for (const char damage : {'\0', '\x7f', '\x80', '\xff'}) {
      const char good = byte;
      byte = damage;
      Run(bytes);
      byte = good;
    }
}

}  // namespace

}  // namespace nvimport

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      // What makes the samples is none of them, and long.
      if (!entry.is_regular_file() || entry.path().extension() == ".sh") continue;
      std::ifstream file(entry.path(), std::ios::binary);
      nvimport::RunDamaged({std::istreambuf_iterator<char>(file), {}});
    }
  std::printf("%d runs\n", nvimport::runs);
  return nvimport::runs > 0 ? 0 : 1;
}
