// NSAS, with the habits and without. Input: a DA file, then its CN file. Bytes of the first header
// that no reader looks at say how they are read:
//   100, 101 the columns   102 not 0 with the CN file   103 its blocks

#include <filesystem>
#include <string>

#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/Support.h"

namespace nvimport {

namespace {

// Files in memory under names that belong together.
struct Pair {
  TempFolder folder;
  MemoryFile da;
  MemoryFile cn;

  Pair() {
    std::filesystem::create_symlink(da.path(), Name("alone.da"));
    std::filesystem::create_symlink(da.path(), Name("both.da"));
    std::filesystem::create_symlink(cn.path(), Name("both.cn"));
  }
  std::string Name(const char* name) const { return folder.path() + "/" + name; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Pair pair;
  const auto setting = [&](std::size_t at) { return at < size ? data[at] : std::uint8_t{0}; };
  const std::size_t cn_size = std::min<std::size_t>(setting(103) * std::size_t{128}, size);
  ByteReader input = InputReader(data, size);
  pair.da.Put(input.Text(size - cn_size));
  pair.cn.Put(input.Text(cn_size));

  const std::unique_ptr<NvImportOpenOptions> options(
      NsasFile::GetImportOptions({setting(100) + 1, setting(101)}));
  const std::string path = pair.Name(setting(102) != 0 ? "both.da" : "alone.da");
  for (const NsasRules rules : {NsasRules{}, NsasRules::Off()}) {
    NsasFile file(rules);
    if (file.Open(true, path.c_str(), options.get()) == 0) ReadAsAnnounced(file);
  }
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  return 0;
}

}  // namespace nvimport
