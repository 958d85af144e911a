// TwinHost SAMPLES: a host of the C interface in a process that has other classes under the names
// of the library's. Reads, and asks for the text of a failure.

#include <nvimport/framework/NvImport.h>

#include <cstdio>
#include <cstring>
#include <string>

// Uses each of the twins; what it returns is true.
bool UseTwins();

namespace {

int Format(const char* name) {
  int format = NvImportSizeFileFormatsSupported();
  while (format > 0 && std::strcmp(NvImportGetFileFormatInfo(format)->name, name) != 0) --format;
  return format;
}

}  // namespace

int main(int, char** arguments) {
  const std::string samples = arguments[1];
  const struct {
    const char* format;
    const char* file;
    int rows, columns;
    const char* failure;  // of options that make no sense
  } kFiles[] = {
      {"CSV File", "/trials.csv", 7, 4, "The import options are not valid for this format."},
      {"Brimrose File", "/tablets.dat", 4, 42, "The import options are not valid for this format."},
  };
  int faults = UseTwins() ? 0 : 1;
  for (const auto& f : kFiles) {
    const int format = Format(f.format);
    long handle = 0;
    int rows = 0;
    int columns = 0;
    const std::string path = samples + f.file;
    const bool read = NvImportOpen(format, path.c_str(), 1, &handle, nullptr) != 0 &&
                      NvImportEstablishSize(format, handle, &rows, &columns) != 0;
    NvImportClose(format, handle);
    unsigned char bytes[] = {1, 2, 3};
    NvImportOpenOptions options = {3, bytes};
    const bool opened = NvImportOpen(format, path.c_str(), 1, &handle, &options) != 0;
    const std::string text = NvImportGetLastError(format, handle);
    NvImportClose(format, handle);
    std::printf("%s: %d, %d x %d; %d, %s\n", f.format, read, rows, columns, opened, text.c_str());
    if (rows != f.rows || columns != f.columns || opened || text != f.failure) ++faults;
  }
  return faults;
}
