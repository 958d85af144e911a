// A plug-in with one format. Ferrite FRT: a 32-byte header, then the float32 samples of each scan
// in turn, all little-endian.
//   0 char[4] magic "FRT1"     8 uint32  scans      16 double  first X
//   4 uint32  points per scan  12 4 bytes unused    24 double  X step
// The sheet has the X values in row 1 and a scan in each row below.

#include <nvimport/framework/NvImportMore.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kHeaderSize = 32;

// One open file.
struct FrtFile {
  std::ifstream stream;
  std::uint32_t points = 0;
  std::uint32_t scans = 0;
  double first_x = 0;
  double step_x = 0;
  std::string error;

  bool Fail(const char* text) {
    error = text;
    return false;
  }

  bool Open(const char* path) {
    // In UTF-8, which not every system takes as it is.
    stream.open(std::filesystem::path(reinterpret_cast<const char8_t*>(path)),
                std::ios::binary | std::ios::ate);
    const auto size = static_cast<std::uint64_t>(stream.tellg());
    char header[kHeaderSize];
    stream.seekg(0);
    if (!stream.read(header, sizeof header)) return Fail("Unable to read the file's header.");
    if (std::memcmp(header, "FRT1", 4) != 0)
      return Fail("This file does not seem to be a valid Ferrite file.");
    std::memcpy(&points, header + 4, sizeof points);
    std::memcpy(&scans, header + 8, sizeof scans);
    std::memcpy(&first_x, header + 16, sizeof first_x);
    std::memcpy(&step_x, header + 24, sizeof step_x);
    // The counts are claims until the file's size has backed them.
    const std::uint64_t samples = (size - kHeaderSize) / sizeof(float);
    if (points == 0 || points > samples || scans > samples / points || points > INT_MAX ||
        scans >= INT_MAX)
      return Fail("The file is shorter than its header says.");
    return true;
  }

  // Of NvImportReadData and NvImportWholeData: `set_x` and `set_value` are the callbacks for what
  // the file holds as doubles and as floats.
  template <typename Data, typename SetX, typename SetValue>
  bool Read(Data* data, SetX set_x, SetValue set_value) {
    data->set_size(data, static_cast<int>(scans) + 1, static_cast<int>(points));
    for (std::uint32_t p = 0; p < points; ++p)
      set_x(data, 1, static_cast<int>(p) + 1, first_x + p * step_x);
    stream.clear();
    stream.seekg(kHeaderSize);
    std::vector<float> scan(points);
    for (std::uint32_t s = 0; s < scans; ++s) {
      const auto bytes = static_cast<std::streamsize>(scan.size() * sizeof(float));
      if (!stream.read(reinterpret_cast<char*>(scan.data()), bytes))
        return Fail("The file ended while it was read.");
      for (std::uint32_t p = 0; p < points; ++p)
        set_value(data, static_cast<int>(s) + 2, static_cast<int>(p) + 1, scan[p]);
    }
    return true;
  }
};

// The open files by their handles, since an address does not fit a long everywhere. Hosts may open
// several at a time.
struct OpenFiles {
  std::mutex mutex;
  std::map<long, FrtFile> files;
  long last = 0;
};

OpenFiles& TheOpenFiles() {
  static OpenFiles open;
  return open;
}

FrtFile& File(long handle) {
  OpenFiles& open = TheOpenFiles();
  const std::lock_guard lock(open.mutex);
  return open.files.at(handle);
}

// 0 where there is no memory for one.
long NewHandle() {
  OpenFiles& open = TheOpenFiles();
  const std::lock_guard lock(open.mutex);
  try {
    open.files[open.last + 1];
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return ++open.last;
}

// Nothing may be thrown through a C function.
template <typename Work>
char Guard(FrtFile& file, Work work) {
  try {
    return work() ? 1 : 0;
  } catch (const std::exception&) {
    return file.Fail("Out of memory.") ? 1 : 0;
  }
}

}  // namespace

void NvImportInitPackage() {}

void NvImportReleasePackage() {}

int NvImportSizeFileFormatsSupported() { return 1; }

NvImportFormatInfo* NvImportGetFileFormatInfo(int) {
  static NvImportFormatInfo info = {"Ferrite File",
                                    "Ferrite Files (*.frt)",
                                    nullptr,
                                    1,
                                    ".frt",
                                    /*can_write=*/false,
                                    /*can_read=*/true,
                                    /*several_at_once=*/false,
                                    true,
                                    false};
  return &info;
}

char NvImportIsCorrectFileType(int, const char* path) {
  FrtFile file;
  return Guard(file, [&] { return file.Open(path); }) != 0 ? 2 : 0;
}

char NvImportOpen(int, const char* path, char mode, long* handle, NvImportOpenOptions*) {
  *handle = NewHandle();
  if (*handle == 0) return 0;
  FrtFile& file = File(*handle);
  return Guard(file, [&] {
    return mode != 0 ? file.Open(path) : file.Fail("Ferrite files can't be written.");
  });
}

char NvImportEstablishSize(int, long handle, int* rows, int* columns) {
  *rows = static_cast<int>(File(handle).scans) + 1;
  *columns = static_cast<int>(File(handle).points);
  return 1;
}

char NvImportRead(int, long handle, NvImportReadData* data) {
  const auto set_x = [](NvImportReadData* to, int row, int column, double x) {
    to->set_number(to, row, column, static_cast<float>(x));
  };
  return Guard(File(handle), [&] { return File(handle).Read(data, set_x, data->set_number); });
}

// The functions from here on are beside the twelve. A host that knows them gets the X values with
// all their digits.
char NvImportReadWhole(int, long handle, NvImportWholeData* data) {
  return Guard(File(handle),
               [&] { return File(handle).Read(data, data->set_double, data->set_float); });
}

char NvImportDescribe(int, long handle, NvImportDescription* description) {
  FrtFile& file = File(handle);
  return Guard(file, [&] {
    const std::string scans = std::to_string(file.scans);
    if (description->state != nullptr)
      description->state(description, 0, "scans", "scans", scans.c_str(), scans.size());
    std::vector<double> x(file.points);
    for (std::uint32_t p = 0; p < file.points; ++p) x[p] = file.first_x + p * file.step_x;
    if (description->set_x != nullptr) description->set_x(description, 1, x.data(), x.size());
    return true;
  });
}

// It leaves nothing out that a note would tell.
const char* NvImportGetNote(int, long, int) { return nullptr; }

char NvImportWrite(int, long handle, NvImportWriteData*) {
  return File(handle).Fail("Ferrite files can't be written.") ? 1 : 0;
}

void NvImportClose(int, long handle) {
  OpenFiles& open = TheOpenFiles();
  const std::lock_guard lock(open.mutex);
  open.files.erase(handle);
}

const char* NvImportGetLastError(int, long handle) {
  return handle != 0 ? File(handle).error.c_str() : "Out of memory.";
}

const char* NvImportGetWarning(int, long) { return nullptr; }
