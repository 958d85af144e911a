#include "apps/nvimport/Workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <span>
#include <thread>
#include <vector>

#include "apps/nvimport/Failure.h"
#include "apps/nvimport/TemporaryPaths.h"

namespace {

bool SendBytes(int socket, const void* bytes, std::size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    // A worker that died must not end the others' parent.
    const ::ssize_t sent = ::send(socket, next, count, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    next += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool ReceiveBytes(int socket, void* bytes, std::size_t count) {
  char* next = static_cast<char*>(bytes);
  while (count > 0) {
    const ::ssize_t got = ::recv(socket, next, count, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    next += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

struct ReportHead {
  std::int64_t exit_code = 0;
  std::int64_t noted_format = 0;
  std::uint64_t data_size = 0;
  std::uint64_t messages_size = 0;
};

// At once, since each call wakes the parent.
bool SendReport(int socket, const FileReport& report) {
  const ReportHead head{report.exit_code, report.noted_format, report.data.size(),
                        report.messages.size()};
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  bytes.append(report.data).append(report.messages);
  return SendBytes(socket, bytes.data(), bytes.size());
}

bool ReceiveReport(int socket, FileReport& report) {
  ReportHead head;
  if (!ReceiveBytes(socket, &head, sizeof head)) return false;
  report.exit_code = static_cast<int>(head.exit_code);
  report.noted_format = static_cast<int>(head.noted_format);
  report.data.resize(head.data_size);
  report.messages.resize(head.messages_size);
  return ReceiveBytes(socket, report.data.data(), head.data_size) &&
         ReceiveBytes(socket, report.messages.data(), head.messages_size);
}

using Clock = std::chrono::steady_clock;

// A worker that took no longer over its last file has the next one waiting, since it would stand
// still for a good part of the time otherwise. Behind a slow file none waits.
constexpr std::chrono::milliseconds kQuick{2};

struct Worker {
  ::pid_t process = -1;
  int socket = -1;
  std::vector<std::size_t> files = {};  // the one it reads, and one that may wait behind that
  Clock::time_point since = {};         // when it began the first
  bool is_quick = false;
};

// The files in the order in which they are handed out.
class Queue {
 public:
  explicit Queue(std::size_t count) : count_(count) {}
  bool empty() const { return returned_.empty() && next_ == count_; }
  std::size_t Take() {
    if (returned_.empty()) return next_++;
    const std::size_t file = returned_.back();
    returned_.pop_back();
    return file;
  }
  void PutBack(std::span<const std::size_t> files) {
    returned_.insert(returned_.end(), files.begin(), files.end());
  }

 private:
  std::size_t count_;
  std::size_t next_ = 0;
  std::vector<std::size_t> returned_;
};

class Pool {
 public:
  explicit Pool(const std::function<FileReport(std::size_t)>& work) : work_(work) {}
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool() {
    for (Worker& worker : workers_) {
      if (worker.process < 0) continue;
      // One without a file ends by itself when its socket closes.
      if (!worker.files.empty()) ::kill(worker.process, SIGTERM);
      Bury(worker);
    }
  }

  std::vector<Worker>& workers() { return workers_; }

  // How long to wait for a report before a worker has had `limit`, in milliseconds; -1 for ever.
  int Patience(std::chrono::seconds limit) const {
    if (limit.count() == 0) return -1;
    std::chrono::milliseconds left = limit;
    for (const Worker& worker : workers_)
      if (!worker.files.empty()) left = std::min(left, Left(worker, limit));
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
  }
  static std::chrono::milliseconds Left(const Worker& worker, std::chrono::seconds limit) {
    return std::chrono::ceil<std::chrono::milliseconds>(worker.since + limit - Clock::now());
  }

  bool Add() {
    Worker worker;
    if (!Start(worker)) return false;
    workers_.push_back(worker);
    return true;
  }

  bool Start(Worker& worker) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
    const ::pid_t parent = ::getpid();
    const ::pid_t process = ::fork();
    if (process == 0) {
      ::close(ends[0]);
      for (const Worker& other : workers_)
        if (other.socket >= 0) ::close(other.socket);
      Serve(parent, ends[1]);
    }
    ::close(ends[1]);
    if (process < 0) {
      ::close(ends[0]);
      return false;
    }
    worker = {process, ends[0]};
    return true;
  }

  // Hands out what there is room for.
  static void Fill(Worker& worker, Queue& queue) {
    while (worker.files.size() < (worker.is_quick ? 2 : 1) && !queue.empty()) {
      if (worker.files.empty()) worker.since = Clock::now();
      worker.files.push_back(queue.Take());
      SendBytes(worker.socket, &worker.files.back(), sizeof worker.files.back());
    }
  }

  static void TakeFinished(Worker& worker) {
    const Clock::time_point now = Clock::now();
    worker.is_quick = now - worker.since < kQuick;
    worker.since = now;
    worker.files.erase(worker.files.begin());
  }

  // Waits for the worker's end and says what it was.
  static std::string Bury(Worker& worker) {
    ::close(worker.socket);
    int status = 0;
    while (::waitpid(worker.process, &status, 0) < 0 && errno == EINTR) continue;
    worker = {};
    return WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended by exit " + std::to_string(WEXITSTATUS(status));
  }

  // Ends a worker, which has a moment to remove what it had begun to write.
  static void End(Worker& worker) {
    constexpr int kTries = 100;
    constexpr std::chrono::milliseconds kPause{10};
    ::kill(worker.process, SIGTERM);
    for (int i = 0; i < kTries; ++i) {
      ::siginfo_t ended{};
      ::waitid(P_PID, static_cast<::id_t>(worker.process), &ended, WEXITED | WNOHANG | WNOWAIT);
      if (ended.si_pid != 0) break;
      std::this_thread::sleep_for(kPause);
    }
    ::kill(worker.process, SIGKILL);
    Bury(worker);
  }

 private:
  [[noreturn]] void Serve(::pid_t parent, int socket) {
    ForgetTemporaries();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(kFailed);
    std::size_t file = 0;
    while (ReceiveBytes(socket, &file, sizeof file))
      if (!SendReport(socket, work_(file))) break;
    ::_exit(kDone);
  }

  const std::function<FileReport(std::size_t)>& work_;
  std::vector<Worker> workers_;
};

}  // namespace

void RunInWorkers(std::size_t count, unsigned jobs, std::chrono::seconds limit,
                  const std::function<FileReport(std::size_t)>& work,
                  const std::function<FileReport(std::size_t, const std::string&)>& died,
                  const std::function<bool(std::size_t, const FileReport&)>& done) {
  Pool pool(work);
  while (pool.workers().size() < std::min<std::size_t>(jobs, count) && pool.Add()) continue;
  Queue queue(count);
  std::size_t reported = 0;  // given to `done`
  std::map<std::size_t, FileReport> waiting;
  while (reported < count) {
    std::vector<::pollfd> sockets;
    for (Worker& worker : pool.workers()) {
      if (worker.socket >= 0) Pool::Fill(worker, queue);
      sockets.push_back({worker.files.empty() ? -1 : worker.socket, POLLIN, 0});
    }
    const bool busy = std::ranges::any_of(sockets, [](const ::pollfd& s) { return s.fd >= 0; });
    if (!busy) {
      // No process can be made any more: the rest is done here.
      const std::size_t file = queue.Take();
      waiting[file] = work(file);
    } else if (::poll(sockets.data(), sockets.size(), pool.Patience(limit)) < 0) {
      continue;
    }
    for (std::size_t i = 0; i < sockets.size(); ++i) {
      if (sockets[i].fd < 0) continue;
      Worker& worker = pool.workers()[i];
      const std::size_t file = worker.files.front();
      const bool answers = sockets[i].revents != 0;
      const bool is_late = limit.count() > 0 && Pool::Left(worker, limit).count() <= 0;
      if (!answers && !is_late) continue;
      FileReport report;
      if (answers && ReceiveReport(worker.socket, report)) {
        Pool::TakeFinished(worker);
      } else {
        queue.PutBack(std::span(worker.files).subspan(1));
        if (answers) {
          report = died(file, Pool::Bury(worker));
        } else {
          Pool::End(worker);
          report = died(file, "took more than " + std::to_string(limit.count()) + " s");
        }
        if (!queue.empty()) pool.Start(worker);
      }
      waiting[file] = std::move(report);
    }
    for (auto first = waiting.begin(); first != waiting.end() && first->first == reported;
         first = waiting.erase(first), ++reported)
      if (!done(reported, first->second)) return;
  }
}
