#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

constexpr int kText = 17;
constexpr int kDetect = 1;

// A host that keeps the messages it is to show as "text|detail or title".
class Host : public ScriptedDialogs {
 public:
  Host() {
    NvApp::SetName("Host");
    import_text = [this](const TextImportQuestion&) {
      ++questions;
      return std::optional<TextImportChoice>({";", false});
    };
  }
  ~Host() override { FormatList::Release(); }

  int ShowMessage(const MessageBoxQuestion& message) override {
    messages.push_back(message.text + "|" + message.title + "|" + std::to_string(message.type));
    return MessageBoxQuestion::kOkAnswer;
  }
  void ShowDetails(const DetailMessage& message) override {
    messages.push_back(message.text + "|" + message.detail);
  }
  std::unique_ptr<Progress> OpenProgress(const ProgressWindow& window) override {
    EXPECT_EQ(window.title, "Loading data file...");
    class Window : public Progress {
     public:
      explicit Window(const Host& host) : host_(host) {}
      bool Advance(std::uint64_t, std::uint64_t) override {
        return host_.fails ? throw std::runtime_error("broken") : !host_.cancels;
      }

     private:
      const Host& host_;
    };
    return std::make_unique<Window>(*this);
  }
  void ShowWaitCursor(bool on) override { wait_cursors += on ? 1 : -1; }

  int questions = 0;
  int wait_cursors = 0;
  bool cancels = false;
  bool fails = false;
  std::vector<std::string> messages;
};

TEST(ImportHelper, ReadsAndGivesTheChoicesBack) {
  Host host;
  const TempFile file("a;b\n1;2\n");
  MemorySheet sheet;
  ImportHelper helper;
  NvImportOpenOptions options{0, nullptr};
  ASSERT_TRUE(helper.ReadSpreadsheetFile(file.path(), kDetect, &sheet, nullptr, &options, false));
  EXPECT_EQ(SheetText(sheet), "'a' | 'b'\n'1' | '2'\n");
  ASSERT_NE(options.data, nullptr);
  EXPECT_EQ(std::string(options.data, options.data + options.size), "\1\0\0\0;\0"s);
  EXPECT_EQ(host.wait_cursors, 0);

  MemorySheet again;
  ASSERT_TRUE(helper.ReadSpreadsheetFile(file.path(), kText, &again, nullptr, &options, true));
  EXPECT_EQ(SheetText(again), SheetText(sheet));
  EXPECT_EQ(host.questions, 1);
  SpreadsheetOpenOptions::FreeOpenOptions(&options);
  EXPECT_TRUE(host.messages.empty());
}

TEST(ImportHelper, TurnsEveryFailureIntoOneMessage) {
  const TempFolder folder;
  const std::string text = folder.Put("table.txt", "a;b\n");
  const std::string other = folder.Put("other.txt", "c;d\n");
  const std::string unbuilt = folder.Put("table.trn", "a;b\n");
  const std::string empty = folder.Put("empty.txt", "");
  const std::string binary = folder.Put("binary.txt", std::string_view("\0", 1));
  const struct {
    const char* why;
    std::string path;
    int format;
    bool known;
    std::vector<std::string> messages;
    const char* thrown;
    int status = 0;
  } kCases[] = {
      {"a folder",
       folder.path(),
       kDetect,
       false,
       {"Directories can not be imported.|Host|16"},
       "Directories can not be imported."},
      {"no such file", folder.path() + "/none", kDetect, false, {}, nullptr},
      {"no filter of that position",
       text,
       0,
       false,
       {"The file could not be read.\n\nThe file type is either not supported or could not be "
        "deduced from the file's extension or contents.|Host|16"},
       "The file could not be read.\n\nThe file type is either not supported or could not be "
       "deduced from the file's extension or contents."},
      {"two files of a format that takes one",
       text + "\n" + other,
       kDetect,
       false,
       {"Text File can only be imported one at a time.\n\n Import will be aborted.|Host|16"},
       "Text File can only be imported one at a time.\n\n Import will be aborted."},
      {"an open that fails",
       unbuilt,
       kDetect,
       false,
       {"The file could not be opened.|This function is not implemented for this file format."},
       "The file could not be opened.",
       1},
      {"an open that fails in a known format",
       binary,
       kText,
       true,
       {"The file could not be opened.|This file appears to be a binary file and cannot be "
        "imported. Only ordinary text (ASCII) files can be imported."},
       "The file could not be opened.",
       514},
      {"an empty file",
       empty,
       kText,
       true,
       {"The selected file does not contain any data. Import will be aborted.|Host|64"},
       "The selected file does not contain any data. Import will be aborted."},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    Host host;
    MemorySheet sheet;
    ImportHelper helper;
    EXPECT_FALSE(
        helper.ReadSpreadsheetFile(c.path.c_str(), c.format, &sheet, nullptr, nullptr, c.known));
    EXPECT_EQ(host.messages, c.messages);
    EXPECT_EQ(helper.GetStatus(), c.status);

    helper.SetVerboseMode(false, true);
    helper.SetThrowExceptionOnError(true);
    const LogRecorder log;
    std::string thrown;
    try {
      helper.ReadSpreadsheetFile(c.path.c_str(), c.format, &sheet, nullptr, nullptr, c.known);
    } catch (const Exception& e) {
      thrown = e.what();
    }
    EXPECT_EQ(thrown, c.thrown != nullptr ? c.thrown : "");
    EXPECT_EQ(log.entries().size(), c.messages.size()) << "logged before it is thrown";
    EXPECT_EQ(host.messages.size(), c.messages.size()) << "and not shown";
    EXPECT_EQ(host.wait_cursors, 0);
  }
}

