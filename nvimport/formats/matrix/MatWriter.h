#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/formats/Inflater.h"
#include "nvimport/formats/matrix/MatNames.h"

namespace nvimport {

class OutputFile;
class TemporaryFile;
class WriteSpreadSheetData;

// Writes a sheet as a MATLAB file of level 5, little-endian: columns of numbers as the matrix
// "data", missing ones as NaN; their names in the first row, if it has such, as "varNames"; the
// texts of the first column as "obsNames"; other columns of texts as cells under their own names.
class MatWriter {
 public:
  enum class Outcome { kGood, kTooLarge, kCannotPack };
  // What a file says of itself, as labels and values.
  using Statements = std::vector<std::pair<std::string, std::string>>;

  MatWriter(OutputFile& out, bool packs);
  MatWriter(const MatWriter&) = delete;
  MatWriter& operator=(const MatWriter&) = delete;
  ~MatWriter();

  // Nothing is written of a sheet that is too large.
  Outcome Write(WriteSpreadSheetData& sheet, const Statements& statements);

 private:
  struct Column {
    bool is_text = false;
    std::string name;  // of the variable
  };
  // Texts one below the other, or side by side.
  struct List {
    std::string name;
    std::vector<int> columns;  // of the sheet; of a column one
    int row = 1;               // the first
    int count = 0;
    bool lies_along = false;
  };

  void LookAt(WriteSpreadSheetData& sheet);
  void NameLists(WriteSpreadSheetData& sheet);
  void NoteChanges() const;
  std::string Unique(std::string_view name);

  std::uint64_t SizeOfData() const;
  std::uint64_t SizeOf(WriteSpreadSheetData& sheet, const List& list);
  static std::uint64_t SizeOfText(std::u16string_view text);
  void WriteData(WriteSpreadSheetData& sheet);
  void WriteList(WriteSpreadSheetData& sheet, const List& list, std::uint64_t size);
  void WriteStruct(const Statements& statements);
  void WriteText(std::u16string_view text);

  // A variable of so many bytes behind its tag.
  void BeginVariable(std::uint64_t size);
  void EndVariable();
  void PutHead(std::uint32_t kind, std::uint64_t rows, std::uint64_t columns,
               std::string_view name);
  void PutElement(std::uint32_t type, std::string_view data);
  void Put(std::string_view bytes);
  void Pack(bool are_last);

  OutputFile& out_;
  bool packs_;
  bool cannot_pack_ = false;
  std::unique_ptr<Deflater> deflater_;  // of the variable that is being written
  std::string unpacked_;                // that waits to be packed
  std::unique_ptr<TemporaryFile> packed_;
  std::uint64_t packed_size_ = 0;

  int rows_ = 0;
  int columns_ = 0;
  bool has_header_ = false;
  std::vector<int> data_;  // the columns of the matrix
  std::vector<List> lists_;
  MatNames names_;                    // that are taken
  std::vector<std::string> renamed_;  // "'pH value' as pH_value"
  std::uint64_t inexact_ = 0;         // whole numbers that a double doesn't hold
};

}  // namespace nvimport
