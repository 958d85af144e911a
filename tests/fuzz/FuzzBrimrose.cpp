// Brimrose. Input: one file. Bytes of its header that no reader looks at say how it is read:
//   100, 101 the rows   102, 103 the columns

#include "nvimport/formats/spectra/BrimroseFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile content(input);
  OpenOptions options = OpenOptions::Made(
      BrimroseFile::GetImportOptions({Setting(input, 100) + 1, Setting(input, 101)},
                                     {Setting(input, 102) + 1, Setting(input, 103)}));
  BrimroseFile file;
  const bool taken = file.Open(true, content.path(), options.get()) == 0;
  CheckingSink sink;
  const bool read = taken && ReadAsAnnounced(file, sink) == 0;
  Check(!taken || read || !BrimroseFile::IsBrimroseFile(content.path()),
        "a file that is surely one can be read");
}

}  // namespace nvimport
