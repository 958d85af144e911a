// contract [--numbers | --store COLUMNS | --write FILE] MODE FILE [NUMBER...]: the least work that
// the contract between readers and sheets allows. A format's cells are decoded in a block that is
// used again and go to the sink one virtual call each; nothing is sized, checked or optional.
// Prints what the sink counted, by --numbers only the numbers, those written as texts included. By
// --store it keeps the cells as well, by --write it writes them, numbers in their shortest digits.
//   floor                          reads in pieces of 1 MiB and adds the words up, no cells
//   text                           fields between TABs
//   biff START                     the records of a workbook that lies in one piece from START on
//   jcamp                          whole ordinates in all forms, a name for each of the first block
//   f32, i32, i16 START SKIP COUNT records of SKIP bytes and COUNT values
//   bf32, bf64 START SKIP COUNT    the same of big-endian floats or doubles, from column 1 on
//   f64 START SKIP ROWS            columns of doubles behind so many bytes; zf64: that are packed,
//                                  by zlib, from START on
//   dif, lotus                     worksheets
//   deltas, deltas2, doubles START STEP
//                                  a chromatogram from START on, and its times by STEP in ms
//   scans START                    spectra of a diode array

#include <fcntl.h>
#include <unistd.h>
#ifdef NVIMPORT_HAS_PACKAGES
#include <zlib.h>
#endif
#ifdef __AVX2__
#include <immintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/Sums.h"

namespace nvimport {

namespace {

class Sink {
 public:
  Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  virtual ~Sink() = default;
  virtual void Set(int column, int row, const char* text) = 0;
  virtual void Set(int column, int row, float value) = 0;
  virtual CellSums Total() const = 0;

  void Set(int column, int row, double value) { Set(column, row, static_cast<float>(value)); }

  // Whether it takes doubles as such, and then one that is.
  virtual bool IsWide() const { return false; }
  virtual void SetWide(int column, int row, double value) { Set(column, row, value); }
};

template <typename Sums>
class SummingSink final : public Sink {
 public:
  explicit SummingSink(const Sums& sums) : sums_(sums) {}
  void Set(int column, int row, const char* text) override { sums_.Text(column, row, text); }
  void Set(int column, int row, float value) override { sums_.Number(column, row, value); }
  CellSums Total() const override { return sums_.Total(); }

 private:
  Sums sums_;
};

// Eight bytes a cell; the texts stand behind one another.
class StoringSink final : public Sink {
 public:
  explicit StoringSink(int columns) : columns_(static_cast<std::size_t>(columns)) {}
  void Set(int column, int row, const char* text) override {
    sums_.Text(column, row, text);
    Slot(column, row) = texts_.size() << 2 | 2;
    texts_.insert(texts_.end(), text, text + std::strlen(text) + 1);
  }
  void Set(int column, int row, float value) override {
    sums_.Number(column, row, value);
    Slot(column, row) = std::uint64_t{std::bit_cast<std::uint32_t>(value)} << 2 | 1;
  }
  CellSums Total() const override { return sums_.Total(); }

 private:
  std::uint64_t& Slot(int column, int row) {
    const std::size_t at =
        static_cast<std::size_t>(row - 1) * columns_ + static_cast<std::size_t>(column - 1);
    if (at >= slots_.size()) slots_.resize(static_cast<std::size_t>(row) * columns_);
    return slots_[at];
  }

  std::size_t columns_;
  std::vector<std::uint64_t> slots_;
  std::vector<char> texts_;
  LaneSums sums_;
};

// A comma behind each cell, rows that end with a line feed.
class WritingSink final : public Sink {
 public:
  explicit WritingSink(const char* path) : file_(std::fopen(path, "w"), &std::fclose) {
    std::setvbuf(file_.get(), nullptr, _IOFBF, 256 * 1024);
  }
  void Set(int, int row, const char* text) override { Put(row, {text, std::strlen(text)}); }
  void Set(int, int row, float value) override {
    char digits[32];
    Put(row, {digits, std::to_chars(digits, std::end(digits), value).ptr});
  }
  bool IsWide() const override { return true; }
  void SetWide(int, int row, double value) override {
    char digits[32];
    Put(row, {digits, std::to_chars(digits, std::end(digits), value).ptr});
  }
  CellSums Total() const override { return {}; }

