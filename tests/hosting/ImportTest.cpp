#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "nvimport/framework/FormatList.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

std::string Sample(const char* name) { return std::string(NVIMPORT_TEST_SAMPLES "/") + name; }

CWnd* const kWindow = reinterpret_cast<CWnd*>(0x10);  // NOLINT: a host's window is never looked at

}  // namespace

TEST(Import, TellsEveryFailureWithItsDetail) {
  const TempFolder folder;
  const struct {
    const char* why;
    ImportRequest request;
    Failure::Kind kind;
    const char* text;
    const char* detail;
    int status;
  } kCases[] = {
      {"no file", {{}}, Failure::kArgument, "There is no file to read.", "", 0},
      {"not there",
       {{folder.path() + "/none.txt"}},
       Failure::kMissing,
       "The file is not there.",
       nullptr,  // the system's words are those of the user's language
       0},
      {"a folder",
       {{folder.path()}},
       Failure::kFailed,
       "Directories can not be imported.",
       "it is a folder",
       0},
      {"another format",
       {{Sample("wheat.txt")}, "", 16},
       Failure::kFailed,
       "The file size could not be established. Import will be aborted.",
       "Spectra header in DA-file is corrupt! Spectra header contains corrupt information about "
       "starting, ending wavelength, or number of data points.",
       1283},
      {"no such worksheet",
       {{Sample("ovens.xls")}, "", 0, "", {}, {.sheets = "Zork"}},
       Failure::kChoice,
       "\"Zork\" is not among the worksheets.",
       "",
       4},
      {"nothing decides",
       {{folder.Put("noise", "\1\2\3")}},
       Failure::kFormatUnknown,
       "The format is not certain.",
       "",
       0},
      {"no such format",
       {{Sample("wheat.txt")}, "", 4000},
       Failure::kArgument,
       "There is no such format.",
       "",
       0},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    MemorySheet sheet;
    const ImportResult result = ImportFile(c.request, sheet);
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(result.failure->kind, c.kind);
    EXPECT_EQ(result.failure->text, c.text);
    if (c.detail == nullptr)
      EXPECT_NE(result.failure->detail, "");
    else
      EXPECT_EQ(result.failure->detail, c.detail);
    EXPECT_EQ(result.failure->status, c.status);
    EXPECT_EQ(result.failure->candidates.empty(),
              c.kind != Failure::kChoice && c.kind != Failure::kFormatUnknown);
  }
}

TEST(Import, LeavesOutTheMarkOfUtf8) {
  const TempFolder folder;
  const struct {
    const char* file;
    const char* text;
    const char* sheet;
  } kCases[] = {
      {"a.txt", "\xEF\xBB\xBFname\t\xEF\xBB\xBFx\n", "'name' | '\xEF\xBB\xBFx'\n"},
      {"c.csv", "\xEF\xBB\xBFname,x\n", "'name' | 'x'\n"},
      {"d.txt", "a\xEF\xBB\xBF\tb\n", "'a\xEF\xBB\xBF' | 'b'\n"},
  };
  for (const auto& c : kCases) {
    MemorySheet sheet;
    EXPECT_TRUE(ImportFile({{folder.Put(c.file, c.text)}}, sheet));
    EXPECT_EQ(SheetText(sheet), c.sheet) << c.file;
  }
}

TEST(Import, TakesWhatIsCalledOtherwiseForWhatItIs) {
  const TempFolder folder;
  const struct {
    const char* sample;
    const char* name;
    const char* format;
  } kCases[] = {
      {"mill.xlsx", "a.xls", "Excel2007 File"},   {"sieves.xlsb", "b.dat", "Excel2007 File"},
      {"ovens.xls", "c.xlsx", "Excel File"},      {"ovens.xls", "d.csv", "Excel File"},
      {"tanks.wk1", "e.xls", "Lotus 1-2-3 File"}, {"trials.csv", "f.txt", "Text File"},
      {"oils.jdx", "g.txt", "Text File"},
  };
  for (const auto& c : kCases) {
    MemorySheet sheet;
    const ImportResult result =
        ImportFile({{folder.Put(c.name, Contents(Sample(c.sample)))}}, sheet);
    EXPECT_FALSE(result.failure) << c.name;
    EXPECT_EQ(FormatName(result.format), c.format) << c.name;
  }
}

