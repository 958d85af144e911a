#include "python/Library.h"

#include <pybind11/pybind11.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <mutex>

#include "apps/nvimport/CellText.h"
#include "apps/nvimport/Complete.h"
#include "apps/nvimport/Delimiters.h"
#include "apps/nvimport/Explanations.h"
#include "apps/nvimport/FileKinds.h"
#include "apps/nvimport/ImportSession.h"
#include "apps/nvimport/ItemList.h"
#include "apps/nvimport/OutputFormats.h"
#include "apps/nvimport/ProgressBar.h"
#include "apps/nvimport/TerminalDialogs.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace py = pybind11;

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kSignalInterval = std::chrono::milliseconds(100);

std::timed_mutex& LibraryMutex() {
  static std::timed_mutex mutex;
  return mutex;
}

// While it lives the library is this thread's, and the interpreter everybody else's.
class Turn {
 public:
  Turn() {
    while (!LibraryMutex().try_lock_for(kSignalInterval)) {
      const py::gil_scoped_acquire interpreter;
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    }
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() { LibraryMutex().unlock(); }

 private:
  py::gil_scoped_release released_;
};

// Has Python look at its signals now and then, and stops the work when a handler raises.
class SignalBar final : public ProgressBar {
 public:
  SignalBar() : ProgressBar(/*shown=*/false), before_(Install(this)) {}
  SignalBar(const SignalBar&) = delete;
  SignalBar& operator=(const SignalBar&) = delete;
  ~SignalBar() override { Install(before_); }

  bool Advance(std::uint64_t, std::uint64_t) override {
    const auto now = Clock::now();
    if (now < next_) return !raised_;
    next_ = now + kSignalInterval;
    const py::gil_scoped_acquire interpreter;
    if (!raised_ && PyErr_CheckSignals() != 0) raised_.emplace();
    return !raised_;
  }

  // Whether the user stopped the work. What another handler raised goes on its way.
  bool IsCancelled() {
    if (!raised_) return false;
    const py::gil_scoped_acquire interpreter;
    if (!raised_->matches(PyExc_KeyboardInterrupt)) throw py::error_already_set(*raised_);
    raised_.reset();
    return true;
  }