TEST(ImportHelper, ACancelNeedsNoMessage) {
  const TempFile file("a;b\n");
  MemorySheet sheet;
  for (const bool in_question : {true, false}) {
    Host host;
    if (in_question) host.import_text = nullptr;
    host.cancels = true;
    ImportHelper helper;
    helper.SetVerboseMode(true, true);
    const LogRecorder log;
    EXPECT_FALSE(helper.ReadSpreadsheetFile(file.path(), kText, &sheet, nullptr, nullptr, true));
    EXPECT_EQ(helper.GetStatus(), 4);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_TRUE(log.entries().empty());
    helper.SetThrowExceptionOnError(true);
    EXPECT_THROW(helper.ReadSpreadsheetFile(file.path(), kText, &sheet, nullptr, nullptr, true),
                 CancelException);
    EXPECT_EQ(Progress::Install(nullptr), nullptr) << "the window's progress is gone";
  }
}

TEST(ImportHelper, AProgressWindowThatThrowsIsAMessage) {
  const TempFile file("a;b\n");
  MemorySheet sheet;
  Host host;
  host.fails = true;
  EXPECT_FALSE(
      ImportHelper().ReadSpreadsheetFile(file.path(), kText, &sheet, nullptr, nullptr, true));
  EXPECT_EQ(host.messages,
            std::vector<std::string>{"Data could not be read from the file. Import will be "
                                     "aborted.|broken"});
}

TEST(ImportHelper, TheFiltersPositionStandsForAFormatThatCanRead) {
  Host host;
  const TempFile file("a;b\n", "table.txt");
  ImportHelper helper;
  const struct {
    int filter;
    int format;
    ReadErrors error;
  } kCases[] = {{1, kText, ReadErrors::kNone},        {2, 1, ReadErrors::kNone},
                {18, kText, ReadErrors::kNone},       {20, 19, ReadErrors::kNone},
                {21, kText, ReadErrors::kNone},       {22, -1, ReadErrors::kNoUsableFormat},
                {-3, -1, ReadErrors::kNoUsableFormat}};
  for (const auto& c : kCases) {
    int format = c.filter;
    ReadErrors error{};
    EXPECT_EQ(helper.CheckFilesBeforeRead(file.path(), format, nullptr, error, true),
              c.error == ReadErrors::kNone);
    EXPECT_EQ(format, c.format) << "filter " << c.filter;
    EXPECT_EQ(error, c.error);
  }
}

TEST(ImportHelper, TheFiltersLeaveOutWhatHasNone) {
  const TempFolder folder;
  int number = 20;
  for (const std::string name : {"unreadable", "good", "filterless", "writes-nothing"})
    std::filesystem::copy(NVIMPORT_TEST_PLUGINS "/" + name + "/plugin.so",
                          folder.path() + "/" + std::to_string(number++) + ".so");
  FormatList::Release();
  ::setenv("NVIMPORT_PLUGIN_PATH", folder.path().c_str(), 1);
  Host host;
  const TempFile file("a;b\n", "table.txt");
  const auto settle = [&](int format) {
    ReadErrors error{};
    ImportHelper().CheckFilesBeforeRead(file.path(), format, nullptr, error, true);
    return format;
  };
  // The last one has taken the place of the second.
  EXPECT_EQ(FormatList::Get().size(), 22);
  EXPECT_EQ(settle(20), 19);
  EXPECT_EQ(settle(21), 22);
  EXPECT_EQ(settle(22), kText) << "all files";
  OPENFILENAME dialog;
  ImportHelper::GetFileData(dialog, true);
  const auto texts = [&] {
    std::vector<std::string> all;
    for (const char* next = dialog.lpstrFilter; *next != '\0'; next += all.back().size() + 1)
      all.emplace_back(next);
    return all;
  };
  EXPECT_EQ(texts().size(), 2U * (1 + 19 + 1 + 1));
  EXPECT_EQ(texts()[41], "*.*");
  ImportHelper::GetWriteFileData(dialog);
  EXPECT_EQ(texts().size(), 6U);
  // They are those of the list that is there.
  FormatList::Release();
  ::unsetenv("NVIMPORT_PLUGIN_PATH");
  EXPECT_EQ(settle(22), -1);
  ImportHelper::GetFileData(dialog, true);
  EXPECT_EQ(texts().size(), 2U * (1 + 19 + 1));
}

