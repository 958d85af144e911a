// Sizes and cells of JCAMP-DX blocks.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "formats/spectra/JCAMPFile.h"
#include "formats/spectra/JCAMPLines.h"
#include "formats/spectra/JCAMPStatus.h"
#include "formats/spectra/JCAMPValues.h"
#include "framework/SpreadsheetData.h"
#include "platform/Log.h"
#include "platform/NumberText.h"

namespace {

constexpr int kLabelColumn = 2;
constexpr int kFirstPointColumn = 3;
constexpr float kMissing = -99;

}  // namespace

// The file whose blocks are being read: blocks of one file follow one another.
class JCAMPFile::BlockFile {
 public:
  // The lines of the file, null when it can't be opened.
  JCAMPLines* Open(int file, const std::string& path) {
    if (file == file_) return lines_.get();
    Close();
    lines_ = std::make_unique<JCAMPLines>(path.c_str());
    if (!lines_->is_open()) return nullptr;
    file_ = file;
    return lines_.get();
  }

  void Close() {
    if (lines_) long_lines_ += lines_->long_lines();
    lines_.reset();
    file_ = -1;
  }

  std::uint64_t long_lines() const { return long_lines_; }

 private:
  int file_ = -1;
  std::unique_ptr<JCAMPLines> lines_;
  std::uint64_t long_lines_ = 0;
};

// Writes the names of points and, where one is wanted, the row of their x values.
class JCAMPFile::Names {
 public:
  Names(const JCAMPFile& file, ReadSpreadSheetData* sink)
      : sink_(sink),
        x_row_(file.x_row_),
        // Kept: the columns limit nothing but names, and those only of several files.
        named_(file.several_files_ ? file.columns_ : RangeChoice{}) {
    if (x_row_) sink_->Set(kLabelColumn, 2, "X");
  }

  void Put(int column, double x) {
    if (named_.Holds(column)) {
      FormatGeneral(x, text_, 2);
      sink_->Set(column, 1, text_.data());
    }
    if (x_row_) sink_->Set(column, 2, static_cast<float>(x));
  }

 private:
  ReadSpreadSheetData* sink_;
  bool x_row_;
  RangeChoice named_;
  FloatText text_{'t', ' '};
};

struct JCAMPFile::Pair {
  double x = 0;
  int order = 0;  // in the block
  float y = 0;

  bool operator<(const Pair& other) const {
    return std::tie(x, order) < std::tie(other.x, other.order);
  }
};

int JCAMPFile::Problem(const JCAMPData& block) {
  const JCAMPClass data_class = block.data_class;
  if (data_class == JCAMPClass::kRAData) return kRADataMet;
  if (data_class != JCAMPClass::kXYData && data_class != JCAMPClass::kXYPoints &&
      data_class != JCAMPClass::kPeakTable)
    return kUnknownClass;
  if (block.points < 1) return kNoPoints;
  if (block.pages == 0) return kNoData;
  if (data_class != JCAMPClass::kXYData && !block.holds_pairs) return kXYPointsMet;
  if (data_class != JCAMPClass::kXYData) return kGood;
  const Grid grid = GridOf(block);
  if (std::isnan(grid.first) || !std::isfinite(grid.step)) return kNoSpacing;
  if (grid.step == 0 && grid.points > 1) return kNoSpacing;
  return kGood;
}

JCAMPFile::Grid JCAMPFile::GridOf(const JCAMPData& block) {
  Grid grid{block.first_x, block.delta_x, block.points};
  if (block.points > 1 && !std::isnan(block.last_x) && block.last_x != block.first_x)
    grid.step = (block.last_x - block.first_x) / (block.points - 1);
  return grid;
}

bool JCAMPFile::SameX(const JCAMPData& a, const JCAMPData& b) {
  const auto last = [](const JCAMPData& block) {
    const bool given = !std::isnan(block.last_x) && block.last_x != block.first_x;
    return given ? block.last_x : GridOf(block).X(block.points);
  };
  return a.first_x == b.first_x && last(a) == last(b);
}

int JCAMPFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (blocks_.size() == 0) return Fail(kReadFailed);
  const std::vector<std::size_t> selected = Selected();
  if (selected.empty()) return Fail(offered_.empty() ? kNoData : kNoneSelected);

  // What precedes a block that can't be read is delivered before that fails.
  std::size_t readable = 0;
  int points = 0;
  for (; readable < selected.size(); ++readable) {
    const JCAMPData block = Block(selected[readable]);
    if (const int problem = Problem(block)) {
      if (readable == 0) return FailAt(problem, block.file, block.line);
      break;
    }
    points = std::max(points, block.points);
  }
  auto columns = static_cast<std::uint64_t>(points);
  if (reference_ != kNone) {
    columns = static_cast<std::uint64_t>(Block(reference_).points);
    if (static_cast<double>(columns) * static_cast<double>(selected.size()) > blocks_.most_points())
      return Fail(kNoSize);
  }
  if (unites_x_) {
    if (const int status =
            UniteX({selected.begin(), selected.begin() + static_cast<std::ptrdiff_t>(readable)}))
      return status;
    columns = union_x_.size();
  }
  return SetSize(kFirstPointColumn - 1 + columns, selected.size() + (x_row_ ? 2 : 1));
}

