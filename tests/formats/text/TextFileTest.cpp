#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <functional>

#include "nvimport/formats/text/TextFile.h"
#include "nvimport/formats/text/TextScan.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/ReferenceSplitter.h"
#include "tests/support/ScriptedDialogs.h"
#include "tests/support/Support.h"

namespace nvimport {

using namespace std::string_literals;

namespace {

// The options of one import, as a caller would hold them.
class TextOptions {
 public:
  explicit TextOptions(const std::string& delimiter = "\t", bool ignore_consecutive = false)
      : record_(TextFile::GetImportOptions(delimiter, ignore_consecutive)) {}
  TextOptions(const TextOptions&) = delete;
  TextOptions& operator=(const TextOptions&) = delete;
  ~TextOptions() { SpreadsheetOpenOptions::FreeOpenOptions(record_.get()); }
  NvImportOpenOptions* get() const { return record_.get(); }

 private:
  std::unique_ptr<NvImportOpenOptions> record_;
};

Outcome Split(const std::string& bytes, const std::string& delimiter = "\t", bool ignore = false) {
  return Import<TextFile>(bytes, TextOptions(delimiter, ignore).get());
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(TextFile, SplitsLinesIntoFields) {
  const struct {
    const char* why;
    std::string bytes;
    std::string delimiter;
    bool ignore;
    const char* sheet;
  } kCases[] = {
      {"an empty field between two delimiters", "a\tb\t\tc\n", "\t", false,
       R"("a" | "b" | "" | "c")"},
      {"a run counts as one", "a\tb\t\tc\n", "\t", true, R"("a" | "b" | "c")"},
      {"a first field stays empty", "\ta\n", "\t", false, R"("" | "a")"},
      {"also when runs count as one", "\t\t\ta\n", "\t", true, R"("" | "a")"},
      {"nothing after a last delimiter", "a\t\n", "\t", false, R"("a")"},
      {"nor after a last run", "a\t\t\n", "\t", true, R"("a")"},
      {"a long delimiter matches whole", "1;;2;3\n", ";;", false, R"("1" | "2;3")"},
      {"from the left", "a;;;b\n", ";;", false, R"("a" | ";b")"},
      {"runs of a long delimiter", "a;;;;b;;;c\n", ";;", true, R"("a" | "b" | ";c")"},
      {"quotes are characters", "\"a\tb\"\n", "\t", false, R"(""a" | "b"")"},
      {"fields are not trimmed", " a \t b\n", "\t", false, R"(" a " | " b")"},
      {"no delimiter: one field", "a\tb;c\n", "", false, R"("a	b;c")"},
      {"one with a line feed never matches", "a\nb\n", "a\n", false, "\"a\"\n\"b\""},
      {"an empty line is a row", "x\n\ny", "\t", false, "\"x\"\n.\n\"y\""},
      {"an empty last line is one too", "x\n\n", "\t", false, "\"x\"\n."},
      {"the end of the last line is none", "x\ny\n", "\t", false, "\"x\"\n\"y\""},
      {"ragged rows", "a\nb\tc\n", "\t", false, "\"a\" | .\n\"b\" | \"c\""},
      {"CR LF", "a\tb\r\n\r\nc\t\r\n", "\t", false, "\"a\" | \"b\"\n. | .\n\"c\" | ."},
      {"CR at the end of the file", "a\tb\r", "\t", false, R"("a" | "b")"},
      {"a CR elsewhere stays", "a\rb\t\rc\r\r\n", "\t", false, "\"a\rb\" | \"\rc\r\""},
      {"a CR as delimiter, but not a line's last", "a\rb\r\n", "\r", false, R"("a" | "b")"},
      {"a delimiter that ends in CR", "a;\rb;\r\nc;\r", ";\r", false, "\"a\" | \"b;\"\n\"c;\" | ."},
      {"bytes of any kind", "\xff\x01\t\xe9\n", "\t", false, "\"\xff\x01\" | \"\xe9\""},
      {"a lone line feed", "\n", "\t", false, ""},
      {"nothing", "", "\t", false, ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const Outcome got = Split(c.bytes, c.delimiter, c.ignore);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.sheet, *c.sheet == '\0' ? "" : std::string(c.sheet) + "\n");
  }
}

TEST(TextFile, EstablishesTheSize) {
  const struct {
    std::string bytes;
    int columns;
    int rows;
  } kCases[] = {{"x\ny\n", 1, 2},  {"x\n\ny", 1, 3},    {"x\n\n", 1, 2}, {"", 0, 0},
                {"\n", 0, 1},      {"\r", 0, 0},        {"\r\n", 0, 1},  {"a\t\tb\nc", 3, 2},
                {"a\t\n\t", 1, 2}, {"\t\t\t\n\n", 3, 2}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    const TempFile file(c.bytes);
    TextFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
    EXPECT_EQ(reader.GetNumCols(), c.columns);
    EXPECT_EQ(reader.GetNumRows(), c.rows);
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
      for (const auto& s : kSettings) {
        SCOPED_TRACE(testing::PrintToString(piece) + " " + std::to_string(shift) + " " +
                     testing::PrintToString(s.delimiter));
        const TempFile file(bytes);
        TextFile reader;
        ASSERT_EQ(reader.Open(true, file.path(), TextOptions(s.delimiter, s.ignore).get()), 0);
        MemorySheet sheet;
        ASSERT_EQ(reader.Read(&sheet), 0);
        const auto rows = ReferenceSplit(bytes, s.delimiter, s.ignore);
        ASSERT_EQ(reader.GetNumRows(), static_cast<int>(rows.size()));
        int columns = 0;
        for (std::size_t r = 0; r < rows.size(); ++r) {
          columns = std::max(columns, static_cast<int>(rows[r].size()));
          for (std::size_t c = 0; c < rows[r].size(); ++c)
            ASSERT_EQ(sheet.GetText(static_cast<int>(c + 1), static_cast<int>(r + 1)), rows[r][c]);
        }
        EXPECT_EQ(reader.GetNumCols(), columns);
      }
    }
}

TEST(TextFile, APrefixNeverGivesACellThatTheWholeDoesNot) {
  const std::string whole = "Name\tw1\tw2\r\nA\t\t1.5\n\nB\t2\t";
  const auto rows = ReferenceSplit(whole, "\t", false);
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const TempFile file(whole.substr(0, size));
    TextFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
    MemorySheet sheet;
    ASSERT_EQ(reader.Read(&sheet), 0);
    for (int r = 1; r <= sheet.GetNumberOfRows(); ++r)
      for (int c = 1; c <= sheet.GetNumberOfColumns(); ++c) {
        const std::string cell(sheet.GetCell(c, r).text);
        const auto& row = rows.at(static_cast<std::size_t>(r - 1));
        const std::string expected =
            static_cast<std::size_t>(c) <= row.size() ? row[static_cast<std::size_t>(c - 1)] : "";
        const bool last = r == sheet.GetNumberOfRows();
        EXPECT_TRUE(cell == expected || (last && expected.starts_with(cell)) ||
                    cell == expected + "\r")
            << "cut to " << size << " bytes, row " << r << ", column " << c;
      }
  }
}

TEST(TextFile, RefusesWhatIsNoText) {
  constexpr const char* kBinary =
      "This file appears to be a binary file and cannot be imported. Only ordinary text (ASCII) "
      "files can be imported.";
  const TempFolder folder;
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string head(30768, 'x');
  const TempFile last_tested(std::string(head).replace(30767, 1, 1, '\0'));
  const TempFile first_untested(head + '\0');
  const struct {
    const char* why;
    std::string path;
    int status;
    const char* text;
  } kCases[] = {
      {"a NUL in the last byte that is tested", last_tested.path(), 514, kBinary},
      {"a NUL in the first that is not", first_untested.path(), 0, ""},
      {"a missing file", folder.path() + "/none", 514, kBinary},
      {"an empty name", "", 514, kBinary},
      {"a folder", folder.path(), 514, kBinary},
      {"a pipe that nobody writes to", pipe, 514, kBinary},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    TextFile reader;
    EXPECT_EQ(reader.Open(true, c.path.c_str(), TextOptions().get()), c.status);
    EXPECT_EQ(SprFileFactory::TestFile(17, c.path.c_str()), c.status == 0 ? 1 : 0);
    EXPECT_EQ(ErrorText(reader), c.text);
    EXPECT_EQ(reader.GetNumCols() < 0, c.status != 0);
    EXPECT_EQ(reader.GetStatus(), c.status) << "the first failure stays";
  }
}

TEST(TextFile, RefusesTheWrongMode) {
  const TempFile file("a\n");
  MemorySheet sheet;
  TextFile closed;
  EXPECT_EQ(closed.Read(&sheet), 3);
  EXPECT_EQ(ErrorText(closed),
            "Tried to write to the file when it was opened for reading or vice versa.");
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
  EXPECT_EQ(reader.Write(&sheet), 3);
  const TempFolder folder;
  TextFile writer;
  ASSERT_EQ(writer.Open(false, (folder.path() + "/out.txt").c_str(), nullptr), 0);
  EXPECT_EQ(writer.GetNumRows(), -1);
  EXPECT_EQ(writer.GetStatus(), 3);
  TextFile nowhere;
  EXPECT_EQ(nowhere.Open(false, (folder.path() + "/no/out.txt").c_str(), nullptr), 512);
  EXPECT_EQ(ErrorText(nowhere), "Failed to open stream for reading.");
  EXPECT_EQ(nowhere.Open(true, file.path(), TextOptions().get()), 512);
  nowhere.Close();
  EXPECT_EQ(nowhere.Open(true, file.path(), TextOptions().get()), 0);
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
  ASSERT_NE(record.data, nullptr);
  EXPECT_EQ(std::string(record.data, record.data + record.size), "\1\0\0\0;\1"s);
  EXPECT_EQ(reader.GetNumCols(), 2);

  dialogs.import_text = [](const auto&) -> std::optional<TextImportChoice> {
    ADD_FAILURE() << "asked again";
    return {};
  };
  const SpreadsheetOpenOptions kept(&record);
  NvImportOpenOptions again = *static_cast<const NvImportOpenOptions*>(kept);
  reader.Close();
  TextFile second;
  ASSERT_EQ(second.Open(true, file.path(), &again), 0);
  EXPECT_EQ(second.GetNumCols(), 2);
}

TEST(TextFile, ACancelledQuestionIsStatus4) {
  const TempFile file("a\n");
  TextFile reader;  // without a host nobody answers
  EXPECT_EQ(reader.Open(true, file.path(), nullptr), 4);
  EXPECT_EQ(ErrorText(reader), "AbortedByUser");
}

TEST(TextFile, OptionsThatDoNotParseThrowAndChangeNothing) {
  const TempFile file("a;b\n");
  const std::string good = "\2\0\0\0;;\1"s;
  std::vector<std::string> bad = {"\xff\xff\xff\xff;\1"s, "\1\0\0\0;\2"s};
  for (std::size_t size = 1; size < good.size(); ++size) bad.push_back(good.substr(0, size));
  for (std::string& bytes : bad) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    NvImportOpenOptions record{static_cast<int>(bytes.size()),
                               reinterpret_cast<unsigned char*>(bytes.data())};
    TextFile reader;
    reader.SetDelimiter(";");
    EXPECT_THROW(reader.Open(true, file.path(), &record), Exception);
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

// A sink that asks for rows as it pleases.
class PickySink : public MemorySheet {
 public:
  explicit PickySink(std::function<int(int)> next) : next_(std::move(next)) {}
  int GetNextIndex(int previous) override { return next_(previous); }
  using MemorySheet::Set;
  void Set(int column, int row, const char* text) override {
    cells += std::to_string(column) + "," + std::to_string(row) + "=" + text + " ";
  }
  std::string cells;

 private:
  std::function<int(int)> next_;
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
    TextFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
    PickySink sink(c.next);
    EXPECT_EQ(reader.Read(&sink), 0);
    EXPECT_EQ(sink.cells, c.cells);
  }
}

TEST(TextFile, ReadsARectangle) {
  const TempFile file("a1\ta2\ta3\nb1\tb2\tb3\nc1\tc2\tc3\nd1\n");
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
  PickySink sink([](int p) { return p + 1; });
  EXPECT_EQ(reader.Read(&sink, 3, 3, 2, 2), 0);
  EXPECT_EQ(sink.cells, "2,2=b2 3,2=b3 2,3=c2 3,3=c3 ");
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

TEST(TextFile, WhatANulCutsOffIsNoted) {
  const std::string head(30768, 'x');
  const TempFile file("h\n" + head + "\na\tb\0c\td\ne\0\n\0f\ng\0h"s);
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
  MemorySheet sheet;
  const LogRecorder log;
  ASSERT_EQ(reader.Read(&sheet), 0);
  EXPECT_EQ(SheetText(sheet),
            "\"h\" | .\n\"" + head + "\" | .\n\"a\" | \"b\"\n\"e\" | .\n. | .\n\"g\" | .\n");
  EXPECT_EQ(log.Notes(),
            std::vector<std::string>{
                "4 lines hold a NUL byte, and what follows it there was not delivered"});
}

TEST(TextFile, HoldsAFieldButNeverALine) {
  // 24 MB of short fields without a line end.
  std::string bytes;
  while (bytes.size() < (24U << 20)) bytes += "12345\t";
  const TempFile file(bytes);
  bytes = {};
  const AllocationCounter memory;
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
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
    TextFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
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
  ASSERT_EQ(::truncate(file.path(), off_t{4} << 30), 0);
  file.Append("\nlast\tline\n");
  TextFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
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
    std::vector<std::string> notes;
  } kCases[] = {{"grown", "a\tb\tc\nd\te\nf\tg\n", "\"a\" | \"b\"\n\"d\" | \"e\"\n", {}},
                {"shrunk",
                 "a",
                 "\"a\" | .\n. | .\n",
                 {"the file has become shorter while it was read: 1 of 2 rows were delivered"}},
                {"emptied",
                 "",
                 ". | .\n. | .\n",
                 {"the file has become shorter while it was read: 0 of 2 rows were delivered"}}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const TempFile file("a\tb\nd\te\n");
    TextFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
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
  ASSERT_EQ(reader.Open(true, file.path(), TextOptions(";", true).get()), 0);
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
    TextFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), TextOptions().get()), 0);
    if (sized) {
      EXPECT_EQ(reader.GetNumRows(), 1);
    }
    Progress::Install(&stopped);
    MemorySheet sheet;
    EXPECT_EQ(reader.Read(&sheet), sized ? 512 : 2);
    Progress::Install(nullptr);
  }
}

TEST(TextScan, EveryWayFindsTheSame) {
  std::string text(64 * 40, '\0');
  unsigned state = 1;
  for (char& byte : text) {
    state = state * 1664525 + 1013904223;
    byte = "ab\t\n\0;\xff\x8a"[state >> 29];
  }
  for (const char delimiter : {'\t', ';', '\n', '\xff'}) {
    std::vector<ByteMasks> plain(40), sse2(40), best(40);
    FindBytesPlain(text.data(), 40, delimiter, plain.data());
    BestFindBytes()(text.data(), 40, delimiter, best.data());
#if defined(__x86_64__)
    FindBytesSse2(text.data(), 40, delimiter, sse2.data());
#else
    sse2 = plain;
#endif
    for (std::size_t i = 0; i < plain.size(); ++i) {
      EXPECT_EQ(plain[i].delimiter, sse2[i].delimiter);
      EXPECT_EQ(plain[i].end, sse2[i].end);
      EXPECT_EQ(plain[i].delimiter, best[i].delimiter);
      EXPECT_EQ(plain[i].end, best[i].end);
    }
  }
}

}  // namespace

}  // namespace nvimport
