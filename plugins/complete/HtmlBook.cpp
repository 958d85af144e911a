#include "plugins/complete/HtmlBook.h"

#include <libxml/HTMLparser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/formats/workbook/TablesBook.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

using Outcome = SheetBook::Outcome;

constexpr std::size_t kHead = 16384;
constexpr std::string_view kNoBreak = "\xC2\xA0";  // a blank that no line is broken at

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
  return lower;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'; }

// Without white space around it, of either kind.
std::string_view Trimmed(std::string_view text) {
  while (true) {
    if (!text.empty() && IsBlank(text.front()))
      text.remove_prefix(1);
    else if (!text.empty() && IsBlank(text.back()))
      text.remove_suffix(1);
    else if (text.starts_with(kNoBreak))
      text.remove_prefix(kNoBreak.size());
    else if (text.ends_with(kNoBreak))
      text.remove_suffix(kNoBreak.size());
    else
      return text;
  }
}

std::string HeadOf(InputFile& file) {
  std::string head(kHead, '\0');
  const std::ptrdiff_t got = file.Read(head);
  head.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  return head;
}

// The encoding that a page is in by its mark, its own word or its bytes.
std::string EncodingOf(const std::string& head) {
  if (head.starts_with("\xEF\xBB\xBF")) return "UTF-8";
  if (head.starts_with("\xFF\xFE")) return "UTF-16LE";
  if (head.starts_with("\xFE\xFF")) return "UTF-16BE";
  const std::string lower = Lower(head);
  constexpr std::string_view kLabel = "charset=";
  if (const std::size_t at = lower.find(kLabel); at != std::string::npos) {
    const std::size_t begin = lower.find_first_not_of("\"' ", at + kLabel.size());
    if (begin != std::string::npos) {
      std::string name = lower.substr(begin, lower.find_first_of("\"'/>; \r\n", begin) - begin);
      // As browsers take these.
      const bool is_latin = name == "iso-8859-1" || name == "us-ascii" || name == "latin1";
      constexpr std::string_view kOfNames = "abcdefghijklmnopqrstuvwxyz0123456789-_.:";
      const bool is_name = !name.empty() && name.find_first_not_of(kOfNames) == std::string::npos;
      if (is_latin || name.starts_with("utf-16")) return "windows-1252";
      if (is_name) return name;
    }
  }
  // A character may be cut where the head ends.
  const std::size_t whole = head.size() < kHead ? head.size() : head.find_last_of("<>");
  return IsUtf8(head.substr(0, whole)) ? "UTF-8" : "windows-1252";
}

// A number as pages write it plainly: none with a sign or zeros in front, which may mean something,
// or with more digits than any number keeps.
std::optional<double> PlainNumber(std::string_view text) {
  constexpr std::size_t kMostDigits = 18;
  const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
  const bool is_code =
      digits.size() > 1 && digits[0] == '0' && digits[1] >= '0' && digits[1] <= '9';
  if (text.empty() || text[0] == '+' || is_code) return std::nullopt;
  if (text.size() > kMostDigits && text.find_first_of(".eE") == std::string_view::npos)
    return std::nullopt;
  return ParseNumber(text);
}

// Whether it shows a date or a time, which the number behind it does not say.
bool ShowsDate(std::string_view text) {
  const std::size_t hyphen = text.find('-', 1);
  return text.find_first_of(":/") != std::string_view::npos ||
         (hyphen != std::string_view::npos && text[hyphen - 1] >= '0' && text[hyphen - 1] <= '9' &&
          !ParseNumber(text));
}

// The library says nothing of its own while this lives. What it would have said is of bytes that
// are none of the encoding, where it reads no further; of the page itself it is not asked.
class Silence {
 public:
  Silence() { xmlSetGenericErrorFunc(this, &Note); }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() { xmlSetGenericErrorFunc(context_, before_); }

  bool is_broken() const { return is_broken_; }

 private:
  static void Note(void* self, const char*, ...) { static_cast<Silence*>(self)->is_broken_ = true; }

  bool is_broken_ = false;

  xmlGenericErrorFunc before_ = xmlGenericError;
  void* context_ = xmlGenericErrorContext;
};

// What of the attributes of an element matters.
class Attributes {
 public:
  explicit Attributes(const xmlChar** pairs) : pairs_(pairs) {}

  // Empty for one without a value.
  std::optional<std::string_view> Find(std::string_view name) const {
    for (const xmlChar** pair = pairs_; pair != nullptr && *pair != nullptr; pair += 2)
      if (name == reinterpret_cast<const char*>(pair[0]))
        return pair[1] != nullptr ? reinterpret_cast<const char*>(pair[1]) : "";
    return std::nullopt;
  }
  std::uint32_t Span(std::string_view name, std::uint32_t most) const {
    std::uint32_t span = 1;
    const std::string_view text = Trimmed(Find(name).value_or("1"));
    std::from_chars(text.data(), text.data() + text.size(), span);
    return std::clamp(span, 1U, most);
  }

