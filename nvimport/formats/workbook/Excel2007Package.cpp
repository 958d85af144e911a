#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "nvimport/formats/workbook/DecryptedPackage.h"
#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/platform/CompoundFile.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

using Outcome = SheetBook::Outcome;

// The name of the part that `target` is, seen from part `source`.
std::string Resolve(std::string_view source, std::string_view target) {
  std::string path;
  if (!target.starts_with('/') && !target.starts_with('\\'))
    path = source.substr(0, source.rfind('/') + 1);
  path += target;
  std::ranges::replace(path, '\\', '/');
  std::vector<std::string_view> folders;
  const std::string_view whole = path;
  for (std::size_t at = 0; at <= whole.size();) {
    const std::size_t end = std::min(whole.find('/', at), whole.size());
    const std::string_view step = whole.substr(at, end - at);
    at = end + 1;
    if (step == ".." && !folders.empty()) folders.pop_back();
    if (!step.empty() && step != "." && step != "..") folders.push_back(step);
  }
  std::string name;
  for (const std::string_view folder : folders) (name += name.empty() ? "" : "/") += folder;
  return name;
}

std::string RelationshipsOf(std::string_view part) {
  const std::size_t file = part.rfind('/') + 1;
  return std::string(part.substr(0, file)) + "_rels/" + std::string(part.substr(file)) + ".rels";
}

// A name for a reader's eyes: of a long one, the end.
std::string Shown(const std::string& part) {
  constexpr std::size_t kLongest = 120;
  return part.size() > kLongest ? "..." + part.substr(part.size() - kLongest) : part;
}

// Whether the open part is XML, by its first byte: text or a byte-order mark.
bool IsXml(ZipPackage& package) {
  const auto ahead = package.Ahead(1);
  constexpr std::string_view kFirst = "<\xEF\xFE\xFF \t\r\n";
  return ahead.empty() || kFirst.find(ahead[0]) != std::string_view::npos;
}

bool IsEncrypted(const char* path) {
  CompoundFile file;
  return file.Open(path) &&
         std::ranges::any_of(file.entries(), [](const CompoundFile::Entry& entry) {
           return entry.name == "EncryptedPackage" || entry.name == "EncryptionInfo";
         });
}

bool IsZip(const char* path) {
  std::array<char, 2> head{};
  return InputFile(path).Read(head) == 2 && head[0] == 'P' && head[1] == 'K';
}

class Package final : public SheetBook {
 public:
  Outcome OpenFile(const char* path, bool decrypts) {
    if (CompoundFile::IsCompoundFile(path)) {
      if (!IsEncrypted(path)) return Outcome::kOtherFormat;
      if (!decrypts) return Outcome::kProtected;
      if (const Outcome outcome = decrypted_.Open(path); outcome != Outcome::kGood) return outcome;
      path = decrypted_.path();
    }
    if (!InputFile(path).is_open()) return Outcome::kCannotOpen;
    if (!IsZip(path)) return Outcome::kOtherFormat;
    if (!package_.Open(path)) return OrOverBudget(Outcome::kBrokenPackage);
    return ReadWorkbook();
  }

  Outcome ReadSheets(std::span<const Placed> sheets) override {
    package_.budget().RenewWork();
    for (Part& part : parts_) part.is_read = false;
    changed_ = {};
    Outcome worst = Outcome::kGood;
    for (const Placed& placed : sheets) {
      const Outcome outcome = ReadSheet(*placed.sheet, placed.target);
      if (worst == Outcome::kGood) worst = outcome;
    }
    return worst;
  }

  void WriteNotes() const override {
    if (decrypted_.sum() == DecryptedPackage::Sum::kMissing)
      Log::WriteNote("Excel2007File", "the encrypted package has no check sum of its own");
    if (decrypted_.sum() == DecryptedPackage::Sum::kBroken)
      Log::WriteNote(
          "Excel2007File",
          "the check sum of the encrypted package does not hold: it was damaged or changed");
    const auto write = [](std::uint64_t count, const std::string& one, const std::string& several,
                          const std::string& rest) {
      Log::WriteCount("Excel2007File", count, one + rest, several + rest);
    };
    const auto named = [](const std::string& part, const char* kind) {
      return part.empty() ? "and the workbook names no part of " + std::string(kind)
                          : "that the part \"" + Shown(part) + "\" does not hold";
    };
    write(changed_.errors, "error was delivered as an empty text",
          "errors were delivered as empty texts", "");
    write(changed_.lost_texts, "cell has a shared string ", "cells have shared strings ",
          named(strings_part_, "those") + (changed_.lost_texts == 1
                                               ? ", and was delivered as an empty text"
                                               : ", and were delivered as empty texts"));
    write(changed_.lost_styles, "number has a style ", "numbers have styles ",
          named(styles_part_, "those") + " and may be a date");
    write(lost_sheets_, "sheet is none of those that the part \"",
          "sheets are none of those that the part \"",
          Shown(RelationshipsOf(workbook_part_)) + "\" names, and not offered");
  }

