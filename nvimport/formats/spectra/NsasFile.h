#pragma once

#include <cstdint>
#include <memory>

#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/framework/RuledFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

struct NsasRecord;
template <typename X>
class XPlaces;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct NsasRules {
  bool ends_with_shortest_spectrum = true;  // the values of other spectra beyond its end
  bool columns_lie_within_spectra = true;   // the first value of a spectrum that begins between two
  bool constituents_fit = true;             // imports with a CN file of another size
  bool names_of_six_digits = true;          // the difference between the names of close points
  bool damage_refuses_files = true;         // the spectra before a cut or a header without sense
  bool spectra_are_alike = true;            // files of other steps and numbers of constituents

  // None of them.
  static constexpr NsasRules Off() { return NoRules<NsasRules>(); }
};

// NSAS near-infrared spectra of a DA file, with the constituents of the CN file beside it. Names in
// row 1, the instrument in row 2, then a spectrum a row: its sequence number, number, name and time
// in columns 1 to 4, its values from column 5 on, its constituents behind them.
class NVIMPORT_API NsasFile : public SpectraFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit NsasFile(NsasRules rules = {});
  ~NsasFile() override;

  // Options that import these columns of the sheet. The caller frees them with
  // SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(RangeChoice columns);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;

 protected:
  int EstablishSize() override;
  int DescribeFiles(Description& description) override;

 private:
  struct Spectra;

  int first_constituent_column() const { return first_point_column_ + axis_.points; }
  int MakeNameRow(ReadSpreadSheetData& sink);
  void MakeInfoRow(ReadSpreadSheetData& sink) const;
  int MakeValueRow(ReadSpreadSheetData& sink, int row, XPlaces<double>& places);
  bool ReadSpectraValues(const SpectrumGrid& axis, ReadSpreadSheetData& sink, int row);
  // The same where each wavelength that occurs has its column.
  bool PlaceSpectraValues(const SpectrumGrid& axis, ReadSpreadSheetData& sink, int row,
                          XPlaces<double>& places);
  int UniteX(std::uint64_t spectra);
  const NsasRecord* like() const;

  NsasRules rules_;
  InputFile da_;
  InputFile cn_;
  std::unique_ptr<Spectra> spectra_;
  int constituents_ = 0;   // the most that a spectrum has
  bool unites_x_ = false;  // of spectra of other steps
  std::int64_t left_out_ = 0;
  bool is_damaged_ = false;
  bool leaves_out_cn_ = false;
};

class NVIMPORT_API NsasFileFactory final : public RuledFactory<NsasFile, NsasRules> {
 public:
  explicit NsasFileFactory(NsasRules rules = {});
};

}  // namespace nvimport
