#pragma once

#include <memory>

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class SprFileFactory;

// How sure a factory is that a file is of its format. The numbers are the interface's.
enum Confidence : int { kCertain = 0, kPlausible = 1, kNoOpinion = 2, kNotThis = 3 };

// One registered format: its description and who makes its readers.
struct FormatDescription : NvImportFormatInfo {
  SprFileFactory* factory;  // makes its readers
};

// Makes the readers of one format. Constructing a factory registers its format at the end of the
// registry; a format is known everywhere by its position there, from 1.
class NVIMPORT_API SprFileFactory {
 public:
  SprFileFactory(const SprFileFactory&) = delete;
  SprFileFactory& operator=(const SprFileFactory&) = delete;
  virtual ~SprFileFactory();

  // How sure the format is of the file at `path`, as a Confidence.
  virtual int IsCorrectFileType(const char* path) = 0;

  // A new reader, owned by the caller.
  virtual SpreadsheetFile* Create() = 0;

  // The number of registered formats.
  static int GetNumberOfFormats();

  // The description of format `index`, null beyond the last one; below 1 it is the first.
  static FormatDescription* GetFormat(int index);

  // A new reader of format `index`, null beyond the last one.
  static std::unique_ptr<SpreadsheetFile> CreateReader(int index);

  // 2 when the file at `path` certainly is of format `index`, 1 when it may be, 0 when it is not.
  static int TestFile(int index, const char* path);

 protected:
  // Registers a format. The texts are kept as pointers and must live as long as the library;
  // `extensions` holds `extension_count` of them, each with its point and its NUL.
  SprFileFactory(const char* name, const char* read_filter, const char* write_filter,
                 int extension_count, const char* extensions, bool can_write, bool can_read,
                 bool several_at_once, bool flag4, bool flag5);
};

}  // namespace nvimport
