#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/framework/USDBase.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class GivenOptions;

class BlockReader;
class OptionPairs;
class PointNames;

// What the readers of spectra share: one or several files, the names of points in row 1, a spectrum
// in each row below, with its number in column 1. What a file holds is read apart from the sheet.
class NVIMPORT_API SpectraFile : public SpreadsheetFile, public USDBase {
 public:
  ~SpectraFile() override;

  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // The axis of the sheet's columns.
  double GetFirstPoint() const override { return axis_.first; }
  double GetLastPoint() const override { return axis_.last; }
  double GetPointSpacing() const override { return axis_.spacing; }
  int GetNumberOfPoints() const override { return axis_.points; }

 protected:
  // A reader that the log calls `source`, with the texts of its own statuses.
  SpectraFile(const char* source, std::span<const StatusText> texts, int first_point_column);
  SpectraFile(const SpectraFile&) = default;
  SpectraFile& operator=(const SpectraFile&) = default;

  // Begins to open the files of `path`: 0 or the status that forbids it.
  int BeginOpen(bool read, const char* path);

  // The points of the axis that have columns, and the first of them.
  virtual int SheetPoints() const { return axis_.points; }
  virtual int FirstSheetPoint() const { return 0; }
  // The x of a point of the axis, as exactly as the file states it.
  virtual double ExactX(int point) const { return axis_.ExactX(point); }

  // With the x values of the sheet, exactly.
  int DescribeAll(Description& description) override;
  bool HasX() const override { return true; }

  // Adds to `description` what the files say but their x values. The size is established.
  virtual int DescribeFiles(Description& description);

  // Begins anew to draw from the budget of the files.
  void RenewBudget();

  // Takes the range of points that is given, or asked for under a title, and adds it to the
  // choices. Without one the range is the whole.
  int TakeInterval(GivenOptions& given, const char* title, OptionPairs& choices);

  // Gives the choices made back to a caller who left room for them.
  void GiveBack(const OptionPairs& choices, NvImportOpenOptions* options);

  // Sets a cell whose column is among the wanted ones.
  template <typename Value>
  void SetCell(ReadSpreadSheetData& sink, int column, int row, Value value) const {
    if (columns_.Holds(column)) sink.Set(column, row, value);
  }

  // Kept: names have six digits, though x values may differ less, and x values are added up from
  // the spacing. Else there are as many digits as the names of so many points take, from `first`
  // on.
  int DigitsOfNames(int first, int count) const;

  // Names so many points of the axis, from `first` on, from the first point column on.
  void NamePoints(PointNames names, int first, int count) const;

  // Sets a row to the `count` floats that lie ahead, the first at point `first` of the axis, as far
  // as their columns are wanted. False when the file ends before them.
  bool SetFloats(ReadSpreadSheetData& sink, int row, int first, int count,
                 BlockReader& reader) const;

  // One line of the log about what is left out.
  void Note(std::string_view text) const;

  const char* source_;                 // in the log
  std::span<const StatusText> texts_;  // of its statuses
  int first_point_column_;             // of the sheet
  std::string path_;                   // of the file, or of several
  SpectrumAxis axis_;                  // of the sheet
  RangeChoice columns_;                // those that are set
  bool six_digit_names_ = true;        // and x values by the spacing
  Budget budget_;                      // of what grows by what the files say

 private:
  std::vector<unsigned char> choices_;
};

}  // namespace nvimport
