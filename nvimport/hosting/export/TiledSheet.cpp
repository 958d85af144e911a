#include "nvimport/hosting/export/TiledSheet.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace nvimport {

namespace {

void Check(bool done) {
  if (!done) throw std::runtime_error(TiledSheet::kNoRoom);
}

// So many tiles side by side are to be kept in memory with room to spare.
constexpr int kTilesAcross = 100;

}  // namespace

std::uint64_t StoredTexts::Add(std::string_view text) {
  constexpr std::size_t kBuffer = 256 * 1024;
  const std::uint64_t place = stored_ + last_.size();
  const std::size_t length = text.size();
  last_.append(reinterpret_cast<const char*>(&length), sizeof length).append(text);
  if (last_.size() >= kBuffer) {
    Check(file_.Write(last_));
    // The end of the file has more behind it now.
    Window& end = windows_[stored_ / kWindow % windows_.size()];
    if (end.number == stored_ / kWindow) end.number = kNoWindow;
    stored_ += last_.size();
    last_.clear();
  }
  return place;
}

void StoredTexts::Get(std::uint64_t place, std::string& text) {
  std::size_t length = 0;
  Copy(place, {reinterpret_cast<char*>(&length), sizeof length});
  text.resize(length);
  Copy(place + sizeof length, text);
}

void StoredTexts::Copy(std::uint64_t place, std::span<char> into) {
  while (!into.empty()) {
    std::size_t count = into.size();
    if (place >= stored_) {
      std::memcpy(into.data(), last_.data() + (place - stored_), count);
    } else {
      const std::uint64_t number = place / kWindow;
      const std::size_t at = place % kWindow;
      const auto size =
          static_cast<std::size_t>(std::min<std::uint64_t>(kWindow, stored_ - number * kWindow));
      Window& window = windows_[number % windows_.size()];
      if (window.number != number) {
        Check(file_.Read(number * kWindow, std::span(window.bytes).first(size)));
        window.number = number;
      }
      count = std::min(count, size - at);
      std::memcpy(into.data(), window.bytes.data() + at, count);
    }
    into = into.subspan(count);
    place += count;
  }
}

TiledSheet::TiledSheet(int columns)
    : width_bits_(std::min(kTileBits,
                           static_cast<unsigned>(std::bit_width(
                               static_cast<unsigned>(std::max(columns, 1) - 1) / kTilesAcross)))) {}

TiledSheet::~TiledSheet() = default;

TiledSheet::Kept* TiledSheet::Find(std::uint64_t key, bool makes_it) {
  Cached& cached = cached_[(key ^ key >> 32) % cached_.size()];
  if (cached.key == key) return cached.tile;
  const auto known = in_file_.find(key);
  if (known == in_file_.end() && !makes_it) return nullptr;
  const bool is_new = known == in_file_.end();
  const std::uint64_t number = is_new ? in_file_.size() : known->second;
  if (is_new) in_file_.emplace(key, number);
  const auto same = std::ranges::find_if(kept_, [&](const auto& kept) { return kept->key == key; });
  cached.tile = same != kept_.end() && !is_new ? same->get() : &Load(key, number, is_new);
  cached.key = key;
  return cached.tile;
}

// Takes a tile out of the file, in the place of the one that has been kept for longest.
TiledSheet::Kept& TiledSheet::Load(std::uint64_t key, std::uint64_t in_file, bool is_new) {
  const bool has_room = kept_.size() < kMostTiles;
  if (has_room) kept_.push_back(std::make_unique<Kept>());
  Kept& tile = has_room ? *kept_.back() : *kept_[next_out_];
  if (!has_room) {
    next_out_ = (next_out_ + 1) % kept_.size();
    for (Cached& cached : cached_)
      if (cached.tile == &tile) cached = {};
    if (tile.is_changed)
      Check(file_.WriteAt(in_file_.at(tile.key) * sizeof(Tile),
                          {reinterpret_cast<const char*>(&tile.cells), sizeof(Tile)}));
  }
  if (is_new)
    tile.cells.kinds.fill(Kind::kMissing);
  else
    Check(file_.Read(in_file * sizeof(Tile), {reinterpret_cast<char*>(&tile.cells), sizeof(Tile)}));
  tile.key = key;
  tile.is_changed = false;
  return tile;
}

void TiledSheet::Put(int column, int row, Kind kind, std::uint64_t value) {
  if (column < 1 || row < 1) return;
  const auto x = static_cast<unsigned>(column - 1);
  const auto y = static_cast<unsigned>(row - 1);
  Kept& tile = *Find(KeyOf(x, y), /*makes_it=*/true);
  const std::size_t place = PlaceOf(x, y);
  cells_ += tile.cells.kinds[place] == Kind::kMissing ? 1 : 0;
  tile.cells.kinds[place] = kind;
  tile.cells.values[place] = value;
  tile.is_changed = true;
  SetDataSize(column, row);
}

