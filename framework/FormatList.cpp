#include "framework/FormatList.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "framework/DLLFile.h"
#include "platform/DynamicLibrary.h"
#include "platform/Log.h"
#include "platform/NvApp.h"
#include "platform/Paths.h"

namespace {

constexpr int kMostFormats = 4096;
constexpr int kMostExtensions = 64;
constexpr std::size_t kLongestExtension = 255;

std::unique_ptr<FormatList>& TheList() {
  // Never destroyed: unloading libraries while the process ends is what Release is for.
  static auto& list = *std::make_unique<std::unique_ptr<FormatList>>().release();
  return list;
}

// What is wrong with a description, empty when nothing is.
std::string Fault(const NvImportFormatInfo* info) {
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

}  // namespace

// A library's functions; the ones that it lacks are null.
struct FormatList::Library {
  DynamicLibrary module;
  std::string path;  // empty for this library itself
  decltype(&NvImportReleasePackage) release_package = nullptr;
  decltype(&NvImportSizeFileFormatsSupported) count_formats = nullptr;
  decltype(&NvImportGetFileFormatInfo) get_info = nullptr;
  decltype(&NvImportIsCorrectFileType) is_correct_type = nullptr;
  decltype(&NvImportOpen) open = nullptr;
  decltype(&NvImportEstablishSize) establish_size = nullptr;
  decltype(&NvImportRead) read = nullptr;
  decltype(&NvImportWrite) write = nullptr;
  decltype(&NvImportClose) close = nullptr;
  decltype(&NvImportGetLastError) get_last_error = nullptr;
  decltype(&NvImportGetWarning) get_warning = nullptr;

  // This library itself, without the detour over its file.
  Library()
      : release_package(&NvImportReleasePackage),
        count_formats(&NvImportSizeFileFormatsSupported),
        get_info(&NvImportGetFileFormatInfo),
        is_correct_type(&NvImportIsCorrectFileType),
        open(&NvImportOpen),
        establish_size(&NvImportEstablishSize),
        read(&NvImportRead),
        write(&NvImportWrite),
        close(&NvImportClose),
        get_last_error(&NvImportGetLastError),
        get_warning(&NvImportGetWarning) {
    NvImportInitPackage();
  }

  explicit Library(const std::string& library_path) : module(library_path), path(library_path) {
    const auto find = [&](auto& function, const char* name) {
      function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(module.Find(name));
    };
    find(count_formats, "NvImportSizeFileFormatsSupported");
    find(get_info, "NvImportGetFileFormatInfo");
    if (count_formats == nullptr || get_info == nullptr) return;
    find(release_package, "NvImportReleasePackage");
    find(is_correct_type, "NvImportIsCorrectFileType");
    find(open, "NvImportOpen");
    find(establish_size, "NvImportEstablishSize");
    find(read, "NvImportRead");
    find(write, "NvImportWrite");
    find(close, "NvImportClose");
    find(get_last_error, "NvImportGetLastError");
    find(get_warning, "NvImportGetWarning");
    decltype(&NvImportInitPackage) init_package = nullptr;
    find(init_package, "NvImportInitPackage");
    if (init_package != nullptr) init_package();
  }

  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  ~Library() {
    if (release_package != nullptr) release_package();
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
  AddFolder(std::filesystem::path(own_path_).parent_path());
  for (const std::string& folder : NvApp::GetPluginDirectory()) AddFolder(folder);
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
  if (library->count_formats == nullptr || library->get_info == nullptr) {
    library->Complain("can't be loaded: " + library->module.error());
    return false;
  }
  const int count = library->count_formats();
  if (count < 1 || count > kMostFormats) {
    library->Complain("claims " + std::to_string(count) + " formats");
    return false;
  }
  std::vector<Entry> added;
  for (int index = 1; index <= count; ++index) {
    const NvImportFormatInfo* info = library->get_info(index);
    if (const std::string fault = Fault(info); !fault.empty()) {
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

int FormatList::size() const { return static_cast<int>(entries_.size()); }

const NvImportFormatInfo& FormatList::GetInfo(int position) const { return At(position).info; }

const std::string& FormatList::GetLibraryPath(int position) const {
  return At(position).library->path;
}

std::unique_ptr<SpreadsheetFile> FormatList::CreateFile(int position) const {
  const Entry& entry = At(position);
  const Library& library = *entry.library;
  return std::make_unique<DLLFile>(
      library.open, library.close, library.get_last_error, library.establish_size, library.read,
      library.write, library.get_warning, entry.info.can_read, entry.info.can_write, entry.index);
}

std::vector<KnownFormat> FormatList::GetKnownFormats() const {
  std::vector<KnownFormat> formats;
  for (const Entry& entry : entries_) {
    std::function<int(const char*)> test;
    if (entry.library->is_correct_type != nullptr)
      test = [&entry](const char* path) {
        return static_cast<int>(entry.library->is_correct_type(entry.index, path));
      };
    formats.push_back({&entry.info, std::move(test)});
  }
  return formats;
}
