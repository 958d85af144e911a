#include "apps/nvimport/TableView.h"

#include <algorithm>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr std::size_t kWidestCell = 24;
constexpr std::size_t kNarrowest = 4;
constexpr std::string_view kGap = "  ";
constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kPlain = "\x1b[0m";

struct Painter {
  bool colour;

  std::string Dim(std::string_view text) const {
    if (!colour) return std::string(text);
    return std::string(kDim).append(text).append(kPlain);
  }
};

// The blanks come apart from the text, since colour codes take no room.
void AppendAligned(std::string& line, const TableCell& cell, std::size_t width, bool dim,
                   const Painter& painter) {
  const std::string text = CutToWidth(cell.text, width);
  const std::string fill(width - std::min(width, DisplayWidth(text)), ' ');
  if (cell.right) line += fill;
  line += dim ? painter.Dim(text) : text;
  if (!cell.right) line += fill;
}

void EndLine(std::string& table, std::string& line) {
  line.erase(line.find_last_not_of(' ') + 1);
  table += line + "\n";
  line.clear();
}

}  // namespace

TableCell ShownText(std::string_view utf8) {
  return {EscapeControls(utf8), ParseNumber(utf8) || ParseNumber(utf8, ','), false};
}

TableCell ShownCell(const MemoryCell& cell, const TextDecoder& decoder) {
  FloatText number;
  std::string scratch;
  switch (cell.kind) {
    case CellKind::kNumber:
      return {std::string(FormatNumber(cell, number)), true, false};
    case CellKind::kText:
      return ShownText(decoder.Decode(cell.text, scratch));
    case CellKind::kMissing:
      break;
  }
  return {".", false, true};
}

FormattedTable FormatTable(const std::vector<TableRow>& rows, const TableLimits& limits) {
  if (rows.empty()) return {};
  const Painter painter{limits.colour};
  const std::size_t number_width = std::to_string(rows.size()).size();
  // Where even one column has no room it is as wide as can be.
  const std::size_t room = limits.width - std::min(limits.width, number_width + kGap.size());
  const std::size_t widest =
      limits.width > 0 ? std::clamp(room, kNarrowest, kWidestCell) : kWidestCell;
  std::size_t columns = 0;
  for (const TableRow& row : rows) columns = std::max(columns, row.size());

  std::vector<std::size_t> widths;
  std::size_t used = number_width;
  bool cut = false;
  for (std::size_t c = 0; c < columns && !cut; ++c) {
    std::size_t width = std::to_string(c + 1).size();
    for (const TableRow& row : rows)
      if (c < row.size()) width = std::max(width, std::min(DisplayWidth(row[c].text), widest));
    used += kGap.size() + width;
    // The last column that fits leaves room for the ellipsis that says there are more.
    const std::size_t reserve = c + 1 < columns ? kGap.size() + 1 : 0;
    cut = limits.width > 0 && used + reserve > limits.width && !widths.empty();
    if (!cut) widths.push_back(width);
  }

  std::string table;
  std::string line(number_width, ' ');
  for (std::size_t c = 0; c < widths.size(); ++c) {
    const bool right = std::ranges::any_of(
        rows, [c](const TableRow& row) { return c < row.size() && row[c].right; });
    line += kGap;
    AppendAligned(line, {std::to_string(c + 1), right, false}, widths[c], true, painter);
  }
  if (cut) line += std::string(kGap) + painter.Dim("\u2026");
  EndLine(table, line);
  for (std::size_t r = 0; r < rows.size(); ++r) {
    AppendAligned(line, {std::to_string(r + 1), true, false}, number_width, true, painter);
    for (std::size_t c = 0; c < widths.size(); ++c) {
      line += kGap;
      const TableCell cell = c < rows[r].size() ? rows[r][c] : TableCell{};
      AppendAligned(line, cell, widths[c], cell.missing, painter);
    }
    EndLine(table, line);
  }
  return {table, widths.size()};
}

}  // namespace nvimport
