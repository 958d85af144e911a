#pragma once

#include "nvimport/formats/matrix/MatFile.h"

namespace nvimport {

// MATLAB 7.3 files: the sheets of level 5.
class Mat73File final : public MatFile {
 public:
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 private:
  std::unique_ptr<ByteSource> OpenSource(const char* path, int& status) const override;
};

class Mat73FileFactory final : public SprFileFactory {
 public:
  Mat73FileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
