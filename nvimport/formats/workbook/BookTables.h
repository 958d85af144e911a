#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/formats/workbook/BookCells.h"

namespace nvimport {

// A worksheet as it was found.
struct BookTable {
  std::string name;
  bool is_hidden = false;
  SheetBook::Extent extent{};
};

// The worksheets of a file that are read one after the other. The cells of each go to the targets
// that it has by its place.
class BookTables {
 public:
  using Targets = std::vector<std::vector<SheetBook::Target>>;

  // Without targets only what there is is found.
  BookTables(Budget& budget, const Targets* targets)
      : budget_(budget), targets_(targets), cells_(budget) {
    for (std::size_t i = 0; targets_ != nullptr && i < targets_->size(); ++i)
      if (!(*targets_)[i].empty()) wanted_ = i + 1;
  }

  // The next one begins. False when the import may not have as many.
  bool Begin(std::string name, bool is_hidden = false) {
    constexpr std::size_t kKept = 512;  // here and where it is offered, with its size in words
    if (!budget_.Take(kKept + 5 * name.size())) return false;
    End();
    const std::size_t place = tables_.size();
    tables_.push_back({std::move(name), is_hidden});
    is_open_ = true;
    cells_.Begin(place < wanted_ ? (*targets_)[place] : std::span<const SheetBook::Target>());
    return true;
  }
  void Name(std::string name) { tables_.back().name = std::move(name); }
  void Hide() { tables_.back().is_hidden = true; }
  // Also of one that breaks off.
  void End() {
    if (std::exchange(is_open_, false)) tables_.back().extent = cells_.extent();
  }

  // Nothing is wanted of those that follow.
  bool is_done() const { return targets_ != nullptr && tables_.size() >= wanted_; }

  BookCells& cells() { return cells_; }
  const std::vector<BookTable>& tables() const { return tables_; }

 private:
  Budget& budget_;
  const Targets* targets_;
  std::size_t wanted_ = 0;  // the last one, from 1
  BookCells cells_;
  std::vector<BookTable> tables_;
  bool is_open_ = false;
};

}  // namespace nvimport
