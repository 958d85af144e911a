#include "nvimport/framework/ImportHelper.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "nvimport/framework/DLLFile.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Profile.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

constexpr const char* kNotReadable =
    "The file could not be read.\n\nThe file type is either not supported or could not be deduced "
    "from the file's extension or contents.";
constexpr const char* kAborted = "AbortedByUser";
constexpr unsigned kErrorTextSize = 1024;

constexpr const char* kAllFiles = "All Files (*.*)";
constexpr const char* kEveryExtension = ".*";

// The host's profile keeps the default format here.
constexpr const char* kSection = "Settings";
constexpr const char* kDefaultFileType = "DefaultFileType";

// The formats that can read, in order: what the open dialog's filters from the second on stand for.
// One that says nothing for a filter has none.
std::vector<int> ReadableFormats() {
  const FormatList& formats = FormatList::Get();
  std::vector<int> positions;
  for (int position = 1; position <= formats.size(); ++position) {
    const NvImportFormatInfo& info = formats.GetInfo(position);
    if (info.can_read && *info.read_filter != '\0') positions.push_back(position);
  }
  return positions;
}

std::string Patterns(const std::vector<std::string>& extensions) {
  // Files with a number for an extension are what the format of every extension is for.
  constexpr const char* kNumbered = "*.0*;*.1*;*.2*;*.3*;*.4*;*.5*;*.6*;*.7*;*.8*;*.9*;";
  std::string patterns;
  for (const std::string& extension : extensions)
    patterns += extension == kEveryExtension ? kNumbered : "*" + extension + ";";
  if (!patterns.empty()) patterns.pop_back();
  return patterns;
}

void AddFilter(std::string& filter, const std::string& text, const std::string& patterns) {
  filter.append(text).push_back('\0');
  filter.append(patterns).push_back('\0');
}

// Follows the progress of an operation and remembers that the user stopped it, or that the window
// failed, which no reader on the way is to see.
class Watch {
 public:
  explicit Watch(std::unique_ptr<Progress> window) : window_(std::move(window)), report_(*this) {
    if (window_ != nullptr) previous_ = Progress::InstallForThread(&report_);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() { Close(); }

  // The window goes with its operation.
  void Close() {
    if (window_ != nullptr) Progress::InstallForThread(previous_);
    window_.reset();
  }

  bool cancelled() const { return cancelled_; }
  // What the window threw; empty where it threw nothing.
  const std::string& failure() const { return failure_; }

 private:
  class Report : public Progress {
   public:
    explicit Report(Watch& watch) : watch_(watch) {}
    bool Advance(std::uint64_t position, std::uint64_t size) override {
      try {
        watch_.cancelled_ = !watch_.window_->Advance(position, size) || watch_.cancelled_;
      } catch (const std::exception& e) {
        watch_.failure_ = e.what();
      } catch (...) {
        watch_.failure_ = "The progress window failed.";
      }
      return !watch_.cancelled_ && watch_.failure_.empty();
    }

   private:
    Watch& watch_;
  };

  std::unique_ptr<Progress> window_;
  Report report_;
  Progress* previous_ = nullptr;
  bool cancelled_ = false;
  std::string failure_;
};

class WaitCursor {
 public:
  explicit WaitCursor(bool shown) : shown_(shown) {
    if (shown_) Dialogs::Current().ShowWaitCursor(true);
  }
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;
  ~WaitCursor() {
    if (shown_) Dialogs::Current().ShowWaitCursor(false);
  }

 private:
  bool shown_;
};

}  // namespace

void ImportHelper::SetVerboseMode(bool show_messages, bool log_messages) {
  show_messages_ = show_messages;
  log_messages_ = log_messages;
}

void ImportHelper::SetThrowExceptionOnError(bool throw_on_error) {
  throw_on_error_ = throw_on_error;
}

int ImportHelper::PutMsgMB(CWnd* parent, const char* text, const char* title, unsigned int type,
                           int) {
  if (log_messages_) Log::WriteMessage("ImportHelper", "PutMsgMB", text, Log::kNormal);
  if (throw_on_error_) throw Exception(text);
  if (!show_messages_) return MessageBoxQuestion::kOkAnswer;
  return Dialogs::Current().ShowMessage({parent, text, title, type});
}

