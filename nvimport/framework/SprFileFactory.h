#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class SprFileFactory;

// How sure a factory is that a file is of its format. The numbers are the interface's.
enum Confidence : int { kCertain = 0, kPlausible = 1, kNoOpinion = 2, kNotThis = 3 };

// An option of a format, with what it can be.
struct FormatOption {
  std::string_view key;   // "range"
  const char* values;     // "FIRST,LAST"
  bool is_asked = false;  // hosts answer the question for it by an option of their own
  bool is_pair = true;  // it stands as "key=value" in a record of options, not in a way of its own
};

// What a format says of itself. The texts are kept as pointers and must live as long as the
// library.
struct FormatTraits {
  const char* name;                     // shown to the user
  const char* read_filter;              // of the open dialog
  const char* write_filter = nullptr;   // of the save dialog
  std::vector<const char*> extensions;  // each with its point, the usual one first
  bool can_write = false;               // it has a writer
  bool can_read = true;                 // it has a reader
  bool several_at_once = false;         // several files may be imported together
  bool flag4 = true;                    // a wait cursor is shown while the size is established
  bool flag5 = false;                   // carried, and of no effect here
  std::vector<FormatOption> options{};  // those that it takes
  bool has_reader = true;  // else the format keeps its place, and says so when it opens a file
  bool has_writer = true;  // of one that can write
};

// One registered format: its description, who makes its readers, and what hosts may know of it.
struct FormatDescription : NvImportFormatInfo {
  SprFileFactory* factory;              // makes its readers
  std::vector<FormatOption> options{};  // those that it takes
  bool has_reader = true;               // else it only keeps its place
  bool has_writer = true;               // of one that can write
  std::string extension_texts{};        // where `extensions` points, unless it was given
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

  // That of the format of that name, whatever the case; null where there is none.
  static const FormatDescription* Describe(std::string_view name);

  // A new reader of format `index`, null beyond the last one.
  static std::unique_ptr<SpreadsheetFile> CreateReader(int index);

  // 2 when the file at `path` certainly is of format `index`, 1 when it may be, 0 when it is not.
  static int TestFile(int index, const char* path);

 protected:
  // Registers a format.
  explicit SprFileFactory(FormatTraits traits);
  // The same by position. The texts are kept as pointers and must live as long as the library;
  // `extensions` holds `extension_count` of them, each with its point and its NUL.
  SprFileFactory(const char* name, const char* read_filter, const char* write_filter,
                 int extension_count, const char* extensions, bool can_write, bool can_read,
                 bool several_at_once, bool flag4, bool flag5);
};

}  // namespace nvimport
