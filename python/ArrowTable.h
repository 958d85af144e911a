#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/hosting/CellText.h"
#include "python/TypedColumns.h"

// Apache Arrow's C data interface and C stream interface, as they are published.
extern "C" {

struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  std::int64_t flags;
  std::int64_t n_children;
  ArrowSchema** children;
  ArrowSchema* dictionary;
  void (*release)(ArrowSchema*);
  void* private_data;
};

struct ArrowArray {
  std::int64_t length;
  std::int64_t null_count;
  std::int64_t offset;
  std::int64_t n_buffers;
  std::int64_t n_children;
  const void** buffers;
  ArrowArray** children;
  ArrowArray* dictionary;
  void (*release)(ArrowArray*);
  void* private_data;
};

struct ArrowArrayStream {
  int (*get_schema)(ArrowArrayStream*, ArrowSchema* out);
  int (*get_next)(ArrowArrayStream*, ArrowArray* out);
  const char* (*get_last_error)(ArrowArrayStream*);
  void (*release)(ArrowArrayStream*);
  void* private_data;
};

}  // extern "C"

namespace nvimport {

// The rows of a sheet as Arrow has them, in memory that whoever takes them shares. Mixed columns
// are of texts.
class ArrowTable {
 public:
  using Metadata = std::vector<std::pair<std::string, std::string>>;

  // The rows from `first_row` on, in columns of these names.
  ArrowTable(const DenseSheet& sheet, int first_row, std::vector<std::string> names,
             const TypingRules& rules, const TextDecoder& decoder, const Metadata& metadata);

  // `out` belongs to the caller, who calls its `release`.
  static void GiveSchema(const std::shared_ptr<const ArrowTable>& table, ArrowSchema* out);
  static void GiveArray(const std::shared_ptr<const ArrowTable>& table, ArrowArray* out);
  // All rows at once.
  static void GiveStream(const std::shared_ptr<const ArrowTable>& table, ArrowArrayStream* out);

 private:
  struct Column {
    std::string name;
    const char* format = "";
    std::int64_t missing = 0;
    std::vector<std::uint8_t> valid;  // bits
    std::vector<float> floats;
    std::vector<std::int32_t> ends;  // of texts, behind a zero
    std::vector<std::int64_t> far_ends;
    std::string texts;
    std::vector<const void*> buffers;
  };
  struct Exported;

  void SetTexts(Column& column, const DenseSheet& sheet, int number, int first_row,
                const TypingRules& rules, const TextDecoder& decoder);
  static void GiveColumnSchema(const std::shared_ptr<const ArrowTable>& table, std::size_t column,
                               ArrowSchema* out);

  TypedColumns typed_;
  std::vector<Column> columns_;
  std::string metadata_;
};

}  // namespace nvimport
