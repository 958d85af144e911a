#pragma once

#include <optional>
#include <string>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What a file looks like, by its first bytes, whether or not any format reads it.
struct FileKind {
  const char* name;         // "a PDF document"
  const char* advice;       // how its data can be had all the same; null where a format reads it
  const char* format = "";  // the one that it is of
  const char* reader = "";  // one that reads it all the same
  const char* pairs = "";   // what the format can't tell by itself, as its options
  bool is_sure = false;     // it is of that format whatever it is called

  // How its data can be had, as the end of a sentence.
  NVIMPORT_API std::string Advice(const HostWords& words) const;
  // "it looks like a PDF document: ...".
  NVIMPORT_API std::string Words(const HostWords& words) const;
};

NVIMPORT_API std::optional<FileKind> RecogniseKind(const std::string& path);

// The format of files that are called otherwise than they should be: the one that the content
// leaves no doubt of, while all that speaks for those of `detection` is the file's name. 0 for
// none.
NVIMPORT_API int FormatDespiteName(const Detection& detection, const std::string& path);

}  // namespace nvimport
