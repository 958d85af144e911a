#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>

#include "nvimport/formats/text/TextFile.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"
#include "tests/support/ReferenceSplitter.h"

namespace nvimport {

namespace {

OpenOptions By(const std::string& delimiter, bool ignore_consecutive = false) {
  return OpenOptions::Made(TextFile::GetImportOptions(delimiter, ignore_consecutive));
}

// A reader with the file open, whose fields TABs separate.
class OpenText : public TextFile {
 public:
  explicit OpenText(const char* path) { EXPECT_EQ(Open(true, path, By("\t").get()), 0); }
  explicit OpenText(const TempFile& file) : OpenText(file.path()) {}
};

void ExpectAsReference(const std::string& bytes, const std::string& delimiter, bool ignore) {
  SCOPED_TRACE(
      testing::PrintToString(bytes.substr(bytes.size() - std::min<std::size_t>(bytes.size(), 30))) +
      testing::PrintToString(delimiter));
  const TempFile file(bytes);
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), By(delimiter, ignore).get()), 0);
  MemorySheet sheet;
  ASSERT_EQ(reader.Read(&sheet), 0);
  const auto rows = ReferenceSplit(bytes, delimiter, ignore);
  ASSERT_EQ(reader.GetNumRows(), static_cast<int>(rows.size()));
  int columns = 0;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    columns = std::max(columns, static_cast<int>(rows[r].size()));
    for (std::size_t c = 0; c < rows[r].size(); ++c)
      ASSERT_EQ(sheet.GetText(static_cast<int>(c + 1), static_cast<int>(r + 1)), rows[r][c]);
  }
  EXPECT_EQ(reader.GetNumCols(), columns);
}

TEST(TextFile, SplitsLinesIntoFields) {
  const struct {
    const char* why;
    std::string bytes;
    std::string delimiter;
    bool ignore;
    const char* sheet;
  } kCases[] = {
      {"an empty field between two delimiters", "a\tb\t\tc\n", "\t", false, "'a' | 'b' | '' | 'c'"},
      {"a run counts as one", "a\tb\t\tc\n", "\t", true, "'a' | 'b' | 'c'"},
      {"a first field stays empty", "\ta\n", "\t", false, "'' | 'a'"},
      {"also when runs count as one", "\t\t\ta\n", "\t", true, "'' | 'a'"},
      {"nothing after a last delimiter", "a\t\n", "\t", false, "'a'"},
      {"nor after a last run", "a\t\t\n", "\t", true, "'a'"},
      {"a long delimiter matches whole", "1;;2;3\n", ";;", false, "'1' | '2;3'"},
      {"from the left", "a;;;b\n", ";;", false, "'a' | ';b'"},
      {"runs of a long delimiter", "a;;;;b;;;c\n", ";;", true, "'a' | 'b' | ';c'"},
      {"quotes are characters", "\"a\tb\"\n", "\t", false, "'\"a' | 'b\"'"},
      {"fields are not trimmed", " a \t b\n", "\t", false, "' a ' | ' b'"},
      {"no delimiter: one field", "a\tb;c\n", "", false, "'a\tb;c'"},
      {"one with a line feed never matches", "a\nb\n", "a\n", false, "'a'\n'b'"},
      {"an empty line is a row", "x\n\ny", "\t", false, "'x'\n.\n'y'"},
      {"an empty last line is one too", "x\n\n", "\t", false, "'x'\n."},
      {"the end of the last line is none", "x\ny\n", "\t", false, "'x'\n'y'"},
      {"ragged rows", "a\nb\tc\n", "\t", false, "'a' | .\n'b' | 'c'"},
      {"CR LF", "a\tb\r\n\r\nc\t\r\n", "\t", false, "'a' | 'b'\n. | .\n'c' | ."},
      {"CR at the end of the file", "a\tb\r", "\t", false, "'a' | 'b'"},
      {"a CR elsewhere stays", "a\rb\t\rc\r\r\n", "\t", false, "'a\rb' | '\rc\r'"},
      {"a CR as delimiter, but not a line's last", "a\rb\r\n", "\r", false, "'a' | 'b'"},
      {"a delimiter that ends in CR", "a;\rb;\r\nc;\r", ";\r", false, "'a' | 'b;'\n'c;' | ."},
      {"bytes of any kind", "\xff\x01\t\xe9\n", "\t", false, "'\xff\x01' | '\xe9'"},
      {"a lone line feed", "\n", "\t", false, ""},
      {"nothing", "", "\t", false, ""},
  };
  for (const auto& c : kCases) {
    const TempFile file(c.bytes);
    TextFile reader;
    EXPECT_EQ(ImportFile(reader, file.path(), By(c.delimiter, c.ignore).get()).Summary(),
              *c.sheet == '\0' ? "" : c.sheet + "\n"s)
        << c.why;
    ExpectAsReference(c.bytes, c.delimiter, c.ignore);
  }
}

