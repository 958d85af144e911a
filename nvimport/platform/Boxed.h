#pragma once

#include <memory>
#include <utility>

namespace nvimport {

// A member whose class its owner's header need not know, and which is copied with its owner.
template <typename T>
class Boxed {
 public:
  explicit Boxed(T value) : value_(std::make_unique<T>(std::move(value))) {}
  Boxed(const Boxed& other) : Boxed(*other) {}
  Boxed& operator=(const Boxed& other) {
    if (this != &other) *value_ = *other;
    return *this;
  }
  ~Boxed() = default;

  T& operator*() { return *value_; }
  const T& operator*() const { return *value_; }
  T* operator->() { return value_.get(); }
  const T* operator->() const { return value_.get(); }

 private:
  std::unique_ptr<T> value_;
};

}  // namespace nvimport
