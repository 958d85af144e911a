#include "nvimport/hosting/import/Import.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <utility>

#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/ImportHelper.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/Thrown.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/FileKinds.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/hosting/import/StoredImport.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NvFile.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

constexpr const char* kNotOpened = "The file could not be opened.";
constexpr const char* kNotThere = "The file is not there.";

// Where the words of a reader, which stay as they are, lead nobody anywhere.
constexpr struct {
  std::string_view format;
  int status;
} kNoWayOut[] = {
    {"GalacticSPC File", 2563},  // the other order of bytes
    {"GalacticSPC File", 2565},  // x values apart
    {"GalacticSPC File", 2568},  // spectra with x values of their own
};

// Encrypted workbooks, which the kept rules refuse.
constexpr struct {
  std::string_view format;
  int status;
} kLocked[] = {{"Excel File", 261}, {"Excel2007 File", 3333}};

std::optional<Failure> CheckFile(const std::string& path, const HostWords& words) {
  const std::string shown = ShownName(path);
  const auto because = [&](std::string detail, std::string advice) {
    Failure failure{Failure::kFailed, kNotOpened, std::move(advice), shown};
    failure.detail = std::move(detail);
    return failure;
  };
  if (path.empty()) return because("a file needs a name", "");
  const PathStatus::Kind kind = StatusOf(path.c_str()).kind;
  if (kind == PathStatus::kNone) {
    const int error = errno;
    const bool is_missing = error == ENOENT || error == ENOTDIR;
    Failure failure = Failure::OfSystem(is_missing ? kNotThere : kNotOpened, shown, error);
    if (is_missing) failure.kind = Failure::kMissing;
    return failure;
  }
  if (kind == PathStatus::kFolder) {
    if (IsOneInput(path)) return std::nullopt;
    Failure failure = because("it is a folder", "name the files in it");
    failure.text = ImportHelper::kDirectoryText;
    return failure;
  }
  if (kind != PathStatus::kFile)
    return because(kind == PathStatus::kPipe ? "it is a pipe" : "it is not a regular file",
                   words.no_regular_file);
  const int file = OpenInput(path.c_str());
  if (file < 0) return Failure::OfSystem(kNotOpened, shown, errno);
  CloseFile(file);
  return std::nullopt;
}

// The bytes of all files.
std::uintmax_t TotalSize(const std::vector<std::string>& files) {
  std::uintmax_t total = 0;
  for (const std::string& file : files) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(FilePath(file), none);
    if (!none) total += size;
  }
  return total;
}

// What the library asks, logs and reports goes to one import while this lives.
class Listening {
 public:
  Listening(Dialogs& dialogs, Progress* progress, ImportResult& result)
      : dialogs_(Dialogs::InstallForThread(&dialogs)),
        log_(Log::InstallForThread([&result](const LogEntry& entry) {
          if (entry.operation == "Note")
            result.notes.push_back(EscapeControls(ToUtf8(entry.text)));
          else if (entry.source != "ImportHelper")
            result.log_entry = EscapeControls(ToUtf8(entry.text));
        })),
        has_progress_(progress != nullptr),
        progress_(has_progress_ ? Progress::InstallForThread(progress) : nullptr) {}
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
  ~Listening() {
    if (has_progress_) Progress::InstallForThread(progress_);
    Log::InstallForThread(std::move(log_));
    Dialogs::InstallForThread(dialogs_);
  }

 private:
  Dialogs* dialogs_;
  Log::Sink log_;
  bool has_progress_;
  Progress* progress_;
};

// Tells the host how far the import is.
class Told : public Progress {
 public:
  explicit Told(const ImportRequest& request) : request_(request) {}

  bool Begin(ImportProgress::Stage stage, int format) {
    now_ = {stage, true, format, 0, 0};
    const bool goes_on = Tell();
    now_.begins = false;
    return goes_on;
  }
  bool Advance(std::uint64_t position, std::uint64_t size) override {
    now_.position = position;
    now_.size = size;
    return Tell();
  }
  bool stopped() const { return stopped_; }

 private:
  bool Tell() {
    if (!stopped_ && request_.progress) stopped_ = !request_.progress(now_);
    return !stopped_;
  }

  const ImportRequest& request_;
  ImportProgress now_;
  bool stopped_ = false;
};

// The stage of reading begins when the driver asks for its window.
class ImportDialogs final : public AnsweringDialogs {
 public:
  ImportDialogs(const ImportRequest& request, Told& told)
      : AnsweringDialogs(request.answers, request.dialogs, request.words),
        request_(request),
        told_(told) {
    Remember(request.remembered, "");
  }

