#include "apps/desktop/SheetText.h"

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

QString Shown(const MemoryCell& cell) {
  switch (cell.kind) {
    case CellKind::kText:
      return FromBytes(cell.text);
    case CellKind::kNumber: {
      FloatText buffer;
      const std::string_view text = FormatNumber(cell, buffer);
      return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
    }
    case CellKind::kMissing:
      break;
  }
  return {};
}

}  // namespace nvimport
