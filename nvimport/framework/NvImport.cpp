#include "nvimport/framework/NvImport.h"

#include <cstdint>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/framework/DLLReadSpreadSheetData.h"
#include "nvimport/framework/DLLReadWholeData.h"
#include "nvimport/framework/DLLWriteSpreadSheetData.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/NvImportMore.h"
#include "nvimport/framework/OpenFiles.h"
#include "nvimport/framework/ServedFormats.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Immortal.h"
#include "nvimport/platform/LibraryLock.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

// Plug-ins for 32-bit hosts are built against these sizes.
static_assert(sizeof(void*) != 4 || sizeof(NvImportReadData) == 28);
static_assert(sizeof(void*) != 4 || sizeof(NvImportWriteData) == 24);
static_assert(sizeof(void*) != 4 || sizeof(NvImportOpenOptions) == 8);

namespace {

constexpr unsigned kTextSize = 256;
constexpr const char* kNoRecord = "There is no record of callbacks.";
constexpr const char* kShortRecord = "The record of callbacks is shorter than it can be.";

// The text of a failure that is no status: an exception caught at the edge, a misused function.
struct FailureText {
  char text[kTextSize] = "";

  void Keep(const char* reason) {
    std::strncpy(text, reason, kTextSize - 1);
    text[kTextSize - 1] = '\0';
  }
};

struct OpenFile {
  std::unique_ptr<SpreadsheetFile> file;
  FailureText failure;
  std::vector<std::string> notes;  // of the last read
  bool is_at_work = false;         // a call for it has not returned
};

// The open files by handle. A handle is the object's address; where a long can't hold one it is
// the key alone that counts. They are every thread's, a file that of the thread that calls.
using OpenFiles = std::map<long, OpenFile>;

OpenFile* Find(long handle) {
  const LibraryLock lock;
  auto& files = Immortal<OpenFiles>();
  const auto found = files.find(handle);
  return found != files.end() ? &found->second : nullptr;
}

long NewHandle(const SpreadsheetFile* file) {
  if constexpr (sizeof(long) >= sizeof(void*)) {
    return static_cast<long>(reinterpret_cast<std::intptr_t>(file));
  } else {
    static long last = 0;
    return ++last;
  }
}

// What there is to say where no handle could be made.
thread_local FailureText no_handle_failure;

// Keeps the notes of this thread, which go on to whom they went to before.
class KeepingNotes {
 public:
  explicit KeepingNotes(std::vector<std::string>& notes)
      : before_(Log::InstallForThread([&notes, others = Log::Current()](const LogEntry& entry) {
          if (entry.operation == "Note") notes.push_back(entry.text);
          if (others) others(entry);
        })) {}
  KeepingNotes(KeepingNotes&&) = delete;
  ~KeepingNotes() { Log::InstallForThread(std::move(before_)); }

 private:
  Log::Sink before_;
};

// Runs `operation`, which tells success, and lets nothing out: an exception becomes a kept text.
template <typename Operation>
char Guard(FailureText& failure, Operation operation) {
  try {
    return operation() ? 1 : 0;
  } catch (const std::bad_alloc&) {
    failure.Keep("Out of memory.");
  } catch (const std::exception& e) {
    failure.Keep(e.what());
  } catch (...) {
    failure.Keep("An unforeseen error occurred.");
  }
  return 0;
}

template <typename Operation>
char WithFile(long handle, Operation operation) {
  OpenFile* open = Find(handle);
  if (open == nullptr) return 0;
  const bool was_at_work = std::exchange(open->is_at_work, true);
  open->failure = {};
  const char done = Guard(open->failure, [&] { return operation(*open); });
  open->is_at_work = was_at_work;
  return done;
}

bool Refuse(OpenFile& open, const char* reason) {
  open.failure.Keep(reason);
  return false;
}

// The same for what a callback of a call must not do to the call's file.
template <typename Operation>
char WithIdleFile(long handle, Operation operation) {
  OpenFile* open = Find(handle);
  if (open != nullptr && open->is_at_work) return Refuse(*open, "The file is at work."), '\0';
  return WithFile(handle, operation);
}

}  // namespace

char IsCorrectFileType(FormatRegistry& registry, int format, const char* path) {
  int answer = 0;
  Guard(no_handle_failure, [&] {
    answer = path != nullptr ? registry.TestFile(format, path) : 0;
    return true;
  });
  return static_cast<char>(answer);
}

char OpenFileOf(FormatRegistry& registry, int format, const char* path, char mode, long* handle,
                NvImportOpenOptions* options) {
  if (handle == nullptr) return 0;
  *handle = 0;
  no_handle_failure = {};
  OpenFile* open = nullptr;
  Guard(no_handle_failure, [&] {
    auto file = registry.CreateReader(format);
    if (file == nullptr) {
      no_handle_failure.Keep("There is no such format.");
      return false;
    }
    const LibraryLock lock;
    const long key = NewHandle(file.get());
    open = &Immortal<OpenFiles>()[key];
    open->file = std::move(file);
    *handle = key;
    return true;
  });
  if (open == nullptr) return 0;
  return WithFile(*handle, [&](OpenFile& file) {
    return file.file->Open(mode != 0, path != nullptr ? path : "", options) == kGood;
  });
}

}  // namespace nvimport

using namespace nvimport;

void NvImportInitPackage() {}

void NvImportReleasePackage() {}

