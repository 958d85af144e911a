#include "apps/nvimport/FileRun.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/Complete.h"
#include "apps/nvimport/Delimiters.h"
#include "apps/nvimport/ItemList.h"
#include "apps/nvimport/OutputTarget.h"
#include "apps/nvimport/Terminal.h"
#include "nvimport/framework/FileSelection.h"

namespace nvimport {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kStandardInput = "-";

bool IsPlainName(const std::string& name) {
  constexpr std::size_t kLongestName = 255;
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find('/') == std::string::npos;
}

// The lines of `stream`, empty ones apart.
void TakeLines(std::istream& stream, std::vector<std::string>& lines) {
  for (std::string line; std::getline(stream, line);)
    if (!line.empty()) lines.push_back(line);
}

double InMilliseconds(double seconds) {
  constexpr double kMilli = 1000;
  return std::round(seconds * kMilli) / kMilli;
}

// What a report says of a file of which nothing more is known.
Json EntryOf(const RunPlan& plan, std::size_t index, const char* status, double seconds) {
  return {{"input", plan.inputs[index].shown},
          {"output", ToUtf8(plan.outputs[index])},
          {"status", status},
          {"exit_code", nullptr},
          {"seconds", InMilliseconds(seconds)},
          {"format", nullptr},
          {"rows", nullptr},
          {"columns", nullptr},
          {"text", nullptr},
          {"advice", nullptr},
          {"notes", Json::array()},
          {"warnings", Json::array()}};
}

}  // namespace

Failure WrongUsage(std::string text, std::string advice) {
  return {kWrongUsage, std::move(text), std::move(advice)};
}

int SayFailure(const Failure& failure) {
  std::cerr << FailureLines(failure) << std::flush;
  return failure.exit_code;
}

std::string JsonText(std::string_view text) { return nlohmann::json(ToUtf8(text)).dump(); }

FileTurn::FileTurn(const RunPlan& plan, std::size_t index, bool in_worker)
    : plan_(plan),
      index_(index),
      in_worker_(in_worker),
      progress_(!in_worker && !plan.quiet && ErrorsGoToScreen()),
      dialogs_(plan.answers, plan.asks && !in_worker && CanAsk(), progress_,
               [this](const std::string& line) {
                 if (!plan_.quiet && plan_.asks) Say(line);
               }) {}

void FileTurn::Say(const std::string& line) {
  progress_.Clear();
  if (in_worker_)
    report_.messages += line + "\n";
  else
    std::cerr << line << "\n" << std::flush;
}

void FileTurn::Fail(const Failure& failure) {
  failure_ = failure;
  report_.exit_code = failure.exit_code;
  std::string lines = FailureLines(failure);
  lines.pop_back();
  Say(lines);
  if (plan_.json)
    Print("{\"file\": " + JsonText(input().shown) + ", \"error\": " + JsonText(failure.text) +
          ", \"advice\": " + JsonText(failure.advice) + "}");
}

void FileTurn::SayNotes(const ImportSession& session) {
  const std::string whose = plan_.inputs.size() > 1 ? input().shown + ": " : "";
  const auto say_all = [&](std::string_view kind, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) Say(std::string(kind).append(whose).append(text));
  };
  say_all("warning: ", dialogs_.warnings());
  say_all("note: ", session.notes());
  CountNotes(session);
  if (plan_.reports && session.format() > 0)
    sheet_ = {session.format(), session.rows(), session.columns(), session.notes()};
}

FileReport&& FileTurn::TakeReport(std::optional<double> seconds) {
  const std::chrono::duration<double> here = Clock::now() - begun_;
  if (plan_.reports) report_.entry = Entry(seconds.value_or(here.count()));
  return std::move(report_);
}

