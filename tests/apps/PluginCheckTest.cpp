
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/nvimport/Commands.h"
#include "apps/nvimport/PluginCheck.h"
#include "nvimport/platform/Sanitizer.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

std::string Plugin(const std::string& name) {
  return std::string(NVIMPORT_TEST_PLUGINS) + "/" + name + "/plugin.so";
}

struct Checked {
  int exit_code;
  std::string report;

  // All lines but those of what is in order or may be missing, as "broken read, warning stop".
  std::string Complaints() const {
    std::istringstream lines(report);
    std::string complaints;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("ok ") || line.starts_with("missing ")) continue;
      complaints += (complaints.empty() ? "" : ", ") + line.substr(0, line.find(':'));
    }
    return complaints;
  }
};

// Runs the command; nothing may stay behind.
Checked Check(const std::string& library, Settings settings = {}) {
  const TempFolder temporaries;
  ::setenv("TMPDIR", temporaries.path().c_str(), 1);
  settings.library = library;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const int exit_code = RunCheckPlugin(settings);
  const std::string errors = testing::internal::GetCapturedStderr();
  ::unsetenv("TMPDIR");
  EXPECT_EQ(errors.find("The library breaks the contract") != std::string::npos, exit_code == 1)
      << errors;
  EXPECT_TRUE(std::filesystem::is_empty(temporaries.path()));
  return {exit_code, testing::internal::GetCapturedStdout()};
}

TEST(PluginCheck, OurOwnLibraryKeepsTheContract) {
  const Checked checked = Check(NVIMPORT_TEST_LIBRARY);
  EXPECT_EQ(checked.exit_code, 0);
  EXPECT_EQ(checked.Complaints(),
            "unchecked read, whole, describe, stop, handles, odd-order, wrong-mode, other-index, "
            "two-processes")
      << checked.report;
  EXPECT_EQ(checked.report.find("missing "), std::string::npos);
}

TEST(PluginCheck, TellsWhatALibraryBreaks) {
  const std::string no_list =
      "broken list, unchecked indices, detect, missing-file, read, whole, describe, stop, handles, "
      "write, again, "
      "init-twice, odd-indices, odd-order, failed-open, wrong-mode, other-index, odd-options, "
      "two-processes";
  constexpr const char* kNoRead =
      "broken read, unchecked stop, handles, odd-order, failed-open, odd-options, two-processes";
  const struct {
    const char* plugin;
    std::string complaints;
    const char* said;
  } kCases[] = {
      {"good", "", "missing NvImportWrite: no file can be written (status 2048)\n"},
      {"more", "", "ok whole\n"},
      {"other-whole", "broken whole", "gave other cells than NvImportRead"},
      {"null-key", "broken describe", "gave a null text"},
      {"no-test", "", "missing NvImportIsCorrectFileType: every file may be of its formats"},
      {"unreadable", "", "ok read\n"},
      {"no-read", "broken list", "what takes the missing NvImportRead (format 1)"},
      {"no-formats", no_list, "broken list: it claims 0 formats; asked is 1 to 4096\n"},
      {"many-formats", no_list, "it claims 4097 formats"},
      {"null-info", no_list, "it has no description (format 2)"},
      {"null-name", no_list, "it has no name (format 1)"},
      {"many-extensions", no_list, "it claims 65 extensions"},
      {"null-extensions", no_list, "it has an extension without end"},
      {"no-filter", "broken list", "it reads and has no read filter"},
      {"no-point", "broken list", "its extension \"tst\" has no point"},
      {"false-writer", "broken list, broken list", "it writes and has no write filter"},
      {"growing-list", "broken list, warning init-twice", "change from call to call"},
      {"null-below-first", "warning indices", "NvImportGetFileFormatInfo gave null (index 0 and 1"},
      {"test-answer", "broken detect",
       "NvImportIsCorrectFileType answered 3 (format 1 \"Test File\", an empty file and 3 more)"},
      {"opens-missing", "broken missing-file", "succeeded for a file that does not exist"},
      {"no-error", "broken missing-file, unchecked odd-indices, failed-open, wrong-mode",
       "NvImportOpen failed without a text"},
      {"read-answer", kNoRead, "NvImportRead answered 7"},
      {"row-0", kNoRead, "a row or column below 1"},
      {"null-text", kNoRead, "gave a null text"},
      {"row-2", "warning read", "cells outside of the size"},
      {"one-file", "broken handles", "do not read as each does alone"},
      {"rereads", "warning read, broken handles, warning odd-order, warning odd-order",
       "NvImportRead a second time changed the sheet"},
      {"misasking-writer", "broken write, warning wrong-mode, unchecked failed-open, wrong-mode",
       "NvImportWrite asked for a cell that"},
      {"crash-init", "broken load, unchecked list, " + no_list.substr(no_list.find("indices")), ""},
      {"crash-read", kNoRead, "ended by signal 11 (SIGSEGV) in NvImportRead"},
      {"crash-release", "broken again", "in NvImportReleasePackage"},
      {"exit-open",
       "broken missing-file, unchecked read, stop, handles, odd-indices, "
       "odd-order, failed-open, "
       "wrong-mode, odd-options, two-processes",
       "ended the process with exit(0) in NvImportOpen"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.plugin);
    const Checked checked = Check(Plugin(c.plugin));
    EXPECT_EQ(checked.Complaints(), c.complaints) << checked.report;
    EXPECT_NE(checked.report.find(c.said), std::string::npos) << checked.report;
    const bool broken = checked.report.find("broken ") != std::string::npos;
    EXPECT_EQ(checked.exit_code, broken ? 1 : 0);
  }
}

TEST(PluginCheck, KeepsToItsLimits) {
  Settings settings;
  settings.time_limit = 1;
  EXPECT_EQ(Check(Plugin("hang-test"), settings).Complaints(),
            "broken detect, unchecked odd-indices");
#if !defined(NVIMPORT_UNDER_ASAN)
  settings.time_limit = 60;
  settings.memory_limit = 64;
  const Checked checked = Check(Plugin("hoard-size"), settings);
  EXPECT_NE(checked.report.find("ended by signal 11 (SIGSEGV) in NvImportEstablishSize"),
            std::string::npos);
#endif
}

TEST(PluginCheck, ReadsGivenFiles) {
  const TempFile file("throw\n", "file.ask");
  Settings settings;
  settings.files = {file.path()};
  EXPECT_NE(Check(Plugin("question"), settings)
                .report.find("broken read: an exception left NvImportOpen: thrown through"),
            std::string::npos);
}

TEST(PluginCheck, RefusesWhatCannotBeLoaded) {
  const TempFile text("no library");
  EXPECT_EQ(Check("missing.so").report.substr(0, 27), "broken file: it is no file;");
  EXPECT_NE(Check(text.path()).report.find("no library for this machine"), std::string::npos);
}

TEST(PluginCheck, AnswersInJson) {
  Settings settings;
  settings.json = true;
  settings.strict = true;
  const Checked checked = Check(Plugin("row-2"), settings);
  EXPECT_EQ(checked.exit_code, 4) << "a warning under --strict";
  const auto json = nlohmann::json::parse(checked.report);
  EXPECT_EQ(json["version"], 1);
  EXPECT_EQ(json["holds"], true);
  EXPECT_EQ(json["missing"][0]["function"], "NvImportWrite");
  for (const auto& check : json["checks"])
    EXPECT_EQ(check["verdict"], check["name"] == "read" ? "warning" : "ok");
}

}  // namespace

}  // namespace nvimport
