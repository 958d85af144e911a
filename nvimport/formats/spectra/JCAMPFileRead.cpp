// Sizes and cells of JCAMP-DX blocks.

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "nvimport/formats/spectra/JCAMPBlocks.h"
#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/formats/spectra/JCAMPStatus.h"
#include "nvimport/formats/spectra/JCAMPValues.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr const char* kSource = "JCAMPFile";

constexpr int kLabelColumn = 2;
constexpr int kFirstPointColumn = 3;
constexpr float kMissing = -99;

// Pairs and rows take it for a missing ordinate, where that is no number.
bool IsMissing(float value) { return std::isnan(value); }

}  // namespace

// The file whose blocks are being read: blocks of one file follow one another.
class JCAMPFile::BlockFile {
 public:
  explicit BlockFile(const JCAMPFile& reader) : reader_(reader) {}

  // The lines of the block's file, null when it can't be opened.
  JCAMPLines* Open(const JCAMPData& block) {
    if (block.file == file_) return lines_.get();
    Close();
    const JCAMPRules& rules = reader_.rules_;
    lines_ = std::make_unique<JCAMPLines>(
        reader_.files_[static_cast<std::size_t>(block.file)].c_str(), reader_.LongestLine());
    if (!rules.labels_begin_lines) lines_->IgnoreIndentation();
    if (!lines_->is_open()) return nullptr;
    file_ = block.file;
    return lines_.get();
  }

  void Close() {
    if (lines_) long_lines_ += lines_->long_lines();
    lines_.reset();
    file_ = -1;
  }

  std::uint64_t long_lines() const { return long_lines_; }

 private:
  const JCAMPFile& reader_;
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
        missing_value_(file.MissingValue()),
        // Kept: the columns limit nothing but names, and those only of several files.
        named_(file.several_files_ ? file.columns_ : RangeChoice{}) {
    if (x_row_) sink_->Set(kLabelColumn, 2, "X");
  }

  void Put(int column, double x, bool missing = false) {
    if (missing && !IsMissing(missing_value_)) x = static_cast<double>(missing_value_);
    if (named_.Holds(column)) {
      FormatGeneral(x, text_, 2);
      sink_->Set(column, 1, text_.data());
    }
    if (x_row_) sink_->Set(column, 2, static_cast<float>(x));
  }

 private:
  ReadSpreadSheetData* sink_;
  bool x_row_;
  float missing_value_;
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
  if (block.problem != 0) return kNoFile + block.problem;
  const JCAMPClass data_class = block.data_class;
  if (data_class == JCAMPClass::kRAData) return kRADataMet;
  if (data_class != JCAMPClass::kXYData && data_class != JCAMPClass::kXYPoints &&
      data_class != JCAMPClass::kPeakTable)
    return kUnknownClass;
  if (block.points < 1) return kNoPoints;
  if (block.pages == 0) return kNoData;
  if (data_class != JCAMPClass::kXYData && block.form < JCAMPForm::kPairs) return kXYPointsMet;
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
  if (blocks_->size() == 0) return Fail(kReadFailed);
  const std::vector<std::size_t> blocks = Selected();
  if (blocks.empty()) return Fail(offered_.empty() ? kNoData : kNoneSelected);
  const std::vector<Series> selected = SelectedSeries();
  if (selected.empty()) {
    const JCAMPData block = Block(blocks.front());
    return FailAt(Problem(block), block.file, block.line);
  }