void ImportHelper::PutMsgDD(CWnd* parent, const char* text, const char* detail, const char* title) {
  // What the user cancelled needs no message.
  if (std::string_view(detail) == kAborted) {
    if (throw_on_error_) throw CancelException(text);
    return;
  }
  if (log_messages_)
    Log::WriteMessage("ImportHelper", "PutMsgDD", std::string(text) + ": " + detail, Log::kNormal);
  if (throw_on_error_) throw Exception(text, detail);
  if (show_messages_) Dialogs::Current().ShowDetails({parent, text, detail, title});
}

bool ImportHelper::Fail(CWnd* parent, const char* text, SpreadsheetFile& file) {
  // Of a reader behind the twelve functions, its own.
  auto* served = dynamic_cast<DLLFile*>(&file);
  status_ = served != nullptr ? served->GetServedStatus() : file.GetStatus();
  char detail[kErrorTextSize];
  file.GetErrorMessage(detail, sizeof detail);
  PutMsgDD(parent, text, detail, NvApp::GetName().c_str());
  return false;
}

std::string ImportHelper::OneAtATimeText(const char* name) {
  return name + std::string(" can only be imported one at a time.\n\n Import will be aborted.");
}

bool ImportHelper::CheckFilesBeforeRead(const char* path, int& format, CWnd* parent,
                                        ReadErrors& error, bool show_one_at_a_time) {
  const ParentWindow window(parent);
  error = ReadErrors::kNone;
  const std::string title = NvApp::GetName();
  selection_ = FileSelection::Split(path);
  for (const std::string& name : selection_) {
    std::error_code failed;
    const std::filesystem::file_status status = std::filesystem::status(FilePath(name), failed);
    if (!std::filesystem::exists(status)) {
      error = ReadErrors::kNotExaminable;
      return false;
    }
    if (std::filesystem::is_directory(status)) {
      error = ReadErrors::kDirectory;
      PutMsgMB(parent, kDirectoryText, title.c_str(), MessageBoxQuestion::kStop);
      return false;
    }
  }

  // Kept: `format` comes in as the position of a filter in the open dialog. Its last filter, all
  // files, detects as the first one does.
  const std::vector<int> readable = ReadableFormats();
  const int filter = format;
  const FormatList& formats = FormatList::Get();
  if (filter == 1 || filter == static_cast<int>(readable.size()) + 2) {
    format = ChooseFormat(formats.GetKnownFormats(kept_rules_), selection_.front().c_str());
    if (format < 0) {
      error = ReadErrors::kNoFormatChosen;
      return false;
    }
  } else if (filter >= 2 && filter <= static_cast<int>(readable.size()) + 1) {
    format = readable[static_cast<std::size_t>(filter - 2)];
  } else {
    format = -1;
  }

  if (selection_.size() > 1 && format >= 1) {
    const NvImportFormatInfo& info = formats.GetInfo(format);
    if (!info.several_at_once) {
      error = ReadErrors::kOneAtATime;
      if (show_one_at_a_time)
        PutMsgMB(parent, OneAtATimeText(info.name).c_str(), title.c_str(),
                 MessageBoxQuestion::kStop);
      return false;
    }
    auto sorted = Dialogs::Current().OrderFiles({selection_});
    if (!sorted) {
      error = ReadErrors::kNoFormatChosen;
      return false;
    }
    selection_ = std::move(*sorted);
  }

  if (format < 1) {
    error = ReadErrors::kNoUsableFormat;
    PutMsgMB(parent, kNotReadable, title.c_str(), MessageBoxQuestion::kStop);
    return false;
  }
  return true;
}

bool ImportHelper::ReadSpreadsheetFile(const char* path, int format, SpreadsheetData* sheet,
                                       CWnd* parent, NvImportOpenOptions* options,
                                       bool format_known) {
  return Import(path, format, parent, options, format_known,
                [&](SpreadsheetFile& file) { return FillSheet(file, sheet, parent); });
}

