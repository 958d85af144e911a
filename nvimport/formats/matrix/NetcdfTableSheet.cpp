// The view of any other file: variables side by side.

#include <algorithm>
#include <charconv>
#include <climits>
#include <span>
#include <utility>

#include "nvimport/formats/matrix/NetcdfInput.h"
#include "nvimport/framework/MemorySheet.h"
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

std::uint64_t RowsOf(const std::vector<NetcdfPart>& parts) {
  std::uint64_t rows = 0;
  for (const NetcdfPart& part : parts) rows = std::max(rows, part.slab.rows);
  return rows;
}

std::size_t PlaceOf(const NetcdfContents& contents, const NetcdfVariable& variable) {
  return static_cast<std::size_t>(&variable - contents.variables.data());
}

}  // namespace

bool NetCDFFile::TakePages(GivenOptions& given, const NetcdfContents& contents,
                           NetcdfPages& pages) const {
  std::vector<std::string> stated;
  if (!given.TakeNames("page", stated)) return false;
  const auto& dimensions = contents.dimensions;
  for (const std::string& page : stated) {
    const std::size_t colon = std::min(page.rfind(':'), page.size());
    const auto found = std::ranges::find(dimensions, page.substr(0, colon), &NetcdfDimension::name);
    std::uint64_t place = 0;
    const char* const end = page.data() + page.size();
    const auto parsed = std::from_chars(std::min(page.data() + colon + 1, end), end, place);
    if (found == dimensions.end() || parsed.ec != std::errc{} || parsed.ptr != end || place == 0 ||
        place > found->length)
      return given.Refuse("page", page);
    pages.push_back({static_cast<std::uint32_t>(found - dimensions.begin()), place - 1});
  }
  return true;
}

int NetCDFFile::ChooseVariables(GivenOptions& given, NvImportOpenOptions* options) {
  Input& first = inputs_.front();
  const NetcdfContents& contents = first.contents;
  table_ = std::make_unique<Table>();
  constexpr std::uint64_t kForOffer = 512;  // and where it is asked for
  if (!budget_.Take(contents.variables.size() * kForOffer)) return Fail(kOverBudget);
  table_->offers = OffersOf(contents);
  if (table_->offers.empty()) return Fail(kNetcdfNoVariable);
  std::vector<std::string> names;
  NetcdfPages pages;
  bool without_names = false;
  if (!given.TakeNames("variables", names) ||
      !given.TakeWord("names", kNetcdfYesAndNo, without_names) ||
      !TakePages(given, contents, pages))
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
  if (offers.empty() && !AskForVariables(pages, offers)) return Fail(kCancelled);
  names.clear();
  for (const std::size_t offer : offers) {
    const NetcdfOffer& chosen = table_->offers[offer];
    names.push_back(chosen.name);
    if (!contents.Holds(contents.variables[chosen.variable])) return Fail(kNetcdfCutShort);
    if (!budget_.Take(kForNetcdfPart)) return Fail(kOverBudget);
    first.parts.push_back(PartOf(contents, chosen.variable, pages));
  }
  OptionPairs choices{{"variables", OptionPairs::JoinNames(names)}};
  if (const auto stated = given.Find("page")) choices.Set("page", std::string(*stated));
  if (without_names) choices.Set("names", "0");
  GiveBack(choices, options);
  if (LayOutTable(!without_names) != kGood) return status_;
  for (Input& input : std::span(inputs_).subspan(1)) {
    NetcdfPages own;
    const int status =
        TakePages(given, input.contents, own) ? PlaceBelow(input, own) : int{kNetcdfSeveralTables};
    if (status != kGood) return Fail(status);
  }
  return kGood;
}

bool NetCDFFile::AskForVariables(const NetcdfPages& pages, std::vector<std::size_t>& offers) const {
  ItemsQuestion question;
  question.kind = ItemsQuestion::Kind::kVariables;
  question.title = "Select Variables";
  question.prompt =
      "A netCDF file consists of multiple variables. Please select the variable or variables you "
      "want to import.";
  question.heading = "Variable";
  question.usual = UsualOffers(inputs_.front().contents, table_->offers, pages);
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
  Input& input = inputs_.front();
  const NetcdfContents& contents = input.contents;
  Table& table = *table_;
  table.has_names = has_names;
  std::uint32_t along = kNoDimension;
  bool is_one = true;
  for (const NetcdfPart& part : input.parts) {
    if (part.columns_along != kNoDimension) ++table.wide;
    if (part.rows_along == kNoDimension) continue;
    is_one = is_one && (along == kNoDimension || along == part.rows_along);
    along = part.rows_along;
  }
  if (has_names && is_one && along != kNoDimension) {
    const NetcdfVariable* names = NamesAlong(contents, along, input.parts);
    if (names != nullptr && contents.Holds(*names)) {
      table.has_row_names = true;
      input.parts.insert(input.parts.begin(), PartOf(contents, PlaceOf(contents, *names), {}));
    }
  }
  std::uint64_t column = 1;
  for (NetcdfPart& part : input.parts) {
    part.column = column;
    column += part.slab.columns;
  }
  table.columns = column - 1;
  input.table_rows = RowsOf(input.parts);
  return has_names && table.wide == 1 ? FindColumnNames() : kGood;
}

