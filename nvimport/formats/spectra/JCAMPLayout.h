#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "nvimport/formats/spectra/JCAMPRules.h"
#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/platform/Budget.h"

namespace nvimport {

class JCAMPLines;

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

// How the data lines of a page are read: as ordinates behind an abscissa, as pairs, as pairs with
// further values, or as groups in brackets that begin with a pair and end in a text.
enum class JCAMPForm : std::uint8_t { kUnknown, kOrdinates, kPairs, kTuples, kGroups };

// What every block has. A file can hold one in every fifteen bytes: what a block seldom has takes
// no room in all. Texts, numbers and pages are places in the layout.
struct JCAMPBlock {
  std::uint32_t title = 0;
  std::uint32_t data_type = 0;
  std::uint32_t date = 0;
  std::uint32_t numbers = 0;
  std::uint32_t first_page = 0;
  int pages = 0;
  int points = -1;
  int file = 0;
  JCAMPClass data_class = JCAMPClass::kUnknown;
  bool is_indented = false;
  std::uint8_t problem = 0;  // why it can't be read: a JCAMPStatus less kNoFile
};

struct JCAMPNumbers {
  double first_x = std::numeric_limits<double>::quiet_NaN();
  double last_x = std::numeric_limits<double>::quiet_NaN();
  double x_factor = 1;
  double y_factor = 1;
  double delta_x = 0;
  // Of the x values, what the decimal numbers are beyond the doubles next to them.
  double first_rest = 0;
  double last_rest = 0;
  double delta_rest = 0;
};

// Bit by bit, no numbers too.
inline bool operator==(const JCAMPNumbers& a, const JCAMPNumbers& b) {
  using Bits = std::array<std::uint64_t, sizeof(JCAMPNumbers) / sizeof(double)>;
  return std::bit_cast<Bits>(a) == std::bit_cast<Bits>(b);
}

// What pairs have besides: widths, multiplicities, assignments or a variable of n-tuples.
struct JCAMPFurther {
  double factor = 1;
  std::uint32_t name = 0;
  bool is_text = false;
  bool is_there = false;  // of some pair at least
};

// Where the lines of a data page are, and what they are.
struct JCAMPPlace {
  std::uint64_t position = 0;
  std::uint64_t end = 0;
  std::uint64_t line = 0;  // lines that precede them
  std::uint32_t lines = 0;
  std::uint32_t name = 0;
  std::uint32_t first_further = 0;
  int unstated = 0;  // of its points: those beyond the number that is stated, negative for fewer
  std::uint8_t further = 0;
  JCAMPForm form = JCAMPForm::kUnknown;
};

struct JCAMPPage : JCAMPPlace {
  std::uint8_t problem = 0;
  std::uint32_t numbers = 0;  // its own, 0 for those of the block
  int points = -1;            // likewise, -1 for those; 0 for none that are known
};

// All that is said of a data page.
struct JCAMPData : JCAMPBlock, JCAMPNumbers, JCAMPPlace {
  // The x values of ordinates.
  SpectrumGrid Axis() const;
  // Whether the points that both have are at the same x.
  bool SameGrid(const JCAMPData& other) const;
  // Whether they are the same points.
  bool SamePoints(const JCAMPData& other) const;
  // Whether it has the first and last x of another.
  bool SameX(const JCAMPData& other) const;
  // Why it can't be read: a JCAMPStatus or 0.
  int Problem() const;
};

// The blocks of one or several files in their order.
struct JCAMPLayout {
  std::deque<JCAMPBlock> blocks;
  std::deque<JCAMPNumbers> numbers = std::deque<JCAMPNumbers>(1);
  std::deque<JCAMPPage> pages = std::deque<JCAMPPage>(1);  // those of a block in a row
  std::deque<JCAMPFurther> further;                        // likewise of a page
  std::string texts = std::string(1, '\0');                // offset 0 is the empty text
  int files = 0;
  double bytes = 0;       // of the files
  double points = 0;      // announced by all blocks together
  bool all_pages = true;  // else only the first of each block

  // A page of a block, from 0; a block without has one of which nothing is said.
  JCAMPData Get(std::size_t block, std::size_t page = 0) const;
  std::size_t Pages(std::size_t block) const {
    return all_pages ? static_cast<std::size_t>(std::max(blocks[block].pages, 1)) : 1;
  }
  // The first page that can be read, if any can.
  JCAMPData FirstGood(std::size_t block) const;
  JCAMPPage& Page(std::size_t block, std::size_t page) {
    return pages[blocks[block].first_page + page];
  }
  const char* Text(std::uint32_t offset) const { return texts.c_str() + offset; }

  // The blocks that can be chosen. What only some rules find stands behind what all find, whose
  // numbers are the same.
  std::vector<std::size_t> Offered() const;

  // How many points the files may make: a hundred bytes can claim billions.
  double most_points() const {
    constexpr double kMostPerByte = 64;  // counts of repetitions make that much true
    return static_cast<double>(kMostUnbacked) + kMostPerByte * bytes;
  }
  // How many more all of them may make.
  double points_left() const { return most_points() - points; }
};

// A labelled data record: a label, a value and the lines that go on with it.
struct JCAMPRecord {
  std::uint64_t begin = 0;  // of its bytes
  std::uint64_t end = 0;
  std::size_t block = 0;  // that it is of, in the layout
  int pages = 0;          // of the block before it
  bool has_page = false;  // its lines are one
  bool is_indented = false;
};
// Returns false when it wants no more.
using JCAMPRecordTaker = std::function<bool(const JCAMPRecord&)>;

// Adds the blocks of the next file, and gives `take` each record of it where there is one. Returns
// a JCAMPStatus or 0.
int ReadJCAMPLayout(JCAMPLines& lines, const JCAMPRules& rules, JCAMPLayout& layout, Budget& budget,
                    const JCAMPRecordTaker& take = {});

}  // namespace nvimport