int NvImportSizeFileFormatsSupported() { return ServedFormats().size(); }

NvImportFormatInfo* NvImportGetFileFormatInfo(int format) { return ServedFormats().Find(format); }

char NvImportIsCorrectFileType(int format, const char* path) {
  return IsCorrectFileType(ServedFormats(), format, path);
}

char NvImportOpen(int format, const char* path, char mode, long* handle,
                  NvImportOpenOptions* options) {
  return OpenFileOf(ServedFormats(), format, path, mode, handle, options);
}

char NvImportEstablishSize(int, long handle, int* rows, int* columns) {
  int found_rows = -1;
  int found_columns = -1;
  const char done = WithFile(handle, [&](OpenFile& open) {
    found_rows = open.file->GetNumRows();
    found_columns = open.file->GetNumCols();
    return found_rows >= 0 && found_columns >= 0;
  });
  if (rows != nullptr) *rows = done != 0 ? found_rows : -1;
  if (columns != nullptr) *columns = done != 0 ? found_columns : -1;
  return done;
}

char NvImportLeaveSizeOpen(int, long handle) {
  return WithIdleFile(handle, [](OpenFile& open) { return open.file->LeaveSizeOpen(); });
}

char NvImportRead(int, long handle, NvImportReadData* data) {
  return WithIdleFile(handle, [&](OpenFile& open) {
    if (data == nullptr) return Refuse(open, kNoRecord);
    DLLReadSpreadSheetData sink(data);
    return open.file->Read(&sink) == kGood;
  });
}

char NvImportWrite(int, long handle, NvImportWriteData* data) {
  return WithIdleFile(handle, [&](OpenFile& open) {
    if (data == nullptr) return Refuse(open, kNoRecord);
    DLLWriteSpreadSheetData source(data);
    return open.file->Write(&source) == kGood;
  });
}

char NvImportReadWhole(int, long handle, NvImportWholeData* data) {
  return WithIdleFile(handle, [&](OpenFile& open) {
    if (data == nullptr) return Refuse(open, kNoRecord);
    if (data->size < sizeof *data) return Refuse(open, kShortRecord);
    open.notes.clear();
    const KeepingNotes keeping(open.notes);
    DLLReadWholeData sink(data);
    return open.file->Read(&sink) == kGood;
  });
}

char NvImportDescribe(int, long handle, NvImportDescription* record) {
  return WithIdleFile(handle, [&](OpenFile& open) {
    if (record == nullptr) return Refuse(open, kNoRecord);
    if (record->size < sizeof *record) return Refuse(open, kShortRecord);
    Description description(record->state == nullptr && record->name_axis == nullptr);
    if (open.file->Describe(description) != kGood) return false;
    if (record->state != nullptr)
      for (const Statement& one : description.statements())
        record->state(record, one.row, one.label.c_str(), one.key.c_str(), one.value.c_str(),
                      one.value.size());
    for (const Axis axis : {Axis::kX, Axis::kY, Axis::kZ}) {
      const AxisName& name = description.name(axis);
      if (record->name_axis != nullptr && (!name.label.empty() || !name.unit.empty()))
        record->name_axis(record, "xyz"[static_cast<int>(axis)], name.label.c_str(),
                          name.unit.c_str());
    }
    if (record->set_x != nullptr && !description.x().empty())
      record->set_x(record, description.first_x_column(), description.x().data(),
                    description.x().size());
    if (record->set_cut != nullptr && description.cut() > 0)
      record->set_cut(record, description.cut());
    return true;
  });
}

const char* NvImportGetNote(int, long handle, int number) {
  const OpenFile* open = Find(handle);
  if (open == nullptr || number < 0 || static_cast<std::size_t>(number) >= open->notes.size())
    return nullptr;
  return open->notes[static_cast<std::size_t>(number)].c_str();
}

int NvImportGetStatus(int, long handle) {
  const OpenFile* open = Find(handle);
  return open != nullptr ? open->file->GetStatus() : kGood;
}

void NvImportClose(int, long handle) {
  WithIdleFile(handle, [](OpenFile& open) {
    open.file->Close();
    return true;
  });
  const OpenFile* const open = Find(handle);
  if (open == nullptr || open->is_at_work) return;
  OpenFiles::node_type gone;
  const LibraryLock lock;
  gone = Immortal<OpenFiles>().extract(handle);
}

const char* NvImportGetLastError(int, long handle) {
  // Kept: one buffer for all handles of a thread, and one byte less than it holds.
  static thread_local char text[kTextSize];
  text[0] = '\0';
  const OpenFile* open = Find(handle);
  if (open != nullptr && open->file->GetStatus() != kGood) {
    FailureText ignored;
    Guard(ignored, [&] {
      open->file->GetErrorMessage(text, kTextSize - 1);
      return true;
    });
  } else {
    // Handle 0 is what a failed NvImportOpen leaves when not even an object could be made.
    const FailureText& failure = open != nullptr ? open->failure : no_handle_failure;
    std::memcpy(text, failure.text, kTextSize - 1);
    text[kTextSize - 2] = '\0';
  }
  return text;
}

const char* NvImportGetWarning(int, long handle) {
  const OpenFile* open = Find(handle);
  const char* warning = nullptr;
  FailureText ignored;
  Guard(ignored, [&] {
    if (open != nullptr) warning = open->file->GetWarningMessage();
    return true;
  });
  return warning;
}
