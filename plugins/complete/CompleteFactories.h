#pragma once

#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/formats/text/LotusFile.h"
#include "nvimport/formats/workbook/ExcelFile.h"

namespace nvimport {

// The formats of NvImport Complete: readers of the library itself that keep none of the habits
// which cost cells. Each takes the place of the built-in format of its name. They stand in the
// order of the built-in ones.
struct CompleteFactories {
  DiffFileOEMFactory dif = DiffFileOEMFactory(DIFRules::Off());
  ExcelFileFactory excel = ExcelFileFactory(ExcelRules::Off());
  GalacticSPCFileFactory spc = GalacticSPCFileFactory(GalacticSPCRules::Off());
  JCAMPFileFactory jcamp = JCAMPFileFactory(JCAMPRules::Off());
  LotusFileFactory lotus = LotusFileFactory(LotusRules::Off());
  NsasFileFactory nsas = NsasFileFactory(NsasRules::Off());
};

}  // namespace nvimport
