#pragma once

#include <span>
#include <string>
#include <string_view>

#include "nvimport/platform/Dialogs.h"

namespace nvimport {

// A delimiter that has a name of its own.
struct NamedDelimiter {
  std::string_view word;   // as --delimiter takes it
  std::string_view shown;  // in a sentence
  std::string_view delimiter;
  bool ignore_consecutive;
};

// TAB first, then in the order in which a guess prefers them.
std::span<const NamedDelimiter> NamedDelimiters();

// What a user writes as a delimiter: a word, or the characters with \t, \\ and \xNN.
TextImportChoice ParseDelimiter(std::string_view text);

// The same as a value of pairs, which can't hold a semicolon: its word where it has one.
std::string DelimiterValue(const std::string& delimiter);

// The choice in a sentence: "TAB", "runs of blanks", "\"::\"".
std::string ShownDelimiter(const TextImportChoice& choice);

// The options that give the choice.
std::string DelimiterOptions(const TextImportChoice& choice);

}  // namespace nvimport
