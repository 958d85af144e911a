// A JCAMP-DX file is lines of text. A line "##LABEL= value" gives a label, whose blanks, slashes,
// hyphens, underscores and case don't matter; other lines continue the one before. A block begins
// with TITLE and ends with END; a block of the data type LINK holds others between. A data label
// (XYDATA, PEAKTABLE, ...) names the form of the lines of numbers that follow it.

#include "nvimport/formats/spectra/JCAMPLayout.h"

#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/formats/spectra/JCAMPText.h"
#include "nvimport/formats/spectra/JCAMPValues.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

JCAMPClass ClassOf(JCAMPForm form) {
  if (form == JCAMPForm::kUnknown) return JCAMPClass::kUnknown;
  return form == JCAMPForm::kOrdinates ? JCAMPClass::kXYData : JCAMPClass::kPeakTable;
}

constexpr std::string_view kDigits = "0123456789";

// The number that `text` begins with, if what follows it can be its unit.
std::optional<double> NumberWithUnit(std::string_view text, char decimal_mark) {
  const auto is_digit = [&](std::size_t at) {
    return at < text.size() && kDigits.find(text[at]) != std::string_view::npos;
  };
  const auto is_any = [&](std::size_t at, std::string_view characters) {
    return at < text.size() && characters.find(text[at]) != std::string_view::npos;
  };
  std::size_t end = is_any(0, "+-") ? 1 : 0;
  while (is_digit(end)) ++end;
  if (end < text.size() && text[end] == decimal_mark) ++end;
  while (is_digit(end)) ++end;
  std::string number(text.substr(0, end));
  if (is_any(end, "EeDd")) {
    const std::size_t exponent = end + 1;
    std::size_t digits = is_any(exponent, "+-") ? exponent + 1 : exponent;
    if (is_digit(digits)) {
      while (is_digit(digits)) ++digits;
      number.append("e").append(text.substr(exponent, digits - exponent));
      end = digits;
    }
  }
  if (is_any(end, ".,;:+-") || (is_any(end, "/") && is_digit(end + 1))) return std::nullopt;
  return ParseNumber(number, decimal_mark);
}

// A number with what follows it after a blank left out, and a unit too where that is `loose`. A
// decimal comma will do.
std::optional<double> LabelNumber(std::string_view value, bool loose) {
  value = value.substr(0, value.find_first_of(kJcampBlanks));
  const char mark = value.find(',') != std::string_view::npos ? ',' : '.';
  const auto number = ParseNumber(value, mark);
  return number || !loose ? number : NumberWithUnit(value, mark);
}

// What the number that a label's value begins with is beyond `nearest`, the double next to it, in
// as many digits again.
double RestOfNumber(std::string_view value, double nearest) {
  struct Twice {
    double high;
    double low;
  };
  const auto sum = [](double a, double b) {
    const double whole = a + b;
    const double part = whole - a;
    return Twice{whole, (a - (whole - part)) + (b - part)};
  };
  constexpr int kMostDigits = 32;  // of more both doubles together can't hold
  constexpr int kMostScale = 320;
  Twice number{0, 0};
  int digits = 0;
  int scale = 0;
  bool is_fraction = false;
  std::size_t at = value.starts_with('-') || value.starts_with('+') ? 1 : 0;
  for (; at < value.size(); ++at) {
    const char c = value[at];
    if ((c == '.' || c == ',') && !is_fraction) {
      is_fraction = true;
    } else if (c < '0' || c > '9') {
      break;
    } else if (digits >= kMostDigits) {
      scale += is_fraction ? 0 : 1;
    } else {
      const double ten = number.high * 10;
      const double low = std::fma(number.high, 10, -ten) + number.low * 10;
      const Twice next = sum(ten, c - '0');
      number = sum(next.high, next.low + low);
      digits += number.high > 0 ? 1 : 0;
      scale -= is_fraction ? 1 : 0;
    }
  }
  int exponent = 0;
  if (at + 1 < value.size() && std::string_view("EeDd").find(value[at]) != std::string_view::npos)
    std::from_chars(value.data() + at + (value[at + 1] == '+' ? 2 : 1), value.data() + value.size(),
                    exponent);
  for (scale = std::clamp(scale + exponent, -kMostScale, kMostScale); scale > 0; --scale) {
    const double ten = number.high * 10;
    number = sum(ten, std::fma(number.high, 10, -ten) + number.low * 10);
  }
  for (; scale < 0; ++scale) {
    const double tenth = number.high / 10;
    number = sum(tenth, (std::fma(-tenth, 10, number.high) + number.low) / 10);
  }
  const double rest = (number.high - std::fabs(nearest)) + number.low;
  // Of what was read otherwise than here nothing is known.
  const bool is_rounding = std::fabs(rest) <= std::fabs(nearest) * 0x1p-52;
  return !is_rounding ? 0 : std::signbit(nearest) ? -rest : rest;
}