  Outcome Measure(const Sheet& sheet, Extent& extent) override {
    Part& part = parts_[sheet.part];
    if (!std::exchange(part.is_measured, true)) {
      Excel2007Cells cells(context_);
      part.outcome = ReadCells(part, cells);
      part.extent = cells.extent();
    }
    extent = part.extent;
    return part.outcome;
  }

  std::optional<std::uint32_t> FirstColumns(const Sheet& sheet) override {
    Part& part = parts_[sheet.part];
    if (part.is_measured) return std::nullopt;
    Excel2007Cells cells(context_, kFirstRows);
    if (ReadCells(part, cells) == Outcome::kStopped) return cells.extent().columns;
    return std::nullopt;
  }

  void Describe(Description& description, const std::vector<int>& chosen) override {
    // What reading asks as well is asked before.
    Extent extent;
    for (const int number : chosen) Measure(sheets_[static_cast<std::size_t>(number - 1)], extent);
    const Budget kept = package_.budget();
    Stating stating(description, kWorkbookKeys);
    DescribeDocument(stating);
    stating.State("date1904", context_.since_1904 ? "1904" : "1900");
    std::vector<const Sheet*> in_order(sheets_.size());
    for (const Sheet& sheet : sheets_) in_order[sheet.place] = &sheet;
    constexpr const char* kStates[] = {"sheet", "sheet hidden", "sheet veryHidden"};
    const std::set<int> numbers(chosen.begin(), chosen.end());
    for (const Sheet* const sheet : in_order) {
      const char* const label = kStates[static_cast<std::size_t>(sheet->state)];
      if (!stating.StateWithin(package_.budget(), label, sheet->name)) break;
      const auto number = static_cast<int>(sheet - sheets_.data()) + 1;
      if (numbers.contains(number)) DescribeSheet(*sheet, stating);
    }
    package_.budget() = kept;
  }

 private:
  // A worksheet.
  struct Part {
    std::string name;
    std::uint64_t size = 0;  // that it states
    Extent extent;
    Outcome outcome = Outcome::kGood;  // of measuring it
    bool is_measured = false;
    bool is_read = false;
  };

  Outcome ReadSheet(const Sheet& sheet, const Target& target) {
    if (const Outcome outcome = ReadContext(); outcome != Outcome::kGood) return outcome;
    Part& part = parts_[sheet.part];
    const bool is_again = std::exchange(part.is_read, true);
    constexpr std::uint64_t kBeginning = 32 * 1024;  // what a part without cells costs
    if (is_again && !package_.budget().Work(kBeginning + part.size)) return Outcome::kOverBudget;
    Excel2007Cells cells(context_, target);
    const Outcome outcome = ReadCells(part, cells);
    if (outcome == Outcome::kGood && !std::exchange(part.is_measured, true))
      part.extent = cells.extent();
    constexpr std::uint64_t kUsualCell = 24;  // bytes of XML
    if (is_again) package_.budget().EarnWork(kUsualCell * cells.count());
    changed_.errors += cells.changed().errors;
    changed_.lost_texts += cells.changed().lost_texts;
    changed_.lost_styles += cells.changed().lost_styles;
    return OrOverBudget(outcome);
  }

  // What overdraws the budget fails in some way or other, and is told as what it is.
  Outcome OrOverBudget(Outcome outcome) {
    const bool is_over = package_.budget().overdrawn() || context_.strings.failed();
    return is_over ? Outcome::kOverBudget : outcome;
  }

  Outcome Bad(const std::string& part, Outcome outcome) {
    outcome = OrOverBudget(package_.is_too_large() ? Outcome::kTooLarge : outcome);
    if (outcome != Outcome::kOverBudget)
      Log::WriteMessage(
          "Excel2007File", "Read",
          "The part \"" + Shown(part) + "\" is " + (package_.Has(part) ? "damaged." : "missing."),
          Log::kNormal);
    return outcome;
  }

  // Reads a part with the function for its kind.
  template <typename... Into>
  Outcome ReadPart(const std::string& part, Outcome bad, bool (*read_xml)(ZipPackage&, Into&...),
                   bool (*read_binary)(ZipPackage&, Into&...), Into&... into) {
    const bool is_good =
        package_.OpenPart(part) && (IsXml(package_) ? read_xml : read_binary)(package_, into...);
    return is_good ? Outcome::kGood : Bad(part, bad);
  }

