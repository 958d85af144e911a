// NSAS, with the habits and without. Input: a DA file, then its CN file. Bytes of the first header
// that no reader looks at say how they are read:
//   100, 101 the columns   102 not 0 with the CN file   103 its blocks

#include <algorithm>
#include <filesystem>

#include "nvimport/formats/spectra/NsasFile.h"
#include "tests/fuzz/Fuzz.h"

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

void Fuzz(std::string_view input) {
  static const Pair pair;
  const std::size_t cn_size =
      std::min(static_cast<std::size_t>(Setting(input, 103)) * 128, input.size());
  pair.da.Put(input.substr(0, input.size() - cn_size));
  pair.cn.Put(input.substr(input.size() - cn_size));
  OpenOptions options =
      OpenOptions::Made(NsasFile::GetImportOptions({Setting(input, 100) + 1, Setting(input, 101)}));
  const std::string path = pair.Name(Setting(input, 102) != 0 ? "both.da" : "alone.da");
  for (const NsasRules rules : {NsasRules{}, NsasRules::Off()}) {
    NsasFile file(rules);
    OpenAndRead(file, path, options.get());
  }
}

}  // namespace nvimport