std::string FileTurn::Entry(double seconds) const {
  Json json = EntryOf(plan_, index_, report_.exit_code == kDone ? "done" : "failed", seconds);
  json["exit_code"] = report_.exit_code;
  json["warnings"] = dialogs_.warnings();
  if (sheet_) {
    json["format"] = {{"index", sheet_->format}, {"name", FormatAt(sheet_->format).name}};
    json["notes"] = sheet_->notes;
  }
  if (failure_.exit_code != kDone) {
    json["text"] = failure_.text;
    json["advice"] = failure_.advice;
  } else if (sheet_) {
    json["rows"] = sheet_->rows;
    json["columns"] = sheet_->columns;
  }
  // A library's text may be in any encoding.
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void FileTurn::CountNotes(const ImportSession& session) {
  if (!session.notes().empty()) report_.noted_format = session.format();
  const bool warned = !dialogs_.warnings().empty() || !session.notes().empty();
  if (plan_.strict && warned && report_.exit_code == kDone) report_.exit_code = kWarned;
}

std::optional<Failure> FileRun::Prepare() {
  plan_.json = settings_.json;
  plan_.quiet = settings_.quiet;
  plan_.strict = settings_.strict;
  if (!settings_.format.empty()) {
    plan_.import.format = FindFormat(settings_.format, /*for_writing=*/false);
    if (plan_.import.format == 0)
      return WrongUsage("There is no format \"" + ShownName(settings_.format) + "\".",
                        "\"nvimport formats\" lists them");
  }
  plan_.conversion = {TextDecoder(settings_.encoding), TextEncoder(settings_.output_encoding),
                      settings_.safe_formulas};
  for (const auto& [ok, name] :
       {std::pair(plan_.conversion.decoder.ok(), &settings_.encoding),
        std::pair(plan_.conversion.encoder.ok(), &settings_.output_encoding)})
    if (!ok)
      return WrongUsage("\"" + ShownName(*name) + "\" is no encoding that texts can have here.",
                        "it must be one that \"iconv -l\" lists and that holds ASCII as it is");
  if (auto failure = TakeOptions()) return failure;
  return TakeFiles();
}

std::optional<Failure> FileRun::TakeOptions() {
  GivenAnswers& answers = plan_.answers;
  const auto take_delimiter = [&](std::string_view text) {
    answers.text_import = ParseDelimiter(text);
    plan_.import.delimiter = answers.text_import->delimiter;
  };
  if (settings_.delimiter) take_delimiter(*settings_.delimiter);
  answers.ignore_consecutive = settings_.ignore_consecutive;
  answers.sheets = settings_.sheets;
  answers.blocks = settings_.blocks;
  if (settings_.range) {
    answers.range = ParseRange(*settings_.range);
    if (!answers.range)
      return WrongUsage("\"" + ShownName(*settings_.range) + "\" is no range.",
                        "--range takes FIRST,LAST, points from 1, a last one of 0 for the end");
  }
  if (!settings_.merge.empty())
    answers.merge = std::ranges::find(kMergeWords, settings_.merge) - kMergeWords;
  for (const std::string& option : settings_.options) {
    const std::size_t equals = option.find('=');
    const std::string key = option.substr(0, equals);
    if (equals == std::string::npos || key.empty() || option.find(';', 0) < equals)
      return WrongUsage("\"" + ShownName(option) + "\" is no option of an import.",
                        "--option takes KEY=VALUE");
    const std::string value = option.substr(equals + 1);
    if (key == "delimiter") {
      take_delimiter(value);
    } else if (key == "ignore-consecutive") {
      if (value != "0" && value != "1")
        return WrongUsage("\"" + ShownName(option) + "\" is no option of an import.",
                          "ignore-consecutive is 0 or 1");
      answers.ignore_consecutive = value == "1";
    } else {
      plan_.import.options += (plan_.import.options.empty() ? "" : ";") + option;
    }
  }
  return std::nullopt;
}

std::optional<Failure> FileRun::TakeFiles() {
  if (settings_.chosen_files && !settings_.together)
    return WrongUsage("--files chooses among files that are one sheet.",
                      "--together makes them one");
  std::vector<std::string> names = settings_.files;
  bool takes_input = settings_.files_from == kStandardInput;
  if (takes_input) {
    TakeLines(std::cin, names);
  } else if (!settings_.files_from.empty()) {
    std::ifstream list(settings_.files_from);
    if (list) TakeLines(list, names);
    if (!list.eof())
      return Failure{kFailed, "The list of files cannot be read.",
                     ShownName(settings_.files_from) + ": " + SystemWords(errno)};
  }
  if (names.empty())
    return WrongUsage("There is no file to read.", "give FILE, or - to read standard input");
  for (const std::string& name : names) {
    if (name != kStandardInput) {
      plan_.inputs.push_back({name, ShownName(name), {}});
      continue;
    }
    if (std::exchange(takes_input, true))
      return WrongUsage("Standard input can be read only once.",
                        "give - once, as FILE or as the list of --files-from");
    if (!IsPlainName(settings_.stdin_name))
      return WrongUsage("\"" + ShownName(settings_.stdin_name) + "\" is no plain file name.",
                        "--stdin-name takes one without folders");
    spooled_.emplace(settings_.stdin_name);
    if (spooled_->failure()) return spooled_->failure();
    plan_.inputs.push_back({spooled_->path(), ShownName(settings_.stdin_name), {}});
  }
  return settings_.together ? JoinFiles() : std::nullopt;
}

std::optional<Failure> FileRun::JoinFiles() {
  std::vector<Input> files = std::move(plan_.inputs);
  if (settings_.chosen_files) {
    std::vector<std::string> names;
    names.reserve(files.size());
    for (const Input& file : files) names.push_back(file.shown);
    const auto positions = ParseItems(*settings_.chosen_files, names);
    if (!positions)
      return WrongUsage("\"" + ShownName(*settings_.chosen_files) + "\" is not among the files.",
                        "--files takes numbers from 1 to " + std::to_string(files.size()));
    std::vector<Input> chosen;
    for (const std::size_t position : *positions) chosen.push_back(files[position]);
    files = std::move(chosen);
  }
  if (files.size() == 1) {
    plan_.inputs = std::move(files);
    return std::nullopt;
  }
  std::vector<std::string> paths;
  paths.reserve(files.size());
  for (const Input& file : files) paths.push_back(file.path);
  plan_.inputs = {{FileSelection::Join(paths),
                   files.front().shown + " and " + std::to_string(files.size() - 1) + " more",
                   files}};
  return std::nullopt;
}

std::optional<Failure> FileRun::BeginReport() {
  if (settings_.report.empty()) return std::nullopt;
  const auto is_same = [&](const std::string& output) {
    const std::filesystem::path path = output;
    const std::filesystem::path report = settings_.report;
    std::error_code none;
    return path.filename() == report.filename() &&
           std::filesystem::weakly_canonical(path, none) ==
               std::filesystem::weakly_canonical(report, none);
  };
  if (std::ranges::any_of(plan_.outputs, is_same))
    return WrongUsage("The report can't go where an output goes.", "--report takes another name");
  plan_.reports = true;
  report_.emplace(settings_.report, settings_.force);
  return report_->Begin();
}

int FileRun::ForEach(const std::function<void(FileTurn&)>& command) {
  if (const auto failure = BeginReport()) return SayFailure(*failure);
  const std::size_t count = plan_.inputs.size();
  progress_.emplace(count > 1 && !plan_.quiet && ErrorsGoToScreen());
  progress_->Begin("all files", "files");
  const bool in_workers = (settings_.jobs > 1 && count > 1) || settings_.timeout > 0;
  const auto work = [&](std::size_t index) {
    FileTurn turn(plan_, index, in_workers);
    try {
      command(turn);
    } catch (const std::exception& exception) {
      turn.Fail({kFailed, "The file could not be dealt with.",
                 turn.input().shown + ": " + exception.what() + "; --keep-going does the others"});
    }
    return turn.TakeReport();
  };
  if (in_workers) {
    const auto died = [&](std::size_t index, const std::string& what, double seconds) {
      FileTurn turn(plan_, index, in_workers);
      turn.Fail({kFailed, "The file could not be dealt with.",
                 turn.input().shown + ": the worker that read it " + what});
      return turn.TakeReport(seconds);
    };
    RunInWorkers(count, settings_.jobs, std::chrono::seconds(settings_.timeout), work, died,
                 [&](std::size_t, const FileReport& report) { return Report(report); });
  } else {
    for (std::size_t i = 0; i < count && Report(work(i)); ++i) continue;
  }
  Finish();
  return exit_code_;
}

bool FileRun::Report(const FileReport& report) {
  if (!report.messages.empty() || !report.data.empty()) progress_->Clear();
  std::cerr << report.messages << std::flush;
  exit_code_ = Graver(exit_code_, report.exit_code);
  if (report.noted_format > 0) noted_formats_.insert(report.noted_format);
  ++(report.exit_code == kDone ? done_ : failed_);
  if (report_) report_->Add(report.entry);
  if (plan_.json) {
    if (!report.data.empty()) json_ += (json_.empty() ? "\n  " : ",\n  ") + report.data;
  } else if (!report.data.empty()) {
    if (const auto failure = PrintData(report.data)) {
      exit_code_ = SayFailure(*failure);
      return false;
    }
  }
  progress_->Advance(done_ + failed_, plan_.inputs.size());
  return settings_.keep_going || report.exit_code == kDone;
}

void FileRun::Finish() {
  progress_->Clear();
  const std::size_t count = plan_.inputs.size();
  const std::size_t tried = done_ + failed_;
  const double seconds = std::chrono::duration<double>(ProgressLine::Clock::now() - begun_).count();
  if (report_) {
    for (std::size_t i = tried; i < count; ++i)
      report_->Add(EntryOf(plan_, i, "not tried", 0).dump());
    if (const auto failure = report_->End({count, done_, failed_, InMilliseconds(seconds)}))
      exit_code_ = SayFailure(*failure);
  }
  if (plan_.json) {
    if (const auto failure = PrintData(R"({"version": 1, "files": [)" + json_ + "\n]}\n"))
      exit_code_ = SayFailure(*failure);
  }
  if (plan_.quiet) return;
  for (const int format : noted_formats_)
    if (CompleteWouldServe(format))
      std::cerr << "--complete reads \"" << FormatAt(format).name
                << "\" without the old rules that leave cells out\n";
  if (count < 2) return;
  std::cerr << count << " files: " << done_ << " done, " << failed_ << " failed";
  if (tried < count) std::cerr << ", " << count - tried << " not tried";
  if (progress_->shown() && begun_ + ProgressLine::kPatience < ProgressLine::Clock::now())
    std::cerr << " in " << DurationText(seconds) << ", "
              << RoundedText(static_cast<double>(tried) / seconds) << " files/s";
  std::cerr << "\n" << std::flush;
}

}  // namespace nvimport
