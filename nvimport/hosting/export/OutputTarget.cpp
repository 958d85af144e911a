#include "nvimport/hosting/export/OutputTarget.h"

#include <cerrno>
#include <filesystem>
#include <utility>
#include <vector>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/TemporaryPaths.h"
#include "nvimport/platform/Console.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

std::string FolderOf(const std::string& path) {
  const std::string folder = PathText(FilePath(path).parent_path());
  return folder.empty() ? "." : folder;
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
  PathStatus status = LinkStatusOf(path_.c_str());
  if (status.kind != PathStatus::kNone) {
    there_ = status.kind == PathStatus::kLink ? There::kLink : There::kFile;
    if (there_ == There::kLink) status = StatusOf(path_.c_str());
    if (status.kind == PathStatus::kFolder) return Because("it is a folder", words_.into_folder);
    // A device or a pipe is no file that could be replaced.
    if (status.kind == PathStatus::kPipe || status.kind == PathStatus::kOther) {
      there_ = There::kDevice;
      return std::nullopt;
    }
    if (!force_) return Because("it exists already", words_.replace);
  }
  const std::string folder = FolderOf(path_);
  if (!MayWriteIn(folder.c_str()))
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
    stream = OutputFile(kOutputStream, /*owned=*/false);
    return std::nullopt;
  }
  const int descriptor = OpenDevice(path_.c_str());
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
  if (there_ == There::kLink)
    final_path_ = PathText(std::filesystem::canonical(FilePath(path_), none));
  if (there_ != There::kLink || none) final_path_ = path_;
  return IsStream() ? TemporaryFolder() : FolderOf(final_path_);
}

std::optional<Failure> OutputTarget::MakeTemporary() {
  temporary_ = std::make_unique<TemporaryPath>(TemporaryPath::Kind::kFile,
                                               SettleFolder() + "/.nvimport-XXXXXX");
  if (!temporary_->is_made()) return Failure::OfSystem(kNotWritten, shown(), temporary_->error());
  if (!IsStream()) GiveUsualMode(temporary_->descriptor());
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
