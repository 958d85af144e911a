// What a format has check sums, counts or numbers of entries for: a damaged file gives the same
// cells, or a failure, or a note. A row is a file and the bytes of it that something guards.

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/SprFileFactory.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/Cases.h"
#include "tests/support/Samples.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/PackageFixture.h"
#endif

namespace nvimport {

namespace {

struct Guarded {
  std::string name;
  std::string bytes;
  std::size_t begin = 0;
  std::size_t end = bytes.size();
};

Guarded Sample(const std::string& name) {
  return {name, Contents(std::string(NVIMPORT_TEST_SAMPLES) + "/" + name)};
}

// Keeps the cells in the order they come.
class CellTexts : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { Add(column, row, "'", text); }
  void Set(int column, int row, float value) override {
    Add(column, row, "", {reinterpret_cast<const char*>(&value), sizeof value});
  }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }

  std::string cells;

 private:
  void Add(int column, int row, const char* kind, std::string_view value) {
    cells += std::to_string(column) + "," + std::to_string(row) + kind;
    cells.append(value) += '\n';
  }
};

// A user who takes all of everything.
class Greedy : public Obliging {
 public:
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice all{{}, 1};
    for (std::size_t i = 0; i < question.items.size(); ++i) all.items.push_back(i);
    return all;
  }
};

class SilentDamage : public testing::TestWithParam<Guarded> {};

TEST_P(SilentDamage, NeverChangesCells) {
  const Guarded& file = GetParam();
  const MemoryFile place(file.bytes);
  const int format = DetectFormat(BuiltInFormats(), ("x/" + file.name).c_str()).format;
  ASSERT_GE(format, 1);
  const auto reader = SprFileFactory::CreateReader(format);
  Greedy dialogs;
  // The cells; none where it is said that they are not those of the file.
  const auto cells_of = [&](const std::string& bytes) -> std::optional<std::string> {
    place.Put(bytes);
    const LogRecorder log;
    CellTexts sink;
    const bool is_read = reader->Open(true, place.path(), nullptr) == 0 &&
                         reader->GetNumCols() >= 0 && reader->Read(&sink) == 0;
    reader->Close();
    if (!is_read || !log.Notes().empty()) return std::nullopt;
    return std::move(sink.cells);
  };
  const auto whole = cells_of(file.bytes);
  ASSERT_TRUE(whole.has_value());
  std::string silent;
  std::size_t told = 0;
  const auto judge = [&](const std::string& bytes, const char* how, std::size_t at) {
    const auto cells = cells_of(bytes);
    told += cells ? 0 : 1;
    if (cells && *cells != *whole) silent += how + (" at " + std::to_string(at)) + "\n";
  };
  std::string bytes = file.bytes;
  for (std::size_t at = file.begin; at < file.end; ++at) {
    for (std::size_t bit = at % 2; bit < 8; bit += 2) {  // the places beside it get the others
      bytes[at] = static_cast<char>(file.bytes[at] ^ 1 << bit);
      judge(bytes, "a bit", at);
    }
    bytes[at] = file.bytes[at];
  }
  for (const std::size_t length : {16U, 128U, 512U})
    for (std::size_t at = file.begin; at < file.end; at += length) {
      const std::size_t size = std::min(length, file.end - at);
      judge(std::string(bytes).erase(at, size), "a block gone", at);
      judge(std::string(bytes).replace(at, size, size, '\0'), "a block of zeros", at);
    }
  EXPECT_EQ(silent, "");
  EXPECT_GT(told, (file.end - file.begin) / 2);
}

#ifdef NVIMPORT_HAS_PACKAGES
// Parts that are not packed, each in another form of the archive's, and two worksheets of which the
// first is hidden.
Guarded StoredPackage() {
  PackageFixture workbook{
      {{R"(<row><c t="s"><v>0</v></c><c s="1"><v>2</v></c></row>)", "a", "hidden"},
       {"<row><c><v>5</v></c></row>", "b"}}};
  workbook.strings = "<si><t>one</t></si>";
  workbook.styles = R"(<xf numFmtId="0"/><xf numFmtId="14"/>)";
  auto parts = workbook.Parts();
  for (std::size_t i = 0; i < parts.size(); ++i) {
    parts[i].is_packed = false;
    parts[i].has_descriptor = i % 2 == 0;
    parts[i].is_zip64 = i % 3 == 0;
  }
  return {"stored.xlsx", ZipArchive(parts, /*is_zip64=*/true)};
}

INSTANTIATE_TEST_SUITE_P(Packages, SilentDamage,
                         testing::Values(Sample("mill.xlsx"), Sample("sieves.xlsb"),
                                         StoredPackage()),
                         [](const auto& file) {
                           return file.param.name.substr(0, file.param.name.find('.'));
                         });
#endif

}  // namespace

}  // namespace nvimport
