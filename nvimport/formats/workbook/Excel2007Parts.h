#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/workbook/Excel2007Cells.h"
#include "nvimport/formats/workbook/ExcelFormats.h"
#include "nvimport/formats/workbook/ZipPackage.h"

namespace nvimport {

// The parts of a workbook's package (see ECMA-376 and, for binary ones, [MS-XLSB]), each read from
// the part that the package has open. A reader answers false when the part is damaged; what it
// found until then stands.

// One part's reference to another.
struct Relationship {
  std::string id;
  std::string type;    // behind the last slash: "worksheet"
  std::string target;  // a part's name or a way from the folder of the part that refers
};

// The references of a part to others, of which the first of an id or a type counts.
class Relationships {
 public:
  // False when the import may not have as many.
  bool Add(Relationship relationship, Budget& budget);

  // Null when there is none.
  const Relationship* WithId(std::string_view id) const;
  const Relationship* OfType(std::string_view type) const;

 private:
  std::deque<Relationship> all_;
  std::map<std::string_view, const Relationship*> by_id_;
};

// The workbook's own part, as it is read.
struct WorkbookPart {
  using SheetState = SheetBook::SheetState;

  explicit WorkbookPart(const Relationships& found) : relationships(found) {}

  // Takes a sheet if it is one with cells. False when the import may not have as many.
  bool TakeSheet(std::string name, std::string_view relationship, SheetState state, Budget& budget);

  struct Sheet {
    std::string name;
    const Relationship* relationship;
    SheetState state;
    std::size_t place;  // in the workbook's list
  };
  const Relationships& relationships;
  bool is_workbook = true;  // else a part of another kind
  bool since_1904 = false;
  std::vector<Sheet> sheets;
  std::uint64_t lost_sheets = 0;  // whose relationship there is not
};

// The styles of cells, as far as they denote dates.
class StyleTable {
 public:
  // False when the import may not have as many.
  bool TakeFormat(std::uint32_t number, std::string_view text, Budget& budget);
  bool TakeStyle(std::uint32_t format, Budget& budget);

  std::vector<std::optional<DateForm>> CellStyles() const;

 private:
  std::map<std::uint32_t, DateForm> formats_;
  std::vector<std::uint32_t> styles_;
};

bool ReadRelationships(ZipPackage& package, Relationships& relationships);

// Adds what a part with properties says, those of the user's own or others.
void DescribeProperties(ZipPackage& package, std::string_view part, bool is_custom,
                        Stating& stating);

// The same of a part with the properties of an OpenDocument file.
void DescribeOpenDocument(ZipPackage& package, std::string_view part, Stating& stating);
// The same of an XML spreadsheet of 2003.
void DescribeXmlSpreadsheet(ZipPackage& package, std::string_view part, Stating& stating);

struct XmlParts {
  static bool ReadWorkbook(ZipPackage& package, WorkbookPart& workbook);
  static bool ReadStyles(ZipPackage& package, StyleTable& styles);
  static bool ReadStrings(ZipPackage& package, SpooledStrings& strings);
  static bool ReadSheet(ZipPackage& package, Excel2007Cells& cells);
  // The range that a worksheet states, "B2:D20"; nothing where it does not.
  static bool ReadRange(ZipPackage& package, std::string& range);
};

struct BinaryParts {
  static bool ReadWorkbook(ZipPackage& package, WorkbookPart& workbook);
  static bool ReadStyles(ZipPackage& package, StyleTable& styles);
  static bool ReadStrings(ZipPackage& package, SpooledStrings& strings);
  static bool ReadSheet(ZipPackage& package, Excel2007Cells& cells);
  // The range that a worksheet states, "B2:D20"; nothing where it does not.
  static bool ReadRange(ZipPackage& package, std::string& range);
};

}  // namespace nvimport
