#pragma once

#include <cstddef>

namespace nvimport {

// Measures what the test binary takes through operator new, in bytes of the heap.
class AllocationCounter {
 public:
  AllocationCounter();

  // The most that was held at once since this was made, above what was held then.
  std::size_t Peak() const;

 private:
  std::size_t before_;
};

// Lets that many more allocations through, then one fails, while it lives.
class AllocationFault {
 public:
  explicit AllocationFault(std::size_t granted);
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
  ~AllocationFault();

  // Whether it has come to pass.
  bool happened() const;
};

// What is held now.
std::size_t AllocatedBytes();

}  // namespace nvimport
