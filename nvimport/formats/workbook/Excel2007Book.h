#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace nvimport {

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
    kBadWorkbook,
    kBadWorksheet,
    kNoSheets,
    kTooLarge
  };

  struct Sheet {
    std::string name;
    std::string part;
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
  static std::unique_ptr<Excel2007Book> Open(const char* path, Outcome& outcome);

  // Those with cells, the hidden ones last.
  const std::vector<Sheet>& sheets() const { return sheets_; }

  // Hands over the cells of a worksheet, as they are found. What stands before a fault is handed
  // over too.
  virtual Outcome ReadSheet(const Sheet& sheet, const Target& target) = 0;

  // The extent of a worksheet's cells. With `is_one_of_many` all such calls since Open may together
  // unpack only as much as one.
  virtual Outcome Measure(const Sheet& sheet, bool is_one_of_many, std::uint32_t& columns,
                          std::uint32_t& rows) = 0;

  // Cells that hold an error, since Open; they come as empty texts.
  std::uint64_t errors() const { return errors_; }

 protected:
  std::vector<Sheet> sheets_;
  std::uint64_t errors_ = 0;
};

}  // namespace nvimport