 private:
  void Put(int row, std::string_view text) {
    fputc_unlocked(std::exchange(row_, row) == row ? ',' : '\n', file_.get());
    fwrite_unlocked(text.data(), 1, text.size(), file_.get());
  }

  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  int row_ = 1;
};

template <typename Value>
Value Load(const char* at) {
  Value value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
int Word(const char* at) { return Load<std::uint16_t>(at); }

constexpr std::size_t kBlock = 256 * 1024;
constexpr std::size_t kKept = 64 * 1024;  // at most, from one block to the next

// Reads a file from `start` on, block by block. `walk` goes through a block, behind which there are
// 64 bytes more, and returns where what it left begins, or null at the end.
template <typename Walk>
bool WalkBlocks(const char* path, long start, Walk walk) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0 || lseek(file, start, SEEK_SET) < 0) return false;
  alignas(64) static char block[kKept + kBlock + 64];
  std::size_t have = 0;
  for (ssize_t got; (got = read(file, block + have, kBlock)) > 0;) {
    char* const end = block + have + got;
    const char* const next = walk(static_cast<char*>(block), end);
    if (next == nullptr) break;
    have = static_cast<std::size_t>(end - next);
    if (have > kKept) return false;
    std::memmove(block, next, have);
  }
  return close(file) == 0;
}

bool Floor(const char* path, Sink& sink, std::span<const long>) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  constexpr std::size_t kPiece = 1 << 20;
  static char piece[kPiece];
  std::uint64_t sum = 0;
  for (ssize_t got; (got = read(file, piece, kPiece)) > 0;)
    for (ssize_t at = 0; at + 8 <= got; at += 8) sum += Load<std::uint64_t>(piece + at);
  sink.Set(1, 1, static_cast<float>(sum % 1'000));
  return file >= 0 && close(file) == 0;
}

// Calls `found` with every delimiter and line feed.
template <char kDelimiter, typename Found>
void FindEnds(const char* begin, const char* end, Found found) {
#ifdef __AVX2__
  const __m256i delimiter = _mm256_set1_epi8(kDelimiter);
  const __m256i feed = _mm256_set1_epi8('\n');
  for (const char* at = begin; at < end; at += 32) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    auto ends = static_cast<std::uint32_t>(_mm256_movemask_epi8(
        _mm256_or_si256(_mm256_cmpeq_epi8(bytes, delimiter), _mm256_cmpeq_epi8(bytes, feed))));
    if (end - at < 32) ends &= (std::uint32_t{1} << (end - at)) - 1;
    for (; ends != 0; ends &= ends - 1) found(at + std::countr_zero(ends));
  }
#else
  for (const char* at = begin; at < end; ++at)
    if (*at == kDelimiter || *at == '\n') found(at);
#endif
}

// With quotes every field is between two. Empty fields of CSV are not set.
template <char kDelimiter, std::size_t kQuotes>
bool Text(const char* path, Sink& sink, std::span<const long>) {
  int column = 1;
  int row = 1;
  return WalkBlocks(path, 0, [&](const char* field, const char* end) {
    char cell[4'096];
    FindEnds<kDelimiter>(field, end, [&](const char* at) {
      const std::size_t size =
          std::min<std::size_t>(static_cast<std::size_t>(at - field) - 2 * kQuotes, 4'095);
      std::memcpy(cell, field + kQuotes, size);
      cell[size] = '\0';
      if (kDelimiter == '\t' || size > 0) sink.Set(column, row, cell);
      if (*at == '\n') {
        column = 1;
        ++row;
      } else {
        ++column;
      }
      field = at + 1;
    });
    return field;
  });
}

float ShortNumber(std::uint32_t bits) {
  const double value = (bits & 2) != 0 ? static_cast<std::int32_t>(bits) >> 2
                                       : std::bit_cast<double>(std::uint64_t{bits & ~3U} << 32);
  return static_cast<float>((bits & 1) != 0 ? value / 100 : value);
}

// Shared strings of single bytes, each with its NUL.
class SharedStrings {
 public:
  void Begin(const char* data, int size) {
    count_ = Load<std::uint32_t>(data + 4);
    bytes_.assign(data + 8, data + size);
    open_ = true;
  }
  // A record that begins with 0 goes on inside a string.
  void Continue(const char* data, int size) {
    if (open_) bytes_.insert(bytes_.end(), data + (*data == 0 ? 1 : 0), data + size);
  }
  void End() {
    if (!open_) return;
    open_ = false;
    std::size_t at = 0;
    for (std::uint32_t i = 0; i < count_ && at + 3 <= bytes_.size(); ++i) {
      const int size = Word(&bytes_[at]);
      at += 3;
      starts_.push_back(texts_.size());
      texts_.insert(texts_.end(), bytes_.data() + at, bytes_.data() + at + size);
      texts_.push_back('\0');
      at += static_cast<std::size_t>(size);
    }
    std::vector<char>().swap(bytes_);
  }
  const char* operator[](std::uint32_t i) const {
    return i < starts_.size() ? &texts_[starts_[i]] : "";
  }

 private:
  bool open_ = false;
  std::uint32_t count_ = 0;
  std::vector<char> bytes_;
  std::vector<char> texts_;
  std::vector<std::size_t> starts_;
};

bool Biff(const char* path, Sink& sink, std::span<const long> numbers) {
  SharedStrings strings;
  int ends = 0;
  return WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    while (end - next >= 4 && end - next >= 4 + Word(next + 2)) {
      const int id = Word(next);
      const int size = Word(next + 2);
      const char* const data = next + 4;
      next = data + size;
      if (id == 0x003C) {
        strings.Continue(data, size);
        continue;
      }
      strings.End();
      const int row = Word(data) + 1;
      const int column = Word(data + 2) + 1;
      if (id == 0x0203) {
        sink.Set(column, row, Load<double>(data + 6));
      } else if (id == 0x027E) {
        sink.Set(column, row, ShortNumber(Load<std::uint32_t>(data + 6)));
      } else if (id == 0x00BD) {
        for (int i = 0; i < (size - 6) / 6; ++i)
          sink.Set(column + i, row, ShortNumber(Load<std::uint32_t>(data + 6 + 6 * i)));
      } else if (id == 0x00FD) {
        sink.Set(column, row, strings[Load<std::uint32_t>(data + 6)]);
      } else if (id == 0x00FC) {
        strings.Begin(data, size);
      } else if (id == 0x000A && ++ends == 2) {
        return static_cast<const char*>(nullptr);
      }
    }
    return next;
  });
}

// Takes a file line by line, each up to its line feed.
template <typename Line>
bool WalkLines(const char* path, Line line) {
  return WalkBlocks(path, 0, [&](char* next, char* end) {
    while (auto* const feed =
               static_cast<char*>(std::memchr(next, '\n', static_cast<std::size_t>(end - next)))) {
      line(next, feed);
      next = feed + 1;
    }
    return next;
  });
}

enum class Form : std::uint8_t { kPlain, kSqueezed, kDifference, kCount };
struct Start {
  Form form = Form::kPlain;
  std::uint8_t digit = 0;
  bool negative = false;
};
constexpr std::array<Start, 256> kStarts = [] {
  std::array<Start, 256> starts{};
  const auto set = [&](std::string_view letters, Form form, int digit, bool negative = false) {
    for (const char letter : letters)
      starts[static_cast<unsigned char>(letter)] = {form, static_cast<std::uint8_t>(digit++),
                                                    negative};
  };
  set("0123456789", Form::kPlain, 0);
  set("-", Form::kPlain, 0, true);
  set("@ABCDEFGHI", Form::kSqueezed, 0);
  set("abcdefghi", Form::kSqueezed, 1, true);
  set("%JKLMNOPQR", Form::kDifference, 0);
  set("jklmnopqr", Form::kDifference, 1, true);
  set("STUVWXYZs", Form::kCount, 1);
  return starts;
}();

// The blocks of a JCAMP-DX file, of which the ordinates are millionths.
class Blocks {
 public:
  explicit Blocks(Sink& sink) : sink_(sink), is_wide_(sink.IsWide()) {}

