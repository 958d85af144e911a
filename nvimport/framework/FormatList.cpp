#include "nvimport/framework/FormatList.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "nvimport/framework/DLLFile.h"
#include "nvimport/framework/FormatRegistry.h"
#include "nvimport/framework/OpenFiles.h"
#include "nvimport/framework/PluginFunctions.h"
#include "nvimport/platform/DynamicLibrary.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

std::unique_ptr<FormatList>& TheList() {
  // Never destroyed: unloading libraries while the process ends is what Release is for.
  static auto& list = *std::make_unique<std::unique_ptr<FormatList>>().release();
  return list;
}

// Why somebody else could have this process run a library of theirs from there, null for no reason.
const char* DangerOf(const std::string& folder) {
  if (!std::filesystem::path(folder).is_absolute()) return "it depends on the working folder";
  std::error_code error;
  const auto permissions = std::filesystem::status(folder, error).permissions();
  constexpr auto kNone = std::filesystem::perms::none;
  if (!error && (permissions & std::filesystem::perms::others_write) != kNone)
    return "everybody may write there";
  return nullptr;
}

}  // namespace

struct FormatList::Library {
  DynamicLibrary module;
  std::string path;  // empty for this library itself
  PluginFunctions functions;

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
                  &NvImportGetWarning} {
    NvImportInitPackage();
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
    if (functions.can_list() && functions.init_package != nullptr) functions.init_package();
  }

  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  ~Library() {
    if (functions.can_list() && functions.release_package != nullptr) functions.release_package();
  }

  void Complain(const std::string& what) const {
    Log::WriteMessage("FormatList", "AddLibrary", path + " " + what, Log::kNormal);
  }
};

FormatList& FormatList::Get() {
  if (TheList() == nullptr) TheList() = std::make_unique<FormatList>();
  return *TheList();
}

void FormatList::Release() { TheList().reset(); }

FormatList::FormatList()
    : own_path_(DynamicLibrary::PathOf(
          reinterpret_cast<const void*>(&NvImportSizeFileFormatsSupported))) {
  Append(std::make_shared<const Library>());
  std::vector<std::string> folders = NvApp::GetPluginDirectory();
  folders.insert(folders.begin(), std::filesystem::path(own_path_).parent_path());
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
  for (std::filesystem::directory_iterator next(folder, error), end; !error && next != end;
       next.increment(error))
    if (EqualIgnoringCase(NvGetFileExtension(next->path().native()), "so"))
      paths.push_back(std::filesystem::absolute(next->path()));
  std::ranges::sort(paths);
  for (const std::string& path : paths) AddLibrary(path);
}

bool FormatList::AddLibrary(const std::string& path) {
  std::error_code error;
  if (std::filesystem::equivalent(path, own_path_, error)) return false;
  if (!DynamicLibrary::Defines(path.c_str(),
                               {"NvImportSizeFileFormatsSupported", "NvImportGetFileFormatInfo"}))
    return false;
  return Append(std::make_shared<const Library>(path));
}

bool FormatList::Append(const std::shared_ptr<const Library>& library) {
  if (!library->functions.can_list()) {
    library->Complain("can't be loaded: " + library->module.error());
    return false;
  }
  const int count = library->functions.count_formats();
  if (count < 1 || count > kMostFormats) {
    library->Complain("claims " + std::to_string(count) + " formats");
    return false;
  }
  std::vector<Entry> added;
  for (int index = 1; index <= count; ++index) {
    const NvImportFormatInfo* info = library->functions.get_info(index);
    if (const std::string fault = FaultOf(info); !fault.empty()) {
      library->Complain("is left out, since its format " + std::to_string(index) + " " + fault);
      return false;
    }
    added.push_back({library, index, *info});
    if (info->read_filter == nullptr) added.back().info.read_filter = "";
  }
  for (Entry& entry : added) {
    std::erase_if(entries_, [&](const Entry& earlier) {
      return EqualIgnoringCase(earlier.info.name, entry.info.name);
    });
    entries_.push_back(std::move(entry));
  }
  return true;
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

const NvImportFormatInfo& FormatList::GetInfo(int position) const { return At(position).info; }

const std::string& FormatList::GetLibraryPath(int position) const {
  return At(position).library->path;
}

std::unique_ptr<SpreadsheetFile> FormatList::CreateFile(int position) const {
  const Entry& entry = At(position);
  const PluginFunctions& library = entry.library->functions;
  return std::make_unique<DLLFile>(
      library.open, library.close, library.get_last_error, library.establish_size, library.read,
      library.write, library.get_warning, entry.info.can_read, entry.info.can_write, entry.index);
}

std::vector<KnownFormat> FormatList::GetKnownFormats() const {
  std::vector<KnownFormat> formats;
  for (const Entry& entry : entries_) {
    std::function<int(const char*)> test;
    if (entry.library->functions.is_correct_type != nullptr)
      test = [&entry](const char* path) {
        return static_cast<int>(entry.library->functions.is_correct_type(entry.index, path));
      };
    formats.push_back({&entry.info, std::move(test)});
  }
  return formats;
}

}  // namespace nvimport
