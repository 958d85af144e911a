// Apache Arrow's IPC format: messages, each a FlatBuffer behind its size, then a body of plain
// arrays. A file is a stream between two marks, with a list of its messages before the second.
//   uint32 0xFFFFFFFF; int32 size of the FlatBuffer; the FlatBuffer; the body
// The numbers of fields and kinds below are those of its Schema.fbs, Message.fbs and File.fbs.

#include "nvimport/hosting/export/ArrowRows.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"

namespace nvimport {

namespace {

using Place = FlatBuffer::Place;

constexpr std::string_view kMark = "ARROW1";
constexpr std::string_view kPrefix = "\xff\xff\xff\xff";
constexpr std::int16_t kVersion = 4;  // the fifth
enum MessageKind : std::uint8_t { kSchema = 1, kDictionaryBatch, kRecordBatch };
enum TypeKind : std::uint8_t { kInt = 2, kFloatingPoint = 3, kUtf8 = 5 };
constexpr std::int16_t kDoublePrecision = 2;

// Few enough for the processor's cache, since rows become columns; but columns of a few cells each
// would take more room for their places than for the cells.
constexpr std::size_t kCellsOfBatch = 128 * 1024;
constexpr std::size_t kFewestRows = 64;
constexpr std::size_t kBytesOfBatch = std::size_t{8} << 20;
// Of the texts of all dictionaries, and what each of them takes besides.
constexpr std::size_t kMostInDictionaries = std::size_t{16} << 20;
constexpr std::size_t kForEachText = 96;
constexpr std::size_t kSureToRepeat = 1024;
constexpr std::size_t kLongestText = std::size_t{1} << 30;

constexpr std::size_t RoundUp(std::size_t size) { return (size + 7) / 8 * 8; }

// Cells wait as a kind and what there is of that; a text behind its length, in four more bytes
// where one has no room for it. Each row has an end, since later ones may be wider.
enum Waiting : char { kMissing, kFloat, kDouble, kWhole, kText, kRowEnd };
constexpr std::size_t kLongText = 255;

// Takes the next cell of those that wait; `waiting` is behind it then.
MemoryCell TakeCell(const char*& waiting) {
  const auto take = [&](auto kind) {
    const auto value = LoadLittle<decltype(kind)>(waiting);
    waiting += sizeof value;
    return value;
  };
  MemoryCell cell{.kind = CellKind::kNumber};
  switch (static_cast<Waiting>(*waiting++)) {
    case kMissing:
    case kRowEnd:
      cell.kind = CellKind::kMissing;
      break;
    case kFloat:
      cell.number = take(float{});
      break;
    case kDouble:
      cell.number_kind = NumberKind::kDouble;
      cell.wide = take(double{});
      break;
    case kWhole:
      cell.number_kind = NumberKind::kWhole;
      cell.whole = take(std::int64_t{});
      cell.wide = static_cast<double>(cell.whole);
      break;
    case kText: {
      std::size_t size = take(std::uint8_t{});
      if (size == kLongText) size = take(std::uint32_t{});
      cell.kind = CellKind::kText;
      cell.text = {std::exchange(waiting, waiting + size), size};
    }
  }
  return cell;
}

MemoryCell CellAt(const char* waiting) { return TakeCell(waiting); }

// The same in a column of numbers, of which some may be texts.
MemoryCell NumberAt(const char* waiting) {
  const MemoryCell cell = CellAt(waiting);
  return cell.kind == CellKind::kText ? NumberIn(cell.text).value_or(cell) : cell;
}

// Whether the number is a whole one of 64 bits.
bool IsWhole(const MemoryCell& cell) {
  constexpr double kEnd = 9223372036854775808.0;
  const double value = cell.exact();
  return cell.number_kind == NumberKind::kWhole ||
         (std::trunc(value) == value && value >= -kEnd && value < kEnd);
}

Place PutInt(FlatBuffer& buffer, std::int32_t bits) {
  return buffer.Table({FlatBuffer::Number(0, bits), FlatBuffer::Number(1, std::uint8_t{1})});
}

}  // namespace

ArrowRows::Type ArrowRows::Column::type() const {
  if (words == 0 && !is_rounded) return Type::kDouble;
  if (words == 0 && are_whole) return Type::kWhole;
  return dictionary != nullptr && dictionary->size() * 2 <= words ? Type::kDictionary : Type::kText;
}

void ArrowRows::Put(const MemoryCell& cell) {
  if (cell.kind == CellKind::kText) return PutText(cell.text);
  if (!has_names_) {
    FloatText buffer;
    if (cell.kind == CellKind::kNumber) columns_[next_].name = FormatNumber(cell, buffer);
  } else if (cell.kind == CellKind::kNumber) {
    TakeNumber(cell);
    switch (cell.number_kind) {
      case NumberKind::kFloat:
        batch_.push_back(kFloat);
        AppendLittle(batch_, cell.number);
        break;
      case NumberKind::kDouble:
        batch_.push_back(kDouble);
        AppendLittle(batch_, cell.wide);
        break;
      case NumberKind::kWhole:
        batch_.push_back(kWhole);
        AppendLittle(batch_, std::int64_t{cell.whole});
        break;
    }
  } else {
    batch_.push_back(kMissing);
  }
  ++next_;
}

void ArrowRows::PutText(std::string_view text) {
  text = conversion_.decoder.Decode(text, decoded_);
  if (text.size() > kLongestText) {
    file_.Fail("one of its texts has more than 1 GB");
    text = {};
  }
  Column& column = columns_[next_];
  if (!has_names_) {
    column.name = text;
  } else {
    if (const auto number = NumberIn(text)) {
      TakeNumber(*number);
    } else {
      ++column.words;
      if (column.repeats) AddToDictionary(column, text);
    }
    batch_.push_back(kText);
    batch_ += static_cast<char>(std::min(text.size(), kLongText));
    if (text.size() >= kLongText) AppendLittle(batch_, static_cast<std::uint32_t>(text.size()));
    batch_ += text;
  }
  ++next_;
}

void ArrowRows::TakeNumber(const MemoryCell& cell) {
  Column& column = columns_[next_];
  column.are_whole = column.are_whole && IsWhole(cell);
  column.is_rounded =
      column.is_rounded || (cell.number_kind == NumberKind::kWhole && !IsExact(cell.whole));
  DropDictionary(column);
}

void ArrowRows::AddToDictionary(Column& column, std::string_view text) {
  if (!column.dictionary) column.dictionary = std::make_unique<Dictionary>();
  Dictionary& dictionary = *column.dictionary;
  if (dictionary.contains(text)) return;
  const std::size_t size = dictionary.size();
  dictionary_bytes_ += kForEachText + text.size();
  dictionary.emplace(text, static_cast<std::int32_t>(size));
  if (dictionary_bytes_ > kMostInDictionaries || (size >= kSureToRepeat && size * 2 > column.words))
    DropDictionary(column);
}

void ArrowRows::DropDictionary(Column& column) {
  column.repeats = false;
  if (!column.dictionary) return;
  for (const auto& [text, number] : *column.dictionary)
    dictionary_bytes_ -= kForEachText + text.size();
  column.dictionary.reset();
}

void ArrowRows::EndRow() {
  if (!std::exchange(has_names_, true)) return;
  batch_.push_back(kRowEnd);
  ++batch_rows_;
  const std::size_t most =
      std::max(kCellsOfBatch / std::max(columns_.size(), std::size_t{1}), kFewestRows);
  if (batch_rows_ < most && batch_.size() < kBytesOfBatch) return;
  if (!spool_) spool_ = std::make_unique<TemporaryFile>();
  EndBatch();
  batch_.clear();
}

void ArrowRows::EndBatch() {
  batches_.push_back({std::exchange(batch_rows_, 0), batch_.size()});
  if (spool_ && !spool_->Write(batch_))
    file_.Fail("its rows found no room in the folder for temporary files, which TMPDIR names");
}

void ArrowRows::End() {
  if (batch_rows_ > 0) EndBatch();
  if (file_.failed()) return;
  TellNamesApart();
  if (is_file_) Write(std::string(kMark) + '\0' + '\0');
  FlatBuffer schema;
  WriteMessage(schema, kSchema, PutSchema(schema));
  for (std::size_t i = 0; i < columns_.size(); ++i)
    if (columns_[i].type() == Type::kDictionary) WriteDictionary(i);
  std::uint64_t position = 0;
  for (const Batch& batch : batches_) {
    batch_.resize(batch.bytes);
    if (spool_ && !spool_->Read(position, batch_))
      return file_.Fail("its temporary file can't be read");
    position += batch.bytes;
    WriteBatch(batch.rows);
    if (file_.failed()) return;
  }
  WriteEnd();
}

// Many a program takes a table for a set of columns by name.
void ArrowRows::TellNamesApart() {
  std::unordered_map<std::string, int> times;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::string& name = columns_[i].name;
    if (name.empty()) name = "column " + std::to_string(i + 1);
    const std::string given = name;
    for (int& count = ++times[given]; count > 1; ++count) {
      name = given + " (" + std::to_string(count) + ")";
      if (times.emplace(name, 1).second) break;
    }
  }
}

