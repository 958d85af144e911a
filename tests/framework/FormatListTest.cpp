#include <dlfcn.h>
#include <link.h>

#include <fstream>

#include "nvimport/framework/DLLFile.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/DynamicLibrary.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Sanitizer.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

// A path below the folder of the plug-ins that are built for the tests.
std::string Plugin(const std::string& name) {
  return std::string(NVIMPORT_TEST_PLUGINS) + "/" + name + "/plugin.so";
}

// The number of the formats that are built in.
const int kOwn = SprFileFactory::GetNumberOfFormats();

int PositionOf(const FormatList& list, const std::string& name) {
  for (int position = 1; position <= list.size(); ++position)
    if (list.GetInfo(position).name == name) return position;
  return -1;
}

TEST(FormatList, APlugInFormatOfTheSameNameReplacesTheEarlierOne) {
  FormatList list;
  ASSERT_EQ(list.size(), kOwn);
  EXPECT_EQ(PositionOf(list, "Text File"), 17);
  EXPECT_EQ(list.GetLibraryPath(17), "");
  ASSERT_TRUE(list.AddLibrary(Plugin("override")));
  ASSERT_EQ(list.size(), kOwn);
  EXPECT_EQ(PositionOf(list, "Text File"), -1);
  EXPECT_EQ(PositionOf(list, "text file"), kOwn);
  EXPECT_EQ(list.GetLibraryPath(kOwn), Plugin("override"));
  EXPECT_STREQ(list.GetInfo(17).name, "Thermo SIEVE File");
}

bool IsMapped(const std::string& path) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.ends_with(path)) return true;
  return false;
}

TEST(FormatList, UnloadsALibraryWithItsLastFormat) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("good")));
  EXPECT_TRUE(IsMapped(Plugin("good")));
  ASSERT_TRUE(list.AddLibrary(Plugin("no-read")));  // the same name
  EXPECT_FALSE(IsMapped(Plugin("good")));
  EXPECT_EQ(list.size(), kOwn + 1);
}

// It is made of classes that the host has too: none of them may meet.
TEST(FormatList, NvImportCompleteTakesThePlaceOfItsFormatsAlone) {
  const int registered = SprFileFactory::GetNumberOfFormats();
  {
    FormatList list;
    ASSERT_TRUE(list.AddLibrary(NVIMPORT_TEST_COMPLETE));
    EXPECT_EQ(SprFileFactory::GetNumberOfFormats(), registered);
#ifdef NVIMPORT_HAS_HTML
    const std::string more = "OpenDocument Spreadsheet; XML Spreadsheet 2003; HTML Tables; ";
#else
    const std::string more = "OpenDocument Spreadsheet; XML Spreadsheet 2003; ";
#endif
    EXPECT_EQ(list.size(), registered + std::ranges::count(more, ';'))
        << "what it has itself is behind all others";
    std::string served;
    for (int position = 1; position <= list.size(); ++position) {
      const NvImportFormatInfo& info = list.GetInfo(position);
      if (list.GetLibraryPath(position).empty()) continue;
      served += info.name + "; "s;
      // It describes them as the built-in ones are.
      for (int index = 1; index <= registered; ++index) {
        const NvImportFormatInfo& own = *SprFileFactory::GetFormat(index);
        if (std::string_view(own.name) != info.name) continue;
        EXPECT_STREQ(own.read_filter, info.read_filter);
        EXPECT_EQ(own.can_write, info.can_write);
      }
    }
    EXPECT_EQ(
        served,
        "Brimrose File; CSV File; DIF File(OEM); Excel2007 File; Excel File; GalacticSPC File; "
        "JCAMP-DX File; Lotus 1-2-3 File; NSAS File; Text File; " +
            more);
    EXPECT_TRUE(IsMapped(NVIMPORT_TEST_COMPLETE));
  }
  EXPECT_FALSE(IsMapped(NVIMPORT_TEST_COMPLETE));
  EXPECT_EQ(SprFileFactory::GetNumberOfFormats(), registered);
}

