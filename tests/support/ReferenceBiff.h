#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/SerialDate.h"

namespace nvimport {

// The cells of one worksheet of BIFF5 or BIFF8, record by record, as slow and plain as can be. The
// reader must agree with it on any bytes.
class ReferenceBiff {
 public:
  ReferenceBiff(std::string_view records, bool is_biff8, std::vector<bool> dates,
                std::vector<std::string> strings)
      : bytes_(records),
        is_biff8_(is_biff8),
        dates_(std::move(dates)),
        strings_(std::move(strings)) {}

  // A text in which only the first character need agree: wide ones are converted elsewhere.
  static constexpr const char* kAnyText = "\x01";

  // False when a record can't be read.
  bool Read(ReadSpreadSheetData& sink) {
    while (const auto record = Next()) {
      const unsigned low = record->id & 0xFF;
      if (record->id == 0x000A || low == 0x09) return true;
      if (!Take(*record, sink)) return false;
    }
    return false;
  }

 private:
  struct Record {
    unsigned id = 0;
    std::string data;

    template <typename T>
    T At(std::size_t at) const {
      T value{};
      if (at + sizeof value <= data.size()) std::memcpy(&value, data.data() + at, sizeof value);
      return value;
    }
    // As a C string would have it.
    std::string Text(std::size_t at, std::size_t count) const {
      const std::string text = at < data.size() ? data.substr(at, count) : "";
      return text.c_str();
    }
    int column() const { return At<std::uint8_t>(2) + 1; }
    int row() const { return At<std::uint16_t>(0) + 1; }
  };

  std::optional<Record> Next() {
    if (bytes_.size() < position_ + 4) return std::nullopt;
    Record record;
    std::int16_t length = 0;
    std::memcpy(&record.id, bytes_.data() + position_, 2);
    std::memcpy(&length, bytes_.data() + position_ + 2, 2);
    if (length < 0 || length > (is_biff8_ ? 8224 : 2080)) return std::nullopt;
    const auto size = static_cast<std::size_t>(length);
    if (bytes_.size() < position_ + 4 + size) return std::nullopt;
    record.data = bytes_.substr(position_ + 4, size);
    position_ += 4 + size;
    return record;
  }

  void SetNumber(ReadSpreadSheetData& sink, int column, int row, unsigned xf, double value) const {
    if (xf >= dates_.size() || !dates_[xf]) return sink.Set(column, row, value);
    DateText text;
    IEEEDate_2_string(value, false, text);
    sink.Set(column, row, text.data());
  }

  static double FromRk(std::int32_t rk) {
    double value = rk >> 2;
    if ((rk & 2) == 0) {
      const auto high = static_cast<std::uint64_t>(static_cast<std::uint32_t>(rk) & ~3U) << 32;
      std::memcpy(&value, &high, sizeof value);
    }
    return (rk & 1) != 0 ? value / 100 : value;
  }

  bool Take(const Record& record, ReadSpreadSheetData& sink) {
    const int column = record.column();
    const int row = record.row();
    const auto xf = record.At<std::uint16_t>(4);
    if (record.id == 0x0203) SetNumber(sink, column, row, xf, record.At<double>(6));
    if (record.id == 0x027E) SetNumber(sink, column, row, xf, FromRk(record.At<std::int32_t>(6)));
    if (record.id == 0x0204 || (record.id & 0xFF) == 0xD6)
      sink.Set(column, row, record.Text(8, record.At<std::uint16_t>(6)).c_str());
    if (record.id == 0x0205) sink.Set(column, row, "");
    if (record.id == 0x00FD) {
      const auto index = record.At<std::uint32_t>(6);
      sink.Set(column, row, index < strings_.size() ? strings_[index].c_str() : "");
    }
    if (record.id == 0x00BD && record.data.size() >= 6) {
      const int last = record.At<std::uint16_t>(record.data.size() - 2);
      std::size_t at = 4;
      for (int c = column - 1; c <= last && at + 6 <= record.data.size() - 2; ++c, at += 6)
        SetNumber(sink, c + 1, row, record.At<std::uint16_t>(at),
                  FromRk(record.At<std::int32_t>(at + 2)));
    }
    if (record.id != 0x0006) return true;
    if (record.At<std::uint16_t>(12) != 0xFFFF) {
      SetNumber(sink, column, row, xf, record.At<double>(6));
      return true;
    }
    if (record.At<std::uint8_t>(6) == 1)
      sink.Set(column, row, static_cast<double>(record.At<std::int8_t>(8)));
    return record.At<std::uint8_t>(6) != 0 || TakeFormulaText(column, row, sink);
  }

  bool TakeFormulaText(int column, int row, ReadSpreadSheetData& sink) {
    std::size_t before = position_;
    auto record = Next();
    if (record && record->id == 0x04BC) {
      before = position_;
      record = Next();
    }
    if (!record) return false;
    if ((record->id & 0xFF) != 0x07) {
      position_ = before;
      return true;
    }
    const std::size_t count = record->At<std::uint16_t>(0);
    if (!is_biff8_)
      sink.Set(column, row, record->Text(2, count).c_str());
    else
      sink.Set(column, row,
               record->At<std::uint8_t>(2) != 0 ? kAnyText : record->Text(3, count).c_str());
    return true;
  }

  std::string bytes_;
  std::size_t position_ = 0;
  bool is_biff8_;
  std::vector<bool> dates_;
  std::vector<std::string> strings_;
};

}  // namespace nvimport
