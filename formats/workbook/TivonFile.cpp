#include "formats/workbook/TivonFile.h"

#include <memory>

#include "formats/text/TextFile.h"
#include "platform/Paths.h"

TivonFileFactory::TivonFileFactory()
    : SprFileFactory("TIVON File", "TIVON Files (*.mip; *.dat)", nullptr, 2, ".mip\0.dat",
                     /*can_write=*/false, /*can_read=*/true, /*several_at_once=*/false, true,
                     false) {}

int TivonFileFactory::IsCorrectFileType(const char* path) {
  return EqualIgnoringCase(NvGetFileExtension(path), "mip") || TextFile::IsTextFile(path)
             ? kPlausible
             : kNotThis;
}

SpreadsheetFile* TivonFileFactory::Create() { return std::make_unique<TivonFile>().release(); }