TEST(FormatList, NvImportCompleteStandsBesideTheBuiltInReaders) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("override")));
  const int lotus = PositionOf(list, "Lotus 1-2-3 File");
  ASSERT_TRUE(list.AddComplete());
  ASSERT_TRUE(list.AddComplete());
  EXPECT_EQ(PositionOf(list, "Lotus 1-2-3 File"), lotus);
  EXPECT_EQ(list.GetLibraryPath(PositionOf(list, "text file")), Plugin("override"));
  for (int position = 1; position <= list.size(); ++position) {
    const bool is_ours = list.GetLibraryPath(position).ends_with("nvimport-complete.so");
    const bool is_old = SprFileFactory::Describe(list.GetInfo(position).name) != nullptr;
    EXPECT_EQ(list.HasKeptReader(position), !is_ours || is_old);
    EXPECT_EQ(list.HasTwoReaders(position), is_ours && is_old);
    if (list.HasKeptReader(position)) continue;
    EXPECT_EQ(
        list.GetKnownFormats(/*kept_rules=*/true)[static_cast<std::size_t>(position) - 1].test(""),
        0);
  }
}

TEST(FormatList, ReleasesEveryLibraryAtItsEnd) {
  void* const kept = ::dlopen(Plugin("good").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(kept, nullptr);
  const auto released = reinterpret_cast<int (*)()>(::dlsym(kept, "TestPluginReleased"));
  {
    FormatList list;
    ASSERT_TRUE(list.AddLibrary(Plugin("good")));
    EXPECT_FALSE(list.AddLibrary(Plugin("../test-plugins/good"))) << "found by another way";
    EXPECT_EQ(released(), 0);
  }
  EXPECT_EQ(released(), 1);
  ::dlclose(kept);
}

TEST(FormatList, ALibraryThatCannotServeChangesNothing) {
  const TempFolder folder;
  const struct {
    const char* why;
    std::string path;
    const char* logged;
  } kCases[] = {
      {"no formats", Plugin("no-formats"), "claims 0 formats"},
      {"too many formats", Plugin("many-formats"), "claims 4097 formats"},
      {"a description is null", Plugin("null-info"), "its format 2 has no description"},
      {"a name is null", Plugin("null-name"), "its format 1 has no name"},
      {"too many extensions", Plugin("many-extensions"), "claims 65 extensions"},
      {"extensions are null", Plugin("null-extensions"), "has an extension without end"},
      {"its start throws", Plugin("throw-initpackage"), "threw an exception"},
      {"its number throws", Plugin("throw-sizefileformatssupported"), "claims 0 formats"},
      {"a description throws", Plugin("throw-getfileformatinfo"), "has no description"},
      {"its start crashes", Plugin("crash-init"), "exits, crashes or hangs"},
      {"its number exits", Plugin("exit-sizefileformatssupported"), "exits, crashes or hangs"},
      {"no library", folder.Put("text.so", "\177ELF but no more"), ""},
      {"a missing file", folder.path() + "/none.so", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    FormatList list;
    const LogRecorder log;
    EXPECT_FALSE(list.AddLibrary(c.path));
    EXPECT_EQ(list.size(), kOwn);
    ASSERT_EQ(log.entries().empty(), *c.logged == '\0');
    if (*c.logged != '\0') {
      EXPECT_NE(log.entries().back().text.find(c.logged), std::string::npos);
    }
  }
}

TEST(FormatList, LooksIntoThePlugInFoldersInOrder) {
  const TempFolder first;
  const TempFolder second;
  std::filesystem::copy(Plugin("override"), first.path() + "/b.so");
  std::filesystem::copy(Plugin("good"), first.path() + "/a.SO");
  std::filesystem::copy(Plugin("no-test"), second.path() + "/0.so");
  std::filesystem::copy(Plugin("good"), second.path() + "/plugin.so.1");
  ::setenv("NVIMPORT_PLUGIN_PATH", (first.path() + "::" + second.path() + "/").c_str(), 1);
  const FormatList list;
  ::unsetenv("NVIMPORT_PLUGIN_PATH");
  ASSERT_EQ(list.size(), kOwn + 1);
  EXPECT_STREQ(list.GetInfo(kOwn).name, "text file");
  EXPECT_STREQ(list.GetInfo(kOwn + 1).name, "Test File");
  EXPECT_EQ(list.GetLibraryPath(kOwn + 1), second.path() + "/0.so");
}

TEST(FormatList, LoadsNothingFromWhereOthersDecideWhatLies) {
  const TempFolder folder;
  std::filesystem::copy(Plugin("good"), folder.path() + "/plugin.so");
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
  ::setenv("NVIMPORT_PLUGIN_PATH", (folder.path() + ":.").c_str(), 1);
  {
    const LogRecorder log;
    EXPECT_EQ(FormatList().size(), kOwn);
    ASSERT_EQ(log.entries().size(), 2U);
    EXPECT_EQ(log.entries()[0].text,
              folder.path() + " is left out, since everybody may write there");
    EXPECT_EQ(log.entries()[1].text, ". is left out, since it depends on the working folder");
  }
  // A folder below such a one, and a link into it.
  const TempFolder own;
  std::filesystem::create_directory(folder.path() + "/below");
  std::filesystem::rename("plugin.so", "below/plugin.so");
  std::filesystem::create_symlink(folder.path() + "/below", own.path() + "/link");
  std::filesystem::create_symlink(folder.path() + "/below/plugin.so", own.path() + "/a.so");
  for (const std::string& through :
       {folder.path() + "/below", own.path() + "/link", own.path(), "/proc/self/cwd/below"s}) {
    ::setenv("NVIMPORT_PLUGIN_PATH", through.c_str(), 1);
    EXPECT_EQ(FormatList().size(), kOwn) << through;
  }
  std::filesystem::permissions(folder.path(), std::filesystem::perms::owner_all);
  ::setenv("NVIMPORT_PLUGIN_PATH", own.path().c_str(), 1);
  EXPECT_EQ(FormatList().size(), kOwn + 1);
  std::filesystem::permissions("below/plugin.so", std::filesystem::perms::all);
  EXPECT_EQ(FormatList().size(), kOwn) << "everybody may write the file";
  ::unsetenv("NVIMPORT_PLUGIN_PATH");
  std::filesystem::current_path(before);
}

TEST(FormatList, AskingDetectsWithEveryLibrarysTest) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("good")));
  const TempFile file("a\tb\n", "table.tst");
  EXPECT_EQ(DetectFormat(list.GetKnownFormats(), file.path()).format, kOwn + 1);
  FormatList untested;
  ASSERT_TRUE(untested.AddLibrary(Plugin("no-test")));
  EXPECT_EQ(DetectFormat(untested.GetKnownFormats(), file.path()).answers.back(), 1);
}

