#include "apps/nvimport/PluginChecks.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <exception>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/hosting/import/Answers.h"

namespace nvimport {

namespace {

// What came of one file in the usual order of calls.
struct Import {
  std::optional<SheetSize> size;
  bool read = false;
  std::uint64_t digest = 0;
  bool operator==(const Import&) const = default;
};

Import ImportOf(PluginDriver& driver, const PluginFile& file, PluginSink& sink) {
  Import import;
  import.size = driver.Measure(file);
  import.read = import.size && driver.Read(file, sink);
  import.digest = sink.digest;
  driver.TakeTexts(file);
  return import;
}

Import ImportOf(PluginDriver& driver, const PluginFile& file) {
  PluginSink sink;
  return ImportOf(driver, file, sink);
}

void CheckLoad(PluginDriver& driver) {
  driver.functions().ForEach([&](const char* name, auto* function) {
    if (function == nullptr) driver.Say(PluginNews::kLacks, {name});
  });
}

// Judges a description that has a name and whose extensions have ends.
void CheckDescription(PluginDriver& driver, const NvImportFormatInfo& info) {
  if (info.can_read && info.read_filter == nullptr)
    driver.Break("it reads and has no read filter", "null for the write filter alone");
  if (info.can_write && info.write_filter == nullptr)
    driver.Break("it writes and has no write filter", "null only where it cannot write");
  for (const std::string& extension : Extensions(info))
    if (!extension.starts_with('.'))
      driver.Break("its extension \"" + extension + "\" has no point", "each with its point");
  const PluginFunctions& has = driver.functions();
  const std::tuple<bool, bool, const char*> kPromises[] = {
      {info.can_read || info.can_write, has.open != nullptr, "NvImportOpen"},
      {info.can_read, has.establish_size != nullptr, "NvImportEstablishSize"},
      {info.can_read, has.read != nullptr, "NvImportRead"},
      {info.can_write, has.write != nullptr, "NvImportWrite"}};
  for (const auto& [says, can, function] : kPromises)
    if (says && !can)
      driver.Break(std::string("its flags promise what takes the missing ") + function,
                   "flags that say what the format can do");
}

void CheckList(PluginDriver& driver) {
  const int count = driver.Count();
  if (count < 1 || count > FormatList::kMostFormats)
    return driver.Break("it claims " + std::to_string(count) + " formats",
                        "1 to " + std::to_string(FormatList::kMostFormats));
  std::vector<NvImportFormatInfo> given;
  std::vector<KeptDescription> kept;
  for (int format = 1; format <= count; ++format) {
    driver.Tries("format " + std::to_string(format));
    const NvImportFormatInfo* info = driver.Describe(format);
    if (const std::string fault = FormatList::FaultOf(info); !fault.empty()) {
      driver.Break("it " + fault, "a name, and at most 64 extensions of at most 255 bytes");
      continue;
    }
    CheckDescription(driver, *info);
    given.push_back(*info);
    kept.emplace_back(*info);
  }
  driver.Tries("");
  if (std::ssize(kept) < count) return;
  // A host copies the records and keeps the pointers in them.
  const bool lists_the_same = driver.List() == kept;
  if (!lists_the_same || std::vector<KeptDescription>(given.begin(), given.end()) != kept)
    driver.Break("the descriptions change from call to call",
                 "texts that stay until the library is unloaded");
  for (const KeptDescription& description : kept)
    driver.Say(
        PluginNews::kFormat,
        {description.name, description.extensions.empty() ? "" : description.extensions.front()});
}

void CheckIndices(PluginDriver& driver) {
  const KeptDescription first(*driver.Describe(1));
  for (const int format : {0, -1}) {
    constexpr const char* kAsked = "the first description for indices below 1";
    driver.Tries("index " + std::to_string(format));
    const NvImportFormatInfo* info = driver.Describe(format);
    if (info == nullptr)
      driver.Warn("NvImportGetFileFormatInfo gave null", kAsked);
    else if (!FormatList::FaultOf(info).empty() || KeptDescription(*info) != first)
      driver.Break("NvImportGetFileFormatInfo gave something else", kAsked);
  }
}

void CheckDetect(PluginDriver& driver) {
  if (driver.functions().is_correct_type == nullptr) return;
  const auto detect = [&](const std::string& name, const std::string& path) {
    driver.Tries(name);
    const int answer = driver.Detect(driver.format(), path);
    if (answer < 0 || answer > 2)
      driver.Break("NvImportIsCorrectFileType answered " + std::to_string(answer),
                   "2 certain, 1 possible, 0 not this format");
  };
  for (const PluginSample& sample : driver.files().samples) detect(sample.name, sample.path);
  detect("a missing file", driver.files().missing);
}

void CheckMissingFile(PluginDriver& driver) {
  if (!driver.CanRead()) return;
  const PluginFile file = driver.Open(driver.files().missing, nullptr);
  if (file.opened)
    driver.Break("NvImportOpen succeeded for a file that does not exist",
                 "1 only when the file is open");
  driver.Close(file);
}

void CheckRead(PluginDriver& driver) {
  driver.WithSamples([&](const PluginFile& file, const PluginSample&) {
    PluginSink sink;
    const SheetSize size = ImportOf(driver, file, sink).size.value_or(SheetSize{});
    if (sink.reached.rows > std::max(size.rows, sink.announced.rows) ||
        sink.reached.columns > std::max(size.columns, sink.announced.columns))
      driver.Warn("NvImportRead gave cells outside of the size, announced or established",
                  "cells inside of it, since not every sheet grows");
  });
}

void CheckWholeValues(PluginDriver& driver) {
  if (driver.functions().read_whole == nullptr) return;
  driver.WithSamples([&](const PluginFile& file, const PluginSample&) {
    PluginSink usual;
    if (!ImportOf(driver, file, usual).read) return;
    PluginWholeSink sink;
    if (!driver.ReadWhole(file, sink) || sink.places != usual.places)
      driver.Break("NvImportReadWhole gave other cells than NvImportRead",
                   "the same, with all that the file has of each");
    if (sink.has_null_text)
      driver.Break("NvImportReadWhole gave a text that is null or has no NUL at its length",
                   "the bytes, their number, and a NUL behind them");
  });
}

void CheckDescribe(PluginDriver& driver) {
  if (driver.functions().describe == nullptr) return;
  driver.WithSamples([&](const PluginFile& file, const PluginSample&) {
    if (!driver.Measure(file)) return;
    for (int time = 0; time < 2; ++time) {
      PluginDescription description;
      if (!driver.Describe(file, description))
        driver.Break("NvImportDescribe failed", "1, and nothing of a file that says nothing");
      if (description.has_null_text)
        driver.Break("NvImportDescribe gave a null text, or one without a NUL at its length",
                     "empty texts for what is not said");
      if (description.has_bad_index)
        driver.Break("NvImportDescribe gave a row, column or axis that there is not",
                     "rows from 0, columns from 1, the axes x, y and z");
    }
  });
}

void CheckStop(PluginDriver& driver) {
  for (const int wanted_rows : {0, 1})
    driver.WithSamples([&](const PluginFile& file, const PluginSample&) {
      PluginSink sink(wanted_rows);
      ImportOf(driver, file, sink);
    });
}

void CheckHandles(PluginDriver& driver) {
  std::vector<std::pair<const PluginSample*, Import>> alone;
  driver.WithSamples([&](const PluginFile& file, const PluginSample& sample) {
    alone.emplace_back(&sample, ImportOf(driver, file));
  });
  for (std::size_t i = 0; i < alone.size(); ++i) {
    const auto& [first, first_import] = alone[i];
    const auto& [second, second_import] = alone[(i + 1) % alone.size()];
    driver.Tries(first->name + " with " + second->name);
    NvImportOpenOptions first_options{0, nullptr};
    NvImportOpenOptions second_options{0, nullptr};
    const PluginFile a = driver.Open(first->path, &first_options);
    const PluginFile b = driver.Open(second->path, &second_options);
    // It may refuse the second one.
    bool same = !b.opened || ImportOf(driver, b) == second_import;
    driver.Close(b);
    same = same && a.opened && ImportOf(driver, a) == first_import;
    driver.Close(a);
    if (!same)
      driver.Break("two files open at once do not read as each does alone",
                   "handles that each stand for a file of their own");
  }
}

void CheckWrite(PluginDriver& driver) {
  if (!driver.CanWrite()) return;
  const PluginFile file = driver.Open(driver.files().output, nullptr, /*reads=*/false);
  if (file.opened) {
    driver.Write(file);
    driver.TakeTexts(file);
  }
  driver.Close(file);
}

void CheckAgain(PluginDriver& driver) {
  const auto before = driver.List();
  driver.Unload();
  if (!driver.Load()) return;
  driver.Init();
  if (driver.List() != before)
    driver.Break("released and loaded again, it lists other formats",
                 "the same, since a host may build its list anew");
  driver.Unload();
}

void CheckInitTwice(PluginDriver& driver) {
  const auto before = driver.List();
  driver.Init();
  if (driver.List() != before) driver.Break("it lists other formats then", "the same list");
}

void CheckOddIndices(PluginDriver& driver) {
  const int count = driver.Count();
  const std::string& missing = driver.files().missing;
  for (const int format : {INT_MIN, -1, 0, count + 1, INT_MAX}) {
    driver.Tries("index " + std::to_string(format));
    if (format > count) driver.Describe(format);
    if (driver.functions().is_correct_type != nullptr) driver.Detect(format, missing);
    if (driver.functions().open != nullptr)
      driver.Close(driver.OpenAs(format, missing, nullptr, /*reads=*/true));
  }
}

void CheckOddOrder(PluginDriver& driver) {
  driver.WithSamples([&](const PluginFile& file, const PluginSample& sample) {
    const Import usual = ImportOf(driver, file);
    if (!usual.read) return;
    const auto expect_usual = [&](const char* what, const PluginFile& of) {
      PluginSink sink;
      if (!driver.Read(of, sink) || sink.digest != usual.digest || driver.Measure(of) != usual.size)
        driver.Break(what + std::string(" changed the sheet"), "the same cells and size");
    };
    expect_usual("NvImportRead a second time", file);
    NvImportOpenOptions options{0, nullptr};
    const PluginFile unsized = driver.Open(sample.path, &options);
    if (unsized.opened) expect_usual("NvImportRead before NvImportEstablishSize", unsized);
    driver.Close(unsized);
  });
}

void CheckFailedOpen(PluginDriver& driver) {
  if (!driver.CanRead()) return;
  const PluginFile file = driver.Open(driver.files().missing, nullptr);
  if (!file.opened && file.handle != 0) {
    PluginSink sink;
    driver.Measure(file);
    driver.Read(file, sink);
    driver.Write(file);
  }
  driver.Close(file);
}

void CheckWrongMode(PluginDriver& driver) {
  driver.WithSamples([&](const PluginFile& file, const PluginSample& sample) {
    if (sample.ours && driver.Write(file))
      driver.Break("NvImportWrite succeeded on a file opened for reading", "0 and a text");
  });
  if (driver.functions().open == nullptr) return;
  const PluginFile file = driver.Open(driver.files().output, nullptr, /*reads=*/false);
  if (file.opened && !driver.CanWrite())
    driver.Break("NvImportOpen succeeded for writing, which the flags deny", "0 and a text");
  if (file.opened) ImportOf(driver, file);
  driver.Close(file);
}

void CheckOtherIndex(PluginDriver& driver) {
  const int count = driver.Count();
  if (count == 1) return;
  driver.WithSamples([&](const PluginFile& file, const PluginSample&) {
    PluginFile other = file;
    other.format = file.format % count + 1;
    ImportOf(driver, other);
  });
}

void CheckOddOptions(PluginDriver& driver) {
  if (!driver.CanRead()) return;
  for (const PluginSample& sample : driver.files().samples)
    for (std::string bytes :
         {std::string(2, '\xff'), std::string(3, '\0'), std::string(64, '\xff')}) {
      driver.Tries(sample.name + " with options of " + std::to_string(bytes.size()) + " bytes");
      NvImportOpenOptions options{static_cast<int>(bytes.size()),
                                  reinterpret_cast<unsigned char*>(bytes.data())};
      const PluginFile file = driver.Open(sample.path, &options);
      if (file.opened) ImportOf(driver, file);
      driver.Close(file);
    }
}

// Nothing but the calls: what is wrong with them alone is told already.
void CheckBesideAnother(PluginDriver& driver) {
  driver.WithSamples([&](const PluginFile& file, const PluginSample&) { ImportOf(driver, file); });
}

constexpr auto kLibrary = PluginCheck::kLibrary;
constexpr auto kEachFormat = PluginCheck::kEachFormat;
constexpr auto kAsked = PluginCheck::kAsked;
constexpr auto kLeftOpen = PluginCheck::kLeftOpen;
constexpr PluginCheck kChecks[] = {
    {"load", "it loads, with both listing functions", kLibrary, kAsked, CheckLoad},
    {"list", "count, names, filters, extensions, flags; that they stay", kLibrary, kAsked,
     CheckList},
    {"indices", "the description below index 1", kLibrary, kAsked, CheckIndices},
    {"detect", "the test of any file, a missing one too", kEachFormat, kAsked, CheckDetect},
    {"missing-file", "a missing file is refused with a text", kEachFormat, kAsked,
     CheckMissingFile},
    {"read", "open, size, cells, texts, close", kEachFormat, kAsked, CheckRead},
    {"whole", "reading with whole values, where it is there", kEachFormat, kAsked,
     CheckWholeValues},
    {"describe", "what files say of themselves, where it is told", kEachFormat, kAsked,
     CheckDescribe},
    {"stop", "a read of which no row, or one, is wanted", kEachFormat, kAsked, CheckStop},
    {"handles", "two files open at once", kEachFormat, kAsked, CheckHandles},
    {"write", "a small sheet, where the format writes", kEachFormat, kAsked, CheckWrite},
    {"again", "release, unload, load once more", kLibrary, kAsked, CheckAgain},
    {"init-twice", "NvImportInitPackage once more", kLibrary, kLeftOpen, CheckInitTwice},
    {"odd-indices", "indices that no format has", kLibrary, kLeftOpen, CheckOddIndices},
    {"odd-order", "reading twice, and before the size", kEachFormat, kLeftOpen, CheckOddOrder},
    {"failed-open", "more than text and close after a failed open", kEachFormat, kLeftOpen,
     CheckFailedOpen},
    {"wrong-mode", "writing what is read, reading what is written", kEachFormat, kLeftOpen,
     CheckWrongMode},
    {"other-index", "a handle with another format's index", kEachFormat, kLeftOpen,
     CheckOtherIndex},
    {"odd-options", "option bytes that make no sense", kEachFormat, kLeftOpen, CheckOddOptions},
    {"two-processes", "reading in two processes at once", kEachFormat, kLeftOpen,
     CheckBesideAnother, 2},
};

}  // namespace

std::span<const PluginCheck> PluginChecks() { return kChecks; }

void RunPluginCheck(const PluginCheck& check, const std::string& library, int format,
                    const PluginFiles& files, const SayPluginNews& say) {
  // These live until the process ends: unloading is a check of its own.
  static AnsweringDialogs dialogs;
  static PluginDriver driver(library, format, files, check.weight == PluginCheck::kAsked, say);
  Dialogs::Install(&dialogs);
  constexpr const char* kAskedOfExceptions = "that nothing is thrown through a C function";
  try {
    if (!driver.Load()) return;
    driver.Init();
    check.run(driver);
  } catch (const std::exception& exception) {
    driver.Break(std::string("an exception left ") + driver.last_call() + ": " + exception.what(),
                 kAskedOfExceptions);
  } catch (...) {
    driver.Break(std::string("an exception left ") + driver.last_call(), kAskedOfExceptions);
  }
}

}  // namespace nvimport
