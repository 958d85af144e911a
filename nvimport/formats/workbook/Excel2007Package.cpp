#include <algorithm>
#include <array>
#include <utility>

#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/platform/CompoundFile.h"

namespace nvimport {

namespace {

using Outcome = Excel2007Book::Outcome;

// What a part may unpack to: so many bytes, and so many times the size of the file. Worksheets of
// little but styles come to thirty times; what is kept in memory packs less well.
constexpr std::uint64_t kSmallAllowance = std::uint64_t{16} << 20;
constexpr std::uint64_t kSheetRatio = 100;
constexpr std::uint64_t kHeldRatio = 32;

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

class Package final : public Excel2007Book {
 public:
  Outcome OpenFile(const char* path) {
    if (CompoundFile::IsCompoundFile(path))
      return IsEncrypted(path) ? Outcome::kProtected : Outcome::kNotPackage;
    if (!InputFile(path).is_open()) return Outcome::kCannotOpen;
    if (!IsZip(path)) return Outcome::kNotPackage;
    if (!package_.Open(path)) return Outcome::kBrokenPackage;
    allowance_ = Allowance(kSheetRatio);
    return ReadWorkbook();
  }

  Outcome ReadSheet(const Sheet& sheet, const Target& target) override {
    if (const Outcome outcome = ReadContext(); outcome != Outcome::kGood) return outcome;
    Excel2007Cells cells(context_, target);
    const Outcome outcome = ReadCells(sheet, Allowance(kSheetRatio), cells);
    errors_ += cells.errors();
    return outcome;
  }

  Outcome Measure(const Sheet& sheet, bool is_one_of_many, std::uint32_t& columns,
                  std::uint32_t& rows) override {
    Excel2007Cells cells(context_);
    const Outcome outcome =
        ReadCells(sheet, is_one_of_many ? allowance_ : Allowance(kSheetRatio), cells);
    if (is_one_of_many) allowance_ -= std::min(allowance_, package_.part_size());
    columns = cells.columns();
    rows = cells.rows();
    return outcome;
  }

 private:
  std::uint64_t Allowance(std::uint64_t ratio) const {
    return kSmallAllowance + ratio * package_.size();
  }

  // Reads a part with the function for its kind.
  template <typename... Into>
  Outcome ReadPart(const std::string& part, std::uint64_t most, Outcome bad,
                   bool (*read_xml)(ZipPackage&, Into&...),
                   bool (*read_binary)(ZipPackage&, Into&...), Into&... into) {
    if (!package_.OpenPart(part, most)) return package_.is_too_large() ? Outcome::kTooLarge : bad;
    return (IsXml(package_) ? read_xml : read_binary)(package_, into...) ? Outcome::kGood : bad;
  }

  Outcome ReadCells(const Sheet& sheet, std::uint64_t most, Excel2007Cells& cells) {
    return ReadPart(sheet.part, most, Outcome::kBadWorksheet, XmlParts::ReadSheet,
                    BinaryParts::ReadSheet, cells);
  }

  // Finds what part `source` (none: the package) refers to. False when that is damaged.
  bool ReadRelationshipsOf(std::string_view source, std::vector<Relationship>& found) {
    const std::string part = RelationshipsOf(source);
    const bool is_good = !package_.Has(part) || (package_.OpenPart(part, Allowance(kHeldRatio)) &&
                                                 ReadRelationships(package_, found));
    for (Relationship& relationship : found)
      relationship.target = Resolve(source, relationship.target);
    return is_good;
  }

  Outcome ReadWorkbook() {
    std::vector<Relationship> of_package;
    const bool is_good = ReadRelationshipsOf("", of_package);
    const auto root = std::ranges::find(of_package, "officeDocument", &Relationship::type);
    if (root == of_package.end()) return is_good ? Outcome::kNotPackage : Outcome::kBadWorkbook;
    WorkbookPart workbook;
    const Outcome outcome = ReadPart(root->target, Allowance(kHeldRatio), Outcome::kBadWorkbook,
                                     XmlParts::ReadWorkbook, BinaryParts::ReadWorkbook, workbook);
    if (!workbook.is_workbook) return Outcome::kNotPackage;
    if (outcome != Outcome::kGood) return outcome;

    context_.since_1904 = workbook.since_1904;
    std::stable_partition(workbook.sheets.begin(), workbook.sheets.end(),
                          [](const auto& sheet) { return !sheet.is_hidden; });
    std::vector<Relationship> relationships;
    const bool are_good = ReadRelationshipsOf(root->target, relationships);
    for (WorkbookPart::Sheet& sheet : workbook.sheets) {
      const auto found = std::ranges::find(relationships, sheet.relationship, &Relationship::id);
      if (found != relationships.end() && found->type == "worksheet")
        sheets_.push_back({std::move(sheet.name), found->target});
    }
    for (const Relationship& relationship : relationships) {
      if (relationship.type == "sharedStrings") strings_part_ = relationship.target;
      if (relationship.type == "styles") styles_part_ = relationship.target;
    }
    if (!sheets_.empty()) return Outcome::kGood;
    return are_good ? Outcome::kNoSheets : Outcome::kBadWorkbook;
  }

  // Styles and strings are read when the first cell is wanted.
  Outcome ReadContext() {
    if (!std::exchange(has_context_, true)) context_outcome_ = ReadStylesAndStrings();
    return context_outcome_;
  }

  Outcome ReadStylesAndStrings() {
    StyleTable styles;
    // A workbook may do without either.
    Outcome outcome = Outcome::kGood;
    if (package_.Has(styles_part_))
      outcome = ReadPart(styles_part_, Allowance(kHeldRatio), Outcome::kBadWorkbook,
                         XmlParts::ReadStyles, BinaryParts::ReadStyles, styles);
    context_.date_styles = styles.DateStyles();
    if (outcome == Outcome::kGood && package_.Has(strings_part_))
      outcome = ReadPart(strings_part_, Allowance(kHeldRatio), Outcome::kBadWorkbook,
                         XmlParts::ReadStrings, BinaryParts::ReadStrings, context_.strings);
    return outcome;
  }

  ZipPackage package_;
  std::uint64_t allowance_ = 0;  // of the worksheets measured together
  CellContext context_;
  std::string styles_part_;
  std::string strings_part_;
  bool has_context_ = false;
  Outcome context_outcome_ = Outcome::kGood;
};

}  // namespace

std::vector<DateForm> StyleTable::DateStyles() const {
  std::vector<DateForm> dates;
  dates.reserve(styles_.size());
  for (const std::uint32_t format : styles_) {
    const auto found = formats_.find(format);
    dates.push_back(found != formats_.end() ? found->second : DateFormOf(std::size_t{format}));
  }
  return dates;
}

std::unique_ptr<Excel2007Book> Excel2007Book::Open(const char* path, Outcome& outcome) {
  auto book = std::make_unique<Package>();
  outcome = book->OpenFile(path);
  if (outcome != Outcome::kGood) return nullptr;
  return book;
}

}  // namespace nvimport
