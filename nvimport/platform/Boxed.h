#pragma once

#include <memory>
#include <utility>

namespace nvimport {

// A member whose class its owner's header need not know, and which is copied with its owner.
template <typename T>
class Boxed {
 public:
  explicit Boxed(T value)
      : copy_([](const T& from) { return std::make_shared<T>(from); }),
        value_(std::make_shared<T>(std::move(value))) {}
  Boxed(const Boxed& other) : copy_(other.copy_), value_(copy_(*other)) {}
  Boxed& operator=(const Boxed& other) {
    if (this != &other) {
      copy_ = other.copy_;
      value_ = copy_(*other);
    }
    return *this;
  }
  ~Boxed() = default;

  T& operator*() { return *value_; }
  const T& operator*() const { return *value_; }
  T* operator->() { return value_.get(); }
  const T* operator->() const { return value_.get(); }

 private:
  // Neither needs the class where the owner is copied and ends.
  std::shared_ptr<T> (*copy_)(const T&);
  std::shared_ptr<T> value_;
};

}  // namespace nvimport
