#include "nvimport/formats/spectra/JCAMPPages.h"

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

bool JCAMPPageReader::NextGroup(const char*& text, bool at_line_start, bool& in_text) {
  const jcamp::Kind first = jcamp::MeaningOf(*jcamp::SkipBlanks(text)).kind;
  if (at_line_start && !in_text && (first == jcamp::Kind::kDigit || first == jcamp::Kind::kSign))
    return true;
  for (; *text != '\n'; ++text) {
    if (*text == '<' || *text == '>') in_text = *text == '<';
    if (*text == '(' && !in_text) return *++text != '\n';
  }
  return false;
}

}  // namespace nvimport
