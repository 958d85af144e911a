#include "nvimport/hosting/batch/BatchReport.h"

#include "nvimport/hosting/CellText.h"

namespace nvimport {

std::optional<Failure> BatchReport::Begin(std::string_view head) {
  if (auto failure = target_.Check()) return failure;
  if (auto failure = target_.Begin(stream_)) return failure;
  Write(head);
  return std::nullopt;
}

void BatchReport::Add(std::string_view entry) {
  Write(is_first_ ? "\n  " : ",\n  ");
  is_first_ = false;
  Write(EscapeInJson(std::string(entry)));
}

// The failures of the outputs, which are written meanwhile, are kept in the same place.
void BatchReport::Write(std::string_view text) {
  OutputFile::TakeFailure();
  stream_.Write(text);
  if (failed_.empty()) failed_ = OutputFile::TakeFailure();
}

std::optional<Failure> BatchReport::End(std::string_view tail) {
  Write(tail);
  stream_.Close();
  if (!failed_.empty()) return target_.Because(failed_);
  return target_.Commit();
}

}  // namespace nvimport