 private:
  const xmlChar** pairs_;
};

// Takes a page's tables apart as its tags come.
class Page {
 public:
  Page(Budget& budget, BookTables& tables, Stating* stating)
      : budget_(budget), tables_(tables), stating_(stating) {}

  // Whether the page could be read to its end.
  bool Read(InputFile& file) {
    const Silence silence;
    const std::string head = HeadOf(file);
    htmlSAXHandler handler{};
    handler.startElement = [](void* self, const xmlChar* name, const xmlChar** attributes) {
      Guard(self, [&](Page& page) { page.Start(TextOf(name), Attributes(attributes)); });
    };
    handler.endElement = [](void* self, const xmlChar* name) {
      Guard(self, [&](Page& page) { page.End(TextOf(name)); });
    };
    handler.characters =
        handler.ignorableWhitespace = [](void* self, const xmlChar* text, int size) {
          Guard(self, [&](Page& page) {
            page.Text({reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)});
          });
        };
    const std::unique_ptr<htmlParserCtxt, decltype(&htmlFreeParserCtxt)> parser(
        htmlCreatePushParserCtxt(&handler, this, nullptr, 0, nullptr, XML_CHAR_ENCODING_NONE),
        &htmlFreeParserCtxt);
    if (!parser) throw std::bad_alloc();
    parser_ = parser.get();
    constexpr std::size_t kNames = std::size_t{8} << 20;
    xmlDictSetLimit(parser_->dict, kNames);
    htmlCtxtUseOptions(parser_, HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                                    HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC);
    xmlCharEncodingHandlerPtr encoding = xmlFindCharEncodingHandler(EncodingOf(head).c_str());
    if (encoding == nullptr) encoding = xmlFindCharEncodingHandler("windows-1252");
    if (encoding != nullptr) xmlSwitchToEncoding(parser_, encoding);
    bool is_read = Parse(head);
    std::string block(kBlock, '\0');
    while (is_read && !is_refused_) {
      const std::ptrdiff_t got = file.Read(block);
      if (got < 0) return false;
      if (got == 0) break;
      is_read = Parse(std::string_view(block).substr(0, static_cast<std::size_t>(got)));
    }
    if (is_read && !is_refused_) htmlParseChunk(parser_, nullptr, 0, 1);
    if (thrown_) std::rethrow_exception(thrown_);
    while (tables_.is_open()) EndTable();
    return is_read && !is_refused_ && !silence.is_broken();
  }

 private:
  // Of the tables that are open.
  struct Grid {
    std::uint32_t rows = 0;  // that have begun
    std::uint32_t column = 0;
    std::vector<std::uint32_t> taken;  // by column the row that is free again
    bool is_in_cell = false;
    bool is_in_caption = false;
    bool is_after_break = false;  // of a line, before anything else
    bool has_blank = false;       // that comes if something follows
    std::uint32_t span = 1;       // of the cell
    std::uint32_t row_span = 1;
    std::optional<std::string> number;  // that the page gives the cell
    std::string text;
  };

  static std::string_view TextOf(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
  }

  // No exception passes through the parser: it waits until the parser has returned.
  template <typename Body>
  static void Guard(void* self, Body body) {
    Page& page = *static_cast<Page*>(self);
    if (page.is_refused_) return;
    try {
      body(page);
    } catch (...) {
      page.thrown_ = std::current_exception();
      page.is_refused_ = true;
    }
  }

  bool Parse(std::string_view bytes) {
    // The parser looks through all that is open for each end.
    constexpr int kDeepest = 2000;
    constexpr std::size_t kPiece = 4096;
    for (; !bytes.empty() && !is_refused_; bytes.remove_prefix(std::min(kPiece, bytes.size()))) {
      htmlParseChunk(parser_, bytes.data(), static_cast<int>(std::min(kPiece, bytes.size())), 0);
      if (parser_->nameNr > kDeepest || parser_->disableSAX != 0) is_refused_ = true;
    }
    return !is_refused_;
  }

  void Demand(bool is_done) { is_refused_ = is_refused_ || !is_done; }

  static bool IsHidden(std::string_view name) {
    constexpr std::string_view kHidden[] = {"script", "style", "comment", "template", "xml"};
    return std::ranges::find(kHidden, name) != std::end(kHidden);
  }
  static bool IsBlock(std::string_view name) {
    constexpr std::string_view kBlocks[] = {"p",  "div", "li", "ul", "ol", "h1", "h2",
                                            "h3", "h4",  "h5", "h6", "dt", "dd", "pre"};
    return std::ranges::find(kBlocks, name) != std::end(kBlocks);
  }

  void Start(std::string_view name, Attributes attributes) {
    if (IsHidden(name)) ++hidden_;
    if (hidden_ > 0) return;
    if (name == "title" && grids_.empty()) is_in_title_ = true;
    if (name == "meta" && stating_ != nullptr) StateMeta(attributes);
    if (name == "table") return StartTable(attributes);
    if (grids_.empty()) return;
    Grid& grid = grids_.back();
    if (name == "tr") {
      EndCell();
      StartRow();
    } else if (name == "td" || name == "th") {
      EndCell();
      StartCell(attributes);
    } else if (name == "caption") {
      grid.is_in_caption = true;
      grid.text.clear();
    } else if (name == "br") {
      AddBreak(/*is_line=*/true);
    } else if (IsBlock(name)) {
      AddBreak(/*is_line=*/false);
    }
  }

  void End(std::string_view name) {
    if (IsHidden(name) && hidden_ > 0) {
      --hidden_;
      return;
    }
    if (hidden_ > 0) return;
    if (name == "title" && is_in_title_) {
      is_in_title_ = false;
      State("title", title_);
    }
    if (grids_.empty()) return;
    Grid& grid = grids_.back();
    if (name == "table") {
      EndTable();
    } else if (name == "td" || name == "th" || name == "tr") {
      EndCell();
    } else if (name == "caption" && grid.is_in_caption) {
      grid.is_in_caption = false;
      if (const std::string_view text = Trimmed(grid.text); !text.empty())
        Demand(tables_.Name(NameOf(text)));
    } else if (IsBlock(name)) {
      AddBreak(/*is_line=*/false);
    }
  }

  void Text(std::string_view text) {
    if (hidden_ > 0) return;
    if (is_in_title_ && title_.size() < kLongestName) title_ += text;
    if (grids_.empty() || !(grids_.back().is_in_cell || grids_.back().is_in_caption)) return;
    Grid& grid = grids_.back();
    // In each table that is open, and as it grows.
    if (!budget_.Work(text.size()) || !budget_.Take(2 * text.size())) return Demand(false);
    kept_ += 2 * text.size();
    for (const char c : text) {
      if (IsBlank(c)) {
        grid.has_blank = true;
        continue;
      }
      if (std::exchange(grid.has_blank, false) && !grid.text.empty() && grid.text.back() != '\n')
        grid.text += ' ';
      grid.text += c;
    }
  }

  // Lines of a paragraph are apart by its tags alone.
  void AddBreak(bool is_line) {
    Grid& grid = grids_.back();
    grid.has_blank = false;
    if (is_line || (!grid.text.empty() && grid.text.back() != '\n')) grid.text += '\n';
  }

  static constexpr std::size_t kLongestName = 1000;

  // On one line, and no longer than a name should be.
  static std::string NameOf(std::string_view text) {
    std::string name(text.substr(0, kLongestName));
    std::ranges::replace(name, '\n', ' ');
    while (!name.empty() && !IsUtf8(name)) name.pop_back();
    return name;
  }

  void StartTable(Attributes attributes) {
    constexpr std::size_t kKept = 512;
    const auto id = attributes.Find("id");
    const std::string name =
        id && !id->empty() ? NameOf(*id) : "Table " + std::to_string(tables_.tables().size() + 1);
    Demand(budget_.Take(kKept) && tables_.Begin(name));
    if (!is_refused_) grids_.emplace_back();
  }

  void EndTable() {
    EndCell();
    if (grids_.empty()) return;
    budget_.Return(grids_.back().taken.size() * kTaken);
    grids_.pop_back();
    tables_.End();
  }

  void StartRow() {
    Grid& grid = grids_.back();
    ++grid.rows;
    grid.column = 0;
  }

  void StartCell(Attributes attributes) {
    // As browsers take them.
    constexpr std::uint32_t kMostColumns = 1000;
    constexpr std::uint32_t kMostRows = 65'534;
    Grid& grid = grids_.back();
    if (grid.rows == 0) StartRow();
    while (grid.column < grid.taken.size() && grid.taken[grid.column] >= grid.rows) ++grid.column;
    grid.is_in_cell = true;
    grid.is_after_break = grid.has_blank = false;
    grid.text.clear();
    grid.span = attributes.Span("colspan", kMostColumns);
    grid.row_span = attributes.Span("rowspan", kMostRows);
    grid.number.reset();
    for (const char* const name : {"x:num", "sdval"})
      if (const auto number = attributes.Find(name)) grid.number = *number;
    if (attributes.Find("x:str")) grid.number.reset();
  }

  void EndCell() {
    if (grids_.empty() || !std::exchange(grids_.back().is_in_cell, false)) return;
    Grid& grid = grids_.back();
    const std::uint32_t column = grid.column;
    grid.column += grid.span;
    if (grid.row_span > 1) Cover(grid, column);
    const std::string text(Trimmed(grid.text));
    budget_.Return(std::exchange(kept_, 0));
    if (text.empty()) return;
    if (!tables_.cells().Take({column, grid.rows - 1})) return Demand(false);
    if (tables_.cells().is_wanted()) SetValue(grid, text);
  }

  void Cover(Grid& grid, std::uint32_t column) {
    const std::size_t end = std::size_t{column} + grid.span;
    if (end > BookCells::kColumns) return Demand(false);
    if (end > grid.taken.size()) {
      if (!budget_.Take((end - grid.taken.size()) * kTaken)) return Demand(false);
      grid.taken.resize(end);
    }
    std::fill(grid.taken.begin() + column, grid.taken.begin() + static_cast<std::ptrdiff_t>(end),
              grid.rows + grid.row_span - 1);
  }

  void SetValue(const Grid& grid, const std::string& text) {
    const bool is_error = text.starts_with('#');
    const std::string given(Trimmed(grid.number.value_or("")));
    if (const auto number = ParseNumber(given); number && !ShowsDate(text) && !is_error)
      return tables_.cells().SetNumber(*number, given);
    if (const auto number = PlainNumber(text)) return tables_.cells().SetNumber(*number, text);
    tables_.cells().SetText(text.c_str());
  }

  void StateMeta(Attributes attributes) {
    const std::string name = Lower(attributes.Find("name").value_or(""));
    for (const KeySource& source : kHtmlKeys)
      if (source.label == name && name != "title")
        State(source.label, attributes.Find("content").value_or(""));
  }

  void State(std::string_view label, std::string_view value) {
    const std::string plain(Trimmed(value));
    if (stating_ != nullptr && !plain.empty()) Demand(stating_->StateWithin(budget_, label, plain));
  }

  static constexpr std::size_t kBlock = std::size_t{64} << 10;
  static constexpr std::size_t kTaken = 2 * sizeof(std::uint32_t);

  Budget& budget_;
  BookTables& tables_;
  Stating* stating_;
  htmlParserCtxtPtr parser_ = nullptr;
  std::vector<Grid> grids_;
  std::uint64_t kept_ = 0;  // of texts
  std::string title_;
  int hidden_ = 0;  // elements that are open and show nothing
  bool is_in_title_ = false;
  bool is_refused_ = false;
  std::exception_ptr thrown_;
};