 private:
  Progress* before_;
  Clock::time_point next_ = Clock::now();
  std::optional<py::error_already_set> raised_;
};

Refusal RefuseArgument(std::string text) {
  Refusal refusal;
  refusal.kind = Refusal::Kind::kArgument;
  refusal.text = std::move(text);
  return refusal;
}

// The formats with NvImport Complete's where the environment asks for it, as the command has them.
std::optional<Refusal> PrepareFormats() {
  static const std::optional<Failure> failure = [] {
    const char* complete = std::getenv("NVIMPORT_COMPLETE");
    return complete != nullptr && std::string_view(complete) == "1" ? UseComplete() : std::nullopt;
  }();
  if (!failure) return std::nullopt;
  return Refusal{Refusal::Kind::kError, 0, failure->text, failure->advice, {}, {}, {}};
}

std::optional<Refusal> TakeAnswers(const Request& request, ImportSettings& settings,
                                   GivenAnswers& answers) {
  if (!request.format.empty()) {
    settings.format = FindFormat(request.format, /*for_writing=*/false);
    if (settings.format == 0)
      return RefuseArgument("There is no format \"" + ShownName(request.format) + "\".");
  }
  settings.options = request.pairs;
  if (request.options && !request.options->empty())
    settings.stored_options.emplace(request.options->begin(), request.options->end());
  if (request.delimiter) {
    answers.text_import = ParseDelimiter(*request.delimiter);
    settings.delimiter = answers.text_import->delimiter;
  }
  answers.ignore_consecutive = request.ignore_consecutive;
  answers.sheets = request.sheet;
  answers.blocks = request.blocks;
  if (request.range) {
    answers.range = ParseRange(*request.range);
    if (!answers.range) return RefuseArgument("\"" + ShownName(*request.range) + "\" is no range.");
  }
  if (!request.merge.empty()) {
    const auto* const word = std::ranges::find(kMergeWords, request.merge);
    if (word == std::end(kMergeWords))
      return RefuseArgument("\"" + ShownName(request.merge) + "\" is no way to merge.");
    answers.merge = word - kMergeWords;
  }
  return std::nullopt;
}

Input InputOf(const Request& request) {
  const std::string first =
      request.name.empty() ? ShownName(request.paths.front()) : ShownName(request.name);
  if (request.paths.size() == 1) return {request.paths.front(), first, {}};
  Input input{FileSelection::Join(request.paths),
              first + " and " + std::to_string(request.paths.size() - 1) + " more",
              {}};
  for (const std::string& path : request.paths) input.parts.push_back({path, ShownName(path), {}});
  return input;
}

std::uint64_t SizeOf(const std::vector<std::string>& paths) {
  std::uint64_t size = 0;
  for (const std::string& path : paths) {
    std::error_code none;
    const auto bytes = std::filesystem::file_size(path, none);
    if (!none) size += bytes;
  }
  return size;
}

// What a read may take in memory for the size that a file claims.
std::uint64_t MatrixBytes(const std::vector<std::string>& paths) {
  constexpr std::uint64_t kAnyFile = 16 << 20;
  constexpr std::uint64_t kPerByte = 4;
  return kAnyFile + kPerByte * SizeOf(paths);
}

Refusal WhyNot(const Failure& failure, const ImportSession& session,
               const TerminalDialogs& dialogs) {
  Refusal refusal;
  refusal.text = failure.text;
  refusal.code = session.status();
  if (session.format() > 0) refusal.format = ToUtf8(session.format_name());
  refusal.detail = session.last_entry();
  if (dialogs.refused()) {
    refusal.kind = Refusal::Kind::kChoice;
    refusal.question = dialogs.refused()->name;
    refusal.candidates = dialogs.refused()->entries;
  } else if (failure.exit_code == kFormatUnknown && !dialogs.file_types().empty()) {
    refusal.kind = Refusal::Kind::kChoice;
    refusal.question = "format";
    for (const std::string& name : dialogs.file_types()) refusal.candidates.push_back(ToUtf8(name));
  } else if (refusal.code == kCancelled) {
    refusal.kind = Refusal::Kind::kCancelled;
  }
  return refusal;
}

// What can be said of a file that its format refused.
std::string KindWords(const std::string& path, const std::string& format) {
  const auto kind = RecogniseKind(path);
  if (!kind || format == kind->format) return {};
  std::string words = std::string("it looks like ") + kind->name;
  return *kind->format == '\0' ? words + ": " + kind->advice : words;
}

// A failure that no reader is the cause of, such as a file that is not there.
Refusal Outside(const Failure& failure, const std::string& shown) {
  Refusal refusal;
  refusal.text = failure.text;
  refusal.detail = failure.advice;
  if (refusal.detail.starts_with(shown + ": ")) refusal.detail.erase(0, shown.size() + 2);
  return refusal;
}

bool HasXRow(const std::string& options) {
  std::string bytes = options;
  const NvImportOpenOptions record{static_cast<int>(bytes.size()),
                                   reinterpret_cast<unsigned char*>(bytes.data())};
  const auto pairs = OptionPairs::Parse(&record);
  return pairs && pairs->Find("xrow") == "1";
}

}  // namespace

Import ReadSheet(const Request& request, bool with_cells) {
  const Turn turn;
  Import import;
  ImportSettings settings;
  GivenAnswers answers;
  if ((import.refusal = PrepareFormats())) return import;
  if ((import.refusal = TakeAnswers(request, settings, answers))) return import;
  const Input input = InputOf(request);
  if (const auto failure = CheckInput(input)) {
    import.refusal = Outside(*failure, input.shown);
    return import;
  }

  SignalBar bar;
  TerminalDialogs dialogs(std::move(answers), /*may_ask=*/false, bar, [](const std::string&) {});
  ImportSession session(input, std::move(settings), dialogs, bar);
  import.cells = std::make_shared<DenseSheet>(MatrixBytes(request.paths));
  const auto failure = with_cells ? session.Read(*import.cells) : session.Measure();
  if (bar.IsCancelled()) {
    import.refusal.emplace();
    import.refusal->kind = Refusal::Kind::kCancelled;
    import.refusal->code = kCancelled;
    import.refusal->text = "The import was cancelled.";
    return import;
  }
  if (failure) {
    import.refusal = WhyNot(*failure, session, dialogs);
    if (import.refusal->detail.empty() && !dialogs.refused())
      import.refusal->detail = KindWords(request.paths.front(), import.refusal->format);
    return import;
  }
  import.format = ToUtf8(session.format_name());
  import.rows = session.rows();
  import.columns = session.columns();
  import.options.assign(session.stored_options().begin(), session.stored_options().end());
  import.pairs = OptionsOf(session.format_name());
  for (const AnsweredQuestion& question : dialogs.answered())
    import.choices.push_back({question.name, question.answer, question.source, question.entries});
  import.notes = session.notes();
  import.warnings = dialogs.warnings();
  import.has_x_row = HasOption(session.format_name(), "xrow") && HasXRow(import.options);
  return import;
}