int NetCDFFile::PlaceBelow(Input& input, const NetcdfPages& pages) {
  const Input& first = inputs_.front();
  for (const NetcdfPart& part : first.parts) {
    const std::string& name = first.contents.variables[part.variable].name;
    const NetcdfVariable* variable = input.contents.Find(name);
    if (variable == nullptr) return kNetcdfSeveralTables;
    if (!input.contents.Holds(*variable)) return kNetcdfCutShort;
    if (!budget_.Take(kForNetcdfPart)) return kOverBudget;
    input.parts.push_back(PartOf(input.contents, PlaceOf(input.contents, *variable), pages));
    NetcdfPart& own = input.parts.back();
    own.column = part.column;
    if (own.slab.columns != part.slab.columns || (own.text_length > 0) != (part.text_length > 0))
      return kNetcdfSeveralTables;
  }
  input.table_rows = RowsOf(input.parts);
  return !table_->heads || HasSameHeads(input) ? int{kGood} : int{kNetcdfSeveralTables};
}

bool NetCDFFile::HasSameHeads(const Input& input) const {
  MemorySheet own;
  MemorySheet first;
  if (!ReadHeads(input, own) || !ReadHeads(inputs_.front(), first)) return false;
  const int columns = std::max(first.GetNumberOfColumns(), own.GetNumberOfColumns());
  for (int column = 1; column <= columns; ++column) {
    const MemoryCell mine = own.GetCell(column, 1);
    const MemoryCell theirs = first.GetCell(column, 1);
    if (mine.text != theirs.text || mine.exact() != theirs.exact()) return false;
  }
  return true;
}

int NetCDFFile::FindColumnNames() {
  const Input& input = inputs_.front();
  const NetcdfContents& contents = input.contents;
  const auto wide = std::ranges::find_if(
      input.parts, [](const NetcdfPart& part) { return part.columns_along != kNoDimension; });
  const NetcdfVariable* names = NamesAlong(contents, wide->columns_along, input.parts);
  if (names == nullptr || !contents.Holds(*names)) return kGood;
  table_->heads = Lying(PartOf(contents, PlaceOf(contents, *names), {}), wide->column);
  first_point_column_ = static_cast<int>(std::min<std::uint64_t>(wide->column, INT_MAX));
  if (IsText(names->type)) return kGood;
  NetcdfSource& source = SourceOf(input);
  return Fail(ReadDoubles(source, contents, *names, budget_, table_->x));
}

bool NetCDFFile::ReadHeads(const Input& input, ReadSpreadSheetData& sink) const {
  const NetcdfPart& heads = *table_->heads;
  const std::string& name = inputs_.front().contents.variables[heads.variable].name;
  const NetcdfVariable* variable = input.contents.Find(name);
  if (variable == nullptr || !input.contents.Holds(*variable)) return false;
  NetcdfPart own = PartOf(input.contents, PlaceOf(input.contents, *variable), {});
  if (own.columns_along != kNoDimension || own.slab.rows != heads.slab.columns) return false;
  NetcdfPartsReader reader(SourceOf(input), input.contents, {Lying(own, heads.column)}, sink);
  return reader.Set(0, 1);
}

int NetCDFFile::ReadTable(ReadSpreadSheetData& sink, RowWalk& walk) {
  int row = 1;
  if (table_->has_names) {
    if (walk.Wants(row)) {
      SetTableHeads(sink);
      if (table_->heads && !ReadHeads(inputs_.front(), sink)) return Fail(kNetcdfCannotRead);
    }
    ++row;
  }
  for (const Input& input : inputs_) {
    if (walk.ended()) break;
    NetcdfPartsReader reader(SourceOf(input), input.contents, input.parts, sink);
    for (std::uint64_t i = 0; i < input.table_rows && !walk.ended(); ++i, ++row)
      if (walk.Wants(row) && !reader.Set(i, row))
        return Fail(reader.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort);
  }
  const Input& first = inputs_.front();
  for (const NetcdfPart& part : first.parts) {
    for (const NetcdfPage& page : part.first_pages) {
      const NetcdfDimension& dimension = first.contents.dimensions[page.dimension];
      if (dimension.length > 1)
        Note(first.contents.variables[part.variable].name + " has " +
             std::to_string(dimension.length) + " pages along " + dimension.name +
             ", of which the first was delivered (page=" + dimension.name + ":NUMBER)");
    }
  }
  return kGood;
}

// A column is called as its variable, of several columns with their number.
void NetCDFFile::SetTableHeads(ReadSpreadSheetData& sink) const {
  const Input& first = inputs_.front();
  for (const NetcdfPart& part : first.parts) {
    const std::string& name = first.contents.variables[part.variable].name;
    const int column = static_cast<int>(part.column);
    if (part.columns_along == kNoDimension)
      sink.Set(column, 1, name.c_str());
    else if (!table_->heads)
      for (int i = 0; i < static_cast<int>(part.slab.columns); ++i)
        sink.Set(column + i, 1, (name + "[" + std::to_string(i + 1) + "]").c_str());
  }
}

}  // namespace nvimport
