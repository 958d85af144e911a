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

#include "apps/nvimport/Descriptions.h"
#include "apps/nvimport/Terminal.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/ItemList.h"
#include "nvimport/platform/NvFile.h"

namespace nvimport {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kStandardInput = "-";

bool IsPlainName(const std::string& name) {
  constexpr std::size_t kLongestName = 255;
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find('/') == std::string::npos;
}

// The names in `stream`, empty ones apart, each before an `end`.
void TakeNames(std::istream& stream, char end, std::vector<std::string>& names) {
  for (std::string name; std::getline(stream, name, end);) {
    // Lists come from Windows too; a name itself hardly ends so.
    if (end == '\n' && name.ends_with('\r') && !NvFile::Exists(name.c_str())) name.pop_back();
    if (!name.empty()) names.push_back(name);
  }
}

// Takes the names from the list at `path`, which "-" reads from standard input.
std::optional<Failure> TakeList(const std::string& path, char end,
                                std::vector<std::string>& names) {
  if (path.empty()) return std::nullopt;
  if (path == kStandardInput) return TakeNames(std::cin, end, names), std::nullopt;
  std::ifstream list(path);
  if (list) TakeNames(list, end, names);
  if (list.eof()) return std::nullopt;
  const int error = errno;
  auto failure = Failure::OfSystem("The list of files cannot be read.", ShownName(path), error);
  if (error == ENOENT) failure.kind = Failure::kMissing;
  return failure;
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
          {"rules", nullptr},
          {"rows", nullptr},
          {"columns", nullptr},
          {"text", nullptr},
          {"advice", nullptr},
          {"notes", Json::array()},
          {"warnings", Json::array()}};
}

}  // namespace

int SayFailure(const Failure& failure) {
  std::cerr << FailureLines(failure) << std::flush;
  return ExitCodeOf(failure);
}

std::string JsonText(std::string_view text) { return nlohmann::json(ToUtf8(text)).dump(); }

FileTurn::FileTurn(const RunPlan& plan, std::size_t index, bool in_worker)
    : plan_(plan),
      index_(index),
      in_worker_(in_worker),
      progress_(!in_worker && !plan.quiet && ErrorsGoToScreen()) {
  if (plan.asks && !in_worker && CanAsk()) dialogs_.emplace(input().shown, progress_);
}

ImportRequest FileTurn::Request() {
  ImportRequest request = plan_.import;
  request.files = input().files;
  request.name = input().name;
  request.dialogs = dialogs_ ? &*dialogs_ : nullptr;
  // The bar follows all files that are read and written; here its label is renewed.
  request.progress = [this](const ImportProgress& now) {
    if (now.begins)
      progress_.Begin(
          (now.stage == ImportProgress::kSizing ? "establishing the size of " : "reading ") +
          input().shown);
    return progress_.Advance(now.position, now.size);
  };
  return request;
}

ImportResult FileTurn::Told(ImportResult result) {
  result_ = result;
  if (!plan_.asks || plan_.quiet) return result;
  for (const AnsweredQuestion& question : result.questions)
    if (const auto said = SaidOf(question, input().shown)) Say(*said);
  if (result.failure) return result;
  const GivenAnswers& given = plan_.import.answers;
  const auto say_unneeded = [&](bool is_given, std::string_view key, std::string_view name,
                                const char* option) {
    const auto is_asked = [&](const AnsweredQuestion& question) { return question.name == name; };
    if (is_given && std::ranges::none_of(result.questions, is_asked) &&
        !HasOption(FormatAt(result.format).name, key))
      Say(input().shown + ": " + option + " was not needed, there was no such choice");
  };
  say_unneeded(given.sheets.has_value(), "sheets", "worksheets", "--sheet");
  say_unneeded(given.blocks.has_value(), "blocks", "blocks", "--blocks");
  say_unneeded(given.range.has_value(), "range", "range", "--range");
  return result;
}

void FileTurn::Say(const std::string& line) {
  progress_.Clear();
  if (in_worker_)
    report_.messages += line + "\n";
  else
    std::cerr << line << "\n" << std::flush;
}

void FileTurn::Fail(const Failure& failure) {
  failure_ = failure;
  report_.exit_code = ExitCodeOf(failure);
  std::string lines = FailureLines(failure);
  lines.pop_back();
  Say(lines);
  if (plan_.json)
    Print(Json{
        {"file", input().shown}, {"error", FirstLine(failure)}, {"advice", SecondLine(failure)}}
              .dump());
}

void FileTurn::SayNotes(const ImportResult& result) {
  const std::string whose = plan_.inputs.size() > 1 ? input().shown + ": " : "";
  const auto say_all = [&](std::string_view kind, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) Say(std::string(kind).append(whose).append(text));
  };
  say_all("warning: ", result.warnings);
  say_all("note: ", result.notes);
  CountNotes(result);
}