// Finds the columns of blocks of pairs: every x that occurs, as often as a block has it.
int JCAMPFile::UniteX(const std::vector<std::size_t>& selected) {
  union_x_.clear();
  // What the file's own length backs; spectra of repetitions can announce much more.
  constexpr double kMostUnbacked = 1e6;
  constexpr double kBytesPerPair = 6;
  double announced = 0;
  for (const std::size_t index : selected) announced += Block(index).points;
  if (announced > kMostUnbacked + blocks_.bytes() / kBytesPerPair) return Fail(kNoSize);
  std::vector<std::pair<double, int>> all;  // with its number among equal ones of its block
  all.reserve(static_cast<std::size_t>(announced));
  BlockFile file;
  Pairs pairs;
  for (const std::size_t index : selected) {
    const JCAMPData block = Block(index);
    JCAMPLines* lines = file.Open(block.file, files_[static_cast<std::size_t>(block.file)]);
    if (lines == nullptr) return Fail(kNoFile);
    only_sizes_ = true;
    const int status = CollectPairs(block, *lines, pairs);
    only_sizes_ = false;
    if (status != kGood) return FailAt(status, block.file, lines->line());
    int number = 0;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      number = i > 0 && pairs[i].x == pairs[i - 1].x ? number + 1 : 0;
      all.emplace_back(pairs[i].x, number);
    }
  }
  std::ranges::sort(all);
  all.erase(std::unique(all.begin(), all.end()), all.end());
  for (const auto& [x, number] : all) union_x_.push_back(x);
  return kGood;
}

int JCAMPFile::Read(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  if (status_ != kGood) return status_;
  warning_.clear();
  only_sizes_ = false;
  sink->SetDataSize(num_cols_, num_rows_);
  return ReadBlocks(sink);
}

int JCAMPFile::ReadBlocks(ReadSpreadSheetData* sink) {
  const std::vector<std::size_t> selected = Selected();
  if (unites_x_ || reference_ != kNone)
    if (InitXValues(sink) != kGood) return status_;
  BlockFile file;
  int row = x_row_ ? 2 : 1;
  int further_pages = 0;
  for (const std::size_t index : selected) {
    const JCAMPData block = Block(index);
    current_block_ = index;
    if (const int problem = Problem(block)) return FailAt(problem, block.file, block.line);
    const bool names_points = index == selected.front() && !unites_x_ && reference_ == kNone;
    if (ReadBlock(index, ++row, names_points, file, sink) != kGood) return status_;
    further_pages += block.pages - 1;
  }
  file.Close();
  if (file.long_lines() > 0)
    Log::WriteNote("JCAMPFile", std::to_string(file.long_lines()) +
                                    (file.long_lines() == 1 ? " line is" : " lines are") +
                                    " longer than 255 characters, and the rest was not delivered");
  if (further_pages > 0)
    Log::WriteNote("JCAMPFile", std::to_string(further_pages) +
                                    (further_pages == 1 ? " further data page was"
                                                        : " further data pages were") +
                                    " not delivered");
  return kGood;
}

namespace {

// What takes the ordinates of a block: n from 1, y scaled.

// Sets them in a row.
struct Row {
  ReadSpreadSheetData* sink;
  int row;

  void operator()(int n, double y, bool missing) const {
    sink->Set(kFirstPointColumn - 1 + n, row, missing ? kMissing : static_cast<float>(y));
  }
};

// Brings them onto the x values of another block, point by point as they come.
template <typename Grid>
class Interpolator {
 public:
  Interpolator(Row row, const Grid& own, const Grid& wanted)
      : row_(row), own_(own), wanted_(wanted), forward_(own.step >= 0) {
    // The wanted points are walked in this block's direction.
    const bool same_direction = forward_ == (wanted.step >= 0);
    next_ = same_direction ? 1 : wanted.points;
    step_ = same_direction ? 1 : -1;
    // Ends that should meet may miss each other by what rounding does.
    constexpr double kPart = 1e-6;
    slack_ = kPart * std::fabs(own.step);
  }

