// A JCAMP-DX file is lines of text. A line "##LABEL= value" gives a label, whose blanks, slashes,
// hyphens, underscores and case don't matter; other lines continue the one before. A block begins
// with TITLE and ends with END; a block of the data type LINK holds others between. A data label
// (XYDATA, PEAKTABLE, ...) names the form of the lines of numbers that follow it.

#include "nvimport/formats/spectra/JCAMPBlocks.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <iterator>
#include <utility>

#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/formats/spectra/JCAMPStatus.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

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

JCAMPClass ClassOf(JCAMPForm form) {
  if (form == JCAMPForm::kUnknown) return JCAMPClass::kUnknown;
  return form == JCAMPForm::kOrdinates ? JCAMPClass::kXYData : JCAMPClass::kPeakTable;
}

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
  bool JCAMPRules::*habit = nullptr;  // which makes it count, or not
  bool kept = true;
};

// What the lines below a data label hold, by what stands behind its equals sign.
struct JCAMPBlocks::Form {
  JCAMPForm lines = JCAMPForm::kOrdinates;
  std::string_view abscissa = "X";
  std::string_view ordinate = "Y";
  bool JCAMPRules::*habit = nullptr;  // which makes it none that is known
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
    {"##RADATA=", &JCAMPBlocks::Refuse<kRADataMet>, false, &JCAMPRules::no_ra_data},
    {"##XYPAIRS=", &JCAMPBlocks::Refuse<kXYPairsMet>, false, &JCAMPRules::no_other_pairs},
    {"##ASSIGNMENTS=", &JCAMPBlocks::Refuse<kAssignmentsMet>, false, &JCAMPRules::no_other_pairs},
    {"##PEAKASSIGNMENTS=", &JCAMPBlocks::Refuse<kAssignmentsMet>, false,
     &JCAMPRules::no_other_pairs},
    {"##PAGE=", &JCAMPBlocks::Refuse<0>, true},
    {"##DATE=", &JCAMPBlocks::TakeDate},
    {"##TIME=", &JCAMPBlocks::TakeTime},
    {"##RADATA=", &JCAMPBlocks::TakeForm, true, &JCAMPRules::no_ra_data, false},
    {"##FIRSTR=", &JCAMPBlocks::TakeNumber<&JCAMPNumbers::first_x>, false, &JCAMPRules::no_ra_data,
     false},
    {"##LASTR=", &JCAMPBlocks::TakeNumber<&JCAMPNumbers::last_x>, false, &JCAMPRules::no_ra_data,
     false},
    {"##DELTAR=", &JCAMPBlocks::TakeNumber<&JCAMPNumbers::delta_x>, false, &JCAMPRules::no_ra_data,
     false},
    {"##AFACTOR=", &JCAMPBlocks::TakeFactor<&JCAMPNumbers::y_factor>, false,
     &JCAMPRules::no_ra_data, false},
    {"##XYPAIRS=", &JCAMPBlocks::TakeForm, true, &JCAMPRules::no_other_pairs, false},
    {"##ASSIGNMENTS=", &JCAMPBlocks::TakeForm, true, &JCAMPRules::no_other_pairs, false},
    {"##PEAKASSIGNMENTS=", &JCAMPBlocks::TakeForm, true, &JCAMPRules::no_other_pairs, false},
    {"##SYMBOL=", &JCAMPBlocks::TakeVariable<kSymbol>, false, &JCAMPRules::no_ntuples, false},
    {"##VARDIM=", &JCAMPBlocks::TakeVariable<kSize>, false, &JCAMPRules::no_ntuples, false},
    {"##FIRST=", &JCAMPBlocks::TakeVariable<kFirst>, false, &JCAMPRules::no_ntuples, false},
    {"##LAST=", &JCAMPBlocks::TakeVariable<kLast>, false, &JCAMPRules::no_ntuples, false},
    {"##FACTOR=", &JCAMPBlocks::TakeVariable<kFactor>, false, &JCAMPRules::no_ntuples, false},
};

const JCAMPBlocks::Rule* JCAMPBlocks::FindRule(std::string_view label) const {
  const auto* const rule = std::ranges::find_if(kRules, [&](const Rule& row) {
    return row.label == label && (row.habit == nullptr || rules_.*row.habit == row.kept);
  });
  return rule == std::end(kRules) ? nullptr : rule;
}

