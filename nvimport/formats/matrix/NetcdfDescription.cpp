// What the files say of themselves.

#include <algorithm>
#include <span>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/matrix/NetcdfInput.h"
#include "nvimport/formats/spectra/SpectraStatements.h"

namespace nvimport {

namespace {

// The time stamp of ANDI, 20231029185100+0100, as ISO 8601; empty for what is none.
std::string IsoStamp(std::string_view stamp) {
  constexpr std::size_t kSize = 14;
  constexpr std::size_t kZoneSize = 5;
  const std::string_view zone = stamp.substr(std::min(stamp.size(), kSize));
  const auto two = [&](std::size_t at) { return (stamp[at] - '0') * 10 + (stamp[at + 1] - '0'); };
  const auto are_digits = [](std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
  };
  if (stamp.size() < kSize || !are_digits(stamp.substr(0, kSize))) return {};
  const bool has_zone =
      zone.size() == kZoneSize && (zone[0] == '+' || zone[0] == '-') && are_digits(zone.substr(1));
  if (!zone.empty() && !has_zone) return {};
  const bool is_time = two(4) >= 1 && two(4) <= 12 && two(6) >= 1 && two(6) <= 31 && two(8) <= 23 &&
                       two(10) <= 59 && two(12) <= 60;
  if (!is_time) return {};
  std::string iso(stamp.substr(0, kSize));
  for (const std::size_t at : {12U, 10U}) iso.insert(at, ":");
  iso.insert(8, "T");
  for (const std::size_t at : {6U, 4U}) iso.insert(at, "-");
  if (has_zone) iso.append(zone.substr(0, 3)).append(":").append(zone.substr(3));
  return iso;
}

}  // namespace

int NetCDFFile::DescribeFiles(Description& description) {
  SpectraStatements statements(description, kNetcdfKeys, budget_);
  int row = table_ && !table_->has_names ? 1 : 2;
  for (const Input& input : inputs_) {
    if (statements.full()) break;
    if (input.rows == 0 && inputs_.size() > 1) continue;  // it has no row to be about
    DescribeInput(input, inputs_.size() == 1 ? 0 : row, statements);
    row += input.rows;
  }
  return kGood;
}

// The variables that the cells come from.
std::vector<const NetcdfVariable*> NetCDFFile::VariablesOf(const Input& input) const {
  std::vector<const NetcdfVariable*> variables;
  const auto add = [&](const NetcdfVariable* variable) {
    if (variable != nullptr) variables.push_back(variable);
  };
  const auto add_parts = [&](const std::vector<NetcdfPart>& parts) {
    for (const NetcdfPart& part : parts) add(&input.contents.variables[part.variable]);
  };
  if (table_ || shape_ == Shape::kPeaks) {
    add_parts(input.parts);
    if (table_ && table_->heads)
      add(input.contents.Find(inputs_.front().contents.variables[table_->heads->variable].name));
  } else {
    constexpr std::string_view kOfSignal[] = {"ordinate_values", "raw_data_retention"};
    constexpr std::string_view kOfScans[] = {"scan_acquisition_time", "mass_values",
                                             "intensity_values"};
    constexpr std::string_view kOfTotal[] = {"scan_acquisition_time", "total_intensity"};
    const auto names = shape_ == Shape::kSignal  ? std::span<const std::string_view>(kOfSignal)
                       : shape_ == Shape::kScans ? std::span<const std::string_view>(kOfScans)
                                                 : std::span<const std::string_view>(kOfTotal);
    for (const std::string_view name : names) add(input.contents.Find(name));
  }
  return variables;
}

void NetCDFFile::DescribeInput(const Input& input, int row, SpectraStatements& statements) const {
  const NetcdfContents& contents = input.contents;
  statements.StateNumber("version", contents.version, row);
  for (const NetcdfAttribute& attribute : contents.attributes) {
    const std::string text = attribute.Text();
    if (attribute.name.empty() && text.empty()) continue;  // such a statement would say nothing
    if (!attribute.name.ends_with("_date_time_stamp")) {
      statements.State(attribute.name, text, row);
      continue;
    }
    statements.State(attribute.name, {}, text, row);
    if (const std::string iso = IsoStamp(text); !iso.empty())
      statements.State(attribute.name, iso, row);
  }
  if (is_andi()) DescribeInstrument(input, row, statements);
  DescribeAxes(input, statements);
  for (const NetcdfVariable* variable : VariablesOf(input))
    for (const NetcdfAttribute& attribute : variable->attributes)
      statements.State(variable->name + ":" + attribute.name, attribute.Text(), row);
}

// Mass spectra name their instrument in variables.
void NetCDFFile::DescribeInstrument(const Input& input, int row,
                                    SpectraStatements& statements) const {
  constexpr std::uint64_t kLongest = 4096;
  NetcdfSource& source = SourceOf(input);
  for (const NetcdfVariable& variable : input.contents.variables) {
    if (!variable.name.starts_with("instrument_") || variable.type != NetcdfType::kChar) continue;
    if (variable.bytes == 0 || variable.bytes > kLongest || variable.is_record ||
        !input.contents.Holds(variable))
      continue;
    std::string text(static_cast<std::size_t>(variable.bytes), '\0');
    if (source.ReadAt(variable.begin, text) == static_cast<std::ptrdiff_t>(text.size()))
      statements.StateIfAny(variable.name, NetcdfText(text), row);
  }
}

void NetCDFFile::DescribeAxes(const Input& input, SpectraStatements& statements) const {
  const NetcdfContents& contents = input.contents;
  const auto name = [&](Axis axis, const NetcdfVariable& variable) {
    const std::string text = TextOf(variable.attributes, "long_name");
    statements.Label(axis).Take(text.empty() ? variable.name : text);
    statements.Unit(axis).Take(TextOf(variable.attributes, "units"));
  };
  const auto unit_of = [&](const char* variable) {
    const NetcdfVariable* found = contents.Find(variable);
    return found != nullptr ? TextOf(found->attributes, "units") : std::string();
  };
  const char* const time_unit = input.in_minutes ? "min" : "s";
  if (table_) {
    if (table_->wide != 1) return;
    if (&input != &inputs_.front()) return;
    for (const NetcdfPart& part : input.parts)
      if (part.columns_along != kNoDimension) name(Axis::kY, contents.variables[part.variable]);
    if (table_->heads) name(Axis::kX, contents.variables[table_->heads->variable]);
    if (table_->has_row_names) name(Axis::kZ, contents.variables[input.parts[0].variable]);
  } else if (shape_ == Shape::kSignal) {
    statements.Label(Axis::kX).Take("time");
    if (input.times.has_times) statements.Unit(Axis::kX).Take(time_unit);
    statements.Unit(Axis::kY).Take(AndiText(contents, "detector_unit"));
  } else if (shape_ == Shape::kTotal) {
    statements.Label(Axis::kX).Take("time");
    if (input.times.has_times) statements.Unit(Axis::kX).Take("s");
    statements.Unit(Axis::kY).Take(unit_of("total_intensity"));
  } else if (shape_ == Shape::kScans) {
    statements.Label(Axis::kX).Take("m/z");
    statements.Label(Axis::kZ).Take("time");
    statements.Unit(Axis::kZ).Take("s");
    statements.Unit(Axis::kY).Take(unit_of("intensity_values"));
  }
}

}  // namespace nvimport
