#include <functional>
#include <map>
#include <sstream>

#include "nvimport/hosting/export/SheetWriters.h"
#include "nvimport/platform/ByteReader.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

template <typename T>
T At(const std::string& bytes, std::size_t place) {
  return LoadLittle<T>(bytes.substr(place, sizeof(T)).data());
}

// A table of a FlatBuffer.
struct ArrowTable {
  const std::string& bytes;
  std::size_t at;

  // The place of a field; 0 where it is not there.
  std::size_t Field(std::size_t id) const {
    const std::size_t index = at - At<std::uint32_t>(bytes, at);
    const bool is_there = 4 + 2 * id < At<std::uint16_t>(bytes, index);
    const std::size_t offset = is_there ? At<std::uint16_t>(bytes, index + 4 + 2 * id) : 0;
    return offset == 0 ? 0 : at + offset;
  }
  template <typename T>
  T Number(std::size_t id) const {
    return Field(id) == 0 ? T{} : At<T>(bytes, Field(id));
  }
  std::size_t Target(std::size_t id) const {
    return Field(id) + At<std::uint32_t>(bytes, Field(id));
  }
  ArrowTable Table(std::size_t id) const { return {bytes, Target(id)}; }
  std::string Text(std::size_t id) const {
    return bytes.substr(Target(id) + 4, At<std::uint32_t>(bytes, Target(id)));
  }
  std::size_t Count(std::size_t id) const { return At<std::uint32_t>(bytes, Target(id)); }
  ArrowTable TableIn(std::size_t id, std::size_t i) const {
    const std::size_t place = Target(id) + 4 + 4 * i;
    return {bytes, place + At<std::uint32_t>(bytes, place)};
  }
  std::uint64_t NumberIn(std::size_t id, std::size_t i) const {
    EXPECT_EQ((Target(id) + 4) % 8, 0U);
    return At<std::uint64_t>(bytes, Target(id) + 4 + 8 * i);
  }
};

// Reads a stream, of which the cells become texts.
class ArrowStream {
 public:
  std::vector<std::string> columns;  // name and type
  std::map<std::string, std::string> metadata;
  std::vector<std::vector<std::string>> cells;  // by columns
  std::size_t batches = 0;

  // Returns what stands behind the stream.
  std::string Read(std::string bytes) {
    while (At<std::uint32_t>(bytes, 0) == 0xffffffff) {
      const auto size = At<std::uint32_t>(bytes, 4);
      const std::string head = bytes.substr(8, size);
      EXPECT_EQ(size % 8, 0U);
      if (size == 0) return bytes.substr(8);
      const ArrowTable message{head, At<std::uint32_t>(head, 0)};
      const auto body_size = message.Number<std::uint64_t>(3);
      EXPECT_EQ(message.Number<std::uint16_t>(0), 4);
      const std::string body = bytes.substr(8 + size, body_size);
      Take(message.Number<char>(1), message.Table(2), body);
      bytes.erase(0, 8 + size + body_size);
    }
    ADD_FAILURE() << "no end";
    return bytes;
  }