int JCAMPBlocks::CheckFile(JCAMPLines& lines) {
  Restart(records_.size());
  bytes_ += static_cast<double>(lines.size());

  std::string_view line;
  do {
    if (!lines.Next(line)) return lines.failed() ? kReadFailed : kNotJCAMP;
  } while (Deblank(line).empty());
  if (Stripped(line).text() != "##TITLE=") return kNotJCAMP;
  const std::size_t indentation = line.find('#');
  if (indentation > 0 && !rules_.labels_begin_lines) {
    lines.IgnoreIndentation();
    is_indented_ = true;
    line.remove_prefix(indentation);
  }
  if (const int status = ReadLabels(line, lines)) return status;
  CloseBlock();
  ++files_;
  if (lines.failed()) return kReadFailed;
  return open_titles_ != 0 ? Uneven() : 0;
}

// Reads the labels from `line` on to the end of the file.
int JCAMPBlocks::ReadLabels(std::string_view line, JCAMPLines& lines) {
  const std::size_t before = records_.size();
  do {
    if (!line.starts_with("##")) continue;
    // Blocks are numbered as where indented labels are none: they don't stand before others.
    if (is_indented_ && !lines.indented() && Stripped(line).text() == "##TITLE=") {
      lines.RespectIndentation();
      Restart(before);
    }
    const int status = ReadLabel(line, lines);
    if (status != 0 && !LeavesOut(status)) return status;
  } while (lines.Next(line));
  return 0;
}

// Begins with a file anew, of which no block counts so far.
void JCAMPBlocks::Restart(std::size_t blocks) {
  records_.resize(blocks);
  is_indented_ = false;
  OpenBlock();
  in_block_ = false;
  titles_ = ends_ = 0;
  open_titles_ = 0;
}

int JCAMPBlocks::ReadLabel(std::string_view line, JCAMPLines& lines) {
  const std::size_t equals = line.find('=');
  const Stripped label(line);
  if (equals == std::string_view::npos) {
    if (Uneven() != 0) return kNoEqualsSign;
    return label.text() == "##END" ? TakeEnd({}) : 0;
  }
  const Rule* const rule = FindRule(label.text());
  if (rule == nullptr) return 0;
  std::string_view value = line.substr(equals + 1);
  if (rule->begins_page) return ReadPageLabel(*rule, Deblank(value), lines);
  if (rule->take == &JCAMPBlocks::TakeTitle && !rules_.comments_in_titles) {
    value = lines.WithComment();
    value.remove_prefix(value.find('=') + 1);
  }
  return (this->*rule->take)(Deblank(value));
}

int JCAMPBlocks::ReadPageLabel(const Rule& rule, std::string_view value, JCAMPLines& lines) {
  if (rule.label == "##PAGE=") {
    if (!rules_.first_page_only)
      if (const int status = BeginPage(value)) return status;
    // A page that says only which one it is leaves its lines to the data label that follows.
    if (lines.NextBeginsWith('#')) return 0;
  }
  const Stripped form(value);
  const int status = (this->*rule.take)(form.text());
  AddPage(form.text(), status, lines);
  if (status != 0 && RefusesFileFor(status)) return status;
  lines.SkipToLabel();
  return 0;
}

int JCAMPBlocks::BeginPage(std::string_view name) {
  page_begins_ = true;
  return Keep(name, next_page_.name);
}

bool JCAMPBlocks::RefusesFileFor(int status) const {
  return rules_.bad_blocks_refuse_files || status == kReadFailed;
}

// Marks the block that a label belongs to as one that can't be read for it, if that is all.
bool JCAMPBlocks::LeavesOut(int status) {
  if (RefusesFileFor(status)) return false;
  // These labels might as well not be there.
  const bool says_nothing = status == kNoValue || status == kFreeText || status == kIllegalPoints;
  if (!says_nothing) block_.problem = static_cast<std::uint8_t>(status - kNoFile);
  return true;
}

