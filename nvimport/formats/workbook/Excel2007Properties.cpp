// What a workbook of XML says of itself. In packages: core properties (see ECMA-376 part 2, with
// names of Dublin Core), extended and custom ones (part 1, 22.2 and 22.3), and the range that a
// worksheet states. In documents of other kinds: an element that holds all properties.

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/formats/workbook/XmlPart.h"

namespace nvimport {

namespace {

using Step = XmlPart::Step;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Whether `text` is a date in ISO 8601, with or without a time of day and its zone.
bool IsIsoDate(std::string_view text) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00";
  constexpr std::string_view kZone = "00:00";
  const auto fits = [](char c, char form) { return form == '0' ? IsDigit(c) : c == form; };
  const auto end = std::ranges::mismatch(text, kForm, fits).in1;
  const auto length = static_cast<std::size_t>(end - text.begin());
  std::string_view rest = text.substr(length);
  if (length == 4 || length == 7 || length == 10) return rest.empty();
  if (length != 16 && length != kForm.size()) return false;
  if (length == kForm.size() && rest.starts_with('.'))
    rest.remove_prefix(std::min(rest.find_first_not_of("0123456789", 1), rest.size()));
  if (rest.empty() || rest == "Z") return true;
  return (rest[0] == '+' || rest[0] == '-') && std::ranges::equal(rest.substr(1), kZone, fits);
}

// The text of an element, of which no more is kept than a value of a description may have.
class ElementText {
 public:
  void Begin() { text_.clear(); }
  void Add(std::string_view piece) {
    text_ += piece.substr(0, Description::kLongestValue + 1 - text_.size());
  }
  std::string_view Trimmed() const {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::string_view text = text_;
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
  }

 private:
  std::string text_;
};

// Which properties there are, each an element, and where they stand.
struct PropertyNames {
  std::span<const Step> steps;  // with the states below
  std::span<const std::string_view> texts;
  std::span<const std::string_view> dates;
  XmlPart::Prefixes prefixes = XmlPart::Prefixes::kOne;
  std::string_view own = {};  // the element of a property of the user's own

  enum : XmlPart::State { kDocument = 1, kAll, kProperty, kBehind };
};

class PropertiesXml final : public XmlPart {
 public:
  PropertiesXml(const PropertyNames& names, Stating& stating, Budget& budget)
      : XmlPart(names.steps, /*takes_directly=*/false, names.prefixes),
        names_(names),
        stating_(stating),
        budget_(budget) {}

 private:
  using Names = PropertyNames;

  void Start(State state, XmlAttributes attributes) override {
    if (state == Names::kBehind) Stop();
    if (state != Names::kProperty) return;
    text_.Begin();
    label_.clear();
    is_own_ = Element() == names_.own;
    if (is_own_)
      label_ = attributes.Find("*:name").value_or("").substr(0, Description::kLongestValue + 1);
    for (const auto labels : {names_.texts, names_.dates})
      if (const auto found = std::ranges::find(labels, Element()); found != labels.end())
        label_ = *found;
  }
  void Text(State state, std::string_view text) override {
    if (state == Names::kProperty && !label_.empty()) text_.Add(text);
  }
  void End(State state) override {
    const std::string_view value = text_.Trimmed();
    const bool is_given = !value.empty() && (label_ != "TotalTime" || value != "0");
    if (state != Names::kProperty || label_.empty() || !is_given) return;
    if (!stating_.TakeFor(budget_, label_, value)) return Refuse();
    const bool is_date =
        std::ranges::find(names_.dates, std::string_view(label_)) != names_.dates.end();
    if (is_own_ || (is_date && !IsIsoDate(value)))
      stating_.description().State(label_, "", value);
    else
      stating_.State(label_, value);
  }

