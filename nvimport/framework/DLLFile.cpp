#include "nvimport/framework/DLLFile.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <type_traits>

#include "nvimport/framework/Description.h"
#include "nvimport/framework/OpenFiles.h"
#include "nvimport/framework/PluginTurns.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/WriteRecord.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

enum Status : int { kMissingFunction = 2048, kLibraryFailed = 2049, kNotOpened = 2050 };
constexpr StatusText kTexts[] = {
    {kMissingFunction, "The import dll is missing a function."},
    {kNotOpened, "The file was not opened properly."},
};
static_assert(WellFormed(kTexts, 2048, 2050));

// Of a plug-in.
constexpr int kMostNotes = 1000;
constexpr std::size_t kMostColumns = INT_MAX;

// Calls back into C++ out of a library's C function, through which nothing may be thrown: an
// exception is kept until that function has returned. From then on, or once stopped, nothing more
// is done.
class Callback {
 public:
  template <typename Work, typename Result>
  Result Run(Result otherwise, Work work) {
    if (stopped_) return otherwise;
    try {
      return work();
    } catch (...) {
      exception_ = std::current_exception();
      stopped_ = true;
      return otherwise;
    }
  }

  void Stop() { stopped_ = true; }

  void Rethrow() const {
    if (exception_ != nullptr) std::rethrow_exception(exception_);
  }

 private:
  std::exception_ptr exception_;
  bool stopped_ = false;
};

// A sink behind a library's record of callbacks, be it of the twelve functions or for whole values.
template <typename Record>
struct SinkRecord : Record {
  ReadSpreadSheetData* sink;
  Callback callback;
  // Nobody else counts what a plug-in reads.
  static constexpr unsigned kCellsPerPoll = 4096;
  unsigned cells_until_poll = 1;
  bool has_content = false;  // a cell with something in it was delivered
  bool wants_all = true;     // as far as it was asked

  explicit SinkRecord(ReadSpreadSheetData* target) : Record{}, sink(target) {
    this->set_size = [](Record* data, int new_rows, int new_columns) {
      SinkRecord& self = Self(data);
      self.callback.Run(0, [&] {
        self.sink->SetDataSize(new_columns, new_rows);
        self.TakeSize();
        return 0;
      });
    };
    this->next_index = [](Record* data, int previous) {
      SinkRecord& self = Self(data);
      const int next = self.callback.Run(-1, [&] { return self.sink->GetNextIndex(previous); });
      self.wants_all = self.wants_all && next >= 0;
      return next;
    };
    TakeSize();
  }

  // `set` hands the value to the sink.
  template <typename Value, typename Set>
  void Deliver(Value value, Set set) {
    // Apart, so that the usual cell pays for the count alone; so do cells before the first that has
    // something in it.
    if (--cells_until_poll == 0) return PollAndDeliver(value, set);
    callback.Run(0, [&] { return set(*sink), 0; });
  }

  template <typename Value, typename Set>
  [[gnu::noinline]] void PollAndDeliver(Value value, Set set) {
    if constexpr (std::is_pointer_v<Value>)
      has_content = has_content || (value != nullptr && *value != '\0');
    else
      has_content = true;
    cells_until_poll = has_content ? kCellsPerPoll : 1;
    callback.Run(0, [&] {
      if (!Progress::Poll()) return callback.Stop(), 0;
      return set(*sink), 0;
    });
  }

  void TakeSize() {
    this->rows = sink->GetNumberOfRows();
    this->columns = sink->GetNumberOfColumns();
  }

  static SinkRecord& Self(Record* data) { return *static_cast<SinkRecord*>(data); }

  // A callback that sets a value, and one that sets it as the file has it.
  template <typename Value>
  static void Set(Record* data, int row, int column, Value value) {
    Self(data).Deliver(value, [&](ReadSpreadSheetData& to) { to.Set(column, row, value); });
  }
  template <typename Value>
  static void SetExact(Record* data, int row, int column, Value value) {
    Self(data).Deliver(value, [&](ReadSpreadSheetData& to) { to.SetExact(column, row, value); });
  }
};

struct ReadRecord : SinkRecord<NvImportReadData> {
  explicit ReadRecord(ReadSpreadSheetData* target) : SinkRecord(target) {
    set_number = &Set<float>;
    set_text = &Set<const char*>;
  }
};

struct WholeRecord : SinkRecord<NvImportWholeData> {
  explicit WholeRecord(ReadSpreadSheetData* target) : SinkRecord(target) {
    size = sizeof(NvImportWholeData);
    set_float = &Set<float>;
    set_double = &SetExact<double>;
    set_whole = &SetExact<long long>;
    set_text = [](NvImportWholeData* data, int row, int column, const char* text, size_t length) {
      Self(data).Deliver(text, [&](ReadSpreadSheetData& to) { to.Set(column, row, text, length); });
    };
  }
};

