#include "apps/nvimport/BatchReport.h"

#include <nlohmann/json.hpp>

namespace nvimport {

std::optional<Failure> BatchReport::Begin() {
  if (auto failure = target_.Check()) return failure;
  if (auto failure = target_.Begin(stream_)) return failure;
  Write(R"({"version": 1, "files": [)");
  return std::nullopt;
}

void BatchReport::Add(std::string_view entry) {
  Write(is_first_ ? "\n  " : ",\n  ");
  is_first_ = false;
  Write(entry);
}

// The failures of the outputs, which are written meanwhile, are kept in the same place.
void BatchReport::Write(std::string_view text) {
  OutputFile::TakeFailure();
  stream_.Write(text);
  if (failed_.empty()) failed_ = OutputFile::TakeFailure();
}

std::optional<Failure> BatchReport::End(const Totals& totals) {
  const nlohmann::ordered_json json = {{"files", totals.files},
                                       {"done", totals.done},
                                       {"failed", totals.failed},
                                       {"not_tried", totals.files - totals.done - totals.failed},
                                       {"seconds", totals.seconds}};
  Write("\n], \"totals\": " + json.dump() + "}\n");
  stream_.Close();
  if (!failed_.empty()) return target_.Because(failed_);
  return target_.Commit();
}

}  // namespace nvimport
