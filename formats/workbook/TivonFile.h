#pragma once

#include "formats/UnbuiltFile.h"
#include "framework/SprFileFactory.h"
#include "platform/Export.h"

// TIVON worksheets; recognised so far, read later.
class NVIMPORT_API TivonFile : public UnbuiltFile {};

class NVIMPORT_API TivonFileFactory final : public SprFileFactory {
 public:
  TivonFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};