void TiledSheet::Set(int column, int row, const char* text) {
  if (text != nullptr) Set(column, row, text, std::strlen(text));
}

void TiledSheet::Set(int column, int row, const char* text, std::size_t length) {
  if (text == nullptr || column < 1 || row < 1) return;
  std::uint64_t value = 0;
  // A short one has its length in the last byte.
  if (length < sizeof value) {
    char bytes[sizeof value] = {};
    std::memcpy(bytes, text, length);
    bytes[sizeof value - 1] = static_cast<char>(length);
    std::memcpy(&value, bytes, sizeof value);
    return Put(column, row, Kind::kShortText, value);
  }
  Put(column, row, Kind::kStoredText, stored_.Add({text, length}));
}

void TiledSheet::Set(int column, int row, float value) {
  Put(column, row, Kind::kFloat, std::bit_cast<std::uint32_t>(value));
}

void TiledSheet::SetExact(int column, int row, double value) {
  Put(column, row, Kind::kDouble, std::bit_cast<std::uint64_t>(value));
}

void TiledSheet::SetExact(int column, int row, long long value) {
  Put(column, row, Kind::kWhole, static_cast<std::uint64_t>(value));
}

void TiledSheet::SetDataSize(int columns, int rows) {
  columns_ = std::max(columns_, columns);
  rows_ = std::max(rows_, rows);
}

TiledSheet::Stored TiledSheet::StoredAt(int column, int row) {
  if (column < 1 || row < 1) return {};
  const auto x = static_cast<unsigned>(column - 1);
  const auto y = static_cast<unsigned>(row - 1);
  const Kept* const tile = Find(KeyOf(x, y), /*makes_it=*/false);
  if (tile == nullptr) return {};
  const std::size_t place = PlaceOf(x, y);
  return {tile->cells.kinds[place], tile->cells.values[place]};
}

MemoryCell TiledSheet::CellOf(const Stored& stored, std::string& text) {
  MemoryCell cell{.kind = KindOf(stored)};
  switch (stored.kind) {
    case Kind::kMissing:
      break;
    case Kind::kFloat:
      cell.number = std::bit_cast<float>(static_cast<std::uint32_t>(stored.value));
      break;
    case Kind::kDouble:
      cell.number_kind = NumberKind::kDouble;
      cell.wide = std::bit_cast<double>(stored.value);
      cell.number = static_cast<float>(cell.wide);
      break;
    case Kind::kWhole:
      cell.number_kind = NumberKind::kWhole;
      cell.whole = static_cast<long long>(stored.value);
      cell.wide = static_cast<double>(cell.whole);
      cell.number = static_cast<float>(cell.wide);
      break;
    case Kind::kShortText: {
      char bytes[sizeof stored.value];
      std::memcpy(bytes, &stored.value, sizeof bytes);
      text.assign(bytes, static_cast<std::size_t>(bytes[sizeof bytes - 1]));
      cell.text = text;
      break;
    }
    case Kind::kStoredText:
      stored_.Get(stored.value, text);
      cell.text = text;
      break;
  }
  return cell;
}

CellKind TiledSheet::KindOf(const Stored& stored) {
  if (stored.kind == Kind::kMissing) return CellKind::kMissing;
  const bool is_text = stored.kind == Kind::kShortText || stored.kind == Kind::kStoredText;
  return is_text ? CellKind::kText : CellKind::kNumber;
}

float TiledSheet::GetNumber(int column, int row) {
  const Stored stored = StoredAt(column, row);
  return KindOf(stored) == CellKind::kNumber ? CellOf(stored, text_).number
                                             : std::numeric_limits<float>::quiet_NaN();
}

std::optional<double> TiledSheet::GetExact(int column, int row) {
  const Stored stored = StoredAt(column, row);
  if (stored.kind != Kind::kDouble && stored.kind != Kind::kWhole) return std::nullopt;
  return CellOf(stored, text_).wide;
}

const char* TiledSheet::GetText(int column, int row) {
  const MemoryCell cell = CellOf(StoredAt(column, row), text_);
  if (cell.kind == CellKind::kNumber) return FormatNumber(cell, number_text_).data();
  return cell.kind == CellKind::kText ? text_.c_str() : "";
}

bool TiledSheet::IsNumber(int column, int row) {
  return KindOf(StoredAt(column, row)) == CellKind::kNumber;
}

bool TiledSheet::IsMissing(int column, int row) {
  return KindOf(StoredAt(column, row)) == CellKind::kMissing;
}

bool TiledSheet::IsText(int column, int row) {
  return KindOf(StoredAt(column, row)) == CellKind::kText;
}

void TiledSheet::GetCells(int column, int row, std::span<MemoryCell> cells) {
  texts_.resize(std::max(texts_.size(), cells.size()));
  for (std::size_t i = 0; i < cells.size(); ++i)
    cells[i] = CellOf(StoredAt(column + static_cast<int>(i), row), texts_[i]);
}

}  // namespace nvimport
