#pragma once

#include <chrono>
#include <cpp11/R.hpp>
#include <cpp11/list.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Column.h"
#include "nvimport/hosting/calls/Calls.h"

namespace nvimport {

// Plain values on their way from and to R.

// The element of a list, NULL where there is none.
SEXP Given(SEXP list, const char* name);
std::optional<std::string> GivenText(SEXP list, const char* name);
std::optional<bool> GivenFlag(SEXP list, const char* name);
int GivenCount(SEXP list, const char* name);
std::vector<std::string> GivenTexts(SEXP list, const char* name);

Request RequestOf(SEXP given);
// Throws where there is no such encoding.
ColumnTyping TypingOf(SEXP given);

SEXP TextsOf(const std::vector<std::string>& texts, const TextDecoder& decoder = TextDecoder());
SEXP NumbersOf(const std::vector<double>& numbers);
SEXP WholesOf(const std::vector<int>& numbers);
SEXP RefusalOf(const std::optional<Refusal>& refusal);
SEXP ChoicesOf(const std::vector<Choice>& choices);
// What was answered without having been asked, and cells that were left out.
std::vector<std::string> NotesOf(const ReadResult& read);

// A list of statements: the numbers of their rows (0 for the whole file) or `files`, labels, keys,
// values.
struct Statements {
  std::vector<int> places{};
  std::vector<std::string> labels{};
  std::vector<std::string> keys{};
  std::vector<std::string> values{};

  void Add(int place, const Statement& one);
  SEXP Made(const TextDecoder& decoder) const;
};

// Lets R look for the user's interrupts now and then.
class Interrupts {
 public:
  bool GoOn();
  bool has_come() const { return has_come_; }

 private:
  using Clock = std::chrono::steady_clock;

  Clock::time_point next_ = Clock::now();
  bool has_come_ = false;
};

// What calls bring along: the ways out of failures as R has them, and its interrupts.
CallHost HostOf(Interrupts& interrupts);
Refusal Cancelled();

}  // namespace nvimport
