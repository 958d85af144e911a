#pragma once

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace nvimport {

// Puts MATLAB files of level 5 together, in either byte order.
struct MatFixture {
  std::endian order = std::endian::little;

  template <typename Value>
  std::string Bytes(Value value) const {
    std::string bytes(reinterpret_cast<const char*>(&value), sizeof value);
    if (order == std::endian::big) std::ranges::reverse(bytes);
    return bytes;
  }
  template <typename Value>
  std::string Values(const std::vector<Value>& values) const {
    std::string bytes;
    for (const Value value : values) bytes += Bytes(value);
    return bytes;
  }

  std::string Header(std::uint16_t version = 0x0100) const {
    std::string text = "MATLAB 5.0 MAT-file, Platform: PCWIN, Created on: today";
    text.resize(116, ' ');
    return text + std::string(8, ' ') + Bytes(version) + (order == std::endian::big ? "MI" : "IM");
  }

  std::string Element(std::uint32_t type, std::string data) const {
    const auto size = static_cast<std::uint32_t>(data.size());
    if (size > 0 && size <= 4) {
      data.resize(4);
      return Bytes(size << 16 | type) + data;
    }
    data.resize((data.size() + 7) / 8 * 8);
    return Bytes(type) + Bytes(size) + data;
  }
  std::string Array(std::uint32_t kind, const std::vector<std::int32_t>& sizes,
                    const std::string& data, const std::string& name = "") const {
    return Element(14, Element(6, Values(std::vector<std::uint32_t>{kind, 0})) +
                           Element(5, Values(sizes)) + Element(1, name) + data);
  }

  static constexpr std::uint32_t kDouble = 6;
  std::string Doubles(const std::vector<std::int32_t>& sizes, const std::vector<double>& values,
                      const std::string& name = "") const {
    return Array(kDouble, sizes, Element(9, Values(values)), name);
  }
  std::string Text(std::u16string_view text, const std::string& name = "") const {
    return Array(4, {1, static_cast<std::int32_t>(text.size())},
                 Element(17, Values(std::vector<char16_t>(text.begin(), text.end()))), name);
  }
  std::string Struct(const std::vector<std::int32_t>& sizes, std::vector<std::string> fields,
                     const std::string& values, const std::string& name,
                     std::uint32_t kind = 2) const {
    std::string names;
    for (std::string& field : fields) {
      field.resize(12);
      names += field;
    }
    return Array(kind, sizes,
                 (kind == 3 ? Element(1, "dataset") : "") + Element(5, Bytes(std::int32_t{12})) +
                     Element(1, names) + values,
                 name);
  }

  std::string Packed(const std::string& variable) const {
    std::string data(compressBound(variable.size()), '\0');
    uLongf size = data.size();
    compress(reinterpret_cast<Bytef*>(data.data()), &size,
             reinterpret_cast<const Bytef*>(variable.data()), variable.size());
    return Bytes(std::uint32_t{15}) + Bytes(static_cast<std::uint32_t>(size)) +
           data.substr(0, size);
  }

  // A variable of level 4.
  std::string Old(std::int32_t code, std::int32_t rows, std::int32_t columns,
                  const std::string& data, const std::string& name = "a",
                  std::int32_t is_complex = 0) const {
    return Bytes(code) + Bytes(rows) + Bytes(columns) + Bytes(is_complex) +
           Bytes(static_cast<std::int32_t>(name.size() + 1)) + name + '\0' + data;
  }
};

}  // namespace nvimport
