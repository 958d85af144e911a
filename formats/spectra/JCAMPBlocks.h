#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <string_view>

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

// What every block has. Texts are offsets in the arena of JCAMPBlocks.
struct JCAMPRecord {
  std::uint32_t title = 0;
  std::uint32_t data_type = 0;
  std::uint32_t date = 0;
  std::uint32_t numbers = 0;  // where JCAMPBlocks keeps them, 0 for none
  int points = -1;
  int file = 0;
  JCAMPClass data_class = JCAMPClass::kUnknown;
  bool selected = false;
  bool holds_pairs = false;  // by the form of its first page
};

// What only blocks with data have.
struct JCAMPNumbers {
  double first_x = std::numeric_limits<double>::quiet_NaN();
  double last_x = std::numeric_limits<double>::quiet_NaN();
  double x_factor = 1;
  double y_factor = 1;
  double delta_x = 0;
  int pages = 0;
  // The first data page: where its lines begin, and how many lines precede them.
  std::uint64_t position = 0;
  std::uint64_t line = 0;
};

// What the labels of a block say.
struct JCAMPData : JCAMPRecord, JCAMPNumbers {};

// The blocks of one or several files in their order, found by their labels.
class JCAMPBlocks {
 public:
  // Adds the blocks of the next file. Returns a JCAMPStatus or 0.
  int CheckFile(JCAMPLines& lines);
  void Clear() { *this = {}; }

  std::size_t size() const { return records_.size(); }
  JCAMPData Get(std::size_t block) const {
    return {records_[block], numbers_[records_[block].numbers]};
  }
  JCAMPClass DataClass(std::size_t block) const { return records_[block].data_class; }
  bool IsSelected(std::size_t block) const { return records_[block].selected; }
  void Select(std::size_t block, bool selected) { records_[block].selected = selected; }

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
  void CloseBlock();
  int Keep(std::string_view text, std::uint32_t& offset);

  // What the value of a label does; each returns a status.
  int TakeTitle(std::string_view value);
  int TakeEnd(std::string_view value);
  int TakeDataType(std::string_view value);
  int TakeDataClass(std::string_view value);
  int TakeBlocks(std::string_view value);
  template <double JCAMPNumbers::*kMember>
  int TakeNumber(std::string_view value);
  template <double JCAMPNumbers::*kMember>
  int TakeFactor(std::string_view value);
  int TakePoints(std::string_view value);
  int TakeDate(std::string_view value);
  int TakeTime(std::string_view value);
  int TakeForm(std::string_view form);
  template <int kStatus>
  int Refuse(std::string_view value);

  // A file can hold a block in every fifteen bytes: what a block seldom has takes no room in all.
  std::deque<JCAMPRecord> records_;
  std::deque<JCAMPNumbers> numbers_ = std::deque<JCAMPNumbers>(1);
  std::string texts_ = std::string(1, '\0');  // offset 0 is the empty text
  int files_ = 0;
  double bytes_ = 0;   // of the files
  double points_ = 0;  // announced by all blocks together

  // Of the file being checked:
  JCAMPData block_;  // the one that is read, or what stands before the first
  bool in_block_ = false;
  std::uint64_t titles_ = 0;
  std::uint64_t ends_ = 0;
  std::int64_t open_titles_ = 0;
};
