#pragma once

#include <filesystem>
#include <optional>
#include <set>

#include "tests/support/Support.h"

namespace nvimport {

// The sample files by name, but those of HDF5, which a plug-in reads.
inline std::set<std::string> Samples() {
  std::set<std::string> samples;
  for (const auto& entry : std::filesystem::directory_iterator(NVIMPORT_TEST_SAMPLES))
    if (entry.path().extension() != ".sh" &&
        Contents(entry.path().string()).find("\x89HDF\r\n\x1a\n") == std::string::npos)
      samples.insert(entry.path().string());
  return samples;
}

// A user who takes the first of everything.
class Obliging : public ScriptedDialogs {
 public:
  Obliging() {
    import_text = [this](const TextImportQuestion& question) {
      ++text_questions;
      return std::optional(question.current);
    };
    items = ItemsChoice{{0}, 0};
    range = RangeChoice{};
  }
  std::size_t questions() const {
    return text_questions + items_questions.size() + range_questions.size();
  }

 private:
  std::size_t text_questions = 0;
};

}  // namespace nvimport
