#include "plugins/hdf5/Mat73File.h"

#include "plugins/hdf5/Hdf5Texts.h"

namespace nvimport {

int Mat73File::Open(bool read, const char* path, NvImportOpenOptions* options) {
  return read ? MatFile::Open(read, path, options) : Fail(kWrongMode);
}

std::unique_ptr<ByteSource> Mat73File::OpenSource(const char* path, int& status) const {
  if (IsHdf5(path) && !IsMat73(path)) {
    status = kHdf5NotMat;
    return nullptr;
  }
  return Hdf5Process::Start(path, Hdf5Process::Shows::kMat, status);
}

void Mat73File::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kHdf5Texts, buffer, size)) MatFile::GetErrorMessage(buffer, size);
}

Mat73FileFactory::Mat73FileFactory()
    : SprFileFactory({.name = "Matlab 7.3 File",
                      .read_filter = "Matlab 7.3 Files (*.mat)",
                      .extensions = {".mat"},
                      .flag4 = false,
                      .options = MatFile::Options()}) {}

int Mat73FileFactory::IsCorrectFileType(const char* path) {
  return IsMat73(path) ? kCertain : kNotThis;
}

SpreadsheetFile* Mat73FileFactory::Create() { return std::make_unique<Mat73File>().release(); }

}  // namespace nvimport