class JCAMPLabels {
 public:
  JCAMPLabels(JCAMPLines& lines, const JCAMPRules& rules, JCAMPLayout& layout, Budget& budget,
              const JCAMPRecordTaker& take)
      : lines_(lines), rules_(rules), layout_(layout), budget_(budget), take_(take) {}

  int CheckFile() {
    Restart(layout_.blocks.size());
    layout_.bytes += static_cast<double>(lines_.size());

    std::string_view line;
    do {
      record_.begin = lines_.Position();
      if (!lines_.Next(line)) return lines_.failed() ? kReadFailed : kNotJCAMP;
    } while (Deblank(line).empty());
    const bool begins_late = Stripped(line) != "##TITLE=";
    const bool is_label =
        Deblank(line).starts_with("##") && line.find('=') != std::string_view::npos;
    if (begins_late && (rules_.files_begin_with_titles || !is_label)) return kNotJCAMP;
    // Labels before the first title are of the block that it begins.
    in_block_ = awaits_title_ = begins_late;
    const std::size_t indentation = line.find('#');
    if (indentation > 0 && !rules_.labels_begin_lines) {
      lines_.IgnoreIndentation();
      is_indented_ = true;
      line.remove_prefix(indentation);
    }
    if (const int status = ReadLabels(line)) return status;
    if (take_) TakeRecord(lines_.Position());
    if (awaits_title_) return kNotJCAMP;
    CloseBlock();
    if (budget_.overdrawn()) return kOverBudget;
    ++layout_.files;
    if (lines_.failed()) return kReadFailed;
    return open_titles_ != 0 ? Uneven() : 0;
  }

 private:
  // What a label does, and the habit under which it does nothing but refuse the file, with a status
  // above 0.
  struct Rule {
    std::string_view label;
    int (JCAMPLabels::*take)(std::string_view value);
    bool JCAMPRules::*habit = nullptr;
    int refusal = 0;
  };

  // What the lines below a data label hold, by what stands behind its equals sign.
  struct Form {
    JCAMPForm lines = JCAMPForm::kUnknown;
    std::string_view abscissa = "X";
    std::string_view ordinate = "Y";
    bool JCAMPRules::*habit = nullptr;  // which makes it none that is known
    std::string_view further{};         // variables, a letter each
  };

  // Of n-tuples: what their labels list.
  enum Variable : std::size_t { kSymbol, kName, kSize, kFirst, kLast, kFactor, kVariables };
  struct Said {
    std::array<std::string, kVariables> variables;
    bool last_is_of_page = false;
  };

  // What a block or a page takes when it is offered, selected and read.
  static constexpr std::uint64_t kBytesPerSeries = 12;
  static constexpr std::uint64_t kBytesPerOffer = 2 * sizeof(std::size_t);

