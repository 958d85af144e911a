// MATLAB files. Bytes of the header's text, which no reader looks at, say how they are read:
//   100 bit 0 all matrices, else the usual one; bit 1 below each other, bit 2 without names
// What is packed can hardly be damaged and still be unpacked: input that begins with 'P' is packed
// here, as a variable behind a header.

#include "nvimport/formats/matrix/MatFile.h"
#include "tests/fuzz/Fuzz.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/MatFixture.h"
#endif

namespace nvimport {

void Fuzz(std::string_view input) {
  const int settings = Setting(input, 100);
  const Taking dialogs((settings & 1) != 0, (settings & 2) != 0 ? 1 : 0);
  std::string bytes(input);
#ifdef NVIMPORT_HAS_PACKAGES
  if (input.starts_with('P')) {
    const MatFixture fixture;
    bytes = fixture.Header() + fixture.Packed(bytes.substr(1));
  }
#endif
  const MemoryFile place(bytes);
  MatFile file;
  OpenOptions options = OpenOptions::Pairs((settings & 4) != 0 ? "names=0" : "");
  OpenAndRead(file, place.path(), options.get());
}

}  // namespace nvimport
