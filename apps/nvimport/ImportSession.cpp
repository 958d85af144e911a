#include "apps/nvimport/ImportSession.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <exception>
#include <filesystem>
#include <new>
#include <utility>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TerminalDialogs.h"
#include "framework/FormatList.h"
#include "platform/ByteWriter.h"
#include "platform/Dialogs.h"
#include "platform/Paths.h"

namespace {

// What every library says when the user cancels one of its questions.
constexpr const char* kCancelledText = "AbortedByUser";
constexpr const char* kNoMemory = "There is not enough memory for this file.";

std::string StatusMessage(SpreadsheetFile& file) {
  std::array<char, 512> text{};
  file.GetErrorMessage(text.data(), text.size());
  return text[0] != '\0' ? text.data() : "Status " + std::to_string(file.GetStatus()) + ".";
}

// What `operation` fails with; empty when it returns true.
template <typename Operation>
std::string FailureText(SpreadsheetFile& file, Operation operation) {
  try {
    return operation() ? std::string() : StatusMessage(file);
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

std::uintmax_t FileSize(const std::string& path) {
  std::error_code none;
  const std::uintmax_t size = std::filesystem::file_size(path, none);
  return none ? 0 : size;
}

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
  return 0;
}

std::optional<Failure> CheckInput(const Input& input) {
  const auto because = [&](const std::string& why) {
    return Failure{kFailed, "The file cannot be opened.", input.shown + ": " + why};
  };
  if (input.path.empty()) return because("a file needs a name");
  struct stat status {};
  if (::stat(input.path.c_str(), &status) != 0) return because(SystemWords(errno));
  if (S_ISDIR(status.st_mode)) return because("it is a folder");
  if (S_ISFIFO(status.st_mode))
    return because("it is a pipe; read it through standard input, with - as the file");
  if (!S_ISREG(status.st_mode)) return because("it is not a regular file");
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
        else
          last_entry_ = EscapeControls(ToUtf8(entry.text));
      })) {
  dialogs_.BeginFile(input_.shown);
}

ImportSession::~ImportSession() {
  file_.reset();
  Log::Install(std::move(log_before_));
}

Failure ImportSession::FileFailure(const std::string& doing) const {
  Failure failure{kFailed, {}, input_.shown + ": " + doing + " " + Quoted(format_name())};
  if (settings_.format != 0)
    failure.advice += ", as --format says";
  else
    failure.advice +=
        "; --format NAME takes another format, \"nvimport detect FILE\" shows what the formats say";
  if (!settings_.options.empty()) failure.advice += "; --option gave " + settings_.options;
  if (!last_entry_.empty()) failure.advice += "; " + last_entry_;
  return failure;
}

template <typename Operation>
std::optional<Failure> ImportSession::Attempt(const std::string& doing, Operation operation) {
  std::string text = FailureText(*file_, operation);
  if (text.empty()) return std::nullopt;
  Failure failure = FileFailure(doing);
  if (text == kCancelledText) failure.advice = input_.shown + ": cancelled";
  failure.text = std::move(text);
  return failure;
}

Failure ImportSession::FormatFailure() const {
  const auto& names = dialogs_.file_types();
  if (names.empty())
    return {kFormatUnknown, "The format is not recognised.",
            input_.shown + ": no format takes it; --format NAME takes one all the same"};
  if (dialogs_.may_ask())
    return {kFormatUnknown, "The format is not certain.",
            input_.shown + ": no format was chosen; --format NAME does so beforehand"};
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return {kFormatUnknown, "The format is not certain.",
          input_.shown + ": --format NAME chooses among: " + list};
}

std::optional<Failure> ImportSession::SettleFormat() {
  format_ = settings_.format != 0 ? settings_.format : ChooseFormat(Formats(), input_.path.c_str());
  if (format_ < 1) return FormatFailure();
  return std::nullopt;
}

std::optional<Failure> ImportSession::Open() {
  if (auto failure = CheckInput(input_)) return failure;
  opened_size_ = FileSize(input_.path);
  Dialogs* const before = Dialogs::Install(&dialogs_);
  auto failure = SettleFormat();
  if (!failure) {
    file_ = FormatList::Get().CreateFile(format_);
    failure = Attempt("opened as", [&] {
      if (settings_.options.empty())
        return file_->Open(/*read=*/true, input_.path.c_str(), nullptr) == kGood;
      ByteWriter writer;
      writer.WriteBinaryString(settings_.options);
      std::vector<unsigned char> bytes(writer.bytes().begin(), writer.bytes().end());
      NvImportOpenOptions options{static_cast<int>(bytes.size()), bytes.data()};
      return file_->Open(/*read=*/true, input_.path.c_str(), &options) == kGood;
    });
  }
  Dialogs::Install(before);
  return failure;
}

std::optional<Failure> ImportSession::EstablishSize() {
  progress_.Begin("establishing the size of " + input_.shown);
  return Attempt("sized as", [&] {
    columns_ = file_->GetNumCols();
    rows_ = file_->GetNumRows();
    return columns_ >= 0 && rows_ >= 0;
  });
}

std::optional<Failure> ImportSession::Read(ReadSpreadSheetData& sink) {
  progress_.Begin("reading " + input_.shown);
  auto failure = Attempt("read as", [&] { return file_->Read(&sink) == kGood; });
  if (!failure && FileSize(input_.path) < opened_size_)
    failure = Failure{kFailed, "The file became shorter while it was read.",
                      input_.shown + ": what was read is not whole; try again"};
  if (const char* warning = file_->GetWarningMessage())
    warnings_.push_back(EscapeControls(ToUtf8(warning)));
  return failure;
}

std::optional<Failure> WriteFormat(int format, const std::string& path, const std::string& shown,
                                   WriteSpreadSheetData& source) {
  const auto file = FormatList::Get().CreateFile(format);
  std::string text = FailureText(*file, [&] {
    return file->Open(/*read=*/false, path.c_str(), nullptr) == kGood &&
           file->Write(&source) == kGood;
  });
  file->Close();
  if (text.empty()) return std::nullopt;
  return Failure{
      kFailed, std::move(text),
      shown + ": written as " + Quoted(FormatAt(format).name) + "; --to NAME takes another format"};
}