  Outcome ReadCells(Part& part, Excel2007Cells& cells) {
    const bool is_good =
        package_.OpenPart(part.name) &&
        (IsXml(package_) ? XmlParts::ReadSheet : BinaryParts::ReadSheet)(package_, cells);
    cells.SetWaiting();
    part.size = package_.part_size();
    if (cells.has_enough()) return Outcome::kStopped;
    return is_good ? Outcome::kGood : Bad(part.name, Outcome::kBadWorksheet);
  }

  // Finds what part `source` (none: the package) refers to.
  Outcome ReadRelationshipsOf(std::string_view source, Relationships& found) {
    const std::string part = RelationshipsOf(source);
    const bool is_good =
        !package_.Has(part) || (package_.OpenPart(part) && ReadRelationships(package_, found));
    return is_good ? Outcome::kGood : Bad(part, Outcome::kBadWorkbook);
  }

  Outcome ReadWorkbook() {
    Relationships of_package;
    Outcome outcome = ReadRelationshipsOf("", of_package);
    if (outcome != Outcome::kGood) return outcome;
    const Relationship* const root = of_package.OfType("officeDocument");
    if (root == nullptr) return Outcome::kOtherFormat;
    workbook_part_ = Resolve("", root->target);
    Relationships relationships;
    const Outcome of_relationships = ReadRelationshipsOf(workbook_part_, relationships);
    WorkbookPart workbook(relationships);
    outcome = ReadPart(workbook_part_, Outcome::kBadWorkbook, XmlParts::ReadWorkbook,
                       BinaryParts::ReadWorkbook, workbook);
    if (!workbook.is_workbook) return Outcome::kOtherFormat;
    if (of_relationships != Outcome::kGood) return of_relationships;
    if (outcome != Outcome::kGood) return outcome;

    context_.since_1904 = workbook.since_1904;
    lost_sheets_ = workbook.lost_sheets;
    std::stable_partition(workbook.sheets.begin(), workbook.sheets.end(),
                          [](const auto& sheet) { return sheet.state == SheetState::kVisible; });
    std::map<const Relationship*, std::size_t> parts;
    for (WorkbookPart::Sheet& sheet : workbook.sheets) {
      const auto [found, is_new] = parts.try_emplace(sheet.relationship, parts_.size());
      if (is_new && !AddPart(sheet.relationship->target)) return Outcome::kOverBudget;
      sheets_.push_back({std::move(sheet.name), found->second, sheet.state, sheet.place});
    }
    const auto name_of = [&](std::string_view type) {
      const Relationship* const found = relationships.OfType(type);
      return found != nullptr ? Resolve(workbook_part_, found->target) : std::string();
    };
    strings_part_ = name_of("sharedStrings");
    styles_part_ = name_of("styles");
    if (!sheets_.empty()) return Outcome::kGood;
    return lost_sheets_ > 0 ? Bad(RelationshipsOf(workbook_part_), Outcome::kBadWorkbook)
                            : Outcome::kNoSheets;
  }

  // The name is as long as the workbook's folder at least, however short the target.
  bool AddPart(std::string_view target) {
    constexpr std::size_t kKept = 256;
    const std::size_t longest = workbook_part_.size() + target.size();
    if (!package_.budget().Take(kKept + longest)) return false;
    parts_.emplace_back().name = Resolve(workbook_part_, target);
    return true;
  }

  // Styles and strings are read when the first cell is wanted.
  Outcome ReadContext() {
    if (!std::exchange(has_context_, true)) context_outcome_ = ReadStylesAndStrings();
    return context_outcome_;
  }

  // The package's relationships were whole when it was opened.
  void DescribeDocument(Stating& stating) {
    Relationships of_package;
    if (!package_.OpenPart(RelationshipsOf("")) || !ReadRelationships(package_, of_package)) return;
    // By their names, and those of the strict form.
    constexpr std::pair<const char*, bool> kTypes[] = {{"core-properties", false},
                                                       {"extended-properties", false},
                                                       {"extendedProperties", false},
                                                       {"custom-properties", true},
                                                       {"customProperties", true}};
    for (const auto& [type, is_custom] : kTypes)
      if (const Relationship* const found = of_package.OfType(type); found != nullptr)
        DescribeProperties(package_, Resolve("", found->target), is_custom, stating);
  }