  // The rule of a label. Other labels are accepted and tell nothing.
  static const Rule* FindRule(std::string_view label) {
    using L = JCAMPLabels;
    using N = JCAMPNumbers;
    using R = JCAMPRules;
    static constexpr Rule kRules[] = {
        {"##TITLE=", &L::TakeTitle},
        {"##DATATYPE=", &L::TakeDataType},
        {"##DATACLASS=", &L::TakeDataClass},
        {"##BLOCKS=", &L::TakeBlocks},
        {"##FIRSTX=", &L::TakeNumber<&N::first_x, &N::first_rest>},
        {"##LASTX=", &L::TakeNumber<&N::last_x, &N::last_rest>},
        {"##DELTAX=", &L::TakeNumber<&N::delta_x, &N::delta_rest>},
        {"##XFACTOR=", &L::TakeFactor<&N::x_factor>},
        {"##YFACTOR=", &L::TakeFactor<&N::y_factor>},
        {"##BINARY=", &L::TakeBinary},
        {"##NPOINTS=", &L::TakePoints},
        {"##END=", &L::TakeEnd},
        {"##XYDATA=", &L::TakeForm},
        {"##DATATABLE=", &L::TakeForm},
        {"##PEAKTABLE=", &L::TakeForm},
        {"##XYPOINTS=", &L::TakeForm},
        {"##PAGE=", &L::TakePage},
        {"##DATE=", &L::TakeDate},
        {"##TIME=", &L::TakeTime},
        {"##RADATA=", &L::TakeForm, &R::no_ra_data, kRADataMet},
        {"##FIRSTR=", &L::TakeNumber<&N::first_x, &N::first_rest>, &R::no_ra_data},
        {"##LASTR=", &L::TakeNumber<&N::last_x, &N::last_rest>, &R::no_ra_data},
        {"##DELTAR=", &L::TakeNumber<&N::delta_x, &N::delta_rest>, &R::no_ra_data},
        {"##AFACTOR=", &L::TakeFactor<&N::y_factor>, &R::no_ra_data},
        {"##XYPAIRS=", &L::TakeForm, &R::no_other_pairs, kXYPairsMet},
        {"##ASSIGNMENTS=", &L::TakeForm, &R::no_other_pairs, kAssignmentsMet},
        {"##PEAKASSIGNMENTS=", &L::TakeForm, &R::no_other_pairs, kAssignmentsMet},
        {"##SYMBOL=", &L::TakeVariable<L::kSymbol>, &R::no_ntuples},
        {"##VARNAME=", &L::TakeVariable<L::kName>, &R::no_ntuples},
        {"##VARDIM=", &L::TakeVariable<L::kSize>, &R::no_ntuples},
        {"##FIRST=", &L::TakeVariable<L::kFirst>, &R::no_ntuples},
        {"##LAST=", &L::TakeVariable<L::kLast>, &R::no_ntuples},
        {"##FACTOR=", &L::TakeVariable<L::kFactor>, &R::no_ntuples},
    };

    const auto* const rule = std::ranges::find(kRules, label, &Rule::label);
    return rule == std::end(kRules) ? nullptr : rule;
  }

  // Reads the labels from `line` on to the end of the file.
  int ReadLabels(std::string_view line) {
    const std::size_t before = layout_.blocks.size();
    std::uint64_t position = record_.begin;
    const auto next = [&] {
      if (take_) position = lines_.Position();
      return lines_.Next(line);
    };
    do {
      if (!line.starts_with("##")) continue;
      if (take_ && position != record_.begin && !TakeRecord(position)) return 0;
      // Blocks are numbered as where indented labels are none: they don't stand before others.
      if (is_indented_ && !lines_.indented() && Stripped(line) == "##TITLE=") {
        lines_.RespectIndentation();
        Restart(before);
      }
      const int pages = block_.pages;
      const int status = ReadLabel(line);
      if (take_)
        record_ = {position, 0, layout_.blocks.size(), pages, block_.pages > pages, is_indented_};
      if (budget_.overdrawn()) return kOverBudget;
      if (RefusesFileFor(status)) return status;
      // The block can't be read for it, or it is one of the labels that might as well not be there.
      if (status != 0 && status != kNoValue && status != kFreeText && status != kIllegalPoints)
        block_.problem = static_cast<std::uint8_t>(status - kNoFile);
    } while (next());
    return 0;
  }

  // Passes on the record that ends here. False when no more are wanted.
  bool TakeRecord(std::uint64_t end) {
    record_.end = end;
    return take_(record_);
  }

