#include "nvimport/framework/MemorySheet.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <limits>
#include <typeinfo>

namespace nvimport {

namespace {

constexpr std::size_t kLinesInChunk = 1024;
constexpr std::size_t kArenaChunk = 64 * 1024;
// A text this long gets a chunk to itself, so that little is lost at a chunk's end.
constexpr std::size_t kLongText = 4 * 1024;

// A search that finds neither its text nor a free entry so soon is given up: the text is stored
// again.
constexpr std::size_t kMostProbes = 64;

constexpr bool HasOwnChunk(std::size_t length) { return length >= kLongText; }

// Of a text that ends before the eighth byte, zeros behind it.
std::size_t InlineLength(const char* bytes) {
  std::uint64_t text = 0;
  for (unsigned i = 0; i < 8; ++i)
    text |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
  return (71U - static_cast<unsigned>(std::countl_zero(text))) / 8;
}

}  // namespace

std::string_view FormatNumber(const MemoryCell& cell, FloatText& buffer) {
  switch (cell.number_kind) {
    case NumberKind::kFloat:
      return FormatFloat(cell.number, buffer);
    case NumberKind::kDouble:
      return FormatDouble(cell.wide, buffer);
    case NumberKind::kWhole:
      return FormatWhole(cell.whole, buffer);
  }
  return {};
}

MemorySheet::~MemorySheet() = default;

void MemorySheet::Clear() {
  columns_ = rows_ = 0;
  blocks_.clear();
  cache_.fill({});
  last_line_ = nullptr;
  line_chunks_.clear();
  lines_used_ = 0;
  arena_.clear();
  arena_used_ = SIZE_MAX;
  shared_.clear();
  shared_entries_ = 0;
}

MemorySheet::Line& MemorySheet::LineAt(std::uint32_t index) const {
  return line_chunks_[(index - 1) / kLinesInChunk][(index - 1) % kLinesInChunk];
}

MemorySheet::Block& MemorySheet::BlockFor(std::uint64_t key) {
  // Neighbouring columns lie in neighbouring entries, so a row's blocks stay found while the rows
  // of a block are filled.
  CachedBlock& cached = cache_[key % cache_.size()];
  if (cached.key != key) cached = {key, &blocks_[key]};
  return *cached.block;
}

MemorySheet::Place MemorySheet::PlaceFor(int column, int row) {
  columns_ = std::max(columns_, column);
  const auto c = static_cast<unsigned>(column - 1);
  const auto r = static_cast<unsigned>(row - 1);
  if (last_line_ == nullptr || r != last_row_ || c >> kLineBits != last_group_) {
    rows_ = std::max(rows_, row);
    last_line_ = &LineFor(c, r);
    last_row_ = r;
    last_group_ = c >> kLineBits;
  }
  const unsigned place = c % (1U << kLineBits);
  return {last_line_->cells[place], last_line_->widths[place]};
}

MemorySheet::Slot& MemorySheet::SlotFor(int column, int row) {
  const Place place = PlaceFor(column, row);
  if (place.width != Width::kNarrow) {
    place.slot = {};
    place.width = Width::kNarrow;
  }
  return place.slot;
}

MemorySheet::Line& MemorySheet::LineFor(unsigned column, unsigned row) {
  Block& block = BlockFor(BlockKey(column, row));
  std::uint32_t& line = block.lines[LineInBlock(column, row)];
  if (line == 0) {
    if (lines_used_ % kLinesInChunk == 0)
      line_chunks_.push_back(std::make_unique<Line[]>(kLinesInChunk));
    line = ++lines_used_;
  }
  return LineAt(line);
}

const MemorySheet::Block* MemorySheet::FindBlock(std::uint64_t key) const {
  const CachedBlock& cached = cache_[key % cache_.size()];
  if (cached.key == key) return cached.block;
  const auto found = blocks_.find(key);
  return found != blocks_.end() ? &found->second : nullptr;
}

const MemorySheet::Line* MemorySheet::FindLine(const Block* block, unsigned column,
                                               unsigned row) const {
  if (block == nullptr) return nullptr;
  const std::uint32_t line = block->lines[LineInBlock(column, row)];
  return line != 0 ? &LineAt(line) : nullptr;
}

void MemorySheet::PutInArena(std::string_view text, Slot& slot) {
  const std::size_t before = text.size() >= kShared ? sizeof(std::uint32_t) : 0;
  const std::size_t size = before + text.size() + 1;
  std::uint32_t chunk = arena_chunk_;
  std::size_t offset = arena_used_;
  if (HasOwnChunk(text.size())) {
    chunk = static_cast<std::uint32_t>(arena_.size());
    arena_.push_back(std::make_unique_for_overwrite<char[]>(size));
    offset = 0;
  } else {
    if (arena_used_ > kArenaChunk - size) {
      arena_.push_back(std::make_unique_for_overwrite<char[]>(kArenaChunk));
      arena_chunk_ = chunk = static_cast<std::uint32_t>(arena_.size() - 1);
      arena_used_ = offset = 0;
    }
    arena_used_ += size;
  }
  offset += before;
  char* copy = arena_[chunk].get() + offset;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  const auto short_offset = static_cast<std::uint16_t>(offset);
  std::memcpy(slot.bytes, &chunk, sizeof chunk);
  std::memcpy(slot.bytes + sizeof chunk, &short_offset, sizeof short_offset);
  slot.bytes[6] = static_cast<char>(std::min(text.size(), kLongest));
  slot.bytes[7] = kInArena;
}

void MemorySheet::Set(int column, int row, const char* text) {
  if (text != nullptr) SetText(column, row, text);
}

void MemorySheet::SetText(int column, int row, std::string_view text) {
  if (column < 1 || row < 1) return;
  Slot& slot = SlotFor(column, row);
  if (text.size() >= sizeof slot.bytes) return SetLongText(text, slot);
  Slot fresh{};
  std::memcpy(fresh.bytes, text.data(), text.size());
  if (text.empty()) fresh.bytes[7] = kEmptyText;
  Replace(slot, fresh);
}

void MemorySheet::SetLongText(std::string_view text, Slot& slot) {
  const bool shared = text.size() >= kShared;
  if (shared) {
    const Slot* known = FindShared(text, [&](const Slot& entry) {
      return std::string_view(ArenaText(entry), ArenaLength(entry)) == text;
    });
    if (known != nullptr && known->bytes[7] == kInArena) {
      const Slot same = *known;
      SetUses(same, Uses(same) + 1);
      return Replace(slot, same);
    }
  }
  const std::size_t old_length = slot.bytes[7] == kInArena ? ArenaLength(slot) : 0;
  Slot fresh = slot;
  if (old_length >= text.size() && HasOwnChunk(old_length) == HasOwnChunk(text.size()) &&
      (old_length >= kShared) == shared && (!shared || Uses(slot) == 1)) {
    if (shared) Unshare(slot);
    // The text may be a part of that very one.
    char* place = ArenaText(slot);
    std::memmove(place, text.data(), text.size());
    place[text.size()] = '\0';
    slot.bytes[6] = static_cast<char>(std::min(text.size(), kLongest));
    if (shared) Share({place, text.size()}, slot);
    return;
  }
  PutInArena(text, fresh);
  if (shared) {
    SetUses(fresh, 1);
    Share({ArenaText(fresh), text.size()}, fresh);
  }
  Replace(slot, fresh);
}

void MemorySheet::Replace(Slot& slot, const Slot& fresh) {
  const Slot old = slot;
  slot = fresh;
  if (old.bytes[7] != kInArena || ArenaLength(old) < kShared) return;
  const std::uint32_t uses = Uses(old) - 1;
  SetUses(old, uses);
  if (uses > 0) return;
  Unshare(old);
  if (HasOwnChunk(ArenaLength(old))) arena_[ArenaChunk(old)].reset();
}

std::uint32_t MemorySheet::Uses(const Slot& slot) const {
  std::uint32_t uses = 0;
  std::memcpy(&uses, ArenaText(slot) - sizeof uses, sizeof uses);
  return uses;
}

void MemorySheet::SetUses(const Slot& slot, std::uint32_t uses) {
  std::memcpy(ArenaText(slot) - sizeof uses, &uses, sizeof uses);
}

template <typename IsIt>
MemorySheet::Slot* MemorySheet::FindShared(std::string_view text, IsIt is_it) {
  std::size_t place = std::hash<std::string_view>()(text);
  for (std::size_t probes = 0; probes < std::min(kMostProbes, shared_.size()); ++probes) {
    Slot& entry = shared_[place++ & (shared_.size() - 1)];
    if (entry.bytes[7] == kInline || (entry.bytes[7] == kInArena && is_it(entry))) return &entry;
  }
  return nullptr;
}

void MemorySheet::Share(std::string_view text, const Slot& slot) {
  const auto none = [](const Slot&) { return false; };
  if (2 * ++shared_entries_ > shared_.size()) {
    std::vector<Slot> entries(std::bit_ceil(std::max<std::size_t>(64, 3 * shared_entries_)));
    entries.swap(shared_);
    shared_entries_ = 1;
    for (const Slot& entry : entries) {
      if (entry.bytes[7] != kInArena) continue;
      Slot* place = FindShared({ArenaText(entry), ArenaLength(entry)}, none);
      if (place == nullptr) continue;
      *place = entry;
      ++shared_entries_;
    }
  }
  if (Slot* entry = FindShared(text, none); entry != nullptr) *entry = slot;
}

void MemorySheet::Unshare(const Slot& slot) {
  Slot* entry = FindShared({ArenaText(slot), ArenaLength(slot)}, [&](const Slot& other) {
    return std::memcmp(other.bytes, slot.bytes, sizeof slot.bytes) == 0;
  });
  // It goes on being no end of a search.
  if (entry != nullptr && entry->bytes[7] == kInArena) entry->bytes[7] = kEmptyText;
}

std::uint32_t MemorySheet::ArenaChunk(const Slot& slot) {
  std::uint32_t chunk = 0;
  std::memcpy(&chunk, slot.bytes, sizeof chunk);
  return chunk;
}

char* MemorySheet::ArenaText(const Slot& slot) const {
  std::uint16_t offset = 0;
  std::memcpy(&offset, slot.bytes + sizeof(std::uint32_t), sizeof offset);
  return arena_[ArenaChunk(slot)].get() + offset;
}

std::size_t MemorySheet::ArenaLength(const Slot& slot) const {
  const auto length = static_cast<unsigned char>(slot.bytes[6]);
  return length < kLongest ? length : std::strlen(ArenaText(slot));
}

void MemorySheet::Set(int column, int row, float value) {
  if (column < 1 || row < 1) return;
  Slot fresh{{0, 0, 0, 0, 0, 0, 0, kFloat}};
  std::memcpy(fresh.bytes, &value, sizeof value);
  Replace(SlotFor(column, row), fresh);
}

bool MemorySheet::TakesExact() { return typeid(*this) == typeid(MemorySheet); }

template <typename Number>
void MemorySheet::SetWide(int column, int row, Number value, Width width) {
  static_assert(sizeof value == sizeof(Slot));
  if (column < 1 || row < 1) return;
  const Place place = PlaceFor(column, row);
  if (place.width == Width::kNarrow) Replace(place.slot, {});
  std::memcpy(place.slot.bytes, &value, sizeof value);
  place.width = width;
}

void MemorySheet::SetExact(int column, int row, double value) {
  SetWide(column, row, value, Width::kDouble);
}

void MemorySheet::SetExact(int column, int row, long long value) {
  SetWide(column, row, value, Width::kWhole);
}

void MemorySheet::SetDataSize(int columns, int rows) {
  columns_ = std::max(columns_, columns);
  rows_ = std::max(rows_, rows);
}

MemoryCell MemorySheet::CellIn(const Line& line, unsigned place) const {
  const Slot& slot = line.cells[place];
  MemoryCell cell;
  if (line.widths[place] != Width::kNarrow) {
    cell.kind = CellKind::kNumber;
    if (line.widths[place] == Width::kDouble) {
      cell.number_kind = NumberKind::kDouble;
      std::memcpy(&cell.wide, slot.bytes, sizeof cell.wide);
    } else {
      cell.number_kind = NumberKind::kWhole;
      std::memcpy(&cell.whole, slot.bytes, sizeof cell.whole);
      cell.wide = static_cast<double>(cell.whole);
    }
    cell.number = static_cast<float>(cell.wide);
    return cell;
  }
  switch (slot.bytes[7]) {
    case kInline: {
      const std::string_view text(slot.bytes, InlineLength(slot.bytes));
      if (!text.empty()) cell = {CellKind::kText, 0, text};
      break;
    }
    case kFloat:
      cell.kind = CellKind::kNumber;
      std::memcpy(&cell.number, slot.bytes, sizeof cell.number);
      break;
    case kEmptyText:
      cell = {CellKind::kText, 0, ""};
      break;
    default:
      cell = {CellKind::kText, 0, {ArenaText(slot), ArenaLength(slot)}};
  }
  return cell;
}

MemoryCell MemorySheet::GetCell(int column, int row) const {
  if (column < 1 || row < 1 || column > columns_ || row > rows_) return {};
  const auto c = static_cast<unsigned>(column - 1);
  const auto r = static_cast<unsigned>(row - 1);
  const Line* line = FindLine(FindBlock(BlockKey(c, r)), c, r);
  return line != nullptr ? CellIn(*line, c % (1U << kLineBits)) : MemoryCell{};
}

void MemorySheet::GetCells(int column, int row, std::span<MemoryCell> cells) const {
  std::ranges::fill(cells, MemoryCell{});
  if (column < 1 || row < 1) return;
  const auto first = static_cast<unsigned>(column - 1);
  const auto r = static_cast<unsigned>(row - 1);
  const Block* block = nullptr;
  const Line* line = nullptr;
  for (unsigned i = 0; i < cells.size(); ++i) {
    const unsigned c = first + i;
    const unsigned slot = c % (1U << kLineBits);
    if (c % (1U << (kLineBits + kGroupBits)) == 0 || i == 0) block = FindBlock(BlockKey(c, r));
    if (slot == 0 || i == 0) line = FindLine(block, c, r);
    if (line != nullptr) cells[i] = CellIn(*line, slot);
  }
}

std::uint64_t MemorySheet::CountCells() const {
  std::uint64_t count = 0;
  for (std::uint32_t line = 1; line <= lines_used_; ++line)
    for (unsigned place = 0; place < 1U << kLineBits; ++place)
      count += CellIn(LineAt(line), place).kind != CellKind::kMissing ? 1 : 0;
  return count;
}

float MemorySheet::GetNumber(int column, int row) {
  const MemoryCell cell = GetCell(column, row);
  return cell.kind == CellKind::kNumber ? cell.number : std::numeric_limits<float>::quiet_NaN();
}

std::optional<double> MemorySheet::GetExact(int column, int row) {
  const MemoryCell cell = GetCell(column, row);
  if (cell.kind != CellKind::kNumber || cell.number_kind == NumberKind::kFloat) return std::nullopt;
  return cell.wide;
}

const char* MemorySheet::GetText(int column, int row) {
  const MemoryCell cell = GetCell(column, row);
  if (cell.kind == CellKind::kNumber) return FormatNumber(cell, number_text_).data();
  return cell.kind == CellKind::kText ? cell.text.data() : "";
}

bool MemorySheet::CellFlag(int, int) { return false; }

bool MemorySheet::IsNumber(int column, int row) {
  return GetCell(column, row).kind == CellKind::kNumber;
}

bool MemorySheet::IsMissing(int column, int row) {
  return GetCell(column, row).kind == CellKind::kMissing;
}

bool MemorySheet::IsText(int column, int row) {
  return GetCell(column, row).kind == CellKind::kText;
}

std::optional<double> MemorySheet::AsNumber(int column, int row, char decimal_mark) const {
  const MemoryCell cell = GetCell(column, row);
  if (cell.kind == CellKind::kNumber) return cell.exact();
  if (cell.kind == CellKind::kText) return ParseNumber(cell.text, decimal_mark);
  return std::nullopt;
}

}  // namespace nvimport
