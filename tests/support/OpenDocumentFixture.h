#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/PackageFixture.h"

namespace nvimport {

// An OpenDocument spreadsheet of these tables. Rows are written short: "r" for a row, "c" for a
// cell, "p" for a paragraph, "v" for the type of its value, the prefixes "o", "t" and "x" for those
// of office, table and text, apostrophes for quotes.
struct OpenDocumentFixture {
  struct Table {
    std::string rows;
    std::string name = "Table";
    bool is_hidden = false;
  };

  std::vector<Table> tables;
  std::string meta = {};  // elements of <meta>

  // The document with these prefixes, and something behind each start of a row.
  std::string Content(const std::string& root, const std::string& office, const std::string& table,
                      const std::string& in_rows) const {
    const std::string space = "urn:oasis:names:tc:opendocument:xmlns:";
    std::string body;
    for (const Table& one : tables)
      body += "<t:table t:name='" + one.name + "' t:style-name='" +
              (one.is_hidden ? "ta2" : "ta1") + "'>" + one.rows + "</t:table>";
    std::string text = "<o:" + root + " xmlns:o='" + space + "office:1.0' xmlns:t='" + space +
                       "table:1.0' xmlns:x='" + space + "text:1.0'>" +
                       (root == "document" ? "<o:meta>" + meta + "</o:meta>" : "") +
                       "<o:automatic-styles><s:style s:name='ta2'><s:table-properties "
                       "t:display='false'/></s:style>"
                       "</o:automatic-styles><o:body><o:spreadsheet>" +
                       body + "</o:spreadsheet></o:body></o:" + root + ">";
    const std::pair<std::string, std::string> kShort[] = {{"<r>", "<t:table-row>" + in_rows},
                                                          {"<r/>", "<t:table-row/>"},
                                                          {"<r ", "<t:table-row "},
                                                          {"</r>", "</t:table-row>"},
                                                          {"<c>", "<t:table-cell>"},
                                                          {"<c/>", "<t:table-cell/>"},
                                                          {"<c ", "<t:table-cell "},
                                                          {"</c>", "</t:table-cell>"},
                                                          {"<p>", "<x:p>"},
                                                          {"<p/>", "<x:p/>"},
                                                          {"</p>", "</x:p>"},
                                                          {" v='", " o:value-type='"},
                                                          {"<o:", "<" + office + ":"},
                                                          {"</o:", "</" + office + ":"},
                                                          {" o:", " " + office + ":"},
                                                          {":o='", ":" + office + "='"},
                                                          {"<t:", "<" + table + ":"},
                                                          {"</t:", "</" + table + ":"},
                                                          {" t:", " " + table + ":"},
                                                          {":t='", ":" + table + "='"},
                                                          {"<x:", "<text:"},
                                                          {"</x:", "</text:"},
                                                          {" x:", " text:"},
                                                          {":x='", ":text='"},
                                                          {"'", "\""}};
    for (const auto& [from, to] : kShort) {
      std::string longer;
      std::size_t done = 0;
      for (std::size_t at = 0; (at = text.find(from, done)) != std::string::npos;
           done = at + from.size())
        longer.append(text, done, at - done) += to;
      text = longer.append(text, done);
    }
    return PackageFixture::kHead + text;
  }

  std::string Flat(const std::string& office = "office", const std::string& table = "table",
                   const std::string& in_rows = "") const {
    return Content("document", office, table, in_rows);
  }
  std::vector<ZipPart> Parts() const {
    return {{"mimetype", "application/vnd.oasis.opendocument.spreadsheet", /*is_packed=*/false},
            {"content.xml", Content("document-content", "office", "table", "")},
            {"meta.xml", "<o:document-meta><o:meta>" + meta + "</o:meta></o:document-meta>"}};
  }
  std::string Package() const { return ZipArchive(Parts()); }
};

}  // namespace nvimport
