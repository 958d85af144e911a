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

// The worksheets of a file that are read one after the other, or one within the other. The cells of
// each go to the targets that it has by its place.
class BookTables {
 public:
  using Targets = std::vector<std::vector<SheetBook::Target>>;

  // Without targets only what there is is found.
  BookTables(Budget& budget, const Targets* targets) : budget_(budget), targets_(targets) {
    for (std::size_t i = 0; targets_ != nullptr && i < targets_->size(); ++i)
      if (!(*targets_)[i].empty()) wanted_ = i + 1;
  }

  // The next one begins. False when the import may not have as many.
  bool Begin(std::string name, bool is_hidden = false) {
    constexpr std::size_t kKept = 640;  // here and where it is offered, with its size in words
    if (!budget_.Take(kKept + 5 * name.size())) return false;
    const std::size_t place = tables_.size();
    tables_.push_back({std::move(name), is_hidden});
    open_.push_back({place, BookCells(budget_)});
    if (place < wanted_) open_.back().cells.Begin((*targets_)[place]);
    return true;
  }

  // Of the one that began last of those that have not ended.
  bool is_open() const { return !open_.empty(); }
  BookCells& cells() { return open_.back().cells; }
  void Hide() { tables_[open_.back().place].is_hidden = true; }
  bool Name(std::string name) {
    if (!budget_.Take(5 * name.size())) return false;
    tables_[open_.back().place].name = std::move(name);
    return true;
  }
  void End() {
    tables_[open_.back().place].extent = cells().extent();
    errors_ += cells().errors();
    open_.pop_back();
  }
  // Of a file that breaks off.
  void EndAll() {
    while (is_open()) End();
  }

  // Nothing is wanted of those that follow.
  bool is_done() const { return targets_ != nullptr && !is_open() && tables_.size() >= wanted_; }

  // Of those that have ended.
  const std::vector<BookTable>& tables() const { return tables_; }
  std::uint64_t errors() const { return errors_; }

 private:
  struct Open {
    std::size_t place;
    BookCells cells;
  };

  Budget& budget_;
  const Targets* targets_;
  std::size_t wanted_ = 0;  // the last one, from 1
  std::vector<BookTable> tables_;
  std::vector<Open> open_;
  std::uint64_t errors_ = 0;
};

}  // namespace nvimport
