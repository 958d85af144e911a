#pragma once

#include <cstdint>
#include <limits>

namespace nvimport {

enum class JCAMPClass : std::uint8_t {
  kLink = 0,
  kXYData = 1,
  kRAData = 3,
  kXYPoints = 4,
  kPeakTable = 5,
  kAssignments = 6,
  kNTuples = 7,
  kUnknown = 8
};

// How the data lines of a page are read: as ordinates behind an abscissa, as pairs, as pairs with a
// third value, or as groups in brackets that begin with a pair.
enum class JCAMPForm : std::uint8_t { kUnknown, kOrdinates, kPairs, kTriples, kGroups };

// What every block has. Texts are offsets in the arena of JCAMPBlocks.
struct JCAMPRecord {
  std::uint32_t title = 0;
  std::uint32_t data_type = 0;
  std::uint32_t date = 0;
  std::uint32_t numbers = 0;  // where JCAMPBlocks keeps them, 0 for none
  int points = -1;
  int file = 0;
  JCAMPClass data_class = JCAMPClass::kUnknown;
  bool selected : 1 = false;
  bool is_indented : 1 = false;
  JCAMPForm form = JCAMPForm::kUnknown;  // of its first page
  std::uint8_t problem = 0;              // why it can't be read: a JCAMPStatus less kNoFile
};

// What only blocks with data have.
struct JCAMPNumbers {
  double first_x = std::numeric_limits<double>::quiet_NaN();
  double last_x = std::numeric_limits<double>::quiet_NaN();
  double x_factor = 1;
  double y_factor = 1;
  double delta_x = 0;
  int pages = 0;
  std::uint32_t page_list = 0;  // where JCAMPBlocks keeps them if they are several, 0 for none
  // The first data page: where its lines begin, and how many lines precede them.
  std::uint64_t position = 0;
  std::uint64_t line = 0;
};

// What the labels of a block say.
struct JCAMPData : JCAMPRecord, JCAMPNumbers {};

// One of several data pages of a block.
struct JCAMPPage {
  std::uint64_t position = 0;
  std::uint64_t line = 0;
  std::uint32_t name = 0;
  std::uint32_t numbers = 0;  // where JCAMPBlocks keeps its own, 0 for those of the block
  int points = -1;
  JCAMPForm form = JCAMPForm::kUnknown;
  std::uint8_t problem = 0;
};

}  // namespace nvimport