  void Line(const char* at, const char* end) {
    if (*at == '#') {
      in_data_ = end - at > 8 && std::memcmp(at, "##XYDATA", 8) == 0;
      if (!in_data_) return;
      ++block_;
      point_ = 0;
      check_next_ = false;
    } else if (in_data_) {
      Take(at, end);
      has_differences_ = false;
      last_ = 0;
      while (at < end) Value(at, end);
      check_next_ = has_differences_;
    }
  }

 private:
  struct Written {
    std::int64_t value;
    Form form;
  };

  static Written Take(const char*& at, const char* end) {
    while (at < end && *at == ' ') ++at;
    if (at == end) return {0, Form::kCount};
    const Start start = kStarts[static_cast<unsigned char>(*at++)];
    std::int64_t value = start.digit;
    for (unsigned digit; at < end && (digit = static_cast<unsigned>(*at - '0')) < 10; ++at)
      value = value * 10 + digit;
    return {start.negative ? -value : value, start.form};
  }

  void Value(const char*& at, const char* end) {
    const Written next = Take(at, end);
    if (next.form == Form::kCount) {
      for (std::int64_t i = 1; i < next.value; ++i) Point(ordinate_ + last_);
    } else if (next.form == Form::kDifference) {
      has_differences_ = true;
      last_ = next.value;
      Point(ordinate_ + last_);
    } else {
      last_ = 0;
      if (check_next_)
        ordinate_ = next.value;
      else
        Point(next.value);
      check_next_ = false;
    }
  }