  int ReadLabel(std::string_view line) {
    const std::size_t equals = line.find('=');
    const std::string label = Stripped(line);
    if (equals == std::string_view::npos) {
      if (Uneven() != 0) return kNoEqualsSign;
      return label == "##END" ? TakeEnd({}) : 0;
    }
    const Rule* const rule = FindRule(label);
    if (rule == nullptr) return 0;
    if (rule->habit != nullptr && rules_.*rule->habit) return rule->refusal;
    return (this->*rule->take)(Deblank(line.substr(equals + 1)));
  }

  // No form that is known, or that a habit lets be known, has no lines.
  Form FindForm(std::string_view text) const {
    if (text == "(X++(Y..Y))" || text == "XYDATA") return {JCAMPForm::kOrdinates};
    if (text.starts_with("(XY..XY)")) return {JCAMPForm::kPairs};
    if (!text.starts_with('(')) return {};
    text.remove_prefix(1);
    Form form{JCAMPForm::kPairs, "X", "Y", &JCAMPRules::no_other_pairs};
    if (const std::size_t end = text.find("++("); end != std::string_view::npos) {
      form = {JCAMPForm::kOrdinates, text.substr(0, end)};
      text.remove_prefix(end + 3);
      form.ordinate = text.substr(0, text.find(".."));
      const bool is_xy = form.abscissa == "X" && form.ordinate == "Y";
      const bool is_ra = form.abscissa == "R" && form.ordinate == "A";
      form.habit = is_xy   ? &JCAMPRules::forms_are_exact
                   : is_ra ? &JCAMPRules::no_ra_data
                           : &JCAMPRules::no_ntuples;
    } else {
      const std::string_view names = text.substr(0, text.find_first_of(".)"));
      constexpr std::size_t kMostNames = 16;
      if (!names.starts_with("XY") || names.size() > kMostNames) return {};
      form.further = names.substr(2);
      if (names.ends_with('A'))
        form.lines = JCAMPForm::kGroups;
      else if (!form.further.empty())
        form.lines = JCAMPForm::kTuples;
    }
    return rules_.*form.habit ? Form() : form;
  }

  // Of the form `text`, whose lines are ahead.
  int TakeLines(std::string_view text, int problem) {
    if (block_.pages++ == 0 || layout_.all_pages) AddPage(text, problem);
    if (RefusesFileFor(problem)) return problem;
    lines_.SkipToLabel();
    // Where only the first of several counts nobody asks for its end.
    JCAMPPage& page = layout_.pages.back();
    page.end = lines_.Position();
    page.lines = static_cast<std::uint32_t>(lines_.line() - page.line);
    return 0;
  }

  void AddPage(std::string_view text, int problem) {
    const bool is_first = block_.pages == 1;
    const bool is_named = next_page_.has_value();
    JCAMPPage page = std::exchange(next_page_, std::nullopt).value_or(JCAMPPage());
    page.position = lines_.Position();
    page.line = lines_.line();
    page.problem = static_cast<std::uint8_t>(problem != 0 ? problem - kNoFile : 0);
    JCAMPNumbers numbers = numbers_;
    const Form form = FindForm(text);
    page.form = form.lines;
    if (form.lines != JCAMPForm::kUnknown) TakeVariables(form, numbers, page.points);
    TakeFurther(form.further, page);
    if (is_first) {
      block_.first_page = static_cast<std::uint32_t>(layout_.pages.size());
      first_numbers_ = numbers_;
      first_points_ = block_.points;
    } else {
      // What is said from here on is not said of the first.
      JCAMPPage& first = layout_.pages[block_.first_page];
      if (first.numbers == 0) first.numbers = KeepNumbers(first_numbers_);
      if (first.points < 0) first.points = std::max(first_points_, 0);
      if (page.points < 0) page.points = std::max(block_.points, 0);
    }
    if (!is_first || is_named || !(numbers == numbers_)) page.numbers = KeepNumbers(numbers);
    if (budget_.Take(sizeof page + kBytesPerSeries)) layout_.pages.push_back(page);
    EndScope();
  }

