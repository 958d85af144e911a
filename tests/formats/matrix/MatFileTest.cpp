#include <cmath>

#include "nvimport/formats/matrix/MatFile.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Sanitizer.h"
#include "tests/support/Cases.h"
#include "tests/support/MatFixture.h"

namespace nvimport {

namespace {

const MatFixture kMat;
const MatFixture kBig{std::endian::big};
const std::string kHead = kMat.Header();
const std::string kPage = kMat.Doubles({2, 2}, {1, 3, 2, std::nan("")}, "a");
const std::string kSheet = "1 | 2\n3 | .\n";

std::string WithByte(std::string bytes, std::size_t at, char byte) {
  bytes[at] = byte;
  return bytes;
}

TEST(MatFile, ReadsWhatStandsInAnyTypeAndOrder) {
  const auto stored = [](std::uint32_t kind, std::uint32_t type, const std::string& data) {
    return kHead + kMat.Array(kind, {1, 2}, kMat.Element(type, data), "x");
  };
  const auto bytes = [](auto... values) { return (kMat.Bytes(values) + ...); };
  ExpectImports<MatFile>({
      {"plain", kHead + kPage, kSheet},
      {"packed", kHead + kMat.Packed(kPage), kSheet},
      {"big-endian", kBig.Header() + kBig.Packed(kBig.Doubles({2, 2}, {1, 3, 2, NAN}, "a")),
       kSheet},
      {"doubles of a byte", stored(6, 2, "\x07\xff"), "7 | 255\n"},
      {"halves of doubles", stored(6, 7, bytes(0.5F, -2.0F)), "0.5 | -2\n"},
      {"bytes with a sign", stored(8, 1, "\xff\x01"), "-1 | 1\n"},
      {"words", stored(10, 3, bytes(std::int16_t{-300}, std::int16_t{4})), "-300 | 4\n"},
      {"whole numbers", stored(13, 6, bytes(4000000000U, 1U)), "4000000000 | 1\n"},
      {"truth", stored(9 | 0x200, 2, "\x02\0"s), "1 | 0\n"},
      {"complex",
       kHead +
           kMat.Array(6 | 0x800, {1, 2}, kMat.Element(2, "\1\3") + kMat.Element(2, "\2\4"), "z"),
       "1 | 2 | 3 | 4\n"},
      {"sparse",
       kHead + kMat.Array(5, {2, 2},
                          kMat.Element(5, bytes(1, 0)) + kMat.Element(5, bytes(0, 1, 2)) +
                              kMat.Element(9, bytes(5.0, 6.0)),
                          "s"),
       "0 | 6\n5 | 0\n"},
      {"truth values under the type of doubles",
       kHead + kMat.Array(5 | 0x200, {1, 2},
                          kMat.Element(5, bytes(0, 0)) + kMat.Element(5, bytes(0, 1, 2)) +
                              kMat.Element(9, "\1\1"),
                          "s"),
       "1 | 1\n"},
      {"texts below each other",
       kHead + kMat.Array(4, {2, 3},
                          kMat.Element(4, kMat.Values<char16_t>({'o', 't', 'n', 'w', 'e', 'o'})),
                          "t"),
       "'one'\n'two'\n"},
      {"texts in UTF-8, the last one broken",
       kHead + kMat.Array(1, {2, 1},
                          kMat.Array(4, {1, 1}, kMat.Element(16, "\xc3\xa4")) +
                              kMat.Array(4, {1, 2}, kMat.Element(16, "a\xff")),
                          "t"),
       "'\xc3\xa4'\n'a\xef\xbf\xbd'\n"},
      {"a pair of units", kHead + kMat.Text(u"\U0001F600", "t"), "'\xf0\x9f\x98\x80'\n"},
      {"cells of all kinds",
       kHead + kMat.Array(1, {1, 4},
                          kMat.Text(u"x") + kMat.Doubles({1, 1}, {2.5}) + kMat.Doubles({0, 0}, {}) +
                              kMat.Element(14, ""),
                          "c"),
       "'x' | 2.5 | . | .\n"},
      {"level 4", kMat.Old(0, 2, 2, kMat.Values<double>({1, 3, 2, NAN})), kSheet},
      {"level 4, big-endian words", kBig.Old(1030, 1, 2, kBig.Values<std::int16_t>({-5, 6})),
       "-5 | 6\n"},
      {"level 4, complex", kMat.Old(50, 1, 1, "\1\2", "z", 1), "1 | 2\n"},
      {"level 4, text", kMat.Old(51, 2, 2, "acbd", "t"), "'ab'\n'cd'\n"},
      {"level 4, sparse", kMat.Old(2, 2, 3, kMat.Values<double>({2, 2, 1, 2, 7, 0}), "s"),
       "0 | 0\n7 | 0\n"},
  });
}

TEST(MatFile, KeepsEveryDigit) {
  const auto whole = kMat.Values<std::int64_t>({9007199254740993, -1});
  const MemoryFile place(kHead + kMat.Array(14, {1, 2}, kMat.Element(12, whole), "signed") +
                         kMat.Array(15, {1, 2}, kMat.Element(13, whole), "unsigned"));
  const LogRecorder log;
  MatFile file;
  MemorySheet sheet;
  OpenOptions options = OpenOptions::Pairs("variables=signed,unsigned");
  ASSERT_EQ(file.Open(true, place.path(), options.get()), 0);
  ASSERT_EQ(file.Read(&sheet), 0);
  EXPECT_EQ(SheetText(sheet), "9007199254740993 | -1 | 9007199254740993 | 18446744073709551616\n");
  EXPECT_EQ(log.Notes(), "1 whole number is beyond 64 bits with a sign and lost digits\n");
}

// What a user may choose from, and how the choice stands in options.
TEST(MatFile, OffersMatricesByTheirNames) {
  const std::string scalar = kMat.Doubles({1, 1}, {1});
  const std::string bytes =
      kHead + kMat.Doubles({1, 2, 2}, {1, 2, 3, 4}, "n,d") +
      kMat.Struct({1, 2}, {"f", "g"}, scalar + kMat.Text(u"t") + kPage + kMat.Element(14, ""),
                  "s") +
      kMat.Array(1, {2, 2}, scalar + scalar + kPage + kMat.Struct({1, 1}, {"f"}, scalar, ""), "c") +
      kMat.Packed(kMat.Array(16, {1, 1}, scalar, "h")) + kMat.Doubles({0, 3}, {}, "none") +
      kMat.Element(14, kMat.Element(6, kMat.Values<std::uint32_t>({17, 0})) + kMat.Element(1, "o") +
                           kMat.Element(1, "MCOS") + kMat.Element(1, "table")) +
      kMat.Doubles({1, 1}, {9}, "n,d");
  const MemoryFile place(bytes);
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{2, 0}, 1};
  const LogRecorder log;
  NvImportOpenOptions options{0, nullptr};
  MatFile file;
  const Outcome outcome = ImportFile(file, place.path(), &options);
  EXPECT_EQ(outcome.sheet, "1 | .\n1 | 2\n");
  const std::string note =
      "of a class that cannot be read: h (function handle), o (object of class table)\n";
  EXPECT_EQ(log.Notes(), note);
  ASSERT_EQ(dialogs.items_questions.size(), 1U);
  const ItemsQuestion& question = dialogs.items_questions.front();
  EXPECT_EQ(question.title, "Select Matrix");
  EXPECT_EQ(question.items,
            (std::vector<std::string>{"n,d(:,:,1)", "n,d(:,:,2)", "s(1).f", "s(1).g", "s(2).f", "c",
                                      "c{1,2}", "c{2,2}.f", "n,d#2"}));
  EXPECT_EQ(question.details[4], "2 x 2 double");
  EXPECT_EQ(question.usual, std::vector<std::size_t>{4});
  ExpectMade(MatFile::GetImportOptions({"s(1).f", "n,d(:,:,1)"}, true),
             "variables=s(1).f,n%2Cd(:%2C:%2C1);merge=below;names=1");
  ExpectImports<MatFile>({{"by name", bytes, "3 | 4\n" + note, "variables=n%2cd(:%2C:%2C2)"},
                          {"with what is no cell", bytes, "1 | .\n1 | .\n" + note, "variables=c"}});
  ExpectRefusedOptions<MatFile>(bytes, {"variables=a", "variables=c,", "variables=%2",
                                        "variables=%zz", "merge=over", "names=2"});
}

TEST(MatFile, NamesRowsAndColumns) {
  const auto list = [](const std::vector<std::int32_t>& sizes, const std::string& name,
                       std::u16string_view letters) {
    std::string cells;
    for (const char16_t letter : letters) cells += kMat.Text({&letter, 1});
    return kMat.Array(1, sizes, cells, name);
  };
  const std::string square = kMat.Doubles({2, 2}, {1, 3, 2, 4}, "d");
  const std::string tall = kMat.Doubles({3, 1}, {7, 8, 9}, "y");
  const std::string wide = kMat.Doubles({1, 3}, {4, 5, 6}, "w");
  const std::string table = kMat.Doubles({3, 2}, {1, 2, 3, 4, 5, 6}, "x");
  const std::string both =
      kHead + table + list({3, 1}, "label", u"abc") + list({1, 2}, "vars", u"pq") + tall + wide;
  const std::string set =
      kHead +
      kMat.Struct(
          {1, 1}, {"label", "data", "axisscale"},
          kMat.Array(1, {2, 1},
                     kMat.Array(4, {2, 1}, kMat.Element(2, "AB")) + kMat.Doubles({0, 0}, {})) +
              kMat.Doubles({2, 2}, {1, 3, 2, 4}) +
              kMat.Array(1, {2, 1}, kMat.Doubles({0, 0}, {}) + kMat.Doubles({1, 2}, {400, 500})),
          "set", 3);
  ExpectImports<MatFile>({
      {"by length", both, ". | 'p' | 'q'\n'a' | 1 | 4\n'b' | 2 | 5\n'c' | 3 | 6\n", "variables=x"},
      {"not wanted", both, "1 | 4\n2 | 5\n3 | 6\n", "variables=x;names=0"},
      {"side by side, a row turned into a column", both,
       ". | 'p' | 'q' | 'y' | 'w'\n'a' | 1 | 4 | 7 | 4\n'b' | 2 | 5 | 8 | 5\n'c' | 3 | 6 | 9 | 6\n",
       "variables=x,y,w"},
      {"below each other, with one row of names", both,
       ". | 'p' | 'q'\n'a' | 1 | 4\n'b' | 2 | 5\n'c' | 3 | 6\n'a' | 1 | 4\n'b' | 2 | 5\n'c' | 3 | "
       "6\n'a' | 7 | .\n'b' | 8 | .\n'c' | 9 | .\n",
       "variables=x,x,y;merge=below"},
      {"a square by how lists lie",
       kHead + square + list({2, 1}, "u", u"ab") + list({1, 2}, "v", u"pq"),
       ". | 'p' | 'q'\n'a' | 1 | 2\n'b' | 3 | 4\n", "variables=d"},
      {"the usual name first",
       kHead + square + list({2, 1}, "u", u"ab") + list({1, 2}, "Obs_Names", u"xy"),
       "'x' | 1 | 2\n'y' | 3 | 4\n", "variables=d"},
      {"labels and a scale of a data set", set, ". | 400 | 500\n'A' | 1 | 2\n'B' | 3 | 4\n",
       "variables=set.data"},
      {"of complex numbers",
       kHead +
           kMat.Array(6 | 0x800, {1, 2}, kMat.Element(2, "\1\3") + kMat.Element(2, "\2\4"), "z") +
           list({1, 2}, "varNames", u"pq"),
       "'p' | . | 'q' | .\n1 | 2 | 3 | 4\n", "variables=z"},
  });
}

// Where the sum stands is far behind what is looked at when the file is opened.
TEST(MatFile, HoldsValuesAgainstTheirCheckSum) {
  std::vector<double> values(20000);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i * i);
  std::string packed = kHead + kMat.Packed(kMat.Doubles({1, 20000}, values, "a"));
  EXPECT_EQ(Import<MatFile>(packed).status, 0);
  packed.back() = static_cast<char>(packed.back() ^ 1);
  EXPECT_EQ(Import<MatFile>(packed).status, 4358);
}

