#pragma once

#include <optional>
#include <string>

namespace nvimport {

// What a file looks like, by its first bytes, whether or not any format reads it.
struct FileKind {
  const char* name;         // "a PDF document"
  const char* advice;       // how its data can be had all the same
  const char* format = "";  // the one that reads it

  // As the end of a sentence.
  std::string Words() const { return std::string("it looks like ") + name + ": " + advice; }
};

std::optional<FileKind> RecogniseKind(const std::string& path);

}  // namespace nvimport
