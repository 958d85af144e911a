#include "plugins/hdf5/Hdf5Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <new>
#include <span>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Progress.h"
#include "nvimport/platform/Sanitizer.h"
#include "plugins/hdf5/ShownFile.h"

namespace nvimport {

namespace {

constexpr std::string_view kMagic = "\x89HDF\r\n\x1a\n";
constexpr std::string_view kMatlab = "MATLAB 7.";  // 7.0 of its first versions
constexpr std::size_t kMatlabHeader = 128;
constexpr int kSecondsToRead = 30;
// Of a machine that is busy with other things, until the process is given up.
constexpr int kPatience = 10;

struct Request {
  std::uint64_t position;
  std::uint64_t count;
  std::uint64_t forgets;  // the texts that were read before
};

struct Answer {
  std::int64_t count;   // of bytes; less than 0 where the file could not be read
  std::uint64_t texts;  // bytes of texts behind those
};

// What listing a file of that size may take.
int SecondsToShow(std::uint64_t size) {
  constexpr std::uint64_t kLeast = 2;
  constexpr std::uint64_t kMost = 300;
  return static_cast<int>(std::min(kLeast + (size >> 20), kMost));
}

bool Send(int channel, const void* bytes, std::size_t count) {
  const char* from = static_cast<const char*>(bytes);
  while (count > 0) {
    const ::ssize_t sent = ::send(channel, from, count, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    from += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool ReceiveAll(int channel, void* bytes, std::size_t count) {
  char* to = static_cast<char*>(bytes);
  while (count > 0) {
    const ::ssize_t got = ::recv(channel, to, count, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    to += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

// Of the processor's time, from now on.
void LimitTime(int seconds) {
  const ::itimerval time{{0, 0}, {seconds, 0}};
  ::setitimer(ITIMER_PROF, &time, nullptr);
}

// As much more than there is now as a file of that size is worth.
void LimitMemory([[maybe_unused]] std::uint64_t size) {
#if !defined(NVIMPORT_UNDER_ASAN)
  constexpr std::uint64_t kLeast = std::uint64_t{256} << 20;
  constexpr int kOfData = 6;  // among the numbers there
  std::ifstream pages("/proc/self/statm");
  std::uint64_t data = 0;
  for (int i = 0; i < kOfData; ++i) pages >> data;
  const ::rlim_t most =
      data * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) + kLeast + 2 * size;
  const ::rlimit limit{most, most};
  if (pages) ::setrlimit(RLIMIT_DATA, &limit);
#endif
}

std::string HeaderOf(const char* path) {
  std::string header(kMatlabHeader, '\0');
  InputFile file(path);
  const std::ptrdiff_t got = file.is_open() ? file.Read(header) : 0;
  header.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  return header;
}

// All that the host has open but these two.
void CloseOthers(int one, int other) {
  constexpr unsigned kFirst = 3;
  const auto least = static_cast<unsigned>(std::min(one, other));
  const auto most = static_cast<unsigned>(std::max(one, other));
  if (least > kFirst) ::close_range(kFirst, least - 1, 0);
  if (most > least + 1) ::close_range(least + 1, most - 1, 0);
  ::close_range(most + 1, ~0U, 0);
}

[[noreturn]] void Serve(int channel, int descriptor, Hdf5Process::Shows shows,
                        std::string_view header, ::pid_t parent) {
  // A signal is to end the process and nothing else, whoever has taken it before.
  for (int signal = 1; signal < NSIG; ++signal) ::signal(signal, SIG_DFL);
  ::sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(EXIT_FAILURE);
  const ::rlimit no_core{0, 0};
  ::setrlimit(RLIMIT_CORE, &no_core);
  // No exception goes through the library.
  std::set_new_handler([] { ::_exit(EXIT_FAILURE); });
  CloseOthers(channel, descriptor);
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  const std::uint64_t size = InputFile(path.c_str()).size();
  LimitMemory(size);
  LimitTime(SecondsToShow(size));

  const bool is_mat = shows == Hdf5Process::Shows::kMat;
  Hdf5File file(path.c_str(), is_mat ? Hdf5File::Order::kLittle : Hdf5File::Order::kBig);
  ShownFile shown(file);
  const bool is_shown =
      file.is_open() && (is_mat ? ShowAsMat(file, header, shown) : ShowAsNetcdf(file, shown));
  const std::uint64_t shown_size = is_shown ? shown.size() : 0;
  if (!Send(channel, &shown_size, sizeof shown_size)) ::_exit(EXIT_FAILURE);

  std::string bytes;
  std::string texts;
  std::uint64_t text_base = 0;
  Request request;
  while (ReceiveAll(channel, &request, sizeof request)) {
    LimitTime(kSecondsToRead);
    if (request.forgets != 0) text_base = 0;
    texts.clear();
    bytes.resize(static_cast<std::size_t>(request.count));
    const Answer answer{shown.Read(request.position, request.count, bytes.data(), text_base, texts),
                        texts.size()};
    if (!Send(channel, &answer, sizeof answer)) break;
    if (answer.count > 0 && !Send(channel, bytes.data(), static_cast<std::size_t>(answer.count)))
      break;
    if (!Send(channel, texts.data(), texts.size())) break;
    text_base += texts.size();
  }
  ::_exit(EXIT_SUCCESS);
}

}  // namespace

std::unique_ptr<Hdf5Process> Hdf5Process::Start(const char* path, Shows shows, int& status) {
  const InputFile file(path);
  status = !file.is_open() ? kHdf5NoFile : !IsHdf5(path) ? kHdf5NotHdf5 : kHdf5NoProcess;
  int ends[2];
  if (status != kHdf5NoProcess || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    return nullptr;
  const std::string header = HeaderOf(path);
  const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
  const ::pid_t parent = ::getpid();
  const ::pid_t child = descriptor >= 0 ? ::fork() : -1;
  if (child == 0) Serve(ends[1], descriptor, shows, header, parent);
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
                        kPatience * SecondsToShow(file.size())) ||
      size == 0)
    return nullptr;
  process->size_ = size;
  status = 0;
  return process;
}

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
  const Request request{position, into.size(), forgets_ ? 1U : 0U};
  forgets_ = false;
  Answer answer{};
  const auto fail = [this] {
    // What is left unread makes no sense to whoever reads next.
    ::shutdown(channel_, SHUT_RDWR);
    return -1;
  };
  if (!Send(channel_, &request, sizeof request) ||
      !Receive({reinterpret_cast<char*>(&answer), sizeof answer}, kPatience * kSecondsToRead))
    return fail();
  if (answer.count > static_cast<std::int64_t>(into.size()) ||
      answer.texts > most_texts_ - std::min<std::uint64_t>(most_texts_, texts_.size()))
    return fail();
  const auto count = static_cast<std::size_t>(std::max<std::int64_t>(answer.count, 0));
  if (!Receive(into.first(count), kSecondsToRead)) return fail();
  const std::size_t before = texts_.size();
  texts_.resize(before + static_cast<std::size_t>(answer.texts));
  if (!Receive(std::span(texts_).subspan(before), kSecondsToRead)) return fail();
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

bool IsMat73(const char* path) { return HeaderOf(path).starts_with(kMatlab) && IsHdf5(path); }

}  // namespace nvimport
