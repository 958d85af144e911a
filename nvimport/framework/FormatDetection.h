#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/NvImport.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Choosing the format of a file among any set of formats: the registry's, or those of plug-in
// libraries as well. A certain answer beats any number of possible ones; the extension decides only
// among possible ones or where there is no file; a tie is the user's.

// A format as detection sees it.
struct KnownFormat {
  const NvImportFormatInfo* info;  // its description; the format outlives this
  // 2 certain, 1 possible, 0 not this format. Without a test every file is possible.
  std::function<int(const char* path)> test;
};

// What the formats say of one file. Formats are named by their position in the list, from 1.
struct Detection {
  bool file_exists = false;     // else extensions alone decide
  std::vector<int> answers;     // each format's, in order; empty when there is no file
  int format = -1;              // the one settled without asking, else -1
  std::vector<int> candidates;  // those to ask the user about, empty when there is nothing to ask
};

// The registry's formats.
NVIMPORT_API std::vector<KnownFormat> BuiltInFormats();

// True when `format` lists `extension` (with its point), whatever the case.
NVIMPORT_API bool HasExtension(const NvImportFormatInfo& format, std::string_view extension);

// The extensions of `format`, each with its point.
NVIMPORT_API std::vector<std::string> Extensions(const NvImportFormatInfo& format);

// What `formats` say of the file at `path`.
NVIMPORT_API Detection DetectFormat(const std::vector<KnownFormat>& formats, const char* path);

// Settles the format of the file at `path`, asking the user where DetectFormat leaves a choice.
// -1 when there is no candidate or the user cancelled.
NVIMPORT_API int ChooseFormat(const std::vector<KnownFormat>& formats, const char* path);

}  // namespace nvimport
