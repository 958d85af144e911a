
#include <limits>
#include <regex>
#include <set>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/SprFileFactory.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

// Callers keep their index.
TEST(Registry, BeginsWithTheNineteenFormatsToTheLetter) {
  // Name, read filter, write filter, extensions; then can write, can read, several at once and the
  // two flags without a name.
  constexpr const char* kTable =
      "Brimrose File|Brimrose Files (*.dat)|-|.dat|01010\n"
      "Brookside File|Brookside Files (*.trn; *.pkg)|-|.trn .pkg|01010\n"
      "Brookside Ver. 2.6 XML File|Brookside Ver. 2.6 XML Files (*.xml)|-|.xml|01110\n"
      "Bruker OPUS File|Bruker OPUS File (*.*)|-|.*|01110\n"
      "HPLC ChemStation File|HPLC ChemStation Files (*.ch, *.uv)|HPLC ChemStation File (*.ch)|"
      ".ch .uv|01110\n"
      "CSV File|CSV Files (*.csv)|-|.csv|01011\n"
      "DIF File(OEM)|DIF Files(OEM) (*.dif)|DIF Files(OEM) (*.dif)|.dif|11011\n"
      "Excel2007 File|Excel 2007 Files (*.xlsx; *.xlsb)|Excel 2007 Files (*.xlsx)|"
      ".xlsx .xlsb|01010\n"
      "Excel File|Excel 97-2003 Files (*.xl*)|-|.xls .xlw|01011\n"
      "GalacticSPC File|Galactic SPC Files (*.spc)|-|.spc|01111\n"
      "JCAMP-DX File|JCAMP-DX Files (*.jcm; *.dx; *.jdx)|-|.jcm .dx .jdx|01110\n"
      "Lotus 1-2-3 File|Lotus 1-2-3 Files (*.wks; *.wk1)|-|.wks .wk1 .wrk .wr1|01010\n"
      "Matlab File|Matlab Files (*.mat)|Matlab Files (*.mat)|.mat|11000\n"
      "TIVON File|TIVON Files (*.mip; *.dat)|-|.mip .dat|01010\n"
      "NetCDF Files|NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)|-|.nc .cdf|01110\n"
      "NSAS File|NSAS Files (*.da)|-|.da|01010\n"
      "Text File|Text Files (*.txt; *.dat)|Text File (*.txt)|.txt .dat|11011\n"
      "Thermo SIEVE File|Thermo SIEVE Files (*.txt)|Thermo SIEVE File (*.txt)|.txt|01011\n"
      "Unscrambler File|Unscrambler Files (*.uns; *.inp)|-|.uns .inp|01010\n";
  std::string table;
  for (int index = 1; index <= 19; ++index) {
    const NvImportFormatInfo& f = *NvImportGetFileFormatInfo(index);
    table += f.name + "|"s + f.read_filter + "|" + (f.write_filter ? f.write_filter : "-") + "|";
    for (const std::string& extension : Extensions(f)) table += extension + " ";
    table.back() = '|';
    for (const bool flag : {f.can_write, f.can_read, f.several_at_once, f.flag4, f.flag5})
      table += flag ? '1' : '0';
    table += '\n';
  }
  EXPECT_EQ(table, kTable);
}

TEST(Registry, TheTableOfOptionsSaysWhatTheFormatsSay) {
  const std::string page = Contents(NVIMPORT_TEST_SCHEMAS "/../open-options.md");
  for (int index = 1; index <= SprFileFactory::GetNumberOfFormats(); ++index) {
    const FormatDescription& format = *SprFileFactory::GetFormat(index);
    const std::size_t begin = page.find("\n| "s + format.name + " | ");
    EXPECT_EQ(begin != std::string::npos, !format.options.empty()) << format.name;
    if (format.options.empty() || !format.options.front().is_pair) continue;
    const std::string row = page.substr(begin + 1, page.find('\n', begin + 1) - begin);
    std::set<std::string> keys;
    std::set<std::string> told;
    for (const FormatOption& option : format.options) keys.emplace(option.key);
    const std::regex key("`([a-z]+)=");
    for (std::sregex_iterator next(row.begin(), row.end(), key); next != std::sregex_iterator();
         ++next)
      told.insert((*next)[1]);
    EXPECT_EQ(told, keys) << format.name;
  }
}

TEST(Registry, BearsIndicesOutsideTheList) {
  const int beyond = NvImportSizeFileFormatsSupported() + 1;
  EXPECT_EQ(NvImportGetFileFormatInfo(0), NvImportGetFileFormatInfo(1));
  EXPECT_EQ(NvImportGetFileFormatInfo(-5), NvImportGetFileFormatInfo(1));
  EXPECT_EQ(NvImportGetFileFormatInfo(beyond), nullptr);
  EXPECT_EQ(SprFileFactory::CreateReader(beyond), nullptr);
  const TempFile brimrose(BrimroseFixture{}.Bytes());
  EXPECT_EQ(SprFileFactory::TestFile(0, brimrose.path()), 2);
  EXPECT_EQ(SprFileFactory::TestFile(beyond, brimrose.path()), 0);
}

