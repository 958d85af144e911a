#include "nvimport/formats/matrix/MatSheet.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace nvimport {

namespace {

// What tools and users call the names of columns and rows, in lower case without underscores.
constexpr std::string_view kColumnNames[] = {
    "varnames", "variablenames", "varlabels", "vars",        "variables", "colnames",
    "colnames", "columnnames",   "columns",   "wavelengths", "features",  "featurenames"};
constexpr std::string_view kRowNames[] = {
    "obsnames", "observationnames", "obslabels", "rownames",  "rows",
    "objnames", "samplenames",      "samples",   "sampleids", "names"};

bool IsAmong(std::string_view name, std::span<const std::string_view> names) {
  std::string plain;
  for (const char c : name) {
    if (c == '_') continue;
    plain += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return std::ranges::find(names, plain) != names.end();
}

bool HasPages(const MatArray& array) { return IsNumeric(array.head.kind); }

std::uint64_t RowsOf(const MatArray& array) { return array.head.rows(); }

std::uint64_t ColumnsOf(const MatArray& array) {
  const MatHead& head = array.head;
  if (head.kind == MatClass::kChar) return head.pages();
  const std::uint64_t columns = head.columns() * (HasPages(array) ? 1 : head.pages());
  return head.is_complex ? 2 * columns : columns;
}

// "(:,:,2)"
std::string PageText(const MatHead& head, std::uint64_t page) {
  std::string text = "(:,:";
  for (std::size_t i = 2; i < head.sizes.size(); ++i) {
    text += "," + std::to_string(page % head.sizes[i] + 1);
    page /= head.sizes[i];
  }
  return text + ")";
}

// How many things a list names; 0 for what is no list of names. Numbers are only where it is known
// that they are names.
std::uint64_t NamesIn(const MatArray& array, bool with_numbers) {
  const MatHead& head = array.head;
  if (head.kind == MatClass::kChar) return head.pages() == 1 ? head.rows() : 0;
  const bool is_list = (head.kind == MatClass::kCell && array.has_only_texts) ||
                       (with_numbers && IsNumeric(head.kind) && !head.is_complex);
  const bool is_vector = head.sizes.size() == 2 && (head.rows() == 1 || head.columns() == 1);
  return is_list && is_vector ? head.count() : 0;
}

}  // namespace

std::vector<MatOffer> OffersOf(const MatContents& contents) {
  std::vector<MatOffer> offers;
  for (std::size_t i = 0; i < contents.arrays.size(); ++i) {
    const MatArray& array = contents.arrays[i];
    const std::uint64_t pages = HasPages(array) ? array.head.pages() : 1;
    for (std::uint64_t page = 0; page < pages; ++page) {
      MatHead head = array.head;
      if (HasPages(array)) head.sizes.resize(2);
      const bool is_page = head.sizes.size() < array.head.sizes.size();
      offers.push_back({array.head.name + (is_page ? PageText(array.head, page) : ""),
                        DescribeMat(head), i, page, RowsOf(array), ColumnsOf(array)});
    }
  }
  return offers;
}

std::size_t UsualOffer(const std::vector<MatOffer>& offers, const MatContents& contents) {
  const auto rank = [&](const MatOffer& offer) {
    const MatClass kind = contents.arrays[offer.array].head.kind;
    return std::pair(kind != MatClass::kChar && kind != MatClass::kCell,
                     offer.rows * offer.columns);
  };
  const auto most = std::ranges::max_element(offers, {}, rank);
  return static_cast<std::size_t>(most - offers.begin());
}

MatSheet::MatSheet(const MatContents& contents, const std::vector<MatOffer>& offers,
                   const MatChoice& choice)
    : contents_(&contents) {
  std::uint64_t tallest = 0;
  for (const std::size_t offer : choice.offers) tallest = std::max(tallest, offers[offer].rows);
  const auto is_to_turn = [&](const MatOffer& offer) {
    return !choice.are_below && choice.offers.size() > 1 && offer.rows == 1 &&
           offer.columns == tallest && tallest > 1 && StepOf(offer.array) == 1;
  };
  std::vector<Names> names(choice.offers.size());
  bool has_row_names = false;
  bool has_header = false;
  if (choice.has_names) {
    FindLists(choice, offers);
    for (std::size_t i = 0; i < names.size(); ++i) {
      const MatOffer& offer = offers[choice.offers[i]];
      if (!is_to_turn(offer)) names[i] = NamesOf(offer);
      has_row_names = has_row_names || names[i].rows != kNoArray;
      has_header = has_header || names[i].columns != kNoArray;
    }
  }
  const std::uint64_t first_column = has_row_names ? 2 : 1;
  std::uint64_t column = first_column;
  std::uint64_t row = 1;
  bool has_side_names = false;
  std::size_t header = kNoArray;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const MatOffer& offer = offers[choice.offers[i]];
    const int step = StepOf(offer.array);
    const bool has_own_header = names[i].columns != kNoArray;
    if (choice.are_below) {
      // Matrices of the same columns have one row of names.
      if (has_own_header && names[i].columns != header)
        AddNames(names[i].columns, first_column, row++, true, step);
      header = names[i].columns;
      if (names[i].rows != kNoArray) AddNames(names[i].rows, 1, row, false, 1);
      blocks_.push_back({offer.array, offer.page, first_column, row, step});
      row += offer.rows;
      columns_ = std::max(columns_, first_column - 1 + offer.columns);
      rows_ = row - 1;
      continue;
    }
    const std::uint64_t first_row = has_header ? 2 : 1;
    const bool is_turned = is_to_turn(offer);
    const std::uint64_t width = is_turned ? 1 : offer.columns;
    if (has_own_header)
      AddNames(names[i].columns, column, 1, true, step);
    else if (has_header && width == 1)
      labels_.push_back({column, offer.name});
    if (names[i].rows != kNoArray && !has_side_names) {
      AddNames(names[i].rows, 1, first_row, false, 1);
      has_side_names = true;
    }
    blocks_.push_back({offer.array, offer.page, column, first_row, step, is_turned});
    column += width;
    columns_ = column - 1;
    rows_ = std::max(rows_, first_row - 1 + (is_turned ? tallest : offer.rows));
  }
}

