#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "nvimport/framework/Description.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Dialogs.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Support.h"

namespace nvimport {

// What a target does with each input.
void Fuzz(std::string_view input);

inline ByteReader InputReader(std::string_view input) { return ByteReader(input); }

// A byte of the input that says how the rest is read, 0 beyond its end.
inline int Setting(std::string_view input, std::size_t at) {
  return at < input.size() ? static_cast<unsigned char>(input[at]) : 0;
}

// Ends the run where something that must hold does not.
inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

// The cells that were delivered for this input, and those that a sink kept.
inline std::uint64_t cells_seen = 0;
inline std::uint64_t cells_kept = 0;

// Fuzz within the memory and the processor's time that the input and its cells are worth, twice
// and more of what a read may take: the sanitizers slow it down, and a target reads several times.
inline void FuzzWithinBounds(std::string_view input) {
  cells_seen = cells_kept = 0;
  const AllocationCounter memory;
  const std::clock_t start = std::clock();
  Fuzz(input);
  const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  const double worth = static_cast<double>(input.size() + cells_seen) / 10e6;
  Check(seconds < 2 + 20 * worth, "the time is what the input is worth");
  const std::size_t kept = 300 * cells_kept;
  Check(memory.Peak() < (64 << 20) + 3 * input.size() + kept, "so is the memory");
}

// Every cell must lie within the announced size, or at least have a place; keeps the cells if
// asked.
class CheckingSink : public ReadSpreadSheetData {
 public:
  enum class Beyond { kForbidden, kAllowed };
  struct SeenCell {
    int column;
    int row;
    std::string text;  // a number by its bytes
    bool operator==(const SeenCell&) const = default;
  };

  explicit CheckingSink(Beyond beyond = Beyond::kForbidden, bool keeps = false)
      : beyond_(beyond), keeps_(keeps) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { Take(column, row, text); }
  void Set(int column, int row, float value) override {
    Take(column, row, {reinterpret_cast<const char*>(&value), sizeof value}, "#");
  }
  void SetDataSize(int columns, int rows) override {
    Check(columns_ < 0, "the size is announced once");
    columns_ = columns;
    rows_ = rows;
  }
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

  std::vector<SeenCell> cells;

 private:
  void Take(int column, int row, std::string_view text, std::string before = "") {
    Check(column >= 1 && row >= 1, "the cell has a place");
    Check((column <= columns_ && row <= rows_) || beyond_ == Beyond::kAllowed,
          "the cell lies within the size");
    ++cells_seen;
    cells_kept += keeps_ ? 1 : 0;
    if (keeps_) cells.push_back({column, row, before.append(text)});
  }

  Beyond beyond_;
  bool keeps_;
  int columns_ = -1;
  int rows_ = -1;
};

// The cells of rows of texts, of which a reader sets the empty ones or leaves them out.
inline std::vector<CheckingSink::SeenCell> CellsOf(
    const std::vector<std::vector<std::string>>& rows, bool with_empty) {
  std::vector<CheckingSink::SeenCell> cells;
  for (std::size_t r = 0; r < rows.size(); ++r)
    for (std::size_t c = 0; c < rows[r].size(); ++c)
      if (with_empty || !rows[r][c].empty())
        cells.push_back({static_cast<int>(c + 1), static_cast<int>(r + 1), rows[r][c]});
  return cells;
}

// A user who takes all there is, or what is usual, for as long as it stands.
class Taking : public Dialogs {
 public:
  explicit Taking(bool takes_all, std::size_t merge = 0) : takes_all_(takes_all), merge_(merge) {
    Install(this);
  }
  Taking(const Taking&) = delete;
  Taking& operator=(const Taking&) = delete;
  ~Taking() override { Install(nullptr); }

  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice choice{question.usual, merge_};
    for (std::size_t i = 0; takes_all_ && i < question.items.size(); ++i) choice.items.push_back(i);
    return choice;
  }
  std::optional<RangeChoice> SelectRange(const RangeQuestion&) override { return RangeChoice{}; }

 private:
  bool takes_all_;
  std::size_t merge_;
};

// Describes an opened file, whatever became of its read. What it says is of the sheet, and as much
// as a description may hold.
inline void DescribeWithinBounds(SpreadsheetFile& file, int rows) {
  const int status = file.GetStatus();
  Description description;
  const int described = file.Describe(description);
  Check(described == file.GetStatus() && (status == 0 || described == status),
        "describing returns the status that stands");
  for (const Statement& one : description.statements()) {
    Check(one.row >= 0 && one.row <= std::max(rows, 0),
          "the statement is about a row of the sheet");
    Check(!one.label.empty() || !one.value.empty(), "the statement says something");
    Check(one.value.size() <= Description::kLongestValue, "no longer than it may be");
  }
}

// Reads an opened file, and returns the status. One that announces its size announces what it was
// asked for before.
inline int ReadAsAnnounced(SpreadsheetFile& file, CheckingSink& sink) {
  const int rows = file.GetNumRows();
  const int columns = file.GetNumCols();
  const int status = file.Read(&sink);
  DescribeWithinBounds(file, rows);
  if (status != 0 || sink.GetNumberOfRows() < 0) return status;
  Check(sink.GetNumberOfRows() == rows && sink.GetNumberOfColumns() == columns,
        "the read sets the size that was asked before");
  return 0;
}

// Opens the file, and reads it where it opens.
inline int OpenAndRead(SpreadsheetFile& file, const std::string& path,
                       NvImportOpenOptions* options = nullptr, CheckingSink::Beyond beyond = {}) {
  if (const int status = file.Open(true, path.c_str(), options); status != 0) return status;
  DescribeWithinBounds(file, file.GetNumRows());
  CheckingSink sink(beyond);
  return ReadAsAnnounced(file, sink);
}

}  // namespace nvimport