 private:
  void Take(int kind, const ArrowTable& table, const std::string& body) {
    if (kind == 1) return TakeSchema(table);
    std::size_t node = 0;
    std::size_t buffer = 0;
    if (kind == 2) {
      auto& texts = dictionaries_[table.Number<std::size_t>(0)];
      return Texts(table.Table(1), body, node, buffer, 't', texts);
    }
    ++batches;
    for (std::size_t i = 0; i < cells.size(); ++i)
      Texts(table, body, node, buffer, columns[i].back(), cells[i], i);
  }
  void TakeSchema(const ArrowTable& schema) {
    for (std::size_t i = 0; i < schema.Count(1); ++i) {
      const ArrowTable field = schema.TableIn(1, i);
      const int type = field.Number<char>(2);
      const bool is_dictionary = field.Field(4) != 0;
      columns.push_back(field.Text(0) + (is_dictionary ? ":i"
                                         : type == 2   ? ":w"
                                         : type == 3   ? ":d"
                                                       : ":t"));
    }
    cells.resize(columns.size());
    for (std::size_t i = 0; i < schema.Count(2); ++i)
      metadata[schema.TableIn(2, i).Text(0)] = schema.TableIn(2, i).Text(1);
  }
  void Texts(const ArrowTable& batch, const std::string& body, std::size_t& node,
             std::size_t& buffer, char type, std::vector<std::string>& to, std::size_t column = 0) {
    const auto take = [&] {
      const auto place = batch.NumberIn(2, buffer++);
      return body.substr(place, batch.NumberIn(2, buffer++));
    };
    const std::size_t count = batch.NumberIn(1, node);
    const std::size_t missing = batch.NumberIn(1, node + 1);
    node += 2;
    const std::string valid = take();
    const std::string values = take();
    const std::string texts = type == 't' ? take() : "";
    const std::size_t before = to.size();
    for (std::size_t i = 0; i < count; ++i) {
      FloatText text;
      if (!valid.empty() && ((valid[i / 8] >> i % 8) & 1) == 0)
        to.emplace_back(".");
      else if (type == 'd')
        to.emplace_back(FormatDouble(At<double>(values, 8 * i), text));
      else if (type == 'w')
        to.push_back(std::to_string(At<long long>(values, 8 * i)) + "w");
      else if (type == 'i')
        to.push_back(dictionaries_[column].at(At<std::uint32_t>(values, 4 * i)));
      else
        to.push_back(
            "'" +
            texts.substr(At<std::uint32_t>(values, 4 * i),
                         At<std::uint32_t>(values, 4 * i + 4) - At<std::uint32_t>(values, 4 * i)) +
            "'");
    }
    EXPECT_EQ(std::count(to.begin() + static_cast<long>(before), to.end(), "."),
              static_cast<long>(missing));
  }

  std::map<std::size_t, std::vector<std::string>> dictionaries_;
};

std::string Arrow(SheetFormat format, int columns,
                  const std::function<void(SpreadsheetData&)>& give,
                  const SheetMetadata& metadata = {}) {
  const TempFile file("");
  const TextConversion conversion;
  OutputFile out(file.path());
  const auto sheet = NewStreamingSheet(format, conversion, out);
  sheet->Begin({.columns = columns, .metadata = metadata});
  give(*sheet);
  EXPECT_TRUE(sheet->Finish());
  out.Close();
  return Contents(file.path());
}

}  // namespace

// What comes below a name makes the column's type.
TEST(ArrowRows, AColumnIsWhatLosesNothing) {
  using Give = void (*)(SpreadsheetData&);
  const struct {
    const char* why;
    Give give;
    const char* column;
  } kCases[] = {
      {"numbers of all kinds",
       [](SpreadsheetData& sheet) {
         sheet.Set(1, 2, 1.5F);
         sheet.SetExact(1, 4, 0.1);
         sheet.SetExact(1, 5, 7LL);
       },
       "x:d 1.5 . 0.1 7"},
      {"texts that are numbers",
       [](SpreadsheetData& sheet) {
         sheet.Set(1, 2, "0.3120");
         sheet.Set(1, 3, "-2e3");
         sheet.Set(1, 4, 2.0F);
       },
       "x:d 0.312 -2000 2"},
      {"fractions beside a whole one that a double rounds",
       [](SpreadsheetData& sheet) {
         sheet.Set(1, 2, "0.3120");
         sheet.Set(1, 3, "12345678901234567");
       },
       "x:t '0.3120' '12345678901234567'"},
      {"whole ones that a double rounds",
       [](SpreadsheetData& sheet) {
         sheet.SetExact(1, 2, 9007199254740993LL);
         sheet.Set(1, 4, "9223372036854775807");
         sheet.Set(1, 5, -3.0F);
       },
       "x:w 9007199254740993w . 9223372036854775807w -3w"},
      {"beyond 64 bits", [](SpreadsheetData& sheet) { sheet.Set(1, 2, "9223372036854775808"); },
       "x:t '9223372036854775808'"},
      {"beyond a double", [](SpreadsheetData& sheet) { sheet.Set(1, 2, "1e999"); }, "x:t '1e999'"},
      {"a number among texts",
       [](SpreadsheetData& sheet) {
         sheet.Set(1, 2, 0.1F);
         sheet.Set(1, 3, "a");
         sheet.Set(1, 4, "0.50");
       },
       "x:t '0.1' 'a' '0.50'"},
      {"digits that are none", [](SpreadsheetData& sheet) { sheet.Set(1, 2, "007"); }, "x:t '007'"},
      {"texts that repeat, UTF-8 and others",
       [](SpreadsheetData& sheet) {
         for (const int row : {2, 3, 4, 6})
           sheet.Set(1, row, row % 2 == 0 && row < 6 ? "gr\u00fcn" : "caf\xe9");
       },
       "x:i 'gr\u00fcn' 'caf\u00e9' 'gr\u00fcn' . 'caf\u00e9'"},
      {"nothing", [](SpreadsheetData& sheet) { sheet.SetDataSize(1, 3); }, "x:d . ."},
  };
  for (const auto& c : kCases) {
    ArrowStream stream;
    stream.Read(Arrow(SheetFormat::kArrowStream, 1, [&](SpreadsheetData& sheet) {
      sheet.Set(1, 1, "x");
      c.give(sheet);
    }));
    std::string column = stream.columns[0];
    for (const std::string& cell : stream.cells[0]) column += " " + cell;
    EXPECT_EQ(column, c.column) << c.why;
  }
}