// Puts every kind of ending at every place around the borders of the blocks that are read.
TEST(TextFile, AgreesWithTheReferenceAcrossBlocks) {
  const std::string kPieces[] = {
      "\t", ";;", "a\r\n", ";\r\n", "\t\t\n", "\r", std::string(1, '\0')};
  const struct {
    std::string delimiter;
    bool ignore;
  } kSettings[] = {{"\t", false}, {"\t", true},  {";;", false}, {";;", true},
                   {"\r", false}, {";\r", true}, {"", false}};
  constexpr std::size_t kBlock = 256 * 1024;
  for (const std::string& piece : kPieces)
    for (std::size_t shift = 0; shift < 5; ++shift) {
      std::string bytes = "head\tof;;the\nfile\r\n";
      while (bytes.size() < kBlock - shift)
        bytes += "cell\tx;;"s.substr(0, kBlock - shift - bytes.size());
      bytes += piece + piece + "b\tc\nd;;e" + piece;
      for (const auto& s : kSettings) ExpectAsReference(bytes, s.delimiter, s.ignore);
    }
}

TEST(TextFile, RefusesWhatIsNoText) {
  const TempFolder folder;
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string head(30768, 'x');
  const TempFile last_tested(std::string(head).replace(30767, 1, 1, '\0'));
  const TempFile first_untested(head + '\0');
  const std::pair<std::string, int> kCases[] = {
      {last_tested.path(), 514},      {first_untested.path(), 0},
      {folder.path() + "/none", 514}, {"", 514},
      {folder.path(), 514},           {pipe, 514}};
  for (const auto& [path, status] : kCases) {
    TextFile reader;
    EXPECT_EQ(reader.Open(true, path.c_str(), By("\t").get()), status) << path;
    EXPECT_EQ(SprFileFactory::TestFile(17, path.c_str()), status == 0 ? 1 : 0);
    EXPECT_EQ(ErrorText(reader), status == 0 ? ""
                                             : "This file appears to be a binary file and cannot "
                                               "be imported. Only ordinary text (ASCII) files can "
                                               "be imported.");
    EXPECT_EQ(reader.GetNumCols() < 0, status != 0);
    EXPECT_EQ(reader.GetStatus(), status) << "the first failure stays";
  }
}

TEST(TextFile, AsksAndWritesTheChoiceBack) {
  const TempFile file("a;b\n1;2\n3;4\n");
  ScriptedDialogs dialogs;
  std::vector<std::vector<std::string>> preview;
  dialogs.import_text = [&](const TextImportQuestion& question) {
    EXPECT_EQ(question.title, "Text Import Wizard");
    EXPECT_EQ(question.path, file.path());
    EXPECT_EQ(question.current.delimiter, "\t");
    preview = question.preview({";", false}, 2, 5);
    return std::optional<TextImportChoice>({";", true});
  };
  NvImportOpenOptions record{0, nullptr};
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), &record), 0);
  EXPECT_EQ(preview, (std::vector<std::vector<std::string>>{{"a", "b"}, {"1", "2"}}));
  EXPECT_EQ(BytesOf(record), "\1\0\0\0;\1"s);
  EXPECT_EQ(reader.GetNumCols(), 2);

  // What came back asks nothing.
  dialogs.import_text = nullptr;
  TextFile second;
  EXPECT_EQ(second.Open(true, file.path(), OpenOptions(BytesOf(record)).get()), 0);
  EXPECT_EQ(second.GetNumCols(), 2);
}

TEST(TextFile, OptionsThatDoNotParseThrowAndChangeNothing) {
  const TempFile file("a;b\n");
  const std::string good = "\2\0\0\0;;\1"s;
  std::vector<std::string> bad = {"\xff\xff\xff\xff;\1"s, "\1\0\0\0;\2"s};
  for (std::size_t size = 1; size < good.size(); ++size) bad.push_back(good.substr(0, size));
  for (const std::string& bytes : bad) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    TextFile reader;
    reader.SetDelimiter(";");
    EXPECT_THROW(reader.Open(true, file.path(), OpenOptions(bytes).get()), Exception);
    reader.Close();
    ScriptedDialogs dialogs;
    TextImportChoice current;
    dialogs.import_text = [&](const TextImportQuestion& question) {
      current = question.current;
      return std::optional<TextImportChoice>();
    };
    reader.Open(true, file.path(), nullptr);
    EXPECT_EQ(current.delimiter, ";");
    EXPECT_FALSE(current.ignore_consecutive);
  }
  unsigned char byte = 0;
  NvImportOpenOptions negative{-1, &byte};
  EXPECT_THROW(TextFile().Open(true, file.path(), &negative), Exception);
}