bool ImportHelper::SizeSpreadsheetFile(const char* path, int format, CWnd* parent,
                                       NvImportOpenOptions* options, bool format_known) {
  return Import(path, format, parent, options, format_known, [](SpreadsheetFile&) { return true; });
}

namespace {

void Describe(SpreadsheetFile& file, Description& description) {
  if (file.Describe(description) != kGood)
    Log::WriteNote("ImportHelper", "what the file says of itself could not be read whole");
  Log::WriteCount("ImportHelper", description.cut(),
                  "statement of the file is too long or one too many, and was cut",
                  "statements of the file are too long or too many, and were cut");
}

}  // namespace

bool ImportHelper::Import(const char* path, int format, CWnd* parent, NvImportOpenOptions* options,
                          bool format_known, const std::function<bool(SpreadsheetFile&)>& read) {
  const ParentWindow window(parent);
  rows_ = columns_ = -1;
  status_ = kGood;
  delivered_nothing_ = false;
  std::string selected = path;
  if (!format_known || format < 1) {
    ReadErrors error = ReadErrors::kNone;
    if (!CheckFilesBeforeRead(path, format, parent, error, true)) return false;
    selected = FileSelection::Join(selection_);
  }
  FormatList& formats = FormatList::Get();
  if (format > formats.size() || (kept_rules_ && !formats.HasKeptReader(format))) {
    PutMsgMB(parent, kNotReadable, NvApp::GetName().c_str(), MessageBoxQuestion::kStop);
    return false;
  }

  // An empty record counts as none, yet the choices made are to come back in it. The reader owns
  // the bytes that it fills in, so it gets a record of the driver's own.
  NvImportOpenOptions choices{0, nullptr};
  const bool wants_choices = options != nullptr && options->size == 0 && options->data == nullptr;
  const auto file = formats.CreateFile(format, kept_rules_);
  if (file->Open(true, selected.c_str(), wants_choices ? &choices : options) != kGood)
    return Fail(parent, "The file could not be opened.", *file);
  if (leaves_size_open_) file->LeaveSizeOpen();
  if (!EstablishSize(*file, formats.GetInfo(format).flag4, parent)) return false;
  const auto describe = [&] {
    if (description_ != nullptr) Describe(*file, *description_);
  };
  if (before_reading_) {
    describe();
    before_reading_(wants_choices ? &choices : options);
  }
  if (!read(*file)) return false;
  if (!before_reading_) describe();
  if (wants_choices) SpreadsheetOpenOptions::CopyOpenOptions(options, &choices);
  file->Close();
  return true;
}

bool ImportHelper::EstablishSize(SpreadsheetFile& file, bool shows_wait_cursor, CWnd* parent) {
  {
    const WaitCursor cursor(shows_wait_cursor);
    file.GetNumRows();
  }
  return TakeSize(file, parent);
}

bool ImportHelper::TakeSize(SpreadsheetFile& file, CWnd* parent) {
  rows_ = file.GetNumRows();
  columns_ = file.GetNumCols();
  if (rows_ == -1 || columns_ == -1)
    return Fail(parent, "The file size could not be established. Import will be aborted.", file);
  if (rows_ == SpreadsheetFile::kOpenSize) {
    rows_ = -1;
    return true;
  }
  if (rows_ <= 0 || columns_ <= 0) {
    PutMsgMB(parent, "The selected file does not contain any data. Import will be aborted.",
             NvApp::GetName().c_str(), MessageBoxQuestion::kInformation);
    return false;
  }
  return true;
}

bool ImportHelper::FillSheet(SpreadsheetFile& file, SpreadsheetData* sheet, CWnd* parent) {
  constexpr const char* kNotRead = "Data could not be read from the file. Import will be aborted.";
  Watch watch(Dialogs::Current().OpenProgress({"Loading data file..."}));
  const int status = file.Read(sheet);
  watch.Close();
  if (watch.cancelled() || !watch.failure().empty()) {
    status_ = kCancelled;
    const char* const why = watch.cancelled() ? kAborted : watch.failure().c_str();
    PutMsgDD(parent, kNotRead, why, NvApp::GetName().c_str());
    return false;
  }
  if (status != kGood) return Fail(parent, kNotRead, file);
  if (rows_ == -1 && !TakeSize(file, parent)) return false;
  const auto* const served = dynamic_cast<const DLLFile*>(&file);
  delivered_nothing_ = served != nullptr && served->delivered_nothing();

  const char* warning = file.GetWarningMessage();
  return warning == nullptr || *warning == '\0' ||
         PutMsgMB(parent, warning, "Warning",
                  MessageBoxQuestion::kOkCancel | MessageBoxQuestion::kExclamation) !=
             MessageBoxQuestion::kCancelAnswer;
}

