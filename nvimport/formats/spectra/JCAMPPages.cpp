#include "nvimport/formats/spectra/JCAMPPages.h"

#include <utility>

#include "nvimport/formats/spectra/JCAMPText.h"

namespace nvimport {

JCAMPLines* JCAMPInput::Open(int file) {
  if (file == file_) return lines_.get();
  long_lines_ = long_lines();
  lines_ =
      std::make_unique<JCAMPLines>(files_[static_cast<std::size_t>(file)].c_str(),
                                   rules_.lines_of_255_characters, !rules_.files_begin_with_titles);
  if (!rules_.labels_begin_lines) lines_->IgnoreIndentation();
  file_ = lines_->is_open() ? file : -1;
  return lines_->is_open() ? lines_.get() : nullptr;
}

bool JCAMPPageReader::NextGroup() {
  bool in_group = std::exchange(begins_group_, false);
  bool in_brackets = false;
  bool in_text = false;
  group_.clear();
  const auto end_group = [&] {
    group_ += '\n';
    return true;
  };
  while (true) {
    for (std::size_t at = 0; at < ahead_.size(); ++at) {
      const char c = ahead_[at];
      if (c == '<' || c == '>') in_text = c == '<';
      const bool begins = c == '(' && !in_text;
      const bool ends = c == ')' && !in_text && in_brackets;
      if (ends || (begins && in_group)) {
        ahead_.remove_prefix(ends ? at + 1 : at);
        return end_group();
      }
      if (in_group) group_ += c;
      in_brackets |= begins;
      in_group |= begins;
    }
    ahead_ = {};
    if (in_group && !in_text && !in_brackets) return end_group();
    std::string_view line;
    if (is_at_label_ || !lines_.Next(line)) return in_group && end_group();
    is_at_label_ = line.starts_with('#');
    if (is_at_label_) return in_group && end_group();
    ahead_ = line;
    const jcamp::Kind first = jcamp::MeaningOf(*jcamp::SkipBlanks(line.data())).kind;
    const bool is_pair = first == jcamp::Kind::kDigit || first == jcamp::Kind::kSign;
    // A group that breaks off behind a comma goes on in the next line, as texts do.
    if (in_group && (in_text || !is_pair || Deblank(group_).ends_with(','))) {
      group_ += ' ';
    } else if (is_pair && in_group) {
      begins_group_ = true;
      return end_group();
    } else {
      in_group = is_pair;
    }
  }
}

void JCAMPPageReader::TakeFurther(std::string_view text) {
  further_.assign(page_.further, {});
  text = Deblank(text);
  const bool has_commas = text.substr(0, text.find('<')).find_first_of(",;") != text.npos;
  for (std::string_view& value : std::span(further_).first(further_.size() - 1)) {
    if (text.starts_with('<')) break;
    const std::size_t end = text.find_first_of(has_commas ? ",;<" : " \t<");
    value = Deblank(text.substr(0, end));
    if (end == text.npos) return;
    text = Deblank(text.substr(text[end] == '<' ? end : end + 1));
  }
  // The last one is the text of the assignment, and has what is left.
  if (text.starts_with('<') && text.find('>') >= text.size() - 1) {
    text.remove_prefix(1);
    if (text.ends_with('>')) text.remove_suffix(1);
  }
  further_.back() = Deblank(text);
}

void JCAMPPageReader::TakeTuple(const char*& text) {
  further_.assign(page_.further, {});
  for (std::string_view& value : further_) {
    text = jcamp::SkipBlanks(text);
    const char* const begin = text;
    while (*text != '\n' && *text != ',' && *text != ';' && *text != ' ' && *text != '\t') ++text;
    value = {begin, text};
    text = jcamp::SkipSeparator(text);
  }
}

std::optional<double> JCAMPPageReader::Number(std::string_view text) const {
  const std::string line = std::string(text) + '\n';
  const char* at = line.c_str();
  JCAMPValue value;
  const JCAMPValueForm form{.plain_only = true, .comma_separates = true, .loose_exponents = loose_};
  if (ReadNextValue(at, form, value) != 0 || *at != '\n' || value.count != 1) return std::nullopt;
  return value.missing ? std::numeric_limits<double>::quiet_NaN() : value.value;
}

}  // namespace nvimport