  // The number of a variable in the lists of n-tuples, that of none where it is not in them.
  std::size_t FindVariable(std::string_view name) const {
    const std::string_view symbols = said_.variables[kSymbol];
    std::size_t number = 0;
    for (std::string_view rest = symbols; Stripped(PartOf(rest, 0)) != name; ++number) {
      const std::size_t comma = rest.find(',');
      if (comma == std::string_view::npos) return symbols.size();
      rest.remove_prefix(comma + 1);
    }
    return number;
  }

  double ListedNumber(Variable list, std::size_t number, double otherwise) const {
    return LabelNumber(PartOf(said_.variables[list], number), IsLoose()).value_or(otherwise);
  }

  void TakeFurther(std::string_view letters, JCAMPPage& page) {
    page.first_further = static_cast<std::uint32_t>(layout_.further.size());
    for (const char& letter : letters) {
      const std::size_t number = FindVariable({&letter, 1});
      // Widths are in the units of x.
      const double otherwise = letter == 'W' ? numbers_.x_factor : 1;
      JCAMPFurther further{.factor = ListedNumber(kFactor, number, otherwise),
                           .is_text = letter == 'M' || letter == 'A'};
      std::string_view name = Deblank(PartOf(said_.variables[kName], number));
      if (name.empty())
        name = letter == 'W'   ? "width"
               : letter == 'M' ? "multiplicity"
               : letter == 'A' ? "assignment"
                               : std::string_view(&letter, 1);
      const bool is_kept =
          Keep(name, further.name) == 0 && budget_.Take(sizeof further + kBytesPerSeries);
      if (!is_kept) return;
      layout_.further.push_back(further);
      ++page.further;
    }
  }

  // What the lists of n-tuples say of the variables of a page.
  void TakeVariables(const Form& form, JCAMPNumbers& numbers, int& points) const {
    const std::size_t x = FindVariable(form.abscissa);
    const std::size_t y = FindVariable(form.ordinate);
    const auto take = [&](Variable variable, double& number, double& rest) {
      const double taken = ListedNumber(variable, x, std::numeric_limits<double>::quiet_NaN());
      if (std::isnan(taken)) return;
      number = taken;
      rest = RestOfNumber(PartOf(said_.variables[variable], x), taken);
    };
    take(kFirst, numbers.first_x, numbers.first_rest);
    take(kLast, numbers.last_x, numbers.last_rest);
    numbers.y_factor = ListedNumber(kFactor, y, numbers.y_factor);
    if (form.lines != JCAMPForm::kOrdinates)
      numbers.x_factor = ListedNumber(kFactor, x, numbers.x_factor);
    const double size = ListedNumber(kSize, x, 0);
    // A page of another length keeps the spacing, unless its own last x is said.
    if (points > 0 && size > 1 && points != size && !said_.last_is_of_page) {
      numbers.last_x =
          numbers.first_x + (points - 1) * ((numbers.last_x - numbers.first_x) / (size - 1));
      numbers.last_rest = 0;
    }
    if (points > 0 || !(size >= 1) || size > layout_.points_left()) return;
    points = static_cast<int>(std::min<double>(size, INT_MAX));
    layout_.points += points;
  }

  // Begins with the file anew, of which no block counts so far.
  void Restart(std::size_t blocks) {
    layout_.blocks.resize(blocks);
    is_indented_ = awaits_title_ = false;
    OpenBlock();
    in_block_ = false;
    titles_ = ends_ = 0;
    open_titles_ = 0;
  }

  void OpenBlock() {
    block_ = {};
    block_.is_indented = is_indented_;
    block_.file = layout_.files;
    in_block_ = true;
    numbers_ = {};
    next_page_.reset();
    said_ = {};
    outer_.reset();
  }

  // What a page says is said of no other.
  void EndScope() {
    if (!outer_) return;
    numbers_ = outer_->numbers;
    said_ = std::move(outer_->said);
    outer_.reset();
  }

  void CloseBlock() {
    if (!in_block_) return;
    if (block_.pages > 0) block_.numbers = KeepNumbers(numbers_);
    if (budget_.Take(sizeof block_ + kBytesPerSeries + kBytesPerOffer))
      layout_.blocks.push_back(block_);
  }

