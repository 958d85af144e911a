#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

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

// What the labels of a block say. Texts are offsets in the arena of JCAMPBlocks.
struct JCAMPData {
  std::size_t title = 0;
  std::size_t data_type = 0;
  std::size_t date = 0;
  double first_x = std::numeric_limits<double>::quiet_NaN();
  double last_x = std::numeric_limits<double>::quiet_NaN();
  double x_factor = 1;
  double y_factor = 1;
  double delta_x = 0;
  // The first data page: where its lines begin, and how many lines precede them.
  std::uint64_t position = 0;
  std::uint64_t line = 0;
  int points = -1;
  int pages = 0;
  int file = 0;
  JCAMPClass data_class = JCAMPClass::kUnknown;
  bool selected = false;
  bool holds_pairs = false;  // by the form of its first page
};

// The blocks of one or several files in their order, found by their labels.
class JCAMPBlocks {
 public:
  // Adds the blocks of the next file. Returns a JCAMPStatus or 0.
  int CheckFile(JCAMPLines& lines);
  void Clear() { *this = {}; }

  std::vector<JCAMPData>& list() { return list_; }
  const std::vector<JCAMPData>& list() const { return list_; }
  // How many points the files may make: a hundred bytes can claim billions.
  double most_points() const { return kMostUnbacked + kMostPerByte * bytes_; }
  double bytes() const { return bytes_; }
  const char* Text(std::size_t offset) const { return texts_.c_str() + offset; }

 private:
  static constexpr double kMostUnbacked = 1e6;
  static constexpr double kMostPerByte = 64;  // counts of repetitions make that much true

  struct Rule;
  static const Rule kRules[];

  int ReadLabel(std::string_view line, JCAMPLines& lines);
  void AddPage(std::string_view form, JCAMPLines& lines);
  JCAMPData& Current();
  std::size_t Keep(std::string_view text);

  // What the value of a label does; each returns a status.
  int TakeTitle(std::string_view value);
  int TakeEnd(std::string_view value);
  int TakeDataType(std::string_view value);
  int TakeDataClass(std::string_view value);
  int TakeBlocks(std::string_view value);
  template <double JCAMPData::*kMember>
  int TakeNumber(std::string_view value);
  template <double JCAMPData::*kMember>
  int TakeFactor(std::string_view value);
  int TakePoints(std::string_view value);
  int TakeDate(std::string_view value);
  int TakeTime(std::string_view value);
  int TakeForm(std::string_view form);
  template <int kStatus>
  int Refuse(std::string_view value);

  std::vector<JCAMPData> list_;
  std::string texts_ = std::string(1, '\0');  // offset 0 is the empty text
  int files_ = 0;
  double bytes_ = 0;   // of the files
  double points_ = 0;  // announced by all blocks together

  // Of the file being checked:
  std::size_t first_ = 0;  // its first block
  JCAMPData stray_;        // takes what stands before that
  std::uint64_t titles_ = 0;
  std::uint64_t ends_ = 0;
  std::int64_t open_titles_ = 0;
};
