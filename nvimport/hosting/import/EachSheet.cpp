#include "nvimport/hosting/import/EachSheet.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

#include "nvimport/hosting/import/ItemList.h"

namespace nvimport {

namespace {

// The question which sheets are to be read.
const AnsweredQuestion* QuestionIn(const ImportResult& result, SheetsWanted wanted) {
  constexpr std::string_view kNames[] = {"worksheets", "blocks", "matrices", "variables", "tables"};
  const auto names = std::span(kNames).first(wanted == SheetsWanted::kEach ? std::size(kNames) : 1);
  const auto found = std::ranges::find_if(result.questions, [&](const AnsweredQuestion& question) {
    return std::ranges::find(names, question.name) != names.end();
  });
  return found == result.questions.end() ? nullptr : &*found;
}

std::vector<std::size_t> PositionsTaken(const AnsweredQuestion& question) {
  return ParseItems(question.value, question.names).value_or(std::vector<std::size_t>());
}

}  // namespace

SheetsOfFile FindSheets(const ImportRequest& request, SheetsWanted wanted) {
  ImportRequest asking = request;
  asking.begins = nullptr;
  // They are not merged, so nobody needs to say how.
  asking.answers.merge = std::size(kMergeWords) - 1;
  if (wanted == SheetsWanted::kEach)
    for (auto* answer : {&asking.answers.sheets, &asking.answers.blocks})
      if (!*answer) *answer = "all";
  SheetsOfFile found{MeasureFile(asking), {}};
  if (found.import.failure) return found;
  ImportRequest again = request;
  again.files = found.import.files;
  // What was asked is not asked again.
  if (again.dialogs != nullptr) again.format = found.import.format;
  const AnsweredQuestion* const question = QuestionIn(found.import, wanted);
  if (question == nullptr) {
    again.options = found.import.options;
    found.sheets.push_back({"", std::move(again)});
    return found;
  }
  for (const std::size_t position : PositionsTaken(*question)) {
    ImportRequest one = again;
    (question->name == "blocks" ? one.answers.blocks : one.answers.sheets) =
        std::to_string(position + 1);
    found.sheets.push_back({question->names[position], std::move(one)});
  }
  return found;
}

std::vector<std::string> SheetsTaken(const ImportResult& result, SheetsWanted wanted) {
  std::vector<std::string> names;
  if (const AnsweredQuestion* const question = QuestionIn(result, wanted))
    for (const std::size_t position : PositionsTaken(*question))
      names.push_back(question->names[position]);
  return names;
}

}  // namespace nvimport
