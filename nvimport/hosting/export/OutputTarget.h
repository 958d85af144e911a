#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "nvimport/hosting/Failure.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

class TemporaryPath;

inline constexpr const char* kNotWritten = "File could not be written.";

// Where an output goes. A file appears under its name only when it is whole; a device, a pipe and
// standard output ("-") are written directly.
class NVIMPORT_API OutputTarget {
 public:
  OutputTarget(std::string path, bool force, HostWords words = {});
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;
  ~OutputTarget();

  // Whether it can be written, as far as can be told before the input is read.
  std::optional<Failure> Check();

  // Whether it is one that is written directly.
  bool IsStream() const { return IsStandardOutput() || there_ == There::kDevice; }

  // A stream to write to. With `may_begin_again` none of it arrives anywhere before Commit.
  std::optional<Failure> Begin(OutputFile& stream, bool may_begin_again = false);
  // Whether nothing of what was written so far has arrived.
  bool can_begin_again() const { return temporary_ != nullptr; }

  // The path of a file to write to, for writers that open their file themselves.
  std::optional<Failure> BeginAtPath(const std::string& extension, std::string& path);

  // Ends the output, whose streams are closed: gives the file its name, or says why it is not
  // whole.
  std::optional<Failure> Commit();

  // The failure of an output that could not be written for that reason, in the system's words or
  // others.
  Failure Because(const std::string& words) const;
  // The same with what can be done about it.
  Failure Because(const std::string& words, const char* advice) const;

  // Its name in messages.
  std::string shown() const;

 private:
  enum class There { kNothing, kFile, kLink, kDevice };

  bool IsStandardOutput() const { return path_ == "-"; }
  // Finds what is to be replaced, and the folder for what is to replace it.
  std::string SettleFolder();
  // Looks again, unless nothing that has come meanwhile could be replaced.
  std::optional<Failure> CheckAgain();
  std::optional<Failure> MakeTemporary();
  std::optional<Failure> OpenStream(OutputFile& stream) const;
  std::optional<Failure> CopyToStream() const;

  std::string path_;
  bool force_;
  HostWords words_;
  std::optional<There> there_;  // once checked
  std::string final_path_;      // behind symbolic links
  std::unique_ptr<TemporaryPath> temporary_folder_;
  std::unique_ptr<TemporaryPath> temporary_;
};

// Writes `text` to standard output at once.
NVIMPORT_API std::optional<Failure> PrintData(std::string_view text);

}  // namespace nvimport