void ArrowRows::WriteBatch(std::size_t rows) {
  cells_.assign(rows * columns_.size(), nullptr);
  const char* waiting = batch_.data();
  for (std::size_t row = 0; row < rows; ++row, ++waiting)
    for (std::size_t i = row; *waiting != kRowEnd; i += rows) {
      const char* const cell = waiting;
      if (TakeCell(waiting).kind != CellKind::kMissing) cells_[i] = cell;
    }
  BeginRecords();
  for (std::size_t i = 0; i < columns_.size(); ++i)
    AddColumn(columns_[i], std::span(cells_).subspan(i * rows, rows));
  FlatBuffer buffer;
  records_.push_back(WriteMessage(buffer, kRecordBatch, PutRecords(buffer, rows)));
}

void ArrowRows::WriteDictionary(std::size_t column) {
  const Dictionary& dictionary = *columns_[column].dictionary;
  std::vector<std::string_view> texts(dictionary.size());
  for (const auto& [text, number] : dictionary) texts[static_cast<std::size_t>(number)] = text;
  BeginRecords();
  AddNode(texts.size(), 0);
  AddBuffer(0);
  AddTexts(texts.size(), [&](std::size_t i) { return texts[i]; });
  FlatBuffer buffer;
  const Place records = PutRecords(buffer, texts.size());
  const Place batch = buffer.Table(
      {FlatBuffer::Number(0, static_cast<std::uint64_t>(column)), FlatBuffer::At(1, records)});
  dictionaries_.push_back(WriteMessage(buffer, kDictionaryBatch, batch));
}