TEST(ImportHelper, WritesWhatCanBeWritten) {
  Host host;
  MemorySheet sheet;
  sheet.Set(1, 1, "x");
  sheet.Set(2, 1, 0.1F);
  const TempFolder folder;
  ImportHelper helper;
  const std::string path = folder.path() + "/out.txt";
  EXPECT_TRUE(helper.WriteSpreadsheetFile(path.c_str(), 0, &sheet, nullptr, nullptr));
  std::string line;
  std::getline(std::ifstream(path) >> std::ws, line);
  EXPECT_EQ(line, "x\t0.1");
  EXPECT_FALSE(helper.WriteSpreadsheetFile(path.c_str(), 12, &sheet, nullptr, nullptr));
  EXPECT_FALSE(helper.WriteSpreadsheetFile("out.unknown", 0, &sheet, nullptr, nullptr));
  EXPECT_FALSE(helper.WriteSpreadsheetFile("/dev/full", kText, &sheet, nullptr, nullptr));
  EXPECT_FALSE(helper.WriteSpreadsheetFile((folder.path() + "/no/o").c_str(), kText, &sheet,
                                           nullptr, nullptr));
  constexpr const char* kNotSaved =
      "Save not supported for the current file format\nor the file format could not be deduced."
      "|Save As|16";
  EXPECT_EQ(host.messages,
            (std::vector<std::string>{kNotSaved, kNotSaved,
                                      "File could not be written.|"s + std::strerror(ENOSPC),
                                      "The file could not be opened.|Failed to open stream for "
                                      "reading."}));
}

TEST(ImportHelper, TheOpenDialogBeginsWhereItLastEnded) {
  Host host;
  const TempFolder config;
  ::setenv("XDG_CONFIG_HOME", config.path().c_str(), 1);
  OPENFILENAME dialog;
  ImportHelper::GetFileData(dialog, true);
  EXPECT_EQ(dialog.nFilterIndex, 1U);
  ImportHelper::UpdateDefaultFileType(kText);
  ImportHelper::GetFileData(dialog, true);
  EXPECT_EQ(dialog.nFilterIndex, 18U);
  EXPECT_STREQ(dialog.lpstrFilter, "Supported Files");
  std::vector<std::string> texts;
  for (const char* next = dialog.lpstrFilter; *next != '\0'; next += texts.back().size() + 1)
    texts.emplace_back(next);
  ASSERT_EQ(texts.size(), 2U * (1 + 19 + 1));
  EXPECT_EQ(texts[34], "Text Files (*.txt; *.dat)");
  EXPECT_EQ(texts[35], "*.txt;*.dat");
  EXPECT_EQ(texts[9], "*.0*;*.1*;*.2*;*.3*;*.4*;*.5*;*.6*;*.7*;*.8*;*.9*");
  EXPECT_EQ(texts.back(), "*.*");
  ImportHelper::GetWriteFileData(dialog);
  EXPECT_STREQ(dialog.lpstrFilter, "DIF Files(OEM) (*.dif)");
  ::unsetenv("XDG_CONFIG_HOME");
}

TEST(FileSelection, JoinsAndSplits) {
  const TempFolder folder;
  const std::string odd = folder.Put("a\nb.txt", "");
  EXPECT_EQ(FileSelection::Split(odd), std::vector<std::string>{odd});
  EXPECT_EQ(FileSelection::Split("a\nb\n"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(FileSelection::Join({"a", "b"}), "a\nb");
  EXPECT_EQ(FileSelection::Join({odd}), odd);
  EXPECT_THROW(FileSelection::Join({"a", odd}), Exception);
}

}  // namespace

}  // namespace nvimport