  // The size that a worksheet states, and that of its cells.
  void DescribeSheet(const Sheet& sheet, Stating& stating) {
    Part& part = parts_[sheet.part];
    std::string range;
    constexpr std::uint64_t kBeginning = 32 * 1024;
    if (!package_.budget().Work(kBeginning + part.size)) return;
    if (package_.OpenPart(part.name))
      (IsXml(package_) ? XmlParts::ReadRange : BinaryParts::ReadRange)(package_, range);
    stating.StateIfAny("dimension", range);
    Extent extent;
    if (Measure(sheet, extent) != Outcome::kGood && extent.rows == 0) return;
    stating.State("found columns", std::to_string(extent.columns));
    stating.State("found rows", std::to_string(extent.rows));
  }

  // A workbook may do without either.
  Outcome ReadStylesAndStrings() {
    StyleTable styles;
    Outcome outcome = Outcome::kGood;
    context_.is_without_styles = !styles_part_.empty() && !package_.Has(styles_part_);
    if (package_.Has(styles_part_))
      outcome = ReadPart(styles_part_, Outcome::kBadWorkbook, XmlParts::ReadStyles,
                         BinaryParts::ReadStyles, styles);
    context_.styles = styles.CellStyles();
    if (outcome == Outcome::kGood && package_.Has(strings_part_))
      outcome = ReadPart(strings_part_, Outcome::kBadWorkbook, XmlParts::ReadStrings,
                         BinaryParts::ReadStrings, context_.strings);
    return outcome;
  }

  DecryptedPackage decrypted_;  // of an encrypted one, what the package is read from
  ZipPackage package_;
  CellContext context_{package_.budget()};
  std::vector<Part> parts_;
  std::uint64_t lost_sheets_ = 0;
  std::string workbook_part_;
  std::string styles_part_;
  std::string strings_part_;
  bool has_context_ = false;
  Outcome context_outcome_ = Outcome::kGood;
  Excel2007Cells::Changed changed_;
};

}  // namespace

bool Relationships::Add(Relationship relationship, Budget& budget) {
  constexpr std::size_t kKept = 256;
  const std::size_t length =
      relationship.id.size() + relationship.type.size() + relationship.target.size();
  if (!budget.Take(kKept + length)) return false;
  const Relationship& added = all_.emplace_back(std::move(relationship));
  by_id_.try_emplace(added.id, &added);
  return true;
}

const Relationship* Relationships::WithId(std::string_view id) const {
  const auto found = by_id_.find(id);
  return found != by_id_.end() ? found->second : nullptr;
}

const Relationship* Relationships::OfType(std::string_view type) const {
  const auto found = std::ranges::find(all_, type, &Relationship::type);
  return found != all_.end() ? &*found : nullptr;
}

bool WorkbookPart::TakeSheet(std::string name, std::string_view relationship, SheetState state,
                             Budget& budget) {
  constexpr std::string_view kOthers[] = {"chartsheet", "dialogsheet", "xlMacrosheet",
                                          "xlIntlMacrosheet"};
  // Here and where it is offered, with its size in words.
  constexpr std::size_t kKept = 384;
  const Relationship* const found = relationships.WithId(relationship);
  if (found == nullptr || found->type != "worksheet") {
    const bool is_other =
        found != nullptr && std::ranges::find(kOthers, found->type) != std::end(kOthers);
    lost_sheets += is_other ? 0 : 1;
    return true;
  }
  if (!budget.Take(kKept + 4 * name.size())) return false;
  sheets.push_back({std::move(name), found, state, sheets.size()});
  return true;
}

bool StyleTable::TakeFormat(std::uint32_t number, std::string_view text, Budget& budget) {
  constexpr std::size_t kKept = 64;
  if (!budget.Take(kKept)) return false;
  formats_[number] = DateFormOf(text);
  return true;
}

bool StyleTable::TakeStyle(std::uint32_t format, Budget& budget) {
  constexpr std::size_t kKept = 4 * sizeof format;  // as its list grows
  if (!budget.Take(kKept)) return false;
  styles_.push_back(format);
  return true;
}

std::vector<std::optional<DateForm>> StyleTable::CellStyles() const {
  constexpr std::uint32_t kFirstOwn = 164;  // formats before it are built in
  std::vector<std::optional<DateForm>> styles;
  styles.reserve(styles_.size());
  for (const std::uint32_t format : styles_) {
    const auto found = formats_.find(format);
    if (found != formats_.end())
      styles.emplace_back(found->second);
    else if (format < kFirstOwn)
      styles.emplace_back(DateFormOf(std::size_t{format}));
    else
      styles.emplace_back();
  }
  return styles;
}

std::unique_ptr<SheetBook> OpenExcel2007(const char* path, bool decrypts, Outcome& outcome) {
  auto book = std::make_unique<Package>();
  outcome = book->OpenFile(path, decrypts);
  if (outcome != Outcome::kGood) return nullptr;
  return book;
}

}  // namespace nvimport