void ArrowRows::AddColumn(const Column& column, std::span<const char* const> cells) {
  const auto missing = static_cast<std::size_t>(std::ranges::count(cells, nullptr));
  AddNode(cells.size(), missing);
  char* const valid = AddBuffer(missing > 0 ? (cells.size() + 7) / 8 : 0);
  for (std::size_t i = 0; missing > 0 && i < cells.size(); ++i)
    if (cells[i] != nullptr) valid[i / 8] = static_cast<char>(valid[i / 8] | 1 << i % 8);
  switch (column.type()) {
    case Type::kDouble:
      return AddValues<double>(cells, [](const char* cell) { return NumberAt(cell).exact(); });
    case Type::kWhole:
      return AddValues<std::int64_t>(cells, [](const char* waiting) -> std::int64_t {
        const MemoryCell cell = NumberAt(waiting);
        if (cell.number_kind == NumberKind::kWhole) return cell.whole;
        return static_cast<std::int64_t>(cell.exact());
      });
    case Type::kDictionary:
      return AddValues<std::int32_t>(cells, [&](const char* cell) {
        return column.dictionary->find(CellAt(cell).text)->second;
      });
    case Type::kText:
      break;
  }
  FloatText number;
  AddTexts(cells.size(), [&](std::size_t i) -> std::string_view {
    if (cells[i] == nullptr) return {};
    const MemoryCell cell = CellAt(cells[i]);
    return cell.kind == CellKind::kText ? cell.text : FormatNumber(cell, number);
  });
}

template <typename Value, typename ValueOf>
void ArrowRows::AddValues(std::span<const char* const> cells, const ValueOf& value_of) {
  char* to = AddBuffer(cells.size() * sizeof(Value));
  for (const char* const cell : cells) {
    if (cell != nullptr) StoreLittle<Value>(to, value_of(cell));
    to += sizeof(Value);
  }
}

// Where each text begins and the last one ends, then all of them.
template <typename TextOf>
void ArrowRows::AddTexts(std::size_t count, const TextOf& text_of) {
  char* end = AddBuffer((count + 1) * sizeof(std::int32_t)) + sizeof(std::int32_t);
  texts_.clear();
  for (std::size_t i = 0; i < count; ++i, end += sizeof(std::int32_t)) {
    texts_ += text_of(i);
    StoreLittle(end, static_cast<std::int32_t>(texts_.size()));
  }
  std::ranges::copy(texts_, AddBuffer(texts_.size()));
}

void ArrowRows::BeginRecords() {
  body_.clear();
  nodes_.clear();
  buffers_.clear();
}

void ArrowRows::AddNode(std::size_t cells, std::size_t missing) {
  nodes_.insert(nodes_.end(), {cells, missing});
}