  const PropertyNames& names_;
  Stating& stating_;
  Budget& budget_;
  std::string label_;  // empty for one that doesn't count
  bool is_own_ = false;
  ElementText text_;
};

// Core or extended properties.
struct Office : PropertyNames {
  static constexpr Step kSteps[] = {{XmlPart::kNowhere, "coreProperties", kAll},
                                    {XmlPart::kNowhere, "Properties", kAll},
                                    {kAll, "*", kProperty}};
  static constexpr std::string_view kTexts[] = {
      "title",       "subject",    "creator",     "keywords", "description", "lastModifiedBy",
      "revision",    "category",   "contentType", "language", "version",     "contentStatus",
      "Application", "AppVersion", "Company",     "Manager",  "Template",    "TotalTime"};
  static constexpr std::string_view kDates[] = {"lastPrinted", "created", "modified"};
};

struct OpenDocument : PropertyNames {
  static constexpr Step kSteps[] = {{XmlPart::kNowhere, "document-meta", kDocument},
                                    {XmlPart::kNowhere, "document", kDocument},
                                    {kDocument, "meta", kAll},
                                    {kDocument, "body", kBehind},
                                    {kAll, "*", kProperty}};
  static constexpr std::string_view kTexts[] = {
      "title",      "subject",   "description", "keyword",        "initial-creator", "creator",
      "printed-by", "generator", "language",    "editing-cycles", "editing-duration"};
  static constexpr std::string_view kDates[] = {"creation-date", "date", "print-date"};
};

struct XmlSpreadsheet : PropertyNames {
  static constexpr Step kSteps[] = {{XmlPart::kNowhere, "Workbook", kDocument},
                                    {kDocument, "DocumentProperties", kAll},
                                    {kDocument, "Worksheet", kBehind},
                                    {kAll, "*", kProperty}};
  static constexpr std::string_view kTexts[] = {
      "Title",    "Subject",  "Author",  "Keywords", "Description", "LastAuthor",
      "Revision", "Category", "Manager", "Company",  "Version",     "TotalTime"};
  static constexpr std::string_view kDates[] = {"Created", "LastSaved", "LastPrinted"};
};

constexpr PropertyNames kOffice{Office::kSteps, Office::kTexts, Office::kDates};
constexpr PropertyNames kOpenDocument{OpenDocument::kSteps, OpenDocument::kTexts,
                                      OpenDocument::kDates, XmlPart::Prefixes::kAny,
                                      "user-defined"};
constexpr PropertyNames kXmlSpreadsheet{XmlSpreadsheet::kSteps, XmlSpreadsheet::kTexts,
                                        XmlSpreadsheet::kDates, XmlPart::Prefixes::kAny};

// Properties of the user's own: each has a name and within it an element with the value.
class CustomXml final : public XmlPart {
 public:
  CustomXml(Stating& stating, Budget& budget)
      : XmlPart(kSteps), stating_(stating), budget_(budget) {}

 private:
  enum : State { kAll = 1, kProperty, kValue };
  static constexpr Step kSteps[] = {
      {kNowhere, "Properties", kAll}, {kAll, "property", kProperty}, {kProperty, "*", kValue}};

  void Start(State state, XmlAttributes attributes) override {
    if (state != kAll) text_.Begin();
    if (state == kProperty)
      name_ = attributes.Find("name").value_or("").substr(0, Description::kLongestValue + 1);
  }
  void Text(State state, std::string_view text) override {
    if (state == kValue) text_.Add(text);
  }
  void End(State state) override {
    const std::string_view value = text_.Trimmed();
    if (state != kValue || value.empty()) return;
    if (!stating_.TakeFor(budget_, name_, value)) return Refuse();
    stating_.description().State(name_, "", value);
  }

  Stating& stating_;
  Budget& budget_;
  std::string name_;
  ElementText text_;
};

class DimensionXml final : public XmlPart {
 public:
  explicit DimensionXml(std::string& range) : XmlPart(kSteps), range_(range) {}

 private:
  enum : State { kSheet = 1, kDimension, kData };
  static constexpr Step kSteps[] = {{kNowhere, "worksheet", kSheet},
                                    {kSheet, "dimension", kDimension},
                                    {kSheet, "sheetData", kData}};

  void Start(State state, XmlAttributes attributes) override {
    if (state == kDimension)
      range_ = attributes.Find("ref").value_or("").substr(0, Description::kLongestValue + 1);
    if (state != kSheet) Leave();
  }

  std::string& range_;
};

}  // namespace

void DescribeProperties(ZipPackage& package, std::string_view part, bool is_custom,
                        Stating& stating) {
  if (!package.OpenPart(part)) return;
  if (is_custom)
    CustomXml(stating, package.budget()).Read(package);
  else
    PropertiesXml(kOffice, stating, package.budget()).Read(package);
}

void DescribeOpenDocument(ZipPackage& package, std::string_view part, Stating& stating) {
  if (package.OpenPart(part)) PropertiesXml(kOpenDocument, stating, package.budget()).Read(package);
}

void DescribeXmlSpreadsheet(ZipPackage& package, std::string_view part, Stating& stating) {
  if (package.OpenPart(part))
    PropertiesXml(kXmlSpreadsheet, stating, package.budget()).Read(package);
}

bool XmlParts::ReadRange(ZipPackage& package, std::string& range) {
  return DimensionXml(range).Read(package);
}

}  // namespace nvimport
