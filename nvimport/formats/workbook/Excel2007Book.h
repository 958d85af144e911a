#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace nvimport {

class Description;
class ReadSpreadSheetData;

// What the library cannot do without others: the workbook in a package, in XML or in binary parts.
class Excel2007Book {
 public:
  enum class Outcome {
    kGood,
    kNotBuilt,  // the library was built without what unpacks packages and reads XML
    kCannotOpen,
    kNotPackage,
    kBrokenPackage,
    kProtected,
    kNoPassword,
    kWrongPassword,
    kNoCrypto,  // as kNotBuilt, without what decrypts
    kCancelled,
    kBadWorkbook,
    kBadWorksheet,
    kNoSheets,
    kTooLarge,
    kOverBudget
  };

  enum class SheetState : unsigned char { kVisible, kHidden, kVeryHidden };

  struct Sheet {
    std::string name;
    std::size_t part;  // several may have the same
    SheetState state;
    std::size_t place;  // in the workbook's list
  };

  struct Extent {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
  };

  // Where the cells of a worksheet go.
  struct Target {
    ReadSpreadSheetData* sink;
    int columns = 0;  // added to where they stand
    int rows = 0;
  };

  Excel2007Book() = default;
  Excel2007Book(const Excel2007Book&) = delete;
  Excel2007Book& operator=(const Excel2007Book&) = delete;
  virtual ~Excel2007Book() = default;

  // Opens the package and finds its worksheets; null when `outcome` is not kGood.
  // Encrypted ones only if asked for.
  static std::unique_ptr<Excel2007Book> Open(const char* path, bool decrypts, Outcome& outcome);

  // Those with cells, the hidden ones last.
  const std::vector<Sheet>& sheets() const { return sheets_; }

  // Before the worksheets of a selection: what was noted until then is forgotten.
  virtual void BeginRead() = 0;

  // Hands over the cells of a worksheet, as they are found. What stands before a fault is handed
  // over too.
  virtual Outcome ReadSheet(const Sheet& sheet, const Target& target) = 0;

  // Writes the notes about what was read.
  virtual void WriteNotes() const = 0;

  // The extent of a worksheet's cells, which is looked for once.
  virtual Outcome Measure(const Sheet& sheet, Extent& extent) = 0;

  // Adds what the workbook says of itself, of the worksheets with these numbers also their sizes.
  // Reading keeps the budget that it has.
  virtual void Describe(Description& description, const std::vector<int>& chosen) = 0;

 protected:
  std::vector<Sheet> sheets_;
};

}  // namespace nvimport
