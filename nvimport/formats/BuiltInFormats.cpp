// The formats of this library. Registering happens while global objects are constructed, whose
// order is certain only within one file, and callers keep the index of a format: so all the factory
// objects stand here, in the order that fixes the index.

#include <memory>

#include "nvimport/formats/UnbuiltFile.h"
#include "nvimport/formats/spectra/BrimroseFile.h"
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
#include "nvimport/framework/FormatRegistry.h"
#include "nvimport/framework/SprFileFactory.h"

namespace nvimport {

namespace {

// A format whose reader is not built yet. It keeps its place in the registry; one that tells its
// files by their content claims none until it can.
class UnbuiltFactory : public SprFileFactory {
 public:
  template <typename... Description>
  explicit UnbuiltFactory(Confidence confidence, Description... description)
      : SprFileFactory(description...), confidence_(confidence) {}

  int IsCorrectFileType(const char*) override { return confidence_; }
  SpreadsheetFile* Create() override { return std::make_unique<UnbuiltFile>().release(); }

 private:
  Confidence confidence_;
};

// Kept: three formats have a write filter though they cannot write, and some answer to more
// extensions than their filter names.
struct BrooksideFileFileFactory final : UnbuiltFactory {
  BrooksideFileFileFactory()
      : UnbuiltFactory(kNoOpinion, "Brookside File", "Brookside Files (*.trn; *.pkg)", nullptr, 2,
                       ".trn\0.pkg", false, true, false, true, false) {}
};
struct BrooksideXMLFactory final : UnbuiltFactory {
  BrooksideXMLFactory()
      : UnbuiltFactory(kNotThis, "Brookside Ver. 2.6 XML File",
                       "Brookside Ver. 2.6 XML Files (*.xml)", nullptr, 1, ".xml", false, true,
                       true, true, false) {}
};
struct BrukerOPUSFileFactory final : UnbuiltFactory {
  BrukerOPUSFileFactory()
      : UnbuiltFactory(kNotThis, "Bruker OPUS File", "Bruker OPUS File (*.*)", nullptr, 1, ".*",
                       false, true, true, true, false) {}
};
struct ChemStationFileFactory final : UnbuiltFactory {
  ChemStationFileFactory()
      : UnbuiltFactory(kNotThis, "HPLC ChemStation File", "HPLC ChemStation Files (*.ch, *.uv)",
                       "HPLC ChemStation File (*.ch)", 2, ".ch\0.uv", false, true, true, true,
                       false) {}
};
struct MatFileFactory final : UnbuiltFactory {
  MatFileFactory()
      : UnbuiltFactory(kNoOpinion, "Matlab File", "Matlab Files (*.mat)", "Matlab Files (*.mat)", 1,
                       ".mat", true, true, false, false, false) {}
};
struct NetCDFFileFactory final : UnbuiltFactory {
  NetCDFFileFactory()
      : UnbuiltFactory(kNotThis, "NetCDF Files", "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)",
                       nullptr, 2, ".nc\0.cdf", false, true, true, true, false) {}
};
struct ThermoSIEVEFileFactory final : UnbuiltFactory {
  ThermoSIEVEFileFactory()
      : UnbuiltFactory(kNotThis, "Thermo SIEVE File", "Thermo SIEVE Files (*.txt)",
                       "Thermo SIEVE File (*.txt)", 1, ".txt", false, true, false, true, true) {}
};
struct UnscramblerFileFactory final : UnbuiltFactory {
  UnscramblerFileFactory()
      : UnbuiltFactory(kNotThis, "Unscrambler File", "Unscrambler Files (*.uns; *.inp)", nullptr, 2,
                       ".uns\0.inp", false, true, false, true, false) {}
};

// Before all global objects of a host that a static library is linked into, whatever registers
// there.
struct Factories {
  BrimroseFileFactory brimrose_file_factory;
  BrooksideFileFileFactory brookside_file_file_factory;
  BrooksideXMLFactory brookside_xml_factory;
  BrukerOPUSFileFactory bruker_opusfile_factory;
  ChemStationFileFactory chem_station_file_factory;
  CsvFileFactory csv_file_factory;
  DiffFileOEMFactory diff_file_oem_factory;
  Excel2007FileFactory excel2007_file_factory;
  ExcelFileFactory excel_file_factory;
  GalacticSPCFileFactory galactic_spcfile_factory;
  JCAMPFileFactory jcampfile_factory;
  LotusFileFactory lotus_file_factory;
  MatFileFactory mat_file_factory;
  TivonFileFactory tivon_file_factory;
  NetCDFFileFactory net_cdffile_factory;
  NsasFileFactory nsas_file_factory;
  TextFileFactory text_file_factory;
  ThermoSIEVEFileFactory thermo_sievefile_factory;
  UnscramblerFileFactory unscrambler_file_factory;
};
[[gnu::init_priority(101)]] Factories factories;

}  // namespace

void KeepFactories() {}

}  // namespace nvimport
