#include "nvimport/platform/Workers.h"

#include <poll.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

#include "nvimport/platform/Ending.h"
#include "nvimport/platform/HandOver.h"

namespace nvimport {

bool IsBegunAnew() { return false; }

// NOLINTNEXTLINE(performance-unnecessary-value-param): where it is needed it is kept
void HandOver(const std::string&, std::function<std::string()>) {}

std::string HandedOver(const std::string&) { return {}; }

struct Workers::Parts {
  struct Worker {
    ::pid_t process = -1;
    int socket = -1;
  };

  std::vector<Worker> workers;
  void* memory = nullptr;  // the leaves, and behind them what is asked for
  std::size_t size = 0;
  int to_parent = -1;  // in a worker

  ::sem_t* leaves() const { return static_cast<::sem_t*>(memory); }
};

namespace {

constexpr std::size_t kBehindLeaves = 64;
static_assert(sizeof(::sem_t) <= kBehindLeaves);

}  // namespace

Workers::Workers(std::size_t count, std::size_t memory, unsigned leaves,
                 const std::function<void(void*)>& prepare)
    : parts_(std::make_unique<Parts>()) {
  parts_->size = kBehindLeaves + memory;
  void* const shared =
      ::mmap(nullptr, parts_->size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return;
  parts_->memory = shared;
  parts_->workers.resize(count);
  ::sem_init(parts_->leaves(), /*pshared=*/1, leaves);
  prepare(this->memory());
}

Workers::~Workers() {
  if (parts_->memory == nullptr) return;
  ::sem_destroy(parts_->leaves());
  ::munmap(parts_->memory, parts_->size);
}

void* Workers::memory() const {
  return parts_->memory != nullptr ? static_cast<char*>(parts_->memory) + kBehindLeaves : nullptr;
}

bool Workers::Start(std::size_t worker, const std::function<void()>& serve) {
  if (parts_->memory == nullptr) return false;
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
  const ::pid_t parent = ::getpid();
  const ::pid_t process = ::fork();
  if (process == 0) {
    ::close(ends[0]);
    for (const Parts::Worker& other : parts_->workers)
      if (other.socket >= 0) ::close(other.socket);
    parts_->to_parent = ends[1];
    ForgetPaths();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(EXIT_FAILURE);
    serve();
    ::_exit(EXIT_SUCCESS);
  }
  ::close(ends[1]);
  if (process < 0)
    ::close(ends[0]);
  else
    parts_->workers[worker] = {process, ends[0]};
  return process > 0;
}

void Workers::ServeIfOne(const std::function<void(std::size_t)>&) {}

void Workers::TakeLeave() {
  while (::sem_wait(parts_->leaves()) != 0) continue;
}

bool Workers::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    // A worker that died must not end the others' parent.
    const ::ssize_t sent = ::send(parts_->to_parent, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

void Workers::GiveLeave() {
  if (parts_->memory != nullptr) ::sem_post(parts_->leaves());
}

bool Workers::Lives(std::size_t worker) const {
  return worker < parts_->workers.size() && parts_->workers[worker].process > 0;
}

bool Workers::Wait(Milliseconds most) {
  std::vector<::pollfd> sockets;
  for (const Parts::Worker& worker : parts_->workers) sockets.push_back({worker.socket, POLLIN, 0});
  return ::poll(sockets.data(), sockets.size(), static_cast<int>(most.count())) >= 0;
}

bool Workers::HasNews(std::size_t worker) {
  ::pollfd readable{parts_->workers[worker].socket, POLLIN, 0};
  return ::poll(&readable, 1, 0) > 0;
}

bool Workers::Receive(std::size_t worker, void* into, std::size_t count) {
  char* next = static_cast<char*>(into);
  while (count > 0) {
    const ::ssize_t got = ::recv(parts_->workers[worker].socket, next, count, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    next += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

void Workers::AskToEnd(std::size_t worker) { ::kill(parts_->workers[worker].process, SIGTERM); }

void Workers::End(std::size_t worker) {
  constexpr int kTries = 100;
  constexpr std::chrono::milliseconds kPause{10};
  const ::pid_t process = parts_->workers[worker].process;
  ::kill(process, SIGTERM);
  for (int i = 0; i < kTries; ++i) {
    ::siginfo_t ended{};
    ::waitid(P_PID, static_cast<::id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT);
    if (ended.si_pid != 0) break;
    std::this_thread::sleep_for(kPause);
  }
  ::kill(process, SIGKILL);
}

std::string Workers::Bury(std::size_t worker) {
  Parts::Worker& dead = parts_->workers[worker];
  ::close(dead.socket);
  int status = 0;
  while (::waitpid(dead.process, &status, 0) < 0 && errno == EINTR) continue;
  dead = {};
  return WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                             : "ended by exit " + std::to_string(WEXITSTATUS(status));
}

}  // namespace nvimport
