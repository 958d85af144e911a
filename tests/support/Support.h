#pragma once

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/NvImportMore.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Log.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

using namespace std::string_literals;

// A folder for one test, removed with all that is in it.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  const std::string& path() const { return path_; }

  // Writes the file and returns its path.
  std::string Put(const std::string& name, std::string_view bytes) const;

 private:
  std::string path_;
};

class TempFile {
 public:
  explicit TempFile(std::string_view bytes, const std::string& name = "file.txt")
      : path_(folder_.Put(name, bytes)) {}
  const char* path() const { return path_.c_str(); }

 private:
  TempFolder folder_;
  std::string path_;
};

std::string Contents(const std::string& path);
std::string Repeated(std::string_view text, std::size_t times);

// Keeps what is logged while it lives.
class LogRecorder {
 public:
  LogRecorder()
      : before_(Log::InstallForThread([this](const LogEntry& entry) {
          entries_.push_back(entry);
          if (before_) before_(entry);
        })) {}
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;
  ~LogRecorder() { Log::InstallForThread(std::move(before_)); }

  const std::vector<LogEntry>& entries() const { return entries_; }

  // What readers left out by rule, a line each.
  std::string Notes() const;

 private:
  std::vector<LogEntry> entries_;
  Log::Sink before_;
};

// Answers from a script while it lives; what the script leaves out is cancelled.
class ScriptedDialogs : public Dialogs {
 public:
  ScriptedDialogs() : before_(Install(this)) {}
  ScriptedDialogs(const ScriptedDialogs&) = delete;
  ScriptedDialogs& operator=(const ScriptedDialogs&) = delete;
  ~ScriptedDialogs() override { Install(before_); }

  std::optional<std::size_t> SelectFileType(const FileTypeQuestion& question) override {
    file_type_questions.push_back(question);
    return file_type;
  }
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override {
    return import_text ? import_text(question) : std::nullopt;
  }
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    items_questions.push_back(question);
    return items;
  }
  std::optional<RangeChoice> SelectRange(const RangeQuestion& question) override {
    range_questions.push_back(question);
    return range;
  }

  std::optional<std::size_t> file_type;
  std::function<std::optional<TextImportChoice>(const TextImportQuestion&)> import_text;
  std::optional<ItemsChoice> items;
  std::optional<RangeChoice> range;

  std::vector<FileTypeQuestion> file_type_questions;
  std::vector<ItemsQuestion> items_questions;
  std::vector<RangeQuestion> range_questions;

 private:
  Dialogs* before_;
};

// The open options of one import, as a caller would hold them.
class OpenOptions {
 public:
  explicit OpenOptions(std::string bytes);
  // What "key=value;key=value" stands for, none for "".
  static OpenOptions Pairs(const std::string& pairs);
  // What a reader's GetImportOptions made, which is freed.
  static OpenOptions Made(NvImportOpenOptions* made);
  OpenOptions(const OpenOptions&) = delete;
  OpenOptions& operator=(const OpenOptions&) = delete;

  // Null for none.
  NvImportOpenOptions* get() { return bytes_.empty() ? nullptr : &record_; }

 private:
  std::string bytes_;
  NvImportOpenOptions record_;
};

// The bytes of a record, and those behind the length that pairs begin with.
std::string BytesOf(const NvImportOpenOptions& options);
std::string PairsOf(const NvImportOpenOptions& options);

// A sheet whose rows are asked for by `next`.
class PickySheet : public MemorySheet {
 public:
  explicit PickySheet(std::function<int(int)> next) : next_(std::move(next)) {}
  int GetNextIndex(int previous) override { return next_(previous); }

 private:
  std::function<int(int)> next_;
};

// The C functions' sink for a sheet, which refuses rows and columns after so many.
struct SheetRecord : NvImportReadData {
  MemorySheet sheet;
  int refused_after = std::numeric_limits<int>::max();
  SheetRecord();
};

// The sink of the function for whole values, likewise.
struct WholeRecord : NvImportWholeData {
  MemorySheet sheet;
  WholeRecord();
};

// A sheet of floats, as hosts of old have.
class FloatSheet final : public MemorySheet {};

std::string ErrorText(SpreadsheetFile& file);

// One line a row, `'a' | 1 | .`: texts in quotes, numbers in their shortest form, `.` for a cell
// never set. Empty for a sheet without columns.
std::string SheetText(MemorySheet& sheet);

// What an import came to.
struct Outcome {
  int status = 0;
  std::string text;
  std::string sheet;
  std::string notes;

  // All of it, "1282 The file is damaged." before the cells that came nevertheless.
  std::string Summary() const {
    return (status == 0 ? "" : std::to_string(status) + " " + text + "\n") + sheet + notes;
  }
};

Outcome ImportFile(SpreadsheetFile& file, const std::string& path,
                   NvImportOpenOptions* options = nullptr);
Outcome ImportInto(MemorySheet& sheet, SpreadsheetFile& file, const std::string& path,
                   NvImportOpenOptions* options);
inline Outcome ImportFile(SpreadsheetFile& file, const std::string& path,
                          const std::string& pairs) {
  return ImportFile(file, path, OpenOptions::Pairs(pairs).get());
}

template <typename Reader, typename... Arguments>
Outcome Import(std::string_view bytes, const std::string& pairs = "", Arguments... arguments) {
  const TempFile file(bytes);
  Reader reader(arguments...);
  return ImportFile(reader, file.path(), pairs);
}

}  // namespace nvimport