// Takes a library's description.
struct DescriptionRecord : NvImportDescription {
  Description* description;
  Callback callback;

  explicit DescriptionRecord(Description& to) : NvImportDescription{}, description(&to) {
    size = sizeof(NvImportDescription);
    state = [](NvImportDescription* data, int row, const char* label, const char* key,
               const char* value, size_t length) {
      if (value == nullptr) return;
      Add(data, [&](Description& d) { d.State(TextOf(label), TextOf(key), {value, length}, row); });
    };
    name_axis = [](NvImportDescription* data, char axis, const char* label, const char* unit) {
      if (axis >= 'x' && axis <= 'z')
        Add(data, [&](Description& d) {
          d.NameAxis(static_cast<Axis>(axis - 'x'), TextOf(label), TextOf(unit));
        });
    };
    if (to.of_x_alone()) state = nullptr, name_axis = nullptr;
    set_x = [](NvImportDescription* data, int first_column, const double* values, size_t count) {
      if (values != nullptr && first_column >= 1 && count <= kMostColumns)
        Add(data, [&](Description& d) { d.SetX(first_column, {values, values + count}); });
    };
    set_cut = [](NvImportDescription* data, size_t count) {
      Add(data, [&](Description& d) { d.AddCut(count); });
    };
  }

  static std::string_view TextOf(const char* text) { return text != nullptr ? text : ""; }
  template <typename Work>
  static void Add(NvImportDescription* data, Work work) {
    auto& self = *static_cast<DescriptionRecord*>(data);
    self.callback.Run(0, [&] { return work(*self.description), 0; });
  }
};

struct WriteRecord : NvImportWriteData {
  WriteSpreadSheetData* source;
  Callback callback;

  explicit WriteRecord(WriteSpreadSheetData* from) : NvImportWriteData{}, source(from) {
    kind = [](NvImportWriteData* data, int row, int column) {
      WriteRecord& self = Self(data);
      return self.callback.Run('\0', [&] { return self.Kind(column, row); });
    };
    number = [](NvImportWriteData* data, int row, int column) {
      WriteRecord& self = Self(data);
      return self.callback.Run(0.0F, [&] { return self.source->GetNumber(column, row); });
    };
    text = &Text;
    flag = [](NvImportWriteData* data, int column, int row) {
      WriteRecord& self = Self(data);
      return self.callback.Run('\0',
                               [&] { return self.source->CellFlag(column, row) ? '\1' : '\0'; });
    };
    rows = source->GetNumberOfRows();
    columns = source->GetNumberOfColumns();
  }

  static const char* Text(NvImportWriteData* data, int row, int column) {
    WriteRecord& self = Self(data);
    return self.callback.Run(static_cast<const char*>(""),
                             [&] { return self.source->GetText(column, row); });
  }

  char Kind(int column, int row) {
    if (source->IsNumber(column, row)) return static_cast<char>(CellKind::kNumber);
    if (source->IsText(column, row)) return static_cast<char>(CellKind::kText);
    return source->IsMissing(column, row) ? static_cast<char>(CellKind::kMissing) : '\0';
  }

  static WriteRecord& Self(NvImportWriteData* data) { return *static_cast<WriteRecord*>(data); }
};

}  // namespace

WriteSpreadSheetData* SourceOf(const NvImportWriteData& record) {
  return record.text == &WriteRecord::Text ? static_cast<const WriteRecord&>(record).source
                                           : nullptr;
}

DLLFile::DLLFile(decltype(&NvImportOpen) open, decltype(&NvImportClose) close,
                 decltype(&NvImportGetLastError) get_last_error,
                 decltype(&NvImportEstablishSize) establish_size, decltype(&NvImportRead) read,
                 decltype(&NvImportWrite) write, decltype(&NvImportGetWarning) get_warning,
                 bool can_read, bool can_write, int index, PluginTurns* turns)
    : open_(open),
      close_(close),
      get_last_error_(get_last_error),
      establish_size_(establish_size),
      read_(read),
      write_(write),
      get_warning_(get_warning),
      can_read_(can_read),
      can_write_(can_write),
      index_(index),
      turns_(turns) {}

void DLLFile::UseMore(decltype(&NvImportReadWhole) read_whole, decltype(&NvImportDescribe) describe,
                      decltype(&NvImportGetNote) get_note, decltype(&NvImportGetStatus) get_status,
                      decltype(&NvImportLeaveSizeOpen) leave_size_open) {
  read_whole_ = read_whole;
  describe_ = describe;
  get_note_ = get_note;
  get_status_ = get_status;
  leave_size_open_ = leave_size_open;
}

DLLFile::~DLLFile() { CloseHandle(); }

template <typename Result, typename Function>
Result DLLFile::Call(Result otherwise, Function function) {
  std::unique_lock<PluginTurns> turn;
  if (turns_ != nullptr) turn = std::unique_lock(*turns_);
  try {
    return function();
  } catch (const std::exception& e) {
    thrown_ = e.what();
  } catch (...) {
    thrown_ = "An unforeseen error occurred.";
  }
  return otherwise;
}

