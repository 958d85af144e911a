#include "apps/nvimport/FileRun.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "apps/nvimport/Descriptions.h"
#include "apps/nvimport/Terminal.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/ItemList.h"
#include "nvimport/platform/Console.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/HandOver.h"
#include "nvimport/platform/NvFile.h"

namespace nvimport {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kStandardInput = "-";
constexpr const char* kInputs = "inputs";

bool IsPlainName(const std::string& name) {
  constexpr std::size_t kLongestName = 255;
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find_first_of(kFolderEnds) == std::string::npos;
}

using NameTaker = std::function<std::optional<Failure>(const std::string& name)>;

// The names in `stream`, empty ones apart, each before an `end`.
std::optional<Failure> TakeNames(std::istream& stream, char end, const NameTaker& take) {
  for (std::string name; std::getline(stream, name, end);) {
    // Lists come from Windows too; a name itself hardly ends so.
    if (end == '\n' && name.ends_with('\r') && !NvFile::Exists(name.c_str())) name.pop_back();
    if (name.empty()) continue;
    if (auto failure = take(name)) return failure;
  }
  return std::nullopt;
}

// Takes the names from the list at `path`, which "-" reads from standard input.
std::optional<Failure> TakeList(const std::string& path, char end, const NameTaker& take) {
  if (path.empty()) return std::nullopt;
  if (path == kStandardInput) return TakeNames(std::cin, end, take);
  std::ifstream list(FilePath(path), std::ios::binary);
  if (list)
    if (auto failure = TakeNames(list, end, take)) return failure;
  if (list.eof()) return std::nullopt;
  const int error = errno;
  auto failure = Failure::OfSystem("The list of files cannot be read.", ShownName(path), error);
  if (error == ENOENT) failure.kind = Failure::kMissing;
  return failure;
}

constexpr const char* kJsonHead = R"({"version": 1, "files": [)";

double InMilliseconds(double seconds) {
  constexpr double kMilli = 1000;
  return std::round(seconds * kMilli) / kMilli;
}

// What is answered of a file or folder that could not be read.
std::string FailureJson(const std::string& name, const Failure& failure) {
  return Json{{"file", name}, {"error", FirstLine(failure)}, {"advice", SecondLine(failure)}}
      .dump();
}

// What a report says of a file of which nothing more is known.
Json EntryOf(const std::string& input, const std::string& output, const char* status,
             double seconds) {
  return {
      {"input", input},         {"output", ToUtf8(output)}, {"status", status},
      {"exit_code", nullptr},   {"bytes", nullptr},         {"seconds", InMilliseconds(seconds)},
      {"format", nullptr},      {"rules", nullptr},         {"rows", nullptr},
      {"columns", nullptr},     {"text", nullptr},          {"advice", nullptr},
      {"notes", Json::array()}, {"warnings", Json::array()}};
}

}  // namespace

int SayFailure(const Failure& failure) {
  std::cerr << FailureLines(failure) << std::flush;
  return ExitCodeOf(failure);
}

std::string JsonText(std::string_view text) { return nlohmann::json(ToUtf8(text)).dump(); }

FileTurn::FileTurn(RunPlan& plan, std::size_t index, bool in_worker)
    : plan_(plan),
      index_(index),
      input_(plan.inputs[index]),
      in_worker_(in_worker),
      progress_(!in_worker && !plan.quiet && ErrorsGoToScreen()) {
  if (plan.asks && plan.asks_user && !in_worker && CanAsk())
    dialogs_.emplace(input().shown, progress_);
}

ImportRequest FileTurn::Request() {
  ImportRequest request = plan_.import;
  request.files = input().files;
  request.name = input().name;
  request.dialogs = dialogs_ ? &*dialogs_ : nullptr;
  request.asks_format = plan_.inputs.FolderOf(index_) == InputList::kNone;
  request.remembered = &plan_.answered;
  request.continues = plan_.stream;
  request.leaves_size_open = request.leaves_size_open || plan_.stream >= 0;
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
    const auto is_asked = [&](const AnsweredQuestion& question) {
      constexpr std::string_view kAlike[] = {"matrices", "variables", "tables"};
      return question.name == name ||
             (name == "worksheets" && std::ranges::find(kAlike, question.name) != std::end(kAlike));
    };
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
  if (report_.fate == FileReport::kLeftOut) return;
  progress_.Clear();
  if (in_worker_)
    report_.messages += line + "\n";
  else
    std::cerr << line << "\n" << std::flush;
}

