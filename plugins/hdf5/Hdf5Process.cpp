#include "plugins/hdf5/Hdf5Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <utility>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Progress.h"
#include "plugins/hdf5/Hdf5Messages.h"

namespace nvimport {

namespace {

constexpr std::string_view kMagic = "\x89HDF\r\n\x1a\n";
constexpr std::string_view kMatlab = "MATLAB 7.";  // 7.0 of its first versions
// Of a machine that is busy with other things, until the process is given up.
constexpr int kPatience = 10;

// The program that reads, where it is set; beside NvImport Complete else.
std::string& Program() {
  static std::string program;
  return program;
}

// In the process to be: nothing but calls that are safe after a fork.
[[noreturn]] void Become(const char* program, int channel, int file, const char* shows) {
  // Both out of the way of where they are to be.
  const int apart_channel = ::fcntl(channel, F_DUPFD, kHdf5File + 1);
  const int apart_file = ::fcntl(file, F_DUPFD, kHdf5File + 1);
  if (apart_channel < 0 || apart_file < 0 || ::dup2(apart_channel, kHdf5Channel) < 0 ||
      ::dup2(apart_file, kHdf5File) < 0)
    ::_exit(EXIT_FAILURE);
  // All else that the host has open, where the system can.
  ::close_range(kHdf5File + 1, ~0U, 0);
  char* const arguments[] = {const_cast<char*>(program), const_cast<char*>(shows), nullptr};
  ::execv(program, arguments);
  ::_exit(EXIT_FAILURE);
}

}  // namespace

std::unique_ptr<Hdf5Process> Hdf5Process::Start(const char* path, Shows shows, int& status) {
  const InputFile file(path);
  status = !file.is_open() ? kHdf5NoFile : !IsHdf5(path) ? kHdf5NotHdf5 : kHdf5NoProcess;
  // The process reaches the file by no other way.
  if (status == kHdf5NoProcess && ::access("/proc/self/fd", X_OK) != 0) status = kHdf5NoProc;
  int ends[2];
  if (status != kHdf5NoProcess || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    return nullptr;
  const std::string program =
      Program().empty()
          ? (std::filesystem::path(NvApp::GetCompleteDirectory()).parent_path() / kHdf5Program)
                .string()
          : Program();
  const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
  const ::pid_t child = descriptor >= 0 ? ::fork() : -1;
  if (child == 0)
    Become(program.c_str(), ends[1], descriptor, shows == Shows::kMat ? "mat" : "netcdf");
  if (descriptor >= 0) ::close(descriptor);
  ::close(ends[1]);
  std::unique_ptr<Hdf5Process> process(new Hdf5Process);
  process->process_ = child;
  process->channel_ = ends[0];
  process->most_texts_ = (std::uint64_t{32} << 20) + 2 * file.size();
  if (child < 0) return nullptr;
  status = kHdf5Damaged;
  std::uint64_t size = 0;
  if (!process->Receive({reinterpret_cast<char*>(&size), sizeof size},
                        kPatience * Hdf5SecondsToShow(file.size())) ||
      size == 0)
    return nullptr;
  process->size_ = size;
  status = 0;
  return process;
}

void Hdf5Process::SetProgram(std::string path) { Program() = std::move(path); }

Hdf5Process::~Hdf5Process() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  if (channel_ >= 0) ::close(channel_);
}

bool Hdf5Process::Receive(std::span<char> into, int most_seconds) {
  constexpr int kSliceMilliseconds = 100;
  int slices = most_seconds * 1000 / kSliceMilliseconds;
  while (!into.empty()) {
    ::pollfd channel{channel_, POLLIN, 0};
    const int ready = ::poll(&channel, 1, kSliceMilliseconds);
    if (ready < 0 && errno != EINTR) return false;
    if (ready <= 0) {
      // The user may have had enough.
      if (--slices <= 0 || !Progress::Report(0, 0)) return false;
      continue;
    }
    const ::ssize_t got = ::recv(channel_, into.data(), into.size(), MSG_DONTWAIT);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got <= 0) return false;
    into = into.subspan(static_cast<std::size_t>(got));
  }
  return true;
}

std::ptrdiff_t Hdf5Process::ReadAt(std::uint64_t position, std::span<char> into) {
  const Hdf5Request request{position, into.size(), forgets_ ? 1U : 0U};
  forgets_ = false;
  Hdf5Answer answer{};
  const auto fail = [this] {
    // What is left unread makes no sense to whoever reads next.
    ::shutdown(channel_, SHUT_RDWR);
    return -1;
  };
  if (!SendHdf5(channel_, &request, sizeof request) ||
      !Receive({reinterpret_cast<char*>(&answer), sizeof answer}, kPatience * kHdf5SecondsToRead))
    return fail();
  if (answer.count > static_cast<std::int64_t>(into.size()) ||
      answer.texts > most_texts_ - std::min<std::uint64_t>(most_texts_, texts_.size()))
    return fail();
  const auto count = static_cast<std::size_t>(std::max<std::int64_t>(answer.count, 0));
  if (!Receive(into.first(count), kHdf5SecondsToRead)) return fail();
  const std::size_t before = texts_.size();
  texts_.resize(before + static_cast<std::size_t>(answer.texts));
  if (!Receive(std::span(texts_).subspan(before), kHdf5SecondsToRead)) return fail();
  if (answer.count < 0 || !Progress::Report(position + count, size_)) return -1;
  return static_cast<std::ptrdiff_t>(count);
}

std::string_view Hdf5Process::Text(std::uint64_t at) const {
  if (at >= texts_.size()) return {};
  const std::string_view from = std::string_view(texts_).substr(static_cast<std::size_t>(at));
  return from.substr(0, from.find('\0'));
}

void Hdf5Process::ForgetTexts() {
  texts_.clear();
  forgets_ = true;
}

bool IsHdf5(const char* path) {
  InputFile file(path);
  if (!file.is_open()) return false;
  char bytes[kMagic.size()];
  // It may begin behind what is another program's, of some such sizes.
  constexpr std::uint64_t kFirst = 512;
  constexpr std::uint64_t kLast = 1 << 20;
  for (std::uint64_t at = 0; at <= kLast; at = at == 0 ? kFirst : 2 * at)
    if (!file.Seek(at) || file.Read(bytes) < static_cast<std::ptrdiff_t>(sizeof bytes))
      return false;
    else if (std::string_view(bytes, sizeof bytes) == kMagic)
      return true;
  return false;
}

bool IsMat73(const char* path) { return Hdf5HeaderOf(path).starts_with(kMatlab) && IsHdf5(path); }

}  // namespace nvimport