// Every format's answer to every file, and what follows from them.
TEST(Registry, DetectionMatrix) {
  const std::string binary = "\xd0\xcf\x11\xe0\0\1"s;
  const std::string utf16 = "\xff\xfe" + "a\0\t\0b\0\n\0"s;
  const struct {
    const char* name;
    std::string bytes;
  } kFiles[] = {
      {"text.txt", "a\tb\n"},
      {"text.TXT", "a\tb\n"},
      {"text.dat", "a\tb\n"},
      {"text.csv", "a,b\n"},
      {"text.dif", "TABLE\n"},
      {"text.mip", "a\n"},
      {"text", "a\tb\n"},
      {"empty.txt", ""},
      {"utf16.txt", utf16},
      {"utf8.txt",
       "\xef\xbb\xbf"
       "a\n"},
      {"binary.xls", binary},
      {"binary.mip", binary},
      {"binary.dif", binary},
      {"binary.dat", binary},
      {"brimrose.dat", BrimroseFixture{}.Bytes()},
      {"brimrose.xls", BrimroseFixture{}.Bytes()},
  };
  const TempFolder folder;
  std::string matrix;
  const auto add = [&](const std::string& name) {
    const Detection found = DetectFormat(BuiltInFormats(), (folder.path() + "/" + name).c_str());
    matrix += name + std::string(14 - std::min<std::size_t>(name.size(), 14), ' ');
    for (const int answer : found.answers) matrix += static_cast<char>('0' + answer);
    matrix += found.candidates.empty() ? " = " + std::to_string(found.format) : " ?";
    for (const int candidate : found.candidates) matrix += " " + std::to_string(candidate);
    matrix += '\n';
  };
  for (const auto& file : kFiles) {
    folder.Put(file.name, file.bytes);
    add(file.name);
  }
  std::filesystem::create_directory(folder.path() + "/folder.dat");
  for (const char* name : {"folder.dat", "missing.csv", "missing.dat", "missing.zzz", "missing"})
    add(name);
  EXPECT_EQ(matrix,
            "text.txt      0100010111111101100 = 17\n"
            "text.TXT      0100010111111101100 = 17\n"
            "text.dat      0100010111111101100 ? 14 17\n"
            "text.csv      0100010111111101100 = 6\n"
            "text.dif      0100011111111101100 = 7\n"
            "text.mip      0100010111111101100 = 14\n"
            "text          0100010111111101100 ? 2 6 8 9 10 11 12 13 14 16 17\n"
            "empty.txt     0100010111111101100 = 17\n"
            "utf16.txt     0100011111111001000 ? 2 6 7 8 9 10 11 12 13 16\n"
            "utf8.txt      0100011111111101100 = 17\n"
            "binary.xls    0100010111111001000 = 9\n"
            "binary.mip    0100010111111101000 = 14\n"
            "binary.dif    0100011111111001000 = 7\n"
            "binary.dat    0100010111111001000 ? 2 6 8 9 10 11 12 13 16\n"
            "brimrose.dat  2100010111111001000 = 1\n"
            "brimrose.xls  2100010111111001000 = 1\n"
            "folder.dat    0100010111111001000 ? 2 6 8 9 10 11 12 13 16\n"
            "missing.csv    = 6\n"
            "missing.dat    ? 1 14 17\n"
            "missing.zzz    = -1\n"
            "missing        = -1\n");
}

TEST(Registry, TakesNoOtherFileForBrimrose) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  const std::size_t whole = BrimroseFixture{}.size;
  const struct {
    const char* why;
    BrimroseFixture file;
    int answer;
  } kCases[] = {
      {"as many points as steps", {.points = 2, .size = 512 + 2 * (120 + 4 * 2)}, 2},
      {"no observations", {.observations = 0, .size = 512}, 2},
      {"first too low", {.first = 99, .last = 119}, 0},
      {"first not a number", {.first = kNan}, 0},
      {"last not beyond first", {.last = 1100}, 0},
      {"last too high", {.first = 99'990, .last = 100'010}, 0},
      {"last infinite", {.last = kInfinity}, 0},
      {"no step", {.step = 0}, 0},
      {"step backwards", {.first = 1120, .last = 1100, .step = -10}, 0},
      {"step not a number", {.step = kNan}, 0},
      {"one point", {.step = 20, .points = 1, .size = 512 + 2 * (120 + 4)}, 0},
      {"too many points", {.points = 4, .size = 512 + 2 * (120 + 4 * 4)}, 0},
      {"too few points", {.step = 5, .size = whole}, 0},
      {"one observation too few", {.observations = 1}, 0},
      {"a byte too few", {.size = whole - 1}, 0},
      {"a byte too many", {.size = whole + 1}, 0},
      {"cut inside the header", {.observations = 0, .size = 511}, 0},
  };
  for (const auto& c : kCases) {
    const TempFile file(c.file.Bytes());
    EXPECT_EQ(SprFileFactory::TestFile(1, file.path()), c.answer) << c.why;
  }
}

}  // namespace

}  // namespace nvimport