TEST(MatFile, RefusesWhatIsNoneAndWhatIsDamaged) {
  const std::string damaged =
      "4357 The MATLAB file is damaged. It cannot be read. (damaged and left out: ";
  const std::string packed = kHead + kMat.Packed(kPage);
  const std::string nested = [] {
    std::string inner = kPage;
    for (int i = 0; i < 70; ++i) inner = kMat.Array(1, {1, 1}, inner, "c");
    return kHead + inner;
  }();
  ExpectImports<MatFile>({
      {"nothing", "", "4353 This file does not appear to be a valid MATLAB file.\n"},
      {"zeros", std::string(40, '\0'),
       "4353 This file does not appear to be a valid MATLAB file.\n"},
      {"HDF5", kMat.Header(0x0200),
       "4354 This is a MATLAB 7.3 file, which is HDF5. The package nvimport-hdf5 brings its "
       "reader; saved with -v7 in MATLAB it can be read without.\n"},
      {"a VAX", kMat.Old(2000, 1, 1, "12345678"),
       "4355 This MATLAB 4 file was saved on a VAX or a Cray, whose numbers cannot be read.\n"},
      {"no variables", kHead,
       "4356 The MATLAB file does not contain any matrix, text or cells that can be read.\n"},
      {"a function", kHead + kMat.Array(16, {1, 1}, "", "f"),
       "4356 The MATLAB file does not contain any matrix, text or cells that can be read. (of a "
       "class that cannot be read: f (function handle))\n"},
      {"cut", (kHead + kPage).substr(0, 200),
       damaged + "what follows byte 128 (the file ends within it))\n"},
      {"too few values", kHead + kMat.Array(6, {1, 3}, kMat.Element(2, "\1\2"), "a"),
       damaged + "a (its values are not as many as it says))\n"},
      {"sizes without end", kHead + kMat.Array(6, {INT_MAX, INT_MAX, INT_MAX}, "", "a"),
       damaged + "variable1 (what it says of itself makes no sense))\n"},
      {"cut in level 4", kMat.Old(0, 2, 2, "12345678"), damaged + "a (the file ends within it))\n"},
      {"nested too deep", nested,
       "4356 The MATLAB file does not contain any matrix, text or cells that can be read. (too "
       "large for a file of its size and left out: " +
           [] {
             std::string n = "c";
             for (int i = 0; i < 65; ++i) n += "{1}";
             return n;
           }() +
           " (nested too deep))\n"},
      {"a sparse one that fills memory",
       kHead + kMat.Array(5, {INT_MAX, 1},
                          kMat.Element(5, "") + kMat.Element(5, kMat.Values<int>({0, 0})) +
                              kMat.Element(9, ""),
                          "s"),
       "4356 The MATLAB file does not contain any matrix, text or cells that can be read. (too "
       "large for a file of its size and left out: s)\n"},
      {"a check sum", WithByte(packed, packed.size() - 1, '\x55'),
       damaged + "a (what it is packed in is damaged))\n"},
      {"line ends", kHead + kMat.Array(6, {1, 1}, "\r\n", "a"),
       "4359 The MATLAB file is damaged, perhaps by a transfer as text, which changes line ends. "
       "(damaged and left out: a (its values are not as many as it says))\n"},
      {"Git LFS", "version https://git-lfs.github.com/spec/v1\n",
       "4361 This file only stands for a MATLAB file that is kept elsewhere (Git LFS); fetch "
       "that.\n"},
      {"a resource fork", "\0\5\x16\7\0\2\0\0"s,
       "4362 This file holds what a Macintosh keeps beside a MATLAB file, not the file itself.\n"},
      {"text", "1 2\n3 4\n",
       "4363 This is a text file under the name of a MATLAB file; read it as text.\n"},
      {"others stay", kHead + kMat.Packed(kPage) + kMat.Array(6, {1, 3}, "", "b"),
       kSheet + "damaged and left out: b (its values are not as many as it says)\n"},
      {"what follows is cut", kHead + kPage + kPage.substr(0, 40),
       kSheet + "damaged and left out: what follows byte " + std::to_string(128 + kPage.size()) +
           " (the file ends within it)\n"},
  });
}