  void SettleFormat(int format) {
    format_ = format;
    Remember(request_.remembered, FormatName(format));
  }
  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override {
    return request_.asks_format ? AnsweringDialogs::SelectFileType(question) : std::nullopt;
  }
  std::unique_ptr<Progress> OpenProgress(const ProgressWindow& window) override {
    if (!request_.progress) return AnsweringDialogs::OpenProgress(window);
    told_.Begin(ImportProgress::kReading, format_);
    return std::make_unique<Forward>(told_);
  }

 private:
  class Forward : public Progress {
   public:
    explicit Forward(Told& told) : told_(told) {}
    bool Advance(std::uint64_t position, std::uint64_t size) override {
      return told_.Advance(position, size);
    }

   private:
    Told& told_;
  };

  const ImportRequest& request_;
  Told& told_;
  int format_ = 0;
};

// A host's sheet for a file whose mark of UTF-8 at its beginning is none of its first cell, or for
// numbers as they were years ago.
class ForwardingSheet final : public SpreadsheetData {
 public:
  ForwardingSheet(SpreadsheetData& sheet, bool has_mark, bool is_narrow)
      : sheet_(sheet), has_mark_(has_mark), is_narrow_(is_narrow) {}

  void Set(int column, int row, const char* text) override {
    const bool is_marked =
        has_mark_ && column == 1 && row == 1 && std::string_view(text).starts_with(kUtf8Mark);
    sheet_.Set(column, row, is_marked ? text + kUtf8Mark.size() : text);
  }
  void Set(int column, int row, int value) override { sheet_.Set(column, row, value); }
  void Set(int column, int row, long long value) override { sheet_.Set(column, row, value); }
  void Set(int column, int row, double value) override { sheet_.Set(column, row, value); }
  void Set(int column, int row, float value) override { sheet_.Set(column, row, value); }
  bool TakesExact() override { return !is_narrow_ && sheet_.TakesExact(); }
  void SetExact(int column, int row, double value) override { sheet_.SetExact(column, row, value); }
  void SetExact(int column, int row, long long value) override {
    sheet_.SetExact(column, row, value);
  }
  int GetNextIndex(int previous) override { return sheet_.GetNextIndex(previous); }
  void SetDataSize(int columns, int rows) override { sheet_.SetDataSize(columns, rows); }
  int GetNumberOfColumns() override { return sheet_.GetNumberOfColumns(); }
  int GetNumberOfRows() override { return sheet_.GetNumberOfRows(); }
  float GetNumber(int column, int row) override { return sheet_.GetNumber(column, row); }
  const char* GetText(int column, int row) override { return sheet_.GetText(column, row); }
  bool CellFlag(int column, int row) override { return sheet_.CellFlag(column, row); }
  bool IsNumber(int column, int row) override { return sheet_.IsNumber(column, row); }
  bool IsMissing(int column, int row) override { return sheet_.IsMissing(column, row); }
  bool IsText(int column, int row) override { return sheet_.IsText(column, row); }
  int SetTag(int value) override { return sheet_.SetTag(value); }

 private:
  static constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

  SpreadsheetData& sheet_;
  bool has_mark_;
  bool is_narrow_;
};

// Does one operation of the driver, which takes the path and the options.
class Session {
 public:
  Session(const ImportRequest& request, ImportResult& result)
      : request_(request),
        result_(result),
        files_(request.files),
        told_(request),
        dialogs_(request, told_) {
    driver_.SetVerboseMode(/*show_messages=*/true, /*log_messages=*/true);
  }

  void Run(SpreadsheetData* sheet) {
    result_.failure = CheckFiles(files_, request_.words);
    if (result_.failure) {
      if (files_.size() == 1) result_.failure->where = NameOf(request_);
      return;
    }
    if ((result_.failure = SettleRules())) return;
    const std::uintmax_t size = TotalSize(files_);
    const bool has_mark = NvFile::GetEncoding(files_.front().c_str()) == ETextFileEncoding::kUtf8;
    std::optional<ForwardingSheet> forwarding;
    if (sheet != nullptr && (has_mark || stored_.kept_rules))
      sheet = &forwarding.emplace(*sheet, has_mark, stored_.kept_rules);
    {
      const Listening listening(dialogs_, request_.progress ? &told_ : nullptr, result_);
      result_.failure = SettleFormat();
      if (!result_.failure) result_.failure = Operate(sheet);
    }
    result_.files = files_;
    result_.kept_rules = stored_.kept_rules;
    if (!result_.failure) result_.options = stored_.Bytes();
    result_.questions = dialogs_.answered();
    result_.warnings = dialogs_.warnings();
    if (!result_.failure && TotalSize(files_) < size) {
      result_.failure = Because("The file became shorter while it was read.");
      result_.failure->advice = "what was read is not whole; try again";
    }
    if (result_.failure && result_.failure->where.empty())
      result_.failure->where = NameOf(request_);
  }