Detected DetectSheet(const std::string& path) {
  const Turn turn;
  Detected detected;
  if ((detected.refusal = PrepareFormats())) return detected;
  if (const auto failure = CheckInput({path, ShownName(path), {}})) {
    detected.refusal = Outside(*failure, ShownName(path));
    return detected;
  }
  const Detection detection = DetectFormat(Formats(), path.c_str());
  if (detection.format > 0) detected.format = ToUtf8(FormatAt(detection.format).name);
  detected.reason = DetectionReason(detection, path);
  const auto kind = RecogniseKind(path);
  if (kind && (detection.format < 1 || *kind->format == '\0')) detected.looks_like = kind->name;
  for (const int format : detection.candidates)
    detected.candidates.push_back(ToUtf8(FormatAt(format).name));
  constexpr const char* kAnswers[] = {"no", "possible", "certain"};
  for (std::size_t i = 0; i < detection.answers.size(); ++i)
    detected.answers.emplace_back(ToUtf8(FormatAt(static_cast<int>(i) + 1).name),
                                  kAnswers[std::clamp(detection.answers[i], 0, 2)]);
  return detected;
}

std::vector<ListedFormat> ListFormats() {
  const Turn turn;
  PrepareFormats();
  std::vector<ListedFormat> formats;
  for (int format = 1; format <= static_cast<int>(Formats().size()); ++format) {
    const NvImportFormatInfo& info = FormatAt(format);
    std::vector<std::string> extensions = Extensions(info);
    for (std::string& extension : extensions) extension = ToUtf8(extension);
    formats.push_back({format, ToUtf8(info.name), std::move(extensions), info.can_read,
                       info.can_write, info.several_at_once,
                       ToUtf8(FormatList::Get().GetLibraryPath(format))});
  }
  return formats;
}

std::optional<Refusal> WriteCells(const DenseSheet& cells, const std::string& path,
                                  const std::string& format, bool overwrite) {
  const Turn turn;
  if (auto refusal = PrepareFormats()) return refusal;
  const std::string name = format.empty() ? NvGetFileExtension(path) : format;
  const auto output = FindOutputFormat(name);
  if (!output)
    return RefuseArgument("\"" + ShownName(name) + "\" is no format that can be written.");
  Refusal refusal;
  std::error_code none;
  if (!overwrite && std::filesystem::exists(std::filesystem::symlink_status(path, none))) {
    refusal.text = kNotWritten;
    refusal.detail = "it exists already";
    return refusal;
  }
  MemorySheet sheet;
  cells.CopyTo(sheet);
  SignalBar bar;
  TerminalDialogs dialogs({}, /*may_ask=*/false, bar, [](const std::string&) {});
  OutputTarget target(path, overwrite);
  auto failure = target.Check();
  if (!failure)
    failure = WriteWhole(*output, ShownName(path), sheet, TextConversion(), target, bar,
                         [&](const std::string& temporary, SpreadsheetData& whole) {
                           return WriteFormat(output->registered, temporary, ShownName(path), whole,
                                              dialogs);
                         });
  if (bar.IsCancelled()) {
    refusal.kind = Refusal::Kind::kCancelled;
    refusal.code = kCancelled;
    refusal.text = kNotWritten;
    return refusal;
  }
  if (!failure) return std::nullopt;
  return Outside(*failure, ShownName(path));
}

}  // namespace nvimport
