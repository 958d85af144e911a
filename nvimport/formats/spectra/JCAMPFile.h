#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/spectra/JCAMPData.h"
#include "nvimport/formats/spectra/JCAMPRules.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Boxed.h"
#include "nvimport/platform/COleDateTime.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class JCAMPBlocks;
class JCAMPLines;
class OptionPairs;

// What is imported of JCAMP-DX files, and how.
struct JCAMPImportOptions {
  std::vector<int> blocks;  // positions in the list of blocks, from 1; none leaves it to a question
  int reference = 0;        // likewise, of the block onto whose x values the others are brought
  bool x_row = false;       // the x values in a row of their own
  RangeChoice columns = {};  // of the sheet: of several files, only points there are named
};

// JCAMP-DX spectra of one or several files: names in row 1, then a block a row with its number in
// column 1, its title in column 2 and its points from column 3 on.
class NVIMPORT_API JCAMPFile : public SpreadsheetFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit JCAMPFile(JCAMPRules rules = {});
  JCAMPFile(const JCAMPFile& other);
  JCAMPFile& operator=(const JCAMPFile& other);
  ~JCAMPFile() override;

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
  bool MultiSelection() const { return several_files_; }

 protected:
  int EstablishSize() override;

 private:
  class BlockFile;
  class Names;
  struct Pair;
  using Pairs = std::vector<Pair>;

  // The x values of an XYDATA block; n counts from 1.
  struct Grid {
    double first = 0;
    double step = 0;
    int points = 0;
    double X(int n) const { return first + (n - 1) * step; }
  };

  int SetOptions(NvImportOpenOptions* options);
  int SetLayout(const OptionPairs& given);
  int ChooseBlocks(const OptionPairs& given, OptionPairs& choices);
  int ChooseReference(const OptionPairs& given, OptionPairs& choices);
  int CheckMultiSelection(const char*& prompt);
  void Select(const std::vector<std::size_t>& positions);

  ItemsQuestion Question(const std::vector<std::size_t>& blocks) const;

  // Positions in the array of blocks.
  std::vector<std::size_t> Selected() const;

  // What makes a row: a data page of a block, from 0.
  struct Series {
    std::uint32_t block;
    std::uint32_t page;
  };
  // Those of the selected blocks, without those that are left out, which are counted by problem.
  using LeftOut = std::map<int, std::uint64_t>;
  std::vector<Series> SelectedSeries(LeftOut* left_out = nullptr) const;
  void NoteLeftOut(const LeftOut& left_out) const;
  bool LeavesOutBadBlocks() const { return !rules_.bad_blocks_refuse_files; }
  int CountPoints();
  void CheckPages();

  JCAMPData Block(std::size_t block) const;
  JCAMPData Get(Series series) const;
  // The first page of a block that can be read, if any can.
  JCAMPData FirstGood(std::size_t block) const;
  std::string RowLabel(Series series) const;
  std::string FilePrefix(const JCAMPData& block) const;
  std::string Entry(const JCAMPData& block) const;

  std::string Compose(std::string_view text) const;
  std::string MessageOf(int status) const;
  std::size_t LongestLine() const;
  // What a missing ordinate becomes, no number for a missing cell.
  float MissingValue() const;
  int FailAt(int status, int file, std::uint64_t line);
  void Warn(std::string_view text);

  // Reading, in JCAMPFileRead.cpp. What reads a block returns a JCAMPStatus or 0.
  static int Problem(const JCAMPData& block);
  static Grid GridOf(const JCAMPData& block);
  static bool SameX(const JCAMPData& a, const JCAMPData& b);
  int UniteX(const std::vector<Series>& selected);
  int ReadBlocks(ReadSpreadSheetData* sink);
  int ReadBlock(Series series, int row, bool names_points, BlockFile& file,
                ReadSpreadSheetData* sink);
  // What data lines come to that end before a label or the end of the file, or with it.
  int EndBlock(int status, const JCAMPData& block, const JCAMPLines& lines);
  int EndData(const JCAMPLines& lines, bool at_label, int read, int expected);
  int ReadPairs(const JCAMPData& block, int row, JCAMPLines& lines, ReadSpreadSheetData* sink);
  template <typename Store>
  int ReadXYData(const JCAMPData& block, JCAMPLines& lines, Store store);
  int ReadPeakTable(const JCAMPData& block, JCAMPLines& lines, Pairs& pairs);
  int CollectPairs(const JCAMPData& block, JCAMPLines& lines, Pairs& pairs);

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  JCAMPRules rules_;
  std::vector<std::string> files_;
  Boxed<JCAMPBlocks> blocks_;
  std::vector<std::size_t> offered_;  // positions of those that can be chosen
  bool several_files_ = false;
  std::size_t current_block_ = kNone;
  // The file that is checked or read, -1 for none, and the line reached in it.
  int current_file_ = -1;
  std::uint64_t line_ = 0;

  bool x_row_ = false;
  RangeChoice columns_;
  std::size_t reference_ = kNone;
  JCAMPData reference_data_;
  bool unites_x_ = false;        // a block of pairs is among the selected ones
  std::vector<double> union_x_;  // then all of their x values, ascending
  bool only_sizes_ = false;      // what is met will be told when the cells are read
  bool has_warned_ = false;      // of the block that is read, or of a page before
  std::string warning_;
  std::vector<unsigned char> choices_;
};

class NVIMPORT_API JCAMPFileFactory final : public SprFileFactory {
 public:
  using Rules = JCAMPRules;

  explicit JCAMPFileFactory(JCAMPRules rules = {});
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;

 private:
  JCAMPRules rules_;
};

}  // namespace nvimport
