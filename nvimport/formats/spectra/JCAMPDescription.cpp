// What JCAMP-DX files say of themselves is their labelled data records. Which there are is
// published: JCAMP-DX 4.24 (Applied Spectroscopy 42, 1988, 151), 5.00 for NMR (47, 1993, 1093) and
// for mass spectra (48, 1994, 1545), 5.01 (Pure and Applied Chemistry 71, 1999, 1549). A label that
// begins with a point is one of a method, one that begins with "$" somebody's own.

#include "nvimport/formats/spectra/JCAMPDescription.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "nvimport/formats/spectra/JCAMPDate.h"
#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/formats/spectra/JCAMPText.h"
#include "nvimport/platform/BlockReader.h"

namespace nvimport {

namespace {

constexpr int kOfTheBlock = -1;  // in place of a page

class JCAMPDescriber {
 public:
  JCAMPDescriber(const JCAMPRules& rules, const JCAMPLayout& layout, std::vector<JCAMPRow> rows,
                 SpectraStatements& statements)
      : rules_(rules), layout_(layout), rows_(std::move(rows)), statements_(statements) {
    std::ranges::sort(rows_, {}, kPlace);
    for (const KeySource& source : kJcampKeys)
      keys_.emplace_back(Stripped(source.label), source.key);
  }

  void Begin(InputFile& bytes) {
    reader_.Begin(bytes, 0);
    scope_ = {};
    waiting_.clear();
    has_page_begun_ = false;
  }

  bool Take(const JCAMPRecord& record) {
    // Blocks may turn out not to count, see ReadLabels.
    if (record.block < layout_.blocks.size() &&
        layout_.blocks[record.block].is_indented != record.is_indented)
      return true;
    std::optional<Entry> entry = ReadEntry(record);
    if (!entry) return true;
    if (entry->name == "TITLE") {
      Decide(Scope::kBlock);
      scope_ = {};
      has_page_begun_ = false;
    } else if (entry->name == "END") {
      // What follows is said of what is around the block.
      Decide(Scope::kBlock);
      scope_.kind = Scope::kFile;
      return true;
    }
    scope_.block = record.block;
    has_page_begun_ |= entry->name == "PAGE";
    if (record.has_page || has_page_begun_) entry->page = record.pages;
    if (record.has_page) has_page_begun_ = false;
    entry->has_lines = record.has_page;

    // A link says early that it is one.
    constexpr std::size_t kLatest = 64;
    const bool is_type = entry->name == "DATATYPE";
    const bool is_link = is_type && Stripped(entry->value) == "LINK";
    if (scope_.kind != Scope::kUndecided) {
      State(*entry);
    } else {
      waiting_.push_back(std::move(*entry));
      if (is_type || record.has_page || waiting_.size() == kLatest)
        Decide(is_link ? Scope::kFile : Scope::kBlock);
    }
    return !statements_.full();
  }

  void EndFile() { Decide(Scope::kBlock); }

 private:
  struct Entry {
    std::string label;
    std::string name;  // the label less what doesn't count
    std::string value;
    std::string comment{};
    int page = kOfTheBlock;
    bool has_lines = false;
  };

  using Place = std::pair<std::size_t, int>;
  static constexpr auto kPlace = [](const JCAMPRow& row) {
    return Place(row.block, static_cast<int>(row.page));
  };

  // From one title to the next, or to the end of the block.
  struct Scope {
    enum Kind { kUndecided, kBlock, kFile } kind = kUndecided;
    std::size_t block = 0;
    // Of n-tuples:
    std::string symbols{};
    std::string names{};
    std::string units{};
  };

  // None of a line that only looks like a record.
  std::optional<Entry> ReadEntry(const JCAMPRecord& record) {
    const std::uint64_t size = record.end - record.begin;
    reader_.Skip(record.begin - std::min(record.begin, reader_.position()));
    const std::span<const char> bytes =
        reader_.Ahead(static_cast<std::size_t>(std::min<std::uint64_t>(size, BlockReader::kSize)));
    std::string_view text(bytes.data(), std::min<std::size_t>(bytes.size(), size));
    std::string_view line = Deblank(TakeLine(text));
    const std::size_t equals = line.find('=');
    if (!line.starts_with("##") || equals == std::string_view::npos) {
      if (Stripped(line) != "##END") return std::nullopt;
      return Entry{"END", "END", {}};
    }
    const std::string_view label = Deblank(line.substr(2, equals - 2));
    Entry entry{std::string(label), Stripped(label), {}};
    if (label.empty()) entry.label = entry.name = "##=";  // which the format has for comments
    const bool has_comments = entry.name != "TITLE" || rules_.comments_in_titles;
    AddLine(line.substr(equals + 1), has_comments, entry);
    // What follows is the page.
    while (!text.empty() && !record.has_page && entry.value.size() <= Description::kLongestValue)
      AddLine(TakeLine(text), true, entry);
    const bool goes_on =
        !record.has_page && size > bytes.size() && bytes.size() >= BlockReader::kSize;
    if (goes_on && entry.value.size() <= Description::kLongestValue) statements_.AddCut();
    entry.value = Outer(entry.value);
    return entry;
  }

