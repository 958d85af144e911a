#include "nvimport/formats/workbook/SheetSelection.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <span>
#include <utility>

#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

// The selection string's form, or nothing at all.
bool IsSelection(const std::string& text) {
  if (text.empty()) return true;
  if (text[0] != '0' && text[0] != '1') return false;
  char before = '0';
  for (std::size_t i = 1; i < text.size(); ++i) {
    const bool is_comma = text[i] == ',';
    if (!is_comma && (i == 1 || text[i] < '0' || text[i] > '9')) return false;
    if (is_comma && before == ',') return false;
    before = text[i];
  }
  return before != ',';
}

}  // namespace

std::optional<SheetSelection> SheetSelection::Ask(const std::vector<OfferedSheet>& offered,
                                                  const SheetWords& words) {
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kWorksheets;
  question.title = words.title;
  question.prompt = words.prompt;
  question.heading = words.heading;
  question.merge_choices = {"Merge side by side", "Merge above and below"};
  question.merge = 1;
  question.usual = {0};
  for (const OfferedSheet& sheet : offered) {
    question.items.push_back(sheet.name);
    question.details.push_back(std::to_string(sheet.rows) + " x " + std::to_string(sheet.columns));
  }
  const auto choice = Dialogs::Current().SelectItems(question);
  if (!choice) return std::nullopt;
  SheetSelection selection;
  for (const std::size_t item : choice->items)
    selection.sheets.push_back(static_cast<int>(item) + 1);
  selection.above_and_below = choice->merge == 1;
  if (!selection.IsWithin(offered.size())) return std::nullopt;
  return selection;
}

std::optional<SheetSelection> SheetSelection::Parse(const NvImportOpenOptions& options,
                                                    std::size_t count, std::string_view source) {
  ByteReader reader(std::span(options.data, static_cast<std::size_t>(std::max(options.size, 0))));
  const std::string text(reader.Text(reader.U32()));
  const std::int32_t single = reader.I32();
  SheetSelection selection = FromText(text);
  if (single >= 0) selection.sheets.assign(1, std::min(single, INT_MAX - 1) + 1);
  if (reader.ok() && IsSelection(text) && selection.IsWithin(count)) return selection;
  Log::WriteMessage(source, "Open",
                    "The " + std::to_string(options.size) +
                        " bytes of options make no sense: worksheets \"" + text + "\", " +
                        std::to_string(single) + ".",
                    Log::kNormal);
  return std::nullopt;
}

std::string SheetSelection::Text() const {
  std::string text = above_and_below ? "1" : "0";
  for (const int sheet : sheets) text += "," + std::to_string(sheet);
  return text;
}

SheetSelection SheetSelection::FromText(const std::string& text) {
  SheetSelection selection;
  selection.above_and_below = text.starts_with('1');
  for (std::size_t at = 2; at < text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    std::int64_t number = 0;
    for (; at < end; ++at)
      if (text[at] >= '0' && text[at] <= '9')
        number = std::min<std::int64_t>(number * 10 + (text[at] - '0'), INT_MAX);
    selection.sheets.push_back(static_cast<int>(number));
    at = end + 1;
  }
  return selection;
}

std::vector<unsigned char> SheetSelection::Bytes() const {
  ByteWriter writer;
  writer.WriteBinaryString(Text());
  writer.WriteFourBytes(sheets.size() == 1 ? sheets[0] - 1 : -1);
  return {writer.bytes().begin(), writer.bytes().end()};
}

NvImportOpenOptions* SheetSelection::NewOptions() const {
  return SpreadsheetOpenOptions::NewOpenOptions(Bytes());
}

bool SheetSelection::IsWithin(std::size_t count) const {
  return std::ranges::all_of(
      sheets, [&](int sheet) { return sheet >= 1 && static_cast<std::size_t>(sheet) <= count; });
}

void SheetLayout::Add(std::uint32_t columns, std::uint32_t rows) {
  along_ += above_and_below_ ? rows : columns;
  across_ = std::max<std::uint64_t>(across_, above_and_below_ ? columns : rows);
}

}  // namespace nvimport
