// A JCAMP-DX file is lines of text. A line "##LABEL= value" gives a label, whose blanks, slashes,
// hyphens, underscores and case don't matter; other lines continue the one before. A block begins
// with TITLE and ends with END; a block of the data type LINK holds others between. A data label
// (XYDATA, PEAKTABLE, ...) names the form of the lines of numbers that follow it.

#include "formats/spectra/JCAMPBlocks.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <iterator>
#include <optional>

#include "formats/spectra/JCAMPLines.h"
#include "formats/spectra/JCAMPStatus.h"
#include "platform/NumberText.h"

namespace {

// A block's numbers that have no place yet.
constexpr std::uint32_t kGiven = std::numeric_limits<std::uint32_t>::max();

constexpr std::string_view kBlanks = " \t\v\f";

std::string_view Deblank(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// A label or a value of a closed set, its case and the characters that don't count taken away up to
// the first equals sign, which ends it.
class Stripped {
 public:
  explicit Stripped(std::string_view text) {
    for (const char c : text) {
      if (kIgnored.find(c) != std::string_view::npos) continue;
      characters_[length_++] = Upper(c);
      if (c == '=' || length_ == characters_.size()) break;
    }
  }
  std::string_view text() const { return {characters_.data(), length_}; }

 private:
  static constexpr std::string_view kIgnored = " \t\v\f\\/_-";
  std::array<char, 256> characters_;
  std::size_t length_ = 0;
};

// A number with what follows it after a blank left out. A decimal comma will do.
std::optional<double> LabelNumber(std::string_view value) {
  value = value.substr(0, value.find_first_of(kBlanks));
  return ParseNumber(value, value.find(',') != std::string_view::npos ? ',' : '.');
}

}  // namespace

struct JCAMPBlocks::Rule {
  std::string_view label;
  int (JCAMPBlocks::*take)(std::string_view value);
  bool begins_page = false;
};

// Other labels are accepted and tell nothing.
const JCAMPBlocks::Rule JCAMPBlocks::kRules[] = {
    {"##TITLE=", &JCAMPBlocks::TakeTitle},
    {"##DATATYPE=", &JCAMPBlocks::TakeDataType},
    {"##DATACLASS=", &JCAMPBlocks::TakeDataClass},
    {"##BLOCKS=", &JCAMPBlocks::TakeBlocks},
    {"##FIRSTX=", &JCAMPBlocks::TakeNumber<&JCAMPNumbers::first_x>},
    {"##LASTX=", &JCAMPBlocks::TakeNumber<&JCAMPNumbers::last_x>},
    {"##DELTAX=", &JCAMPBlocks::TakeNumber<&JCAMPNumbers::delta_x>},
    {"##XFACTOR=", &JCAMPBlocks::TakeFactor<&JCAMPNumbers::x_factor>},
    {"##YFACTOR=", &JCAMPBlocks::TakeFactor<&JCAMPNumbers::y_factor>},
    {"##BINARY=", &JCAMPBlocks::Refuse<kBinaryForm>},
    {"##NPOINTS=", &JCAMPBlocks::TakePoints},
    {"##END=", &JCAMPBlocks::TakeEnd},
    {"##XYDATA=", &JCAMPBlocks::TakeForm, true},
    {"##DATATABLE=", &JCAMPBlocks::TakeForm, true},
    {"##PEAKTABLE=", &JCAMPBlocks::TakeForm, true},
    {"##XYPOINTS=", &JCAMPBlocks::TakeForm, true},
    {"##RADATA=", &JCAMPBlocks::Refuse<kRADataMet>},
    {"##XYPAIRS=", &JCAMPBlocks::Refuse<kXYPairsMet>},
    {"##ASSIGNMENTS=", &JCAMPBlocks::Refuse<kAssignmentsMet>},
    {"##PEAKASSIGNMENTS=", &JCAMPBlocks::Refuse<kAssignmentsMet>},
    {"##PAGE=", &JCAMPBlocks::Refuse<0>, true},
    {"##DATE=", &JCAMPBlocks::TakeDate},
    {"##TIME=", &JCAMPBlocks::TakeTime},
};

int JCAMPBlocks::CheckFile(JCAMPLines& lines) {
  block_ = {};
  in_block_ = false;
  titles_ = ends_ = 0;
  open_titles_ = 0;
  bytes_ += static_cast<double>(lines.size());

  std::string_view line;
  do {
    if (!lines.Next(line)) return lines.failed() ? kReadFailed : kNotJCAMP;
  } while (Deblank(line).empty());
  if (Stripped(line).text() != "##TITLE=") return kNotJCAMP;
  do {
    if (!line.starts_with("##")) continue;
    if (const int status = ReadLabel(line, lines)) return status;
  } while (lines.Next(line));
  CloseBlock();
  ++files_;
  if (lines.failed()) return kReadFailed;
  return open_titles_ != 0 ? kUnevenTitles : 0;
}

int JCAMPBlocks::ReadLabel(std::string_view line, JCAMPLines& lines) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return kNoEqualsSign;
  const Stripped label(line);
  const auto* rule = std::ranges::find(kRules, label.text(), &Rule::label);
  if (rule == std::end(kRules)) return 0;
  const std::string_view value = Deblank(line.substr(equals + 1));
  if (rule->begins_page) {
    const Stripped form(value);
    // A page that says only which one it is leaves its lines to the data label that follows.
    if (label.text() == "##PAGE=" && lines.NextBeginsWith('#')) return 0;
    AddPage(form.text(), lines);
    if (const int status = (this->*rule->take)(form.text())) return status;
    lines.SkipTo('#');
    return 0;
  }
  return (this->*rule->take)(value);
}

