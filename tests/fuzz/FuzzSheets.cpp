// What only NvImport Complete reads: OpenDocument spreadsheets, XML spreadsheets of 2003 and HTML
// tables. Input: the file; of a flat OpenDocument file the content is read from a package too.

#include "tests/fuzz/Fuzz.h"

#ifdef NVIMPORT_HAS_PACKAGES

#include <algorithm>

#include "nvimport/framework/FormatRegistry.h"
#include "plugins/complete/CompleteFormats.h"
#include "tests/support/PackageFixture.h"

namespace nvimport {

namespace {

// Reads by every format that has no other place.
void Read(const std::string& bytes) {
  const MemoryFile file(bytes);
  FormatRegistry& formats = CompleteFormats();
  for (int index = 1; index <= formats.size(); ++index) {
    if (SprFileFactory::Describe(formats.Find(index)->name) != nullptr) continue;
    formats.TestFile(index, file.path());
    const auto reader = formats.CreateReader(index);
    if (reader->Open(true, file.path(), nullptr) != 0) continue;
    const std::pair size(reader->GetNumRows(), reader->GetNumCols());
    CheckingSink sink(CheckingSink::Beyond::kAllowed, /*keeps=*/true);
    reader->Read(&sink);
    std::pair extent(0, 0);
    for (const auto& cell : sink.cells)
      extent = {std::max(extent.first, cell.row), std::max(extent.second, cell.column)};
    Check(sink.cells.empty() || (extent.first <= size.first && extent.second <= size.second),
          "no cell lies beyond the size");
    Check(reader->GetStatus() != 0 || extent == size, "the size is that of the cells");
  }
}

}  // namespace

void Fuzz(std::string_view input) {
  Read(std::string(input));
  if (input.find("office:document") == std::string_view::npos) return;
  Read(ZipArchive({{"content.xml", std::string(input), /*is_packed=*/false}}));
}

}  // namespace nvimport

#else
void nvimport::Fuzz(std::string_view) {}
#endif
