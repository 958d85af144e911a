#include "nvimport/framework/FormatList.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

#include "nvimport/framework/DLLFile.h"
#include "nvimport/framework/FormatRegistry.h"
#include "nvimport/framework/OpenFiles.h"
#include "nvimport/framework/PluginFunctions.h"
#include "nvimport/framework/PluginTurns.h"
#include "nvimport/platform/Danger.h"
#include "nvimport/platform/DynamicLibrary.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Immortal.h"
#include "nvimport/platform/LibraryLock.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Rehearsal.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

// Unloading libraries while the process ends is what Release is for.
std::unique_ptr<FormatList>& TheList() { return Immortal<std::unique_ptr<FormatList>>(); }

// Whether the library there means to serve formats; none of its code runs.
bool ListsFormats(const std::string& path) {
  return DynamicLibrary::Defines(path.c_str(),
                                 {"NvImportSizeFileFormatsSupported", "NvImportGetFileFormatInfo"});
}

// Ours, which needs no caution.
bool IsComplete(const std::string& path) {
  std::error_code error;
  return std::filesystem::equivalent(FilePath(path), FilePath(NvApp::GetCompleteLibrary()), error);
}

std::string TextOf(const char* text) { return text != nullptr ? text : ""; }

// A description with texts of its own: a library may have one record for all its formats.
class KeptInfo {
 public:
  explicit KeptInfo(const NvImportFormatInfo& info)
      : info_(info),
        name_(info.name),
        read_filter_(TextOf(info.read_filter)),
        write_filter_(TextOf(info.write_filter)) {
    const char* end = info.extensions;
    for (int i = 0; i < info.extension_count; ++i) end += std::strlen(end) + 1;
    extensions_.assign(info.extensions, end);
    info_.name = name_.c_str();
    info_.read_filter = read_filter_.c_str();
    if (info.write_filter != nullptr) info_.write_filter = write_filter_.c_str();
    info_.extensions = extensions_.c_str();
  }
  KeptInfo(const KeptInfo&) = delete;
  KeptInfo& operator=(const KeptInfo&) = delete;

  static std::shared_ptr<const NvImportFormatInfo> Of(const NvImportFormatInfo& info) {
    const auto kept = std::make_shared<const KeptInfo>(info);
    return {kept, &kept->info_};
  }

 private:
  NvImportFormatInfo info_;
  std::string name_;
  std::string read_filter_;
  std::string write_filter_;
  std::string extensions_;
};

}  // namespace

struct FormatList::Library {
  DynamicLibrary module;
  std::string path;  // empty for this library itself
  PluginFunctions functions;
  std::unique_ptr<PluginTurns> turns;  // null for our own functions, which need none
  bool is_ready = false;

  // This library itself, without the detour over its file.
  Library()
      : functions{&NvImportInitPackage,
                  &NvImportReleasePackage,
                  &NvImportSizeFileFormatsSupported,
                  &NvImportGetFileFormatInfo,
                  &NvImportIsCorrectFileType,
                  &NvImportOpen,
                  &NvImportEstablishSize,
                  &NvImportRead,
                  &NvImportWrite,
                  &NvImportClose,
                  &NvImportGetLastError,
                  &NvImportGetWarning,
                  &NvImportReadWhole,
                  &NvImportDescribe,
                  &NvImportGetNote,
                  &NvImportGetStatus,
                  &NvImportLeaveSizeOpen} {
    Initialise();
  }

  // NvImport Complete where it is linked into the program: handles are those of this library.
  static std::shared_ptr<const Library> LinkedComplete() {
    auto library = std::make_shared<Library>();
    library->path = NvApp::GetCompleteLibrary();
    PluginFunctions& functions = library->functions;
    functions.count_formats = [] { return FormatRegistry::linked_complete->size(); };
    functions.get_info = [](int format) -> NvImportFormatInfo* {
      return FormatRegistry::linked_complete->Find(format);
    };
    functions.is_correct_type = [](int format, const char* file) {
      return IsCorrectFileType(*FormatRegistry::linked_complete, format, file);
    };
    functions.open = [](int format, const char* file, char mode, long* handle,
                        NvImportOpenOptions* options) {
      return OpenFileOf(*FormatRegistry::linked_complete, format, file, mode, handle, options);
    };
    return library;
  }