  // Blocks alike share theirs. The first of all are the defaults.
  std::uint32_t KeepNumbers(const JCAMPNumbers& numbers) {
    if ((layout_.numbers.size() == 1 || !(numbers == layout_.numbers.back())) &&
        budget_.Take(sizeof numbers))
      layout_.numbers.push_back(numbers);
    return static_cast<std::uint32_t>(layout_.numbers.size() - 1);
  }

  int Keep(std::string_view text, std::uint32_t& offset) {
    offset = 0;
    if (text.empty()) return 0;
    if (layout_.texts.size() > std::numeric_limits<std::uint32_t>::max()) return kReadFailed;
    offset = static_cast<std::uint32_t>(layout_.texts.size());
    // A string that grows has twice the room that it needs.
    if (budget_.Take(2 * text.size() + 2)) layout_.texts.append(text) += '\0';
    return 0;
  }

  bool RefusesFileFor(int status) const {
    return status != 0 && (rules_.bad_blocks_refuse_files || status == kReadFailed);
  }

  // What a count of titles and ends that don't match comes to.
  int Uneven() const { return rules_.ends_match_titles ? kUnevenTitles : 0; }

  // What the value of a label does; each returns a status.

  int TakeTitle(std::string_view value) {
    if (titles_ == ends_) titles_ = ends_ = 0;
    if ((titles_ == 0 || ends_ > 0) && !std::exchange(awaits_title_, false)) {
      CloseBlock();
      OpenBlock();
    }
    ++titles_;
    ++open_titles_;
    if (!rules_.comments_in_titles) {
      value = lines_.WithComment();
      value = Deblank(value.substr(value.find('=') + 1));
    }
    // Kept: the first block within a link takes over the link's record.
    return Keep(value, block_.title);
  }

  int TakeEnd(std::string_view) {
    ++ends_;
    return --open_titles_ < 0 ? Uneven() : 0;
  }

  int TakeDataType(std::string_view value) {
    if (const int status = Keep(value, block_.data_type)) return status;
    if (value == "LINK")
      block_.data_class = JCAMPClass::kLink;
    else
      for (std::size_t i = 0; i < value.size(); ++i)
        layout_.texts[block_.data_type + i] = i == 0 ? Upper(value[i]) : Lower(value[i]);
    return 0;
  }

  int TakeDataClass(std::string_view value) {
    constexpr struct {
      std::string_view name;
      JCAMPClass data_class;
    } kNames[] = {{"XYDATA", JCAMPClass::kXYData},           {"RADATA", JCAMPClass::kRAData},
                  {"XYPOINTS", JCAMPClass::kXYPoints},       {"PEAKTABLE", JCAMPClass::kPeakTable},
                  {"ASSIGNMENTS", JCAMPClass::kAssignments}, {"NTUPLES", JCAMPClass::kNTuples}};
    const std::string name = Stripped(value);
    block_.data_class = JCAMPClass::kUnknown;
    for (const auto& known : kNames)
      if (name == known.name) block_.data_class = known.data_class;
    return 0;
  }

  int TakeBlocks(std::string_view value) {
    if (value.empty()) return kNoValue;
    if (block_.data_class != JCAMPClass::kLink) return kFreeText;
    return LabelNumber(value, IsLoose()) ? 0 : kIllegalValue;
  }

  bool IsLoose() const { return !rules_.label_numbers_are_plain; }

  template <double JCAMPNumbers::*kMember, double JCAMPNumbers::*kRest>
  int TakeNumber(std::string_view value) {
    if (value.empty()) return kNoValue;
    // Words such as "N/A" leave the x values to the other labels, and to the lines.
    if (IsLoose() && value.find_first_of(kDigits) == std::string_view::npos) return 0;
    const auto number = LabelNumber(value, IsLoose());
    if (!number) return kIllegalValue;
    numbers_.*kMember = *number;
    numbers_.*kRest = RestOfNumber(value, *number);
    return 0;
  }

  template <double JCAMPNumbers::*kMember>
  int TakeFactor(std::string_view value) {
    if (value.empty()) return kNoValue;
    const double factor = LabelNumber(value, IsLoose()).value_or(0);
    if (factor == 0) return kIllegalValue;
    numbers_.*kMember = factor;
    return 0;
  }

