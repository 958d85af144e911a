#include "nvimport/formats/spectra/JCAMPPages.h"

#include <algorithm>
#include <climits>
#include <tuple>

namespace nvimport {

namespace {

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

}  // namespace

JCAMPLines* JCAMPInput::Open(int file) {
  if (file == file_) return lines_.get();
  long_lines_ = long_lines();
  lines_ = std::make_unique<JCAMPLines>(files_[static_cast<std::size_t>(file)].c_str(),
                                        rules_.lines_of_255_characters);
  if (!rules_.labels_begin_lines) lines_->IgnoreIndentation();
  file_ = lines_->is_open() ? file : -1;
  return lines_->is_open() ? lines_.get() : nullptr;
}

int JCAMPPageReader::ReadPeakTable(std::vector<JCAMPPair>& pairs) {
  constexpr JCAMPValueForm kForm{.plain_only = true, .comma_separates = true};
  const int most = rules_.npoints_is_right ? page_.points : INT_MAX;
  const float missing_value = MissingValue(rules_);
  const bool is_grouped = page_.form == JCAMPForm::kGroups;
  bool in_text = false;
  JCAMPValue x;
  JCAMPValue y;
  JCAMPValue width;
  std::string_view line;
  while (lines_.Next(line)) {
    if (line.starts_with('#')) return EndData(true, static_cast<int>(pairs.size()));
    const char* text = line.data();
    while (true) {
      if (is_grouped && !NextGroup(text, text == line.data(), in_text)) break;
      if (const int status = ReadNextValue(text, kForm, x)) return status;
      if (x.count == 0) break;
      if (x.count != 1) return kAbscissaRepeats;
      if (const int status = ReadNextValue(text, kForm, y)) return status;
      if (x.missing || y.count > 1) return kNotPlain;
      if (page_.form == JCAMPForm::kTriples)
        if (const int status = ReadNextValue(text, kForm, width)) return status;
      const int read = static_cast<int>(pairs.size());
      if (read == most) return Warn(JCAMPWarning::kMoreValues);
      const bool missing = y.missing || y.count == 0;
      pairs.push_back({x.value * page_.x_factor, read,
                       missing ? missing_value : static_cast<float>(y.value * page_.y_factor)});
    }
  }
  return EndData(false, static_cast<int>(pairs.size()));
}

int JCAMPPageReader::CollectPairs(std::vector<JCAMPPair>& pairs) {
  pairs.clear();
  int status = 0;
  if (page_.data_class == JCAMPClass::kXYData)
    status = ReadXYData([&, axis = page_.Axis(), missing_value = MissingValue(rules_)](
                            int n, double y, bool missing) {
      pairs.push_back({axis.X(n - 1), n, missing ? missing_value : static_cast<float>(y)});
    });
  else
    status = ReadPeakTable(pairs);
  std::ranges::sort(pairs, {}, [](const JCAMPPair& pair) { return std::tie(pair.x, pair.order); });
  return status;
}

}  // namespace nvimport