  explicit Library(const std::string& library_path)
      : module(library_path), path(library_path), functions(PluginFunctions::Of(module)) {
    if (!IsComplete(path)) turns = std::make_unique<PluginTurns>();
    if (functions.can_list()) Initialise();
  }

  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  ~Library() {
    if (!is_ready || functions.release_package == nullptr) return;
    Call([&] { return functions.release_package(), 0; });
  }

  void Initialise() {
    is_ready = functions.init_package == nullptr ||
               Call([&] { return functions.init_package(), 0; }).has_value();
  }

  // Calls a function of the library when it is its turn; none when it throws.
  template <typename Function>
  auto Call(Function function) const -> std::optional<decltype(function())> {
    std::unique_lock<PluginTurns> turn;
    if (turns != nullptr) turn = std::unique_lock(*turns);
    try {
      return function();
    } catch (...) {
      Complain("threw an exception");
      return {};
    }
  }

  void Complain(const std::string& what) const {
    Log::WriteMessage("FormatList", "AddLibrary", path + " " + what, Log::kNormal);
  }
};

FormatList& FormatList::Get() {
  const LibraryLock lock;
  if (TheList() == nullptr) TheList() = std::make_unique<FormatList>();
  return *TheList();
}

void FormatList::Release() {
  const LibraryLock lock;
  TheList().reset();
}

FormatList::FormatList()
    : own_path_(DynamicLibrary::PathOf(
          reinterpret_cast<const void*>(&NvImportSizeFileFormatsSupported))) {
  Append(std::make_shared<const Library>());
  std::vector<std::string> folders = NvApp::GetPluginDirectory();
  folders.insert(folders.begin(), PathText(FilePath(own_path_).parent_path()));
  for (const std::string& folder : folders) {
    const char* const danger = DangerOf(folder);
    if (danger != nullptr)
      Log::WriteMessage("FormatList", "AddFolder", folder + " is left out, since " + danger,
                        Log::kNormal);
    else if (FormatRegistry::linked_complete != nullptr && folder == NvApp::GetCompleteDirectory())
      Append(Library::LinkedComplete());
    else
      AddFolder(folder);
  }
}

FormatList::~FormatList() = default;

void FormatList::AddFolder(const std::string& folder) {
  // In the order of their names, so that every machine gives the same list.
  std::vector<std::string> paths;
  std::error_code error;
  for (std::filesystem::directory_iterator next(FilePath(folder), error), end;
       !error && next != end; next.increment(error))
    if (EqualIgnoringCase(PathText(next->path().extension()), kLibrarySuffix))
      paths.push_back(PathText(std::filesystem::absolute(next->path())));
  std::ranges::sort(paths);
  for (const std::string& path : paths) {
    const char* const danger = DangerOf(path);
    if (danger == nullptr)
      AddLibrary(path);
    else if (ListsFormats(path))
      Log::WriteMessage("FormatList", "AddFolder", path + " is left out, since " + danger,
                        Log::kNormal);
  }
}

bool FormatList::AddLibrary(const std::string& path) {
  std::error_code error;
  if (std::filesystem::equivalent(FilePath(path), FilePath(own_path_), error)) return false;
  // One that is found by two ways is one.
  const bool is_known = std::ranges::any_of(entries_, [&](const Entry& entry) {
    return std::filesystem::equivalent(FilePath(path), FilePath(entry.server.library->path), error);
  });
  if (is_known || !ListsFormats(path)) return false;
  if (!ReturnsFromListing(path)) {
    Log::WriteMessage("FormatList", "AddLibrary",
                      path + " is left out, since it exits, crashes or hangs when it is listed",
                      Log::kNormal);
    return false;
  }
  return Append(std::make_shared<const Library>(path));
}

bool FormatList::ReturnsFromListing(const std::string& path) {
  if (IsComplete(path)) return true;
  return Returns([&] {
    Log::InstallForThread([](const LogEntry&) {});
    Append(std::make_shared<const Library>(path));
  });
}

std::vector<FormatList::Entry> FormatList::FormatsOf(
    const std::shared_ptr<const Library>& library) {
  if (!library->functions.can_list()) {
    library->Complain("can't be loaded: " + library->module.error());
    return {};
  }
  if (!library->is_ready) return {};
  const int count = library->Call([&] { return library->functions.count_formats(); }).value_or(0);
  if (count < 1 || count > kMostFormats) {
    library->Complain("claims " + std::to_string(count) + " formats");
    return {};
  }
  std::vector<Entry> added;
  for (int index = 1; index <= count; ++index) {
    const NvImportFormatInfo* info =
        library->Call([&] { return library->functions.get_info(index); }).value_or(nullptr);
    if (const std::string fault = FaultOf(info); !fault.empty()) {
      library->Complain("is left out, since its format " + std::to_string(index) + " " + fault);
      return {};
    }
    added.push_back({{library, index}, KeptInfo::Of(*info), std::nullopt});
  }
  return added;
}

