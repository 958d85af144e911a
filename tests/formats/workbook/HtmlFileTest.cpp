#ifdef NVIMPORT_HAS_HTML

#include "plugins/complete/HtmlFile.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

std::string Summary(const std::string& file, const std::string& options = "") {
  HtmlFile reader;
  OpenOptions given(options);
  std::string summary = ImportFile(reader, TempFile(file).path(), given.get()).Summary();
  if (!summary.empty() && summary.back() == '\n') summary.pop_back();
  return summary;
}

TEST(HtmlFile, ReadsTables) {
  const struct {
    const char* why;
    std::string page;
    std::string sheet;
  } kCases[] = {
      {"cells, however their ends are left out",
       "<html><body><p>before<table><thead><tr><th>a<th>b</thead><tr><td>c</td><td></td>"
       "<tr><td>&nbsp;<td>d</table>after",
       "'a' | 'b'\n'c' | .\n. | 'd'"},
      {"white space, breaks, entities, what shows nothing",
       "<table><tr><td> two \n words&nbsp;</td><td>x<br>y<p>z</p>w</td><td>&lt;&eacute;&#8364;"
       "<script>1<2</script><style>td{}</style><!-- no --></td><td><b>bo</b><i>ld</i></td></table>",
       "'two words' | 'x\ny\nz\nw' | '<\xC3\xA9\xE2\x82\xAC' | 'bold'"},
      {"plain numbers, and texts that are more",
       "<table><tr><td>1.5<td>-2e3<td> 7 <td>007<td>+1<td>1,5<td>12%<td>1234567890123456789",
       "1.5 | -2000 | 7 | '007' | '+1' | '1,5' | '12%' | '1234567890123456789'"},
      {"the number that a program writes behind what it shows",
       "<table><tr><td x:num='0.125'>13%</td><td x:num>4</td><td sdval='12.5' sdnum='x'>$12.50</td>"
       "<td sdval='45000'>2023-03-15</td><td x:num='0.25'>6:00</td><td x:str>5x</td>"
       "<td sdval='0'>#N/A</td></table>",
       "0.125 | 4 | 12.5 | '2023-03-15' | '6:00' | '5x' | '#N/A'"},
      {"spans",
       "<table><tr><td colspan=2>a<td rowspan=3>b<tr><td rowspan=2>c<td>d<tr><td>e<tr><td>f<td>g"
       "</table>",
       "'a' | . | 'b'\n'c' | 'd' | .\n. | 'e' | .\n'f' | 'g' | ."},
      {"the encoding that the page names, or shows",
       "<meta charset='iso-8859-1'><table><tr><td>\xE4\x80</td></table>", "'\xC3\xA4\xE2\x82\xAC'"},
      {"UTF-8 without a word", "<table><tr><td>\xC3\xA4</td></table>", "'\xC3\xA4'"},
      {"neither", "<table><tr><td>\xE4</td></table>", "'\xC3\xA4'"},
      {"UTF-16", "\xFF\xFE<\0t\0a\0b\0l\0e\0>\0<\0t\0d\0>\0\xE4\0"s, "'\xC3\xA4'"},
      {"no table", "<html><p>1", "4102 The HTML page does not contain any table with cells."},
      {"blank tables", "<table><tr><td></table>",
       "4102 The HTML page does not contain any table with cells."},
      {"bytes that are none of its encoding",
       "<meta charset=shift_jis><table><tr><td>1</table><table><tr><td>\x82\xFF\xFF</table>",
       "4098 The HTML page cannot be read to its end.\n1"},
      {"no page", "a,b\n", "4099 This file does not appear to be an HTML page."},
  };
  for (const auto& c : kCases) EXPECT_EQ(Summary(c.page), c.sheet) << c.why;
}

TEST(HtmlFile, OffersEachTableByItsName) {
  const std::string page =
      "<table><caption>Outer\n one</caption><tr><td>a<table "
      "id=inner><tr><td>2</table>b<td>4</table>"
      "<table><tr><td> </table><table><tr><td>5</table>";
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 1, 2}, 1};
  EXPECT_EQ(Summary(page), "'ab' | 4\n2 | .\n5 | .");
  ASSERT_EQ(dialogs.items_questions.size(), 1U);
  EXPECT_EQ(dialogs.items_questions[0].items,
            (std::vector<std::string>{"Outer one", "inner", "Table 4"}));
  EXPECT_EQ(Summary(page, U32(5) + "0,3,1" + U32(0xFFFFFFFF)), "5 | 'ab' | 4");
}

}  // namespace

}  // namespace nvimport

#endif
