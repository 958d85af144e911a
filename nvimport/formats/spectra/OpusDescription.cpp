// What Bruker OPUS files say of themselves: the parameters of each block under their own names of
// three letters, and the history: texts, with NULs between them. Behind each spectrum of a series
// stand int32 scans (of the sample, of the reference, good ones), points, good and bad scans
// forward and backward; 4 doubles, 2 int32, 7 doubles, 2 int32, and 2 doubles: when it was begun
// and ended.

#include "nvimport/formats/spectra/OpusDescription.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <map>
#include <string_view>

#include "nvimport/platform/ByteReader.h"

namespace nvimport {

namespace {

// Digits up to a byte that is none, which is taken too; -1 for none.
int TakeDigits(std::string_view& text) {
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const auto size = static_cast<std::size_t>(end - text.data());
  text.remove_prefix(std::min(size + 1, text.size()));
  return error == std::errc{} && size > 0 ? number : -1;
}

// "06/02/2020" or "2020/02/06", and "13:09:58.095 (GMT+1)", in ISO 8601; empty for anything else.
std::string IsoTime(std::string_view date, std::string_view time) {
  using namespace std::chrono;
  std::array<int, 3> parts{};
  for (int& part : parts) part = TakeDigits(date);
  if (parts[0] < parts[2]) std::swap(parts[0], parts[2]);
  const bool is_date = date.empty() && parts[0] >= 1900 && parts[0] <= 9999 && parts[1] > 0 &&
                       parts[2] > 0 &&
                       year_month_day{year(parts[0]), month(static_cast<unsigned>(parts[1])),
                                      day(static_cast<unsigned>(parts[2]))}
                           .ok();
  if (!is_date) return {};
  TimeStampText buffer;
  std::string text = FormatTimeStamp({parts[0], parts[1], parts[2], 0, 0, 0}, 4, 'T', buffer);
  std::string day_alone = text.substr(0, text.find('T'));
  if (time.empty()) return day_alone;
  const std::string_view clock = time.substr(0, time.find_first_of(" ("));
  const bool is_clock = clock.size() >= 8 && clock[2] == ':' && clock[5] == ':' &&
                        clock.find_first_not_of("0123456789:.") == std::string_view::npos;
  if (!is_clock) return {};
  text = day_alone + "T" + std::string(clock);
  constexpr std::string_view kZone = "(GMT";
  const std::size_t zone = time.find(kZone);
  if (zone == std::string_view::npos) return text;
  std::string_view hours = time.substr(zone + kZone.size());
  if (hours.empty() || hours.front() == ')') return text + "Z";
  const char sign = hours.front();
  hours.remove_prefix(1);
  const bool has_minutes = hours.find(':') != std::string_view::npos;
  const int hour = TakeDigits(hours);
  const int minute = has_minutes ? TakeDigits(hours) : 0;
  if ((sign != '+' && sign != '-') || hour < 0 || hour > 14 || minute < 0 || minute > 59) return {};
  const auto two = [](int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  return text + sign + two(hour) + ":" + two(minute);
}

class OpusDescriber {
 public:
  OpusDescriber(const std::string& path, const OpusFile& file, std::span<const OpusRows> rows,
                bool alone, SpectraStatements& statements)
      : input_(path.c_str()), file_(file), rows_(rows), statements_(statements) {
    if (alone) {
      of_file_ = {0, 1};
    } else if (!rows.empty()) {
      const OpusRows& last = rows.back();
      of_file_ = Repeated(rows.front().first_row, last.first_row + last.data->spectra);
    }
  }

  void Describe() {
    if (!input_.is_open()) return;
    for (const OpusRows& rows : rows_) {
      said_of_.emplace(rows.data->status_offset, &rows);
      const OpusUnit unit = FindOpusUnit(rows.data->unit);
      statements_.Label(Axis::kX).Take(unit.label);
      statements_.Unit(Axis::kX).Take(unit.unit);
      statements_.Label(Axis::kY).Take(rows.data->block.Name());
    }
    for (int row = of_file_.first; row < of_file_.end; ++row)
      statements_.StateIfNotZero("version", file_.version, row);
    for (const OpusBlock& block : file_.blocks) {
      if (statements_.full()) return;
      DescribeBlock(block);
    }
    for (const OpusRows& rows : rows_)
      if (rows.data->block.form() == OpusBlock::kSeries) StateTimes(rows);
  }

 private:
  // Rows that are told something each, from the first on.
  struct Rows {
    int first = 0;
    int end = 0;
  };

  static Rows Repeated(int first, int end) {
    return {first, end - first > SpectraStatements::kMostRepeated ? first + 1 : end};
  }

  void DescribeBlock(const OpusBlock& block) {
    constexpr std::string_view kReference = "reference";
    if (block.about() == OpusBlock::kData) return DescribeData(block);
    if (block.HasParameters())
      return StateParameters(block, of_file_,
                             block.origin() == OpusBlock::kReference ? kReference : "");
    if (block.form() == OpusBlock::kHistory) return StateHistory(block);
    if (block.kind() == OpusBlock::kDirectory || block.has_status) return;
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), block.type, 16);
    const std::string type(digits.data(), end.ptr);
    for (int row = of_file_.first; row < of_file_.end; ++row)
      statements_.State("left out", "block " + type, row);
  }