  void Point(std::int64_t ordinate) {
    ordinate_ = ordinate;
    ++point_;
    const double value = 1e-6 * static_cast<double>(ordinate);
    if (is_wide_)
      sink_.SetWide(point_ + 2, block_ + 1, value);
    else
      sink_.Set(point_ + 2, block_ + 1, static_cast<float>(value));
    if (block_ == 1) Name();
  }

  // Digit by digit: the abscissas are whole.
  void Name() {
    char digits[12];
    std::size_t count = 0;
    for (int left = point_ - 1; count == 0 || left > 0; left /= 10)
      digits[count++] = static_cast<char>('0' + left % 10);
    char* to = name_ + 2;
    while (count > 0) *to++ = digits[--count];
    *to = '\0';
    sink_.Set(point_ + 2, 1, static_cast<const char*>(name_));
  }

  Sink& sink_;
  bool is_wide_;
  bool in_data_ = false;
  bool check_next_ = false;       // the next ordinate repeats the last one
  bool has_differences_ = false;  // this line
  int block_ = 0;
  int point_ = 0;
  std::int64_t ordinate_ = 0;
  std::int64_t last_ = 0;  // the difference that a count repeats
  char name_[16] = "t ";
};

bool Jcamp(const char* path, Sink& sink, std::span<const long>) {
  Blocks blocks(sink);
  return WalkLines(path, [&](const char* at, const char* end) { blocks.Line(at, end); });
}

template <typename Stored>
bool Values(const char* path, Sink& sink, std::span<const long> numbers) {
  const long skip = numbers[1];
  const long count = numbers[2];
  const long record = skip + count * static_cast<long>(sizeof(Stored));
  // Of the exponent 4 that the inputs have.
  constexpr float kScale = sizeof(Stored) == 2 ? 1.0F / 4'096.0F : 1.0F / 268'435'456.0F;
  const bool is_wide = !std::is_same_v<Stored, float> && sink.IsWide();
  int row = 1;
  return WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    for (; end - next >= record; ++row) {
      next += skip;
      for (int i = 0; i < count; ++i, next += sizeof(Stored)) {
        if (is_wide) {
          sink.SetWide(i + 3, row, static_cast<double>(Load<Stored>(next)) * double{kScale});
          continue;
        }
        const auto value = static_cast<float>(Load<Stored>(next));
        sink.Set(i + 3, row, std::is_same_v<Stored, float> ? value : value * kScale);
      }
    }
    return next;
  });
}

template <typename Stored, typename Bits>
bool BigValues(const char* path, Sink& sink, std::span<const long> numbers) {
  const long skip = numbers[1];
  const long count = numbers[2];
  const long record = skip + count * static_cast<long>(sizeof(Stored));
  int row = 2;
  return WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    for (; end - next >= record; ++row) {
      next += skip;
      for (int i = 0; i < count; ++i, next += sizeof(Stored)) {
        if constexpr (sizeof(Bits) == 4)
          sink.Set(i + 1, row, std::bit_cast<Stored>(__builtin_bswap32(Load<Bits>(next))));
        else
          sink.Set(i + 1, row, std::bit_cast<Stored>(__builtin_bswap64(Load<Bits>(next))));
      }
    }
    return next;
  });
}

// Columns of so many doubles, one behind the other.
class Columns {
 public:
  Columns(Sink& sink, long rows) : sink_(sink), rows_(static_cast<int>(rows)) {}

  const char* Take(const char* next, const char* end) {
    for (; end - next >= static_cast<std::ptrdiff_t>(sizeof(double)); next += sizeof(double)) {
      sink_.Set(column_, row_, Load<double>(next));
      if (row_++ == rows_) {
        row_ = 1;
        ++column_;
      }
    }
    return next;
  }

 private:
  Sink& sink_;
  int rows_;
  int column_ = 1;
  int row_ = 1;
};

