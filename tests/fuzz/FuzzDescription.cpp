// What a workbook says of itself, plain so that it is within reach. Input: a byte of settings, then
// the part or stream, which lies in a workbook that is made around it.
//   0 a summary stream   1 to 3 core, extended and custom properties

#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/SummaryInformation.h"
#include "tests/fuzz/Fuzz.h"

#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/PackageFixture.h"
#endif

namespace nvimport {

void Fuzz(std::string_view input) {
  const int kind = Setting(input, 0) & 3;
  const std::string part(input.substr(std::min<std::size_t>(1, input.size())));
  Description description;
  if (kind == 0) {
    Budget budget(part.size());
    Stating stating(description, kWorkbookKeys);
    DescribeProperties(part, budget, stating);
    std::size_t size = 0;
    for (const Statement& one : description.statements()) size += one.value.size();
    // A byte of a code page is three at most, a number of 4 bytes 11.
    Check(size <= 8 * part.size(), "the values are what the stream holds");
    return;
  }
#ifdef NVIMPORT_HAS_PACKAGES
  constexpr const char* kTypes[] = {"", "core-properties", "extended-properties",
                                    "custom-properties"};
  PackageFixture package{{{""}}};
  std::vector<ZipPart> parts = package.Parts();
  for (ZipPart& one : parts)
    if (one.name == "_rels/.rels")
      one.bytes = PackageFixture::Relationships(
          package.Relationship("a", "officeDocument", "xl/workbook.xml") +
          package.Relationship("b", kTypes[kind], "p.xml"));
  parts.push_back({"p.xml", part});
  const MemoryFile workbook(ZipArchive(parts));
  Excel2007File file;
  Check(file.Open(true, workbook.path(), nullptr) == 0, "properties are no reason to refuse");
  Check(file.Describe(description) == 0, "nor not to tell the rest");
  Check(description.Find("worksheet") == "Sheet", "which is told");
  CheckingSink sink;
  Check(ReadAsAnnounced(file, sink) == 0, "nor not to read");
#endif
}

}  // namespace nvimport
