#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/framework/USDBase.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class BlockReader;
class InputFile;
class OptionPairs;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct GalacticSPCRules {
  bool one_spectrum_of_old_files = true;  // the further spectra of a file of the old layout
  bool refuse_other_byte_order = true;    // files of version L
  bool refuse_own_x_arrays = true;        // files whose spectra have an x axis each

  // None of them.
  static constexpr GalacticSPCRules Off() {
    return std::bit_cast<GalacticSPCRules>(std::array<bool, sizeof(GalacticSPCRules)>{});
  }
};

// Galactic SPC spectra of one or several files: names in row 1, then a spectrum a row with its
// number in column 1, its name in column 2 and its points from column 3 on.
class NVIMPORT_API GalacticSPCFile : public SpreadsheetFile, public USDBase {
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
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // Whether the files fit into one sheet: 0 or the status. Finds their common axis.
  int CheckFiles();

  // Keeps only the files at these positions, from 1.
  void SelectFilesToImport(const std::vector<int>& positions);

  // The common axis of the files.
  double GetFirstPoint() const override { return first_x_; }
  double GetLastPoint() const override { return last_x_; }
  double GetPointSpacing() const override { return spacing_; }
  int GetNumberOfPoints() const override { return points_; }

 protected:
  int EstablishSize() override;

 private:
  // What a file's header says.
  struct Header {
    std::string path;
    std::string name;
    bool is_old = false;
    bool is_16_bit = false;
    bool is_multifile = false;
    bool has_x_array = false;
    bool has_own_x = false;  // each sub-file has an x array, all of which make the common one
    std::endian byte_order = std::endian::little;
    int exponent = 0;
    double first_x = 0;
    double last_x = 0;
    double spacing = 0;
    int points = 0;
    int sub_files = 0;
    int left_out = 0;        // sub-files beyond those
    int position = 0;        // in the selection, from 1
    std::uint64_t data = 0;  // where the first sub-file begins
    std::uint64_t size = 0;  // of the file
  };

  // True when the version is one that files of this format have.
  static bool IsValidGalacticCPCFile(char version);
  static bool TakeNewHeader(std::string_view bytes, Header& header);
  bool TakeOldHeader(std::string_view bytes, Header& header) const;

  int GetFileList(const std::string& path, const std::vector<int>& positions);
  int ReadHeaders();
  int ReadHeaderInfo(Header& header);
  int ReadXArray(const Header& header, InputFile& file);
  int AddOwnX(const Header& header, InputFile& file);
  int UniteX();
  int SetOptions(const OptionPairs& given, NvImportOpenOptions* options);
  int AskForFiles(int status);

  static bool ClaimsTooMuch(const Header& header);
  double PointX(int index) const;
  void SetNames(ReadSpreadSheetData& sink, int row) const;
  int ReadSpectra(const Header& header, ReadSpreadSheetData& sink, int& row);
  // The exponent and the points of the sub-file with that header.
  static std::pair<int, int> ReadSubHeaderInfo(const Header& header, std::span<const char> bytes);
  // Reads the sub-file's own x values, and finds their columns, from 0.
  bool ReadOwnX(const Header& header, int points, std::vector<float>& x);
  void FindColumns(std::span<const float> x);
  bool ReadPoints(const Header& header, int exponent, ReadSpreadSheetData& sink, int row);
  template <typename Stored, typename Convert>
  bool DeliverValues(const Header& header, ReadSpreadSheetData& sink, int row, Convert convert);
  template <typename Stored, std::endian kOrder, typename Convert>
  bool DeliverPoints(const Header& header, ReadSpreadSheetData& sink, int row, Convert convert);

  GalacticSPCRules rules_;
  bool opened_ = false;
  std::string path_;
  std::vector<Header> files_;
  std::vector<float> common_x_;               // when the files carry an x array
  std::vector<std::pair<float, int>> own_x_;  // of all sub-files, numbered among equal ones
  std::vector<int> own_columns_;              // of the points of a sub-file
  bool x_arrays_differ_ = false;
  double first_x_ = 0;
  double last_x_ = 0;
  double spacing_ = 0;
  int points_ = 0;
  bool text_names_ = false;
  bool include_x_row_ = false;
  std::vector<unsigned char> choices_;
  std::unique_ptr<BlockReader> reader_;
};

class NVIMPORT_API GalacticSPCFileFactory final : public SprFileFactory {
 public:
  using Rules = GalacticSPCRules;

  explicit GalacticSPCFileFactory(GalacticSPCRules rules = {});
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;

 private:
  GalacticSPCRules rules_;
};

}  // namespace nvimport