// Keeps what comes in its order.
class PickySink : public PickySheet {
 public:
  using MemorySheet::Set;
  using PickySheet::PickySheet;
  void Set(int column, int row, const char* text) override {
    cells += std::to_string(column) + "," + std::to_string(row) + "=" + text + " ";
  }
  std::string cells;
};

TEST(TextFile, ReadsTheRowsThatTheSinkAsksFor) {
  int calls = 0;
  const struct {
    const char* why;
    std::function<int(int)> next;
    const char* cells;
  } kCases[] = {
      {"every second row", [](int p) { return p + 2; }, "1,2=b 1,4=d "},
      {"stop after the third", [](int p) { return p < 3 ? p + 1 : -1; }, "1,1=a 1,2=b 1,3=c "},
      {"none", [](int) { return -1; }, ""},
      {"always the same", [](int) { return 2; }, "1,2=b "},
      {"always 0", [](int) { return 0; }, ""},
      {"going back is not possible",
       [&](int) {
         constexpr int kAnswers[] = {3, 1, 4, -1};
         return kAnswers[calls++];
       },
       "1,3=c 1,4=d "},
      {"beyond the last row", [](int) { return INT_MAX; }, ""},
  };
  const TempFile file("a\nb\nc\nd\n");
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    OpenText reader(file);
    PickySink sink(c.next);
    EXPECT_EQ(reader.Read(&sink), 0);
    EXPECT_EQ(sink.cells, c.cells);
  }
}

TEST(TextFile, WritesWithTheFirstCharacterOfTheDelimiter) {
  MemorySheet sheet;
  sheet.Set(1, 1, "a;\"b");
  sheet.Set(2, 1, 1.5F);
  sheet.Set(3, 2, 16777216.0F);
  sheet.Set(1, 3, "");
  const TempFolder folder;
  const std::string path = folder.path() + "/out.txt";
  const struct {
    const char* delimiter;
    const char* bytes;
  } kCases[] = {{"\t", "a;\"b\t1.5\t\n\t\t16777216\n\t\t\n"},
                {";;", "a;\"b;1.5;\n;;16777216\n;;\n"},
                {"", "a;\"b1.5\n16777216\n\n"}};
  for (const auto& c : kCases) {
    TextFile writer;
    writer.SetDelimiter(c.delimiter);
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    EXPECT_EQ(writer.Write(&sheet), 0);
    writer.Close();
    EXPECT_EQ(Contents(path), c.bytes);
  }
}

TEST(TextFile, ANumbersTextIsAskedOfASheetThatKeepsIt) {
  struct Host : MemorySheet {
    const char* GetText(int, int) override { return "1.50"; }
    bool KeepsTextOf(int, int) override { return keeps; }
    bool keeps = false;
  } sheet;
  sheet.Set(1, 1, 1.5F);
  sheet.Set(2, 1, 2.5F);
  const TempFile file("");
  const FormatList formats;
  for (const bool keeps : {false, true}) {
    sheet.keeps = keeps;
    const auto writer = formats.CreateFile(17);
    ASSERT_EQ(writer->Open(false, file.path(), nullptr), 0);
    EXPECT_EQ(writer->Write(&sheet), 0);
    writer->Close();
    EXPECT_EQ(Contents(file.path()), keeps ? "1.50\t1.50\n" : "1.5\t2.5\n");
  }
}

TEST(TextFile, WhatANulCutsOffIsNoted) {
  const std::string head(30768, 'x');
  const TempFile file("h\n" + head + "\na\tb\0c\td\ne\0\n\0f\ng\0h"s);
  TextFile reader;
  EXPECT_EQ(ImportFile(reader, file.path(), By("\t").get()).Summary(),
            "'h' | .\n'" + head +
                "' | .\n'a' | 'b'\n'e' | .\n. | .\n'g' | .\n"
                "4 lines hold a NUL byte, and what follows it there was not delivered\n");
}