int MatSheet::StepOf(std::size_t array) const {
  return contents_->arrays[array].head.is_complex ? 2 : 1;
}

void MatSheet::FindLists(const MatChoice& choice, const std::vector<MatOffer>& offers) {
  std::vector<bool> taken(contents_->arrays.size());
  usual_.assign(contents_->arrays.size(), {});
  for (const std::size_t offer : choice.offers) taken[offers[offer].array] = true;
  for (std::size_t i = 0; i < contents_->arrays.size(); ++i) {
    const MatArray& array = contents_->arrays[i];
    if (taken[i]) continue;
    if (const std::uint64_t count = NamesIn(array, /*with_numbers=*/false); count > 0) {
      lists_[{array.holder, array.place, count, ListKind::kBeside}].push_back(i);
      usual_[i] = {IsAmong(array.field, kRowNames), IsAmong(array.field, kColumnNames)};
    }
    // Data sets keep labels and scales in cells, the first of rows, the second of columns.
    if (array.holder == kNoArray || array.place > 1) continue;
    const MatHolder& holder = contents_->holders[array.holder];
    const bool are_labels = holder.field == "label";
    if (!are_labels && holder.field != "axisscale") continue;
    const ListKind kind = array.place == 0
                              ? (are_labels ? ListKind::kRowLabels : ListKind::kRowScale)
                              : (are_labels ? ListKind::kColumnLabels : ListKind::kColumnScale);
    const std::uint64_t count = NamesIn(array, /*with_numbers=*/true);
    if (count > 0) lists_[{holder.holder, holder.place, count, kind}].push_back(i);
  }
}

