#pragma once

#include "formats/UnbuiltFile.h"
#include "framework/SprFileFactory.h"
#include "platform/Export.h"

// Brimrose near-infrared spectra; recognised so far, read later.
class NVIMPORT_API BrimroseFile : public UnbuiltFile {
 public:
  // True when the file's header makes sense in every field and its length is what the header says.
  // A true answer silences every other format, so nothing less will do.
  static bool IsBrimroseFile(const char* path);
};

class NVIMPORT_API BrimroseFileFactory final : public SprFileFactory {
 public:
  BrimroseFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};
