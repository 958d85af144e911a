#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace nvimport {

class Description;
class ReadSpreadSheetData;

// What a file of several worksheets is read through, whatever its format: what SheetBookFile has
// of it.
class SheetBook {
 public:
  enum class Outcome {
    kGood,
    kNotBuilt,  // the library was built without what reads such files
    kCannotOpen,
    kOtherFormat,
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
    kOverBudget,
    kStopped  // no more rows were wanted
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
    bool asks_rows = false;  // the sink may end the read between two of them
  };

  struct Placed {
    const Sheet* sheet;
    Target target;
  };

  SheetBook() = default;
  SheetBook(const SheetBook&) = delete;
  SheetBook& operator=(const SheetBook&) = delete;
  virtual ~SheetBook() = default;

  // Those with cells, the hidden ones last.
  const std::vector<Sheet>& sheets() const { return sheets_; }

  // Hands over the cells of a selection, as they are found. What stands before a fault is handed
  // over too, and what was noted before is forgotten.
  virtual Outcome ReadSheets(std::span<const Placed> sheets) = 0;

  // Writes the notes about what was read.
  virtual void WriteNotes() const = 0;

  // The columns of a worksheet's first rows, where its extent takes much longer to find and is
  // known when it was read.
  virtual std::optional<std::uint32_t> FirstColumns(const Sheet&) { return std::nullopt; }

  // The extent of a worksheet's cells, which is looked for once.
  virtual Outcome Measure(const Sheet& sheet, Extent& extent) = 0;

  // Adds what the file says of itself, of the worksheets with these numbers also their sizes.
  // Reading keeps the budget that it has.
  virtual void Describe(Description& description, const std::vector<int>& chosen) = 0;

 protected:
  static constexpr std::uint32_t kFirstRows = 100;

  std::vector<Sheet> sheets_;
};

}  // namespace nvimport
