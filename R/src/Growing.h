#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

namespace nvimport {

// Plain values one behind the other. Unlike those of a std::vector, many of them move with their
// pages of memory rather than by being copied.
template <typename Value>
requires std::is_trivially_copyable_v<Value>
class Growing {
 public:
  Growing() = default;
  Growing(Growing&& other) noexcept : data_(other.data_), size_(other.size_), room_(other.room_) {
    other.data_ = nullptr;
    other.size_ = other.room_ = 0;
  }
  Growing& operator=(Growing&&) = delete;
  ~Growing() { std::free(data_); }

  const Value* data() const { return data_; }
  std::size_t size() const { return size_; }
  Value& operator[](std::size_t at) { return data_[at]; }
  const Value& operator[](std::size_t at) const { return data_[at]; }

  void Add(Value value) {
    if (size_ == room_) MakeRoom(1);
    data_[size_++] = value;
  }
  // Room for so many more, to be filled.
  Value* Extend(std::size_t count) {
    if (count > room_ - size_) MakeRoom(count);
    size_ += count;
    return data_ + (size_ - count);
  }

 private:
  void MakeRoom(std::size_t count) {
    constexpr std::size_t kLeast = 16;
    const std::size_t room = std::max({2 * room_, size_ + count, kLeast});
    void* const moved = std::realloc(data_, room * sizeof(Value));
    if (moved == nullptr) throw std::bad_alloc();
    data_ = static_cast<Value*>(moved);
    room_ = room;
  }

  Value* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t room_ = 0;
};

}  // namespace nvimport
