// JCAMP-DX. Input: one file, or several with a NUL and a line feed between them. They are read with
// the habits and without. Every block is chosen, the last of them as reference. Each line is also
// decoded as ordinates, beside the reference. Every column with a value has a name.

#include <cmath>
#include <deque>

#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/ReferenceValues.h"

namespace nvimport {

namespace {

class TakesAll : public ScriptedDialogs {
 public:
  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice choice;
    for (std::size_t i = question.only_one ? question.items.size() - 1 : 0;
         i < question.items.size(); ++i)
      choice.items.push_back(i);
    return choice;
  }
};

bool Close(double a, double b) {
  // The reference loses what lies below the doubles while it goes there digit by digit.
  constexpr double kRelative = 1e-9;
  constexpr double kSmallest = 1e-290;
  return a == b || std::fabs(a - b) <= kRelative * std::fabs(a) + kSmallest ||
         (std::fabs(a) > 1e290 && std::fabs(b) > 1e290);
}

void CompareValues(std::string_view line, JCAMPValueForm form) {
  constexpr std::size_t kLongest = 255;
  std::string rest(line.substr(0, kLongest));
  const std::string ended = rest + '\n';
  const char* text = ended.c_str();
  while (true) {
    JCAMPValue expected;
    JCAMPValue value;
    const char* short_cut = text;
    std::int64_t whole = 0;
    bool is_difference = false;
    const bool is_whole = !form.comma_separates && TakeWhole(short_cut, whole, is_difference);
    const int status = ReferenceNextValue(rest, form, expected);
    Check(ReadNextValue(text, form, value) == status, "both refuse alike");
    if (status != 0 || expected.count == 0) break;
    Check(value.count == expected.count || std::abs(expected.count) > 9'999'999, "the same count");
    Check(value.missing == expected.missing, "the same is missing");
    Check(Close(value.value, expected.value), "the same value");
    Check(!is_whole ||
              (value.value == static_cast<double>(whole) && !value.missing &&
               value.count == (is_difference ? -1 : 1) && jcamp::SkipBlanks(text) == short_cut),
          "the short cut takes the same");
    Check(text == ended.c_str() + (ended.size() - 1 - rest.size()), "both go equally far");
  }
}

// Keeps which columns have a name, and which a value below.
class NamesSink : public CheckingSink {
 public:
  using CheckingSink::Set;
  void Set(int column, int row, const char* text) override {
    CheckingSink::Set(column, row, text);
    Note(row == 1 ? named_ : valued_, column);
  }
  void Set(int column, int row, float value) override {
    CheckingSink::Set(column, row, value);
    Note(valued_, column);
  }
  bool HasNames() const {
    for (std::size_t column = 3; column < valued_.size(); ++column)
      if (valued_[column] && (column >= named_.size() || !named_[column])) return false;
    return true;
  }

 private:
  static void Note(std::vector<bool>& columns, int column) {
    const auto at = static_cast<std::size_t>(column);
    if (at >= columns.size()) columns.resize(at + 1);
    columns[at] = true;
  }

  std::vector<bool> named_;
  std::vector<bool> valued_;
};

// Reads under these rules, and returns the blocks that can be chosen.
std::vector<std::string> Read(const std::string& path, JCAMPRules rules) {
  TakesAll dialogs;
  JCAMPFile file(rules);
  NvImportOpenOptions choices{0, nullptr};
  char text[256];
  const bool opened = file.Open(true, path.c_str(), &choices) == 0;
  // Some messages end the import of several files, and entries name their file no more.
  std::vector<std::string> blocks = file.GetJCAMPBlockList();
  file.GetErrorMessage(text, sizeof text);
  if (!opened) return blocks;
  NamesSink sink;
  const int status = ReadAsAnnounced(file, sink);
  Check(sink.HasNames(), "every column with a value has a name");
  file.GetErrorMessage(text, sizeof text);
  file.GetWarningMessage();
  file.GetTitle(text);
  COleDateTime date;
  file.GetDateCreated(date);

  // The choices that came back ask nothing and read the same.
  const auto none = ScriptedDialogs::Install(nullptr);
  JCAMPFile again(rules);
  CheckingSink same;
  Check(again.Open(true, path.c_str(), &choices) == 0, "the choices open the file again");
  Check(again.Read(&same) == status, "and end alike");
  ScriptedDialogs::Install(none);
  return blocks;
}

}  // namespace

void Fuzz(std::string_view whole) {
  std::string_view input = whole;
  std::deque<MemoryFile> files;
  std::vector<std::string> paths;
  constexpr std::string_view kBetween("\0\n", 2);
  constexpr std::size_t kMostFiles = 4;
  while (true) {
    const std::size_t end = files.size() + 1 < kMostFiles ? input.find(kBetween) : input.npos;
    paths.emplace_back(files.emplace_back(input.substr(0, end)).path());
    if (end == std::string_view::npos) break;
    input.remove_prefix(end + kBetween.size());
  }

  const std::string path = FileSelection::Join(paths);
  const std::vector<std::string> kept = Read(path, {});
  const std::vector<std::string> more = Read(path, JCAMPRules::Off());
  const auto type = [](const std::string& entry) { return entry.substr(0, entry.find(", 1x")); };
  bool has_long_line = false;  // whose rest may say that a block is a link
  for (std::string_view lines = whole; !lines.empty() && !has_long_line;) {
    const std::size_t end = std::min(lines.find_first_of("\r\n"), lines.size());
    has_long_line = end > 255;
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  Check(kept.size() <= more.size() || has_long_line, "no block is lost without the rules kept");
  for (std::size_t i = 0; i < kept.size() && !has_long_line; ++i)
    Check(type(kept[i]) == type(more[i]), "blocks have the same numbers under all rules");

  for (std::string_view lines = whole; !lines.empty();) {
    const std::size_t end = std::min(lines.find_first_of("\r\n"), lines.size());
    CompareValues(lines.substr(0, end), {});
    CompareValues(lines.substr(0, end), {.plain_only = true, .comma_separates = true});
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
}

}  // namespace nvimport
