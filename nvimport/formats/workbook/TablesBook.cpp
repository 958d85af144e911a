#include "nvimport/formats/workbook/TablesBook.h"

#include <algorithm>
#include <set>

#include "nvimport/platform/Log.h"

namespace nvimport {

SheetBook::Outcome TablesBook::FindTables() {
  BookTables found(budget(), nullptr);
  outcome_ = ReadTables(found);
  found.EndAll();
  if (outcome_ == Outcome::kOtherFormat) return outcome_;
  for (const BookTable& table : found.tables()) {
    const auto state = table.is_hidden ? SheetState::kHidden : SheetState::kVisible;
    if (offers_empty_ || table.extent.rows > 0)
      sheets_.push_back({table.name, extents_.size(), state, sheets_.size()});
    extents_.push_back(table.extent);
  }
  if (sheets_.empty()) {
    if (outcome_ == Outcome::kBadWorksheet) return Outcome::kBadWorkbook;
    return outcome_ == Outcome::kGood ? Outcome::kNoSheets : outcome_;
  }
  std::stable_partition(sheets_.begin(), sheets_.end(),
                        [](const Sheet& sheet) { return sheet.state == SheetState::kVisible; });
  return Outcome::kGood;
}

SheetBook::Outcome TablesBook::ReadSheets(std::span<const Placed> sheets) {
  BookTables::Targets targets(extents_.size());
  for (const Placed& placed : sheets) targets[placed.sheet->part].push_back(placed.target);
  budget().RenewWork();
  BookTables tables(budget(), &targets);
  const Outcome outcome = ReadTables(tables);
  tables.EndAll();
  errors_ = tables.errors();
  return outcome_ != Outcome::kGood ? outcome_ : outcome;
}

void TablesBook::WriteNotes() const {
  Log::WriteCount(source_, errors_, "error was delivered as an empty text",
                  "errors were delivered as empty texts");
}

SheetBook::Outcome TablesBook::Measure(const Sheet& sheet, Extent& extent) {
  extent = extents_[sheet.part];
  return outcome_;
}

void TablesBook::Describe(Description& description, const std::vector<int>& chosen) {
  const Budget kept = budget();
  Stating stating(description, keys_);
  DescribeDocument(stating);
  std::vector<const Sheet*> in_order(sheets_.size());
  for (const Sheet& sheet : sheets_) in_order[sheet.place] = &sheet;
  const std::set<int> numbers(chosen.begin(), chosen.end());
  for (const Sheet* const sheet : in_order) {
    const bool is_visible = sheet->state == SheetState::kVisible;
    if (!stating.StateWithin(budget(), is_visible ? "worksheet" : "worksheet hidden", sheet->name))
      break;
    if (!numbers.contains(static_cast<int>(sheet - sheets_.data()) + 1)) continue;
    const Extent& extent = extents_[sheet->part];
    stating.State("found columns", std::to_string(extent.columns));
    stating.State("found rows", std::to_string(extent.rows));
  }
  budget() = kept;
}

}  // namespace nvimport
