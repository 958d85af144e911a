#include "nvimport/formats/matrix/NetcdfTable.h"

#include <algorithm>
#include <utility>

#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

namespace {

// The sizes of a variable, "401 x 272", without the characters of texts.
std::string SizesText(const NetcdfContents& contents, const NetcdfVariable& variable) {
  std::string text;
  const std::size_t rank = variable.dimensions.size() - (contents.HasTexts(variable) ? 1 : 0);
  for (std::size_t i = 0; i < rank; ++i) {
    const NetcdfDimension& dimension = contents.dimensions[variable.dimensions[i]];
    text += (i > 0 ? " x " : "") + dimension.name + " " + std::to_string(dimension.length);
  }
  return text.empty() ? "1" : text;
}

std::uint64_t CellsOf(const NetcdfPart& part) { return part.slab.rows * part.slab.columns; }

bool IsAlongAlone(const NetcdfContents& contents, const NetcdfVariable& variable,
                  std::uint32_t dimension) {
  const std::size_t rank = variable.dimensions.size() - (contents.HasTexts(variable) ? 1 : 0);
  return rank == 1 && variable.dimensions.front() == dimension;
}

}  // namespace

std::vector<NetcdfOffer> OffersOf(const NetcdfContents& contents) {
  std::vector<NetcdfOffer> offers;
  for (std::size_t i = 0; i < contents.variables.size(); ++i) {
    const NetcdfVariable& variable = contents.variables[i];
    const bool is_empty = std::ranges::any_of(variable.dimensions, [&](std::uint32_t dimension) {
      return contents.dimensions[dimension].length == 0;
    });
    if (is_empty) continue;
    const bool has_texts = contents.HasTexts(variable);
    std::string detail =
        SizesText(contents, variable) + ", " + (has_texts ? "text" : WordOf(variable.type));
    for (const char* name : {"units", "long_name"})
      if (const std::string text = TextOf(variable.attributes, name); !text.empty())
        detail += ", " + text;
    offers.push_back({variable.name, std::move(detail), i});
  }
  return offers;
}

NetcdfPart PartOf(const NetcdfContents& contents, std::size_t variable, const NetcdfPages& pages) {
  const NetcdfVariable& from = contents.variables[variable];
  NetcdfPart part;
  part.variable = variable;
  std::size_t rank = from.dimensions.size();
  std::uint64_t size = SizeOf(from.type);
  if (IsText(from.type)) part.text_length = 1;
  if (contents.HasTexts(from)) {
    size = contents.dimensions[from.dimensions[--rank]].length;
    part.text_length = static_cast<std::size_t>(size);
  }
  part.slab.begin = from.begin;
  part.slab.size = size;
  std::size_t open = 0;  // dimensions that no page is given of
  const auto page_of = [&](std::uint32_t dimension) {
    return std::ranges::find(pages, dimension, &NetcdfPage::dimension);
  };
  for (std::size_t i = 0; i < rank; ++i)
    if (page_of(from.dimensions[i]) == pages.end()) ++open;
  std::uint64_t stride = size;
  part.slab.row_stride = part.slab.column_stride = size;
  for (std::size_t i = rank, taken = 0; i-- > 0;) {
    const std::uint32_t dimension = from.dimensions[i];
    const std::uint64_t length = contents.dimensions[dimension].length;
    if (i == 0 && from.is_record) stride = contents.record_size;
    if (const auto page = page_of(dimension); page != pages.end()) {
      part.slab.begin += page->place * stride;
    } else if (taken == 2) {
      part.first_pages.insert(part.first_pages.begin(), {dimension, 0});
    } else if (taken++ == 0 && open > 1) {
      part.columns_along = dimension;
      part.slab.columns = length;
      part.slab.column_stride = stride;
    } else {
      part.rows_along = dimension;
      part.slab.rows = length;
      part.slab.row_stride = stride;
    }
    stride *= length;
  }
  return part;
}

std::vector<std::size_t> UsualOffers(const NetcdfContents& contents,
                                     const std::vector<NetcdfOffer>& offers,
                                     const NetcdfPages& pages) {
  std::vector<NetcdfPart> parts;
  parts.reserve(offers.size());
  for (const NetcdfOffer& offer : offers) parts.push_back(PartOf(contents, offer.variable, pages));
  const auto most = std::ranges::max_element(parts, {}, [](const NetcdfPart& part) {
    return std::pair(part.text_length == 0, CellsOf(part));
  });
  const NetcdfPart& best = *most;
  const NetcdfVariable* const names =
      best.rows_along != kNoDimension ? NamesAlong(contents, best.rows_along, {}) : nullptr;
  std::vector<std::size_t> usual;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const NetcdfPart& part = parts[i];
    const bool is_beside = part.columns_along == kNoDimension && part.first_pages.empty() &&
                           best.rows_along != kNoDimension && part.rows_along == best.rows_along &&
                           &contents.variables[part.variable] != names;
    if (&part == &best || is_beside) usual.push_back(i);
  }
  return usual;
}

