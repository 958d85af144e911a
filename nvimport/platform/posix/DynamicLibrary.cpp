#include "nvimport/platform/DynamicLibrary.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Sanitizer.h"

namespace nvimport {

// The ELF header of this very library, which the linker places; it says what this machine is.
extern "C" __attribute__((visibility("hidden"))) const ElfW(Ehdr) __ehdr_start;  // NOLINT

namespace {

// Deep binding is what keeps a plug-in's calls to itself; the address sanitizer can't live with it.
#if defined(NVIMPORT_UNDER_ASAN)
constexpr int kLoadMode = RTLD_NOW | RTLD_LOCAL;
#else
constexpr int kLoadMode = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

std::string RealPath(const char* path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path, nullptr), &std::free);
  return real != nullptr ? real.get() : "";
}

// The dynamic symbols of an ELF file, read from where they lie. Every offset is a claim that the
// read itself checks.
class ElfSymbols {
 public:
  explicit ElfSymbols(const char* path) : file_(path) {}

  // Finds the tables; false when this is no well-formed library of this machine's class.
  bool Open() {
    ElfW(Ehdr) header{};
    if (!file_.is_open() || !ReadAt(0, &header, sizeof header)) return false;
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != __ehdr_start.e_ident[EI_CLASS] ||
        header.e_ident[EI_DATA] != __ehdr_start.e_ident[EI_DATA] ||
        header.e_machine != __ehdr_start.e_machine || header.e_type != ET_DYN ||
        header.e_phentsize != sizeof(ElfW(Phdr)) || header.e_phnum > kMostSegments)
      return false;
    segments_.resize(header.e_phnum);
    if (!ReadAt(header.e_phoff, segments_.data(), segments_.size() * sizeof(ElfW(Phdr))))
      return false;
    for (const ElfW(Phdr) & segment : segments_)
      if (segment.p_type == PT_DYNAMIC) return ReadDynamic(segment);
    return false;
  }

  bool Defines(const char* name) {
    return gnu_hash_ != 0 ? DefinesByGnuHash(name) : hash_ != 0 && DefinesByHash(name);
  }

 private:
  // A library has some fifteen segments, and chains of a few symbols. A damaged one has as many as
  // keep the look into it short.
  static constexpr unsigned kMostSegments = 256;
  static constexpr unsigned kLongestChain = 4096;

  bool ReadAt(std::uint64_t offset, void* into, std::size_t size) {
    return file_.Seek(offset) &&
           file_.Read({static_cast<char*>(into), size}) == static_cast<std::ptrdiff_t>(size);
  }

  template <typename T>
  std::optional<T> Get(std::uint64_t address) {
    T value{};
    for (const ElfW(Phdr) & segment : segments_) {
      if (segment.p_type != PT_LOAD || address < segment.p_vaddr ||
          address - segment.p_vaddr >= segment.p_filesz)
        continue;
      if (!ReadAt(segment.p_offset + (address - segment.p_vaddr), &value, sizeof value)) break;
      return value;
    }
    return std::nullopt;
  }

  bool ReadDynamic(const ElfW(Phdr) & segment) {
    // A library has some thirty entries; a count beyond reason is a damaged file.
    constexpr std::size_t kMostEntries = 4096;
    std::vector<ElfW(Dyn)> entries(
        std::min<std::size_t>(segment.p_filesz / sizeof(ElfW(Dyn)), kMostEntries));
    if (!ReadAt(segment.p_offset, entries.data(), entries.size() * sizeof(ElfW(Dyn)))) return false;
    for (const ElfW(Dyn) & entry : entries) {
      if (entry.d_tag == DT_NULL) break;
      if (entry.d_tag == DT_SYMTAB) symbols_ = entry.d_un.d_ptr;
      if (entry.d_tag == DT_STRTAB) strings_ = entry.d_un.d_ptr;
      if (entry.d_tag == DT_HASH) hash_ = entry.d_un.d_ptr;
      if (entry.d_tag == DT_GNU_HASH) gnu_hash_ = entry.d_un.d_ptr;
    }
    return symbols_ != 0 && strings_ != 0;
  }

  bool IsDefinition(std::uint64_t index, std::string_view name) {
    const auto symbol = Get<ElfW(Sym)>(symbols_ + index * sizeof(ElfW(Sym)));
    if (!symbol || symbol->st_shndx == SHN_UNDEF) return false;
    for (std::size_t i = 0; i <= name.size(); ++i) {
      const auto byte = Get<char>(strings_ + symbol->st_name + i);
      if (!byte || *byte != (i < name.size() ? name[i] : '\0')) return false;
    }
    return true;
  }

  bool DefinesByGnuHash(const char* name) {
    struct Header {
      std::uint32_t buckets, first_symbol, bloom_words, bloom_shift;
    };
    const auto header = Get<Header>(gnu_hash_);
    if (!header || header->buckets == 0) return false;
    std::uint32_t hash = 5381;
    for (const char* c = name; *c != '\0'; ++c) hash = hash * 33 + static_cast<unsigned char>(*c);
    const std::uint64_t buckets =
        gnu_hash_ + sizeof(Header) + std::uint64_t{header->bloom_words} * sizeof(ElfW(Addr));
    const std::uint64_t chains = buckets + std::uint64_t{header->buckets} * 4;
    const auto bucket = Get<std::uint32_t>(buckets + std::uint64_t{hash % header->buckets} * 4);
    if (!bucket || *bucket < header->first_symbol) return false;
    // A chain ends at an odd word.
    for (unsigned steps = 0; steps < kLongestChain; ++steps) {
      const std::uint64_t index = std::uint64_t{*bucket} + steps;
      const auto word = Get<std::uint32_t>(chains + (index - header->first_symbol) * 4);
      if (!word) return false;
      if ((*word | 1) == (hash | 1) && IsDefinition(index, name)) return true;
      if ((*word & 1) != 0) return false;
    }
    return false;
  }

  bool DefinesByHash(const char* name) {
    const auto buckets = Get<std::uint32_t>(hash_);
    if (!buckets || *buckets == 0) return false;
    std::uint32_t hash = 0;
    for (const char* c = name; *c != '\0'; ++c) {
      hash = (hash << 4) + static_cast<unsigned char>(*c);
      hash = (hash ^ (hash >> 24 & 0xf0)) & 0x0fffffff;
    }
    const std::uint64_t chains = hash_ + 8 + std::uint64_t{*buckets} * 4;
    auto index = Get<std::uint32_t>(hash_ + 8 + std::uint64_t{hash % *buckets} * 4);
    for (unsigned steps = 0; index && *index != STN_UNDEF && steps < kLongestChain; ++steps) {
      if (IsDefinition(*index, name)) return true;
      index = Get<std::uint32_t>(chains + std::uint64_t{*index} * 4);
    }
    return false;
  }

  InputFile file_;
  std::vector<ElfW(Phdr)> segments_;
  std::uint64_t symbols_ = 0;
  std::uint64_t strings_ = 0;
  std::uint64_t hash_ = 0;
  std::uint64_t gnu_hash_ = 0;
};

}  // namespace