 private:
  std::optional<Failure> SettleRules() {
    if (!request_.options.empty()) {
      auto stored = StoredImport::Parse(request_.options);
      if (!stored)
        return Failure{Failure::kArgument, "The stored import is not one that can be repeated.",
                       "a later version may have stored it, or it is damaged", NameOf(request_)};
      stored_ = std::move(*stored);
    } else if (auto failure = TakeRulesOfEnvironment(stored_.kept_rules)) {
      return failure;
    }
    stored_.kept_rules = request_.kept_rules.value_or(stored_.kept_rules);
    driver_.SetKeptRules(stored_.kept_rules);
    return std::nullopt;
  }

  std::optional<Failure> SettleFormat() {
    int& format = result_.format;
    format = request_.format;
    if (format > FormatCount() || format < 0)
      return Failure{Failure::kArgument, "There is no such format.", "", ""};
    if (format > 0 && stored_.kept_rules && !HasKeptReader(format))
      return Refused("The kept rules know no such format.");
    if (format == 0) format = DetectedFormat();
    if (told_.stopped()) return Cancelled();
    if (format == 0) return AskedFormat();
    if (files_.size() < 2) return std::nullopt;
    if (!FormatAt(format).several_at_once)
      return Refused(OneLine(ImportHelper::OneAtATimeText(FormatAt(format).name)));
    auto sorted = request_.dialogs != nullptr ? request_.dialogs->OrderFiles({files_}) : files_;
    if (!sorted) return Cancelled();
    files_ = std::move(*sorted);
    return std::nullopt;
  }

  // As it is settled without asking, but for what was said of the delimiter.
  int DetectedFormat() {
    const SettledFormat settled = nvimport::SettleFormat(files_.front(), stored_.kept_rules);
    if (!settled.is_by_content) return settled.format;
    pairs_by_content_ = settled.pairs;
    // What knows quotes knows no delimiter of several characters.
    const GivenAnswers& given = request_.answers;
    const bool is_split_otherwise =
        given.ignore_consecutive ||
        (given.text_import &&
         (given.text_import->ignore_consecutive || given.text_import->delimiter.size() > 1));
    const int text = FindFormat("Text File", /*for_writing=*/false);
    const bool may_be_text = std::ranges::find(settled.open, text) != settled.open.end();
    return is_split_otherwise && may_be_text &&
                   HasOption(FormatAt(settled.format).name, "delimiter")
               ? text
               : settled.format;
  }

  // The one that the host chooses among those that could be right.
  std::optional<Failure> AskedFormat() {
    constexpr int kDetect = 1;
    int& format = result_.format;
    int detected = kDetect;
    ReadErrors error = ReadErrors::kNone;
    const std::string path = FileSelection::Join(files_);
    if (driver_.CheckFilesBeforeRead(path.c_str(), detected, request_.parent, error, true)) {
      format = detected;
      files_ = driver_.GetSelection();
      return std::nullopt;
    }
    if (told_.stopped()) return Cancelled();
    if (detected < 1) return FormatFailure();
    format = detected;
    return Refusal();
  }

  std::vector<unsigned char> GivenOptions(bool takes_delimiter) const {
    if (!stored_.options.empty()) return stored_.options;
    std::string pairs = request_.pairs;
    const bool is_delimiter_given =
        request_.answers.text_import || pairs.find("delimiter=") != std::string::npos;
    if (takes_delimiter && !is_delimiter_given && *pairs_by_content_ != '\0')
      pairs += (pairs.empty() ? "" : ";") + std::string(pairs_by_content_);
    if (const auto& given = request_.answers.text_import; takes_delimiter && given)
      pairs += (pairs.empty() ? "delimiter=" : ";delimiter=") + DelimiterValue(given->delimiter);
    // Where it is no question.
    const auto options = OptionsOf(FormatAt(result_.format).name);
    const auto takes_range = [](const FormatOption& option) {
      return option.key == "range" && !option.is_asked;
    };
    const auto& range = request_.answers.range;
    if (range && std::ranges::any_of(options, takes_range) &&
        pairs.find("range=") == std::string::npos)
      pairs += (pairs.empty() ? "range=" : ";range=") + OptionPairs::Join(*range);
    if (pairs.empty()) return {};
    ByteWriter writer;
    writer.WriteBinaryString(pairs);
    return {writer.bytes().begin(), writer.bytes().end()};
  }

