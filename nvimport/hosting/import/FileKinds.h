#pragma once

#include <optional>
#include <string>

#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What a file looks like, by its first bytes, whether or not any format reads it.
struct FileKind {
  const char* name;  // "a PDF document"
  const char*
      advice;  // how its data can be had all the same; null where a built-in format reads it
  const char* format = "";    // the one that it is of
  const char* reader = "";    // one that reads it all the same
  const char* pairs = "";     // what the format can't tell by itself, as its options
  bool is_sure = false;       // it is of that format whatever it is called
  bool by_kept_rules = true;  // where these know the format they read the kind as well

  // How its data can be had, as the end of a sentence, by whom reads by these rules.
  NVIMPORT_API std::string Advice(const HostWords& words, bool kept_rules = false) const;
  // "it looks like a PDF document: ...".
  NVIMPORT_API std::string Words(const HostWords& words, bool kept_rules = false) const;
};

NVIMPORT_API std::optional<FileKind> RecogniseKind(const std::string& path);

}  // namespace nvimport