TEST(ArrowRows, ColumnsHaveNamesOfTheirOwn) {
  ArrowStream stream;
  stream.Read(Arrow(SheetFormat::kArrowStream, 6, [](SpreadsheetData& sheet) {
    int column = 0;
    for (const char* name : {"a", "a", "a (2)", "", "a", "column 4"}) sheet.Set(++column, 1, name);
  }));
  EXPECT_EQ(stream.columns, (std::vector<std::string>{"a:d", "a (2):d", "a (2) (2):d", "column 4:d",
                                                      "a (3):d", "column 4 (2):d"}));
}

// More than one batch waits in a temporary file, and the last row is wider than all others.
TEST(ArrowRows, ManyRowsComeInBatches) {
  constexpr int kRows = 300'000;
  const std::string file = Arrow(SheetFormat::kArrow, 3,
                                 [](SpreadsheetData& sheet) {
                                   sheet.Set(1, 1, "n");
                                   sheet.Set(3, 1, 1.5F);
                                   for (int row = 2; row <= kRows + 1; ++row) {
                                     sheet.SetExact(1, row, row * 0.1);
                                     if (row % 3 != 0)
                                       sheet.Set(2, row, row % 2 == 0 ? "even" : "odd");
                                     sheet.Set(3, row, ("row " + std::to_string(row)).c_str());
                                   }
                                   sheet.Set(4, kRows + 1, 0.5F);
                                 },
                                 {{"x_unit", "nm"}});
  ASSERT_TRUE(file.starts_with(std::string("ARROW1\0\0", 8)));
  ASSERT_TRUE(file.ends_with("ARROW1"));
  ArrowStream stream;
  const std::string end = stream.Read(file.substr(8));
  EXPECT_EQ(stream.metadata["x_unit"], "nm");
  EXPECT_EQ(stream.columns, (std::vector<std::string>{"n:d", "column 2:i", "1.5:t", "column 4:d"}));
  std::vector<std::string> fourth(kRows, ".");
  fourth.back() = "0.5";
  EXPECT_EQ(stream.cells[3], fourth);
  int wrong = 0;
  for (std::size_t i = 0; i < kRows; ++i) {
    const auto row = static_cast<int>(i) + 2;
    FloatText text;
    wrong += stream.cells[0][i] == FormatDouble(row * 0.1, text) ? 0 : 1;
    wrong += stream.cells[1][i] == (row % 3 == 0 ? "." : row % 2 == 0 ? "'even'" : "'odd'") ? 0 : 1;
    wrong += stream.cells[2][i] == "'row " + std::to_string(row) + "'" ? 0 : 1;
  }
  EXPECT_EQ(wrong, 0);
  // The end leads to each message.
  const ArrowTable footer{end, At<std::uint32_t>(end, 0)};
  EXPECT_EQ(footer.Table(1).Count(1), 4U);
  EXPECT_EQ(footer.Count(2), 1U);
  ASSERT_EQ(footer.Count(3), stream.batches);
  EXPECT_GT(stream.batches, 1U);
  for (std::size_t i = 0; i < stream.batches; ++i) {
    const std::uint64_t place = footer.NumberIn(3, 3 * i);
    EXPECT_EQ(At<std::uint32_t>(file, place), 0xffffffff);
    EXPECT_EQ(At<std::uint32_t>(file, place + 4) + 8, footer.NumberIn(3, 3 * i + 1));
  }
}

}  // namespace nvimport
