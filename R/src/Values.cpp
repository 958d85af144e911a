#include "Values.h"

#include <R_ext/Utils.h>

#include <climits>
#include <cpp11/protect.hpp>
#include <cpp11/sexp.hpp>
#include <cpp11/strings.hpp>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "nvimport/framework/SpreadsheetFile.h"

namespace nvimport {

using namespace cpp11::literals;

namespace {

// The argument that makes a choice, by the name that the choice has in the library.
std::string ArgumentOf(const std::string& choice) {
  if (choice == "worksheets" || choice == "matrices" || choice == "variables" || choice == "tables")
    return "sheet";
  return choice == "reference series" ? "options$reference" : choice;
}

}  // namespace

SEXP Given(SEXP list, const char* name) {
  const cpp11::sexp names = cpp11::safe[Rf_getAttrib](list, R_NamesSymbol);
  for (R_xlen_t i = 0; i < Rf_xlength(names); ++i)
    if (std::strcmp(CHAR(STRING_ELT(names, i)), name) == 0) return VECTOR_ELT(list, i);
  return R_NilValue;
}

std::vector<std::string> GivenTexts(SEXP list, const char* name) {
  const SEXP given = Given(list, name);
  std::vector<std::string> texts;
  for (R_xlen_t i = 0; Rf_isString(given) && i < Rf_xlength(given); ++i)
    texts.emplace_back(CHAR(STRING_ELT(given, i)));
  return texts;
}

std::optional<std::string> GivenText(SEXP list, const char* name) {
  auto texts = GivenTexts(list, name);
  if (texts.empty()) return std::nullopt;
  return std::move(texts.front());
}

std::optional<bool> GivenFlag(SEXP list, const char* name) {
  const SEXP given = Given(list, name);
  if (!Rf_isLogical(given) || Rf_xlength(given) != 1 || LOGICAL(given)[0] == NA_LOGICAL)
    return std::nullopt;
  return LOGICAL(given)[0] != 0;
}

int GivenCount(SEXP list, const char* name) {
  const SEXP given = Given(list, name);
  return Rf_isInteger(given) && Rf_xlength(given) == 1 ? INTEGER(given)[0] : 0;
}

Request RequestOf(SEXP given) {
  Request request;
  request.paths = GivenTexts(given, "paths");
  request.name = GivenText(given, "name").value_or("");
  request.format = GivenText(given, "format").value_or("");
  request.pairs = GivenText(given, "pairs").value_or("");
  const SEXP options = Given(given, "options");
  if (TYPEOF(options) == RAWSXP)
    request.options.emplace(reinterpret_cast<const char*>(RAW(options)),
                            static_cast<std::size_t>(Rf_xlength(options)));
  request.delimiter = GivenText(given, "delimiter");
  request.ignore_consecutive = GivenFlag(given, "ignore_consecutive").value_or(false);
  request.sheet = GivenText(given, "sheet");
  request.blocks = GivenText(given, "blocks");
  request.range = GivenText(given, "range");
  request.merge = GivenText(given, "merge").value_or("");
  request.kept_rules = GivenFlag(given, "kept_rules");
  request.password = GivenText(given, "password");
  request.allow_query = GivenFlag(given, "allow_query").value_or(false);
  request.query = GivenText(given, "query");
  request.parameters = GivenTexts(given, "parameters");
  request.columns = GivenText(given, "columns");
  request.skipped_rows = GivenCount(given, "skiprows");
  request.most_rows = GivenCount(given, "nrows");
  return request;
}

ColumnTyping TypingOf(SEXP given) {
  ColumnTyping typing;
  const std::string mark = GivenText(given, "decimal").value_or(".");
  if (!mark.empty()) typing.decimal_mark = mark.front();
  for (std::string& text : GivenTexts(given, "na")) typing.missing.insert(std::move(text));
  typing.keeps_texts = GivenFlag(given, "keeps_texts").value_or(false);
  typing.decoder = TextDecoder(GivenText(given, "encoding").value_or(""));
  return typing;
}

SEXP TextsOf(const std::vector<std::string>& texts, const TextDecoder& decoder) {
  const auto count = static_cast<R_xlen_t>(texts.size());
  const cpp11::sexp made = cpp11::safe[Rf_allocVector](STRSXP, count);
  TextMaker maker(decoder);
  cpp11::unwind_protect([&] {
    R_xlen_t at = 0;
    for (const std::string& text : texts) {
      // What a file says ends at a NUL.
      maker.PutAgain(made, at++, std::string_view(text.c_str()));
    }
  });
  return made;
}

SEXP NumbersOf(const std::vector<double>& numbers) {
  const cpp11::sexp made =
      cpp11::safe[Rf_allocVector](REALSXP, static_cast<R_xlen_t>(numbers.size()));
  std::copy(numbers.begin(), numbers.end(), REAL(made));
  return made;
}

SEXP WholesOf(const std::vector<int>& numbers) {
  const cpp11::sexp made =
      cpp11::safe[Rf_allocVector](INTSXP, static_cast<R_xlen_t>(numbers.size()));
  std::copy(numbers.begin(), numbers.end(), INTEGER(made));
  return made;
}

SEXP RefusalOf(const std::optional<Refusal>& refusal) {
  if (!refusal) return R_NilValue;
  constexpr const char* kKinds[] = {"error", "argument", "choice", "cancelled"};
  return cpp11::writable::list(
      {"kind"_nm = kKinds[static_cast<int>(refusal->kind)], "status"_nm = refusal->code,
       "text"_nm = refusal->text, "detail"_nm = refusal->detail, "advice"_nm = refusal->advice,
       "format"_nm = refusal->format, "argument"_nm = ArgumentOf(refusal->question),
       "candidates"_nm = TextsOf(refusal->candidates)});
}

SEXP ChoicesOf(const std::vector<Choice>& choices) {
  cpp11::writable::list made;
  for (const Choice& choice : choices)
    made.push_back(cpp11::writable::list(
        {"name"_nm = choice.name, "answer"_nm = choice.answer, "source"_nm = choice.source,
         "argument"_nm = ArgumentOf(choice.name), "entries"_nm = TextsOf(choice.entries),
         "names"_nm = TextsOf(choice.names)}));
  return made;
}

std::vector<std::string> NotesOf(const ReadResult& read) {
  std::vector<std::string> notes;
  for (const Choice& choice : read.choices) {
    if (choice.source != "guessed") continue;
    const std::string decides = ArgumentOf(choice.name) + "= decides otherwise.";
    if (choice.name == "delimiter")
      notes.push_back("The delimiter was taken to be " + choice.answer + "; " + decides);
    else if (choice.name == "range" && !choice.entries.empty())
      notes.push_back("All of the " + choice.entries.front() + " were taken; " + decides);
    else
      notes.push_back("Taken of " + std::to_string(choice.entries.size()) + " " + choice.name +
                      ": " + choice.answer + "; " + decides);
  }
  notes.insert(notes.end(), read.notes.begin(), read.notes.end());
  return notes;
}

void Statements::Add(int place, const Statement& one) {
  places.push_back(place);
  labels.push_back(one.label);
  keys.push_back(one.key);
  values.push_back(one.value);
}

SEXP Statements::Made(const TextDecoder& decoder) const {
  return cpp11::writable::list(
      {"place"_nm = WholesOf(places), "label"_nm = TextsOf(labels, decoder),
       "key"_nm = TextsOf(keys, decoder), "value"_nm = TextsOf(values, decoder)});
}

bool Interrupts::GoOn() {
  constexpr auto kInterval = std::chrono::milliseconds(50);
  const auto now = Clock::now();
  if (now < next_) return !has_come_;
  next_ = now + kInterval;
  // An interrupt would jump over the library's functions.
  if (!has_come_) has_come_ = R_ToplevelExec([](void*) { R_CheckUserInterrupt(); }, nullptr) == 0;
  return !has_come_;
}

CallHost HostOf(Interrupts& interrupts) {
  CallHost host;
  HostWords& words = host.words;
  words.format_given = "as format= says; without it the format is detected";
  words.other_format = "format= reads it as another";
  words.any_format = "format= reads it as a given one all the same";
  words.all_cells = "kept_rules=FALSE reads all cells";
  words.complete = "kept_rules=FALSE may read it";
  words.by_kept_rules = "kept_rules=TRUE reads it without NvImport Complete";
  words.choose_format = "format= chooses one";
  words.choose_among = "format= chooses among: ";
  words.password = "password= gives it";
  words.allow_query = "allow_query=TRUE runs it";
  words.replace = "overwrite=TRUE replaces it";
  words.other_output = "format= writes it as another";
  words.reads = [](std::string_view format) {
    return "format=\"" + std::string(format) + "\" reads it";
  };
  host.goes_on = [&interrupts] { return interrupts.GoOn(); };
  return host;
}

Refusal Cancelled() {
  Refusal refusal;
  refusal.kind = Refusal::Kind::kCancelled;
  refusal.code = kCancelled;
  refusal.text = "The import was cancelled.";
  return refusal;
}

}  // namespace nvimport
