// The view of any other file: variables side by side.

#include <algorithm>
#include <charconv>
#include <climits>
#include <utility>

#include "nvimport/formats/matrix/NetcdfInput.h"
#include "nvimport/framework/OptionPairs.h"

namespace nvimport {

namespace {

// The part of a variable of one dimension that lies along a row of the sheet.
NetcdfPart Lying(NetcdfPart part, std::uint64_t column) {
  std::swap(part.slab.rows, part.slab.columns);
  std::swap(part.slab.row_stride, part.slab.column_stride);
  part.slab.row_stride = part.slab.window();
  part.column = column;
  return part;
}

std::size_t PlaceOf(const NetcdfContents& contents, const NetcdfVariable& variable) {
  return static_cast<std::size_t>(&variable - contents.variables.data());
}

}  // namespace

bool NetCDFFile::TakePages(GivenOptions& given) {
  std::vector<std::string> pages;
  if (!given.TakeNames("page", pages)) return false;
  const auto& dimensions = inputs_.front().contents.dimensions;
  for (const std::string& page : pages) {
    const std::size_t colon = std::min(page.rfind(':'), page.size());
    const auto found = std::ranges::find(dimensions, page.substr(0, colon), &NetcdfDimension::name);
    std::uint64_t place = 0;
    const char* const end = page.data() + page.size();
    const auto parsed = std::from_chars(std::min(page.data() + colon + 1, end), end, place);
    if (found == dimensions.end() || parsed.ec != std::errc{} || parsed.ptr != end || place == 0 ||
        place > found->length)
      return given.Refuse("page", page);
    table_->pages.push_back({static_cast<std::uint32_t>(found - dimensions.begin()), place - 1});
  }
  return true;
}

int NetCDFFile::ChooseVariables(GivenOptions& given, NvImportOpenOptions* options) {
  const NetcdfContents& contents = inputs_.front().contents;
  table_ = std::make_unique<Table>();
  constexpr std::uint64_t kForOffer = 512;  // and where it is asked for
  if (!budget_.Take(contents.variables.size() * kForOffer)) return Fail(kOverBudget);
  table_->offers = OffersOf(contents);
  if (table_->offers.empty()) return Fail(kNetcdfNoVariable);
  std::vector<std::string> names;
  bool without_names = false;
  if (!given.TakeNames("variables", names) ||
      !given.TakeWord("names", kNetcdfYesAndNo, without_names) || !TakePages(given))
    return Fail(kInvalidOptions);
  std::vector<std::size_t> offers;
  for (const std::string& name : names) {
    const auto found = std::ranges::find(table_->offers, name, &NetcdfOffer::name);
    if (found == table_->offers.end()) {
      given.Refuse("variables", name);
      return Fail(kInvalidOptions);
    }
    offers.push_back(static_cast<std::size_t>(found - table_->offers.begin()));
  }
  if (names.empty() && table_->offers.size() == 1) offers = {0};
  if (offers.empty() && !AskForVariables(offers)) return Fail(kCancelled);
  names.clear();
  for (const std::size_t offer : offers) {
    const NetcdfOffer& chosen = table_->offers[offer];
    names.push_back(chosen.name);
    if (!contents.Holds(contents.variables[chosen.variable])) return Fail(kNetcdfCutShort);
    if (!budget_.Take(kForNetcdfPart)) return Fail(kOverBudget);
    table_->parts.push_back(PartOf(contents, chosen.variable, table_->pages));
  }
  OptionPairs choices{{"variables", OptionPairs::JoinNames(names)}};
  if (const auto pages = given.Find("page")) choices.Set("page", std::string(*pages));
  if (without_names) choices.Set("names", "0");
  GiveBack(choices, options);
  return LayOutTable(!without_names);
}

bool NetCDFFile::AskForVariables(std::vector<std::size_t>& offers) const {
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kVariables;
  question.title = "Select Variables";
  question.prompt =
      "A netCDF file consists of multiple variables. Please select the variable or variables you "
      "want to import.";
  question.heading = "Variable";
  question.usual = UsualOffers(inputs_.front().contents, table_->offers, table_->pages);
  for (const NetcdfOffer& offer : table_->offers) {
    question.items.push_back(offer.name);
    question.details.push_back(offer.detail);
  }
  const auto answer = Dialogs::Current().SelectItems(question);
  if (!answer || answer->items.empty()) return false;
  offers = answer->items;
  return std::ranges::all_of(offers,
                             [&](std::size_t item) { return item < table_->offers.size(); });
}

// Side by side. What names the rows stands before them if they are the same of all.
int NetCDFFile::LayOutTable(bool has_names) {
  const NetcdfContents& contents = inputs_.front().contents;
  Table& table = *table_;
  table.has_names = has_names;
  std::uint32_t along = kNoDimension;
  bool is_one = true;
  for (const NetcdfPart& part : table.parts) {
    if (part.columns_along != kNoDimension) ++table.wide;
    if (part.rows_along == kNoDimension) continue;
    is_one = is_one && (along == kNoDimension || along == part.rows_along);
    along = part.rows_along;
  }
  if (has_names && is_one && along != kNoDimension) {
    const NetcdfVariable* names = NamesAlong(contents, along, table.parts);
    if (names != nullptr && contents.Holds(*names)) {
      table.has_row_names = true;
      table.parts.insert(table.parts.begin(), PartOf(contents, PlaceOf(contents, *names), {}));
    }
  }
  std::uint64_t column = 1;
  for (NetcdfPart& part : table.parts) {
    part.column = column;
    column += part.slab.columns;
    table.rows = std::max(table.rows, part.slab.rows);
  }
  table.columns = column - 1;
  if (has_names) ++table.rows;
  return has_names && table.wide == 1 ? FindColumnNames() : kGood;
}

int NetCDFFile::FindColumnNames() {
  const Input& input = inputs_.front();
  const NetcdfContents& contents = input.contents;
  const auto wide = std::ranges::find_if(
      table_->parts, [](const NetcdfPart& part) { return part.columns_along != kNoDimension; });
  const NetcdfVariable* names = NamesAlong(contents, wide->columns_along, table_->parts);
  if (names == nullptr || !contents.Holds(*names)) return kGood;
  table_->heads = Lying(PartOf(contents, PlaceOf(contents, *names), {}), wide->column);
  first_point_column_ = static_cast<int>(std::min<std::uint64_t>(wide->column, INT_MAX));
  if (IsText(names->type)) return kGood;
  NetcdfSource& source = SourceOf(input);
  return Fail(ReadDoubles(source, contents, *names, budget_, table_->x));
}

int NetCDFFile::ReadTable(ReadSpreadSheetData& sink, RowWalk& walk) {
  const Input& input = inputs_.front();
  NetcdfSource& source = SourceOf(input);
  const auto status_of = [](const NetcdfPartsReader& reader) {
    return reader.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
  };
  int row = 1;
  if (table_->has_names) {
    if (walk.Wants(row)) {
      SetTableHeads(sink);
      if (table_->heads) {
        NetcdfPartsReader heads(source, input.contents, {*table_->heads}, sink);
        if (!heads.Set(0, row)) return Fail(status_of(heads));
      }
    }
    ++row;
  }
  NetcdfPartsReader reader(source, input.contents, table_->parts, sink);
  const std::uint64_t rows = table_->rows - (table_->has_names ? 1 : 0);
  for (std::uint64_t i = 0; i < rows && !walk.ended(); ++i, ++row)
    if (walk.Wants(row) && !reader.Set(i, row)) return Fail(status_of(reader));
  for (const NetcdfPart& part : table_->parts) {
    for (const NetcdfPage& page : part.first_pages) {
      const NetcdfDimension& dimension = input.contents.dimensions[page.dimension];
      if (dimension.length > 1)
        Note(input.contents.variables[part.variable].name + " has " +
             std::to_string(dimension.length) + " pages along " + dimension.name +
             ", of which the first was delivered (page=" + dimension.name + ":NUMBER)");
    }
  }
  return kGood;
}

// A column is called as its variable, of several columns with their number.
void NetCDFFile::SetTableHeads(ReadSpreadSheetData& sink) const {
  const NetcdfContents& contents = inputs_.front().contents;
  for (const NetcdfPart& part : table_->parts) {
    const std::string& name = contents.variables[part.variable].name;
    const int column = static_cast<int>(part.column);
    if (part.columns_along == kNoDimension)
      sink.Set(column, 1, name.c_str());
    else if (!table_->heads)
      for (int i = 0; i < static_cast<int>(part.slab.columns); ++i)
        sink.Set(column + i, 1, (name + "[" + std::to_string(i + 1) + "]").c_str());
  }
}

}  // namespace nvimport
