#pragma once

#include <string>
#include <string_view>

namespace nvimport {

// The exit codes of the command.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,
  kWrongUsage = 2,
  kFormatUnknown = 3,
  kWarned = 4,
};

// Why something was not done: what is said first, and where it happened or what to do about it.
struct Failure {
  int exit_code = kFailed;
  std::string text;
  std::string advice;
};

// The two lines that a failure is on standard error.
std::string FailureLines(const Failure& failure);

// The system's words for `error`, as the end of a sentence, and what to do about it where that can
// be said: "no such file or directory; check the name".
std::string SystemWords(int error);

// Such words that came without their number.
std::string Advised(const std::string& words);

// The exit code of several files: that of the gravest among them.
int Graver(int a, int b);

}  // namespace nvimport
