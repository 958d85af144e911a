#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class BlockReader;
class GivenOptions;
struct OpusData;

// Bruker OPUS spectra of one or several files: names in row 1, then a spectrum a row with its
// number in column 1, its name in column 2 and its points from column 3 on. Spectra on other x
// values stand under their own, unless one axis is asked for.
class NVIMPORT_API BrukerOPUSFile : public SpectraFile {
 public:
  BrukerOPUSFile();
  ~BrukerOPUSFile() override;

  // Options that import the data blocks at these positions in the list (from 1, none leaves it to a
  // question), of them the points of `range`, and where `reference` is a position too all on the x
  // values of that block. The caller frees them with SpreadsheetOpenOptions::FreeOpenOptions and
  // deletes the record.
  static NvImportOpenOptions* GetImportOptions(const std::vector<int>& blocks,
                                               RangeChoice range = {}, int reference = 0);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  int EstablishSize() override;
  int SheetPoints() const override { return interval_size(); }
  int FirstSheetPoint() const override { return first_index(); }
  int DescribeFiles(Description& description) override;

 private:
  struct File;
  // A data block of a file, by their numbers.
  struct Place {
    std::size_t file;
    std::size_t data;
  };

  int FailIn(std::size_t file, int status);
  int ReadLayouts();
  int ChooseBlocks(GivenOptions& given, OptionPairs& choices);
  bool Ask(std::vector<int>& positions) const;
  std::vector<std::size_t> UsualBlocks() const;
  int MakeAxis(GivenOptions& given);
  int UniteX();
  const OpusData& DataAt(Place place) const;
  int ReadFile(std::span<const Place> blocks, ReadSpreadSheetData& sink, int& row);
  bool FindPoints(const SpectrumGrid& grid);
  bool SetPoints(const OpusData& data, ReadSpreadSheetData& sink, int row);

  bool opened_ = false;
  std::vector<File> files_;
  std::vector<Place> offered_;  // all data blocks, in the order of the files
  std::vector<Place> chosen_;
  std::vector<SpectrumGrid> grids_;  // of those that are chosen, the first few that differ
  bool unites_x_ = false;            // since some are on other x values
  std::vector<int> points_;          // of the sheet, for each of this grid
  std::optional<SpectrumGrid> points_grid_;
  bool has_reference_ = false;  // on whose x values they are brought
  std::string failed_file_;     // of several
  std::unique_ptr<BlockReader> reader_;
};

// Registers the format.
class NVIMPORT_API BrukerOPUSFileFactory final : public SprFileFactory {
 public:
  BrukerOPUSFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