bool Doubles(const char* path, Sink& sink, std::span<const long> numbers) {
  Columns columns(sink, numbers[2]);
  return WalkBlocks(path, numbers[0] + numbers[1],
                    [&](const char* next, const char* end) { return columns.Take(next, end); });
}

#ifdef NVIMPORT_HAS_PACKAGES
bool PackedDoubles(const char* path, Sink& sink, std::span<const long> numbers) {
  Columns columns(sink, numbers[2]);
  std::vector<char> unpacked(std::size_t{64} << 10);
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return false;
  char* const begin = unpacked.data();
  char* have = begin;  // the end of what a block left
  long skip = numbers[1];
  const bool is_read = WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(next));
    stream.avail_in = static_cast<uInt>(end - next);
    do {
      stream.next_out = reinterpret_cast<Bytef*>(have);
      stream.avail_out = static_cast<uInt>(begin + unpacked.size() - have);
      inflate(&stream, Z_NO_FLUSH);
      char* const last = reinterpret_cast<char*>(stream.next_out);
      const char* const left = columns.Take(begin + std::exchange(skip, 0), last);
      have = std::copy(left, static_cast<const char*>(last), begin);
    } while (stream.avail_out == 0);
    return end;
  });
  inflateEnd(&stream);
  return is_read;
}
#endif

bool Dif(const char* path, Sink& sink, std::span<const long>) {
  int line = 0;  // of three in the header, of two in the table
  bool in_table = false;
  char kind = '\0';
  int column = 0;
  int row = 0;
  return WalkLines(path, [&](char* at, char* end) {
    if (end > at && end[-1] == '\r') --end;
    if (line == 0) kind = *at;
    if (!in_table) {
      line = (line + 1) % 3;
      in_table = line == 0 && kind == 'D';
      return;
    }
    if (line == 0 && kind == '0') {
      *end = '\0';
      sink.Set(++column, row, static_cast<const char*>(at + 2));
    } else if (line == 1 && kind == '1') {
      end[-1] = '\0';
      sink.Set(++column, row, static_cast<const char*>(at + 1));
    } else if (line == 1 && kind == '-') {
      ++row;
      column = 0;
    }
    line = 1 - line;
  });
}

bool Lotus(const char* path, Sink& sink, std::span<const long>) {
  return WalkBlocks(path, 0, [&](const char* next, const char* end) {
    while (end - next >= 4 && end - next >= 4 + Word(next + 2)) {
      const int id = Word(next);
      const char* const data = next + 4;
      next = data + Word(next + 2);
      const int column = Word(data + 1) + 1;
      const int row = Word(data + 3) + 1;
      if (id == 14) sink.Set(column, row, Load<double>(data + 5));
      if (id == 13) sink.Set(column, row, static_cast<float>(Load<std::int16_t>(data + 5)));
      if (id == 15) sink.Set(column, row, data + 6);
    }
    return next;
  });
}

template <typename Value>
Value LoadBig(const char* at) {
  using Bits = std::make_unsigned_t<Value>;
  const auto bits = Load<Bits>(at);
  return static_cast<Value>(sizeof(Value) == 2
                                ? __builtin_bswap16(static_cast<std::uint16_t>(bits))
                                : __builtin_bswap32(static_cast<std::uint32_t>(bits)));
}

// The scale that the inputs have.
constexpr double kDetectorScale = 1.0 / 2'048;

// A row of values, whose times are known when they have been counted.
class Trace {
 public:
  explicit Trace(Sink& sink) : sink_(sink) {}
  void Add(double value) { sink_.Set(++count_ + 2, 2, value * kDetectorScale); }
  void SetTimes(long step) {
    for (int i = 0; i < count_; ++i) sink_.Set(i + 3, 1, static_cast<double>(step) * i / 60'000);
  }

 private:
  Sink& sink_;
  int count_ = 0;
};

bool Deltas(const char* path, Sink& sink, std::span<const long> numbers) {
  Trace trace(sink);
  std::int64_t value = 0;
  int left = 0;  // of a segment
  const bool is_read = WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    while (end - next >= 2) {
      if (left == 0) {
        if (*next != 0x10) return static_cast<const char*>(nullptr);
        left = static_cast<unsigned char>(next[1]);
        next += 2;
      }
      for (; left > 0 && end - next >= 2; --left) {
        const auto delta = LoadBig<std::int16_t>(next);
        if (delta != INT16_MIN) {
          value += delta;
          next += 2;
        } else if (end - next >= 6) {
          value = LoadBig<std::int32_t>(next + 2);
          next += 6;
        } else {
          return next;
        }
        trace.Add(static_cast<double>(value));
      }
    }
    return next;
  });
  trace.SetTimes(numbers[1]);
  return is_read;
}

