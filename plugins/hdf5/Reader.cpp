// The process in which alone the HDF5 library runs: it shows a file as one of another format to the
// host that began it, which has given it nothing but the file and the way back.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <string_view>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Sanitizer.h"
#include "plugins/hdf5/Hdf5.h"
#include "plugins/hdf5/Hdf5Messages.h"
#include "plugins/hdf5/ShownFile.h"

namespace nvimport {

namespace {

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

[[noreturn]] void Serve(bool is_mat) {
  // A signal is to end the process and nothing else, whatever the host has made of it.
  for (int signal = 1; signal < NSIG; ++signal) ::signal(signal, SIG_DFL);
  ::sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  const ::rlimit no_core{0, 0};
  ::setrlimit(RLIMIT_CORE, &no_core);
  // No exception goes through the library.
  std::set_new_handler([] { ::_exit(EXIT_FAILURE); });
#if !defined(NVIMPORT_UNDER_ASAN)
  // What the libraries say when they break down is nobody's.
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nothing, standard);
#endif
  const std::string path = "/proc/self/fd/" + std::to_string(kHdf5File);
  const std::string header = Hdf5HeaderOf(path.c_str());
  const std::uint64_t size = InputFile(path.c_str()).size();
  LimitMemory(size);
  LimitTime(Hdf5SecondsToShow(size));

  Hdf5File file(path.c_str(), is_mat ? Hdf5File::Order::kLittle : Hdf5File::Order::kBig);
  ShownFile shown(file);
  const bool is_shown =
      file.is_open() && (is_mat ? ShowAsMat(file, header, shown) : ShowAsNetcdf(file, shown));
  const std::uint64_t shown_size = is_shown ? shown.size() : 0;
  if (!SendHdf5(kHdf5Channel, &shown_size, sizeof shown_size)) ::_exit(EXIT_FAILURE);

  std::string bytes;
  std::string texts;
  std::uint64_t text_base = 0;
  Hdf5Request request;
  while (ReceiveAll(kHdf5Channel, &request, sizeof request)) {
    LimitTime(kHdf5SecondsToRead);
    if (request.forgets != 0) text_base = 0;
    texts.clear();
    bytes.resize(static_cast<std::size_t>(request.count));
    const Hdf5Answer answer{
        shown.Read(request.position, request.count, bytes.data(), text_base, texts), texts.size()};
    if (!SendHdf5(kHdf5Channel, &answer, sizeof answer)) break;
    if (answer.count > 0 &&
        !SendHdf5(kHdf5Channel, bytes.data(), static_cast<std::size_t>(answer.count)))
      break;
    if (!SendHdf5(kHdf5Channel, texts.data(), texts.size())) break;
    text_base += texts.size();
  }
  ::_exit(EXIT_SUCCESS);
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  if (count != 2) return EXIT_FAILURE;
  nvimport::Serve(std::string_view(arguments[1]) == "mat");
}
