#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nvimport/hosting/export/FlatBuffer.h"
#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/platform/TemporaryFile.h"

namespace nvimport {

// Writes rows in Apache Arrow's IPC format, as a file or as a stream: the first row names the
// columns (and those apart that it gives one name), the others come in batches. What a column holds
// is said before all of them and known only behind the last, so that the rows wait, more than one
// batch of them in a temporary file.
//
// A column is of doubles; of 64-bit integers when its numbers are whole and a double would round
// one of them; else, and where there are texts that are no numbers, of texts, in a dictionary if
// they repeat.
class ArrowRows {
 public:
  // Rows may be wider than those before them.
  static constexpr bool kTakesWiderRows = true;

  ArrowRows(int columns, const TextConversion& conversion, OutputFile& file)
      : conversion_(conversion), file_(file) {
    SetColumns(columns);
  }
  void SetColumns(int columns) { columns_.resize(static_cast<std::size_t>(columns)); }
  void SetMetadata(const SheetMetadata& metadata) { metadata_ = metadata; }

  // The column that the next cell will have.
  int next() const { return static_cast<int>(next_) + 1; }

  void BeginRow() { next_ = 0; }
  void Put(const MemoryCell& cell);
  void PutText(const char* text, std::size_t length) { PutText({text, length}); }
  void PutText(std::string_view text);
  void SkipTo(int column) {
    while (next() < column) Put({});
  }
  void EndRow();
  void End();

  std::size_t broken() const { return 0; }

 protected:
  void SetIsFile() { is_file_ = true; }

 private:
  struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  // The texts of a column, by their numbers in the order in which they came.
  using Dictionary = std::unordered_map<std::string, std::int32_t, TextHash, std::equal_to<>>;

  enum class Type : char { kDouble, kWhole, kText, kDictionary };
  struct Column {
    std::string name;
    bool are_whole = true;    // all numbers
    bool is_rounded = false;  // one of them, as a double
    std::uint64_t words = 0;  // texts that are no numbers
    bool repeats = true;      // maybe, and has no numbers
    std::unique_ptr<Dictionary> dictionary;

    Type type() const;
  };

  // Of rows that wait.
  struct Batch {
    std::size_t rows;
    std::size_t bytes;
  };

  // A message that is there, as the end of a file lists it.
  struct Message {
    std::uint64_t position;
    std::uint64_t size;  // without the body
    std::uint64_t body;
  };

  void TakeNumber(const MemoryCell& cell);
  void AddToDictionary(Column& column, std::string_view text);
  void DropDictionary(Column& column);
  void EndBatch();
  void TellNamesApart();
  void WriteBatch(std::size_t rows);
  void WriteDictionary(std::size_t column);
  void WriteEnd();

  // Puts into the body.
  void BeginRecords();
  void AddColumn(const Column& column, std::span<const char* const> cells);
  template <typename Value, typename ValueOf>
  void AddValues(std::span<const char* const> cells, const ValueOf& value_of);
  template <typename TextOf>
  void AddTexts(std::size_t count, const TextOf& text_of);
  void AddNode(std::size_t cells, std::size_t missing);
  char* AddBuffer(std::size_t size);

  FlatBuffer::Place PutSchema(FlatBuffer& buffer) const;
  FlatBuffer::Place PutField(FlatBuffer& buffer, std::size_t column) const;
  // What the body holds.
  FlatBuffer::Place PutRecords(FlatBuffer& buffer, std::size_t rows) const;
  // Writes the body too.
  Message WriteMessage(FlatBuffer& buffer, std::uint8_t kind, FlatBuffer::Place head);
  void WriteSize(std::size_t size);
  void Write(std::string_view bytes);

  const TextConversion& conversion_;
  OutputFile& file_;
  bool is_file_ = false;
  SheetMetadata metadata_;
  std::vector<Column> columns_;
  bool has_names_ = false;
  std::size_t next_ = 0;  // from 0
  std::size_t dictionary_bytes_ = 0;
  std::string batch_;
  std::size_t batch_rows_ = 0;
  std::vector<Batch> batches_;  // in the temporary file
  std::unique_ptr<TemporaryFile> spool_;
  std::string decoded_;

  // Of the output.
  std::uint64_t position_ = 0;
  std::vector<Message> dictionaries_;
  std::vector<Message> records_;
  std::vector<const char*> cells_;      // of a batch, by columns; null where missing
  std::string texts_;                   // of a column of it
  std::string body_;                    // of a message
  std::vector<std::uint64_t> nodes_;    // pairs of counts, of cells and of missing ones
  std::vector<std::uint64_t> buffers_;  // pairs of place and size in the body
};

class ArrowFileRows final : public ArrowRows {
 public:
  ArrowFileRows(int columns, const TextConversion& conversion, OutputFile& file)
      : ArrowRows(columns, conversion, file) {
    SetIsFile();
  }
};

}  // namespace nvimport