  void operator()(int n, double y, bool missing) {
    const double x = own_.X(n);
    for (; next_ >= 1 && next_ <= wanted_.points; next_ += step_) {
      const double wanted = wanted_.X(next_);
      const double beyond = forward_ ? wanted - x : x - wanted;
      if (beyond > slack_) break;
      if (n == 1 && beyond < -slack_) continue;
      const bool on_point = beyond >= -slack_;
      const double value =
          on_point ? y : last_y_ + (y - last_y_) * (wanted - last_x_) / (x - last_x_);
      row_(next_, value, missing || (!on_point && last_missing_));
    }
    last_x_ = x;
    last_y_ = y;
    last_missing_ = missing;
  }

 private:
  Row row_;
  Grid own_;
  Grid wanted_;
  bool forward_;
  int next_;
  int step_;
  double slack_;
  double last_x_ = 0;
  double last_y_ = 0;
  bool last_missing_ = false;
};

}  // namespace

int JCAMPFile::ReadBlock(std::size_t index, int row, bool names_points, BlockFile& file,
                         ReadSpreadSheetData* sink) {
  const JCAMPData block = Block(index);
  current_file_ = block.file;
  JCAMPLines* lines = file.Open(block.file, files_[static_cast<std::size_t>(block.file)]);
  if (lines == nullptr) return Fail(kNoFile);

  sink->Set(1, row, row - 1);
  const std::string label = FilePrefix(block) + blocks_.Text(block.title);
  sink->Set(kLabelColumn, row, label.empty() ? "Y" : label.c_str());

  const Row cells{sink, row};
  const Grid grid = GridOf(block);
  int status = kGood;
  if (unites_x_) {
    status = ReadPairs(block, row, *lines, sink);
  } else if (names_points) {
    Names names(*this, sink);
    status = ReadXYData(block, *lines, [&](int n, double y, bool missing) {
      cells(n, y, missing);
      names.Put(kFirstPointColumn - 1 + n, missing ? static_cast<double>(kMissing) : grid.X(n));
    });
  } else if (reference_ == kNone ||
             (SameX(block, Block(reference_)) && block.points == Block(reference_).points)) {
    status = ReadXYData(block, *lines, cells);
  } else {
    Interpolator interpolate(cells, grid, GridOf(Block(reference_)));
    status = ReadXYData(block, *lines,
                        [&](int n, double y, bool missing) { interpolate(n, y, missing); });
  }
  return status == kGood ? kGood : FailAt(status, block.file, lines->line());
}

int JCAMPFile::InitXValues(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  Names names(*this, sink);
  for (std::size_t i = 0; i < union_x_.size(); ++i)
    names.Put(kFirstPointColumn + static_cast<int>(i), union_x_[i]);
  if (reference_ == kNone) return kGood;
  const JCAMPData block = Block(reference_);
  BlockFile file;
  JCAMPLines* lines = file.Open(block.file, files_[static_cast<std::size_t>(block.file)]);
  if (lines == nullptr) return Fail(kNoFile);
  const Grid grid = GridOf(block);
  only_sizes_ = true;
  const int status = ReadXYData(block, *lines, [&](int n, double, bool missing) {
    names.Put(kFirstPointColumn - 1 + n, missing ? static_cast<double>(kMissing) : grid.X(n));
  });
  only_sizes_ = false;
  return status == kGood ? kGood : FailAt(status, block.file, lines->line());
}

// Gives the block's pairs to their columns, the next one for each that repeats an x.
int JCAMPFile::ReadPairs(const JCAMPData& block, int row, JCAMPLines& lines,
                         ReadSpreadSheetData* sink) {
  Pairs pairs;
  if (const int status = CollectPairs(block, lines, pairs)) return status;
  auto column = union_x_.begin();
  for (const Pair& pair : pairs) {
    column = std::lower_bound(column, union_x_.end(), pair.x);
    if (column == union_x_.end()) break;
    sink->Set(kFirstPointColumn + static_cast<int>(column - union_x_.begin()), row, pair.y);
    ++column;
  }
  return kGood;
}

// The points of a block by ascending x, whatever its class.
int JCAMPFile::CollectPairs(const JCAMPData& block, JCAMPLines& lines, Pairs& pairs) {
  pairs.clear();
  int status = kGood;
  if (block.data_class == JCAMPClass::kXYData) {
    const Grid grid = GridOf(block);
    status = ReadXYData(block, lines, [&](int n, double y, bool missing) {
      pairs.push_back({grid.X(n), n, missing ? kMissing : static_cast<float>(y)});
    });
  } else {
    status = ReadPeakTable(block, lines, pairs);
  }
  std::sort(pairs.begin(), pairs.end());
  return status;
}

