#include "apps/nvimport/CommandWords.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

// What stands for a question on the command line.
struct QuestionWords {
  std::string_view name;
  const char* option;
  const char* asked;
};

const QuestionWords& WordsOf(std::string_view name) {
  static constexpr QuestionWords kWords[] = {
      {"worksheets", "--sheet ", "which worksheets: --sheet SHEETS, --merge side|below"},
      {"matrices", "--sheet ", "which matrices: --sheet MATRICES, --merge side|below"},
      {"variables", "--sheet ", "which variables: --sheet VARIABLES"},
      {"tables", "--sheet ", "which table: --sheet TABLE"},
      {"blocks", "--blocks ", "which blocks: --blocks BLOCKS"},
      {"files", "--files ", "which files: --files FILES"},
      {"reference series",
       "--option reference=", "whose x values the others get: --option reference=N"},
      {"range", "--range ", "which points: --range FIRST,LAST"},
      {"format", "--format ", "which format: --format NAME"},
      {"delimiter", "--delimiter ",
       "what separates fields: --delimiter TEXT, --ignore-consecutive"}};
  return *std::ranges::find(kWords, name, &QuestionWords::name);
}

// The first word of a format's name, where --format knows it by that too.
std::string ShortName(std::string_view format) {
  std::string name(format.substr(0, format.find(' ')));
  std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
  if (FindFormat(name, /*for_writing=*/false) == 0) return "\"" + std::string(format) + "\"";
  return name;
}

bool IsWord(std::string_view delimiter) {
  return std::ranges::any_of(NamedDelimiters(),
                             [&](const NamedDelimiter& named) { return named.word == delimiter; });
}

// Of many numbers the first.
std::string FirstOf(const std::string& answer) {
  constexpr int kMost = 8;
  if (answer.find_first_not_of("0123456789,") != std::string::npos) return answer;
  auto end = answer.begin();
  for (int i = 0; i < kMost; ++i) {
    end = std::find(end + (i > 0 ? 1 : 0), answer.end(), ',');
    if (end == answer.end()) return answer;
  }
  return std::string(answer.begin(), end) + " and " +
         std::to_string(std::count(end, answer.end(), ',')) + " more";
}

}  // namespace

int ExitCodeOf(const Failure& failure) {
  switch (failure.kind) {
    case Failure::kArgument:
      return kWrongUsage;
    case Failure::kFormatUnknown:
      return kFormatUnknown;
    case Failure::kMissing:
      return kMissing;
    default:
      return kFailed;
  }
}

int Graver(int a, int b) {
  static constexpr std::array kFromGravest{kFailed,        kMissing, kWrongUsage,
                                           kFormatUnknown, kWarned,  kDone};
  const auto rank = [](int code) { return std::ranges::find(kFromGravest, code); };
  return rank(a) < rank(b) ? a : b;
}

const HostWords& CommandWords() {
  static const HostWords words = [] {
    HostWords ours;
    ours.format_given = "as --format says; without it the format is detected";
    ours.other_format =
        "--format NAME takes another format, \"nvimport detect FILE\" shows what the formats say";
    ours.any_format = "--format NAME takes one all the same";
    ours.all_cells = "without --kept-rules all cells are read";
    ours.complete = "it may be read without --kept-rules";
    ours.by_kept_rules = "read with --kept-rules";
    ours.choose_format = "no format was chosen; --format NAME does so beforehand";
    ours.choose_among = "--format NAME chooses among: ";
    ours.answer_before =
        "nothing was read; \"nvimport info FILE\" shows the options that answer beforehand";
    ours.password = "--password-file FILE gives the password, --password TEXT too";
    ours.allow_query =
        "--allow-query runs it; \"nvimport info --allow-query\" too asks the database";
    ours.range_numbers = "--range takes numbers from 1, a last one of 0 for the end";
    ours.no_regular_file = "read it through standard input, with - as the file";
    ours.replace = "--force replaces it";
    ours.sparse = "--sparse writes it all the same";
    ours.into_folder = "--outdir writes into one";
    ours.other_output = "--to NAME takes another format";
    ours.options_given = [](const std::string& pairs) {
      return "--option gave " + pairs + ", \"nvimport info FILE\" shows what there is";
    };
    ours.reads = [](std::string_view format) {
      return "--format " + ShortName(format) + " reads it";
    };
    ours.chooses = [](std::string_view question) {
      return std::string(WordsOf(question).option) + "N,N... chooses";
    };
    return ours;
  }();
  return words;
}

std::string FirstLine(const Failure& failure) {
  const bool refused = failure.status != 0 && !failure.detail.empty();
  return refused ? failure.text + " " + failure.detail : failure.text;
}

std::string SecondLine(const Failure& failure) {
  const std::string why = failure.status != 0 ? failure.advice : failure.Explanation();
  return failure.where + (failure.where.empty() || why.empty() ? "" : ": ") + why;
}

std::string FailureLines(const Failure& failure) {
  return "nvimport: " + FirstLine(failure) + "\n  " + SecondLine(failure) + "\n";
}

Failure WrongUsage(std::string text, std::string advice) {
  return {Failure::kArgument, std::move(text), std::move(advice)};
}

const char* RulesWord(bool kept_rules) { return kept_rules ? "kept" : "complete"; }

const char* SourceWord(AnsweredQuestion::Source source) {
  constexpr const char* kWords[] = {"given", "guessed", "chosen", "guessed", "refused", "chosen"};
  return kWords[static_cast<std::size_t>(source)];
}

std::string OptionFor(const AnsweredQuestion& question) {
  std::string value = question.value;
  if (question.name == "delimiter" && !IsWord(value)) value = "'" + value + "'";
  if (question.name == "format") value = "\"" + value + "\"";
  std::string option = WordsOf(question.name).option + value;
  if (question.merge) option += std::string(" --merge ") + kMergeWords[*question.merge];
  if (question.ignore_consecutive) option += " --ignore-consecutive";
  return option;
}

std::string OptionsAsked(const AnsweredQuestion& question) { return WordsOf(question.name).asked; }

std::optional<std::string> SaidOf(const AnsweredQuestion& question, const std::string& name) {
  using Source = AnsweredQuestion::Source;
  if (question.source == Source::kChosen) return "next time: " + OptionFor(question);
  const std::string otherwise =
      std::string(" (") + WordsOf(question.name).option + "... decides otherwise)";
  if (question.source == Source::kRepeated)
    return name + ": " + question.name + " as answered before: " + question.answer + otherwise;
  if (question.source != Source::kUsual) return std::nullopt;
  if (question.name == "delimiter")
    return name + ": the delimiter is taken to be " + question.answer +
           " (--delimiter decides otherwise)";
  if (question.name == "range")
    return name + ": all of the " + question.entries.front() +
           " (--range FIRST,LAST decides otherwise)";
  return name + ": of " + std::to_string(question.entries.size()) + " " + question.name +
         " taken: " + FirstOf(question.answer) + otherwise;
}

}  // namespace nvimport