MatSheet::Names MatSheet::NamesOf(const MatOffer& offer) const {
  const MatArray& data = contents_->arrays[offer.array];
  if (data.head.kind == MatClass::kChar || data.head.kind == MatClass::kCell) return {};
  return {NamesAlong(data, false), NamesAlong(data, true)};
}

// Of several lists of that length the one with a name of the usual ones, then the one that lies the
// way that it names, then the first.
std::size_t MatSheet::NamesAlong(const MatArray& data, bool are_columns) const {
  const std::uint64_t count = are_columns ? data.head.columns() : data.head.rows();
  const std::uint64_t others = are_columns ? data.head.rows() : data.head.columns();
  if (data.field == "data" && data.holder != kNoArray) {
    const ListKind labels = are_columns ? ListKind::kColumnLabels : ListKind::kRowLabels;
    const ListKind scale = are_columns ? ListKind::kColumnScale : ListKind::kRowScale;
    for (const ListKind kind : {labels, scale})
      if (const auto found = lists_.find({data.holder, data.place, count, kind});
          found != lists_.end())
        return found->second.front();
  }
  const auto lists = lists_.find({data.holder, data.place, count, ListKind::kBeside});
  if (lists == lists_.end()) return kNoArray;
  std::size_t best = kNoArray;
  int best_rank = 0;
  for (const std::size_t i : lists->second) {
    const MatArray& list = contents_->arrays[i];
    const bool is_usual = are_columns ? usual_[i].for_columns : usual_[i].for_rows;
    const bool is_other = are_columns ? usual_[i].for_rows : usual_[i].for_columns;
    const bool lies_so = list.head.kind == MatClass::kCell &&
                         (are_columns ? list.head.rows() : list.head.columns()) == 1;
    int rank = is_usual ? 3 : lies_so ? 2 : 1;
    // What may as well be something else names nothing.
    if (!is_usual && (count == 1 || is_other || (count == others && !lies_so))) rank = 0;
    if (rank > best_rank) {
      best = i;
      best_rank = rank;
    }
  }
  return best;
}

void MatSheet::AddNames(std::size_t array, std::uint64_t column, std::uint64_t row,
                        bool are_columns, int step) {
  const MatHead& head = contents_->arrays[array].head;
  const bool lies_along = head.kind != MatClass::kChar && head.rows() == 1 && head.columns() != 1;
  blocks_.push_back({array, 0, column, row, step, lies_along != are_columns});
}

void MatSheet::AddPart(const Block& block, bool is_imaginary, std::vector<MatPart>& parts) const {
  const MatArray& array = contents_->arrays[block.array];
  using What = MatPart::What;
  MatPart part;
  part.array = block.array;
  part.what = array.head.kind == MatClass::kChar     ? What::kText
              : array.head.kind == MatClass::kCell   ? What::kCells
              : array.head.kind == MatClass::kSparse ? What::kSparse
                                                     : What::kNumbers;
  part.element = is_imaginary ? array.imaginary : array.real;
  if (part.what == What::kSparse && !array.is_triplets) part.element = array.row_indices;
  if (part.what == What::kNumbers) {
    const std::uint64_t bytes = part.element.bytes / array.head.pages();
    part.element.position += block.page * bytes;
    part.element.bytes = bytes;
  }
  part.column = static_cast<int>(block.column) + (is_imaginary ? 1 : 0);
  part.row = static_cast<int>(block.row);
  part.step = block.step;
  part.is_turned = block.is_turned;
  parts.push_back(part);
}

std::vector<MatPart> MatSheet::Parts() const {
  std::vector<MatPart> parts;
  for (const Block& block : blocks_) {
    AddPart(block, false, parts);
    const MatHead& head = contents_->arrays[block.array].head;
    if (head.is_complex && IsNumeric(head.kind)) AddPart(block, true, parts);
  }
  std::ranges::stable_sort(parts, {}, [this](const MatPart& part) {
    return std::pair(contents_->arrays[part.array].variable, part.element.position);
  });
  return parts;
}

}  // namespace nvimport
