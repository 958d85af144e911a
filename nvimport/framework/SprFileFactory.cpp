#include "nvimport/framework/SprFileFactory.h"

#include <utility>

#include "nvimport/framework/FormatRegistry.h"

namespace nvimport {

SprFileFactory::SprFileFactory(const char* name, const char* read_filter, const char* write_filter,
                               int extension_count, const char* extensions, bool can_write,
                               bool can_read, bool several_at_once, bool flag4, bool flag5) {
  FormatRegistry::Register({{name, read_filter, write_filter, extension_count, extensions,
                             can_write, can_read, several_at_once, flag4, flag5},
                            this});
}

SprFileFactory::SprFileFactory(FormatTraits traits) {
  std::string extensions;
  for (const char* extension : traits.extensions) extensions.append(extension).push_back('\0');
  FormatRegistry::Register({{traits.name, traits.read_filter, traits.write_filter,
                             static_cast<int>(traits.extensions.size()), nullptr, traits.can_write,
                             traits.can_read, traits.several_at_once, traits.flag4, traits.flag5},
                            this,
                            std::move(traits.options),
                            traits.has_reader,
                            traits.has_writer,
                            std::move(extensions)});
}

SprFileFactory::~SprFileFactory() = default;

int SprFileFactory::GetNumberOfFormats() { return FormatRegistry::Own().size(); }

FormatDescription* SprFileFactory::GetFormat(int index) {
  return FormatRegistry::Own().Find(index);
}

const FormatDescription* SprFileFactory::Describe(std::string_view name) {
  return FormatRegistry::Own().Find(name);
}

std::unique_ptr<SpreadsheetFile> SprFileFactory::CreateReader(int index) {
  return FormatRegistry::Own().CreateReader(index);
}

int SprFileFactory::TestFile(int index, const char* path) {
  return FormatRegistry::Own().TestFile(index, path);
}

}  // namespace nvimport
