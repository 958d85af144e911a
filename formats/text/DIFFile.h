#pragma once

#include "formats/UnbuiltFile.h"
#include "framework/SprFileFactory.h"
#include "platform/Export.h"

// Data Interchange Format worksheets in the OEM code page; recognised so far, read later.
class NVIMPORT_API DIFFileOEM : public UnbuiltFile {};

class NVIMPORT_API DiffFileOEMFactory final : public SprFileFactory {
 public:
  DiffFileOEMFactory();
  // Claims Unicode files as well, so that they are refused with a text of their own.
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};