  std::optional<Failure> Operate(SpreadsheetData* sheet) {
    dialogs_.SettleFormat(result_.format);
    const bool takes_delimiter =
        HasOption(FormatAt(result_.format).name, "delimiter") && TakesPairs(result_.format);
    std::vector<unsigned char>& stored = stored_.options = GivenOptions(takes_delimiter);
    NvImportOpenOptions options{static_cast<int>(stored.size()), stored.data()};
    // An empty record comes back with the choices made.
    NvImportOpenOptions choices{0, nullptr};
    const bool is_given = !stored.empty();
    bool done = false;
    if (!told_.Begin(ImportProgress::kSizing, result_.format)) return Cancelled();
    result_.description = Description(request_.describing == Describing::kX);
    if (request_.describing != Describing::kNothing) driver_.DescribeTo(&result_.description);
    const auto take_size = [&] {
      result_.rows = driver_.GetNumRows();
      result_.columns = driver_.GetNumCols();
    };
    driver_.LeaveSizeOpen(request_.leaves_size_open);
    std::optional<InputContinuation> continuation;
    if (request_.begins)
      driver_.CallBeforeReading([&](const NvImportOpenOptions* record) {
        take_size();
        if (!is_given && record != nullptr && record->size > 0)
          stored.assign(record->data, record->data + record->size);
        result_.options = stored_.Bytes();
        request_.begins(result_);
        if (request_.continues < 0) return;
        if (result_.rows >= 0) throw Exception("The format can't be read as it comes.");
        continuation.emplace(files_.front().c_str(), request_.continues);
      });
    const std::string thrown = Thrown([&] {
      const std::string path = FileSelection::Join(files_);
      NvImportOpenOptions* record = is_given ? &options : &choices;
      done = sheet != nullptr ? driver_.ReadSpreadsheetFile(path.c_str(), result_.format, sheet,
                                                            request_.parent, record, true)
                              : driver_.SizeSpreadsheetFile(path.c_str(), result_.format,
                                                            request_.parent, record, true);
    });
    if (!is_given && choices.size > 0) stored.assign(choices.data, choices.data + choices.size);
    SpreadsheetOpenOptions::FreeOpenOptions(&choices);
    take_size();
    if (!thrown.empty()) return Refused(OneLine(thrown));
    if (!done) return Refusal();
    if (takes_delimiter) TellDelimiter();
    if (driver_.DeliveredNothing() && !result_.notes.empty()) return NothingDelivered();
    return std::nullopt;
  }

  // One that guesses its delimiter says which.
  void TellDelimiter() {
    std::vector<unsigned char>& stored = stored_.options;
    const NvImportOpenOptions options{static_cast<int>(stored.size()), stored.data()};
    const auto taken = OptionPairs::Parse(&options);
    const auto delimiter = taken ? taken->Find("delimiter") : std::nullopt;
    if (!delimiter) return;
    const bool is_given = request_.answers.text_import || !request_.options.empty();
    using Source = AnsweredQuestion::Source;
    dialogs_.Answered(DelimiterAnswer({ParseDelimiter(*delimiter).delimiter, false},
                                      is_given ? Source::kGiven : Source::kSettled));
  }

  static bool TakesPairs(int format) {
    for (const FormatOption& option : OptionsOf(FormatAt(format).name))
      if (option.is_pair) return true;
    return false;
  }

  Failure Because(std::string text) const {
    return {Failure::kFailed, std::move(text), "", NameOf(request_)};
  }

  Failure Cancelled() const {
    Failure failure = Because("The import was cancelled.");
    failure.kind = Failure::kStopped;
    failure.advice = request_.words.answer_before;
    return failure;
  }