namespace {

constexpr const char* kMoreValues =
    "%fThere seem to be more y-values in the file than specified by the '##NPOINTS'-label. "
    "Continue with the import will cause incorrectly computed x-values, since the nominal spacing "
    "between the x-values is calculated from the number of y-values.";
constexpr const char* kCheckFailed =
    "%fY-value check failed on line %n. The remaining part of the dataset will be ignored.";

std::string FewerValues(int read, int expected) {
  return "%lData seem to be missing in the file. Could only read " + std::to_string(read) +
         " y-values, but expected to read " + std::to_string(expected) +
         ". Continue with the import will cause incorrectly computed x-values, since the nominal "
         "spacing between the x-values is calculated from the number of y-values.";
}

// Decimals that should meet may miss each other in their last digit.
bool Differ(double a, double b) {
  constexpr double kTolerance = 1e-12;
  return std::fabs(a - b) > kTolerance * std::fabs(a);
}

int NextValue(const char*& text, JCAMPValue& value) {
  std::int64_t whole = 0;
  bool is_difference = false;
  if (!TakeWhole(text, whole, is_difference)) return ReadNextValue(text, {}, value);
  value = {static_cast<double>(whole), is_difference ? -1 : 1, false};
  return 0;
}

}  // namespace

// Decodes the lines of a block: an abscissa, which only says where a line begins, then ordinates.
template <typename Store>
int JCAMPFile::ReadXYData(const JCAMPData& block, JCAMPLines& lines, Store store) {
  const double factor = block.y_factor;
  const int expected = block.points;
  lines.Seek(block.position, block.line);
  int read = 0;
  double y = 0;
  bool ends_in_difference = false;
  JCAMPValue value;
  std::string_view line;
  while (lines.Next(line)) {
    line_ = lines.line();
    if (line.starts_with('#')) {
      if (read < expected) Warn(FewerValues(read, expected));
      return kGood;
    }
    const char* text = line.data();
    if (const int status = NextValue(text, value)) return status;
    if (value.count == 0) continue;
    if (value.count != 1) return kAbscissaRepeats;
    for (bool first = true;; first = false) {
      std::int64_t whole = 0;
      bool is_difference = false;
      while (!first && read < expected && TakeWhole(text, whole, is_difference)) {
        y = static_cast<double>(whole) + (is_difference ? y : 0);
        ends_in_difference = is_difference;
        store(++read, y * factor, false);
      }
      if (*text == '\n') break;
      if (const int status = NextValue(text, value)) return status;
      if (value.count == 0) break;
      const bool is_check = first && ends_in_difference;
      if (first && value.count < 0) return kDifferenceFirst;
      if (is_check && !value.missing && Differ(value.value, y) && read < expected) {
        Warn(kCheckFailed);
        return kGood;
      }
      ends_in_difference = value.count < 0;
      const double difference = ends_in_difference ? value.value : 0;
      if (!ends_in_difference && !is_check && !value.missing) y = value.value;
      // What is only a check has been stored before.
      int times = std::abs(value.count) - (is_check ? 1 : 0);
      for (; times > 0; --times) {
        if (read == expected) {
          Warn(kMoreValues);
          return kGood;
        }
        y += difference;
        store(++read, y * factor, value.missing);
      }
    }
  }
  return lines.failed() ? kReadFailed : kUnexpectedEnd;
}

int JCAMPFile::ReadPeakTable(const JCAMPData& block, JCAMPLines& lines, Pairs& pairs) {
  constexpr JCAMPValueForm kForm{.plain_only = true, .comma_separates = true};
  lines.Seek(block.position, block.line);
  JCAMPValue x;
  JCAMPValue y;
  std::string_view line;
  while (lines.Next(line)) {
    line_ = lines.line();
    if (line.starts_with('#')) {
      const int read = static_cast<int>(pairs.size());
      if (read < block.points) Warn(FewerValues(read, block.points));
      return kGood;
    }
    const char* text = line.data();
    while (true) {
      if (const int status = ReadNextValue(text, kForm, x)) return status;
      if (x.count == 0) break;
      if (x.count != 1) return kAbscissaRepeats;
      if (const int status = ReadNextValue(text, kForm, y)) return status;
      if (x.missing || y.count > 1) return kNotPlain;
      const int read = static_cast<int>(pairs.size());
      if (read == block.points) {
        Warn(kMoreValues);
        return kGood;
      }
      const bool missing = y.missing || y.count == 0;
      pairs.push_back({x.value * block.x_factor, read,
                       missing ? kMissing : static_cast<float>(y.value * block.y_factor)});
    }
  }
  return lines.failed() ? kReadFailed : kUnexpectedEnd;
}
