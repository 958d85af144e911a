#include "python/ArrowTable.h"

#include <climits>
#include <cstring>

namespace nvimport {

namespace {

constexpr std::int64_t kNullable = 2;  // a flag of schemas
constexpr std::size_t kBits = 8;

void Append(std::string& bytes, std::int32_t value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// Bits from bytes that are true where a cell is missing.
std::vector<std::uint8_t> ValidBits(std::span<const std::uint8_t> missing) {
  std::vector<std::uint8_t> bits((missing.size() + kBits - 1) / kBits);
  for (std::size_t row = 0; row < missing.size(); ++row)
    if (missing[row] == 0)
      bits[row / kBits] = static_cast<std::uint8_t>(bits[row / kBits] | 1U << row % kBits);
  return bits;
}

}  // namespace

// What one of the structures that were given out holds on to: the table, and its children.
struct ArrowTable::Exported {
  std::shared_ptr<const ArrowTable> table;
  std::vector<const void*> buffers{};
  std::vector<ArrowSchema> schemas{};
  std::vector<ArrowSchema*> schemas_at{};
  std::vector<ArrowArray> arrays{};
  std::vector<ArrowArray*> arrays_at{};
  bool is_over = false;  // of a stream

  static void* Give(Exported exported) {
    return std::make_unique<Exported>(std::move(exported)).release();
  }
  static Exported& Of(void* data) { return *static_cast<Exported*>(data); }

  // Children that were moved away are released by whoever has them.
  template <typename Structure>
  static void Release(Structure* given) {
    const std::unique_ptr<Exported> owned(static_cast<Exported*>(given->private_data));
    for (auto* child : owned->schemas_at)
      if (child->release != nullptr) child->release(child);
    for (auto* child : owned->arrays_at)
      if (child->release != nullptr) child->release(child);
    given->release = nullptr;
  }
};

ArrowTable::ArrowTable(const DenseSheet& sheet, int first_row, std::vector<std::string> names,
                       const TypingRules& rules, const TextDecoder& decoder,
                       const Metadata& metadata)
    : typed_(sheet, 1, first_row, sheet.columns(), rules), columns_(typed_.size()) {
  const std::size_t rows = typed_.rows();
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    column.name = std::move(names.at(i));
    const void* values = nullptr;
    switch (typed_.type(i)) {
      case ColumnType::kDouble:
        values = typed_.doubles(i);
        column.format = "g";
        if (typed_.is_narrow(i)) {
          const std::span doubles(typed_.doubles(i), rows);
          column.floats.assign(doubles.begin(), doubles.end());
          values = column.floats.data();
          column.format = "f";
        }
        break;
      case ColumnType::kWhole:
        values = typed_.wholes(i);
        column.format = "l";
        break;
      case ColumnType::kTime:
        values = typed_.wholes(i);
        column.format = "tsn:";
        break;
      case ColumnType::kText:
      case ColumnType::kMixed:
        SetTexts(column, sheet, static_cast<int>(i) + 1, first_row, rules, decoder);
    }
    const auto missing = typed_.missing(i);
    column.missing = std::ranges::count(missing, 1);
    if (column.missing > 0) column.valid = ValidBits(missing);
    column.buffers = {column.missing > 0 ? column.valid.data() : nullptr};
    if (!column.ends.empty()) values = column.ends.data();
    if (!column.far_ends.empty()) values = column.far_ends.data();
    column.buffers.push_back(values);
    if (*column.format == 'u' || *column.format == 'U')
      column.buffers.push_back(column.texts.data());
  }
  if (metadata.empty()) return;
  Append(metadata_, static_cast<std::int32_t>(metadata.size()));
  for (const auto& [key, value] : metadata)
    for (const std::string* const text : {&key, &value}) {
      Append(metadata_, static_cast<std::int32_t>(text->size()));
      metadata_ += *text;
    }
}

void ArrowTable::SetTexts(Column& column, const DenseSheet& sheet, int number, int first_row,
                          const TypingRules& rules, const TextDecoder& decoder) {
  std::vector<std::int64_t> ends = {0};
  std::string scratch;
  FloatText buffer;
  MemoryCell cell;
  for (int row = first_row; row <= sheet.rows(); ++row) {
    sheet.GetCells(number, row, {&cell, 1});
    if (cell.kind == CellKind::kNumber)
      column.texts += FormatNumber(cell, buffer);
    else if (!rules.missing.contains(cell.text))
      column.texts += decoder.Decode(cell.text, scratch);
    ends.push_back(static_cast<std::int64_t>(column.texts.size()));
  }
  if (column.texts.size() <= INT_MAX) {
    column.format = "u";
    column.ends.assign(ends.begin(), ends.end());
  } else {
    column.format = "U";
    column.far_ends = std::move(ends);
  }
}

void ArrowTable::GiveColumnSchema(const std::shared_ptr<const ArrowTable>& table,
                                  std::size_t column, ArrowSchema* out) {
  const Column& one = table->columns_[column];
  *out = {one.format,
          one.name.c_str(),
          nullptr,
          kNullable,
          0,
          nullptr,
          nullptr,
          &Exported::Release<ArrowSchema>,
          Exported::Give({table})};
}

void ArrowTable::GiveSchema(const std::shared_ptr<const ArrowTable>& table, ArrowSchema* out) {
  const std::size_t count = table->columns_.size();
  Exported exported{table};
  exported.schemas.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    GiveColumnSchema(table, i, &exported.schemas[i]);
    exported.schemas_at.push_back(&exported.schemas[i]);
  }
  const char* const metadata = table->metadata_.empty() ? nullptr : table->metadata_.data();
  *out = {"+s",
          "",
          metadata,
          0,
          static_cast<std::int64_t>(count),
          nullptr,
          nullptr,
          &Exported::Release<ArrowSchema>,
          Exported::Give(std::move(exported))};
  out->children = Exported::Of(out->private_data).schemas_at.data();
}