// Only the first page of a block is ever read.
void JCAMPBlocks::AddPage(std::string_view form, JCAMPLines& lines) {
  block_.numbers = kGiven;
  if (block_.pages++ > 0) return;
  block_.position = lines.Position();
  block_.line = lines.line();
  block_.holds_pairs = form.starts_with("(XY..XY)");
}

void JCAMPBlocks::CloseBlock() {
  if (!in_block_) return;
  if (block_.numbers == kGiven) {
    block_.numbers = static_cast<std::uint32_t>(numbers_.size());
    numbers_.push_back(block_);
  }
  records_.push_back(block_);
}

int JCAMPBlocks::Keep(std::string_view text, std::uint32_t& offset) {
  offset = 0;
  if (text.empty()) return 0;
  if (texts_.size() > std::numeric_limits<std::uint32_t>::max()) return kReadFailed;
  offset = static_cast<std::uint32_t>(texts_.size());
  texts_.append(text);
  texts_ += '\0';
  return 0;
}

int JCAMPBlocks::TakeTitle(std::string_view value) {
  if (titles_ == ends_) titles_ = ends_ = 0;
  if (titles_ == 0 || ends_ > 0) {
    CloseBlock();
    block_ = {};
    block_.file = files_;
    in_block_ = true;
  }
  ++titles_;
  ++open_titles_;
  // Kept: the first block within a link takes over the link's record.
  return Keep(value, block_.title);
}

int JCAMPBlocks::TakeEnd(std::string_view) {
  ++ends_;
  return --open_titles_ < 0 ? kUnevenTitles : 0;
}

int JCAMPBlocks::TakeDataType(std::string_view value) {
  if (const int status = Keep(value, block_.data_type)) return status;
  if (value == "LINK") {
    block_.data_class = JCAMPClass::kLink;
    return 0;
  }
  for (std::size_t i = 0; i < value.size(); ++i)
    texts_[block_.data_type + i] = i == 0 ? Upper(value[i]) : Lower(value[i]);
  return 0;
}

int JCAMPBlocks::TakeDataClass(std::string_view value) {
  constexpr struct {
    std::string_view name;
    JCAMPClass data_class;
  } kNames[] = {{"XYDATA", JCAMPClass::kXYData},           {"RADATA", JCAMPClass::kRAData},
                {"XYPOINTS", JCAMPClass::kXYPoints},       {"PEAKTABLE", JCAMPClass::kPeakTable},
                {"ASSIGNMENTS", JCAMPClass::kAssignments}, {"NTUPLES", JCAMPClass::kNTuples}};
  const Stripped name(value);
  block_.data_class = JCAMPClass::kUnknown;
  for (const auto& known : kNames)
    if (name.text() == known.name) block_.data_class = known.data_class;
  return 0;
}

int JCAMPBlocks::TakeBlocks(std::string_view value) {
  if (value.empty()) return kNoValue;
  if (block_.data_class != JCAMPClass::kLink) return kFreeText;
  return LabelNumber(value) ? 0 : kIllegalValue;
}

template <double JCAMPNumbers::*kMember>
int JCAMPBlocks::TakeNumber(std::string_view value) {
  if (value.empty()) return kNoValue;
  const auto number = LabelNumber(value);
  if (!number) return kIllegalValue;
  block_.*kMember = *number;
  block_.numbers = kGiven;
  return 0;
}

template <double JCAMPNumbers::*kMember>
int JCAMPBlocks::TakeFactor(std::string_view value) {
  if (const int status = TakeNumber<kMember>(value)) return status;
  return block_.*kMember == 0 ? kIllegalValue : 0;
}

int JCAMPBlocks::TakePoints(std::string_view value) {
  if (value.empty()) return kNoValue;
  constexpr double kMostFraction = 1e-30;
  const auto number = ParseNumber(value.substr(0, value.find_first_of(kBlanks)));
  if (!number || *number < 1 || *number > INT_MAX || *number - std::floor(*number) > kMostFraction)
    return kIllegalPoints;
  points_ += *number - std::max(block_.points, 0);
  block_.points = static_cast<int>(*number);
  return points_ > most_points() ? kIllegalPoints : 0;
}

int JCAMPBlocks::TakeDate(std::string_view value) {
  return block_.date == 0 ? Keep(value, block_.date) : 0;
}

int JCAMPBlocks::TakeTime(std::string_view value) {
  constexpr std::size_t kLongestDate = 12;
  const std::string date = Text(block_.date);
  if (date.empty()) return Keep(value, block_.date);
  return date.size() < kLongestDate ? Keep(date + ' ' + std::string(value), block_.date) : 0;
}

int JCAMPBlocks::TakeForm(std::string_view form) {
  if (form == "(XA)" || form == "(XYA)" || form == "(XYMA)") return kAssignmentsMet;
  JCAMPClass& data_class = block_.data_class;
  if (form == "(X++(Y..Y))" || form == "XYDATA") data_class = JCAMPClass::kXYData;
  if (form.starts_with("(XY..XY)")) data_class = JCAMPClass::kPeakTable;
  if (data_class == JCAMPClass::kRAData) return kRADataMet;
  return data_class == JCAMPClass::kNTuples ? kNTuplesMet : 0;
}

template <int kStatus>
int JCAMPBlocks::Refuse(std::string_view) {
  return kStatus;
}
