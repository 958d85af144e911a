#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/PluginFunctions.h"
#include "nvimport/platform/DynamicLibrary.h"

namespace nvimport {

// The calls of a check: each is announced before it is made, and its answer judged after.

struct PluginSample {
  std::string path;
  std::string name;  // as it stands in the report
  bool ours;         // it may come to harm
};

// The files of a check.
struct PluginFiles {
  std::vector<PluginSample> samples;
  std::string missing;  // there is no such file
  std::string output;   // a file to write
};

// What a check tells its parent.
enum class PluginNews : char {
  kCalls = 'c',      // a function is called next: its name
  kTries = 't',      // what the calls are about from now on: a sample, a format
  kLacks = 'l',      // a function is missing: its name
  kFormat = 'f',     // the next format of the list: name, first extension
  kUnchecked = 'u',  // what was not checked, and why
  kWarning = 'w',    // what no host of ours would meet, and what would be better
  kBroken = 'b',     // what happened, and what the contract asks
};
using SayPluginNews = std::function<void(const std::string& news)>;

// News are their kind and one or two texts; this stands between those.
constexpr char kNewsSeparator = '\x1f';

struct SheetSize {
  int rows = -1;
  int columns = -1;
  bool operator==(const SheetSize&) const = default;
};

// Takes the cells of a read, and what is wrong with them.
struct PluginSink : NvImportReadData {
  // Wants no row after the first `wanted_rows`.
  explicit PluginSink(int wanted_rows = INT_MAX);

  int wanted;
  bool has_null_text = false;
  bool has_bad_size = false;
  bool has_bad_index = false;
  SheetSize announced;
  SheetSize reached;
  std::uint64_t digest = 0;  // of the cells, whatever their order
  std::uint64_t places = 0;  // of where they stand
};

// The same for whole values, of which only the places are judged.
struct PluginWholeSink : NvImportWholeData {
  PluginWholeSink();

  bool has_null_text = false;
  std::uint64_t places = 0;
};

// What a description must not have.
struct PluginDescription : NvImportDescription {
  PluginDescription();

  bool has_null_text = false;
  bool has_bad_index = false;
};

// A description with texts of its own.
struct KeptDescription {
  explicit KeptDescription(const NvImportFormatInfo& info);
  bool operator==(const KeptDescription&) const = default;

  std::string name;
  std::string read_filter;
  std::string write_filter;
  std::vector<std::string> extensions;
  bool can_write;
  bool can_read;
};

struct PluginFile {
  int format;  // the index that goes with the handle
  bool opened = false;
  long handle = 0;
};

class PluginDriver {
 public:
  // For the library at `path` and its format `format`, if the check is about one. What is not
  // `asked` of a library can only be a warning.
  PluginDriver(std::string path, int format, const PluginFiles& files, bool asked,
               SayPluginNews say);

  int format() const { return format_; }
  const PluginFiles& files() const { return files_; }
  PluginFunctions& functions() { return functions_; }
  const char* last_call() const { return last_call_; }

  void Say(PluginNews kind, std::initializer_list<std::string_view> texts);
  void Break(const std::string& what, std::string_view asked);
  void Warn(const std::string& what, std::string_view better);
  void Tries(std::string_view what) { Say(PluginNews::kTries, {what}); }

  // True when the library can list its formats.
  bool Load();
  void Init();
  // Releases and unloads it.
  void Unload();

  // The functions below must be there, but where it is said that they need not.
  int Count();
  const NvImportFormatInfo* Describe(int format);
  std::vector<KeptDescription> List();
  int Detect(int format, const std::string& path);

  // Whether the check's format says that it reads or writes, and can be opened.
  bool CanRead();
  bool CanWrite();

  // An open that fails leaves a text and perhaps a handle.
  PluginFile Open(const std::string& path, NvImportOpenOptions* options, bool reads = true) {
    return OpenAs(format_, path, options, reads);
  }
  PluginFile OpenAs(int format, const std::string& path, NvImportOpenOptions* options, bool reads);

  // A function that is missing is one that fails.
  std::optional<SheetSize> Measure(const PluginFile& file);
  bool Read(const PluginFile& file, PluginSink& sink);
  bool Write(const PluginFile& file);
  // These the library must have.
  bool ReadWhole(const PluginFile& file, PluginWholeSink& sink);
  bool Describe(const PluginFile& file, PluginDescription& description);

  // Fetches the warning and the error's text, which a host may do at any time.
  void TakeTexts(const PluginFile& file);
  void Close(const PluginFile& file);

  // Opens each sample as the driver of imports does, hands those that open to `use`, and closes
  // them. Says so where there were none.
  void WithSamples(const std::function<void(const PluginFile&, const PluginSample&)>& use);

 private:
  template <typename Function, typename... Arguments>
  auto Call(const char* name, Function function, Arguments... arguments);
  void Calls(const char* name);
  bool Succeeded(char answer);
  void ExpectText(const PluginFile& file);

  std::string path_;
  int format_;
  const PluginFiles& files_;
  bool asked_;
  SayPluginNews say_;
  std::optional<DynamicLibrary> library_;
  PluginFunctions functions_;
  const char* last_call_ = "";
  std::string text_;  // the last one fetched: copying it walks to its end
};

}  // namespace nvimport
