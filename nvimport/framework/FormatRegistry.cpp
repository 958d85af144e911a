#include "nvimport/framework/FormatRegistry.h"

#include <algorithm>
#include <utility>

#include "nvimport/framework/ServedFormats.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

FormatRegistry* FormatRegistry::linked_complete = nullptr;
FormatRegistry* FormatRegistry::target_ = nullptr;

// Here, since a program has a copy of what the library keeps for itself.
FormatRegistry::Instead::Instead(FormatRegistry& registry) { target_ = &registry; }
FormatRegistry::Instead::~Instead() { target_ = nullptr; }

FormatRegistry& FormatRegistry::Own() {
  // Made on first use, since factories are constructed before main and in any order; it lives until
  // the library is unloaded.
  static FormatRegistry registry;
  KeepFactories();
  return registry;
}

void FormatRegistry::Register(FormatDescription format) {
  FormatDescription& kept =
      (target_ != nullptr ? *target_ : Own()).formats_.emplace_back(std::move(format));
  if (kept.extensions == nullptr) kept.extensions = kept.extension_texts.c_str();
}

FormatDescription* FormatRegistry::Find(int index) {
  if (index > size()) return nullptr;
  return &formats_[index < 1 ? 0 : static_cast<std::size_t>(index - 1)];
}

const FormatDescription* FormatRegistry::Find(std::string_view name) const {
  const auto found = std::ranges::find_if(formats_, [&](const FormatDescription& format) {
    return EqualIgnoringCase(format.name, name);
  });
  return found != formats_.end() ? &*found : nullptr;
}

std::unique_ptr<SpreadsheetFile> FormatRegistry::CreateReader(int index) {
  const FormatDescription* format = Find(index);
  return std::unique_ptr<SpreadsheetFile>(format != nullptr ? format->factory->Create() : nullptr);
}

int FormatRegistry::TestFile(int index, const char* path) {
  const FormatDescription* format = Find(index);
  switch (format != nullptr ? format->factory->IsCorrectFileType(path) : kNotThis) {
    case kCertain:
      return 2;
    case kPlausible:
    case kNoOpinion:
      return 1;
    default:
      return 0;
  }
}

}  // namespace nvimport
