#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class BlockReader;
class ChemStationScans;
class GivenOptions;
class SpectraStatements;

// HPLC ChemStation chromatograms of one or several files, a row each with its points over time from
// column 3 on; or the spectra that a diode array took over time, a row each, with their time in
// column 3 and their points from column 4 on. A folder of a run stands for the files in it.
class NVIMPORT_API ChemStationFile : public SpectraFile {
 public:
  ChemStationFile();
  ~ChemStationFile() override;

  // How sure it is that there is a file of the format at `path`, or a folder with some.
  static Confidence IsChemStationFile(const char* path);

  // Options that import the points of `range`; of spectra over time the chromatogram at a
  // wavelength in nm; the values as they are stored. The caller frees them with
  // SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(RangeChoice range,
                                               std::optional<double> wavelength = {},
                                               bool scaled = true);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;

 protected:
  int EstablishSize() override;
  int SheetPoints() const override { return interval_size(); }
  int FirstSheetPoint() const override { return first_index(); }
  double ExactX(int point) const override;
  int DescribeFiles(Description& description) override;

 private:
  struct Input;
  class Places;

  int TakeOptions(GivenOptions& given);
  int TakeRange(GivenOptions& given, NvImportOpenOptions* options);
  int FindFiles();
  int ReadHeader(Input& input);
  int SizeSignal(Input& input);
  int SizeScans(Input& input);
  int ChooseKind();
  void NameRows();
  int FindAxis();
  int UniteX();
  void SetHeads(ReadSpreadSheetData& sink, int row) const;
  int ReadSignal(const Input& input, ReadSpreadSheetData& sink, int row);
  int ReadTrace(const Input& input, ReadSpreadSheetData& sink, int row);
  int ReadScans(const Input& input, ReadSpreadSheetData& sink, int& row);
  void NoteOf(const Input& input, std::string_view text) const;
  void NoteOfScans(const Input& input, const ChemStationScans& scans) const;
  void DescribeInput(const Input& input, int row, SpectraStatements& statements) const;
  void DescribeTimes(const Input& input, int row, SpectraStatements& statements);
  bool DrawX(std::uint64_t count);

  bool opened_ = false;
  std::optional<double> wavelength_;  // of the wanted chromatogram
  bool is_scaled_ = true;
  bool has_spectra_ = false;  // rows are spectra over time
  bool is_united_ = false;    // of files with different x
  std::size_t left_out_ = 0;  // files of spectra beside chromatograms
  std::vector<Input> inputs_;
  std::unique_ptr<BlockReader> reader_;
};

class NVIMPORT_API ChemStationFileFactory final : public SprFileFactory {
 public:
  ChemStationFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
