// Open options. The first byte chooses a format, the rest are the bytes of the options for a good
// file of it; and the whole input is what was stored of options in a stream.

#include <sstream>
#include <vector>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/StreamReader.h"
#include "nvimport/platform/StreamWriter.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/JCAMPFixture.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/NsasFixture.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/PackageFixture.h"
#endif
#include "tests/support/SpcFixture.h"

namespace nvimport {

namespace {

struct Format {
  const char* name;
  MemoryFile file;
  int index = SprFileFactory::GetNumberOfFormats();

  Format(const char* format_name, const std::string& bytes) : name(format_name), file(bytes) {
    while (std::string_view(SprFileFactory::GetFormat(index)->name) != name) --index;
  }
};

// The registry is complete once main runs, not before.
std::span<const Format> Formats() {
  static const Format kFormats[] = {
      {"Text File", "a;;b\n\tc\n"},
      {"Excel File",
       WorkbookFixture{{{Number(0, 0, 1)}, {Number(1, 1, 2), 2, 2, "Two"}}, "", true}.Stream()},
      {"JCAMP-DX File",
       JCAMPFixture::Link(JCAMPFixture{}.Bytes() + JCAMPFixture{.last = "14"}.Bytes() +
                          JCAMPFixture{.form = "PEAKTABLE= (XY..XY)"}.Bytes())},
      {"GalacticSPC File", SpcFixture{}.Add<float>({1, 2, 3}).Add<float>({4, 5, 6}).Bytes()},
      {"NSAS File", NsasBytes({{}, {.first = 1110, .end = 1140}})},
      {"Brimrose File", BrimroseFixture{}.Bytes()},
      {"DIF File(OEM)", "TABLE\n0,1\n\"\"\nDATA\n0,0\n\"\"\n-1,0\nBOT\n0,1\nV\n-1,0\nEOD\n"},
      {"TIVON File", "a\tb\n"},
      {"CSV File", "a,\"b;c\"\n1,5;2\n"},
#ifdef NVIMPORT_HAS_PACKAGES
      {"Excel2007 File",
       PackageFixture{{{"<row><c><v>1</v></c></row>"}, {"<row><c><v>2</v></c><c/></row>", "Two"}}}
           .File()},
#endif
  };
  return kFormats;
}

// What is asked, nobody answers: the options do, or nothing is read.
void OpenWith(const Format& format, std::vector<unsigned char> bytes) {
  bytes.shrink_to_fit();  // so that a read beyond them is seen
  NvImportOpenOptions options{static_cast<int>(bytes.size()), bytes.data()};
  const auto reader = SprFileFactory::CreateReader(format.index);
  try {
    if (reader->Open(true, format.file.path(), &options) != 0) return;
  } catch (const Exception&) {
    Check(reader->GetStatus() == 0, "an exception leaves no status");
    return;
  }
  ReadAsAnnounced(*reader, CheckingSink::Beyond::kAllowed);  // a workbook can claim too little
}

void ReadStored(const std::string& stored) {
  std::istringstream in(stored);
  StreamReader stream_reader(in);
  SpreadsheetOpenOptions kept;
  try {
    kept.Read(stream_reader);
  } catch (const Exception&) {
    Check(static_cast<const NvImportOpenOptions*>(kept) == nullptr, "damage leaves nothing held");
    return;
  }
  std::ostringstream out;
  StreamWriter stream_writer(out);
  kept.Write(stream_writer);
  Check(stored.starts_with(out.str()), "what was read is stored again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 0) OpenWith(Formats()[data[0] % Formats().size()], {data + 1, data + size});
  ReadStored({data, data + size});
  return 0;
}

}  // namespace nvimport