char* ArrowRows::AddBuffer(std::size_t size) {
  const std::size_t place = body_.size();
  buffers_.insert(buffers_.end(), {place, size});
  body_.resize(place + RoundUp(size));
  return body_.data() + place;
}

Place ArrowRows::PutRecords(FlatBuffer& buffer, std::size_t rows) const {
  const Place buffers = buffer.Records(buffers_, buffers_.size() / 2);
  const Place nodes = buffer.Records(nodes_, nodes_.size() / 2);
  return buffer.Table({FlatBuffer::Number(0, std::uint64_t{rows}), FlatBuffer::At(1, nodes),
                       FlatBuffer::At(2, buffers)});
}

Place ArrowRows::PutField(FlatBuffer& buffer, std::size_t column) const {
  const Type type = columns_[column].type();
  const Place name = buffer.Text(columns_[column].name);
  const Place children = buffer.List({});
  const auto put = [&](TypeKind kind, Place place, std::initializer_list<FlatBuffer::Field> more) {
    std::vector<FlatBuffer::Field> fields = {FlatBuffer::At(0, name),
                                             FlatBuffer::Number(1, std::uint8_t{1}),
                                             FlatBuffer::Number(2, std::uint8_t{kind}),
                                             FlatBuffer::At(3, place), FlatBuffer::At(5, children)};
    fields.insert(fields.end(), more);
    return buffer.Table(fields);
  };
  switch (type) {
    case Type::kDouble:
      return put(kFloatingPoint, buffer.Table({FlatBuffer::Number(0, kDoublePrecision)}), {});
    case Type::kWhole:
      return put(kInt, PutInt(buffer, 64), {});
    case Type::kText:
      return put(kUtf8, buffer.Table({}), {});
    case Type::kDictionary:
      break;
  }
  const Place index = PutInt(buffer, 32);
  const Place dictionary =
      buffer.Table({FlatBuffer::Number(0, std::uint64_t{column}), FlatBuffer::At(1, index)});
  return put(kUtf8, buffer.Table({}), {FlatBuffer::At(4, dictionary)});
}

Place ArrowRows::PutSchema(FlatBuffer& buffer) const {
  std::vector<Place> fields;
  for (std::size_t i = 0; i < columns_.size(); ++i) fields.push_back(PutField(buffer, i));
  std::vector<Place> said;
  for (const auto& [name, value] : metadata_) {
    const Place key = buffer.Text(name);
    const Place text = buffer.Text(value);
    said.push_back(buffer.Table({FlatBuffer::At(0, key), FlatBuffer::At(1, text)}));
  }
  const Place all_fields = buffer.List(fields);
  const Place all_said = buffer.List(said);
  return buffer.Table({FlatBuffer::At(1, all_fields), FlatBuffer::At(2, all_said)});
}

ArrowRows::Message ArrowRows::WriteMessage(FlatBuffer& buffer, std::uint8_t kind, Place head) {
  const std::string message = buffer.Finish(
      buffer.Table({FlatBuffer::Number(3, std::uint64_t{body_.size()}), FlatBuffer::At(2, head),
                    FlatBuffer::Number(0, kVersion), FlatBuffer::Number(1, kind)}));
  const Message written = {position_, message.size() + kPrefix.size() + sizeof(std::int32_t),
                           body_.size()};
  Write(kPrefix);
  WriteSize(message.size());
  Write(message);
  Write(body_);
  return written;
}

void ArrowRows::WriteEnd() {
  Write(kPrefix);
  WriteSize(0);
  if (!is_file_) return;
  FlatBuffer footer;
  const Place schema = PutSchema(footer);
  const auto put_list = [&](const std::vector<Message>& messages) {
    std::vector<std::uint64_t> numbers;
    for (const Message& message : messages)
      numbers.insert(numbers.end(), {message.position, message.size, message.body});
    return footer.Records(numbers, messages.size());
  };
  const Place dictionaries = put_list(dictionaries_);
  const Place records = put_list(records_);
  const std::string bytes =
      footer.Finish(footer.Table({FlatBuffer::At(1, schema), FlatBuffer::At(2, dictionaries),
                                  FlatBuffer::At(3, records), FlatBuffer::Number(0, kVersion)}));
  Write(bytes);
  WriteSize(bytes.size());
  Write(kMark);
}

void ArrowRows::WriteSize(std::size_t size) {
  std::string bytes;
  AppendLittle(bytes, static_cast<std::int32_t>(size));
  Write(bytes);
}

void ArrowRows::Write(std::string_view bytes) {
  file_.Write(bytes);
  position_ += bytes.size();
}

}  // namespace nvimport