// What is read of it again, all variables with their names.
std::string WrittenAndRead(MemorySheet& sheet, NvImportOpenOptions* options) {
  const TempFolder folder;
  const std::string path = folder.path() + "/a.mat";
  MatFile file;
  EXPECT_EQ(file.Open(false, path.c_str(), options), 0);
  EXPECT_EQ(file.Write(&sheet), 0);
  file.Close();
  ScriptedDialogs dialogs;
  file.Open(true, path.c_str(), nullptr);
  std::vector<std::string> names = {"data"};
  if (!dialogs.items_questions.empty()) names = dialogs.items_questions.front().items;
  file.Close();
  std::string all;
  for (const std::string& name : names) {
    OpenOptions one = OpenOptions::Made(MatFile::GetImportOptions({name}, false, false));
    all += name + "\n" + ImportFile(file, path.c_str(), one.get()).sheet;
    file.Close();
  }
  return all;
}

TEST(MatFile, WritesWhatItReads) {
  const struct {
    const char* why;
    std::vector<std::vector<std::string>> rows;  // numbers begin with '#'
    std::string variables;
    std::string notes;
  } kCases[] = {
      {"numbers", {{"#1", "#0.1"}, {"", "#-2"}}, "data\n1 | 0.1\n. | -2\n", ""},
      {"names",
       {{"", "a", "b"}, {"x", "#1", "#2"}, {"\xc3\xa4", "#3", ""}},
       "data\n1 | 2\n3 | .\nvarNames\n'a' | 'b'\nobsNames\n'x'\n'\xc3\xa4'\n",
       ""},
      {"numbers as texts, and what is rather a name",
       {{"id", "v", "end"}, {"007", "1e3", "p"}, {"008", "", ""}},
       "data\n1000\n.\nvarNames\n'v'\nobsNames\n'007'\n'008'\nxend\n'p'\n''\n",
       "written under names that MATLAB takes: \"id\" as obsNames, \"end\" as xend\n"},
      {"an axis above the spectra",
       {{"s", "#100", "#200", "#300"}, {"x", "#5", "#4", "#6"}},
       "data\n5 | 4 | 6\nvarNames\n'100' | '200' | '300'\nobsNames\n'x'\n",
       "written under names that MATLAB takes: \"s\" as obsNames\n"},
      {"texts alone", {{"p", "q"}, {"r", "s"}}, "text1\n'p'\n'r'\ntext2\n'q'\n's'\n", ""},
      {"digits that a double lacks",
       {{"9007199254740993"}},
       "data\n9007199254740992\n",
       "1 whole number is beyond what a double holds and lost digits\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    MemorySheet sheet;
    for (int row = 1; row <= static_cast<int>(c.rows.size()); ++row)
      for (int column = 1; column <= static_cast<int>(c.rows[0].size()); ++column) {
        const std::string& cell =
            c.rows[static_cast<std::size_t>(row - 1)][static_cast<std::size_t>(column - 1)];
        if (cell.starts_with('#'))
          sheet.SetExact(column, row, *ParseNumber(cell.substr(1)));
        else if (!cell.empty())
          sheet.Set(column, row, cell.c_str());
      }
    for (const bool packed : {true, false}) {
      const LogRecorder log;
      OpenOptions options = OpenOptions::Made(MatFile::GetExportOptions(packed));
      EXPECT_EQ(WrittenAndRead(sheet, options.get()), c.variables);
      EXPECT_EQ(log.Notes(), c.notes);
    }
  }
  MemorySheet sheet;
  sheet.Set(1, 1, 1.0F);
  OpenOptions options =
      OpenOptions::Made(MatFile::GetExportOptions(true, {{"Made by", "a;b"}, {"made by", "%"}}));
  EXPECT_EQ(WrittenAndRead(sheet, options.get()),
            "data\n1\ndescription.Made_by\n'a;b'\ndescription.made_by\n'%'\n");
}

#if !defined(NVIMPORT_UNDER_ASAN)
TEST(MatFile, WritesNothingOfWhatIsBeyondTwoGibibytes) {
  class Vast : public MemorySheet {
   public:
    int GetNumberOfColumns() override { return 1 << 10; }
    int GetNumberOfRows() override { return 1 << 18; }
    bool IsNumber(int, int) override { return true; }
    std::optional<double> GetExact(int, int) override { return 1; }
  };
  const TempFolder folder;
  const std::string path = folder.path() + "/a.mat";
  Vast sheet;
  MatFile file;
  ASSERT_EQ(file.Open(false, path.c_str(), nullptr), 0);
  EXPECT_EQ(file.Write(&sheet), 4365);
  EXPECT_EQ(
      ErrorText(file),
      "The sheet is too large for a MATLAB file of level 5, which holds 2 GiB of a variable.");
  file.Close();
  EXPECT_EQ(Contents(path), "");
}
#endif

}  // namespace

}  // namespace nvimport
