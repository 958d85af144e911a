#include "apps/nvimport/ImportSession.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/Delimiters.h"
#include "apps/nvimport/Explanations.h"
#include "apps/nvimport/FileKinds.h"
#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TerminalDialogs.h"
#include "apps/nvimport/Thrown.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

// The library's questions and messages go to `dialogs` while this lives.
class InstalledDialogs {
 public:
  explicit InstalledDialogs(Dialogs& dialogs) : before_(Dialogs::Install(&dialogs)) {}
  InstalledDialogs(const InstalledDialogs&) = delete;
  InstalledDialogs& operator=(const InstalledDialogs&) = delete;
  ~InstalledDialogs() { Dialogs::Install(before_); }

 private:
  Dialogs* before_;
};

std::string Quoted(const char* name) { return "\"" + std::string(name) + "\""; }

}  // namespace

const std::vector<KnownFormat>& Formats() {
  static const std::vector<KnownFormat> formats = FormatList::Get().GetKnownFormats();
  return formats;
}

const NvImportFormatInfo& FormatAt(int format) {
  return *Formats()[static_cast<std::size_t>(format - 1)].info;
}

int FindFormat(const std::string& name, bool for_writing) {
  const int count = static_cast<int>(Formats().size());
  int number = 0;
  const char* end = name.data() + name.size();
  if (std::from_chars(name.data(), end, number).ptr == end && number >= 1 && number <= count)
    return number;
  for (int format = 1; format <= count; ++format)
    if (EqualIgnoringCase(FormatAt(format).name, name)) return format;
  for (int format = 1; format <= count; ++format) {
    const NvImportFormatInfo& info = FormatAt(format);
    if (!(for_writing ? info.can_write : info.can_read)) continue;
    if (HasExtension(info, name) || HasExtension(info, "." + name)) return format;
  }
  // A beginning that one name alone has.
  int found = 0;
  for (int format = 1; format <= count && !name.empty(); ++format) {
    const std::string_view whole = FormatAt(format).name;
    if (!EqualIgnoringCase(whole.substr(0, name.size()), name)) continue;
    if (found != 0) return 0;
    found = format;
  }
  return found;
}

std::uintmax_t TotalSize(const Input& input) {
  if (input.parts.empty()) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(input.path, none);
    return none ? 0 : size;
  }
  std::uintmax_t total = 0;
  for (const Input& part : input.parts) total += TotalSize(part);
  return total;
}