TEST(Import, RepeatsByItsOptionsWithoutAQuestion) {
  const struct {
    std::vector<std::string> files;
    const char* question;
  } kCases[] = {{{Sample("ovens.xls")}, "worksheets"},
                {{Sample("oils.jdx")}, "blocks"},
                {{Sample("barley.spc")}, "range"},
                {{Sample("batches.txt")}, "delimiter"},
                {{Sample("carotene.csv")}, "delimiter"}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.files.front());
    MemorySheet first;
    ImportRequest request{c.files};
    const ImportResult result = ImportFile(request, first);
    ASSERT_TRUE(result) << result.failure->text;
    ASSERT_FALSE(result.questions.empty());
    EXPECT_EQ(result.questions.front().name, c.question);
    request.options = result.options;
    MemorySheet again;
    const ImportResult repeated = ImportFile(request, again);
    EXPECT_EQ(SheetText(again), SheetText(first));
    EXPECT_EQ(repeated.options, result.options);
    using Source = AnsweredQuestion::Source;
    EXPECT_TRUE(std::ranges::all_of(repeated.questions, [](const AnsweredQuestion& question) {
      return question.source == Source::kGiven;
    }));
  }
}

struct WithComplete {
  WithComplete() { EXPECT_FALSE(UseComplete()); }
  WithComplete(const WithComplete&) = delete;
  WithComplete& operator=(const WithComplete&) = delete;
  ~WithComplete() { FormatList::Release(); }
};

TEST(Import, ReadsByTheRulesThatAreSaidStoredOrOfTheEnvironment) {
  const WithComplete complete;
  ImportRequest request{{Sample("tanks.wk1")}};
  const auto read = [&] {
    MemorySheet sheet;
    const ImportResult result = ImportFile(request, sheet);
    EXPECT_TRUE(result) << result.failure->text;
    EXPECT_EQ(result.kept_rules, !result.notes.empty());
    return std::pair(result.options, SheetText(sheet));
  };
  const auto whole = read();
  ::setenv("NVIMPORT_RULES", "kept", 1);
  const auto kept = read();
  EXPECT_NE(kept, whole);
  request.options = whole.first;
  EXPECT_EQ(read(), whole) << "as it was stored";
  request.options.clear();
  request.kept_rules = false;
  EXPECT_EQ(read(), whole);
  ::unsetenv("NVIMPORT_RULES");
  request.kept_rules.reset();
  request.options = kept.first;
  EXPECT_EQ(read(), kept) << "as it was stored";
  request.options = whole.first;
  request.kept_rules = true;
  EXPECT_EQ(read(), kept) << "as it is said now";

  // Formats' own bytes were stored when there was no choice.
  request.kept_rules.reset();
  request.options = {0, 0, 0, 0};
  EXPECT_EQ(read().second, kept.second);
}

TEST(Import, HasNumbersOf32BitsByTheKeptRules) {
  const WithComplete complete;
  for (const bool kept : {false, true}) {
    MemorySheet sheet;
    ImportRequest request{{Sample("oils.jdx")}};
    request.kept_rules = kept;
    ASSERT_TRUE(ImportFile(request, sheet));
    bool is_wide = false;
    for (int row = 1; row <= sheet.GetNumberOfRows(); ++row)
      for (int column = 1; column <= sheet.GetNumberOfColumns(); ++column)
        is_wide = is_wide || sheet.GetCell(column, row).number_kind != NumberKind::kFloat;
    EXPECT_EQ(is_wide, !kept);
  }
}

TEST(Import, RefusesRulesThatItDoesNotKnow) {
  MemorySheet sheet;
  const ImportRequest later{{Sample("tanks.wk1")}, "", 0, "", {'N', 'v', 'I', 'R', 2, 0}};
  EXPECT_EQ(ImportFile(later, sheet).failure->kind, Failure::kArgument);
  ::setenv("NVIMPORT_RULES", "keep", 1);
  EXPECT_EQ(ImportFile({{Sample("tanks.wk1")}}, sheet).failure->kind, Failure::kArgument);
  ::unsetenv("NVIMPORT_RULES");
}

TEST(Import, AsksTheHostInItsOwnWindow) {
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{1}, 0};
  dialogs.range = RangeChoice{2, 3};
  dialogs.import_text = [](const TextImportQuestion& question) {
    EXPECT_EQ(question.parent, kWindow);
    return question.usual;
  };
  for (const char* name : {"ovens.xls", "barley.spc", "batches.txt"}) {
    ImportRequest request{{Sample(name)}};
    request.dialogs = &dialogs;
    request.parent = kWindow;
    MemorySheet sheet;
    const ImportResult result = ImportFile(request, sheet);
    ASSERT_TRUE(result) << name;
    EXPECT_EQ(result.questions.front().source, AnsweredQuestion::Source::kChosen) << name;
  }
  ASSERT_EQ(dialogs.items_questions.size(), 1U);
  EXPECT_EQ(dialogs.items_questions.front().parent, kWindow);
  EXPECT_EQ(dialogs.range_questions.at(0).parent, kWindow);
}

