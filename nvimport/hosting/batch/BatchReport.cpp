#include "nvimport/hosting/batch/BatchReport.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"

namespace nvimport {

bool BatchReport::IsStream() const {
  if (path_ == "-" || target_.shown() == OutputTarget("-", false).shown()) return true;
  const PathStatus::Kind kind = StatusOf(path_.c_str()).kind;
  return kind != PathStatus::kNone && kind != PathStatus::kFile;
}

std::optional<Failure> BatchReport::KeepFormer() const {
  const std::filesystem::path former = FilePath(FormerPath(path_));
  const std::filesystem::path unfinished = FilePath(unfinished_);
  std::error_code error;
  if (!std::filesystem::exists(former, error)) {
    std::filesystem::rename(unfinished, former, error);
  } else if (!std::filesystem::is_empty(unfinished, error)) {
    // Two that did not end. To have an entry twice does no harm.
    std::ofstream all(former, std::ios::app | std::ios::binary);
    all << '\n' << std::ifstream(unfinished, std::ios::binary).rdbuf();
    if (!all.flush()) error = std::error_code(errno, std::generic_category());
    // Who reads it goes on reading, so it must not be written over.
    if (!error) std::filesystem::remove(unfinished, error);
  }
  if (!error) return std::nullopt;
  return Failure::OfSystem(kNotWritten, ShownName(PathText(former)), error.value());
}

std::optional<Failure> BatchReport::Begin(std::string_view head, bool goes_on) {
  if (auto failure = target_.Check()) return failure;
  if (IsStream()) {
    if (auto failure = target_.Begin(stream_)) return failure;
  } else {
    unfinished_ = UnfinishedPath(path_);
    if (goes_on && FileExists(unfinished_.c_str()))
      if (auto failure = KeepFormer()) return failure;
    OutputFile::TakeFailure();
    stream_ = OutputFile(unfinished_.c_str());
    if (!stream_.is_open())
      return Failure::OfSystem(kNotWritten, ShownName(unfinished_), OutputFile::TakeFailure());
    if (!goes_on) RemoveFile(FormerPath(path_).c_str());
  }
  Write(head);
  return std::nullopt;
}

void BatchReport::Add(std::string_view entry) {
  Write((is_first_ ? "\n  " : ",\n  ") + EscapeInJson(std::string(entry)));
  is_first_ = false;
}

// The failures of the outputs, which are written meanwhile, are kept in the same place.
void BatchReport::Write(std::string_view text) {
  OutputFile::TakeFailure();
  stream_.Write(text);
  if (!unfinished_.empty()) stream_.Flush();
  if (failed_.empty()) failed_ = OutputFile::TakeFailure();
}

std::optional<Failure> BatchReport::End(std::string_view tail) {
  Write(tail);
  stream_.Close();
  if (!failed_.empty()) return target_.Because(failed_);
  if (unfinished_.empty()) return target_.Commit();
  // A link stays one, and the report goes where it leads.
  std::error_code none;
  const std::filesystem::path path = FilePath(path_);
  const std::string final_path = PathText(std::filesystem::weakly_canonical(path, none));
  if (!force_ && std::filesystem::exists(path, none)) return target_.Because("it exists already");
  if (!MoveOver(unfinished_, final_path))
    return Failure::OfSystem(kNotWritten, target_.shown(), errno);
  RemoveFile(FormerPath(path_).c_str());
  return std::nullopt;
}

}  // namespace nvimport