void FileTurn::Fail(const Failure& failure) {
  if (!LeaveOut()) FailAsNamed(failure);
}

bool FileTurn::LeaveOut() {
  if (plan_.takes_all || plan_.inputs.FolderOf(index_) == InputList::kNone) return false;
  const std::string& path = input().files.front();
  if (CheckFiles({path}) ||
      IsReadable(path, plan_.import.kept_rules.value_or(false), plan_.import.format))
    return false;
  report_ = {};
  report_.fate = FileReport::kLeftOut;
  return true;
}

bool FileTurn::IsDoneBy(const FormerRun& former) {
  const std::string description = plan_.descriptions.empty() ? "" : plan_.descriptions[index_];
  auto entry = former.TakeUp(input().shown, plan_.outputs[index_], description);
  if (!entry) return false;
  (*entry)["skipped"] = true;
  report_.fate = FileReport::kSkipped;
  report_.entry = entry->dump();
  return true;
}

bool FileTurn::MakeRoom() {
  if (!plan_.outputs.is_tree()) return true;
  // Files of one folder come one after the other.
  static thread_local std::filesystem::path last_made;
  for (const OutputPaths* paths : {&plan_.outputs, &plan_.descriptions}) {
    if (paths->empty()) continue;
    const auto folder = FilePath((*paths)[index_]).parent_path();
    std::error_code error;
    if (folder == last_made) continue;
    const bool is_there = std::filesystem::exists(folder, error);
    if (!is_there && LeaveOut()) return false;
    if (!is_there) std::filesystem::create_directories(folder, error);
    if (error) {
      FailAsNamed(Failure::OfSystem("The output folder could not be made.",
                                    ShownName(PathText(folder)), error.value()));
      return false;
    }
    last_made = folder;
  }
  return true;
}

void FileTurn::FailAsNamed(const Failure& failure) {
  failure_ = failure;
  report_.exit_code = ExitCodeOf(failure);
  std::string lines = FailureLines(failure);
  lines.pop_back();
  Say(lines);
  if (plan_.json) Print(FailureJson(input().shown, failure));
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
  if (plan_.reports && report_.fate == FileReport::kTried)
    report_.entry = Entry(seconds.value_or(here.count()));
  return std::move(report_);
}

