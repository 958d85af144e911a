#include "nvimport/formats/text/CsvFile.h"
#include "nvimport/formats/text/TextFile.h"
#include "nvimport/platform/Utf16.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

enum class Order { kLittle, kBig };

std::string Utf16(std::u16string_view text, Order order, bool is_marked) {
  std::string bytes;
  for (const char16_t unit : (is_marked ? u"\uFEFF" : u"") + std::u16string(text)) {
    const char both[] = {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    bytes += both[order == Order::kBig ? 0 : 1];
    bytes += both[order == Order::kBig ? 1 : 0];
  }
  return bytes;
}

Outcome AsText(const std::string& bytes, const TextRules& rules = TextRules::Off()) {
  const TempFile file(bytes);
  TextFile reader(rules);
  auto options = OpenOptions::Made(TextFile::GetImportOptions(";", false));
  return ImportFile(reader, file.path(), options.get());
}

Outcome AsCsv(const std::string& bytes, const CsvRules& rules = CsvRules::Off()) {
  return Import<CsvFile>(bytes, "delimiter=semicolon", rules);
}

// Every prefix comes as the same text in UTF-8 does, but for half a unit, which is told.
TEST(Utf16Text, IsReadAsUtf8Is) {
  const std::u16string text = u"head;\u00e9t\u00e9\r\n\"a;b\";\u20ac 5\n\n;last\U0001F600;x\r\ny";
  for (const Order order : {Order::kLittle, Order::kBig})
    for (const bool is_marked : {true, false}) {
      const std::string bytes = Utf16(text, order, is_marked);
      const std::size_t mark = is_marked ? 2 : 0;
      for (std::size_t size = 4 + mark; size <= bytes.size(); ++size) {
        std::string utf8;
        Utf16Decoder decoder;
        const std::size_t units = (size - mark) / 2;
        const auto take = [&](char32_t c) { AppendUtf8(utf8, c); };
        for (const char16_t unit : text.substr(0, units)) decoder.Unit(unit, take);
        decoder.End(take);
        const Outcome as_text = AsText(bytes.substr(0, size));
        EXPECT_EQ(as_text.status, 0) << size;
        EXPECT_EQ(as_text.sheet, AsText(utf8).sheet) << size;
        EXPECT_EQ(as_text.notes.find("ends within") != std::string::npos, size % 2 != 0) << size;
        EXPECT_EQ(AsCsv(bytes.substr(0, size)).sheet, AsCsv(utf8).sheet) << size;
      }
    }
}

TEST(Utf16Text, TellsWhatIsNoCharacter) {
  const std::string broken = Utf16(u"\xDE00x;one two three four\xD83D\n", Order::kBig, false);
  const std::string comes =
      "'\uFFFDx' | 'one two three four\uFFFD'\n"
      "2 halves of pairs in UTF-16 stand alone and arrive as U+FFFD\n";
  EXPECT_EQ(AsText(broken).Summary(), comes);
  EXPECT_EQ(AsCsv(broken).Summary(), comes);
}

TEST(Utf16Text, IsWhatItsBytesShowOnly) {
  const std::string binary =
      " This file appears to be a binary file and cannot be imported. Only ordinary text (ASCII) "
      "files can be imported.\n";
  const std::string text = Utf16(u"a;b\n", Order::kLittle, false);
  const std::string marked = Utf16(u"a;b\n", Order::kLittle, true);
  EXPECT_EQ(AsText(marked, {}).Summary(), "514" + binary);
  EXPECT_EQ(AsText(text, {}).Summary(), "514" + binary);
  EXPECT_EQ(AsCsv(text, {}).Summary(), "3073" + binary);
  EXPECT_EQ(AsCsv(marked, {}).Summary(), "'a' | 'b'\n");
  // Numbers of 16 bits, and of 32, are none. Neither is a zero in a text of bytes.
  for (const std::string& none :
       {"\x05\0a\0b\0\n\0"s, "a\0\0\0b\0\0\0"s, "abcdefgh\0"s, "\xFF\xFE\0\0a\0\0\0"s,
        "\xFF\xFE"
        "a\0\0\0"s})
    EXPECT_EQ(AsText(none).Summary(), "514" + binary) << testing::PrintToString(none);
  EXPECT_EQ(AsText("\xEF\xBB\xBF"
                   "a\n")
                .sheet,
            "'\xEF\xBB\xBF"
            "a'\n");
}

}  // namespace

}  // namespace nvimport