TEST(DLLFile, ReadsThroughTheLibrarysFunctions) {
#if defined(NVIMPORT_UNDER_ASAN)
  GTEST_SKIP() << "the address sanitizer can't live with RTLD_DEEPBIND";
#endif
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("good")));
  const auto file = list.CreateFile(kOwn + 1);
  MemorySheet sheet;
  EXPECT_EQ(ImportFile(*file, "/dev/null", nullptr).sheet, "1\n")
      << "the plug-in asked its own functions, not ours";
  EXPECT_STREQ(file->GetWarningMessage(), "A warning.");
  EXPECT_EQ(file->Open(false, "/dev/null", nullptr), 3) << "it can't write";
}

TEST(DLLFile, TakesMoreFromALibraryThatHasIt) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("more")));
  const auto file = list.CreateFile(kOwn + 1);
  const Outcome whole = ImportFile(*file, "/dev/null", nullptr);
  EXPECT_EQ(whole.Summary(), "9007199254740993\n1 cell is older than the others\n");
  Description description;
  EXPECT_EQ(file->Describe(description), 0);
  ASSERT_EQ(description.statements().size(), 1U);
  EXPECT_EQ(description.statements()[0].label + "=" + description.statements()[0].value,
            "Label=value");
  FloatSheet floats;
  EXPECT_EQ(ImportInto(floats, *list.CreateFile(kOwn + 1), "/dev/null", nullptr).sheet, "1\n")
      << "a host of old gets what it got";
}

TEST(DLLFile, AFailedOpenLeavesOnlyItsText) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("good")));
  const auto file = list.CreateFile(kOwn + 1);
  MemorySheet sheet;
  EXPECT_EQ(file->Read(&sheet), 2050);
  EXPECT_EQ(ErrorText(*file), "The file was not opened properly.");
  file->Close();
  EXPECT_EQ(file->Open(true, "refused", nullptr), 2049);
  EXPECT_EQ(ErrorText(*file), "The test plug-in refused.");
  EXPECT_EQ(file->GetNumRows(), -1);
  EXPECT_EQ(file->GetStatus(), 2050);
  EXPECT_EQ(file->Write(&sheet), 2050);
  file->Close();
  EXPECT_EQ(file->Open(true, "/dev/null", nullptr), 0);
}

TEST(FormatList, KeepsWhatALibrarySaysInOneRecord) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("refills")));
  EXPECT_EQ(PositionOf(list, "B File"), kOwn + 1);
  EXPECT_EQ(PositionOf(list, "C File"), kOwn + 2);
}

