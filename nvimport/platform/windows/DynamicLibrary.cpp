#include "nvimport/platform/DynamicLibrary.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

#ifdef _WIN64
using Headers = IMAGE_NT_HEADERS64;
constexpr WORD kMachine = IMAGE_FILE_MACHINE_AMD64;
#else
using Headers = IMAGE_NT_HEADERS32;
constexpr WORD kMachine = IMAGE_FILE_MACHINE_I386;
#endif

// The exports of a library, read from where they lie in its file. Every offset is a claim that the
// read itself checks.
class PeExports {
 public:
  explicit PeExports(const char* path) : file_(path) {}

  // Finds the tables; false when this is no well-formed library for this machine.
  bool Open() {
    IMAGE_DOS_HEADER dos{};
    Headers headers{};
    if (!file_.is_open() || !ReadAt(0, &dos, sizeof dos) || dos.e_magic != IMAGE_DOS_SIGNATURE ||
        dos.e_lfanew < 0)
      return false;
    const auto at = static_cast<std::uint64_t>(dos.e_lfanew);
    if (!ReadAt(at, &headers, sizeof headers) || headers.Signature != IMAGE_NT_SIGNATURE ||
        headers.FileHeader.Machine != kMachine ||
        (headers.FileHeader.Characteristics & IMAGE_FILE_DLL) == 0 ||
        headers.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR_MAGIC ||
        headers.FileHeader.NumberOfSections > kMostSections ||
        headers.OptionalHeader.NumberOfRvaAndSizes <= IMAGE_DIRECTORY_ENTRY_EXPORT)
      return false;
    sections_.resize(headers.FileHeader.NumberOfSections);
    const std::uint64_t behind =
        at + offsetof(Headers, OptionalHeader) + headers.FileHeader.SizeOfOptionalHeader;
    table_ = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    return ReadAt(behind, sections_.data(), sections_.size() * sizeof(IMAGE_SECTION_HEADER)) &&
           table_.Size >= sizeof exports_ && Get(table_.VirtualAddress, exports_);
  }

  // Whether the library itself has the function: what is forwarded to another is none of its own.
  bool Defines(std::string_view name) {
    // Names stand in their order.
    DWORD low = 0;
    for (DWORD high = exports_.NumberOfNames; low < high;) {
      const DWORD middle = low + (high - low) / 2;
      const int order = Compare(middle, name);
      if (order == 0) return IsOwn(middle);
      if (order == kUnreadable) return false;
      (order < 0 ? low : high) = order < 0 ? middle + 1 : middle;
    }
    return false;
  }

 private:
  static constexpr unsigned kMostSections = 96;  // as the loader has it
  static constexpr int kUnreadable = 2;

  bool ReadAt(std::uint64_t offset, void* into, std::size_t size) {
    return file_.Seek(offset) &&
           file_.Read({static_cast<char*>(into), size}) == static_cast<std::ptrdiff_t>(size);
  }

  template <typename T>
  bool Get(std::uint64_t address, T& value) {
    for (const IMAGE_SECTION_HEADER& section : sections_)
      if (address >= section.VirtualAddress &&
          address - section.VirtualAddress < section.SizeOfRawData)
        return ReadAt(section.PointerToRawData + (address - section.VirtualAddress), &value,
                      sizeof value);
    return false;
  }

  // Less, equal or greater than `name`.
  int Compare(DWORD index, std::string_view name) {
    DWORD address = 0;
    if (!Get(std::uint64_t{exports_.AddressOfNames} + std::uint64_t{4} * index, address))
      return kUnreadable;
    for (std::size_t i = 0; i <= name.size(); ++i) {
      char c = 0;
      if (!Get(std::uint64_t{address} + i, c)) return kUnreadable;
      const char wanted = i < name.size() ? name[i] : '\0';
      if (c != wanted)
        return static_cast<unsigned char>(c) < static_cast<unsigned char>(wanted) ? -1 : 1;
    }
    return 0;
  }

  bool IsOwn(DWORD index) {
    WORD ordinal = 0;
    DWORD address = 0;
    return Get(std::uint64_t{exports_.AddressOfNameOrdinals} + std::uint64_t{2} * index, ordinal) &&
           ordinal < exports_.NumberOfFunctions &&
           Get(std::uint64_t{exports_.AddressOfFunctions} + std::uint64_t{4} * ordinal, address) &&
           address != 0 &&
           (address < table_.VirtualAddress || address - table_.VirtualAddress >= table_.Size);
  }

  InputFile file_;
  std::vector<IMAGE_SECTION_HEADER> sections_;
  IMAGE_DATA_DIRECTORY table_{};
  IMAGE_EXPORT_DIRECTORY exports_{};
};

HMODULE ModuleOf(const void* address) {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<const wchar_t*>(address), &module);
  return module;
}

}  // namespace

DynamicLibrary::DynamicLibrary(const std::string& path) : path_(path) {
  const std::wstring wide = WidePath(path);
  if (!std::filesystem::path(wide).is_absolute()) {
    error_ = "The path is not absolute.";
    return;
  }
  // What the library needs is looked for beside it and where the system's are, nowhere else.
  const HMODULE module = ::LoadLibraryExW(
      wide.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (module == nullptr)
    error_ = std::system_category().message(static_cast<int>(::GetLastError()));
  else
    module_ = std::shared_ptr<void>(
        module, [](void* loaded) { ::FreeLibrary(static_cast<HMODULE>(loaded)); });
}

void* DynamicLibrary::Find(const char* name) const {
  if (module_ == nullptr) return nullptr;
  const auto module = static_cast<HMODULE>(module_.get());
  const FARPROC found = ::GetProcAddress(module, name);
  void* const address = reinterpret_cast<void*>(found);
  return found != nullptr && ModuleOf(address) == module ? address : nullptr;
}

bool DynamicLibrary::Defines(const char* path, std::initializer_list<const char*> names) {
  PeExports exports(path);
  return exports.Open() &&
         std::ranges::all_of(names, [&](const char* name) { return exports.Defines(name); });
}

std::string DynamicLibrary::PathOf(const void* address) {
  const HMODULE module = ModuleOf(address);
  if (module == nullptr) return "";
  constexpr std::size_t kLongest = 32'768;
  std::wstring path(kLongest, L'\0');
  path.resize(::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return Narrow(path);
}

}  // namespace nvimport
