#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class GivenOptions;
class NetcdfSource;
class SpectraStatements;
struct NetcdfContents;
struct NetcdfPage;
struct NetcdfVariable;

// netCDF files of the classic formats (versions 1, 2 and 5). Chromatograms and mass spectra (ANDI)
// of one or several files become a row each over time or m/z, from column 3 or 4 on; or their
// peaks, or the sums of their scans. Of any other file variables can be chosen, which stand side by
// side, named by their coordinates.
class NVIMPORT_API NetCDFFile : public SpectraFile {
 public:
  // What is taken of chromatograms (the first two) or mass spectra.
  enum class View { kSignal, kPeaks, kScans, kTotal };

  NetCDFFile();
  ~NetCDFFile() override;

  // How sure it is that the file at `path` is one.
  static Confidence IsNetCDFFile(const char* path);

  // Options that import the points of `range` of a view. The caller frees them with
  // SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(View view, RangeChoice range = {});
  // Options that import these variables, with or without names of rows and columns; each of `pages`
  // is a dimension and the place along it, from 1, that is taken ("time:3").
  static NvImportOpenOptions* GetImportOptions(const std::vector<std::string>& variables,
                                               const std::vector<std::string>& pages = {},
                                               bool with_names = true);

  // Those that Open takes.
  static std::vector<FormatOption> Options();

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;

 protected:
  int EstablishSize() override;
  int SheetPoints() const override;
  int FirstSheetPoint() const override { return has_axis() ? first_index() : 0; }
  double ExactX(int point) const override;
  int DescribeFiles(Description& description) override;

  // Another format that is read as netCDF: its name in the log.
  explicit NetCDFFile(const char* source);
  // The bytes of one of the files, null with the status of what failed.
  virtual std::unique_ptr<NetcdfSource> OpenSource(const char* path, int& status) const;

 private:
  using NetcdfPages = std::vector<NetcdfPage>;
  enum class Shape { kTable, kSignal, kPeaks, kScans, kTotal };
  struct Input;
  struct Table;
  class RowWalk;

  // Of the file that was asked for last, which stays open.
  NetcdfSource& SourceOf(const Input& input) const;
  int OpenInputs();
  int ChooseShape(GivenOptions& given);
  int MeasureSignal(Input& input);
  int MeasurePeaks(Input& input);
  int MeasureScans(Input& input);
  int MeasureTotal(Input& input);
  int ReadTimesOfScans(Input& input);
  void AlignUnits();
  void NameRows();
  void PlacePeaks();
  int FindAxis();
  int TakeRange(GivenOptions& given, NvImportOpenOptions* options);
  int ChooseVariables(GivenOptions& given, NvImportOpenOptions* options);
  bool TakePages(GivenOptions& given, const NetcdfContents& contents, NetcdfPages& pages) const;
  bool AskForVariables(const NetcdfPages& pages, std::vector<std::size_t>& offers) const;
  int LayOutTable(bool has_names);
  int FindColumnNames();
  // The same variables of a further file.
  int PlaceBelow(Input& input, const NetcdfPages& pages);
  bool HasSameHeads(const Input& input) const;
  int ReadTable(ReadSpreadSheetData& sink, RowWalk& walk);
  bool ReadHeads(const Input& input, ReadSpreadSheetData& sink) const;
  int ReadRow(const Input& input, ReadSpreadSheetData& sink, int row);
  // Behind this row.
  int ReadPeaks(const Input& input, ReadSpreadSheetData& sink, RowWalk& walk, int row);
  int ReadScans(const Input& input, ReadSpreadSheetData& sink, RowWalk& walk, int row);
  void SetHeads(ReadSpreadSheetData& sink) const;
  void SetTableHeads(ReadSpreadSheetData& sink) const;
  std::vector<const NetcdfVariable*> VariablesOf(const Input& input) const;
  void NoteOf(const Input& input, std::string_view text) const;
  void DescribeInput(const Input& input, int row, SpectraStatements& statements) const;
  void DescribeInstrument(const Input& input, int row, SpectraStatements& statements) const;
  void DescribeAxes(const Input& input, SpectraStatements& statements) const;
  bool is_andi() const { return shape_ != Shape::kTable; }
  bool has_axis() const { return is_andi() && shape_ != Shape::kPeaks; }

  bool opened_ = false;
  Shape shape_ = Shape::kTable;
  bool is_united_ = false;  // of files with different x
  std::vector<Input> inputs_;
  std::vector<std::string> peak_names_;  // of their columns
  std::unique_ptr<Table> table_;
  mutable std::unique_ptr<NetcdfSource> open_;
  mutable std::string open_path_;
};

// Registers the format.
class NVIMPORT_API NetCDFFileFactory final : public SprFileFactory {
 public:
  NetCDFFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