  // Less what is blank at its ends; lines within keep their indentation.
  static std::string_view Outer(std::string_view lines) {
    const std::size_t end = lines.find_last_not_of(" \t\v\f\n");
    if (end == std::string_view::npos) return {};
    lines = lines.substr(0, end + 1);
    return lines.substr(lines.find_first_not_of('\n'));
  }

  static void AddLine(std::string_view line, bool has_comments, Entry& entry) {
    const std::size_t end = has_comments ? line.find("$$") : std::string_view::npos;
    const std::string_view said = line.substr(0, end);
    const bool is_first = entry.value.empty();
    if (end == std::string_view::npos || !Deblank(said).empty())
      entry.value.append("\n").append(is_first ? Deblank(said) : TrimEnd(said));
    if (end == std::string_view::npos) return;
    if (!entry.comment.empty()) entry.comment += '\n';
    entry.comment += Deblank(line.substr(end + 2));
  }

  static std::string_view TrimEnd(std::string_view line) {
    return line.substr(0, line.find_last_not_of(kJcampBlanks) + 1);
  }

  // The line that `text` begins with, which it then leaves out.
  static std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find_first_of("\r\n");
    const std::string_view line = text.substr(0, end);
    const bool is_pair = end != std::string_view::npos && text.substr(end).starts_with("\r\n");
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + (is_pair ? 2 : 1));
    return line;
  }

  void Decide(Scope::Kind kind) {
    if (scope_.kind != Scope::kUndecided) return;
    scope_.kind = kind;
    for (const Entry& entry : std::exchange(waiting_, {})) State(entry);
  }

  // The rows that a page of a block is, or that all of them are.
  std::span<const JCAMPRow> RowsOf(std::size_t block, int page) const {
    const auto from = std::ranges::lower_bound(rows_, Place(block, std::max(page, 0)), {}, kPlace);
    const auto next = page == kOfTheBlock ? Place(block + 1, 0) : Place(block, page + 1);
    return {from, std::ranges::lower_bound(from, rows_.end(), next, {}, kPlace)};
  }

  std::string_view KeyOfName(std::string_view name) const {
    const auto found =
        std::ranges::find(keys_, name, &std::pair<std::string, std::string_view>::first);
    return found != keys_.end() ? found->second : std::string_view();
  }

  // The rows that an entry is about: those of its block or page, or row 0 for the whole file.
  std::span<const JCAMPRow> RowsOf(const Entry& entry) const {
    static constexpr JCAMPRow kFile[] = {{0, 0, 0}};
    if (IsOfFile()) return kFile;
    const auto rows = RowsOf(scope_.block, entry.page);
    // Hundreds of pages are not each told what their block says.
    if (std::ssize(rows) <= SpectraStatements::kMostRepeated) return rows;
    return rows.size() == rows_.size() ? kFile : rows.first(1);
  }

  // So are blocks that hold no spectra, as those of structures.
  bool IsOfFile() const {
    return scope_.kind == Scope::kFile ||
           (scope_.block < layout_.blocks.size() && layout_.blocks[scope_.block].pages == 0);
  }

  void State(const Entry& entry) {
    const auto rows = RowsOf(entry);
    const auto state = [&](std::string_view label, std::string_view key, std::string_view value) {
      for (const JCAMPRow& row : rows)
        if (!statements_.full()) statements_.State(label, key, value, row.row);
    };
    StateEntry(entry, rows, state);
    if (!entry.comment.empty()) state("$$", KeyOfName("$$"), entry.comment);
  }

