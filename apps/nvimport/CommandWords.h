#pragma once

#include <optional>
#include <string>
#include <vector>

#include "nvimport/hosting/Failure.h"
#include "nvimport/hosting/import/Answers.h"

namespace nvimport {

// How this command calls what its users can do.

// The exit codes of the command.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,
  kWrongUsage = 2,
  kFormatUnknown = 3,
  kWarned = 4,
  kMissing = 5,
};

// The code that a failure ends with.
int ExitCodeOf(const Failure& failure);

// The exit code of several files: that of the gravest among them.
int Graver(int a, int b);

// The ways out of a failure by the options of the command.
const HostWords& CommandWords();

// What is said first of a failure, and what after it: where, why, what to do.
std::string FirstLine(const Failure& failure);
std::string SecondLine(const Failure& failure);
// Both, as they stand on standard error.
std::string FailureLines(const Failure& failure);

Failure WrongUsage(std::string text, std::string advice);

// "given", "guessed" or "chosen".
const char* RulesWord(bool kept_rules);
const char* SourceWord(AnsweredQuestion::Source source);
// The options that give the answer, and all that give one.
std::string OptionFor(const AnsweredQuestion& question);
std::string OptionsAsked(const AnsweredQuestion& question);
// What is said of an answer that was not given, if anything; `name` is the file's.
std::optional<std::string> SaidOf(const AnsweredQuestion& question, const std::string& name);

}  // namespace nvimport