std::optional<Failure> CheckInput(const Input& input) {
  for (const Input& part : input.parts)
    if (auto failure = CheckInput(part)) return failure;
  if (!input.parts.empty()) return std::nullopt;
  const auto because = [&](const std::string& why) {
    return Failure{kFailed, "The file could not be opened.", input.shown + ": " + why};
  };
  if (input.path.empty()) return because("a file needs a name");
  struct stat status {};
  if (::stat(input.path.c_str(), &status) != 0) return because(SystemWords(errno));
  if (S_ISDIR(status.st_mode))
    return Failure{kFailed, ImportHelper::kDirectoryText,
                   input.shown + ": it is a folder; name the files in it"};
  if (S_ISFIFO(status.st_mode))
    return because("it is a pipe; read it through standard input, with - as the file");
  if (!S_ISREG(status.st_mode))
    return because(
        "it is not a regular file; copy its data into one, or give - and send it to "
        "standard input");
  const int descriptor = ::open(input.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return because(SystemWords(errno));
  ::close(descriptor);
  return std::nullopt;
}

ImportSession::ImportSession(Input input, ImportSettings settings, TerminalDialogs& dialogs,
                             ProgressBar& progress)
    : input_(std::move(input)),
      settings_(std::move(settings)),
      dialogs_(dialogs),
      progress_(progress),
      log_before_(Log::Install([this](const LogEntry& entry) {
        if (entry.operation == "Note")
          notes_.push_back(EscapeControls(ToUtf8(entry.text)));
        else if (entry.source != "ImportHelper")
          last_entry_ = EscapeControls(ToUtf8(entry.text));
      })) {
  driver_.SetVerboseMode(/*show_messages=*/true, /*log_messages=*/true);
  dialogs_.BeginFile(input_.shown);
}

ImportSession::~ImportSession() { Log::Install(std::move(log_before_)); }

Failure ImportSession::Because(const std::string& text) const {
  Failure failure{kFailed, text, input_.shown + ": taken for " + Quoted(format_name())};
  if (settings_.format != 0)
    failure.advice += ", as --format says; without it the format is detected";
  else
    failure.advice +=
        "; --format NAME takes another format, \"nvimport detect FILE\" shows what the formats say";
  if (!settings_.options.empty())
    failure.advice +=
        "; --option gave " + settings_.options + ", \"nvimport info FILE\" shows what there is";
  const auto kind = RecogniseKind(input_.path);
  if (kind && std::string_view(kind->format) != format_name())
    failure.advice += "; " + kind->Words();
  if (!last_entry_.empty()) failure.advice += "; " + last_entry_;
  return failure;
}

Failure ImportSession::Refusal() const {
  if (dialogs_.refusal()) return *dialogs_.refusal();
  if (dialogs_.message().empty())
    return {
        kFailed, "The import was cancelled.",
        input_.shown +
            ": nothing was read; \"nvimport info FILE\" shows the options that answer beforehand"};
  return Because(dialogs_.message());
}

Failure ImportSession::FormatFailure() const {
  const auto& names = dialogs_.file_types();
  std::string where = input_.shown + ": ";
  const auto kind = RecogniseKind(input_.path);
  if (kind) where += kind->Words() + "; ";
  if (names.empty())
    return {kFormatUnknown, "The format is not recognised.",
            where + "no format takes it; --format NAME takes one all the same"};
  if (dialogs_.may_ask())
    return {kFormatUnknown, "The format is not certain.",
            where + "no format was chosen; --format NAME does so beforehand"};
  if (kind && *kind->format == '\0')
    return {kFormatUnknown, "The format is not certain.",
            where + "--format NAME takes a format all the same"};
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return {kFormatUnknown, "The format is not certain.",
          where + "--format NAME chooses among: " + list};
}

std::optional<Failure> ImportSession::SettleFormat() {
  if (format_ != 0) return std::nullopt;
  if (settings_.format != 0) {
    format_ = settings_.format;
    if (input_.parts.size() > 1 && !FormatAt(format_).several_at_once)
      return Because(OneLine(ImportHelper::OneAtATimeText(format_name())));
    return std::nullopt;
  }
  constexpr int kDetect = 1;
  int format = kDetect;
  ReadErrors error = ReadErrors::kNone;
  if (!driver_.CheckFilesBeforeRead(input_.path.c_str(), format, nullptr, error, true)) {
    if (format < 1) return FormatFailure();
    format_ = format;
    return Refusal();
  }
  format_ = format;
  input_.path = FileSelection::Join(driver_.GetSelection());
  return std::nullopt;
}

std::vector<unsigned char> ImportSession::GivenOptions(bool takes_delimiter) const {
  if (settings_.stored_options) return *settings_.stored_options;
  std::string pairs = settings_.options;
  if (takes_delimiter && settings_.delimiter)
    pairs += (pairs.empty() ? "delimiter=" : ";delimiter=") + DelimiterValue(*settings_.delimiter);
  if (pairs.empty()) return {};
  ByteWriter writer;
  writer.WriteBinaryString(pairs);
  return {writer.bytes().begin(), writer.bytes().end()};
}

std::optional<Failure> ImportSession::Run(
    const std::function<bool(const char* path, NvImportOpenOptions* options)>& operation) {
  if (auto failure = CheckInput(input_)) return failure;
  const std::uintmax_t size = TotalSize(input_);
  const InstalledDialogs installed(dialogs_);
  if (auto failure = SettleFormat()) return failure;

  const bool takes_delimiter = HasOption(format_name(), "delimiter");
  stored_options_ = GivenOptions(takes_delimiter);
  NvImportOpenOptions options{static_cast<int>(stored_options_.size()), stored_options_.data()};
  // An empty record comes back with the choices made.
  NvImportOpenOptions choices{0, nullptr};
  const bool is_given = !stored_options_.empty();
  progress_.Begin("establishing the size of " + input_.shown);
  bool done = false;
  const std::string thrown =
      Thrown([&] { done = operation(input_.path.c_str(), is_given ? &options : &choices); });
  if (!is_given && choices.size > 0)
    stored_options_.assign(choices.data, choices.data + choices.size);
  SpreadsheetOpenOptions::FreeOpenOptions(&choices);
  if (!thrown.empty()) return Because(OneLine(thrown));
  if (!done) return Refusal();
  if (TotalSize(input_) < size)
    return Failure{kFailed, kBecameShorter,
                   input_.shown + ": what was read is not whole; try again"};
  // One that guesses its delimiter says which.
  options = {static_cast<int>(stored_options_.size()), stored_options_.data()};
  const auto taken = takes_delimiter ? OptionPairs::Parse(&options) : std::nullopt;
  if (const auto delimiter = taken ? taken->Find("delimiter") : std::nullopt)
    dialogs_.TellDelimiter(ParseDelimiter(*delimiter).delimiter,
                           settings_.delimiter || settings_.stored_options);
  dialogs_.SayWhatWasNotAsked();
  return std::nullopt;
}

std::optional<Failure> ImportSession::Measure() {
  return Run([&](const char* path, NvImportOpenOptions* options) {
    return driver_.SizeSpreadsheetFile(path, format_, nullptr, options, true);
  });
}

std::optional<Failure> ImportSession::Read(SpreadsheetData& sheet) {
  return Run([&](const char* path, NvImportOpenOptions* options) {
    return driver_.ReadSpreadsheetFile(path, format_, &sheet, nullptr, options, true);
  });
}

std::optional<Failure> WriteFormat(int format, const std::string& path, const std::string& shown,
                                   SpreadsheetData& sheet, TerminalDialogs& dialogs) {
  const InstalledDialogs installed(dialogs);
  bool done = false;
  const std::string thrown = Thrown([&] {
    done = ImportHelper().WriteSpreadsheetFile(path.c_str(), format, &sheet, nullptr, nullptr);
  });
  if (done) return std::nullopt;
  return Failure{
      kFailed, thrown.empty() ? dialogs.message() : OneLine(thrown),
      shown + ": written as " + Quoted(FormatAt(format).name) + "; --to NAME takes another format"};
}

}  // namespace nvimport