  // What precedes a block that can't be read is delivered before that fails.
  std::size_t readable = 0;
  int points = 0;
  for (; readable < selected.size(); ++readable) {
    const JCAMPData block = Get(selected[readable]);
    if (const int problem = Problem(block)) {
      if (readable == 0) return FailAt(problem, block.file, block.line);
      break;
    }
    points = std::max(points, block.points);
  }
  auto columns = static_cast<std::uint64_t>(points);
  if (reference_ != kNone) {
    columns = static_cast<std::uint64_t>(reference_data_.points);
    if (static_cast<double>(columns) * static_cast<double>(selected.size()) >
        blocks_->most_points())
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
int JCAMPFile::UniteX(const std::vector<Series>& selected) {
  union_x_.clear();
  // What the file's own length backs; spectra of repetitions can announce much more.
  constexpr double kMostUnbacked = 1e6;
  constexpr double kBytesPerPair = 6;
  double announced = 0;
  for (const Series series : selected) announced += Get(series).points;
  if (announced > kMostUnbacked + blocks_->bytes() / kBytesPerPair) return Fail(kNoSize);
  std::vector<std::pair<double, int>> all;  // with its number among equal ones of its block
  all.reserve(static_cast<std::size_t>(announced));
  BlockFile file(*this);
  Pairs pairs;
  for (const Series series : selected) {
    const JCAMPData block = Get(series);
    JCAMPLines* lines = file.Open(block);
    if (lines == nullptr) return Fail(kNoFile);
    only_sizes_ = true;
    const int status = CollectPairs(block, *lines, pairs);
    if (EndBlock(status, block, *lines) != kGood) return status_;
    only_sizes_ = false;
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
  LeftOut left_out;
  const std::vector<Series> selected = SelectedSeries(&left_out);
  NoteLeftOut(left_out);
  if (unites_x_ || reference_ != kNone)
    if (InitXValues(sink) != kGood) return status_;
  BlockFile file(*this);
  int row = x_row_ ? 2 : 1;
  int further_pages = 0;
  bool names_points = !unites_x_ && reference_ == kNone;
  for (const Series series : selected) {
    const JCAMPData block = Get(series);
    current_block_ = series.block;
    if (series.page == 0) has_warned_ = false;
    if (const int problem = Problem(block)) return FailAt(problem, block.file, block.line);
    if (ReadBlock(series, ++row, std::exchange(names_points, false), file, sink) != kGood)
      return status_;
    if (rules_.first_page_only) further_pages += block.pages - 1;
  }
  file.Close();
  if (file.long_lines() > 0)
    Log::WriteNote(kSource, std::to_string(file.long_lines()) +
                                (file.long_lines() == 1 ? " line is" : " lines are") +
                                " longer than 255 characters, and the rest was not delivered");
  if (further_pages > 0)
    Log::WriteNote(
        kSource, std::to_string(further_pages) +
                     (further_pages == 1 ? " further data page was" : " further data pages were") +
                     " not delivered");
  return kGood;
}

namespace {

// What takes the ordinates of a block: n from 1, y scaled.

// Sets them in a row.
struct Row {
  ReadSpreadSheetData* sink;
  int row;
  float missing_value;

  void operator()(int n, double y, bool missing) const {
    if (missing && IsMissing(missing_value)) return;
    sink->Set(kFirstPointColumn - 1 + n, row, missing ? missing_value : static_cast<float>(y));
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

int JCAMPFile::ReadBlock(Series series, int row, bool names_points, BlockFile& file,
                         ReadSpreadSheetData* sink) {
  const JCAMPData block = Get(series);
  current_file_ = block.file;
  JCAMPLines* lines = file.Open(block);
  if (lines == nullptr) return Fail(kNoFile);

  sink->Set(1, row, row - 1);
  sink->Set(kLabelColumn, row, RowLabel(series).c_str());

  const Row cells{sink, row, MissingValue()};
  const Grid grid = GridOf(block);
  int status = kGood;
  if (unites_x_) {
    status = ReadPairs(block, row, *lines, sink);
  } else if (names_points) {
    Names names(*this, sink);
    status = ReadXYData(block, *lines, [&](int n, double y, bool missing) {
      cells(n, y, missing);
      names.Put(kFirstPointColumn - 1 + n, grid.X(n), missing);
    });
  } else if (reference_ == kNone ||
             (SameX(block, reference_data_) && block.points == reference_data_.points)) {
    status = ReadXYData(block, *lines, cells);
  } else {
    Interpolator interpolate(cells, grid, GridOf(reference_data_));
    status = ReadXYData(block, *lines,
                        [&](int n, double y, bool missing) { interpolate(n, y, missing); });
  }
  return EndBlock(status, block, *lines);
}

std::string JCAMPFile::RowLabel(Series series) const {
  const JCAMPData block = Get(series);
  const std::string page = blocks_->PageName(series.block, series.page);
  const std::string label = FilePrefix(block) + blocks_->Text(block.title);
  if (page.empty()) return label.empty() ? "Y" : label;
  return label.empty() ? page : label + ", " + page;
}

int JCAMPFile::EndBlock(int status, const JCAMPData& block, const JCAMPLines& lines) {
  if (status == kGood) return kGood;
  if (!LeavesOutBadBlocks() || status == kReadFailed)
    return FailAt(status, block.file, lines.line());
  line_ = lines.line();
  if (!only_sizes_)
    Log::WriteNote(kSource, "block \"" + std::string(blocks_->Text(block.title)) +
                                "\" was not delivered from line " + std::to_string(line_) +
                                " on: " + MessageOf(status));
  return kGood;
}

// Tells of the selected blocks that make no row.
void JCAMPFile::NoteLeftOut(const LeftOut& left_out) const {
  for (const auto& [problem, count] : left_out) {
    const std::string reason =
        problem == kIllegalValue ? "A label has an illegal value." : MessageOf(problem);
    Log::WriteCount(kSource, count, "data block was not delivered: " + reason,
                    "data blocks were not delivered: " + reason);
  }
}

// Counts the points where the labels don't.
int JCAMPFile::CountPoints() {
  BlockFile file(*this);
  only_sizes_ = true;
  for (const std::size_t block : offered_)
    for (std::size_t page = 0; page < blocks_->Pages(block); ++page) {
      JCAMPData data = blocks_->Get(block, page);
      if (data.points > 0) continue;
      data.points = static_cast<int>(std::clamp<double>(blocks_->points_left(), 0, INT_MAX));
      if (Problem(data) != kGood) continue;
      JCAMPLines* lines = file.Open(data);
      if (lines == nullptr) return Fail(kNoFile);
      int points = 0;
      // What ends it early is met again when the cells are read.
      if (data.data_class == JCAMPClass::kXYData) {
        ReadXYData(data, *lines, [&](int n, double, bool) { points = n; });
      } else {
        Pairs pairs;
        ReadPeakTable(data, *lines, pairs);
        points = static_cast<int>(std::min<std::size_t>(pairs.size(), INT_MAX));
      }
      blocks_->SetPoints(block, page, points);
    }
  only_sizes_ = false;
  return kGood;
}

// Of several pages those are read that have the axis of the first that can be.
void JCAMPFile::CheckPages() {
  for (const std::size_t block : offered_) {
    if (blocks_->Pages(block) == 1) continue;
    const JCAMPData first = FirstGood(block);
    for (std::size_t page = 0; page < blocks_->Pages(block); ++page) {
      const JCAMPData data = blocks_->Get(block, page);
      if (data.form == JCAMPForm::kOrdinates && first.form == data.form &&
          data.points != first.points)
        blocks_->LeaveOutPage(block, page);
    }
  }
}

JCAMPData JCAMPFile::Block(std::size_t block) const { return blocks_->Get(block, 0); }

JCAMPData JCAMPFile::Get(Series series) const { return blocks_->Get(series.block, series.page); }

JCAMPData JCAMPFile::FirstGood(std::size_t block) const {
  for (std::size_t page = 0; page < blocks_->Pages(block); ++page) {
    const JCAMPData data = blocks_->Get(block, page);
    if (Problem(data) == kGood) return data;
  }
  return Block(block);
}

std::size_t JCAMPFile::LongestLine() const {
  return rules_.lines_of_255_characters ? JCAMPLines::kLongest
                                        : std::numeric_limits<std::size_t>::max();
}

float JCAMPFile::MissingValue() const {
  return rules_.missing_as_minus_99 ? kMissing : std::numeric_limits<float>::quiet_NaN();
}

int JCAMPFile::InitXValues(ReadSpreadSheetData* sink) {
  if (GetNumCols() < 0) return status_;
  Names names(*this, sink);
  for (std::size_t i = 0; i < union_x_.size(); ++i)
    names.Put(kFirstPointColumn + static_cast<int>(i), union_x_[i]);
  if (reference_ == kNone) return kGood;
  const JCAMPData block = reference_data_;
  BlockFile file(*this);
  JCAMPLines* lines = file.Open(block);
  if (lines == nullptr) return Fail(kNoFile);
  const Grid grid = GridOf(block);
  only_sizes_ = true;
  const int status = ReadXYData(block, *lines, [&](int n, double, bool missing) {
    names.Put(kFirstPointColumn - 1 + n, grid.X(n), missing);
  });
  const int end = EndBlock(status, block, *lines);
  only_sizes_ = false;
  return end;
}

// Gives the block's pairs to their columns, the next one for each that repeats an x.
int JCAMPFile::ReadPairs(const JCAMPData& block, int row, JCAMPLines& lines,
                         ReadSpreadSheetData* sink) {
  Pairs pairs;
  const int status = CollectPairs(block, lines, pairs);
  auto column = union_x_.begin();
  for (const Pair& pair : pairs) {
    column = std::lower_bound(column, union_x_.end(), pair.x);
    if (column == union_x_.end()) break;
    if (!IsMissing(pair.y))
      sink->Set(kFirstPointColumn + static_cast<int>(column - union_x_.begin()), row, pair.y);
    ++column;
  }
  return status;
}

// The points of a block by ascending x, whatever its class.
int JCAMPFile::CollectPairs(const JCAMPData& block, JCAMPLines& lines, Pairs& pairs) {
  pairs.clear();
  int status = kGood;
  if (block.data_class == JCAMPClass::kXYData) {
    const Grid grid = GridOf(block);
    const float missing_value = MissingValue();
    status = ReadXYData(block, lines, [&](int n, double y, bool missing) {
      pairs.push_back({grid.X(n), n, missing ? missing_value : static_cast<float>(y)});
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

// Goes to the pair that begins the next group: a line, or what stands behind a bracket outside of
// texts.
bool NextGroup(const char*& text, bool at_line_start, bool& in_text) {
  const jcamp::Kind first = jcamp::MeaningOf(*jcamp::SkipBlanks(text)).kind;
  if (at_line_start && !in_text && (first == jcamp::Kind::kDigit || first == jcamp::Kind::kSign))
    return true;
  for (; *text != '\n'; ++text) {
    if (*text == '<' || *text == '>') in_text = *text == '<';
    if (*text == '(' && !in_text) return *++text != '\n';
  }
  return false;
}

int NextValue(const char*& text, JCAMPValue& value) {
  std::int64_t whole = 0;
  bool is_difference = false;
  if (!TakeWhole(text, whole, is_difference)) return ReadNextValue(text, {}, value);
  value = {static_cast<double>(whole), is_difference ? -1 : 1, false};
  return 0;
}

}  // namespace

int JCAMPFile::EndData(const JCAMPLines& lines, bool at_label, int read, int expected) {
  if (!at_label && lines.failed()) return kReadFailed;
  if (!at_label && rules_.ends_match_titles) return kUnexpectedEnd;
  if (read < expected) Warn(FewerValues(read, expected));
  return kGood;
}

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
    if (line.starts_with('#')) return EndData(lines, true, read, expected);
    const char* text = jcamp::SkipBlanks(line.data());
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
  return EndData(lines, false, read, expected);
}

int JCAMPFile::ReadPeakTable(const JCAMPData& block, JCAMPLines& lines, Pairs& pairs) {
  constexpr JCAMPValueForm kForm{.plain_only = true, .comma_separates = true};
  lines.Seek(block.position, block.line);
  const int most = rules_.npoints_is_right ? block.points : INT_MAX;
  const float missing_value = MissingValue();
  const bool is_grouped = block.form == JCAMPForm::kGroups;
  bool in_text = false;
  JCAMPValue x;
  JCAMPValue y;
  JCAMPValue width;
  std::string_view line;
  while (lines.Next(line)) {
    line_ = lines.line();
    if (line.starts_with('#'))
      return EndData(lines, true, static_cast<int>(pairs.size()), block.points);
    const char* text = line.data();
    while (true) {
      if (is_grouped && !NextGroup(text, text == line.data(), in_text)) break;
      if (const int status = ReadNextValue(text, kForm, x)) return status;
      if (x.count == 0) break;
      if (x.count != 1) return kAbscissaRepeats;
      if (const int status = ReadNextValue(text, kForm, y)) return status;
      if (x.missing || y.count > 1) return kNotPlain;
      if (block.form == JCAMPForm::kTriples)
        if (const int status = ReadNextValue(text, kForm, width)) return status;
      const int read = static_cast<int>(pairs.size());
      if (read == most) {
        Warn(kMoreValues);
        return kGood;
      }
      const bool missing = y.missing || y.count == 0;
      pairs.push_back({x.value * block.x_factor, read,
                       missing ? missing_value : static_cast<float>(y.value * block.y_factor)});
    }
  }
  return EndData(lines, false, static_cast<int>(pairs.size()), block.points);
}

}  // namespace nvimport
