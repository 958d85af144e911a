#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "tests/support/BiffFixture.h"

namespace nvimport {

template <typename Value>
void Put(std::string& bytes, std::size_t at, Value value) {
  std::memcpy(&bytes[at], &value, sizeof value);
}

// A compound file whose one stream follows the header: 512-byte sectors, then the directory, the
// sector table and the list of its sectors.
inline std::string CompoundFileAround(std::string stream) {
  constexpr std::uint32_t kEnd = 0xFFFFFFFE;
  constexpr std::uint32_t kFree = 0xFFFFFFFF;
  const auto size = static_cast<std::uint32_t>(stream.size());
  stream.resize((stream.size() + 511) / 512 * 512);
  const auto directory = static_cast<std::uint32_t>(stream.size() / 512);
  std::uint32_t tables = 0;
  std::uint32_t lists = 0;
  for (std::uint32_t before = kFree; tables != before;) {
    before = tables;
    tables = (directory + 1 + tables + lists + 127) / 128;
    lists = tables > 109 ? (tables - 109 + 126) / 127 : 0;
  }
  const std::uint32_t first_table = directory + 1;
  const std::uint32_t first_list = first_table + tables;

  std::string header(512, '\xFF');
  header.replace(0, 76, 76, '\0');
  header.replace(0, 8, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
  for (const auto& [at, value] : std::initializer_list<std::array<unsigned, 2>>{
           {24, 0x3E}, {26, 3}, {28, 0xFFFE}, {30, 9}, {32, 6}})
    Put(header, at, static_cast<std::uint16_t>(value));
  for (const auto& [at, value] :
       std::initializer_list<std::array<std::uint32_t, 2>>{{44, tables},
                                                           {48, directory},
                                                           {56, 4096},
                                                           {60, kEnd},
                                                           {68, lists > 0 ? first_list : kEnd},
                                                           {72, lists}})
    Put(header, at, value);

  std::string entries(512, '\0');
  const auto entry = [&](std::size_t at, std::u16string_view name, char kind, std::uint32_t child,
                         std::uint32_t first_sector, std::uint32_t bytes) {
    entries.replace(at, name.size() * 2, Wide(name));
    Put(entries, at + 64, static_cast<std::uint16_t>(name.size() * 2 + 2));
    entries[at + 66] = kind;
    entries[at + 67] = 1;
    for (const std::size_t link : {68U, 72U}) Put(entries, at + link, kFree);
    Put(entries, at + 76, child);
    Put(entries, at + 116, first_sector);
    Put(entries, at + 120, bytes);
  };
  entry(0, u"Root Entry", 5, 1, kEnd, 0);
  entry(128, u"Workbook", 2, kFree, 0, size);
  for (const std::size_t unused : {256U, 384U})
    for (const std::size_t link : {68U, 72U, 76U}) Put(entries, unused + link, kFree);

  std::string table;
  for (std::uint32_t i = 1; i < directory; ++i) table += U32(i);
  table += U32(kEnd) + U32(kEnd);
  for (std::uint32_t i = 0; i < tables; ++i) table += U32(0xFFFFFFFD);
  for (std::uint32_t i = 0; i < lists; ++i) table += U32(0xFFFFFFFC);
  table.resize(std::size_t{tables} * 512, '\xFF');

  std::string list;
  for (std::uint32_t i = 0; i < tables; ++i) {
    if (i < 109)
      Put(header, 76 + std::size_t{4} * i, first_table + i);
    else
      list += U32(first_table + i);
    if (list.size() % 512 == 508)
      list += U32(first_list + static_cast<std::uint32_t>(list.size() / 512) + 1);
  }
  list.resize(std::size_t{lists} * 512, '\xFF');
  if (lists > 0) Put(list, list.size() - 4, kEnd);
  return header + stream + entries + table + list;
}

}  // namespace nvimport
