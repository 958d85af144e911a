#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nvimport {

// Puts netCDF files of the classic formats together.
struct NetcdfFixture {
  static constexpr std::uint32_t kChar = 2;
  static constexpr std::uint32_t kShort = 3;
  static constexpr std::uint32_t kInt = 4;
  static constexpr std::uint32_t kFloat = 5;
  static constexpr std::uint32_t kDouble = 6;

  template <typename Value>
  static std::string Bytes(Value value) {
    std::string bytes(reinterpret_cast<const char*>(&value), sizeof value);
    std::ranges::reverse(bytes);
    return bytes;
  }
  template <typename Value>
  static std::string Values(const std::vector<Value>& values) {
    std::string bytes;
    for (const Value value : values) bytes += Bytes(value);
    return bytes;
  }

  struct Attribute {
    std::string name;
    std::uint32_t type;
    std::uint64_t count;
    std::string bytes;
  };
  static Attribute Text(std::string name, std::string_view text) {
    return {std::move(name), kChar, text.size(), std::string(text)};
  }
  template <typename Value>
  static Attribute Number(std::string name, std::uint32_t type, Value value) {
    return {std::move(name), type, 1, Bytes(value)};
  }

  struct Dimension {
    std::string name;
    std::uint32_t length;  // 0 of records
  };
  struct Variable {
    std::string name;
    std::vector<std::uint32_t> dimensions;
    std::uint32_t type;
    std::string values;  // of all records
    std::vector<Attribute> attributes{};
  };

  int version = 1;
  std::vector<Dimension> dimensions{};
  std::vector<Attribute> attributes{};
  std::vector<Variable> variables{};
  std::uint32_t records = 0;
  bool counts_records = true;  // else the header leaves their number open

  std::string Size(std::uint64_t size) const {
    return version == 5 ? Bytes(size) : Bytes(static_cast<std::uint32_t>(size));
  }
  static std::string Padded(std::string bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
  }
  std::string Name(const std::string& name) const { return Size(name.size()) + Padded(name); }
  std::string List(std::uint32_t tag, std::size_t count, const std::string& items) const {
    return Bytes(count > 0 ? tag : 0) + Size(count) + items;
  }
  std::string List(const std::vector<Attribute>& list) const {
    std::string items;
    for (const Attribute& one : list)
      items += Name(one.name) + Bytes(one.type) + Size(one.count) + Padded(one.bytes);
    return List(12, list.size(), items);
  }
  bool IsRecord(const Variable& variable) const {
    return !variable.dimensions.empty() && dimensions[variable.dimensions[0]].length == 0;
  }
  std::string Header(const std::vector<std::uint64_t>& begins) const {
    std::string list;
    for (const Dimension& one : dimensions) list += Name(one.name) + Size(one.length);
    std::string bytes = "CDF" + std::string(1, static_cast<char>(version)) +
                        (counts_records ? Size(records) : Size(~std::uint64_t{0})) +
                        List(10, dimensions.size(), list) + List(attributes);
    list.clear();
    for (std::size_t i = 0; i < variables.size(); ++i) {
      const Variable& one = variables[i];
      list += Name(one.name) + Size(one.dimensions.size());
      for (const std::uint32_t dimension : one.dimensions) list += Size(dimension);
      list += List(one.attributes) + Bytes(one.type) + Size(one.values.size()) +
              (version == 1 ? Bytes(static_cast<std::uint32_t>(begins[i])) : Bytes(begins[i]));
    }
    return bytes + List(11, variables.size(), list);
  }

  std::string Bytes() const {
    std::vector<std::uint64_t> begins(variables.size());
    const std::uint64_t header = Header(begins).size();
    std::string fixed;
    std::string record;
    const auto in_record = std::ranges::count_if(
        variables, [this](const Variable& variable) { return IsRecord(variable); });
    const auto part = [&](const Variable& variable, std::uint32_t number) {
      const std::size_t size = variable.values.size() / records;
      const std::string bytes = variable.values.substr(number * size, size);
      return in_record > 1 ? Padded(bytes) : bytes;
    };
    for (std::size_t i = 0; i < variables.size(); ++i) {
      if (IsRecord(variables[i])) continue;
      begins[i] = header + fixed.size();
      fixed += Padded(variables[i].values);
    }
    for (std::uint32_t number = 0; number < records; ++number)
      for (std::size_t i = 0; i < variables.size(); ++i) {
        if (!IsRecord(variables[i])) continue;
        if (number == 0) begins[i] = header + fixed.size() + record.size();
        record += part(variables[i], number);
      }
    return Header(begins) + fixed + record;
  }

  // A chromatogram of four points and two peaks.
  static NetcdfFixture Chromatogram(std::string_view sample = "juice") {
    return {.dimensions = {{"point_number", 4}, {"peak_number", 2}, {"_4_byte_string", 4}},
            .attributes = {Text("aia_template_revision", "1.0"), Text("sample_name", sample),
                           Text("retention_unit", "Seconds"), Text("detector_unit", "mAU")},
            .variables = {{"actual_delay_time", {}, kFloat, Bytes(0.5F)},
                          {"actual_sampling_interval", {}, kFloat, Bytes(0.25F)},
                          {"ordinate_values", {0}, kFloat, Values<float>({1, 2.5F, 4, 3})},
                          {"peak_area", {1}, kFloat, Values<float>({10.5F, -9999})},
                          {"peak_name", {1, 2}, kChar, std::string("ab\0\0cd  ", 8)}}};
  }
  // Three mass spectra, the second of which is empty.
  static NetcdfFixture MassSpectra() {
    return {.dimensions = {{"point_number", 0}, {"scan_number", 3}},
            .attributes = {Text("ms_template_revision", "1.0.1")},
            .variables =
                {{"scan_acquisition_time", {1}, kDouble, Values<double>({1.5, 2, 2.5})},
                 {"total_intensity", {1}, kDouble, Values<double>({30, 0, 70})},
                 {"scan_index", {1}, kInt, Values<std::int32_t>({0, -1, 2})},
                 {"point_count", {1}, kInt, Values<std::int32_t>({2, 0, 3})},
                 {"mass_values",
                  {0},
                  kShort,
                  Values<std::int16_t>({18, 44, 44, 18, 20}),
                  {Number("scale_factor", kFloat, 0.5F)}},
                 {"intensity_values", {0}, kInt, Values<std::int32_t>({10, 20, 30, 40, -9999})}},
            .records = 5};
  }
};

}  // namespace nvimport