bool ImportHelper::WriteSpreadsheetFile(const char* path, int format, SpreadsheetData* sheet,
                                        CWnd* parent, NvImportOpenOptions* options) {
  const ParentWindow window(parent);
  status_ = kGood;
  FormatList& formats = FormatList::Get();
  if (format < 1) {
    const std::string extension = "." + NvGetFileExtension(path);
    std::vector<int> writable;
    for (int position = 1; position <= formats.size(); ++position)
      if (formats.GetInfo(position).can_write && HasExtension(formats.GetInfo(position), extension))
        writable.push_back(position);
    if (writable.size() == 1) format = writable.front();
  }
  if (format < 1 || format > formats.size() || !formats.GetInfo(format).can_write) {
    PutMsgMB(parent,
             "Save not supported for the current file format\nor the file format could not be "
             "deduced.",
             "Save As", MessageBoxQuestion::kStop);
    return false;
  }

  OutputFile::TakeFailure();
  const auto file = formats.CreateFile(format, kept_rules_);
  if (file->Open(false, path, options) != kGood)
    return Fail(parent, "The file could not be opened.", *file);
  if (file->Write(sheet) != kGood)
    return Fail(parent, "Data could not be written to the file.", *file);
  file->Close();
  // Writers don't report a full disk; the file layer remembers it.
  if (const std::string failure = OutputFile::TakeFailure(); !failure.empty()) {
    PutMsgDD(parent, "File could not be written.", failure.c_str(), NvApp::GetName().c_str());
    return false;
  }
  return true;
}

void ImportHelper::GetFileData(OPENFILENAME& dialog, bool all_files) {
  // A dialog's texts stand until the next one's; plug-ins come and go in between.
  static thread_local std::string filter;
  const FormatList& formats = FormatList::Get();
  const std::vector<int> readable = ReadableFormats();
  std::string supported;
  std::string single;
  for (const int position : readable) {
    const NvImportFormatInfo& info = formats.GetInfo(position);
    const std::string patterns = Patterns(Extensions(info));
    if (patterns.empty()) {
      AddFilter(single, info.read_filter, "*.*");
      continue;
    }
    supported += (supported.empty() ? "" : ";") + patterns;
    AddFilter(single, info.read_filter, patterns);
  }
  filter.clear();
  AddFilter(filter, "Supported Files", supported);
  filter += single;
  if (all_files) AddFilter(filter, kAllFiles, "*.*");
  dialog.lpstrFilter = filter.c_str();

  const auto stored = std::ranges::find(readable, Profile::GetInt(kSection, kDefaultFileType, 0));
  dialog.nFilterIndex =
      stored == readable.end() ? 1 : static_cast<unsigned long>(stored - readable.begin()) + 2;
}

void ImportHelper::GetWriteFileData(OPENFILENAME& dialog) {
  static thread_local std::string filter;
  filter.clear();
  const FormatList& formats = FormatList::Get();
  for (int position = 1; position <= formats.size(); ++position) {
    const NvImportFormatInfo& info = formats.GetInfo(position);
    const std::vector<std::string> extensions = Extensions(info);
    const bool has_filter = info.write_filter != nullptr && *info.write_filter != '\0';
    if (info.can_write && has_filter && !extensions.empty() &&
        extensions.front() != kEveryExtension)
      AddFilter(filter, info.write_filter, Patterns(extensions));
  }
  dialog.lpstrFilter = filter.c_str();
  dialog.nFilterIndex = 1;
}

void ImportHelper::UpdateDefaultFileType(int format) {
  Profile::WriteInt(kSection, kDefaultFileType, format);
}

}  // namespace nvimport
