#include <fstream>

#include "nvimport/formats/text/CsvFile.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"
#include "tests/support/ReferenceCsv.h"

namespace nvimport {

namespace {

Outcome Split(const std::string& bytes, const std::string& options = "delimiter=comma") {
  return Import<CsvFile>(bytes, options);
}

std::string Utf16(std::u16string_view text, bool is_big) {
  std::string bytes;
  for (const char16_t unit : u"\uFEFF" + std::u16string(text)) {
    bytes += static_cast<char>(is_big ? unit >> 8 : unit & 0xFF);
    bytes += static_cast<char>(is_big ? unit & 0xFF : unit >> 8);
  }
  return bytes;
}

TEST(CsvFile, SplitsLinesIntoFields) {
  const struct {
    const char* why;
    std::string bytes;
    const char* sheet;
  } kCases[] = {
      {"plain", "a,b\n1,2\n", "'a' | 'b'\n'1' | '2'\n"},
      {"empty fields are missing, the last one counts", "a,,b,\n,\n",
       "'a' | . | 'b' | .\n. | . | . | .\n"},
      {"ragged rows", "a\nb,c\n", "'a' | .\n'b' | 'c'\n"},
      {"blanks stay", " a ,\tb\n", "' a ' | '\tb'\n"},
      {"every line end", "a\nb\r\nc\rd", "'a'\n'b'\n'c'\n'd'\n"},
      {"two line ends in a row", "a\r\r\nb\n\rc\r", "'a'\n.\n'b'\n.\n'c'\n"},
      {"an empty last line is a row", "a\r\n\r\n", "'a'\n.\n"},
      {"a delimiter at the end of the file", "a,b\nc,", "'a' | 'b'\n'c' | .\n"},
      {"quotes hold a field together", "\"a,b\",\"c\r\nd\ne\"\n", "'a,b' | 'c\r\nd\ne'\n"},
      {"a doubled quote is one", "\"say \"\"hi\"\"\",\"\"\"\",\"\"\"x\"\n",
       "'say \"hi\"' | '\"' | '\"x'\n"},
      {"an empty field in quotes is missing", "\"\",a,\"\"\n", ". | 'a' | .\n"},
      {"a row of one such counts", "\"\"\n", ".\n"},
      {"a quote within a field is a character", "5\" pipe,a\"b\"c\n", "'5\" pipe' | 'a\"b\"c'\n"},
      {"so it is behind a blank", " \"a\",b\n", "' \"a\"' | 'b'\n"},
      {"what follows the closing quote", "\"a\"b,\"c\" \"d\",\"e\"\"f\"g\"\n",
       "'ab' | 'c \"d\"' | 'e\"fg\"'\n"},
      {"a quoted field ends the file", "a,\"b\"", "'a' | 'b'\n"},
      {"a CR before the end of a quote stays", "\"a\r\"\r\nb\n", "'a\r'\n'b'\n"},
      {"bytes of any kind", "\xff\x01,\xe9\n", "'\xff\x01' | '\xe9'\n"},
      {"a lone line end", "\r\n", ""},
      {"nothing", "", ""},
      {"a mark", "\xEF\xBB\xBF\"a\",b\n", "'a' | 'b'\n"},
      {"a mark alone", "\xEF\xBB\xBF", ""},
      {"a line that names the delimiter", "sep=;\r\na,b\n", "'a' | 'b'\n"},
      {"UTF-16LE", Utf16(u"\u00e9,\"\U0001F600,\n\"\r\n", false),
       "'\xC3\xA9' | '\xF0\x9F\x98\x80,\n'\n"},
      {"UTF-16BE", Utf16(u"a,\u20ac\nb", true), "'a' | '\xE2\x82\xAC'\n'b' | .\n"},
      {"half a pair, half a unit", Utf16(u"\xD83D,\xDE00x\xD83D", false) + "y",
       "'\xEF\xBF\xBD' | '\xEF\xBF\xBDx\xEF\xBF\xBD'\n"
       "3 halves of pairs in UTF-16 stand alone and arrive as U+FFFD\n"
       "the text ends within a character, of which nothing was delivered\n"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Split(c.bytes).Summary(), c.sheet) << c.why;
}

TEST(CsvFile, GuessesTheDelimiter) {
  const struct {
    const char* why;
    std::string bytes;
    const char* options;  // as they come back
  } kCases[] = {
      {"the most frequent", "a;b;c,d\n", "delimiter=semicolon"},
      {"TAB", "a\tb\n", "delimiter=tab"},
      {"bar", "a|b|c\n", "delimiter=bar"},
      {"outside quotes only", "\"a,b,c\";d\n", "delimiter=semicolon"},
      {"an odd quote in a field", "5\" pipe;6\" pipe\n", "delimiter=semicolon"},
      {"a tie, and the next lines decide", "a,b;c\n1;2,3,4\n5;6\n", "delimiter=semicolon"},
      {"a tie for good", "a,b;c\n", "delimiter=comma"},
      {"decimal commas", "1,5;2,5;3,5\n", "delimiter=semicolon"},
      {"with signs, blanks, exponents and thousands", "-1,5; 2,5 ;1.234,5;1,5E-3\n",
       "delimiter=semicolon"},
      {"in the next lines", "name;x\na;1,5\nb;2,5\n", "delimiter=semicolon"},
      {"separated by bars", "1,5|2,5|\n3,5|4,5|\n", "delimiter=bar"},
      {"commas of texts", "a,b;c,d\n", "delimiter=comma"},
      {"only some are numbers", "1,5;2,5,x\n", "delimiter=comma"},
      {"whole numbers", "1,2,3\n", "delimiter=comma"},
      {"none", "abc\ndef\n", "delimiter=comma"},
      {"an empty file", "", "delimiter=comma"},
      {"titles and empty lines first", "Report\n\n\na;b\n", "delimiter=semicolon"},
      {"a line that names it", "sep=|\na,b,c\n", "delimiter=bar"},
      {"in quotes", "\"sep=\t\"\r\na,b,c\n", "delimiter=tab"},
      {"any byte", "sep=:\na,b,c\n", "delimiter=:"},
      {"no more than a byte", "sep=;;\na,b,c\n", "delimiter=semicolon"},
      {"UTF-16", Utf16(u"sep=;\r\na,b\n", true), "delimiter=semicolon"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const TempFile file(c.bytes);
    CsvFile reader;
    NvImportOpenOptions record{0, nullptr};
    ASSERT_EQ(reader.Open(true, file.path(), &record), 0);
    EXPECT_EQ(PairsOf(record), c.options + ";quote=double;header=1"s);
    EXPECT_EQ(Split(c.bytes, PairsOf(record)).sheet, Import<CsvFile>(c.bytes).sheet);
  }
  // What a block cuts off does not count.
  std::string long_lines = "a;b,c\n";
  while (long_lines.size() < (64 << 10) - 3) long_lines += "1;2\n";
  EXPECT_EQ(Import<CsvFile>(long_lines + ",,,,\n").status, 0);
}

TEST(CsvFile, TakesOptions) {
  const struct {
    const char* options;
    std::string bytes;
    const char* sheet;
  } kCases[] = {
      {"delimiter=semicolon", "a,b;c\n", "'a,b' | 'c'\n"},
      {"delimiter=tab", "a,b\tc\n", "'a,b' | 'c'\n"},
      {"delimiter=bar", "a,b|c\n", "'a,b' | 'c'\n"},
      {"delimiter=blank", "a  b\n", "'a' | . | 'b'\n"},
      {"delimiter=:", "sep=;\na;b:c\n", "'a;b' | 'c'\n"},
      {"delimiter==", "a=b\n", "'a' | 'b'\n"},
      {"quote=single", "'a,b','it''s',\"\n", "'a,b' | 'it's' | '\"'\n"},
      {"quote=none", "\"a,b\"\n", "'\"a' | 'b\"'\n"},
      {"quote=%", "%a,b%,c\n", "'a,b' | 'c'\n"},
      {"header=1", "a,b\nc\n", "'a' | 'b'\n'c' | .\n"},
      {"header=0", "\"a\nx\",b,c\r\n1,2\n\n3", "'1' | '2'\n. | .\n'3' | .\n"},
      {"header=0", "sep=,\na,b\n1,2\n", "'1' | '2'\n"},
      {"header=0", "a,b", ""},
      {"unknown=x", "a,b\n", "'a' | 'b'\n"},
      {"", "a,b\n", "'a' | 'b'\n"},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(Split(c.bytes, c.options).Summary(), c.sheet) << c.options << " " << c.bytes;
  ExpectRefusedOptions<CsvFile>(
      "a,b\n", {"delimiter=", "delimiter=;;", "delimiter=Tab", "delimiter=\n", "delimiter=\"",
                "quote=", "quote=zork", "quote=\r", "header=2", "delimiter=x;quote=x", "zork"});
  ExpectMade(CsvFile::GetImportOptions(";", "none", false),
             "delimiter=semicolon;quote=none;header=0");
}

TEST(CsvFile, RefusesWhatItCannotRead) {
  const std::string binary =
      "3073 This file appears to be a binary file and cannot be imported. Only ordinary text "
      "(ASCII) files can be imported.\n";
  const std::string utf32 =
      "3076 UTF-32 texts cannot be read. Only UTF-8, UTF-16 and ordinary texts can be imported.\n";
  const auto open_quote = [](int line) {
    return "3074 The quoted field that begins in line " + std::to_string(line) +
           " is not closed.\n";
  };
  const std::string head(30767, 'x');
  ExpectImports<CsvFile>({
      {"a NUL in the last byte that is tested", head + '\0', binary},
      {"behind a mark", "\xEF\xBB\xBF" + head.substr(3) + '\0', binary},
      {"a NUL in the first that is not", head + "x\0"s,
       "'" + head + "x'\n1 field holds a NUL byte, and what follows it there was not delivered\n"},
      {"UTF-16 without a mark", "a\0,\0b\0"s, binary},
      {"UTF-32", "\xFF\xFE\0\0a\0\0\0"s, utf32},
      {"UTF-32 the other way round", "\0\0\xFE\xFF\0\0\0a"s, utf32},
      {"an open quote", "a,b\r\n\"x\r\ny\",1\r\n3,\"open\r\nmore,1\r\n", open_quote(4)},
      {"behind the delimiter's line", "sep=,\n\"a\n", open_quote(2)},
      {"a lone quote", "\"", open_quote(1)},
      {"three quotes", "a\ra,\"\"\"", open_quote(2)},
      {"in UTF-16", Utf16(u"a\n\u20ac\n\n\"b", false), open_quote(4)},
  });
  ExpectNoFile<CsvFile>(
      "3072 Failed to open stream for reading.",
      "3 Tried to write to the file when it was opened for reading or vice versa.", 3);
}

TEST(CsvFile, AFieldBeyond64MebibytesIsRefused) {
  constexpr std::size_t kLongest = std::size_t{64} << 20;
  for (const std::size_t extra : {0U, 1U, 300'000U}) {
    const TempFile file("a\nb," + std::string(kLongest + extra, 'x') + ",b\n");
    CsvFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), extra == 0 ? 3 : -1);
    EXPECT_EQ(reader.GetStatus(), extra == 0 ? 0 : 3075);
    EXPECT_EQ(ErrorText(reader), extra == 0 ? ""
                                            : "The field that begins in line 2 is longer than 64 "
                                              "MiB. A quotation mark may be missing.");
    MemorySheet sheet;
    EXPECT_EQ(reader.Read(&sheet), extra == 0 ? 0 : 3075);
  }
}

// What the reference says of a file.
std::string Expected(const std::string& text, char delimiter) {
  const ReferenceTable table = ReferenceCsv(text, delimiter, '"');
  if (table.open_line != 0)
    return "3074 The quoted field that begins in line " + std::to_string(table.open_line) +
           " is not closed.\n";
  const std::size_t columns = table.columns();
  std::string sheet;
  for (const auto& row : table.rows) {
    for (std::size_t c = 0; c < columns; ++c) {
      const bool is_set = c < row.size() && !row[c].empty();
      sheet += (c > 0 ? " | " : "") + (is_set ? "'" + row[c] + "'" : ".");
    }
    if (columns > 0) sheet += "\n";
  }
  return sheet;
}

std::string Padded(std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) bytes += "cell,\"quoted, \"\"too\"\"\",\"x\"\r\n";
  return bytes.substr(0, size) + "x\"\n";
}

// Puts every kind of piece at every place around the borders of the blocks that are read, and of
// the 64 bytes that are scanned at a time.
TEST(CsvFile, AgreesWithTheReferenceAcrossBlocks) {
  const std::string kPieces[] = {"\"", "''", ",", "\r\n", "\r", "\"a\"b", "\"\r\n\"", "x\"y\""};
  for (const std::string& piece : kPieces)
    for (const std::size_t border : {std::size_t{64}, std::size_t{256} << 10})
      for (std::size_t shift = 0; shift < 4; ++shift) {
        SCOPED_TRACE(testing::PrintToString(piece) + " " + std::to_string(border - shift));
        std::string bytes(border - shift - 1, 'a');
        bytes += "," + piece + piece + ",b\nc,\"d\"" + piece + Padded(border);
        for (const std::string& file : {bytes, bytes + "\""})
          EXPECT_TRUE(Split(file).Summary() == Expected(file, ','));
      }
}

TEST(CsvFile, WhatANulCutsOffIsNoted) {
  const std::string head(30768, 'x');
  EXPECT_EQ(Split("h\n" + head + "\na,b\0c,d\n\"e\0\"\"f\"\n\0g,h\n"s).Summary(),
            "'h' | . | .\n'" + head +
                "' | . | .\n'a' | 'b' | 'd'\n'e' | . | .\n. | 'h' | .\n"
                "3 fields hold a NUL byte, and what follows it there was not delivered\n");
}

TEST(CsvFile, HoldsAFieldButNeverALine) {
  std::string bytes;
  while (bytes.size() < (24U << 20)) bytes += "\"1234\",";
  const TempFile file(bytes);
  bytes = {};
  const AllocationCounter memory;
  CsvFile reader;
  ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
  EXPECT_EQ(reader.GetNumCols(), 3595119);
  EXPECT_EQ(reader.GetNumRows(), 1);
  EXPECT_LT(memory.Peak(), 2U << 20);
}

TEST(CsvFile, BearsAFileThatChangesMeanwhile) {
  const struct {
    std::string after;
    int status;
    const char* sheet;
    const char* notes;
  } kCases[] = {
      {"a,b,c\nd,e\nf,g\n", 0, "'a' | 'b'\n'd' | 'e'\n", ""},
      {"a", 0, "'a' | .\n. | .\n",
       "the file has become shorter while it was read: 1 of 2 rows were delivered\n"},
      {"a\n\n\"", 0, "'a' | .\n. | .\n", ""},
      {"a\n\"b", 3074, "'a' | .\n. | .\n", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.after);
    const TempFile file("a,b\nd,e\n");
    CsvFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
    ASSERT_EQ(reader.GetNumRows(), 2);
    std::ofstream(file.path(), std::ios::binary | std::ios::trunc) << c.after;
    MemorySheet sheet;
    const LogRecorder log;
    EXPECT_EQ(reader.Read(&sheet), c.status);
    EXPECT_EQ(SheetText(sheet), c.sheet);
    EXPECT_EQ(log.Notes(), c.notes);
  }
}

}  // namespace

}  // namespace nvimport
