#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

class BlockReader;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct NsasRules {
  bool ends_with_shortest_spectrum = true;  // the values of other spectra beyond its end
  bool columns_lie_within_spectra = true;   // the first value of a spectrum that begins between two
  bool constituents_fit = true;             // imports with a CN file of another size
  bool damage_refuses_files = true;         // the spectra before a cut or a header without sense

  // None of them.
  static constexpr NsasRules Off() {
    return std::bit_cast<NsasRules>(std::array<bool, sizeof(NsasRules)>{});
  }
};

// NSAS near-infrared spectra of a DA file, with the constituents of the CN file beside it. Names in
// row 1, the instrument in row 2, then a spectrum a row: its sequence number, number, name and time
// in columns 1 to 4, its values from column 5 on, its constituents behind them.
class NVIMPORT_API NsasFile : public SpreadsheetFile {
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
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  int EstablishSize() override;

 private:
  using Name = std::array<char, 11>;

  struct Header {
    int model = 0;
    int number = 0;
    Name name{};
    int points = 0;
    int first = 0;    // wavelength
    double step = 0;  // of wavelengths
    int constituents = 0;
    std::array<int, 6> time{};
  };

  static int GetHeaderInt(std::span<const char> bytes, std::size_t at);
  static Name GetHeaderChar(std::span<const char> bytes, std::size_t at);

  // Reads the header at the reader's place, goes on to the data, and compares it with the first.
  // Returns a status.
  int ReadDaHeader(Header& header);
  bool CnFits(std::uint64_t records);
  int OpenCn();
  void NoteLeftOut() const;
  int ReadCnHeader(ReadSpreadSheetData& sink);
  template <typename Value>
  void SetCell(ReadSpreadSheetData& sink, int column, int row, Value value) const;
  int MakeNameRow(ReadSpreadSheetData& sink);
  void MakeInfoRow(ReadSpreadSheetData& sink) const;
  int MakeValueRow(ReadSpreadSheetData& sink, int row);
  int ReadSpectraValues(const Header& header, ReadSpreadSheetData& sink, int row);
  int ReadConstituensValues(ReadSpreadSheetData& sink, int row);

  NsasRules rules_;
  RangeChoice columns_;
  InputFile da_;
  InputFile cn_;
  std::unique_ptr<BlockReader> da_reader_;
  std::unique_ptr<BlockReader> cn_reader_;
  std::uint64_t da_size_ = 0;
  bool has_constituent_names_ = false;
  std::optional<Header> first_record_;
  int first_ = 0;  // wavelength, of all spectra
  int points_ = 0;
  std::int64_t left_out_ = 0;
  bool is_damaged_ = false;
  bool leaves_out_cn_ = false;
};

class NVIMPORT_API NsasFileFactory final : public SprFileFactory {
 public:
  using Rules = NsasRules;

  explicit NsasFileFactory(NsasRules rules = {});
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;

 private:
  NsasRules rules_;
};

}  // namespace nvimport
