#include "nvimport/hosting/export/OutputTarget.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>
#include <vector>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

std::string FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

::mode_t UsualMode() {
  static const ::mode_t mask = [] {
    const ::mode_t old = ::umask(0);
    ::umask(old);
    return old;
  }();
  return 0666 & ~mask;
}

}  // namespace

OutputTarget::OutputTarget(std::string path, bool force, HostWords words)
    : path_(std::move(path)), force_(force), words_(std::move(words)) {
  // By its other names it would look like the file that it goes into.
  for (const char* name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"})
    if (path_ == name) path_ = "-";
}

OutputTarget::~OutputTarget() = default;

std::string OutputTarget::shown() const {
  return IsStandardOutput() ? "standard output" : ShownName(path_);
}

Failure OutputTarget::Because(const std::string& words) const {
  return Failure::OfSystem(kNotWritten, shown(), words);
}

Failure OutputTarget::Because(const std::string& words, const char* advice) const {
  Failure failure = Because(words);
  failure.advice = advice;
  return failure;
}

std::optional<Failure> OutputTarget::Check() {
  there_ = There::kNothing;
  if (IsStandardOutput()) return std::nullopt;
  if (path_.empty()) return Because("an output needs a name");
  // One look at the name, since those who write into a folder at the same time wait for each other.
  struct stat status {};
  if (::lstat(path_.c_str(), &status) == 0) {
    there_ = S_ISLNK(status.st_mode) ? There::kLink : There::kFile;
    if (there_ == There::kLink) ::stat(path_.c_str(), &status);
    if (S_ISDIR(status.st_mode)) return Because("it is a folder", words_.into_folder);
    // A device or a pipe is no file that could be replaced.
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
      there_ = There::kDevice;
      return std::nullopt;
    }
    if (!force_) return Because("it exists already", words_.replace);
  }
  const std::string folder = FolderOf(path_);
  if (::access(folder.c_str(), W_OK | X_OK) != 0)
    return Because("the folder " + ShownName(folder) + ": " + SystemWords(errno));
  return std::nullopt;
}

std::optional<Failure> OutputTarget::CheckAgain() {
  return force_ || !there_ ? Check() : std::nullopt;
}

std::optional<Failure> OutputTarget::Begin(OutputFile& stream, bool may_begin_again) {
  OutputFile::TakeFailure();
  if (auto failure = IsStandardOutput() ? std::nullopt : CheckAgain()) return failure;
  temporary_.reset();
  if (IsStream() && !may_begin_again) return OpenStream(stream);
  if (auto failure = MakeTemporary()) return failure;
  stream = OutputFile(temporary_->descriptor(), /*owned=*/true);
  return std::nullopt;
}

std::optional<Failure> OutputTarget::OpenStream(OutputFile& stream) const {
  if (IsStandardOutput()) {
    stream = OutputFile(STDOUT_FILENO, /*owned=*/false);
    return std::nullopt;
  }
  const int descriptor = ::open(path_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return Failure::OfSystem(kNotWritten, shown(), errno);
  stream = OutputFile(descriptor, /*owned=*/true);
  return std::nullopt;
}

std::optional<Failure> OutputTarget::BeginAtPath(const std::string& extension, std::string& path) {
  OutputFile::TakeFailure();
  if (auto failure = CheckAgain()) return failure;
  path = path_;
  if (there_ == There::kDevice) return std::nullopt;
  // Some formats hold the file's name, so it has its own in a folder that is temporary.
  const std::string folder = SettleFolder();
  temporary_folder_ =
      std::make_unique<TemporaryPath>(TemporaryPath::Kind::kFolder, folder + "/.nvimport-XXXXXX");
  if (!temporary_folder_->is_made())
    return Failure::OfSystem(kNotWritten, shown(), temporary_folder_->error());
  const std::string name = IsStandardOutput() ? "stdout" + extension : FileName(final_path_);
  temporary_ = std::make_unique<TemporaryPath>(temporary_folder_->path() + "/" + name);
  path = temporary_->path();
  return std::nullopt;
}

std::string OutputTarget::SettleFolder() {
  // A link stays a link, and what it leads to is replaced; one that leads nowhere is replaced.
  std::error_code none;
  if (there_ == There::kLink) final_path_ = std::filesystem::canonical(path_, none);
  if (there_ != There::kLink || none) final_path_ = path_;
  return IsStream() ? TemporaryFolder() : FolderOf(final_path_);
}

std::optional<Failure> OutputTarget::MakeTemporary() {
  temporary_ = std::make_unique<TemporaryPath>(TemporaryPath::Kind::kFile,
                                               SettleFolder() + "/.nvimport-XXXXXX");
  if (!temporary_->is_made()) return Failure::OfSystem(kNotWritten, shown(), temporary_->error());
  if (!IsStream()) ::fchmod(temporary_->descriptor(), UsualMode());
  return std::nullopt;
}

std::optional<Failure> OutputTarget::Commit() {
  if (const std::string words = OutputFile::TakeFailure(); !words.empty()) return Because(words);
  if (!temporary_) return std::nullopt;
  if (IsStream()) return CopyToStream();
  const int error = temporary_->MoveTo(final_path_, force_);
  if (error == EEXIST) return Because("it exists already", words_.replace);
  if (error != 0) return Failure::OfSystem(kNotWritten, shown(), error);
  return std::nullopt;
}

std::optional<Failure> OutputTarget::CopyToStream() const {
  InputFile written(temporary_->path().c_str());
  OutputFile stream;
  if (auto failure = OpenStream(stream)) return failure;
  std::vector<char> block(256 * 1024);
  std::ptrdiff_t got = 0;
  while ((got = written.Read(block)) > 0)
    stream.Write({block.data(), static_cast<std::size_t>(got)});
  stream.Close();
  const std::string words =
      got < 0 ? "its temporary file can't be read" : OutputFile::TakeFailure();
  if (!words.empty()) return Because(words);
  return std::nullopt;
}

std::optional<Failure> PrintData(std::string_view text) {
  OutputTarget target("-", /*force=*/false);
  OutputFile stream;
  target.Begin(stream);
  stream.Write(text);
  stream.Close();
  return target.Commit();
}

}  // namespace nvimport
