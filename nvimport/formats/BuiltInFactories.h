#pragma once

#include "nvimport/formats/UnbuiltFormats.h"
#include "nvimport/formats/matrix/MatFile.h"
#include "nvimport/formats/matrix/NetCDFFile.h"
#include "nvimport/formats/spectra/BrimroseFile.h"
#include "nvimport/formats/spectra/BrukerOPUSFile.h"
#include "nvimport/formats/spectra/ChemStationFile.h"
#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/formats/text/CsvFile.h"
#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/formats/text/LotusFile.h"
#include "nvimport/formats/text/TextFile.h"
#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/TivonFile.h"

namespace nvimport {

// Every format of this library: its factory, or what `As` makes of that. Callers keep the index of
// a format, so the order stands for ever.
template <template <typename Factory> typename As>
struct FactoriesOf {
  As<BrimroseFileFactory> brimrose_file_factory;
  As<BrooksideFileFileFactory> brookside_file_file_factory;
  As<BrooksideXMLFactory> brookside_xml_factory;
  As<BrukerOPUSFileFactory> bruker_opusfile_factory;
  As<ChemStationFileFactory> chem_station_file_factory;
  As<CsvFileFactory> csv_file_factory;
  As<DiffFileOEMFactory> diff_file_oem_factory;
  As<Excel2007FileFactory> excel2007_file_factory;
  As<ExcelFileFactory> excel_file_factory;
  As<GalacticSPCFileFactory> galactic_spcfile_factory;
  As<JCAMPFileFactory> jcampfile_factory;
  As<LotusFileFactory> lotus_file_factory;
  As<MatFileFactory> mat_file_factory;
  As<TivonFileFactory> tivon_file_factory;
  As<NetCDFFileFactory> net_cdffile_factory;
  As<NsasFileFactory> nsas_file_factory;
  As<TextFileFactory> text_file_factory;
  As<ThermoSIEVEFileFactory> thermo_sievefile_factory;
  As<UnscramblerFileFactory> unscrambler_file_factory;
};

}  // namespace nvimport