const NetcdfVariable* NamesAlong(const NetcdfContents& contents, std::uint32_t dimension,
                                 const std::vector<NetcdfPart>& chosen) {
  const auto is_free = [&](const NetcdfVariable& variable) {
    return std::ranges::none_of(chosen, [&](const NetcdfPart& part) {
      return &contents.variables[part.variable] == &variable;
    });
  };
  const NetcdfVariable* own = contents.Find(contents.dimensions[dimension].name);
  if (own != nullptr && IsAlongAlone(contents, *own, dimension))
    return is_free(*own) ? own : nullptr;
  for (const NetcdfVariable& variable : contents.variables)
    if ((contents.HasTexts(variable) || variable.type == NetcdfType::kText) &&
        IsAlongAlone(contents, variable, dimension))
      return is_free(variable) ? &variable : nullptr;
  return nullptr;
}

NetcdfPartsReader::NetcdfPartsReader(NetcdfSource& source, const NetcdfContents& contents,
                                     const std::vector<NetcdfPart>& parts,
                                     ReadSpreadSheetData& sink,
                                     std::initializer_list<double> missing)
    : source_(source), sink_(sink) {
  std::uint64_t row_bytes = 0;
  const NetcdfPart* before = nullptr;
  for (const NetcdfPart& part : parts) {
    const NetcdfVariable& variable = contents.variables[part.variable];
    const bool is_text = part.text_length > 0;
    // Columns that stand side by side in file and sheet are set together.
    if (before != nullptr && !is_text && before->text_length == 0) {
      const NetcdfVariable& other = contents.variables[before->variable];
      NetcdfSlab& last = slabs_.back();
      const bool goes_on =
          part.slab.columns == 1 && other.type == variable.type && IsPlain(other) &&
          IsPlain(variable) && last.rows == part.slab.rows && last.rows > 1 &&
          last.row_stride == part.slab.row_stride &&
          columns_.back() + static_cast<int>(last.columns) == static_cast<int>(part.column);
      const std::uint64_t stride =
          last.columns > 1 ? last.column_stride : part.slab.begin - last.begin;
      if (goes_on && part.slab.begin > last.begin && stride < last.row_stride &&
          part.slab.begin - last.begin == last.columns * stride) {
        last.column_stride = stride;
        ++last.columns;
        continue;
      }
    }
    slabs_.push_back(part.slab);
    columns_.push_back(static_cast<int>(part.column));
    cells_.push_back(is_text ? TextsOf(variable, part.text_length, source)
                             : NumbersOf(variable, missing));
    row_bytes += part.slab.window();
    before = &part;
  }
  if (row_bytes <= NetcdfRows::kMostAtOnce) rows_ = std::make_unique<NetcdfRows>(source, slabs_);
}

bool NetcdfPartsReader::Set(std::uint64_t row, int sheet_row) {
  if (!rows_) return SetWide(row, sheet_row);
  if (!rows_->Load(row)) {
    cannot_read_ = rows_->cannot_read();
    return false;
  }
  for (std::size_t i = 0; i < slabs_.size(); ++i) {
    const NetcdfSlab& slab = slabs_[i];
    if (row < slab.rows)
      cells_[i]->Set(rows_->At(i, row), static_cast<std::size_t>(slab.column_stride),
                     static_cast<int>(slab.columns), sink_, columns_[i], sheet_row);
  }
  return true;
}

bool NetcdfPartsReader::SetWide(std::uint64_t row, int sheet_row) {
  for (std::size_t i = 0; i < slabs_.size(); ++i) {
    if (row >= slabs_[i].rows) continue;
    const NetcdfSlab turned = slabs_[i].Turned(row);
    NetcdfRows some(source_, {turned});
    for (std::uint64_t column = 0; column < turned.rows;) {
      if (!some.Load(column)) {
        cannot_read_ = some.cannot_read();
        return false;
      }
      const std::uint64_t ready = some.Ready(column);
      cells_[i]->Set(some.At(0, column), some.Stride(0), static_cast<int>(ready), sink_,
                     columns_[i] + static_cast<int>(column), sheet_row);
      column += ready;
    }
  }
  return true;
}

}  // namespace nvimport
