#include "nvimport/framework/SprFileFactory.h"

#include <deque>

namespace nvimport {

namespace {

// Made on first use, since factories are constructed before main and in any order; it lives until
// the library is unloaded. A deque: the descriptions handed out stay put.
std::deque<FormatDescription>& Registry() {
  static std::deque<FormatDescription> registry;
  return registry;
}

}  // namespace

SprFileFactory::SprFileFactory(const char* name, const char* read_filter, const char* write_filter,
                               int extension_count, const char* extensions, bool can_write,
                               bool can_read, bool several_at_once, bool flag4, bool flag5) {
  Registry().push_back({{name, read_filter, write_filter, extension_count, extensions, can_write,
                         can_read, several_at_once, flag4, flag5},
                        this});
}

SprFileFactory::~SprFileFactory() = default;

int SprFileFactory::GetNumberOfFormats() { return static_cast<int>(Registry().size()); }

FormatDescription* SprFileFactory::GetFormat(int index) {
  if (index > GetNumberOfFormats()) return nullptr;
  return &Registry()[index < 1 ? 0 : static_cast<std::size_t>(index - 1)];
}

std::unique_ptr<SpreadsheetFile> SprFileFactory::CreateReader(int index) {
  const FormatDescription* format = GetFormat(index);
  return std::unique_ptr<SpreadsheetFile>(format != nullptr ? format->factory->Create() : nullptr);
}

int SprFileFactory::TestFile(int index, const char* path) {
  const FormatDescription* format = GetFormat(index);
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