void DLLFile::CloseHandle() {
  if (handle_ != 0 && close_ != nullptr) Call(0, [&] { return close_(index_, handle_), 0; });
  handle_ = 0;
  opened_ = false;
  thrown_.clear();
}

void DLLFile::Close() {
  CloseHandle();
  SpreadsheetFile::Close();
}

int DLLFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read && !can_write_) return Fail(kWrongMode);
  if (open_ == nullptr) return Fail(kMissingFunction);
  CloseHandle();
  size_established_ = false;
  opened_ =
      Call(false, [&] { return open_(index_, path, read ? '\1' : '\0', &handle_, options) != 0; });
  if (opened_ && handle_ == 0) opened_ = false, Fail(kNotOpened);
  return opened_ ? kGood : Fail(kLibraryFailed);
}

int DLLFile::EstablishSize() {
  // Over the status of a failed open too: what is wrong with the call is that there is no file.
  if (!opened_) return status_ = kNotOpened;
  if (status_ != kGood) return status_;
  if (establish_size_ == nullptr) return Fail(kMissingFunction);
  int rows = -1;
  int columns = -1;
  const bool done =
      Call(false, [&] { return establish_size_(index_, handle_, &rows, &columns) != 0; });
  if (!done || rows < 0 || columns < 0) return Fail(kLibraryFailed);
  return SetSize(static_cast<std::uint64_t>(columns), static_cast<std::uint64_t>(rows));
}

bool DLLFile::LeaveSizeOpen() {
  return opened_ && leave_size_open_ != nullptr &&
         Call('\0', [&] { return leave_size_open_(index_, handle_); }) != 0;
}

int DLLFile::Read(ReadSpreadSheetData* sink) {
  if (!opened_) return status_ = kNotOpened;
  if (status_ != kGood) return status_;
  if (read_whole_ != nullptr && sink->TakesExact()) {
    const int status = ReadBy(read_whole_, WholeRecord(sink));
    // What our own readers tell is in the log already.
    for (int i = 0; turns_ != nullptr && get_note_ != nullptr && i < kMostNotes; ++i) {
      const char* note = Call<const char*>(nullptr, [&] { return get_note_(index_, handle_, i); });
      if (note == nullptr) break;
      Log::WriteNote("DLLFile", note);
    }
    return status;
  }
  return read_ != nullptr ? ReadBy(read_, ReadRecord(sink)) : Fail(kMissingFunction);
}

template <typename Function, typename Record>
int DLLFile::ReadBy(Function read, Record record) {
  const bool done = Call(false, [&] { return read(index_, handle_, &record) != 0; });
  delivered_nothing_ = done && record.wants_all && !record.has_content;
  record.callback.Rethrow();
  // It is known by now, unless the sink had enough.
  if (done && num_rows_ == kOpenSize) size_established_ = false;
  return done ? kGood : Fail(kLibraryFailed);
}

int DLLFile::DescribeAll(Description& description) {
  if (!opened_) return status_ = kNotOpened;
  if (status_ != kGood || describe_ == nullptr) return status_;
  DescriptionRecord record(description);
  const bool done = Call(false, [&] { return describe_(index_, handle_, &record) != 0; });
  record.callback.Rethrow();
  return done ? kGood : Fail(kLibraryFailed);
}

int DLLFile::Write(WriteSpreadSheetData* source) {
  if (!opened_) return status_ = kNotOpened;
  if (status_ != kGood) return status_;
  if (!can_write_) return Fail(kWrongMode);
  if (write_ == nullptr) return Fail(kMissingFunction);
  WriteRecord record(source);
  const bool done = Call(false, [&] { return write_(index_, handle_, &record) != 0; });
  record.callback.Rethrow();
  return done ? kGood : Fail(kLibraryFailed);
}

int DLLFile::GetServedStatus() {
  const int served = get_status_ != nullptr && handle_ != 0
                         ? Call(int{kGood}, [&] { return get_status_(index_, handle_); })
                         : kGood;
  return served != kGood ? served : status_;
}

void DLLFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (status_ != kLibraryFailed) {
    if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
    return;
  }
  const char* text = thrown_.c_str();
  if (thrown_.empty() && get_last_error_ != nullptr)
    text = Call<const char*>(nullptr, [&] { return get_last_error_(index_, handle_); });
  const StatusText own[] = {{kLibraryFailed, text != nullptr ? text : ""}};
  CopyText(own, buffer, size);
}

const char* DLLFile::GetWarningMessage() {
  if (get_warning_ == nullptr || !opened_) return nullptr;
  return Call<const char*>(nullptr, [&] { return get_warning_(index_, handle_); });
}

}  // namespace nvimport