void ArrowTable::GiveArray(const std::shared_ptr<const ArrowTable>& table, ArrowArray* out) {
  const auto rows = static_cast<std::int64_t>(table->typed_.rows());
  const auto give = [](ArrowArray& array, std::int64_t length, std::int64_t missing,
                       Exported exported) {
    array = {length,
             missing,
             0,
             static_cast<std::int64_t>(exported.buffers.size()),
             static_cast<std::int64_t>(exported.arrays.size()),
             nullptr,
             nullptr,
             nullptr,
             &Exported::Release<ArrowArray>,
             Exported::Give(std::move(exported))};
    Exported& kept = Exported::Of(array.private_data);
    array.buffers = kept.buffers.data();
    array.children = kept.arrays_at.data();
  };
  Exported exported{table, {nullptr}};
  exported.arrays.resize(table->columns_.size());
  for (std::size_t i = 0; i < exported.arrays.size(); ++i) {
    const Column& column = table->columns_[i];
    give(exported.arrays[i], rows, column.missing, {table, column.buffers});
    exported.arrays_at.push_back(&exported.arrays[i]);
  }
  give(*out, rows, 0, std::move(exported));
}

void ArrowTable::GiveStream(const std::shared_ptr<const ArrowTable>& table, ArrowArrayStream* out) {
  out->get_schema = [](ArrowArrayStream* stream, ArrowSchema* schema) {
    GiveSchema(Exported::Of(stream->private_data).table, schema);
    return 0;
  };
  out->get_next = [](ArrowArrayStream* stream, ArrowArray* array) {
    Exported& exported = Exported::Of(stream->private_data);
    if (exported.is_over)
      array->release = nullptr;
    else
      GiveArray(exported.table, array);
    exported.is_over = true;
    return 0;
  };
  out->get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
  out->release = &Exported::Release<ArrowArrayStream>;
  out->private_data = Exported::Give({table});
}

}  // namespace nvimport
