#pragma once

#include <deque>
#include <memory>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The formats of one library in the order in which their factories were constructed. A format is
// known by its position, from 1.
class NVIMPORT_API FormatRegistry {
 public:
  // That of this library, in which factories register.
  static FormatRegistry& Own();

  // Factories constructed while this lives register in another one instead. For global objects,
  // which are constructed one after the other.
  class NVIMPORT_API Instead {
   public:
    explicit Instead(FormatRegistry& registry);
    Instead(const Instead&) = delete;
    Instead& operator=(const Instead&) = delete;
    ~Instead();
  };

  // That of NvImport Complete where it is linked into the program, else null.
  static FormatRegistry* linked_complete;

  static void Register(FormatDescription format);

  int size() const { return static_cast<int>(formats_.size()); }

  // The description of format `index`, null beyond the last one; below 1 it is the first.
  FormatDescription* Find(int index);
  // That of the format of that name, whatever the case; null where there is none.
  const FormatDescription* Find(std::string_view name) const;

  // A new reader of format `index`, null beyond the last one.
  std::unique_ptr<SpreadsheetFile> CreateReader(int index);

  // 2 when the file at `path` certainly is of format `index`, 1 when it may be, 0 when it is not.
  int TestFile(int index, const char* path);

 private:
  static FormatRegistry* target_;

  std::deque<FormatDescription> formats_;  // a deque: the descriptions handed out stay put
};

}  // namespace nvimport