TEST(TextFile, HoldsAFieldButNeverALine) {
  // 24 MB of short fields without a line end.
  std::string bytes;
  while (bytes.size() < (24U << 20)) bytes += "12345\t";
  const TempFile file(bytes);
  bytes = {};
  const AllocationCounter memory;
  OpenText reader(file);
  PickySink stop([](int) { return 1; });
  EXPECT_EQ(reader.GetNumCols(), 4194304);
  EXPECT_EQ(reader.GetNumRows(), 1);
  EXPECT_EQ(reader.Read(&stop, 2, 1, 1, 1), 0);
  EXPECT_LT(memory.Peak(), 16U << 20);
}

TEST(TextFile, AFieldBeyond64MebibytesIsStatus2) {
  constexpr std::size_t kLongest = std::size_t{64} << 20;
  for (const std::size_t extra : {0U, 1U, 300'000U}) {
    const TempFile file("a\t" + std::string(kLongest + extra, 'x') + "\tb\n");
    OpenText reader(file);
    EXPECT_EQ(reader.GetNumCols(), extra == 0 ? 3 : -1);
    EXPECT_EQ(ErrorText(reader),
              extra == 0
                  ? ""
                  : "An error occurred when trying to establish the size of the data in the file.");
  }
}

TEST(TextFile, ReadsBeyondFourGibibytes) {
  // A hole of NULs, which costs neither space nor time, and a line behind it.
  const MemoryFile file("first\tline\n" + std::string(30768, 'x') + "\n");
  file.Resize(std::uint64_t{4} << 30);
  file.Append("\nlast\tline\n");
  OpenText reader(file.path());
  EXPECT_EQ(reader.GetNumRows(), 4);
  MemorySheet sheet;
  ASSERT_EQ(reader.Read(&sheet), 0);
  EXPECT_STREQ(sheet.GetText(2, 4), "line");
}

TEST(TextFile, BearsAFileThatChangesMeanwhile) {
  const struct {
    const char* why;
    std::string after;
    const char* sheet;
    const char* notes;
  } kCases[] = {{"grown", "a\tb\tc\nd\te\nf\tg\n", "'a' | 'b'\n'd' | 'e'\n", ""},
                {"shrunk", "a", "'a' | .\n. | .\n",
                 "the file has become shorter while it was read: 1 of 2 rows were delivered\n"},
                {"emptied", "", ". | .\n. | .\n",
                 "the file has become shorter while it was read: 0 of 2 rows were delivered\n"}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const TempFile file("a\tb\nd\te\n");
    OpenText reader(file);
    ASSERT_EQ(reader.GetNumRows(), 2);
    std::ofstream(file.path(), std::ios::binary | std::ios::trunc) << c.after;
    MemorySheet sheet;
    const LogRecorder log;
    EXPECT_EQ(reader.Read(&sheet), 0);
    EXPECT_EQ(SheetText(sheet), c.sheet);
    EXPECT_EQ(log.Notes(), c.notes);
  }
}

TEST(TextFile, ACopyTakesTheSettingsButNotTheFile) {
  const TempFile file("a;;b\n");
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), By(";", true).get()), 0);
  ASSERT_EQ(reader.GetNumCols(), 2);
  TextFile copy(reader);
  EXPECT_EQ(copy.GetNumCols(), 2);
  MemorySheet sheet;
  EXPECT_EQ(copy.Read(&sheet), 3);
  copy.Close();
  ScriptedDialogs dialogs;
  dialogs.import_text = [](const TextImportQuestion& q) { return std::optional(q.current); };
  ASSERT_EQ(copy.Open(true, file.path(), nullptr), 0);
  EXPECT_EQ(copy.GetNumCols(), 2);
  EXPECT_EQ(reader.Read(&sheet), 0);
  TextFile assigned;
  assigned = reader;
  EXPECT_EQ(assigned.GetNumRows(), 1);
}

TEST(TextFile, ACancelStopsSizingAndReading) {
  class Stopped : public Progress {
   public:
    bool Advance(std::uint64_t, std::uint64_t) override { return false; }
  };
  const TempFile file("a\n");
  Stopped stopped;
  for (const bool sized : {false, true}) {
    OpenText reader(file);
    if (sized) {
      EXPECT_EQ(reader.GetNumRows(), 1);
    }
    Progress::Install(&stopped);
    MemorySheet sheet;
    EXPECT_EQ(reader.Read(&sheet), sized ? 512 : 2);
    Progress::Install(nullptr);
  }
}

}  // namespace

}  // namespace nvimport