bool DoubleDeltas(const char* path, Sink& sink, std::span<const long> numbers) {
  Trace trace(sink);
  std::int64_t value = 0;
  std::int64_t slope = 0;
  // What may be the mark at the end is looked at last.
  const bool is_read = WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    while (end - next > 2) {
      const auto delta = LoadBig<std::int16_t>(next);
      if (delta != INT16_MAX) {
        slope += delta;
        value += slope;
        next += 2;
      } else if (end - next >= 8) {
        value = std::int64_t{LoadBig<std::int16_t>(next + 2)} * 0x1'0000'0000 +
                static_cast<std::uint32_t>(LoadBig<std::int32_t>(next + 4));
        slope = 0;
        next += 8;
      } else {
        return next;
      }
      trace.Add(static_cast<double>(value));
    }
    return next;
  });
  trace.SetTimes(numbers[1]);
  return is_read;
}

bool TraceOfDoubles(const char* path, Sink& sink, std::span<const long> numbers) {
  Trace trace(sink);
  const bool is_read = WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    for (; end - next >= 8; next += 8) trace.Add(Load<double>(next));
    return next;
  });
  trace.SetTimes(numbers[1]);
  return is_read;
}

bool Scans(const char* path, Sink& sink, std::span<const long> numbers) {
  int row = 1;
  return WalkBlocks(path, numbers[0], [&](const char* next, const char* end) {
    while (end - next >= 22 && end - next >= Word(next + 2)) {
      if (Word(next) != 67) return static_cast<const char*>(nullptr);
      const int points = (Word(next + 10) - Word(next + 8)) / Word(next + 12) + 1;
      next += 22;
      ++row;
      int value = 0;
      for (int i = 0; i < points; ++i) {
        const auto delta = Load<std::int16_t>(next);
        next += 2;
        if (delta != INT16_MIN) {
          value += delta;
        } else {
          value = Load<std::int32_t>(next);
          next += 4;
        }
        sink.Set(i + 4, row, value * kDetectorScale);
      }
    }
    return next;
  });
}

constexpr struct {
  std::string_view name;
  bool (*run)(const char* path, Sink& sink, std::span<const long> numbers);
} kModes[] = {
    {"floor", Floor},
    {"text", Text<'\t', 0>},
    {"csv", Text<',', 0>},
    {"quoted", Text<',', 1>},
    {"biff", Biff},
    {"jcamp", Jcamp},
    {"f32", Values<float>},
    {"i32", Values<std::int32_t>},
    {"i16", Values<std::int16_t>},
    {"bf32", BigValues<float, std::uint32_t>},
    {"bf64", BigValues<double, std::uint64_t>},
    {"f64", Doubles},
#ifdef NVIMPORT_HAS_PACKAGES
    {"zf64", PackedDoubles},
#endif
    {"dif", Dif},
    {"lotus", Lotus},
    {"deltas", Deltas},
    {"deltas2", DoubleDeltas},
    {"doubles", TraceOfDoubles},
    {"scans", Scans},
};

std::unique_ptr<Sink> MakeSink(char**& arguments) {
  const std::string_view option = *arguments;
  if (option == "--numbers") {
    ++arguments;
    return std::make_unique<SummingSink<TableSums>>(TableSums());
  }
  if (option == "--store") {
    arguments += 2;
    return std::make_unique<StoringSink>(std::atoi(arguments[-1]));
  }
  if (option == "--write") {
    arguments += 2;
    return std::make_unique<WritingSink>(arguments[-1]);
  }
  return std::make_unique<SummingSink<LaneSums>>(LaneSums());
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  char** const end = arguments + count;
  ++arguments;
  if (count < 3) return 2;
  const auto sink = MakeSink(arguments);
  if (end - arguments < 2) return 2;
  std::vector<long> numbers;
  for (char** number = arguments + 2; number < end; ++number) numbers.push_back(std::atol(*number));
  numbers.resize(3);
  for (const auto& mode : kModes) {
    if (mode.name != arguments[0]) continue;
    if (!mode.run(arguments[1], *sink, numbers)) return 1;
    const CellSums total = sink->Total();
    std::printf("cells=%llu sum=%llu d=%.10g\n", static_cast<unsigned long long>(total.cells),
                static_cast<unsigned long long>(total.bytes), total.numbers);
    return 0;
  }
  return 2;
}