TEST(Import, TakesARangeThatIsNoQuestion) {
  ImportRequest request{{Sample("hops.0")}};
  request.answers.range = RangeChoice{2, 3};
  MemorySheet sheet;
  ASSERT_TRUE(ImportFile(request, sheet));
  EXPECT_EQ(SheetText(sheet),
            "'Primary ID' | 'Name' | 1798 | 1796\n1 | 'Hallertau, früh' | 0.0625 | 0.125\n");
}

TEST(Import, StopsWhereTheHostSaysSoAndLeavesTheHostAlone) {
  const LogRecorder log;
  using Moment = std::pair<ImportProgress::Stage, int>;
  for (const Moment& moment :
       {Moment(ImportProgress::kSizing, 0), Moment(ImportProgress::kSizing, 17),
        Moment(ImportProgress::kReading, 17)}) {
    ImportRequest request{{Sample("wheat.txt")}};
    request.progress = [&](const ImportProgress& now) {
      return Moment(now.stage, now.format) != moment;
    };
    MemorySheet sheet;
    const ImportResult result = ImportFile(request, sheet);
    ASSERT_TRUE(result.failure);
    EXPECT_EQ(result.failure->kind, Failure::kStopped);
    EXPECT_EQ(result.failure->text, "The import was cancelled.");
  }
  const auto before = log.entries().size();
  Log::WriteMessage("Host", "Test", "still here", Log::kNormal);
  EXPECT_EQ(log.entries().size(), before + 1);
}

TEST(Export, LeavesWhatWasThereUnlessItIsWhole) {
  const TempFolder folder;
  const std::string path = folder.Put("out.csv", "precious\n");
  MemorySheet sheet;
  for (int row = 1; row <= 3000; ++row) sheet.Set(1, row, "a");
  ExportRequest request{path, *FindOutputFormat("csv")};
  auto failure = ExportSheet(sheet, request);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->detail, "it exists already");
  request.replaces = true;
  request.progress = [](std::uint64_t row, std::uint64_t) { return row < 2000; };
  failure = ExportSheet(sheet, request);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::kStopped);
  EXPECT_EQ(std::filesystem::file_size(path), 9U);
  request.progress = {};
  EXPECT_FALSE(ExportSheet(sheet, request));
  EXPECT_EQ(std::filesystem::file_size(path), 6000U);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(Export, WritesNoDelimitersWithoutEnd) {
  const TempFolder folder;
  const struct {
    const char* format;
    int column;
    int row;
    const char* detail;
  } kCases[] = {
      {"csv", 10'000, 10'001, "2 cells among 100 MB of delimiters"},
      {"dif", 10'001, 10'000, "2 cells among 100 MB of delimiters"},
      {"jsonl", 1, 20'000'001, "2 cells among 100 MB of delimiters"},
      {"jsonl", INT_MAX, INT_MAX, "2 cells among 18446744073709 MB of delimiters"},
      {"csv", 10'000, 100, ""},
  };
  for (const auto& c : kCases) {
    MemorySheet sheet;
    sheet.Set(1, 1, "a");
    sheet.Set(c.column, c.row, 1.F);
    const auto failure =
        ExportSheet(sheet, {folder.path() + "/" + c.format, *FindOutputFormat(c.format)});
    EXPECT_EQ(failure ? failure->detail : "", c.detail);
  }
  // A thousandth of them that are cells are worth it, and so is who insists.
  MemorySheet sheet;
  for (int row = 1; row <= 100'001; ++row) sheet.Set(1, row, 1.F);
  sheet.Set(1000, 1, 1.F);
  EXPECT_FALSE(ExportSheet(sheet, {"/dev/null", *FindOutputFormat("csv"), {}, true}));
  MemorySheet far;
  far.Set(20'000'001, 1, 1.F);
  ExportRequest request{"/dev/null", *FindOutputFormat("jsonl")};
  request.is_sparse = true;
  EXPECT_FALSE(ExportSheet(far, request));
  // Nor any of them where nothing can be written.
  request = {"/dev/full", *FindOutputFormat("csv")};
  request.is_sparse = true;
  for (const char* format : {"csv", "txt", "dif"}) {
    request.format = *FindOutputFormat(format);
    MemorySheet endless;
    endless.Set(100'000, 100'000, 1.F);
    const auto failure = ExportSheet(endless, request);
    EXPECT_EQ(failure ? failure->detail : "", std::strerror(ENOSPC));
  }
}

}  // namespace nvimport
