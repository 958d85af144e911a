#pragma once

#include <span>
#include <string>
#include <string_view>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// A delimiter that has a name of its own.
struct NamedDelimiter {
  std::string_view word;   // as --delimiter takes it
  std::string_view shown;  // in a sentence
  std::string_view delimiter;
  bool ignore_consecutive;
};

// TAB first, then in the order in which a guess prefers them.
NVIMPORT_API std::span<const NamedDelimiter> NamedDelimiters();

// What a user writes as a delimiter: a word, or the characters with \t, \\ and \xNN.
NVIMPORT_API TextImportChoice ParseDelimiter(std::string_view text);

// The same as a value of pairs, which can't hold a semicolon: its word where it has one.
NVIMPORT_API std::string DelimiterValue(const std::string& delimiter);

// The choice in a sentence: "TAB", "runs of blanks", "\"::\"".
NVIMPORT_API std::string ShownDelimiter(const TextImportChoice& choice);

// The delimiter as ParseDelimiter takes it: its word, or characters of which those that a terminal
// or a shell would not take as they stand are by number.
NVIMPORT_API std::string WrittenDelimiter(const TextImportChoice& choice);

}  // namespace nvimport