  // What is said of points that are in the sheet is about their rows.
  void DescribeData(const OpusBlock& block) {
    const auto found = said_of_.find(block.offset);
    const bool is_there = found != said_of_.end();
    Rows rows = of_file_;
    if (is_there) {
      const OpusRows& own = *found->second;
      rows = Repeated(own.first_row, own.first_row + own.data->spectra);
    }
    for (int row = rows.first; row < rows.end; ++row)
      statements_.State(is_there ? "block" : "other block", file_.NameOf(block), row);
    StateParameters(block, rows, is_there ? "" : "other");
  }

  // Those of a block that is told apart have that before their keys.
  void StateParameters(const OpusBlock& block, Rows rows, std::string_view apart) {
    for (int row = rows.first; row < rows.end && !statements_.full(); ++row) {
      std::string date;
      std::string time;
      OpusParameters parameters(input_, reader_, block, statements_.budget());
      for (OpusParameter one; parameters.Next(one) && !statements_.full();) {
        // The date has its key in ISO 8601, below.
        const std::string key = one.name == "DAT" ? "" : KeyFor(one.name, apart);
        FloatText text;
        if (const auto whole = one.Whole()) {
          statements_.State(one.name, key, FormatWhole(*whole, text), row);
        } else if (const auto number = one.Number()) {
          statements_.State(one.name, key, FormatDouble(*number, text), row);
        } else {
          const std::string value = OpusText(one.Text(), file_.code_page);
          statements_.State(one.name, key, value, row);
          if (one.name == "DAT") date = value;
          if (one.name == "TIM") time = value;
        }
      }
      const std::string iso = IsoTime(date, time);
      if (!iso.empty()) statements_.State("DAT", KeyFor("DAT", apart), iso, row);
    }
  }

  static std::string KeyFor(std::string_view name, std::string_view apart) {
    std::string key(KeyOf(kOpusKeys, name));
    if (key.starts_with(apart)) return key;
    return std::string(apart) + "-" + (key.empty() ? std::string(name) : key);
  }

  // Each of its texts.
  void StateHistory(const OpusBlock& block) {
    if (!statements_.budget().Work(block.size)) return statements_.Drop();
    for (int row = of_file_.first; row < of_file_.end; ++row) {
      reader_.Begin(input_, block.offset);
      std::string line;
      for (std::uint64_t left = block.size; left > 0 && !statements_.full();) {
        const auto ahead = reader_.Ahead(1);
        if (ahead.empty()) break;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(ahead.size(), left));
        for (const char c : ahead.first(count)) {
          if (c == '\0')
            StateLine(line, row);
          else if (line.size() <= Description::kLongestValue)
            line += c;
        }
        reader_.Skip(count);
        left -= count;
      }
      StateLine(line, row);
    }
  }

  void StateLine(std::string& line, int row) {
    statements_.StateIfAny("history", OpusText(line, file_.code_page), row);
    line.clear();
  }

  void StateTimes(const OpusRows& rows) {
    constexpr std::size_t kSaid = 152;
    constexpr std::size_t kTimes = 136;
    const OpusData& data = *rows.data;
    if (data.said < kSaid || !statements_.budget().Work(kSaid * std::uint64_t(data.spectra)))
      return;
    reader_.Begin(input_, data.first + data.stride - data.said);
    for (int i = 0; i < data.spectra && !statements_.full(); ++i) {
      const auto bytes = reader_.Ahead(kSaid);
      if (bytes.size() < kSaid) return;
      ByteReader fields(bytes);
      const int scans = fields.I32();
      fields.Seek(kTimes);
      statements_.StateIfNotZero("scans", scans, rows.first_row + i);
      statements_.StateNumber("start time", fields.F64(), rows.first_row + i);
      statements_.StateNumber("end time", fields.F64(), rows.first_row + i);
      reader_.Skip(data.stride);
    }
  }

  InputFile input_;
  const OpusFile& file_;
  std::span<const OpusRows> rows_;
  SpectraStatements& statements_;
  std::map<std::uint64_t, const OpusRows*> said_of_;  // by the place of what is said
  Rows of_file_;
  BlockReader reader_;
};

}  // namespace

void DescribeOpus(const std::string& path, const OpusFile& file, std::span<const OpusRows> rows,
                  bool alone, SpectraStatements& statements) {
  OpusDescriber(path, file, rows, alone, statements).Describe();
}

}  // namespace nvimport
