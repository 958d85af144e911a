#pragma once

#include <memory>
#include <vector>

#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/framework/RuledFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class BlockReader;
class GivenOptions;
class InputFile;
class SpcSubFiles;
struct SpcFile;
template <typename X>
class XPlaces;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct GalacticSPCRules {
  bool one_spectrum_of_old_files = true;  // the further spectra of a file of the old layout
  bool refuse_other_byte_order = true;    // files of version L
  bool refuse_own_x_arrays = true;        // files whose spectra have an x axis each
  bool one_grid = true;                   // sets of files of which some have other x values
  bool names_of_six_digits = true;        // the difference between the names of close points
  bool refuse_cut_files = true;           // the whole spectra of a file that is cut

  // None of them.
  static constexpr GalacticSPCRules Off() { return NoRules<GalacticSPCRules>(); }
};

// Galactic SPC spectra of one or several files: names in row 1, then a spectrum a row with its
// number in column 1, its name in column 2 and its points from column 3 on.
class NVIMPORT_API GalacticSPCFile : public SpectraFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit GalacticSPCFile(GalacticSPCRules rules = {});
  ~GalacticSPCFile() override;

  // Options that import the points of `range`, of the files at these positions of the selection
  // (from 1, none for all); the names of points as texts; the x values in a row of their own. The
  // caller frees them with SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(RangeChoice range,
                                               const std::vector<int>& files = {},
                                               bool text_names = false, bool x_row = false);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;

  // Whether the files fit into one sheet: 0 or the status. Finds their common axis.
  int CheckFiles();

  // Keeps only the files at these positions, from 1.
  void SelectFilesToImport(const std::vector<int>& positions);

 protected:
  int EstablishSize() override;
  int SheetPoints() const override { return interval_size(); }
  int FirstSheetPoint() const override { return first_index(); }
  int DescribeFiles(Description& description) override;

 private:
  struct File;

  int ReadHeaders();
  int ReadHeaderInfo(File& file);
  int LeaveOutCut(File& file, InputFile& input);
  int UniteX();
  int UniteFiles();
  int SetOptions(GivenOptions& given, OptionPairs& choices);
  int AskForFiles(int status);
  int SetHeads(ReadSpreadSheetData& sink, int row);
  int ReadSpectra(const File& file, ReadSpreadSheetData& sink, int& row);
  struct Places;
  bool SetPoints(const SpcFile& layout, SpcSubFiles& sub_files, Places& places,
                 ReadSpreadSheetData& sink, int row);
  template <typename X, typename XAt>
  bool SetPlaced(XPlaces<X>& places, XAt x_at, SpcSubFiles& sub_files, ReadSpreadSheetData& sink,
                 int row);

  GalacticSPCRules rules_;
  bool opened_ = false;
  bool unites_files_ = false;  // of which some have other x values
  std::vector<File> files_;
  bool text_names_ = false;
  bool x_row_ = false;
  int heads_ = 0;  // rows above the spectra in the last read, 0 before one
  std::unique_ptr<BlockReader> reader_;
};

class NVIMPORT_API GalacticSPCFileFactory final
    : public RuledFactory<GalacticSPCFile, GalacticSPCRules> {
 public:
  explicit GalacticSPCFileFactory(GalacticSPCRules rules = {});
};

}  // namespace nvimport