class Document final : public TablesBook {
 public:
  Document() : TablesBook("HtmlFile", kHtmlKeys, /*offers_empty=*/false) {}

  Outcome OpenFile(const char* path) {
    file_ = InputFile(path);
    if (!file_.is_open()) return Outcome::kCannotOpen;
    const std::string head = HeadOf(file_);
    const bool is_wide = head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF");
    if ((!is_wide && head.find('\0') != std::string::npos) || head.find('<') == std::string::npos)
      return Outcome::kOtherFormat;
    budget_ = Budget(file_.size());
    return FindTables();
  }

 private:
  Outcome ReadTables(BookTables& tables) override { return ReadPage(tables, nullptr); }

  Outcome ReadPage(BookTables& tables, Stating* stating) {
    const bool is_good = file_.Seek(0) && Page(budget_, tables, stating).Read(file_);
    if (is_good) return Outcome::kGood;
    return budget_.overdrawn() ? Outcome::kOverBudget : Outcome::kBadWorksheet;
  }

  void DescribeDocument(Stating& stating) override {
    BookTables none(budget_, nullptr);
    ReadPage(none, &stating);
  }

  Budget& budget() override { return budget_; }

  InputFile file_;
  Budget budget_;
};

}  // namespace

std::unique_ptr<SheetBook> OpenHtml(const char* path, Outcome& outcome) {
  auto document = std::make_unique<Document>();
  outcome = document->OpenFile(path);
  if (outcome != Outcome::kGood) return nullptr;
  return document;
}

bool IsHtml(const char* path) {
  InputFile file(path);
  if (!file.is_open()) return false;
  std::string head = Lower(HeadOf(file));
  if (head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF")) std::erase(head, '\0');
  const std::size_t begin = head.find('<');
  constexpr std::string_view kBefore = "\xEF\xBB\xBF\xFF\xFE \t\r\n";
  if (begin == std::string::npos || head.find_first_not_of(kBefore) != begin) return false;
  const auto has = [&](std::string_view tag) {
    for (std::size_t at = 0; (at = head.find(tag, at)) != std::string::npos; at += tag.size())
      if (const std::size_t end = at + tag.size();
          end < head.size() && (IsBlank(head[end]) || head[end] == '>'))
        return true;
    return false;
  };
  // XML spreadsheets have elements of that name, too.
  return has("<html") || has("<!doctype html") || (has("<table") && !has("<workbook"));
}

}  // namespace nvimport
