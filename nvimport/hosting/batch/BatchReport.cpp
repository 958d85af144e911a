#include "nvimport/hosting/batch/BatchReport.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "nvimport/hosting/CellText.h"

namespace nvimport {

bool BatchReport::IsStream() const {
  if (path_ == "-" || target_.shown() == OutputTarget("-", false).shown()) return true;
  struct stat status {};
  return ::stat(path_.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

std::optional<Failure> BatchReport::KeepFormer() const {
  const std::string former = FormerPath(path_);
  std::error_code error;
  if (!std::filesystem::exists(former, error)) {
    std::filesystem::rename(unfinished_, former, error);
  } else if (!std::filesystem::is_empty(unfinished_, error)) {
    // Two that did not end. To have an entry twice does no harm.
    std::ofstream all(former, std::ios::app | std::ios::binary);
    all << '\n' << std::ifstream(unfinished_, std::ios::binary).rdbuf();
    if (!all.flush()) error = std::error_code(errno, std::generic_category());
    // Who reads it goes on reading, so it must not be written over.
    if (!error) std::filesystem::remove(unfinished_, error);
  }
  if (!error) return std::nullopt;
  return Failure::OfSystem(kNotWritten, ShownName(former), error.value());
}

std::optional<Failure> BatchReport::Begin(std::string_view head, bool goes_on) {
  if (auto failure = target_.Check()) return failure;
  if (IsStream()) {
    if (auto failure = target_.Begin(stream_)) return failure;
  } else {
    unfinished_ = UnfinishedPath(path_);
    if (goes_on && std::filesystem::exists(unfinished_))
      if (auto failure = KeepFormer()) return failure;
    OutputFile::TakeFailure();
    stream_ = OutputFile(unfinished_.c_str());
    if (!stream_.is_open())
      return Failure::OfSystem(kNotWritten, ShownName(unfinished_), OutputFile::TakeFailure());
    if (!goes_on) ::unlink(FormerPath(path_).c_str());
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
  const std::string final_path = std::filesystem::weakly_canonical(path_, none);
  if (!force_ && std::filesystem::exists(path_, none)) return target_.Because("it exists already");
  if (::rename(unfinished_.c_str(), final_path.c_str()) != 0)
    return Failure::OfSystem(kNotWritten, target_.shown(), errno);
  ::unlink(FormerPath(path_).c_str());
  return std::nullopt;
}

}  // namespace nvimport
