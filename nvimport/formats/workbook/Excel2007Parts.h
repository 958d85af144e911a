#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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

struct WorkbookPart {
  struct Sheet {
    std::string name;
    std::string relationship;
    bool is_hidden = false;
  };
  bool is_workbook = true;  // else a part of another kind
  bool since_1904 = false;
  std::vector<Sheet> sheets;
};

// The styles of cells, as far as they denote dates.
class StyleTable {
 public:
  void TakeFormat(std::uint32_t number, std::string_view text) {
    formats_[number] = DateFormOf(text);
  }
  void TakeStyle(std::uint32_t format) { styles_.push_back(format); }

  std::vector<DateForm> DateStyles() const;

 private:
  std::map<std::uint32_t, DateForm> formats_;
  std::vector<std::uint32_t> styles_;
};

bool ReadRelationships(ZipPackage& package, std::vector<Relationship>& relationships);

struct XmlParts {
  static bool ReadWorkbook(ZipPackage& package, WorkbookPart& workbook);
  static bool ReadStyles(ZipPackage& package, StyleTable& styles);
  static bool ReadStrings(ZipPackage& package, SharedStrings& strings);
  static bool ReadSheet(ZipPackage& package, Excel2007Cells& cells);
};

struct BinaryParts {
  static bool ReadWorkbook(ZipPackage& package, WorkbookPart& workbook);
  static bool ReadStyles(ZipPackage& package, StyleTable& styles);
  static bool ReadStrings(ZipPackage& package, SharedStrings& strings);
  static bool ReadSheet(ZipPackage& package, Excel2007Cells& cells);
};

}  // namespace nvimport
