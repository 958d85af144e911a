// The formats of this library. Registering happens while global objects are constructed, whose
// order is certain only within one file, and callers keep the index of a format: so all the factory
// objects stand here, in the order that fixes the index.

#include <memory>
#include <utility>

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
  UnbuiltFactory(Confidence confidence, FormatTraits traits)
      : SprFileFactory(Unbuilt(std::move(traits))), confidence_(confidence) {}

  int IsCorrectFileType(const char*) override { return confidence_; }
  SpreadsheetFile* Create() override { return std::make_unique<UnbuiltFile>().release(); }

 private:
  static FormatTraits Unbuilt(FormatTraits traits) {
    traits.has_reader = traits.has_writer = false;
    return traits;
  }

  Confidence confidence_;
};

// Kept: three formats have a write filter though they cannot write, and some answer to more
// extensions than their filter names.
struct BrooksideFileFileFactory final : UnbuiltFactory {
  BrooksideFileFileFactory()
      : UnbuiltFactory(kNoOpinion, {.name = "Brookside File",
                                    .read_filter = "Brookside Files (*.trn; *.pkg)",
                                    .extensions = {".trn", ".pkg"}}) {}
};
struct BrooksideXMLFactory final : UnbuiltFactory {
  BrooksideXMLFactory()
      : UnbuiltFactory(kNotThis, {.name = "Brookside Ver. 2.6 XML File",
                                  .read_filter = "Brookside Ver. 2.6 XML Files (*.xml)",
                                  .extensions = {".xml"},
                                  .several_at_once = true}) {}
};
struct BrukerOPUSFileFactory final : UnbuiltFactory {
  BrukerOPUSFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "Bruker OPUS File",
                                  .read_filter = "Bruker OPUS File (*.*)",
                                  .extensions = {".*"},
                                  .several_at_once = true}) {}
};
struct ChemStationFileFactory final : UnbuiltFactory {
  ChemStationFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "HPLC ChemStation File",
                                  .read_filter = "HPLC ChemStation Files (*.ch, *.uv)",
                                  .write_filter = "HPLC ChemStation File (*.ch)",
                                  .extensions = {".ch", ".uv"},
                                  .several_at_once = true}) {}
};
struct MatFileFactory final : UnbuiltFactory {
  MatFileFactory()
      : UnbuiltFactory(kNoOpinion, {.name = "Matlab File",
                                    .read_filter = "Matlab Files (*.mat)",
                                    .write_filter = "Matlab Files (*.mat)",
                                    .extensions = {".mat"},
                                    .can_write = true,
                                    .flag4 = false}) {}
};
struct NetCDFFileFactory final : UnbuiltFactory {
  NetCDFFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "NetCDF Files",
                                  .read_filter = "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)",
                                  .extensions = {".nc", ".cdf"},
                                  .several_at_once = true}) {}
};
struct ThermoSIEVEFileFactory final : UnbuiltFactory {
  ThermoSIEVEFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "Thermo SIEVE File",
                                  .read_filter = "Thermo SIEVE Files (*.txt)",
                                  .write_filter = "Thermo SIEVE File (*.txt)",
                                  .extensions = {".txt"},
                                  .flag5 = true}) {}
};
struct UnscramblerFileFactory final : UnbuiltFactory {
  UnscramblerFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "Unscrambler File",
                                  .read_filter = "Unscrambler Files (*.uns; *.inp)",
                                  .extensions = {".uns", ".inp"}}) {}
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
