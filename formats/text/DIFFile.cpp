#include "formats/text/DIFFile.h"

#include <memory>

#include "platform/NvFile.h"
#include "platform/Paths.h"

DiffFileOEMFactory::DiffFileOEMFactory()
    : SprFileFactory("DIF File(OEM)", "DIF Files(OEM) (*.dif)", "DIF Files(OEM) (*.dif)", 1, ".dif",
                     /*can_write=*/true, /*can_read=*/true, /*several_at_once=*/false, true, true) {
}

int DiffFileOEMFactory::IsCorrectFileType(const char* path) {
  return NvFile::GetEncoding(path) != ETextFileEncoding::kSingleByte ||
                 EqualIgnoringCase(NvGetFileExtension(path), "dif")
             ? kPlausible
             : kNotThis;
}

SpreadsheetFile* DiffFileOEMFactory::Create() { return std::make_unique<DIFFileOEM>().release(); }
