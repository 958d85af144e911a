// make-inputs KIND FOLDER COUNT: writes a large input, the same on every machine, into FOLDER.
// COUNT is what the input has of its largest unit: rows, points, blocks, sub-files or spectra.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bench/CompoundFileAround.h"
#include "nvimport/platform/OutputFile.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/ChemStationFixture.h"
#include "tests/support/NetcdfFixture.h"
#include "tests/support/OpusFixture.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/MatFixture.h"
#include "tests/support/PackageFixture.h"
#endif

namespace nvimport {

namespace {

// Not <random>, whose distributions differ between libraries.
class Random {
 public:
  explicit Random(std::uint64_t seed = 0) : state_(0x9E3779B97F4A7C15U + seed) {}

  int Below(std::uint32_t limit) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<int>((state_ >> 32) * limit >> 32);
  }

 private:
  std::uint64_t state_;
};

constexpr std::array kWords = {"alpha",  "bravo",    "charlie", "delta",   "echo",  "foxtrot",
                               "golf",   "hotel",    "india",   "juliett", "kilo",  "lima",
                               "mike",   "november", "oscar",   "papa",    "north", "south",
                               "lot 12", "batch B",  "ok",      "n/a"};

std::string Word(Random& random) {
  return kWords[static_cast<std::size_t>(random.Below(kWords.size()))];
}

// value / 10^decimals, with all its decimals.
std::string Fixed(std::int64_t value, std::size_t decimals) {
  std::string text = std::to_string(std::abs(value));
  if (text.size() <= decimals) text.insert(0, decimals + 1 - text.size(), '0');
  text.insert(text.size() - decimals, ".");
  return value < 0 ? "-" + text : text;
}

// Delimited text: twelve columns of numbers, six of texts, two that are often empty.
std::string TableCell(Random& random, int row, int column) {
  switch (column) {
    case 0:
      return std::to_string(row);
    case 1:
      return "S-" + std::to_string(100'000 + random.Below(900'000));
    case 3:
    case 9:
    case 15:
      return Fixed(random.Below(200'000'000) - 100'000'000, 4);
    case 4:
    case 10:
    case 16:
      return std::to_string(random.Below(20'000) - 10'000);
    case 5:
    case 11:
      return Fixed(random.Below(1'000'000), 6);
    case 6:
    case 12:
      return random.Below(4) != 0 ? Fixed(random.Below(100'000), 2) : "";
    case 7: {
      const std::string first = Word(random);
      return first + " " + Word(random);
    }
    case 13: {
      const std::string mantissa = Fixed(random.Below(9'000'000) + 1'000'000, 6);
      return mantissa + "e" + std::to_string(random.Below(40) - 20);
    }
    case 17:
      return std::to_string(random.Below(2));
    case 18: {
      std::string date = "20" + std::to_string(10 + random.Below(15));
      date += "-" + std::to_string(10 + random.Below(3));
      return date + "-" + std::to_string(10 + random.Below(18));
    }
    case 19:
      return Fixed(random.Below(10'000'000), 3);
    default:
      return Word(random);
  }
}

// Mostly numbers.
std::string WideCell(Random& random, int, int column) {
  if (column % 100 == 0) return kWords[static_cast<std::size_t>(random.Below(16))];
  return column % 3 != 0 ? Fixed(random.Below(10'000), 4) : std::to_string(random.Below(5'000));
}

void MakeTable(const std::string& path, int rows, int columns, const char* name,
               std::string (*cell)(Random&, int, int), char delimiter = '\t',
               const std::string& quote = "") {
  Random random;
  OutputFile out(path.c_str());
  const auto separator = [&](int column) { return column + 1 < columns ? delimiter : '\n'; };
  for (int row = 0; row <= rows; ++row)
    for (int column = 0; column < columns; ++column) {
      std::string field = quote;
      field += row == 0 ? name + std::to_string(column + 1) : cell(random, row, column);
      out.Write((field += quote) += separator(column));
    }
}

void MakeTall(const std::string& folder, int rows) {
  MakeTable(folder + "/tab.txt", rows, 20, "Var", TableCell);
}

void MakeWide(const std::string& folder, int rows) {
  MakeTable(folder + "/wide.txt", rows, 20'000, "w", WideCell);
}

void MakeCsv(const std::string& folder, int rows) {
  MakeTable(folder + "/comma.csv", rows, 20, "Var", TableCell, ',');
}

void MakeQuotedCsv(const std::string& folder, int rows) {
  MakeTable(folder + "/quoted.csv", rows, 20, "Var", TableCell, ',', R"(")");
}

// The shared strings in records of 8,224 bytes; a text that goes on in the next record says again
// that it is of single bytes.
std::string SharedStrings(std::uint32_t cells, std::uint32_t strings) {
  constexpr std::size_t kMost = 8'224;
  std::string records;
  std::string data = U32(cells) + U32(strings);
  const auto flush = [&](std::size_t size) {
    records += Record(records.empty() ? 0x00FC : 0x003C, std::string_view(data).substr(0, size));
    data.erase(0, size);
  };
  for (std::uint32_t i = 0; i < strings; ++i) {
    char text[48];
    std::snprintf(text, sizeof text, "%s-%s-%06u", kWords[i % 12], kWords[i / 12 % 12], i);
    if (data.size() + 3 > kMost) flush(data.size());
    data += Text8(text);
    if (data.size() > kMost) {
      flush(kMost);
      data.insert(0, 1, '\0');
    }
  }
  flush(data.size());
  return records;
}

// A workbook: of ten columns two are numbers, six are in a run of short numbers, two are texts.
void MakeWorkbook(const std::string& folder, int rows) {
  constexpr unsigned kColumns = 100;
  constexpr unsigned kFormat = 15;  // the first that is no style
  const auto count = static_cast<std::uint32_t>(rows);
  const std::uint32_t strings = kColumns + count * 3 / 2;
  Random random;
  std::string cells;
  std::uint32_t text = kColumns;
  for (unsigned row = 0; row < count; ++row) {
    cells += Record(0x0208, U16(row) + U16(0) + U16(kColumns) + U16(255) + std::string(8, '\0'));
    for (unsigned column = 0; column < kColumns; ++column) {
      if (row == 0 || column % 10 >= 8) {
        cells += Record(0x00FD, Cell(row, column, kFormat) + U32(row == 0 ? column : text));
        if (row > 0) text = kColumns + (text - kColumns + 7'919) % (strings - kColumns);
      } else if (column % 10 < 2) {
        cells += Number(row, column, random.Below(1'000'000'000) / 1e6 - 500, kFormat);
      } else if (column % 10 == 2) {
        std::string run = At(row, column);
        for (unsigned i = 0; i < 6; ++i) {
          const auto whole = static_cast<std::uint32_t>(random.Below(200'000) - 100'000);
          const auto quarters = std::bit_cast<std::uint64_t>(random.Below(100'000) / 4.0);
          run += U16(kFormat) +
                 U32(i < 3 ? whole << 2 | 2 : static_cast<std::uint32_t>(quarters >> 32));
        }
        cells += Record(0x00BD, run + U16(column + 5));
      }
    }
  }
  std::string globals;
  for (unsigned i = 0; i <= kFormat; ++i)
    globals +=
        Record(0x00E0, U16(0) + U16(0) + U16(i < kFormat ? 0xFFF5 : 1) + std::string(14, '\0'));
  globals += SharedStrings(kColumns + (count - 1) * 20, strings);
  WorkbookFixture workbook{{{}}, globals};
  workbook.sheets[0].cells = std::move(cells);
  workbook.sheets[0].rows = count;
  workbook.sheets[0].columns = kColumns;
  workbook.sheets[0].name = "Data";
  OutputFile((folder + "/big.xls").c_str()).Write(CompoundFileAround(workbook.Stream()));
}

#ifdef NVIMPORT_HAS_PACKAGES
constexpr std::uint32_t kPackageColumns = 100;

// A hundred columns as in MakeWorkbook, in XML or in binary parts.
std::string PackageRow(Random& random, std::uint32_t row, std::uint32_t& text,
                       std::uint32_t strings, bool is_binary) {
  const std::string number = std::to_string(row + 1);
  std::string cells = is_binary ? BinaryRow(row) : R"(<row r=")" + number + R"(" spans="1:100">)";
  for (std::uint32_t column = 0; column < kPackageColumns; ++column) {
    std::string place;
    if (column >= 26) place += static_cast<char>('A' + column / 26 - 1);
    place += static_cast<char>('A' + column % 26);
    std::string head = R"(<c r=")";
    ((head += place) += number) += '"';
    if (row == 0 || column % 10 >= 8) {
      const std::uint32_t which = row == 0 ? column : text;
      if (row > 0) text = kPackageColumns + (text - kPackageColumns + 7'919) % strings;
      cells += is_binary ? BinaryCell(7, column, U32(which))
                         : head + " t=\"s\"><v>" + std::to_string(which) + "</v></c>";
    } else if (column % 10 < 2) {
      const int value = random.Below(1'000'000'000);
      cells += is_binary ? BinaryCell(5, column, F64(value / 1e6 - 500))
                         : head + "><v>" + Fixed(std::int64_t{value} - 500'000'000, 6) + "</v></c>";
    } else {
      const bool is_whole = column % 10 < 5;
      const int value = random.Below(200'000) - (is_whole ? 100'000 : 0);
      const auto rk =
          is_whole ? static_cast<std::uint32_t>(value) << 2 | 2
                   : static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value / 4.0) >> 32);
      cells += is_binary
                   ? BinaryCell(2, column, U32(rk))
                   : head + "><v>" + (is_whole ? std::to_string(value) : Fixed(value * 25LL, 2)) +
                         "</v></c>";
    }
  }
  return is_binary ? cells : cells + "</row>";
}

void MakePackage(const std::string& folder, std::uint32_t count, bool is_binary) {
  const std::uint32_t strings = count * 3 / 2;
  Random random;
  PackageFixture workbook{{{"", "Data"}}};
  workbook.is_binary = is_binary;
  std::uint32_t text = kPackageColumns;
  for (std::uint32_t row = 0; row < count; ++row)
    workbook.sheets[0].data += PackageRow(random, row, text, strings, is_binary);
  for (std::uint32_t i = 0; i < kPackageColumns + strings; ++i) {
    const std::string string = i < kPackageColumns
                                   ? "Var" + std::to_string(i + 1)
                                   : Word(random) + "-" + Word(random) + "-" + std::to_string(i);
    workbook.strings +=
        is_binary
            ? BinaryRecord(19, U8(0) + BinaryText(std::u16string(string.begin(), string.end())))
            : "<si><t>" + string + "</t></si>";
  }
  workbook.styles = is_binary ? BinaryRecord(47, std::string(16, '\0')) : "<xf numFmtId=\"0\"/>";
  OutputFile((folder + (is_binary ? "/big.xlsb" : "/big.xlsx")).c_str()).Write(workbook.File());
}

void MakeXmlWorkbook(const std::string& folder, int count) {
  MakePackage(folder, static_cast<std::uint32_t>(count), /*is_binary=*/false);
}
void MakeBinaryWorkbook(const std::string& folder, int count) {
  MakePackage(folder, static_cast<std::uint32_t>(count), /*is_binary=*/true);
}
#endif

// A spectrum of eight peaks, of which a quarter is free of noise.
std::vector<int> Ordinates(int points, int seed) {
  Random random(static_cast<std::uint64_t>(seed) * 7'919);
  random.Below(1);
  std::vector<int> ordinates;
  for (int i = 0; i < points; ++i) {
    const double x = static_cast<double>(i) / points;
    double y = 2'000 * x;
    for (int peak = 1; peak <= 8; ++peak) {
      const double distance = (x - peak / 9.0) / (0.004 * peak);
      y += 60'000.0 * peak / (1 + distance * distance) * (1 + seed % 13 * 0.01);
    }
    ordinates.push_back(static_cast<int>(y) + (i / 4'096 % 4 == 3 ? 0 : random.Below(41) - 20));
  }
  return ordinates;
}

std::string PlainLines(const std::vector<int>& ordinates) {
  std::string lines;
  for (std::size_t i = 0; i < ordinates.size();) {
    std::string line = std::to_string(i);
    for (; i < ordinates.size(); ++i) {
      const std::string value = " " + std::to_string(ordinates[i]);
      if (line.size() + value.size() > 78) break;
      line += value;
    }
    lines += line + "\n";
  }
  return lines;
}

// A number whose first digit is a letter, one of `positive` from 0 or of `negative` from 1.
std::string Coded(int value, const char* positive, const char* negative) {
  std::string text = std::to_string(std::abs(value));
  text[0] = value < 0 ? negative[text[0] - '1'] : positive[text[0] - '0'];
  return text;
}
std::string Squeezed(int value) { return Coded(value, "@ABCDEFGHI", "abcdefghi"); }
std::string Difference(int value) { return Coded(value, "%JKLMNOPQR", "jklmnopqr"); }

// Differences with counts. A line after one that ended in a difference begins with the last
// ordinate once more, and so does one behind the last.
std::string DifferenceLines(const std::vector<int>& ordinates) {
  const std::size_t points = ordinates.size();
  const auto step = [&](std::size_t i) { return ordinates[i] - ordinates[i - 1]; };
  std::string lines;
  bool after_difference = false;
  for (std::size_t i = 0; i < points;) {
    if (after_difference) --i;
    std::string line = std::to_string(i) + Squeezed(ordinates[i]);
    after_difference = ++i < points;
    while (i < points && line.size() < 70) {
      const std::size_t begin = i++;
      while (i < points && step(i) == step(begin)) ++i;
      line += Difference(step(begin));
      if (i - begin > 1) line += Coded(static_cast<int>(i - begin), "?STUVWXYZs", "");
    }
    lines += line + "\n";
  }
  if (after_difference) lines += std::to_string(points - 1) + Squeezed(ordinates.back()) + "\n";
  return lines;
}

std::string Block(const std::string& title, const std::string& id, int points, int seed,
                  std::string (*lines)(const std::vector<int>&)) {
  const std::vector<int> ordinates = Ordinates(points, seed);
  return "##TITLE= " + title +
         "\n##JCAMP-DX= 4.24\n##DATA TYPE= INFRARED SPECTRUM\n##ORIGIN= generated\n"
         "##OWNER= public domain\n##XUNITS= 1/CM\n##YUNITS= ABSORBANCE\n##FIRSTX= 0\n##LASTX= " +
         std::to_string(points - 1) +
         "\n##DELTAX= 1\n##XFACTOR= 1\n##YFACTOR= 0.000001\n##NPOINTS= " + std::to_string(points) +
         "\n" + id + "##FIRSTY= " + Fixed(ordinates[0], 6) + "\n##XYDATA= (X++(Y..Y))\n" +
         lines(ordinates) + "##END=\n";
}

void MakePlain(const std::string& folder, int points) {
  OutputFile((folder + "/affn.dx").c_str()).Write(Block("AFFN 1M", "", points, 1, PlainLines));
}

void MakeDifferences(const std::string& folder, int points) {
  OutputFile((folder + "/difdup.dx").c_str())
      .Write(Block("DIFDUP 1M", "", points, 1, DifferenceLines));
}

void MakeLink(const std::string& folder, int blocks) {
  OutputFile out((folder + "/link.dx").c_str());
  out.Write("##TITLE= link of " + std::to_string(blocks) +
            "\n##JCAMP-DX= 4.24\n##DATA TYPE= LINK\n##BLOCKS= " + std::to_string(blocks + 1) +
            "\n##ORIGIN= generated\n##OWNER= public domain\n");
  for (int block = 1; block <= blocks; ++block) {
    const std::string number = std::to_string(block);
    out.Write(Block("spectrum " + number, "##BLOCK_ID= " + number + "\n", 3'000, block,
                    block % 2 != 0 ? DifferenceLines : PlainLines));
  }
  out.Write("##END=\n");
}

template <typename Value>
void MakeSpc(const std::string& path, int sub_files, char flags, double scale) {
  constexpr int kPoints = 2'000;
  const char exponent = scale == 1 ? '\x80' : '\4';
  std::string header(512, '\0');
  header[0] = flags;
  header[1] = 'K';
  header[3] = exponent;
  Put(header, 4, kPoints);
  Put(header, 8, 1100.0);
  Put(header, 16, 1099.0 + kPoints);
  Put(header, 24, sub_files);
  header.replace(28, 3, "\3\2\4");
  Put(header, 32, 2020U << 20 | 1U << 16 | 2U << 11 | 3U << 6 | 4U);
  header.replace(88, 9, "generated");
  Put(header, 260, 1.0F);
  Put(header, 312, 1.0F);

  Random random;
  OutputFile out(path.c_str());
  out.Write(header);
  for (int number = 0; number < sub_files; ++number) {
    std::string sub_file(32 + kPoints * sizeof(Value), '\0');
    sub_file[1] = exponent;
    Put(sub_file, 2, static_cast<std::int16_t>(number));
    Put(sub_file, 4, static_cast<float>(number));
    Put(sub_file, 8, static_cast<float>(number + 1));
    Put(sub_file, 16, kPoints);
    for (int i = 0; i < kPoints; ++i) {
      const double value =
          2 + 1.5 * std::sin(i * 0.01 + number * 0.001) + random.Below(2'001) * 1e-5;
      Put(sub_file, 32 + static_cast<std::size_t>(i) * sizeof(Value),
          static_cast<Value>(value * scale));
    }
    out.Write(sub_file);
  }
}

void MakeSpcFloat(const std::string& folder, int sub_files) {
  MakeSpc<float>(folder + "/spcf.spc", sub_files, 4, 1);
}
// Values below 8, so fractions of 2^4.
void MakeSpc32(const std::string& folder, int sub_files) {
  MakeSpc<std::int32_t>(folder + "/spc32.spc", sub_files, 4, 268'435'456);
}
void MakeSpc16(const std::string& folder, int sub_files) {
  MakeSpc<std::int16_t>(folder + "/spc16.spc", sub_files, 5, 4'096);
}

void MakeDif(const std::string& folder, int rows) {
  constexpr int kColumns = 20;
  Random random;
  OutputFile out((folder + "/dif.dif").c_str());
  out.Write("TABLE\r\n0,1\r\n\"bench\"\r\nVECTORS\r\n0," + std::to_string(kColumns) +
            "\r\n\"\"\r\nTUPLES\r\n0," + std::to_string(rows) +
            "\r\n\"\"\r\nDATA\r\n0,0\r\n\"\"\r\n");
  for (int row = 0; row < rows; ++row) {
    out.Write("-1,0\r\nBOT\r\n");
    for (int column = 0; column < kColumns; ++column) {
      if (row == 0)
        out.Write("1,0\r\n\"Var" + std::to_string(column + 1) + "\"\r\n");
      else if (column % 5 == 4)
        out.Write("1,0\r\n\"" + Word(random) + "\"\r\n");
      else
        out.Write("0," +
                  (column % 2 != 0 ? Fixed(random.Below(20'000'000) - 10'000'000, 4)
                                   : std::to_string(random.Below(200'000) - 100'000)) +
                  "\r\nV\r\n");
    }
  }
  out.Write("-1,0\r\nEOD\r\n");
}

void MakeLotus(const std::string& folder, int rows) {
  constexpr unsigned kColumns = 256;
  Random random;
  OutputFile out((folder + "/wk1.wk1").c_str());
  const auto count = static_cast<unsigned>(rows);
  out.Write(Record(0, U16(0x0406)) +
            Record(6, U16(0) + U16(0) + U16(kColumns - 1) + U16(count - 1)));
  for (unsigned row = 0; row < count; ++row) {
    for (unsigned column = 0; column < kColumns; ++column) {
      const std::string place = "\xFF" + U16(column) + U16(row);
      if (row == 0 || column % 16 == 0)
        out.Write(Record(
            15,
            place + "'" + (row == 0 ? "Var" + std::to_string(column + 1) : Word(random)) + '\0'));
      else if (column % 16 == 1)
        out.Write(
            Record(13, place + Bytes(static_cast<std::int16_t>(random.Below(60'000) - 30'000))));
      else
        out.Write(Record(14, place + F64((random.Below(2'000'000'000) - 1e9) / 10'007.0)));
    }
  }
  out.Write(Record(1));
}

void MakeNsas(const std::string& folder, int spectra) {
  constexpr int kPoints = 1'050;
  constexpr int kConstituents = 3;
  Random random;
  OutputFile out((folder + "/nsas.da").c_str());
  OutputFile constituents((folder + "/nsas.cn").c_str());
  std::string names = "Const1    Const2    Const3";
  names.resize(384, ' ');
  constituents.Write(names);
  for (int number = 0; number < spectra; ++number) {
    std::string record(128 + (kPoints * 4 + 127) / 128 * 128, '\0');
    const auto put = [&](std::size_t at, int value) {
      Put(record, at, static_cast<std::int16_t>(value));
    };
    put(0, 6'500);
    put(2, number + 1);
    char name[16];
    std::snprintf(name, sizeof name, "Smp %-6d", (number + 1) % 1'000'000);
    record.replace(4, 10, name);
    put(14, kPoints);
    put(16, 400);
    put(18, 2'500);
    put(30, kConstituents);
    put(64, 98);
    put(66, 1 + number % 12);
    put(68, 1 + number % 28);
    put(70, number % 24);
    put(72, number % 60);
    put(74, number * 7 % 60);
    for (int i = 0; i < kPoints; ++i) {
      const auto wave = static_cast<float>(std::sin(i * 0.01 + number * 0.0003));
      Put(record, 128 + static_cast<std::size_t>(i) * 4,
          0.5F + 0.4F * wave + static_cast<float>(random.Below(1'000)) * 1e-6F);
    }
    out.Write(record);
    std::string values(128, '\0');
    for (int i = 0; i < kConstituents; ++i)
      Put(values, static_cast<std::size_t>(i) * 4,
          10.0F * static_cast<float>(i) + static_cast<float>(random.Below(1'000)) * 0.01F);
    constituents.Write(values);
  }
}

void MakeBrimrose(const std::string& folder, int spectra) {
  constexpr int kPoints = 1'000;
  Random random;
  OutputFile out((folder + "/brimrose.dat").c_str());
  std::string header(512, '\0');
  Put(header, 29, 1100.0F);
  Put(header, 33, 1099.0F + kPoints);
  Put(header, 37, 1.0F);
  Put(header, 41, static_cast<std::int16_t>(kPoints));
  Put(header, 45, static_cast<std::int16_t>(spectra));
  out.Write(header);
  for (int number = 0; number < spectra; ++number) {
    std::string record(120 + 4 * kPoints, '\0');
    Put(record, 0, 1'000'000'000 + number * 61);
    const std::string name = "sample " + std::to_string(number + 1);
    record.replace(4, name.size(), name);
    for (int i = 0; i < kPoints; ++i) {
      const auto wave = static_cast<float>(std::cos(i * 0.01 + number * 0.0002));
      Put(record, 120 + static_cast<std::size_t>(i) * 4,
          1.0F + wave + static_cast<float>(random.Below(1'000)) * 1e-6F);
    }
    out.Write(record);
  }
}

// A series, with what is said of each spectrum behind it.
void MakeOpus(const std::string& folder, int spectra) {
  using Opus = OpusFixture;
  constexpr std::int32_t kPoints = 2'000;
  constexpr std::int32_t kSize = kPoints * sizeof(float);
  constexpr std::int32_t kSaid = 152;
  Random random;
  std::string data = Opus::Values(std::vector<std::int32_t>{0, spectra, 24, kSize, kSaid, 0});
  std::vector<float> values(kPoints);
  for (int i = 0; i < spectra; ++i) {
    for (float& value : values) value = static_cast<float>(random.Below(1'000'000)) / 1e6F;
    data += Opus::Values(values) + std::string(kSaid, '\0');
  }
  const std::string more = Opus::Number("CSF", 1) + Opus::Number("MXY", 1) + Opus::Number("MNY", 0);
  OutputFile out((folder + "/series.0").c_str());
  out.Write(Opus{}
                .AddData(Opus::kAbsorbance + Opus::kSeriesOf,
                         Opus::Status(kPoints, 4'000, 2'001, more), std::move(data))
                .File());
}

#ifdef NVIMPORT_HAS_PACKAGES
// Absorbances of an instrument of 16 bits, which leave little to pack.
template <bool kPacked>
void MakeMatrix(const std::string& folder, int columns) {
  constexpr int kRows = 2'000;
  Random random;
  std::vector<double> values(static_cast<std::size_t>(columns) * kRows);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i / kRows % 700) / 65'536 + random.Below(256) / 65'536.0;
  const MatFixture mat;
  const std::string variable = mat.Doubles({kRows, columns}, values, "spectra");
  OutputFile out((folder + (kPacked ? "/packed.mat" : "/plain.mat")).c_str());
  out.Write(mat.Header());
  out.Write(kPacked ? mat.Packed(variable) : variable);
}
#endif

// So many columns a row, in one array or a variable for every few of them.
template <typename Value, std::uint32_t kType, bool kRecords>
void MakeNetcdf(const std::string& folder, int rows, int columns, int variables) {
  Random random;
  const int width = columns / variables;
  NetcdfFixture file{.dimensions = {{"row", kRecords ? 0U : static_cast<std::uint32_t>(rows)},
                                    {"column", static_cast<std::uint32_t>(width)}},
                     .records = kRecords ? static_cast<std::uint32_t>(rows) : 0U};
  for (int i = 0; i < variables; ++i) {
    std::vector<Value> values(static_cast<std::size_t>(rows) * static_cast<std::size_t>(width));
    for (Value& value : values) value = static_cast<Value>(random.Below(700'000)) / 65'536;
    std::vector<std::uint32_t> along{0};
    if (width > 1) along.push_back(1);
    file.variables.push_back(
        {"v" + std::to_string(100 + i), along, kType, NetcdfFixture::Values(values)});
  }
  OutputFile((folder + "/table.nc").c_str()).Write(file.Bytes());
}
void MakeNetcdfArray(const std::string& folder, int rows) {
  MakeNetcdf<float, NetcdfFixture::kFloat, false>(folder, rows, 1'000, 1);
}
void MakeNetcdfRecords(const std::string& folder, int rows) {
  MakeNetcdf<float, NetcdfFixture::kFloat, true>(folder, rows, 1'000, 2);
}
void MakeNetcdfColumns(const std::string& folder, int rows) {
  MakeNetcdf<double, NetcdfFixture::kDouble, true>(folder, rows, 50, 50);
}

constexpr double kStep = 10;  // of chromatograms, in ms

// What a detector sees: a baseline with noise, and a peak every 10,000 points.
std::int32_t DetectorValue(Random& random, int point) {
  const double place = (point % 10'000 - 5'000) / 300.0;
  return static_cast<std::int32_t>(1e5 * std::exp(-place * place)) + random.Below(200);
}

void MakeDeltas(const std::string& folder, int points) {
  constexpr int kSegment = 255;
  ChemStationFixture file{.last_time = kStep * (points - 1), .step = 0, .scale = 1.0 / 2'048};
  Random random;
  std::int32_t before = 0;
  for (int i = 0; i < points; ++i) {
    if (i % kSegment == 0)
      file.body.append({'\x10', static_cast<char>(std::min(kSegment, points - i))});
    const std::int32_t value = DetectorValue(random, i);
    file.largest = std::max(file.largest, value);
    file.body +=
        i == 0 ? file.Absolute(value) : file.Delta(static_cast<std::int16_t>(value - before));
    before = value;
  }
  file.body.append(2, '\0');
  OutputFile((folder + "/deltas.ch").c_str()).Write(file.Bytes());
}

void MakeDoubleDeltas(const std::string& folder, int points) {
  ChemStationFixture file{
      .version = 181, .last_time = kStep * (points - 1), .step = 0, .scale = 1.0 / 2'048};
  Random random;
  std::int32_t before = 0;
  std::int32_t slope = 0;
  for (int i = 0; i < points; ++i) {
    const std::int32_t value = DetectorValue(random, i);
    file.body += i == 0 ? file.DoubleAbsolute(value)
                        : file.Delta(static_cast<std::int16_t>(value - before - slope));
    slope = i == 0 ? 0 : value - before;
    before = value;
  }
  file.body.append(2, '\0');
  OutputFile((folder + "/double-deltas.ch").c_str()).Write(file.Bytes());
}

void MakeChromatogramOfDoubles(const std::string& folder, int points) {
  ChemStationFixture file{
      .version = 179, .last_time = kStep * (points - 1), .step = 0, .scale = 1.0 / 2'048};
  Random random;
  for (int i = 0; i < points; ++i) file.body += file.Little<double>(DetectorValue(random, i));
  OutputFile((folder + "/doubles.ch").c_str()).Write(file.Bytes());
}

void MakeScans(const std::string& folder, int scans) {
  constexpr int kPoints = 400;
  ChemStationFixture file{.version = 131, .scale = 1.0 / 2'048};
  Random random;
  for (int scan = 0; scan < scans; ++scan) {
    std::string values;
    std::int32_t before = 0;
    for (int i = 0; i < kPoints; ++i) {
      const std::int32_t value = 1'000 + i * 20 + random.Below(200);
      values += file.Little(static_cast<std::int16_t>(value - before));
      before = value;
    }
    file.Add(100 * scan, file.Scan(100 * scan, values, kPoints));
  }
  OutputFile((folder + "/scans.uv").c_str()).Write(file.Bytes());
}

constexpr struct {
  std::string_view kind;
  void (*make)(const std::string& folder, int count);
  int most;  // of what the format can count
} kGenerators[] = {
    {"tab", MakeTall, 10'000'000},
    {"wide", MakeWide, 100'000},
    {"csv", MakeCsv, 10'000'000},
    {"quoted", MakeQuotedCsv, 10'000'000},
    {"xls", MakeWorkbook, 65'536},
#ifdef NVIMPORT_HAS_PACKAGES
    {"xlsx", MakeXmlWorkbook, 65'536},
    {"xlsb", MakeBinaryWorkbook, 65'536},
#endif
    {"affn", MakePlain, 10'000'000},
    {"difdup", MakeDifferences, 10'000'000},
    {"link", MakeLink, 100'000},
    {"spcf", MakeSpcFloat, 100'000},
    {"spc32", MakeSpc32, 100'000},
    {"spc16", MakeSpc16, 100'000},
    {"dif", MakeDif, 10'000'000},
    {"wk1", MakeLotus, 8'192},
    {"nsas", MakeNsas, 32'767},
    {"brimrose", MakeBrimrose, 65'535},
    {"opus", MakeOpus, 100'000},
    {"ch", MakeDeltas, 100'000'000},
    {"ch181", MakeDoubleDeltas, 100'000'000},
    {"ch179", MakeChromatogramOfDoubles, 100'000'000},
    {"uv", MakeScans, 1'000'000},
    {"nc", MakeNetcdfArray, 1'000'000},
    {"ncr", MakeNetcdfRecords, 1'000'000},
    {"ncc", MakeNetcdfColumns, 1'000'000},
#ifdef NVIMPORT_HAS_PACKAGES
    {"mat", MakeMatrix<false>, 100'000},
    {"matz", MakeMatrix<true>, 100'000},
#endif
};

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  if (count != 4) return 2;
  const int units = std::atoi(arguments[3]);
  for (const auto& generator : kGenerators) {
    if (generator.kind != arguments[1]) continue;
    if (units < 2 || units > generator.most) return 2;
    generator.make(arguments[2], units);
    const std::string failure = OutputFile::TakeFailure();
    if (failure.empty()) return 0;
    std::fprintf(stderr, "%s: %s\n", arguments[2], failure.c_str());
    return 1;
  }
  return 2;
}
