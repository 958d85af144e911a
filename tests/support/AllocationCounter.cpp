#include "tests/support/AllocationCounter.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace nvimport {

namespace {

std::size_t held = 0;
std::size_t most_held = 0;
constexpr std::size_t kAll = static_cast<std::size_t>(-1);
std::size_t granted_still = kAll;

// Whether this allocation is the one to fail.
bool Fails() {
  if (granted_still == kAll) return false;
  if (granted_still > 0) {
    --granted_still;
    return false;
  }
  granted_still = kAll;
  return true;
}

void* Counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  held += ::malloc_usable_size(memory);
  most_held = std::max(most_held, held);
  return memory;
}

void Release(void* memory) {
  held -= ::malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

AllocationCounter::AllocationCounter() : before_(held) { most_held = held; }

std::size_t AllocationCounter::Peak() const { return most_held - std::min(most_held, before_); }

AllocationFault::AllocationFault(std::size_t granted) { granted_still = granted; }
AllocationFault::~AllocationFault() { granted_still = kAll; }
bool AllocationFault::happened() const { return granted_still == kAll; }

std::size_t AllocatedBytes() { return held; }

}  // namespace nvimport

using nvimport::Counted;
using nvimport::Fails;
using nvimport::Release;

// The other forms of new and delete end in these.
void* operator new(std::size_t size) { return Counted(Fails() ? nullptr : std::malloc(size)); }
// A sanitizer has one of its own for this.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto step = static_cast<std::size_t>(alignment);
  return Counted(Fails() ? nullptr : std::aligned_alloc(step, (size + step - 1) / step * step));
}
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { Release(memory); }
