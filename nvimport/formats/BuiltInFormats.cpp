// The formats of this library. Registering happens while global objects are constructed, whose
// order is certain only within one file, and callers keep the index of a format: so all the factory
// objects are made here.

#include "nvimport/formats/BuiltInFactories.h"
#include "nvimport/framework/ServedFormats.h"

namespace nvimport {

namespace {

template <typename Factory>
using Itself = Factory;

// Before all global objects of a host that a static library is linked into, whatever registers
// there.
[[gnu::init_priority(101)]] FactoriesOf<Itself> factories;

}  // namespace

void KeepFactories() {}

FormatRegistry& ServedFormats() { return FormatRegistry::Own(); }

}  // namespace nvimport