  int TakePoints(std::string_view value) {
    if (value.empty()) return kNoValue;
    constexpr double kMostFraction = 1e-30;
    value = value.substr(0, value.find_first_of(kJcampBlanks));
    const auto number = IsLoose() ? NumberWithUnit(value, '.') : ParseNumber(value);
    if (!number || *number < 1 || *number > INT_MAX ||
        *number - std::floor(*number) > kMostFraction)
      return kIllegalPoints;
    int& points = next_page_ ? next_page_->points : block_.points;
    const double more = *number - std::max(points, 0);
    if (more > layout_.points_left()) return kIllegalPoints;
    layout_.points += more;
    points = static_cast<int>(*number);
    return 0;
  }

  int TakeDate(std::string_view value) { return block_.date == 0 ? Keep(value, block_.date) : 0; }

  int TakeTime(std::string_view value) {
    constexpr std::size_t kLongestDate = 12;
    const std::string date = layout_.Text(block_.date);
    if (date.empty()) return Keep(value, block_.date);
    return date.size() < kLongestDate ? Keep(date + ' ' + std::string(value), block_.date) : 0;
  }

  int TakeForm(std::string_view value) {
    const std::string text = Stripped(value);
    const Form form = FindForm(text);
    // Of n-tuples only the bare forms are known, whose factors stand in labels of their own.
    const bool is_of_tuples = rules_.no_ntuples && block_.data_class == JCAMPClass::kNTuples &&
                              form.lines == JCAMPForm::kPairs && text != "(XY..XY)";
    const bool is_known = form.lines != JCAMPForm::kUnknown && !is_of_tuples;
    if (text == "(XA)" || (!is_known && (text == "(XYA)" || text == "(XYMA)")))
      return TakeLines(text, kAssignmentsMet);
    JCAMPClass& data_class = block_.data_class;
    // The numbers of blocks are the same whatever forms are known, and links have none.
    if (is_known && (form.habit == nullptr || data_class != JCAMPClass::kLink))
      data_class = ClassOf(form.lines);
    if (data_class == JCAMPClass::kRAData) return TakeLines(text, kRADataMet);
    return TakeLines(text, data_class == JCAMPClass::kNTuples ? kNTuplesMet : 0);
  }

  int TakePage(std::string_view value) {
    if (!rules_.first_page_only) {
      EndScope();
      outer_ = {numbers_, said_};
      if (!next_page_) next_page_.emplace();
      if (const int status = Keep(value, next_page_->name)) return status;
    }
    // A page that says only which one it is leaves its lines to the data label that follows.
    return lines_.NextBeginsWith('#') ? 0 : TakeLines(Stripped(value), 0);
  }

  int TakeBinary(std::string_view) { return kBinaryForm; }

  template <std::size_t kVariable>
  int TakeVariable(std::string_view value) {
    // Every page looks into these lists, whose variables are few.
    constexpr std::size_t kLongest = 1000;
    said_.variables[kVariable] = value.substr(0, kLongest);
    if constexpr (kVariable == kLast) said_.last_is_of_page = outer_.has_value();
    return 0;
  }

  JCAMPLines& lines_;
  const JCAMPRules& rules_;
  JCAMPLayout& layout_;
  Budget& budget_;
  const JCAMPRecordTaker& take_;
  JCAMPRecord record_;  // that was begun last
  std::uint64_t titles_ = 0;
  std::uint64_t ends_ = 0;
  std::int64_t open_titles_ = 0;
  bool is_indented_ = false;
  bool awaits_title_ = false;  // though labels have begun the block
  // The block that is read, or what stands before the first:
  bool in_block_ = false;
  JCAMPBlock block_;
  JCAMPNumbers numbers_;
  std::optional<JCAMPPage> next_page_;  // what is said of a page before its data
  Said said_;
  // Before the page that is begun, if one is:
  struct Outer {
    JCAMPNumbers numbers;
    Said said;
  };
  std::optional<Outer> outer_;
  // When the first page of the block came:
  JCAMPNumbers first_numbers_;
  int first_points_ = -1;
};

}  // namespace

