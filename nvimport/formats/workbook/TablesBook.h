#pragma once

#include <span>
#include <string>
#include <vector>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/workbook/BookTables.h"
#include "nvimport/formats/workbook/SheetBook.h"

namespace nvimport {

// A file whose worksheets are all in one document, which is gone through once to find them and once
// more for all that are wanted. Damage anywhere leaves none that is certain: each is read, and
// fails.
class TablesBook : public SheetBook {
 public:
  Outcome ReadSheets(std::span<const Placed> sheets) final;
  void WriteNotes() const final;
  Outcome Measure(const Sheet& sheet, Extent& extent) final;
  void Describe(Description& description, const std::vector<int>& chosen) final;

 protected:
  // `keys` has "worksheet" and "worksheet hidden" as well.
  TablesBook(const char* source, std::span<const KeySource> keys, bool offers_empty = true)
      : source_(source), keys_(keys), offers_empty_(offers_empty) {}

  // Goes through the document to find its worksheets.
  Outcome FindTables();

 private:
  virtual Outcome ReadTables(BookTables& tables) = 0;
  // Adds what is said before the worksheets.
  virtual void DescribeDocument(Stating& stating) = 0;
  virtual Budget& budget() = 0;

  const char* source_;  // in the log
  std::span<const KeySource> keys_;
  bool offers_empty_;                 // worksheets without a cell
  std::vector<Extent> extents_;       // in the order of the file
  Outcome outcome_ = Outcome::kGood;  // of finding them
  std::uint64_t errors_ = 0;
};

}  // namespace nvimport