  // Why the driver or a reader refused.
  Failure Refusal() const {
    if (dialogs_.refusal()) {
      Failure failure = *dialogs_.refusal();
      failure.status = driver_.GetStatus();
      return failure;
    }
    if (dialogs_.message().empty() || told_.stopped()) return Cancelled();
    Failure failure = Refused(dialogs_.message());
    failure.detail = dialogs_.detail();
    failure.status = driver_.GetStatus();
    for (const auto& locked : kLocked)
      if (locked.status == failure.status && locked.format == FormatName(result_.format) &&
          MoreIsThere())
        failure.advice = request_.words.complete + ("; " + failure.advice);
    if (dialogs_.lacks_password()) failure.advice = request_.words.password;
    if (dialogs_.lacks_permission()) failure.advice = request_.words.allow_query;
    if (failure.status == kCancelled) failure.kind = Failure::kStopped;
    for (const auto& none : kNoWayOut)
      if (none.status == failure.status && none.format == FormatName(result_.format))
        failure.advice = (MoreIsThere() ? request_.words.complete
                                        : "the program that wrote it can export JCAMP-DX or text") +
                         ("; " + failure.advice);
    return failure;
  }

  // A sheet without a cell would look like a file without one.
  Failure NothingDelivered() const {
    Failure failure = Because("No cell of the file was delivered.");
    for (const std::string& note : result_.notes)
      failure.detail += (failure.detail.empty() ? "" : ", ") + note;
    failure.advice = stored_.kept_rules && HasMoreCellsThanKept(result_.format)
                         ? request_.words.all_cells
                         : request_.words.other_format;
    return failure;
  }

  bool MoreIsThere() const { return stored_.kept_rules && ReadsMoreThanKept(result_.format); }

  // With what may be the cause.
  Failure Refused(std::string text) const {
    const HostWords& words = request_.words;
    Failure failure = Because(std::move(text));
    std::string& advice = failure.advice;
    if (request_.database) return advice = result_.log_entry, failure;
    advice = "taken for \"" + FormatName(result_.format) + "\"";
    advice += request_.format != 0 ? ", " + std::string(words.format_given)
                                   : "; " + std::string(words.other_format);
    if (!request_.pairs.empty()) advice += "; " + words.options_given(request_.pairs);
    const auto kind = RecogniseKind(files_.front());
    if (kind && kind->format != FormatName(result_.format))
      advice += "; " + kind->Words(words, stored_.kept_rules);
    if (!result_.log_entry.empty()) advice += "; " + result_.log_entry;
    return failure;
  }

  Failure FormatFailure() const {
    const HostWords& words = request_.words;
    const auto& names = dialogs_.file_types();
    const auto kind = RecogniseKind(files_.front());
    Failure failure =
        Because(names.empty() ? "The format is not recognised." : "The format is not certain.");
    failure.kind = Failure::kFormatUnknown;
    failure.question = "format";
    failure.candidates = names;
    std::string& advice = failure.advice;
    if (kind) advice = kind->Words(words, stored_.kept_rules) + "; ";
    if (names.empty())
      return advice += "no format takes it; " + std::string(words.any_format), failure;
    if (request_.dialogs != nullptr) return advice += words.choose_format, failure;
    if (kind && *kind->format == '\0') return advice += words.any_format, failure;
    advice += words.choose_among;
    for (const std::string& name : names) advice += (&name == names.data() ? "" : ", ") + name;
    return failure;
  }

  const ImportRequest& request_;
  ImportResult& result_;
  std::vector<std::string> files_;
  StoredImport stored_;                // what this import will be
  const char* pairs_by_content_ = "";  // options that go with a format that the content decided
  Told told_;
  ImportDialogs dialogs_;
  ImportHelper driver_;
};

ImportResult Import(const ImportRequest& request, SpreadsheetData* sheet) {
  ImportResult result;
  Session(request, result).Run(sheet);
  return result;
}

}  // namespace

std::string NameOf(const ImportRequest& request) {
  if (request.files.empty()) return {};
  const std::string first = ShownName(request.name.empty() ? request.files.front() : request.name);
  return request.files.size() > 1
             ? first + " and " + std::to_string(request.files.size() - 1) + " more"
             : first;
}

std::optional<Failure> CheckFiles(const std::vector<std::string>& files, const HostWords& words) {
  if (files.empty()) return Failure{Failure::kArgument, "There is no file to read."};
  for (const std::string& file : files)
    if (auto failure = CheckFile(file, words)) return failure;
  return std::nullopt;
}

std::string FormatName(int format) {
  return format > 0 ? ToUtf8(FormatAt(format).name) : std::string();
}

ImportResult ImportFile(const ImportRequest& request, SpreadsheetData& sheet) {
  return Import(request, &sheet);
}

ImportResult MeasureFile(const ImportRequest& request) { return Import(request, nullptr); }

}  // namespace nvimport
