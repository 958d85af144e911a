

#include "nvimport/formats/text/TextFile.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/NvImportMore.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Sanitizer.h"
#include "tests/support/Cases.h"
#include "tests/support/Samples.h"

namespace nvimport {

namespace {

// Reads through the C functions of this very program.
template <typename Record>
std::string ReadBy(char (*read)(int, long, Record*), int format, const char* path,
                   NvImportOpenOptions* options) {
  std::conditional_t<std::is_same_v<Record, NvImportReadData>, SheetRecord, WholeRecord> record;
  long handle = 0;
  EXPECT_EQ(NvImportOpen(format, path, 1, &handle, options), 1);
  EXPECT_EQ(read(format, handle, &record), 1);
  NvImportClose(format, handle);
  return SheetText(record.sheet);
}

TEST(Samples, EveryFormatsAnswerIsWhatTheTableSays) {
  std::string table;
  for (const auto& sample : Samples()) {
    const Detection detection = DetectFormat(BuiltInFormats(), sample.c_str());
    table += FileName(sample) + ":";
    for (const int answer : {2, 1})
      for (std::size_t i = 0; i < detection.answers.size(); ++i)
        if (detection.answers[i] == answer)
          table += std::string(answer == 2 ? " certain " : " possible ") +
                   SprFileFactory::GetFormat(static_cast<int>(i) + 1)->name + ",";
    table.back() = '\n';
  }
  EXPECT_EQ(table, Contents(NVIMPORT_TEST_ANSWERS)) << "the whole table is now:\n" << table;
}

// The class, the C functions and the shared library as a plug-in give the same sheet, the last two
// by the options that the first came back with, which ask nothing.
TEST(Samples, ReadAlikeThroughEveryFaceAndWithoutQuestionsTheSecondTime) {
  FormatList list;
#if !defined(NVIMPORT_UNDER_ASAN)  // two copies of a sanitized library don't live in one process
  const int formats = list.size();
  ASSERT_TRUE(list.AddLibrary(NVIMPORT_TEST_LIBRARY));
  ASSERT_EQ(list.size(), formats) << "each format replaced itself";
  ASSERT_EQ(list.GetLibraryPath(1), NVIMPORT_TEST_LIBRARY);
#endif
  for (const auto& sample : Samples()) {
    SCOPED_TRACE(sample);
    const int format = DetectFormat(BuiltInFormats(), sample.c_str()).format;
    if (format < 1) continue;
    Obliging dialogs;
    NvImportOpenOptions asked{0, nullptr};
    NvImportOpenOptions options{0, nullptr};
    const auto file = SprFileFactory::CreateReader(format);
    const Outcome first = ImportFile(*file, sample.c_str(), &asked);
    EXPECT_EQ(first.status, 0) << first.text;
    EXPECT_NE(first.sheet, "");
    SpreadsheetOpenOptions::CopyOpenOptions(&options, &asked);
    file->Close();
    const std::size_t questions = dialogs.questions();

    NvImportOpenOptions* given = options.data != nullptr ? &options : nullptr;
    EXPECT_EQ(ReadBy(&NvImportReadWhole, format, sample.c_str(), given), first.sheet);
    FloatSheet floats;
    EXPECT_EQ(ReadBy(&NvImportRead, format, sample.c_str(), given),
              ImportInto(floats, *list.CreateFile(format), sample.c_str(), given).sheet);
    EXPECT_EQ(ImportFile(*list.CreateFile(format), sample.c_str(), given).sheet, first.sheet);
    EXPECT_EQ(dialogs.questions(), questions);
    SpreadsheetOpenOptions::FreeOpenOptions(&options);
  }
}

// By the class and behind the C functions, among them a text that widens behind its head and one
// whose quote goes on there.
TEST(OpenSizes, GiveTheSameSheetAndTheSizeInTheEnd) {
  std::string lines;
  for (int line = 0; lines.size() < 600'000; ++line)
    lines += "a,,\"b\"," + std::to_string(line) + "\n";
  const std::string texts[] = {"a,b\nc\n", lines, lines + "1,2,3,4,,\n\n",
                               std::string(300'000, '\n'),
                               "a,\"" + std::string(300'000, '\n') + "\",c,d,e,f\n"};
  FormatList list;
  for (const char* name : {"Text File", "CSV File"}) {
    int format = 1;
    while (list.GetInfo(format).name != std::string_view(name)) ++format;
    for (const std::string& text : texts) {
      SCOPED_TRACE(name + (" " + text.substr(0, 8)) + std::to_string(text.size()));
      const TempFile path(text);
      auto commas = OpenOptions::Made(TextFile::GetImportOptions(",", false));
      NvImportOpenOptions* const given =
          name == std::string_view("Text File") ? commas.get() : nullptr;
      for (const bool is_served : {false, true}) {
        const auto sized = list.CreateFile(format);
        const auto file =
            is_served ? list.CreateFile(format) : SprFileFactory::CreateReader(format);
        ExpectOpenSizeAgrees(*file, *sized, path.path(), text.size() > 262'144, given);
      }
    }
  }
}

}  // namespace

}  // namespace nvimport