TEST(DLLFile, WhatALibraryThrowsIsItsFailure) {
  for (const char* function : {"open", "read", "close"}) {
    SCOPED_TRACE(function);
    FormatList list;
    ASSERT_TRUE(list.AddLibrary(Plugin("throw-"s + function)));
    const Outcome got = ImportFile(*list.CreateFile(kOwn + 1), "/dev/null", nullptr);
    EXPECT_EQ(got.status, function == "close"s ? 0 : 2049);
    EXPECT_EQ(got.text, function == "close"s ? "" : "An unforeseen error occurred.");
  }
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("throw-iscorrectfiletype")));
  const TempFile text("a;b\n", "table.txt");
  EXPECT_EQ(DetectFormat(list.GetKnownFormats(), text.path()).answers.back(), 0);
  FormatList zero;
  ASSERT_TRUE(zero.AddLibrary(Plugin("handle-0")));
  EXPECT_EQ(zero.CreateFile(kOwn + 1)->Open(true, "/dev/null", nullptr), 2050);
}

TEST(DLLFile, AFunctionThatOnlyADependencyHasIsMissing) {
  FormatList list;
  ASSERT_TRUE(list.AddLibrary(Plugin("no-read")));
  const auto file = list.CreateFile(PositionOf(list, "Test File"));
  const Outcome got = ImportFile(*file, "/dev/null", nullptr);
  EXPECT_EQ(got.status, 2048);
  EXPECT_EQ(got.text, "The import dll is missing a function.");
}

TEST(DLLFile, CarriesASinksExceptionAcrossTheLibrary) {
  class Full : public MemorySheet {
   public:
    using MemorySheet::Set;
    void Set(int, int, const char*) override { throw std::runtime_error("full"); }
  };
  const FormatList list;
  const auto file = list.CreateFile(17);
  const TempFile text("a\tb\nc\td\n");
  ScriptedDialogs dialogs;
  dialogs.import_text = [](const TextImportQuestion& q) { return std::optional(q.current); };
  ASSERT_EQ(file->Open(true, text.path(), nullptr), 0);
  Full sheet;
  EXPECT_THROW(file->Read(&sheet), std::runtime_error);
  EXPECT_EQ(file->GetNumCols(), 2);
}

class SymbolTableTest : public testing::TestWithParam<const char*> {};

TEST_P(SymbolTableTest, OfDamagedLibrariesIsLookedInto) {
  const std::string whole = Contents(Plugin(GetParam()));
  const MemoryFile file;
  const auto defines = [&](const std::string& bytes) {
    file.Put(bytes);
    return DynamicLibrary::Defines(file.path(), {"NvImportGetFileFormatInfo"});
  };
  EXPECT_TRUE(defines(whole));
  EXPECT_FALSE(DynamicLibrary::Defines(Plugin("no-read").c_str(), {"NvImportRead"}))
      << "it only refers to it";
  for (std::size_t size = 0; size < whole.size(); size += size < 1024 ? 1 : 97)
    defines(whole.substr(0, size));
  for (std::size_t at = 0; at < whole.size(); at += at < 2048 ? 1 : 7)
    for (const char byte : {'\0', '\x7f', '\xff'}) {
      std::string damaged = whole;
      damaged[at] = byte;
      const bool found = defines(damaged);
      if (at < 6) {
        EXPECT_EQ(found, damaged == whole) << "magic, class and byte order: byte " << at;
      }
    }
}

TEST(DynamicLibrary, AChainOfSymbolsThatLoopsEnds) {
  std::string bytes = Contents(Plugin("old-hash"));
  const auto& header = *reinterpret_cast<ElfW(Ehdr)*>(bytes.data());
  const auto* segment = reinterpret_cast<ElfW(Phdr)*>(bytes.data() + header.e_phoff);
  while (segment->p_type != PT_DYNAMIC) ++segment;
  const auto* entry = reinterpret_cast<ElfW(Dyn)*>(bytes.data() + segment->p_offset);
  while (entry->d_tag != DT_HASH) ++entry;
  // The numbers of buckets and of symbols, then one word for each.
  auto* table = reinterpret_cast<std::uint32_t*>(bytes.data() + entry->d_un.d_ptr);
  std::fill_n(table + 2, table[0] + table[1], 1U);
  table[1] = 0xFFFFFFFF;
  const MemoryFile file(bytes);
  EXPECT_FALSE(DynamicLibrary::Defines(file.path(), {"no symbol's name"}));
}

INSTANTIATE_TEST_SUITE_P(DynamicLibrary, SymbolTableTest, testing::Values("good", "old-hash"));

}  // namespace

}  // namespace nvimport
