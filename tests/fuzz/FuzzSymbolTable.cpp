// The input as a dynamic library whose table of symbols is looked into before it is loaded.

#include "nvimport/platform/DynamicLibrary.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile file(input);
  const auto defines = [&](std::initializer_list<const char*> names) {
    return DynamicLibrary::Defines(file.path(), names);
  };
  const bool lists = defines({"NvImportSizeFileFormatsSupported", "NvImportGetFileFormatInfo"});
  Check(!lists || defines({"NvImportGetFileFormatInfo"}), "what defines both defines each");
  Check(!defines({"NvImport no such name"}), "a name that no symbol can have is not found");
}

}  // namespace nvimport
