#include "plugins/complete/CompleteFormats.h"

#include <optional>

#include "nvimport/formats/BuiltInFactories.h"

namespace nvimport {

namespace {

// Of a format that has no habits nothing.
template <typename Factory>
struct WithoutHabits {};

template <typename Factory>
requires requires { typename Factory::Rules; }
struct WithoutHabits<Factory> {
  Factory factory = Factory(Factory::Rules::Off());
};

struct Complete {
  // Apart from the formats of the library.
  Complete() {
    const FormatRegistry::Instead apart(formats);
    factories.emplace();
  }

  FormatRegistry formats;
  std::optional<FactoriesOf<WithoutHabits>> factories;
};

}  // namespace

FormatRegistry& CompleteFormats() {
  static Complete complete;
  return complete.formats;
}

}  // namespace nvimport
