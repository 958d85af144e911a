#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Why something was not done, in words for the user: lines of UTF-8 without control characters.
struct Failure {
  // Of what kind it is.
  enum Kind {
    kFailed,         // the file, the system, or the memory is in the way
    kArgument,       // what was asked makes no sense
    kFormatUnknown,  // the file has no format, or not one alone
    kChoice,         // a question found no answer
    kStopped,        // by the user or the host
    kMissing,        // the file is not there
  };

  Kind kind = kFailed;   // how it came about
  std::string text{};    // what is said first, a sentence
  std::string advice{};  // what can be done about it, in words that end a sentence
  std::string where{};   // the input or output that it is about
  std::string detail{};  // what the reader, the system or the format said of it
  int status = 0;        // of the reader or writer that refused; then the detail is a sentence too
  std::string question{};                 // of kChoice and kFormatUnknown: what has to be chosen
  std::vector<std::string> candidates{};  // among these

  // "detail; advice".
  NVIMPORT_API std::string Explanation() const;
  // The failure of a system call, by its error number.
  NVIMPORT_API static Failure OfSystem(std::string text, std::string where, int error);
  // The same by the system's words that came without their number.
  NVIMPORT_API static Failure OfSystem(std::string text, std::string where, std::string words);
};

// How a host calls the ways out of a failure. The usual words name no option of any host.
struct HostWords {
  // How the format came to be taken.
  const char* format_given = "as was asked; without that the format is detected";
  // The way to another one.
  const char* other_format = "it can be read as another format";
  // The way to a format all the same.
  const char* any_format = "it can be read as a given format all the same";
  // The way to cells that the kept rules leave out.
  const char* all_cells = "without the kept rules all cells are read";
  // The same to files that the kept rules refuse.
  const char* complete = "it may be read without the kept rules";
  // The way to read without NvImport Complete.
  const char* by_kept_rules = "read by the kept rules";
  // The way to choose one.
  const char* choose_format = "no format was chosen";
  // The same, before their names.
  const char* choose_among = "the format has to be chosen among: ";
  // The way not to be asked.
  const char* answer_before = "nothing was read";
  // The way to give a password.
  const char* password = "the password is given before the import";
  // The way to allow the query that a file holds.
  const char* allow_query = "a query is allowed before the import";
  // What a range is.
  const char* range_numbers = "a range is two numbers from 1, a last one of 0 for the end";
  // What to do with a pipe or a device.
  const char* no_regular_file = "copy its data into a file";
  // The way to replace a file.
  const char* replace = "it can be replaced on request";
  // The way to write a few cells among ever so many delimiters.
  const char* sparse = "it can be written on request";
  // The way to write into a folder.
  const char* into_folder = "name a file in it";
  // The way to another output.
  const char* other_output = "it can be written as another format";
  // The options of the format that were given.
  std::function<std::string(const std::string& pairs)> options_given =
      [](const std::string& pairs) { return "the options given were " + pairs; };
  // What reads a file as `format`, "this format reads it".
  std::function<std::string(std::string_view format)> reads = [](std::string_view format) {
    return std::string("the format \"").append(format).append("\" reads it");
  };
  // What chooses among the entries of the question of that name.
  std::function<std::string(std::string_view question)> chooses = [](std::string_view) {
    return std::string("choose");
  };
};

// The system's words for `error`, as the end of a sentence, and what to do about it where that can
// be said: "no such file or directory; check the name".
NVIMPORT_API std::string SystemWords(int error);

}  // namespace nvimport
