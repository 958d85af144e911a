#pragma once

#include <cstddef>

// Measures what the test binary takes through operator new, in bytes of the heap.
class AllocationCounter {
 public:
  AllocationCounter();

  // The most that was held at once since this was made, above what was held then.
  std::size_t Peak() const;

 private:
  std::size_t before_;
};
