// host IN OUT: reads any file that NvImport knows into a sheet of the program's own and writes it
// in the format that OUT's extension names (.txt, .dif). Questions are asked in the terminal, and
// what the readers note goes to stderr.

#include <nvimport/framework/ImportHelper.h>
#include <nvimport/framework/SpreadsheetData.h>
#include <nvimport/platform/Dialogs.h>
#include <nvimport/platform/Log.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <utility>

using namespace nvimport;

// The program's sheet: columns and rows count from 1, and a cell that was never set is missing.
class Sheet : public SpreadsheetData {
 public:
  using ReadSpreadSheetData::Set;  // whole numbers and doubles, which become floats
  void Set(int column, int row, const char* text) override { At(column, row).text = text; }
  void Set(int column, int row, float value) override { At(column, row).number = value; }
  // What a file says of its size is a claim: cells take memory as they come.
  void SetDataSize(int columns, int rows) override {
    columns_ = std::max(columns_, columns);
    rows_ = std::max(rows_, rows);
  }

  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }
  bool IsNumber(int column, int row) override { return Find(column, row).number.has_value(); }
  bool IsText(int column, int row) override { return Find(column, row).text.has_value(); }
  bool IsMissing(int column, int row) override { return !cells_.contains({row, column}); }
  float GetNumber(int column, int row) override { return Find(column, row).number.value_or(0); }
  const char* GetText(int column, int row) override {
    const Cell& cell = Find(column, row);
    return cell.text ? cell.text->c_str() : nullptr;
  }
  bool CellFlag(int, int) override { return false; }

 private:
  struct Cell {
    std::optional<float> number;
    std::optional<std::string> text;
  };
  Cell& At(int column, int row) {
    SetDataSize(column, row);
    return cells_[{row, column}] = Cell{};
  }
  const Cell& Find(int column, int row) const {
    static const Cell missing;
    const auto found = cells_.find({row, column});
    return found == cells_.end() ? missing : found->second;
  }

  std::map<std::pair<int, int>, Cell> cells_;
  int columns_ = 0;
  int rows_ = 0;
};

// The program's dialogs. A question that is not overridden counts as cancelled.
class Terminal : public Dialogs {
 public:
  std::optional<TextImportChoice> ImportText(const TextImportQuestion& question) override {
    TextImportChoice choice = question.current;
    std::cerr << question.title << "\ndelimiter?\n";
    if (!std::getline(std::cin, choice.delimiter)) return std::nullopt;
    return choice;
  }
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    std::cerr << question.title << "\n";
    for (std::size_t i = 0; i < question.items.size(); ++i)
      std::cerr << i + 1 << " " << question.items[i] << "\n";
    std::size_t number = 0;
    std::cerr << "number?\n";
    if (!(std::cin >> number) || number < 1 || number > question.items.size()) return std::nullopt;
    return ItemsChoice{{number - 1}, question.merge};
  }
  std::optional<RangeChoice> SelectRange(const RangeQuestion&) override {
    return RangeChoice{};  // all points
  }
  int ShowMessage(const MessageBoxQuestion& message) override {
    std::cerr << message.title << ": " << message.text << "\n";
    return MessageBoxQuestion::kOkAnswer;
  }
  void ShowDetails(const DetailMessage& message) override {
    std::cerr << message.title << ": " << message.text << "\n" << message.detail << "\n";
  }
};

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "host IN OUT\n";
    return 2;
  }
  Terminal terminal;
  Dialogs::Install(&terminal);
  Log::Install([](const LogEntry& entry) {
    std::cerr << entry.source << ", " << entry.operation << ": " << entry.text << "\n";
  });

  constexpr int kDetect = 1;       // the first filter of an open dialog
  constexpr int kByExtension = 0;  // of the file that is written
  Sheet sheet;
  ImportHelper helper;
  const bool done = helper.ReadSpreadsheetFile(argv[1], kDetect, &sheet, nullptr, nullptr, false) &&
                    helper.WriteSpreadsheetFile(argv[2], kByExtension, &sheet, nullptr, nullptr);
  if (!done) std::cerr << "nothing was written\n";
  Dialogs::Install(nullptr);
  Log::Install({});
  return done ? 0 : 1;
}