bool FormatList::Append(const std::shared_ptr<const Library>& library) {
  std::vector<Entry> added = FormatsOf(library);
  for (Entry& entry : added) {
    std::erase_if(entries_, [&](const Entry& earlier) {
      return EqualIgnoringCase(earlier.info->name, entry.info->name);
    });
    entries_.push_back(std::move(entry));
  }
  return !added.empty();
}

bool FormatList::AddComplete() {
  const LibraryLock lock;
  if (has_complete_) return true;
  const std::string path = NvApp::GetCompleteLibrary();
  const bool is_linked = FormatRegistry::linked_complete != nullptr;
  if (!is_linked && (DangerOf(NvApp::GetCompleteDirectory()) != nullptr ||
                     DangerOf(path) != nullptr || !ListsFormats(path)))
    return false;
  for (Entry& entry :
       FormatsOf(is_linked ? Library::LinkedComplete() : std::make_shared<const Library>(path))) {
    const auto same = std::ranges::find_if(entries_, [&](const Entry& earlier) {
      return EqualIgnoringCase(earlier.info->name, entry.info->name);
    });
    const auto behind_ours = std::ranges::find_if(entries_, [&](const Entry& earlier) {
      const std::string& served_by = earlier.server.library->path;
      return !served_by.empty() && served_by != path;
    });
    has_complete_ = true;
    if (same == entries_.end())
      entries_.insert(behind_ours, std::move(entry));
    else if (same->server.library->path.empty())
      same->kept = std::exchange(same->server, std::move(entry.server));
  }
  return has_complete_;
}

std::string FormatList::FaultOf(const NvImportFormatInfo* info) {
  constexpr int kMostExtensions = 64;
  constexpr std::size_t kLongestExtension = 255;
  if (info == nullptr) return "has no description";
  if (info->name == nullptr) return "has no name";
  if (info->extension_count < 0 || info->extension_count > kMostExtensions)
    return "claims " + std::to_string(info->extension_count) + " extensions";
  const char* extension = info->extensions;
  for (int i = 0; i < info->extension_count; ++i) {
    const std::size_t length =
        extension != nullptr ? ::strnlen(extension, kLongestExtension + 1) : kLongestExtension + 1;
    if (length > kLongestExtension) return "has an extension without end";
    extension += length + 1;
  }
  return {};
}

int FormatList::size() const { return static_cast<int>(entries_.size()); }

const NvImportFormatInfo& FormatList::GetInfo(int position) const { return *At(position).info; }

const std::string& FormatList::GetLibraryPath(int position) const {
  return At(position).server.library->path;
}

bool FormatList::HasKeptReader(int position) const {
  return HasTwoReaders(position) || GetLibraryPath(position) != NvApp::GetCompleteLibrary();
}

std::unique_ptr<SpreadsheetFile> FormatList::CreateFile(int position, bool kept_rules) const {
  const Entry& entry = At(position);
  const Server& server = kept_rules && entry.kept ? *entry.kept : entry.server;
  const PluginFunctions& library = server.library->functions;
  auto file = std::make_unique<DLLFile>(
      library.open, library.close, library.get_last_error, library.establish_size, library.read,
      library.write, library.get_warning, entry.info->can_read, entry.info->can_write, server.index,
      server.library->turns.get());
  file->UseMore(library.read_whole, library.describe, library.get_note, library.get_status,
                library.leave_size_open);
  return file;
}

std::vector<KnownFormat> FormatList::GetKnownFormats(bool kept_rules) const {
  std::vector<KnownFormat> formats;
  for (int position = 1; position <= size(); ++position) {
    const Entry& entry = At(position);
    const Server& server = kept_rules && entry.kept ? *entry.kept : entry.server;
    std::function<int(const char*)> test;
    if (kept_rules && !HasKeptReader(position))
      test = [](const char*) { return 0; };
    else if (server.library->functions.is_correct_type != nullptr)
      test = [&server](const char* path) {
        const Library& library = *server.library;
        return static_cast<int>(
            library.Call([&] { return library.functions.is_correct_type(server.index, path); })
                .value_or('\0'));
      };
    formats.push_back({entry.info.get(), std::move(test)});
  }
  return formats;
}

}  // namespace nvimport
