#include "apps/nvimport/Combining.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "apps/nvimport/CommandWords.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/Combination.h"
#include "nvimport/hosting/export/OutputTarget.h"

namespace nvimport {

namespace {

CombinationRules RulesOf(const ConvertPlan& plan, const TextDecoder& decoder) {
  return {.columns = {plan.shape.skipped_rows, plan.has_header, decoder},
          .wanted = plan.columns,
          .has_exact_names = plan.shape.has_exact_names};
}

// Surveys a file in its turn, and says what there is to say of it.
std::optional<Survey> SurveyIn(FileTurn& turn, const CombinationRules& rules) {
  Survey survey = SurveyFile(turn.Request(), rules.columns);
  survey.import = turn.Told(std::move(survey.import));
  if (survey.import.failure) {
    turn.Fail(*survey.import.failure);
    return std::nullopt;
  }
  turn.SayNotes(survey.import);
  for (const SurveyedSheet& sheet : survey.sheets)
    if (sheet.columns.is_told_by_row && !turn.plan().quiet)
      turn.Say(turn.input().shown + (sheet.name.empty() ? "" : ", " + sheet.name) +
               ": its first row is taken for cells, not names (--header yes decides otherwise)");
  return survey;
}

std::string CountText(std::size_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// What a table of spectra with different x values lacks, or shows though it is not comparable.
std::vector<std::string> NotesOn(const CombinedColumns& columns) {
  std::vector<std::string> notes;
  if (const std::size_t others = columns.CountOtherAxes(); others > 0)
    notes.push_back(
        std::to_string(others) + " of " + CountText(columns.sheets_with_x(), "sheet") +
        (columns.has_all_x()
             ? " with x values lack some of the " + std::to_string(columns.x_count()) +
                   " x values: their cells are missing there"
             : " with x values have others than the first one: values at those are left out, and "
               "cells at x values that they lack are missing"));
  if (columns.x_units().size() > 1) {
    std::string units;
    for (const std::string& unit : columns.x_units())
      units += (units.empty() ? "" : ", ") + OneLine(unit);
    notes.push_back("x values of different units stand side by side: " + units);
  }
  return notes;
}

// All files of a run in one table.
class CombinedRun {
 public:
  CombinedRun(FileRun& run, const ConvertPlan& plan)
      : run_(run),
        plan_(plan),
        rules_(RulesOf(plan, run.plan().conversion.decoder)),
        columns_(plan.grid),
        description_(run.plan().descriptions.empty() ? "" : run.plan().descriptions[0]),
        target_(run.plan().outputs[0], plan.force, CommandWords()) {
    run.plan().take_found = [this](std::size_t index, const std::string& found) {
      Take(index, found);
    };
  }

  int Run() {
    for (const auto& failure : {target_.Check(), CheckDescription(description_, plan_)})
      if (failure) return SayFailure(*failure);
    return run_.ForEach(
        [this](FileTurn& turn) {
          if (const auto survey = SurveyIn(turn, rules_))
            turn.HandOver(SurveyedSheet::Bytes(survey->sheets));
        },
        [this] {
          if (!run_.has_stopped() && !sheets_.empty()) return Write();
          run_.FailThen({Failure::kFailed, "The table was not written.",
                         run_.keeps_going() ? "no file has anything for it"
                                            : "--keep-going leaves out a file that fails",
                         target_.shown()});
        });
  }

 private:
  struct Place {
    std::size_t input;
    SurveyedSheet sheet;  // without its columns
  };

  void Take(std::size_t index, const std::string& found) {
    auto sheets = SurveyedSheet::Parse(found);
    if (!sheets) return;
    for (SurveyedSheet& sheet : *sheets) {
      columns_.Add(sheet.columns);
      sheet.columns = {};
      rules_.has_sheets = rules_.has_sheets || !sheet.name.empty();
      sheets_.push_back({index, std::move(sheet)});
    }
  }

  void Write() {
    columns_.Settle();
    const RunPlan& plan = run_.plan();
    std::vector<std::string> notes = NotesOn(columns_);
    const ExportRequest output{.path = plan.outputs[0],
                               .format = plan_.format,
                               .conversion = plan.conversion,
                               .is_sparse = plan_.is_sparse,
                               .note = [&](const std::string& note) { notes.push_back(note); },
                               .words = CommandWords()};
    CombinedFile table(columns_, rules_, output, target_);
    auto failure = table.Settle();
    if (!failure)
      failure = table.Begin(
          DescriptionHead(plan_, table.description(), plan.conversion.decoder),
          HasMetadata(plan_.format)
              ? MetadataOf(plan_, table.description(), plan.conversion.decoder, output.path)
              : SheetMetadata());
    run_.progress().Begin("writing " + ShownName(output.path), "sheets");
    for (std::size_t i = 0; i < sheets_.size() && !failure; ++i) {
      if (!AddRows(table, sheets_[i])) return;
      run_.progress().Advance(i + 1, sheets_.size());
    }
    if (!failure) failure = table.Finish();
    if (!failure)
      failure = WriteDescription(description_, plan_, table.description(), plan.conversion.decoder);
    if (failure) return run_.FailThen(*failure);
    for (const std::string& note : notes) run_.NoteThen(note);
  }

  // False when that ends the table.
  bool AddRows(CombinedFile& table, const Place& place) {
    const RunPlan& plan = run_.plan();
    const Input input = plan.inputs[place.input];
    ImportRequest request = plan.import;
    request.files = input.files;
    request.name = input.name;
    request.remembered = &run_.plan().answered;
    const std::string source = ToUtf8(input.name.empty() ? input.files.front() : input.name);
    const auto added = table.Add(std::move(request), source, place.sheet);
    if (!added.failure) return true;
    const bool is_of_file = failed_ != place.input;
    if (is_of_file) run_.FailThen(*added.failure, place.input);
    failed_ = place.input;
    return !added.is_fatal && run_.keeps_going();
  }

  FileRun& run_;
  const ConvertPlan& plan_;
  CombinationRules rules_;
  CombinedColumns columns_;
  std::string description_;  // the path that it goes to, empty for none
  OutputTarget target_;
  std::vector<Place> sheets_;
  std::size_t failed_ = SIZE_MAX;  // the input whose failure was told last
};

}  // namespace

std::optional<Failure> SettleCombining(const Settings& settings, RunPlan& run, ConvertPlan& plan) {
  const bool makes_table = settings.combines || settings.with_source;
  const char* const name = settings.combines      ? "--combine"
                           : settings.with_source ? "--with-source"
                                                  : "--each-sheet";
  const struct {
    bool is_given;
    const char* option;
    const char* advice;
  } kRefused[] = {
      {settings.each_sheet && makes_table, "--each-sheet",
       "one writes sheets apart, the other together"},
      {!settings.merge.empty(), "--merge", "each worksheet is taken by itself"},
      {settings.goes_on && !settings.with_source, "--continue", "what is written is made anew"},
      {settings.combines && settings.together, "--together", "files become one sheet in one way"},
      {makes_table && settings.written_rows, "--rows",
       "all rows are taken; --skip-rows leaves out those above the names of tables"},
      {makes_table && settings.transposed, "--transpose", "the table is written row by row"},
      {makes_table && settings.is_long, "--long", "convert the table once more with that"},
      {settings.each_sheet && settings.output == "-", "-o -",
       "each sheet needs a file: -o OUT or --outdir FOLDER"},
  };
  if (makes_table || settings.each_sheet)
    for (const auto& refused : kRefused)
      if (refused.is_given)
        return WrongUsage(std::string(name) + " and " + refused.option + " exclude each other.",
                          refused.advice);
  if (!makes_table && (!settings.grid.empty() || !settings.header.empty()))
    return WrongUsage("--grid and --header are about tables of several sheets.",
                      "--combine makes one of files, --with-source one of worksheets");
  if (settings.combines && !settings.out_dir.empty())
    return WrongUsage("--combine writes one output.", "-o OUT names it, in place of --outdir");
  if (makes_table && !plan.format.own)
    return WrongUsage("A table of several sheets can't be written as that format.",
                      "--to takes csv, tsv, jsonl, json, xlsx, arrow or arrows for it");
  if (settings.grid == "first") plan.grid = CombinedColumns::Grid::kFirst;
  if (!settings.header.empty()) plan.has_header = settings.header == "yes";
  if (settings.combines) run.import.describing = Describing::kAll;
  if (settings.each_sheet)
    for (const OutputPaths* const paths : {&run.outputs, &run.descriptions})
      for (std::size_t i = 0; !paths->empty() && i < run.inputs.size(); ++i)
        plan.outputs.insert((*paths)[i]);
  return std::nullopt;
}

int RunCombine(FileRun& run, const ConvertPlan& plan) { return CombinedRun(run, plan).Run(); }

void CombineSheets(FileTurn& turn, const ConvertPlan& plan) {
  const std::string path = turn.output();
  OutputTarget target(path, plan.force, CommandWords());
  if (const auto failure = target.Check()) return turn.Fail(*failure);
  const std::string described = turn.description();
  if (const auto failure = CheckDescription(described, plan)) return turn.Fail(*failure);
  const TextDecoder& decoder = turn.plan().conversion.decoder;
  CombinationRules rules = RulesOf(plan, decoder);
  const auto survey = SurveyIn(turn, rules);
  if (!survey) return;
  CombinedColumns columns(plan.grid);
  for (const SurveyedSheet& sheet : survey->sheets) {
    columns.Add(sheet.columns);
    rules.has_sheets = rules.has_sheets || !sheet.name.empty();
  }
  columns.Settle();
  std::vector<std::string> notes = NotesOn(columns);
  const ExportRequest output = OutputOf(turn, plan, path, notes);
  CombinedFile table(columns, rules, output, target);
  auto failure = table.Settle();
  if (!failure)
    failure =
        table.Begin(DescriptionHead(plan, table.description(), decoder),
                    HasMetadata(plan.format) ? MetadataOf(plan, table.description(), decoder, path)
                                             : SheetMetadata());
  const Input& input = turn.input();
  const std::string source = ToUtf8(input.name.empty() ? input.files.front() : input.name);
  for (const SurveyedSheet& sheet : survey->sheets)
    if (!failure) failure = table.Add(turn.Request(), source, sheet).failure;
  if (!failure) failure = table.Finish();
  if (!failure) failure = WriteDescription(described, plan, table.description(), decoder);
  if (failure) return turn.Fail(*failure);
  turn.SayOutputNotes(notes);
}

}  // namespace nvimport
