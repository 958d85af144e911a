// The formats of NvImport Complete: readers of the library itself that keep none of the habits
// which cost cells. Each takes the place of the built-in format of its name. They stand in the
// order of the built-in ones.

#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/formats/text/LotusFile.h"
#include "nvimport/formats/workbook/ExcelFile.h"

namespace nvimport {

namespace {

DiffFileOEMFactory dif_factory(DIFRules::Off());
ExcelFileFactory excel_factory(ExcelRules::Off());
GalacticSPCFileFactory spc_factory(GalacticSPCRules::Off());
JCAMPFileFactory jcamp_factory(JCAMPRules::Off());
LotusFileFactory lotus_factory(LotusRules::Off());
NsasFileFactory nsas_factory(NsasRules::Off());

}  // namespace

}  // namespace nvimport
