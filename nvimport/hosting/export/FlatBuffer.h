#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace nvimport {

// A FlatBuffer, made from its end to its begin: what a table refers to is put before the table. The
// bytes are kept in reverse until all are there.
class FlatBuffer {
 public:
  // Of something in the buffer, counted from its end.
  using Place = std::size_t;

  // A field of a table, a number or a place.
  struct Field {
    std::size_t id;
    std::uint64_t value;
    std::size_t size;  // in bytes; 0 for a place
  };
  template <typename T>
  static Field Number(std::size_t id, T value) {
    return {id, static_cast<std::uint64_t>(value), sizeof(T)};
  }
  static Field At(std::size_t id, Place place) { return {id, place, 0}; }

  Place Text(std::string_view text) {
    Align(sizeof(std::uint32_t), text.size() + 1);
    reversed_ += '\0';
    reversed_.append(text.rbegin(), text.rend());
    return Push(text.size(), sizeof(std::uint32_t));
  }

  // A list of what is at these places.
  Place List(std::span<const Place> places) {
    Align(sizeof(std::uint32_t));
    for (std::size_t i = places.size(); i-- > 0;) PushPlace(places[i]);
    return Push(places.size(), sizeof(std::uint32_t));
  }

  // A list of `count` records of eight-byte numbers.
  Place Records(std::span<const std::uint64_t> numbers, std::size_t count) {
    Align(sizeof(std::uint64_t));
    for (std::size_t i = numbers.size(); i-- > 0;) Push(numbers[i], sizeof(std::uint64_t));
    return Push(count, sizeof(std::uint32_t));
  }

  Place Table(const std::vector<Field>& fields) {
    std::size_t ids = 0;
    const std::size_t end = reversed_.size();
    std::vector<std::size_t> places;
    for (const Field& field : fields) {
      ids = std::max(ids, field.id + 1);
      Align(std::max(field.size, std::size_t{1}));
      places.push_back(field.size > 0 ? Push(field.value, field.size) : PushPlace(field.value));
    }
    const std::size_t index_size = 2 * (ids + 2);
    Align(sizeof(std::uint32_t));
    const Place table = Push(index_size, sizeof(std::uint32_t));
    // The index of the fields stands before the table.
    std::vector<std::size_t> index(ids);
    for (std::size_t i = 0; i < fields.size(); ++i) index[fields[i].id] = table - places[i];
    for (std::size_t i = ids; i-- > 0;) Push(index[i], 2);
    Push(table - end, 2);
    Push(index_size, 2);
    return table;
  }

  // The whole, with that table as its root, in a multiple of eight bytes.
  std::string Finish(Place root) {
    Align(sizeof(std::uint64_t), sizeof(std::uint32_t));
    PushPlace(root);
    std::ranges::reverse(reversed_);
    return std::move(reversed_);
  }

 private:
  // Pads so that what follows, behind so many bytes, is aligned.
  void Align(std::size_t size, std::size_t behind = 0) {
    reversed_.append((size - (reversed_.size() + behind) % size) % size, '\0');
  }
  Place Push(std::uint64_t value, std::size_t size) {
    for (std::size_t i = size; i-- > 0;) reversed_ += static_cast<char>(value >> 8 * i);
    return reversed_.size();
  }
  Place PushPlace(Place place) {
    Align(sizeof(std::uint32_t));
    return Push(reversed_.size() + sizeof(std::uint32_t) - place, sizeof(std::uint32_t));
  }

  std::string reversed_;
};

}  // namespace nvimport