std::optional<JCAMPBlocks::Form> JCAMPBlocks::FindForm(std::string_view text) const {
  const auto unless = [&](Form form) {
    return form.habit != nullptr && rules_.*form.habit ? std::nullopt : std::optional(form);
  };
  if (text == "(X++(Y..Y))" || text == "XYDATA") return Form{};
  if (text.starts_with("(XY..XY)")) return Form{JCAMPForm::kPairs};
  if (!text.starts_with('(')) return std::nullopt;
  text.remove_prefix(1);
  if (const std::size_t end = text.find("++("); end != std::string_view::npos) {
    Form form{JCAMPForm::kOrdinates, text.substr(0, end)};
    text.remove_prefix(end + 3);
    form.ordinate = text.substr(0, text.find(".."));
    const bool is_xy = form.abscissa == "X" && form.ordinate == "Y";
    const bool is_ra = form.abscissa == "R" && form.ordinate == "A";
    form.habit = is_xy   ? &JCAMPRules::forms_are_exact
                 : is_ra ? &JCAMPRules::no_ra_data
                         : &JCAMPRules::no_ntuples;
    return unless(form);
  }
  const std::string_view names = text.substr(0, text.find_first_of(".)"));
  if (!names.starts_with("XY")) return std::nullopt;
  Form form{JCAMPForm::kPairs, "X", "Y", &JCAMPRules::no_other_pairs};
  if (names.ends_with('A'))
    form.lines = JCAMPForm::kGroups;
  else if (names.size() == 3)
    form.lines = JCAMPForm::kTriples;
  else if (names.size() > 3)
    return std::nullopt;
  return unless(form);
}

void JCAMPBlocks::AddPage(std::string_view text, int problem, JCAMPLines& lines) {
  block_.numbers = kGiven;
  const bool is_first = block_.pages++ == 0;
  if (!is_first && rules_.first_page_only) return;
  JCAMPPage page = std::exchange(next_page_, {});
  page_begins_ = false;
  page.position = lines.Position();
  page.line = lines.line();
  JCAMPNumbers numbers = block_;
  if (const auto form = FindForm(text)) {
    page.form = form->lines;
    TakeVariables(*form, numbers, page.points);
  }
  page.problem = static_cast<std::uint8_t>(problem != 0 ? problem - kNoFile : 0);
  if (!is_first) return AddFurtherPage(page, numbers);
  static_cast<JCAMPNumbers&>(block_) = numbers;
  block_.position = page.position;
  block_.line = page.line;
  block_.form = page.form;
  if (page.points > 0) block_.points = page.points;
  first_page_ = page;
}

void JCAMPBlocks::AddFurtherPage(JCAMPPage& page, const JCAMPNumbers& numbers) {
  if (block_.page_list == 0) {
    block_.page_list = static_cast<std::uint32_t>(pages_.size());
    pages_.push_back(first_page_);
  }
  const auto factors = [](const JCAMPNumbers& of) { return std::pair(of.x_factor, of.y_factor); };
  const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
  // Where the first page has pairs every x has its column anyway.
  if (block_.form == JCAMPForm::kOrdinates && page.form == JCAMPForm::kOrdinates &&
      (!same(numbers.first_x, block_.first_x) || !same(numbers.last_x, block_.last_x)))
    page.problem = kNTuplesMet - kNoFile;
  if (factors(numbers) != factors(block_)) {
    if (factors(numbers) != factors(numbers_.back())) numbers_.push_back(numbers);
    page.numbers = static_cast<std::uint32_t>(numbers_.size() - 1);
  }
  pages_.push_back(page);
}

namespace {

// The part of a list that has this number, from 0.
std::string_view PartOf(std::string_view list, std::size_t number) {
  for (; number > 0; --number) {
    const std::size_t comma = list.find(',');
    if (comma == std::string_view::npos) return {};
    list.remove_prefix(comma + 1);
  }
  return Deblank(list.substr(0, list.find(',')));
}

}  // namespace

// What the lists of n-tuples say of the variables of a page.
void JCAMPBlocks::TakeVariables(const Form& form, JCAMPNumbers& numbers, int& points) {
  const std::string_view symbols = variables_[kSymbol];
  const auto find = [&](std::string_view name) {
    std::size_t number = 0;
    for (std::string_view rest = symbols; Stripped(PartOf(rest, 0)).text() != name; ++number) {
      const std::size_t comma = rest.find(',');
      if (comma == std::string_view::npos) return symbols.size();
      rest.remove_prefix(comma + 1);
    }
    return number;
  };
  const std::size_t x = find(form.abscissa);
  const std::size_t y = find(form.ordinate);
  const auto value = [&](std::size_t variable, std::size_t number, double otherwise) {
    return LabelNumber(PartOf(variables_[variable], number)).value_or(otherwise);
  };
  numbers.first_x = value(kFirst, x, numbers.first_x);
  numbers.last_x = value(kLast, x, numbers.last_x);
  numbers.y_factor = value(kFactor, y, numbers.y_factor);
  if (form.lines != JCAMPForm::kOrdinates) numbers.x_factor = value(kFactor, x, numbers.x_factor);
  const double size = value(kSize, x, 0);
  if (points > 0 || !(size >= 1) || size > points_left()) return;
  points = static_cast<int>(std::min<double>(size, INT_MAX));
  points_ += points;
}

