#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nvimport/formats/spectra/JCAMPRules.h"
#include "nvimport/formats/spectra/SpectraFile.h"
#include "nvimport/platform/Boxed.h"
#include "nvimport/platform/COleDateTime.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class GivenOptions;
class JCAMPInput;
class JCAMPPageReader;
struct JCAMPData;

// What is imported of JCAMP-DX files, and how.
struct JCAMPImportOptions {
  std::vector<int> blocks;  // positions in the list of blocks, from 1; none leaves it to a question
  int reference = 0;        // likewise, of the block onto whose x values the others are brought
  bool x_row = false;       // the x values in a row of their own
  RangeChoice columns = {};  // of the sheet: of several files, only points there are named
};

// JCAMP-DX spectra of one or several files: names in row 1, then a block a row with its number in
// column 1, its title in column 2 and its points from column 3 on.
class NVIMPORT_API JCAMPFile : public SpectraFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit JCAMPFile(const JCAMPRules& rules = {});

  // Options that make Open ask nothing. The caller frees them with
  // SpreadsheetOpenOptions::FreeOpenOptions and deletes the record.
  static NvImportOpenOptions* GetImportOptions(const JCAMPImportOptions& options);

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;
  const char* GetWarningMessage() override;

  // The blocks that can be chosen: all but those that only link others.
  int GetNumJCAMPBlocks() const;
  std::vector<std::string> GetJCAMPBlockList() const;

  // Selects the blocks at these positions in their list, from 0, and no others. Asks for the
  // reference series if they need one. Returns the status.
  int SelectJCAMPBlock(int position);
  int SelectJCAMPBlock(const std::vector<int>& positions);

  // The current block is the first selected one, then the last that was read. Its title, for which
  // there is room for 256 characters.
  void GetTitle(char* title) const;
  // The text of its date, and what it says; "" for none.
  const char* GetDateCreated(COleDateTime& date) const;

  // Names the points by the x values of the reference series, and fills the row of x values.
  int InitXValues(ReadSpreadSheetData* sink);

  // Whether reading has met something to warn of.
  bool JCAMPWarning() const { return !warning_.empty(); }
  // Whether several files are imported.
  bool MultiSelection() const;

 protected:
  int EstablishSize() override;
  int DescribeFiles(Description& description) override;

 private:
  struct Contents;
  int ChooseBlocks(GivenOptions& given, OptionPairs& choices);
  int ChooseReference(GivenOptions& given, OptionPairs& choices);
  struct Sheet;
  int UniteX();
  bool ShareX();
  bool GrowX(std::vector<double>& x, std::size_t more);
  template <typename Take>
  int ReadPage(const JCAMPData& page, JCAMPInput& input, bool tells, Take take);
  template <typename Value>
  int ReadBlockAs(const JCAMPData& page, bool in_order, JCAMPPageReader& reader, Sheet& sheet);
  int ReadBlock(const JCAMPData& page, bool in_order, JCAMPPageReader& reader, Sheet& sheet);
  int ReadInOrder(JCAMPPageReader& reader, Sheet& sheet);
  int ReadFurther(const JCAMPData& page, int number, bool in_order, JCAMPPageReader& reader,
                  Sheet& sheet);
  void TellDoubts() const;
  PointNames BeginNames(ReadSpreadSheetData& sink) const;
  // The x that names the n-th point. Kept: a missing ordinate is named by what stands for it.
  double NamedX(const SpectrumGrid& axis, const ExactGrid& exact, int n, bool missing) const {
    if (missing && rules_.missing_as_minus_99) return -99;
    return six_digit_names_ ? axis.X(n - 1) : exact.X(n - 1);
  }

  int FailAt(int status, int file, std::uint64_t line);

  JCAMPRules rules_;
  bool x_row_ = false;
  Boxed<Contents> contents_;
  bool has_warned_ = false;  // of the block that is read
  std::string warning_;
};

class NVIMPORT_API JCAMPFileFactory final : public RuledFactory<JCAMPFile, JCAMPRules> {
 public:
  explicit JCAMPFileFactory(const JCAMPRules& rules = {});
};

}  // namespace nvimport