void FileTurn::SayOutputNotes(const std::vector<std::string>& notes) {
  const std::string whose = plan_.inputs.size() > 1 ? input().shown + ": " : "";
  for (const std::string& note : notes) Say(std::string("note: ").append(whose).append(note));
  result_.notes.insert(result_.notes.end(), notes.begin(), notes.end());
  if (plan_.strict && !notes.empty() && report_.exit_code == kDone) report_.exit_code = kWarned;
}

FileReport&& FileTurn::TakeReport(std::optional<double> seconds) {
  const std::chrono::duration<double> here = Clock::now() - begun_;
  if (plan_.reports) report_.entry = Entry(seconds.value_or(here.count()));
  return std::move(report_);
}

std::string FileTurn::Entry(double seconds) const {
  Json json = EntryOf(plan_, index_, report_.exit_code == kDone ? "done" : "failed", seconds);
  json["exit_code"] = report_.exit_code;
  json["warnings"] = result_.warnings;
  if (result_.format > 0) {
    json["format"] = {{"index", result_.format}, {"name", FormatName(result_.format)}};
    json["rules"] = RulesWord(result_.kept_rules);
    json["notes"] = result_.notes;
  }
  if (result_.format > 0 && plan_.import.describing == Describing::kAll)
    json["description"] =
        DescriptionJson(result_.description, plan_.conversion.decoder, /*with_x=*/false);
  if (failure_) {
    json["text"] = FirstLine(*failure_);
    json["advice"] = SecondLine(*failure_);
  } else if (result_.format > 0) {
    json["rows"] = result_.rows;
    json["columns"] = result_.columns;
  }
  // A library's text may be in any encoding.
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void FileTurn::CountNotes(const ImportResult& result) {
  if (!result.notes.empty()) report_.noted_format = result.format;
  const bool warned = !result.warnings.empty() || !result.notes.empty();
  if (plan_.strict && warned && report_.exit_code == kDone) report_.exit_code = kWarned;
}

std::optional<Failure> FileRun::Prepare() {
  plan_.json = settings_.json;
  plan_.quiet = settings_.quiet;
  plan_.strict = settings_.strict;
  plan_.import.words = CommandWords();
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
  GivenAnswers& answers = plan_.import.answers;
  if (settings_.delimiter) answers.text_import = ParseDelimiter(*settings_.delimiter);
  answers.ignore_consecutive = settings_.ignore_consecutive;
  answers.sheets = settings_.sheets;
  answers.blocks = settings_.blocks;
  if (settings_.range) {
    answers.range = ParseRange(*settings_.range);
    if (!answers.range)
      return WrongUsage("\"" + ShownName(*settings_.range) + "\" is no range.",
                        "--range takes FIRST,LAST, points from 1, a last one of 0 for the end");
  }
  plan_.import.kept_rules = settings_.kept_rules;
  if (!settings_.merge.empty())
    answers.merge = std::ranges::find(kMergeWords, settings_.merge) - kMergeWords;
  answers.password = settings_.password;
  if (!settings_.password_file.empty()) {
    std::string& password = answers.password.emplace();
    if (!std::getline(std::ifstream(settings_.password_file), password) || password.empty())
      return WrongUsage("There is no password in \"" + ShownName(settings_.password_file) + "\".",
                        "--password-file takes a file whose first line is one");
    if (password.ends_with('\r')) password.pop_back();
  }
  for (const std::string& option : settings_.options) {
    const std::size_t equals = option.find('=');
    const std::string key = option.substr(0, equals);
    if (equals == std::string::npos || key.empty() || option.find(';', 0) < equals)
      return WrongUsage("\"" + ShownName(option) + "\" is no option of an import.",
                        "--option takes KEY=VALUE");
    const std::string value = option.substr(equals + 1);
    if (key == "delimiter") {
      answers.text_import = ParseDelimiter(value);
    } else if (key == "ignore-consecutive") {
      if (value != "0" && value != "1")
        return WrongUsage("\"" + ShownName(option) + "\" is no option of an import.",
                          "ignore-consecutive is 0 or 1");
      answers.ignore_consecutive = value == "1";
    } else {
      plan_.import.pairs += (plan_.import.pairs.empty() ? "" : ";") + option;
    }
  }
  return std::nullopt;
}

std::optional<Failure> FileRun::TakeFiles() {
  if (settings_.chosen_files && !settings_.together)
    return WrongUsage("--files chooses among files that are one sheet.",
                      "--together makes them one");
  std::vector<std::string> names = settings_.files;
  bool takes_input = false;
  for (const auto& [list, end] :
       {std::pair(settings_.files_from, '\n'), std::pair(settings_.files_from0, '\0')}) {
    takes_input = takes_input || list == kStandardInput;
    if (auto failure = TakeList(list, end, names)) return failure;
  }
  if (names.empty())
    return WrongUsage("There is no file to read.", "give FILE, or - to read standard input");
  for (const std::string& name : names) {
    if (name != kStandardInput) {
      plan_.inputs.push_back({{name}, "", ShownName(name)});
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
    plan_.inputs.push_back(
        {{spooled_->path()}, settings_.stdin_name, ShownName(settings_.stdin_name)});
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
  Input joined = files.front();
  for (std::size_t i = 1; i < files.size(); ++i) joined.files.push_back(files[i].files.front());
  joined.name = files.front().shown;
  joined.shown += " and " + std::to_string(files.size() - 1) + " more";
  plan_.inputs = {std::move(joined)};
  return std::nullopt;
}

std::optional<Failure> FileRun::BeginReport() {
  std::vector<std::string> besides = plan_.descriptions;
  if (!settings_.report.empty()) besides.push_back(settings_.report);
  if (besides.empty()) return std::nullopt;
  std::set<std::filesystem::path> taken;
  const auto take = [&](const std::string& path) {
    std::error_code none;
    const auto absolute = std::filesystem::absolute(path, none);
    return taken.insert(std::filesystem::weakly_canonical(absolute, none)).second;
  };
  for (const Input& input : plan_.inputs)
    for (const std::string& file : input.files) take(file);
  for (const std::string& output : plan_.outputs) take(output);
  for (const std::string& path : besides)
    if (path != "-" && !take(path))
      return WrongUsage(
          (path == settings_.report ? "The report" : "A description") +
              std::string(" can't go where an input, an output or another such file is."),
          "--report and --describe take other names");
  if (settings_.report.empty()) return std::nullopt;
  plan_.reports = true;
  report_.emplace(settings_.report, settings_.force, CommandWords());
  return report_->Begin(R"({"version": 1, "files": [)");
}

int FileRun::ForEach(const std::function<void(FileTurn&)>& command) {
  if (const auto failure = BeginReport()) return SayFailure(*failure);
  const std::size_t count = plan_.inputs.size();
  progress_.emplace(count > 1 && !plan_.quiet && ErrorsGoToScreen());
  progress_->Begin("all files", "files");
  const BatchSettings batch{settings_.jobs, std::chrono::seconds(settings_.timeout)};
  const bool in_workers = batch.TakesWorkers(count);
  const auto undone = [](FileTurn& turn, std::string detail, const char* advice) {
    Failure failure{Failure::kFailed, "The file could not be dealt with.", advice,
                    turn.input().shown};
    failure.detail = std::move(detail);
    turn.Fail(failure);
  };
  const auto work = [&](std::size_t index) {
    FileTurn turn(plan_, index, in_workers);
    try {
      command(turn);
    } catch (const std::exception& exception) {
      undone(turn, exception.what(), "--keep-going does the others");
    }
    return turn.TakeReport();
  };
  const auto died = [&](std::size_t index, const WorkerEnd& end) {
    FileTurn turn(plan_, index, in_workers);
    undone(turn, "the worker that read it " + end.what,
           end.is_late ? "a larger --timeout gives it longer"
                       : "leave the file out, and send it to the makers");
    return turn.TakeReport(end.seconds);
  };
  RunBatch(count, batch, work, died,
           [&](std::size_t, const FileReport& report) { return Report(report); });
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
    const Json totals = {{"files", count},
                         {"done", done_},
                         {"failed", failed_},
                         {"not_tried", count - tried},
                         {"seconds", InMilliseconds(seconds)}};
    if (const auto failure = report_->End("\n], \"totals\": " + totals.dump() + "}\n"))
      exit_code_ = SayFailure(*failure);
  }
  if (plan_.json) {
    if (const auto failure =
            PrintData(EscapeInJson(R"({"version": 1, "files": [)" + json_ + "\n]}\n")))
      exit_code_ = SayFailure(*failure);
  }
  if (plan_.quiet) return;
  for (const int format : noted_formats_)
    if (settings_.kept_rules && HasMoreCellsThanKept(format))
      std::cerr << "without --kept-rules all cells of \"" << FormatAt(format).name
                << "\" are read\n";
  if (count < 2) return;
  std::cerr << count << " files: " << done_ << " done, " << failed_ << " failed";
  if (tried < count) std::cerr << ", " << count - tried << " not tried";
  if (progress_->shown() && begun_ + ProgressLine::kPatience < ProgressLine::Clock::now())
    std::cerr << " in " << DurationText(seconds) << ", "
              << RoundedText(static_cast<double>(tried) / seconds) << " files/s";
  std::cerr << "\n" << std::flush;
}

}  // namespace nvimport