DynamicLibrary::DynamicLibrary(const std::string& path) : path_(RealPath(path.c_str())) {
  void* module = path.starts_with('/') ? ::dlopen(path.c_str(), kLoadMode) : nullptr;
  if (module != nullptr) {
    module_ = std::shared_ptr<void>(module, &::dlclose);
    return;
  }
  const char* reason = ::dlerror();
  error_ = reason != nullptr ? reason : "The path is not absolute.";
}

void* DynamicLibrary::Find(const char* name) const {
  void* found = module_ != nullptr ? ::dlsym(module_.get(), name) : nullptr;
  return found != nullptr && PathOf(found) == path_ ? found : nullptr;
}

bool DynamicLibrary::Defines(const char* path, std::initializer_list<const char*> names) {
  ElfSymbols symbols(path);
  return symbols.Open() &&
         std::ranges::all_of(names, [&](const char* name) { return symbols.Defines(name); });
}

std::string DynamicLibrary::PathOf(const void* address) {
  Dl_info info{};
  link_map* object = nullptr;
  if (::dladdr1(address, &info, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0) return "";
  // The program's name is empty there; as what it was started may mean another file by now.
  return RealPath(object->l_name[0] != '\0' ? object->l_name : "/proc/self/exe");
}

}  // namespace nvimport
