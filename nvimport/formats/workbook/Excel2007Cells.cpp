#include "nvimport/formats/workbook/Excel2007Cells.h"

#include <algorithm>
#include <span>
#include <utility>

#include "nvimport/platform/SerialDate.h"

namespace nvimport {

bool Excel2007Cells::SetDate(std::uint32_t style, double value) {
  if (style >= context_.styles.size()) {
    // Who writes no styles at all leaves their numbers at 0.
    if (style > 0 || context_.is_without_styles) ++changed_.lost_styles;
  } else if (!context_.styles[style]) {
    ++changed_.lost_styles;
  } else if (const DateForm form = *context_.styles[style]; form != DateForm::kNone) {
    DateText text;
    IEEEDate_2_string(value, context_.since_1904, text, form);
    SetText(text.data());
    return true;
  }
  return false;
}

template <typename Number>
void Excel2007Cells::Set(int column, int row, Number value) {
  if (takes_exact_)
    target_.sink->SetExact(column, row, value);
  else
    target_.sink->Set(column, row, static_cast<double>(value));
}

void Excel2007Cells::SetNumber(std::uint32_t style, double value) {
  if (SetDate(style, value)) return;
  if (waiting_count_ > 0) return Wait({column(), row(), false, 0, value});
  Set(column(), row(), value);
}

void Excel2007Cells::SetWhole(std::uint32_t style, long long whole) {
  if (SetDate(style, static_cast<double>(whole))) return;
  SetWaiting();
  Set(column(), row(), whole);
}

void Excel2007Cells::SetShared(std::uint32_t index) {
  context_.strings.FetchPlace(index);
  Wait({column(), row(), true, index, 0});
}

void Excel2007Cells::SetAllWaiting() {
  const auto waiting = std::span(waiting_).first(std::exchange(waiting_count_, 0));
  for (const Waiting& cell : waiting)
    if (cell.is_text) context_.strings.FetchText(cell.text);
  for (const Waiting& cell : waiting) {
    if (!cell.is_text) {
      Set(cell.column, cell.row, cell.number);
      continue;
    }
    const char* const text = context_.strings.At(cell.text);
    if (text == nullptr) ++changed_.lost_texts;
    target_.sink->Set(cell.column, cell.row, text != nullptr ? text : "");
  }
}

void Excel2007Cells::SetText(const char* text) { Sink().Set(column(), row(), text); }

void Excel2007Cells::SetError() {
  ++changed_.errors;
  SetText("");
}

void Excel2007Cells::SetIsoDate(const std::string& text) {
  const double serial = SerialOfIsoDate(text);
  if (!(serial >= 0)) return SetText(text.c_str());
  DateText date;
  IEEEDate_2_string(serial, /*since_1904=*/false, date);
  SetText(date.data());
}

}  // namespace nvimport