int JCAMPBlocks::Uneven() const { return rules_.ends_match_titles ? kUnevenTitles : 0; }

void JCAMPBlocks::OpenBlock() {
  block_ = {};
  block_.is_indented = is_indented_;
  block_.file = files_;
  in_block_ = true;
  next_page_ = {};
  page_begins_ = false;
  first_page_ = {};
  for (std::string& variable : variables_) variable.clear();
}

void JCAMPBlocks::CloseBlock() {
  if (!in_block_) return;
  if (block_.page_list == 0 && block_.problem == 0) block_.problem = first_page_.problem;
  if (block_.numbers == kGiven) {
    block_.numbers = static_cast<std::uint32_t>(numbers_.size());
    numbers_.push_back(block_);
  }
  records_.push_back(block_);
}

std::size_t JCAMPBlocks::Pages(std::size_t block) const {
  const JCAMPNumbers& numbers = numbers_[records_[block].numbers];
  return numbers.page_list == 0 ? 1 : static_cast<std::size_t>(numbers.pages);
}

JCAMPData JCAMPBlocks::Get(std::size_t block, std::size_t page_number) const {
  JCAMPData data = {records_[block], numbers_[records_[block].numbers]};
  if (data.data_class == JCAMPClass::kLink) data.data_class = ClassOf(data.form);
  if (data.page_list == 0) return data;
  const JCAMPPage& page = pages_[data.page_list + page_number];
  data.position = page.position;
  data.line = page.line;
  data.form = page.form;
  if (page.form != JCAMPForm::kUnknown) data.data_class = ClassOf(page.form);
  if (page.points > 0) data.points = page.points;
  if (page.numbers != 0) {
    data.x_factor = numbers_[page.numbers].x_factor;
    data.y_factor = numbers_[page.numbers].y_factor;
  }
  if (data.problem == 0) data.problem = page.problem;
  return data;
}

const char* JCAMPBlocks::PageName(std::size_t block, std::size_t page) const {
  const std::size_t list = numbers_[records_[block].numbers].page_list;
  return list == 0 ? "" : Text(pages_[list + page].name);
}

void JCAMPBlocks::LeaveOutPage(std::size_t block, std::size_t page) {
  pages_[numbers_[records_[block].numbers].page_list + page].problem = kNTuplesMet - kNoFile;
}

void JCAMPBlocks::SetPoints(std::size_t block, std::size_t page, int points) {
  const std::size_t list = numbers_[records_[block].numbers].page_list;
  (list == 0 ? records_[block].points : pages_[list + page].points) = points;
  points_ += std::max(points, 0);
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
    OpenBlock();
  }
  ++titles_;
  ++open_titles_;
  // Kept: the first block within a link takes over the link's record.
  return Keep(value, block_.title);
}

int JCAMPBlocks::TakeEnd(std::string_view) {
  ++ends_;
  return --open_titles_ < 0 ? Uneven() : 0;
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
  const bool is_of_page = block_.pages > 0 && page_begins_;
  int& points = is_of_page ? next_page_.points : block_.points;
  const double more = *number - std::max(points, 0);
  if (more > points_left()) return kIllegalPoints;
  points_ += more;
  points = static_cast<int>(*number);
  return 0;
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
  const auto known = FindForm(form);
  if (form == "(XA)" || (!known && (form == "(XYA)" || form == "(XYMA)"))) return kAssignmentsMet;
  JCAMPClass& data_class = block_.data_class;
  // The numbers of blocks are the same whatever forms are known, and links have none.
  if (known && (known->habit == nullptr || data_class != JCAMPClass::kLink))
    data_class = ClassOf(known->lines);
  if (data_class == JCAMPClass::kRAData) return kRADataMet;
  return data_class == JCAMPClass::kNTuples ? kNTuplesMet : 0;
}

template <std::size_t kVariable>
int JCAMPBlocks::TakeVariable(std::string_view value) {
  // Every page looks into these lists, whose variables are few.
  constexpr std::size_t kLongest = 1000;
  variables_[kVariable] = value.substr(0, kLongest);
  return 0;
}

template <int kStatus>
int JCAMPBlocks::Refuse(std::string_view) {
  return kStatus;
}

}  // namespace nvimport