int ReadJCAMPLayout(JCAMPLines& lines, const JCAMPRules& rules, JCAMPLayout& layout, Budget& budget,
                    const JCAMPRecordTaker& take) {
  layout.all_pages = !rules.first_page_only;
  return JCAMPLabels(lines, rules, layout, budget, take).CheckFile();
}

JCAMPData JCAMPLayout::Get(std::size_t number, std::size_t page_number) const {
  const JCAMPBlock& block = blocks[number];
  const JCAMPPage& page = pages[block.pages > 0 ? block.first_page + page_number : 0];
  JCAMPData data{block, numbers[block.numbers], page};
  if (data.problem == 0) data.problem = page.problem;
  if (data.data_class == JCAMPClass::kLink) data.data_class = ClassOf(pages[block.first_page].form);
  if (page.points >= 0) data.points = page.points;
  data.points += page.unstated;
  if (page.numbers != 0) static_cast<JCAMPNumbers&>(data) = numbers[page.numbers];
  if (Pages(number) == 1)
    data.name = 0;
  else if (page.form != JCAMPForm::kUnknown)
    data.data_class = ClassOf(page.form);
  return data;
}

JCAMPData JCAMPLayout::FirstGood(std::size_t block) const {
  for (std::size_t page = 0; page < Pages(block); ++page)
    if (const JCAMPData data = Get(block, page); data.Problem() == 0) return data;
  return Get(block);
}

std::vector<std::size_t> JCAMPLayout::Offered() const {
  std::vector<std::size_t> offered;
  offered.reserve(blocks.size());
  for (const bool by_all : {true, false})
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      const JCAMPBlock& block = blocks[i];
      const JCAMPPage& page = pages[block.first_page];
      const bool is_link = block.data_class == JCAMPClass::kLink;
      const bool is_empty = block.problem == 0 && page.form == JCAMPForm::kUnknown &&
                            (Pages(i) > 1 || page.problem == 0);
      if (by_all == (!is_link && !block.is_indented) && !(is_link && is_empty))
        offered.push_back(i);
    }
  return offered;
}

SpectrumGrid JCAMPData::Axis() const {
  const bool has_last = !std::isnan(last_x) && last_x != first_x;
  SpectrumGrid grid{first_x, last_x, delta_x, points};
  grid.first_rest = first_rest;
  grid.spacing_rest = delta_rest;
  const int stated = points - unstated;
  if (has_last && stated > 1) grid.spacing = (last_x - first_x) / (stated - 1);
  if (!has_last || unstated != 0) grid.last = grid.X(points - 1);
  if (has_last) grid.State(last_x, stated - 1, last_rest);
  return grid;
}

bool JCAMPData::SameGrid(const JCAMPData& other) const {
  constexpr double kPart = 1e-6;  // of the spacing, that rounding takes
  const SpectrumGrid a = Axis();
  const SpectrumGrid b = other.Axis();
  const int most = std::max(points, other.points);
  return a.first == b.first &&
         std::fabs(a.X(most - 1) - b.X(most - 1)) <= kPart * std::fabs(a.spacing);
}

bool JCAMPData::SamePoints(const JCAMPData& other) const {
  return points == other.points && SameX(other);
}

bool JCAMPData::SameX(const JCAMPData& other) const {
  return first_x == other.first_x && Axis().last == other.Axis().last;
}

int JCAMPData::Problem() const {
  if (problem != 0) return kNoFile + problem;
  if (data_class == JCAMPClass::kRAData) return kRADataMet;
  const bool is_xy_data = data_class == JCAMPClass::kXYData;
  if (!is_xy_data && data_class != JCAMPClass::kXYPoints && data_class != JCAMPClass::kPeakTable)
    return kUnknownClass;
  if (points < 1) return kNoPoints;
  if (pages == 0) return kNoData;
  if (!is_xy_data) return form < JCAMPForm::kPairs ? kXYPointsMet : 0;
  const SpectrumGrid axis = Axis();
  const bool has_spacing = std::isfinite(axis.spacing) && (axis.spacing != 0 || points == 1);
  return has_spacing && !std::isnan(axis.first) ? 0 : kNoSpacing;
}

}  // namespace nvimport
