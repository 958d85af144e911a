// What a format has check sums, counts or numbers of entries for: a damaged file gives the same
// cells, or a failure, or a note or warning. A row is a file and the bytes of it that something
// guards: each of them where there are check sums, else that none goes missing.

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
  bool is_all = true;  // of a workbook, not only the first worksheet
  bool has_check_sums = true;

  friend void PrintTo(const Guarded& file, std::ostream* out) { *out << file.name; }
};

Guarded Sample(const std::string& name) {
  return {name, Contents(std::string(NVIMPORT_TEST_SAMPLES) + "/" + name)};
}

Guarded Counted(const std::string& name, std::size_t begin = 0) {
  Guarded sample = Sample(name);
  sample.begin = begin;
  sample.has_check_sums = false;
  return sample;
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

// A user who takes all of everything, or the first.
class Greedy : public Obliging {
 public:
  explicit Greedy(bool is_all) : is_all_(is_all) {}
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice all{{}, 1};
    for (std::size_t i = 0; i < (is_all_ ? question.items.size() : 1); ++i) all.items.push_back(i);
    return all;
  }

 private:
  bool is_all_;
};

class SilentDamage : public testing::TestWithParam<Guarded> {};

TEST_P(SilentDamage, NeverChangesCells) {
  const Guarded& file = GetParam();
  const MemoryFile place(file.bytes);
  const std::string path = NVIMPORT_TEST_SAMPLES "/" + file.name;
  const int format = DetectFormat(BuiltInFormats(), path.c_str()).format;
  ASSERT_GE(format, 1);
  const auto reader = SprFileFactory::CreateReader(format);
  Greedy dialogs(file.is_all);
  // The cells and what is said of them; none where they are refused.
  const auto read = [&](const std::string& bytes) {
    place.Put(bytes);
    const LogRecorder log;
    CellTexts sink;
    const bool is_read = reader->Open(true, place.path(), nullptr) == 0 &&
                         reader->GetNumCols() >= 0 && reader->Read(&sink) == 0;
    const char* const warning = reader->GetWarningMessage();
    const std::string said = log.Notes() + (warning != nullptr ? warning : "");
    reader->Close();
    return is_read ? std::optional(std::pair(sink.cells, said)) : std::nullopt;
  };
  const auto whole = read(file.bytes);
  ASSERT_TRUE(whole.has_value());
  std::string silent;
  std::size_t told = 0;
  const auto judge = [&](const std::string& bytes, const char* how, std::size_t at) {
    const auto got = read(bytes);
    const bool is_told = !got || got->second != whole->second;
    told += is_told ? 1 : 0;
    if (!is_told && got->first != whole->first)
      silent += how + (" at " + std::to_string(at)) + "\n";
  };
  std::string bytes = file.bytes;
  for (std::size_t at = file.begin; file.has_check_sums && at < file.end; ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      bytes[at] = static_cast<char>(file.bytes[at] ^ 1 << bit);
      judge(bytes, "a bit", at);
    }
    bytes[at] = file.bytes[at];
  }
  for (const std::size_t length : {16U, 128U, 512U})
    for (std::size_t at = file.begin; at < file.end; at += length) {
      const std::size_t size = std::min(length, file.end - at);
      judge(std::string(bytes).erase(at, size), "a block gone", at);
      if (file.has_check_sums)
        judge(std::string(bytes).replace(at, size, size, '\0'), "a block of zeros", at);
    }
  EXPECT_EQ(silent, "");
  EXPECT_GT(told, (file.end - file.begin) / (file.has_check_sums ? 4 : 32));
}

std::string NameOfSample(const testing::TestParamInfo<Guarded>& file) {
  std::string name = file.param.name;
  std::ranges::replace_if(
      name, [](char c) { return c == '.' || c == '-'; }, '_');
  return name;
}

// Behind the headers, whose labels and values nothing counts.
INSTANTIATE_TEST_SUITE_P(Counts, SilentDamage,
                         testing::Values(Counted("barley.spc", 512), Counted("clover.da"),
                                         Counted("hops.0"), Counted("tablets.dat"),
                                         Counted("tanks.wk1"), Counted("ovens.xls"),
                                         Counted("oil-affn.dx", 256), Counted("oil-dif.dx", 256),
                                         Counted("oil-sqz.dx", 256), Counted("oil-pac.dx", 256),
                                         Counted("worts.mat"), Counted("juices.ch", 1024),
                                         Counted("juices.uv", 512)),
                         NameOfSample);

#ifdef NVIMPORT_HAS_PACKAGES
// The directory of parts that are in one form of the archive's or the other, and of three
// worksheets of which the last stands before the one that is read.
Guarded StoredPackage() {
  PackageFixture workbook{{{R"(<row><c t="s"><v>0</v></c><c s="1"><v>2</v></c></row>)", "a"},
                           {"<row><c><v>5</v></c></row>", "b"},
                           {R"(<row><c t="s"><v>0</v></c></row>)", "c", "hidden"}}};
  workbook.strings = "<si><t>one</t></si>";
  workbook.styles = R"(<xf numFmtId="0"/><xf numFmtId="14"/>)";
  auto parts = workbook.Parts();
  std::ranges::reverse(parts);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    parts[i].is_packed = false;
    parts[i].has_descriptor = i % 2 == 0;
    parts[i].is_zip64 = i % 3 == 0;
  }
  std::string bytes = ZipArchive(parts, /*is_zip64=*/true);
  return {"stored.xlsx", bytes, bytes.find("PK\1\2"), bytes.size(), /*is_all=*/false};
}

// A cell, before more than is unpacked at once.
Guarded LongPackage() {
  const std::string cell = "<c><v>1234</v></c>";
  const PackageFixture workbook{{{"<row>" + cell + "</row>"}}};
  auto parts = workbook.Parts();
  for (ZipPart& part : parts) {
    part.is_packed = false;
    if (part.name.ends_with("sheet1.xml")) part.bytes += std::string(100'000, ' ');
  }
  const std::string bytes = ZipArchive(parts);
  const std::size_t begin = bytes.find(cell);
  return {"long.xlsx", bytes, begin, begin + cell.size()};
}

// Two variables that are packed.
Guarded PackedMatrices() {
  Guarded sample = Sample("mashes.mat");
  sample.begin = 128;
  sample.end = sample.bytes.find("varNames") - 56;
  return sample;
}

INSTANTIATE_TEST_SUITE_P(Packages, SilentDamage,
                         testing::Values(PackedMatrices(), Sample("mill.xlsx"),
                                         Sample("sieves.xlsb"), StoredPackage(), LongPackage()),
                         NameOfSample);
#endif

}  // namespace

}  // namespace nvimport
