// Runs a fuzz target without a fuzzer over every file of the folders named: as it is, and damaged:
// cut at lengths and changed in bytes that are spread evenly over all of them.

#include <filesystem>
#include <iterator>

#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

int runs = 0;

void Run(const std::string& bytes) {
  ++runs;
  FuzzWithinBounds(bytes);
}

void RunDamaged(const std::string& bytes, std::size_t step) {
  constexpr char kDamage[] = {'\0', '\x7f', '\x80', '\xff'};
  for (std::size_t at = 0; at < bytes.size(); at += step) {
    Run(bytes.substr(0, at));
    std::string damaged = bytes;
    damaged[at] = kDamage[at / step % std::size(kDamage)];
    Run(damaged);
  }
}

}  // namespace

}  // namespace nvimport

int main(int argc, char** argv) {
  constexpr std::size_t kMostDamaged = 10'000;
  std::vector<std::string> files;
  std::size_t size = 0;
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      // What makes the samples is none of them, and long.
      if (!entry.is_regular_file() || entry.path().extension() == ".sh") continue;
      files.push_back(nvimport::Contents(entry.path()));
      size += files.back().size();
    }
  for (const std::string& bytes : files) {
    nvimport::Run(bytes);
    nvimport::RunDamaged(bytes, size * 2 / kMostDamaged + 1);
  }
  std::printf("%d runs\n", nvimport::runs);
  return nvimport::runs > 0 ? 0 : 1;
}