  template <typename State>
  void StateEntry(const Entry& entry, std::span<const JCAMPRow> rows, const State& state) {
    const std::string_view key = KeyOfName(entry.name);
    if (key == "date") {
      const std::string iso = IsoJCAMPDate(entry.value);
      if (iso != entry.value) state(entry.label, {}, entry.value);
      if (!iso.empty()) state(entry.label, key, iso);
      return;
    }
    // What they say of single variables follows.
    const bool is_list = entry.name == "VARNAME" || entry.name == "UNITS" || entry.name == "PAGE";
    state(entry.label, is_list ? std::string_view() : key, entry.value);
    if (IsOfFile() || rows.empty()) return;
    if (entry.name == "PAGE") return StatePage(entry, state);

    constexpr std::size_t kLongest = 1000;  // as much as pages look for their variables in
    const std::string_view list = std::string_view(entry.value).substr(0, kLongest);
    if (entry.name == "SYMBOL") scope_.symbols = list;
    if (entry.name == "VARNAME") scope_.names = list;
    if (entry.name == "UNITS") scope_.units = list;
    if (entry.has_lines) StateVariables(entry, rows);
    if (is_list) return;
    if (key == "x-units") statements_.Unit(Axis::kX).Take(entry.value);
    if (key == "x-label") statements_.Label(Axis::kX).Take(entry.value);
    if (key == "y-units") statements_.Unit(Axis::kY).Take(entry.value);
    if (key == "y-label") statements_.Label(Axis::kY).Take(entry.value);
  }

  // "N=1": a variable and its value.
  template <typename State>
  void StatePage(const Entry& entry, const State& state) {
    const std::string_view value = std::string_view(entry.value).substr(0, entry.value.find('\n'));
    const std::size_t equals = value.find('=');
    if (equals == std::string_view::npos) return;
    state(entry.label, "z", Deblank(value.substr(equals + 1)));
    TakeName(Axis::kZ, Stripped(value.substr(0, equals)));
  }

  // What the lists say of the variables that the form of a page names, as "(X++(R..R)), XYDATA".
  void StateVariables(const Entry& entry, std::span<const JCAMPRow> rows) {
    if (scope_.symbols.empty()) return;
    std::string form = Stripped(entry.value);
    std::string x = "X";
    std::string y = "Y";
    if (const std::size_t end = form.find("++("); form.starts_with('(') && end != form.npos) {
      x = form.substr(1, end - 1);
      y = form.substr(end + 3, form.find("..") - end - 3);
    }
    TakeName(Axis::kX, x);
    if (const auto number = TakeName(Axis::kY, y))
      for (const JCAMPRow& row : rows) {
        if (statements_.full()) return;
        StateIfAny("VAR_NAME", PartOf(scope_.names, *number), row.row);
        StateIfAny("UNITS", PartOf(scope_.units, *number), row.row);
      }
  }

  void StateIfAny(std::string_view label, std::string_view value, int row) {
    statements_.StateIfAny(label, value, row);
  }

  // Names an axis by a variable, and returns the number of that in the lists.
  std::optional<std::size_t> TakeName(Axis axis, std::string_view symbol) {
    std::string_view rest = scope_.symbols;
    for (std::size_t number = 0;; ++number) {
      if (!symbol.empty() && Stripped(PartOf(rest, 0)) == symbol) {
        statements_.Label(axis).Take(PartOf(scope_.names, number));
        statements_.Unit(axis).Take(PartOf(scope_.units, number));
        return number;
      }
      const std::size_t comma = rest.find(',');
      if (comma == std::string_view::npos) return std::nullopt;
      rest.remove_prefix(comma + 1);
    }
  }

  const JCAMPRules& rules_;
  const JCAMPLayout& layout_;
  std::vector<JCAMPRow> rows_;  // by their blocks and pages
  SpectraStatements& statements_;
  std::vector<std::pair<std::string, std::string_view>> keys_;
  BlockReader reader_;
  Scope scope_;
  std::vector<Entry> waiting_;  // until it is known what they are said of
  bool has_page_begun_ = false;
};

}  // namespace

void DescribeJCAMP(const std::vector<std::string>& files, const JCAMPRules& rules,
                   const JCAMPLayout& layout, std::vector<JCAMPRow> rows,
                   SpectraStatements& statements) {
  JCAMPDescriber describer(rules, layout, std::move(rows), statements);
  JCAMPLayout again;
  for (const std::string& file : files) {
    const bool decodes = !rules.files_begin_with_titles;
    JCAMPLines lines(file.c_str(), rules.lines_of_255_characters, decodes);
    // Whose lines are whole, with the blank ones among them.
    JCAMPLines whole(file.c_str(), /*cuts_long_lines=*/false, decodes);
    if (!lines.is_open() || !whole.is_open()) break;
    describer.Begin(whole.file());
    const int status =
        ReadJCAMPLayout(lines, rules, again, statements.budget(),
                        [&](const JCAMPRecord& record) { return describer.Take(record); });
    describer.EndFile();
    if (status != kGood && !statements.full()) statements.Drop();
    if (statements.full()) break;
  }
}

}  // namespace nvimport