std::string FileTurn::Entry(double seconds) const {
  Json json = EntryOf(input().shown, plan_.outputs[index_],
                      report_.exit_code == kDone ? "done" : "failed", seconds);
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
    const auto bytes = [](const std::string& path) -> Json {
      const PathStatus written = StatusOf(path.c_str());
      if (written.kind != PathStatus::kFile) return nullptr;
      return written.size;
    };
    if (!plan_.take_found && outputs_.empty()) json["bytes"] = bytes(plan_.outputs[index_]);
    json["rows"] = result_.rows;
    json["columns"] = result_.columns;
    for (const std::string& path : outputs_)
      json["outputs"].push_back({{"output", ToUtf8(path)}, {"bytes", bytes(path)}});
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
  plan_.asks_user = !settings_.no_input;
  plan_.import.words = CommandWords();
  if (!settings_.format.empty()) {
    plan_.import.format = FindFormat(settings_.format, /*for_writing=*/false);
    if (plan_.import.format == 0)
      return WrongUsage("There is no format \"" + ShownName(settings_.format) + "\".",
                        "\"nvimport formats\" lists them");
  }
  plan_.conversion = {TextDecoder(settings_.encoding), TextEncoder(settings_.output_encoding),
                      settings_.safe_formulas, settings_.decimal_mark == "," ? ',' : '.'};
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
  answers.allow_query = settings_.allow_query;
  if (!settings_.password_file.empty()) {
    std::string& password = answers.password.emplace();
    if (!std::getline(std::ifstream(FilePath(settings_.password_file)), password) ||
        password.empty())
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
  // A worker's files must be those of the first process, whatever is in the folders by now.
  if (IsBegunAnew()) {
    plan_.inputs = InputList::FromText(HandedOver(kInputs));
    return std::nullopt;
  }
  HandOver(kInputs, [this] { return plan_.inputs.Text(); });
  const std::string& report = settings_.report;
  std::vector<std::string> outputs = {settings_.out_dir, settings_.output, report,
                                      BatchReport::UnfinishedPath(report),
                                      BatchReport::FormerPath(report)};
  if (!settings_.out_dir.empty()) outputs.push_back(settings_.description);
  walk_.emplace(
      WalkSettings{settings_.recursive, settings_.include, settings_.exclude, std::move(outputs)});
  const auto take = [this](const std::string& name) { return TakeName(name); };
  // A list on standard input leaves nothing there for a file.
  takes_input_ = settings_.files_from == kStandardInput || settings_.files_from0 == kStandardInput;
  for (const std::string& name : settings_.files)
    if (auto failure = take(name)) return failure;
  if (auto failure = TakeList(settings_.files_from, '\n', take)) return failure;
  if (auto failure = TakeList(settings_.files_from0, '\0', take)) return failure;
  if ((settings_.query || settings_.table) && !plan_.import.database)
    return WrongUsage("There is no database to ask.", "odbc:DSN=NAME in place of a file names one");
  if (plan_.import.database && (plan_.inputs.size() > 1 || !folders_.empty()))
    return WrongUsage("A database is read by itself.", "leave out what else is to be read");
  if (plan_.inputs.size() == 0 && folders_.empty())
    return WrongUsage("There is no file to read.", "give FILE, or - to read standard input");
  return settings_.together ? JoinFiles() : std::nullopt;
}

std::optional<Failure> FileRun::TakeName(const std::string& name) {
  if (DatabaseSource::IsOne(name)) return TakeDatabase(name);
  if (name != kStandardInput) {
    if (IsFolderOfFiles(name))
      TakeFolder(name);
    else
      plan_.inputs.Add(name);
    return std::nullopt;
  }
  if (std::exchange(takes_input_, true))
    return WrongUsage("Standard input can be read only once.",
                      "give - once, as FILE or as the list of --files-from");
  if (!IsPlainName(settings_.stdin_name))
    return WrongUsage("\"" + ShownName(settings_.stdin_name) + "\" is no plain file name.",
                      "--stdin-name takes one without folders");
  spooled_.emplace(settings_.stdin_name);
  if (spooled_->failure()) return spooled_->failure();
  plan_.inputs.Add({{spooled_->path()}, settings_.stdin_name, ShownName(settings_.stdin_name)});
  return std::nullopt;
}

std::optional<Failure> FileRun::TakeDatabase(const std::string& name) {
  auto failure = DatabaseSource::Take(name, settings_.query.value_or(""), {}, plan_.import);
  if (failure) return failure;
  if (settings_.table) plan_.import.answers.sheets = settings_.table;
  const std::string& shown = plan_.import.name;
  plan_.inputs.Add({plan_.import.files, shown, shown});
  return std::nullopt;
}

std::optional<Failure> FileRun::SettleInput(bool in_workers) {
  if (!spooled_ || spooled_->is_whole()) return std::nullopt;
  if (plan_.takes_stream && plan_.inputs.size() == 1 && plan_.inputs[0].files.size() == 1 &&
      !in_workers &&
      spooled_->CanComeLater(plan_.import.format, plan_.import.kept_rules.value_or(false))) {
    plan_.stream = kInputStream;
    return std::nullopt;
  }
  ProgressLine progress(!plan_.quiet && ErrorsGoToScreen());
  progress.Begin("storing standard input", "bytes");
  return spooled_->StoreRest([&](std::uint64_t stored) {
    progress.Advance(stored, 0);
    return true;
  });
}

void FileRun::TakeFolder(const std::string& folder) {
  FoundFiles found = walk_->Find(folder);
  const std::size_t first = plan_.inputs.size();
  const std::size_t position = plan_.inputs.AddFolder(folder);
  // Whether a file can be read is found when it is read, unless what is done hangs on their number.
  const bool must_know = settings_.together || (!settings_.output.empty() && !settings_.combines);
  for (std::string& below : found.files) {
    if (must_know &&
        !IsReadable(PathBelow(folder, below), settings_.kept_rules, plan_.import.format))
      ++left_out_;
    else
      plan_.inputs.AddFound(position, std::move(below));
  }
  folders_.push_back({found.state, std::move(found.failures), first, plan_.inputs.size()});
}

std::optional<Failure> FileRun::JoinFiles() {
  std::vector<Input> files;
  for (std::size_t i = 0; i < plan_.inputs.size(); ++i) files.push_back(plan_.inputs[i]);
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
  for (NamedFolder& folder : folders_) {
    folder.taken = folder.end - folder.first;
    folder.first = folder.end = 0;
  }
  if (files.empty()) return std::nullopt;
  plan_.inputs.Clear();
  if (files.size() == 1) {
    plan_.inputs.Add(std::move(files.front()));
    return std::nullopt;
  }
  Input joined = files.front();
  for (std::size_t i = 1; i < files.size(); ++i) joined.files.push_back(files[i].files.front());
  joined.name = files.front().shown;
  joined.shown += " and " + std::to_string(files.size() - 1) + " more";
  plan_.inputs.Add(std::move(joined));
  return std::nullopt;
}

std::optional<Failure> FileRun::CheckNames() const {
  const std::size_t outputs = plan_.take_found ? 1 : plan_.inputs.size();
  const std::size_t count = plan_.outputs.empty() ? 0 : outputs;
  const std::size_t described = plan_.descriptions.empty() ? 0 : count;
  const bool has_report = !settings_.report.empty();
  const std::size_t all = count + described + (has_report ? 1 : 0);
  if (all == count) return std::nullopt;
  const OutputPaths report(settings_.report);
  const auto refused = [&](std::size_t i) {
    return WrongUsage(
        (i < count + described ? "A description" : "The report") +
            std::string(" can't go where an input, an output or another such file is."),
        "--report and --describe take other names");
  };
  const auto path = [&](std::size_t i) {
    if (i < count) return ComparableName(plan_.outputs.Settled(i));
    return ComparableName(i < count + described ? plan_.descriptions.Settled(i - count)
                                                : report.Settled(0));
  };
  for (const auto& same : FindSame(all, path))
    if (same.back() >= count && path(same.back()) != "-") return refused(same.back());
  // An input has any number of names, but what is there already is one file under all of them.
  std::map<FileIdentity, std::size_t> there;
  for (std::size_t i = count; i < all; ++i)
    if (const auto identity = IdentityOf(path(i).c_str())) there[*identity] = i;
  for (std::size_t i = 0; !there.empty() && i < plan_.inputs.size(); ++i)
    for (const std::string& file : plan_.inputs[i].files)
      if (const auto identity = IdentityOf(file.c_str()))
        if (const auto found = there.find(*identity); found != there.end())
          return refused(found->second);
  return std::nullopt;
}

std::optional<Failure> FileRun::BeginReport() {
  const std::string& path = settings_.report;
  const bool goes_on = settings_.goes_on;
  if (IsBegunAnew()) {
    plan_.reports = !path.empty();
    return goes_on ? former_.emplace().Open(path) : std::nullopt;
  }
  if (auto failure = CheckNames()) return failure;
  if (goes_on && (path.empty() || path == "-"))
    return WrongUsage("There is no report to go on with.", "--continue needs --report REPORT");
  if (path.empty()) return std::nullopt;
  if (goes_on)
    if (auto failure = former_.emplace().Open(path)) return failure;
  if (!goes_on && !settings_.force && NvFile::Exists(BatchReport::UnfinishedPath(path).c_str()))
    return Failure{Failure::kFailed, "A run with that report did not come to its end.",
                   "--continue goes on with it, --force begins anew", ShownName(path)};
  plan_.reports = true;
  report_.emplace(path, settings_.force || goes_on, CommandWords());
  return report_->Begin(ReportHead(), goes_on);
}

int FileRun::ForEach(const std::function<void(FileTurn&)>& command,
                     const std::function<void()>& then) {
  if (const auto failure = BeginReport()) return SayFailure(*failure);
  const std::size_t count = plan_.inputs.size();
  progress_.emplace(count > 1 && !plan_.quiet && !IsBegunAnew() && ErrorsGoToScreen());
  progress_->Begin("all files", "files");
  const BatchSettings batch{settings_.jobs, std::chrono::seconds(settings_.timeout)};
  const bool in_workers = batch.TakesWorkers(count);
  if (const auto failure = SettleInput(in_workers)) return SayFailure(*failure);
  const auto undone = [](FileTurn& turn, std::string detail, const char* advice) {
    Failure failure{Failure::kFailed, "The file could not be dealt with.", advice,
                    turn.input().shown};
    failure.detail = std::move(detail);
    turn.FailAsNamed(failure);
  };
  const auto work = [&](std::size_t index) {
    FileTurn turn(plan_, index, in_workers);
    try {
      if (former_ && turn.IsDoneBy(*former_)) return turn.TakeReport();
      if (turn.MakeRoom()) command(turn);
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
  has_stopped_ = !ReportFolders();
  if (!has_stopped_)
    RunBatch(count, batch, work, died, [&](std::size_t, const FileReport& report) {
      has_stopped_ = !Report(report);
      return !has_stopped_;
    });
  if (then) then();
  Finish();
  return exit_code_;
}

bool FileRun::Report(const FileReport& report) {
  if (!report.messages.empty() || !report.data.empty()) progress_->Clear();
  std::cerr << report.messages << std::flush;
  exit_code_ = Graver(exit_code_, report.exit_code);
  if (report.noted_format > 0) noted_formats_.insert(report.noted_format);
  if (!report.found.empty()) plan_.take_found(reported_, report.found);
  const std::size_t folder = plan_.inputs.FolderOf(reported_++);
  if (report.fate == FileReport::kLeftOut) {
    ++left_out_;
  } else {
    ++(report.exit_code == kDone ? done_ : failed_);
    if (report.fate == FileReport::kSkipped) ++skipped_;
    if (folder != InputList::kNone) ++folders_[folder].taken;
    if (report_) report_->Add(report.entry);
  }
  if (!PrintPiece(report.data)) return false;
  progress_->Advance(reported_, plan_.inputs.size());
  // Who wants to know of all files in a folder is told of all.
  const bool goes_on = settings_.keep_going || report.exit_code == kDone ||
                       (plan_.takes_all && folder != InputList::kNone);
  return goes_on && ReportFolders();
}

bool FileRun::PrintPiece(std::string_view data) {
  if (data.empty()) return true;
  if (!plan_.json) return Print(std::string(data));
  // A line ends with the comma before the next, which messages may stand between.
  return Print(EscapeInJson(JsonLine(std::exchange(waiting_, std::string(data)), ",\n")));
}

std::string FileRun::JsonLine(const std::string& data, const char* end) {
  if (data.empty()) return {};
  return (std::exchange(has_printed_, true) ? "  " : std::string(kJsonHead) + "\n  ") + data + end;
}

bool FileRun::Print(const std::string& data) {
  if (!can_print_ || data.empty()) return can_print_;
  if (const auto failure = PrintData(data)) {
    exit_code_ = SayFailure(*failure);
    can_print_ = false;
  }
  return can_print_;
}

bool FileRun::ReportFolders() {
  for (; folder_ < folders_.size(); ++folder_) {
    NamedFolder& folder = folders_[folder_];
    if (folder.first > reported_) break;
    if (!std::exchange(folder.is_begun, true))
      for (const Failure& failure : folder.failures)
        if (!FailFolder(failure.where, failure)) return false;
    if (folder.end > reported_) break;
    if (folder.taken > 0 || !folder.failures.empty() || folder.state == FoundFiles::kRepeated)
      continue;
    const std::string shown = ShownName(plan_.inputs.Folder(folder_));
    const char* const advice =
        folder.state == FoundFiles::kLeftOut
            ? "what is in the folder of the outputs is no input; --outdir takes another one"
        : settings_.recursive ? "\"nvimport detect FOLDER\" says what the files are"
                              : "--recursive also looks into its folders; \"nvimport detect "
                                "FOLDER\" says what the files are";
    const Failure failure{Failure::kFailed, "There is no file in " + shown + " that can be read.",
                          advice};
    if (!FailFolder(shown, failure)) return false;
  }
  return true;
}

bool FileRun::FailFolder(const std::string& folder, const Failure& failure) {
  progress_->Clear();
  const int exit_code = SayFailure(failure);
  exit_code_ = Graver(exit_code_, exit_code);
  ++failed_;
  ReportFailure(folder, "", exit_code, failure);
  const bool is_printed = !plan_.json || PrintPiece(FailureJson(folder, failure));
  return settings_.keep_going && is_printed;
}

void FileRun::ReportFailure(const std::string& input, const std::string& output, int exit_code,
                            const Failure& failure) {
  if (!report_) return;
  Json entry = EntryOf(input, output, "failed", 0);
  entry["exit_code"] = exit_code;
  entry["text"] = FirstLine(failure);
  entry["advice"] = SecondLine(failure);
  report_->Add(entry.dump());
}

void FileRun::FailThen(const Failure& failure, std::optional<std::size_t> index) {
  progress_->Clear();
  const int exit_code = SayFailure(failure);
  exit_code_ = Graver(exit_code_, exit_code);
  if (index) {
    --done_;
    ++failed_;
  }
  ReportFailure(index ? plan_.inputs[*index].shown : "", settings_.output, exit_code, failure);
}

void FileRun::NoteThen(const std::string& note) {
  progress_->Clear();
  std::cerr << "note: " << note << "\n" << std::flush;
  if (plan_.strict && exit_code_ == kDone) exit_code_ = kWarned;
}

void FileRun::Finish() {
  progress_->Clear();
  const std::size_t tried = done_ + failed_;
  const std::size_t untried = plan_.inputs.size() - reported_;
  const std::size_t count = tried + untried;
  const double seconds = std::chrono::duration<double>(ProgressLine::Clock::now() - begun_).count();
  if (report_) {
    for (std::size_t i = reported_; i < plan_.inputs.size(); ++i)
      report_->Add(EntryOf(plan_.inputs[i].shown, plan_.outputs[i], "not tried", 0).dump());
    const Json totals = {{"files", count},      {"done", done_},
                         {"failed", failed_},   {"not_tried", untried},
                         {"skipped", skipped_}, {"seconds", InMilliseconds(seconds)}};
    if (const auto failure = report_->End("\n], \"totals\": " + totals.dump() + "}\n"))
      exit_code_ = SayFailure(*failure);
  }
  if (plan_.json) {
    std::string last = EscapeInJson(JsonLine(waiting_, "\n"));
    if (last.empty()) last = std::string(kJsonHead) + "\n";
    Print(last + "]}\n");
  }
  if (plan_.quiet) return;
  for (const int format : noted_formats_)
    if (settings_.kept_rules && HasMoreCellsThanKept(format))
      std::cerr << "without --kept-rules all cells of \"" << FormatAt(format).name
                << "\" are read\n";
  if (left_out_ > 0)
    std::cerr << left_out_
              << (left_out_ == 1 ? " file left out since no format reads it\n"
                                 : " files left out since no format reads them\n");
  if (count < 2) return;
  std::cerr << count << " files: " << done_ << " done";
  if (skipped_ > 0) std::cerr << " (" << skipped_ << " before)";
  std::cerr << ", " << failed_ << " failed";
  if (untried > 0) std::cerr << ", " << untried << " not tried";
  if (progress_->shown() && begun_ + ProgressLine::kPatience < ProgressLine::Clock::now())
    std::cerr << " in " << DurationText(seconds) << ", "
              << RoundedText(static_cast<double>(tried) / seconds) << " files/s";
  std::cerr << "\n" << std::flush;
}

}  // namespace nvimport
