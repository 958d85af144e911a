#include "nvimport/hosting/batch/Batch.h"

#include <poll.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <vector>

#include "nvimport/framework/FormatList.h"
#include "nvimport/hosting/TemporaryPaths.h"

namespace nvimport {

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
  std::uint64_t file = 0;
  std::int64_t fate = 0;
  std::int64_t exit_code = 0;
  std::int64_t noted_format = 0;
  std::uint64_t data_size = 0;
  std::uint64_t messages_size = 0;
  std::uint64_t entry_size = 0;
  std::uint64_t found_size = 0;
};

// In one call, which is what a small file's report costs.
bool SendReport(int socket, std::size_t file, const FileReport& report) {
  const ReportHead head{file,
                        report.fate,
                        report.exit_code,
                        report.noted_format,
                        report.data.size(),
                        report.messages.size(),
                        report.entry.size(),
                        report.found.size()};
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  bytes.append(report.data).append(report.messages).append(report.entry).append(report.found);
  return SendBytes(socket, bytes.data(), bytes.size());
}

// The file, or none where no report comes any more.
std::optional<std::size_t> ReceiveReport(int socket, FileReport& report) {
  ReportHead head;
  if (!ReceiveBytes(socket, &head, sizeof head)) return std::nullopt;
  report.fate = static_cast<FileReport::Fate>(head.fate);
  report.exit_code = static_cast<int>(head.exit_code);
  report.noted_format = static_cast<int>(head.noted_format);
  const auto receive = [socket](std::string& text, std::size_t size) {
    text.resize(size);
    return ReceiveBytes(socket, text.data(), size);
  };
  if (!receive(report.data, head.data_size) || !receive(report.messages, head.messages_size) ||
      !receive(report.entry, head.entry_size) || !receive(report.found, head.found_size))
    return std::nullopt;
  return head.file;
}

bool IsReadable(int socket) {
  ::pollfd readable{socket, POLLIN, 0};
  return ::poll(&readable, 1, 0) > 0;
}

using Clock = std::chrono::steady_clock;
constexpr std::size_t kNoFile = SIZE_MAX;
constexpr unsigned kMostWorkers = 256;

// What a worker is at, and since when.
struct Desk {
  std::atomic<std::size_t> file = kNoFile;
  std::atomic<Clock::rep> since = 0;
};

// In memory that the workers and their parent share: a worker takes the next file itself, since
// asking for it would take as long as a small file.
class Board {
 public:
  // So many files for each worker may be read whose reports were not yet dealt with.
  static constexpr unsigned kAhead = 16;

  Board(std::size_t count, unsigned workers) : count_(count), workers_(workers) {
    ::sem_init(&credits_, /*pshared=*/1, kAhead * workers);
  }
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;
  ~Board() { ::sem_destroy(&credits_); }

  Desk& desk(std::size_t worker) { return desks_[worker]; }
  bool has_files() const { return next_ < count_; }

  // Whether there was another file for the desk. Waits for leave to read it.
  bool Take(Desk& desk) {
    while (::sem_wait(&credits_) != 0) continue;
    // It lies on the desk before it is taken, so that none is lost with a worker.
    std::size_t file = next_;
    do {
      desk.since = Clock::now().time_since_epoch().count();
      desk.file = file < count_ ? file : kNoFile;
    } while (file < count_ && !next_.compare_exchange_weak(file, file + 1));
    return file < count_;
  }
  void LetReadOneMore() { ::sem_post(&credits_); }

  // Nobody takes another file, or waits for one.
  void Close() {
    next_ = count_;
    for (unsigned i = 0; i < workers_; ++i) LetReadOneMore();
  }

 private:
  std::size_t count_;
  unsigned workers_;
  std::atomic<std::size_t> next_ = 0;
  ::sem_t credits_{};
  std::array<Desk, kMostWorkers> desks_;
};

struct FreeBoard {
  void operator()(Board* board) const {
    board->~Board();
    ::munmap(board, sizeof *board);
  }
};
using SharedBoard = std::unique_ptr<Board, FreeBoard>;

SharedBoard MakeBoard(std::size_t count, unsigned workers) {
  void* memory =
      ::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  return SharedBoard(new (memory) Board(count, workers));
}

struct Worker {
  ::pid_t process = -1;
  int socket = -1;
};

class Pool {
 public:
  Pool(std::size_t count, unsigned workers, const std::function<FileReport(std::size_t)>& work)
      : work_(work), board_(MakeBoard(count, workers)), workers_(board_ ? workers : 0) {
    for (Worker& worker : workers_) Start(worker);
  }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool() {
    if (board_) board_->Close();
    for (Worker& worker : workers_) {
      if (worker.process < 0) continue;
      // One without a file ends by itself.
      if (DeskOf(worker).file != kNoFile) ::kill(worker.process, SIGTERM);
      Bury(worker);
    }
  }

  std::vector<Worker>& workers() { return workers_; }
  void LetReadOneMore() {
    if (board_) board_->LetReadOneMore();
  }
  Desk& DeskOf(const Worker& worker) {
    return board_->desk(static_cast<std::size_t>(&worker - workers_.data()));
  }

  // How long the worker has had its file.
  double SecondsAt(const Worker& worker) {
    const Clock::time_point since{Clock::duration(DeskOf(worker).since)};
    return std::chrono::duration<double>(Clock::now() - since).count();
  }

  // What is left of `limit` for the file that the worker reads.
  std::chrono::milliseconds Left(const Worker& worker, std::chrono::seconds limit) {
    const Desk& desk = DeskOf(worker);
    if (worker.process < 0 || desk.file == kNoFile) return limit;
    const Clock::time_point since{Clock::duration(desk.since)};
    return std::chrono::ceil<std::chrono::milliseconds>(since + limit - Clock::now());
  }

  // How long to wait for a report before a worker has had `limit`, in milliseconds; -1 for ever.
  int Patience(std::chrono::seconds limit) {
    if (limit.count() == 0) return -1;
    std::chrono::milliseconds left = limit;
    for (const Worker& worker : workers_) left = std::min(left, Left(worker, limit));
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
  }

  // Waits for the worker's end and says what it was. Another one takes its place when there is
  // something to do, unless the place itself is what kills.
  std::string Replace(Worker& worker) {
    const bool had_file = DeskOf(worker).file.exchange(kNoFile) != kNoFile;
    const int status = Bury(worker);
    if (had_file && board_->has_files()) Start(worker);
    return WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended by exit " + std::to_string(WEXITSTATUS(status));
  }

  // Ends a worker, which has a moment to remove what it had begun to write.
  static void End(const Worker& worker) {
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
  }

 private:
  void Start(Worker& worker) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
    const ::pid_t parent = ::getpid();
    const ::pid_t process = ::fork();
    if (process == 0) {
      ::close(ends[0]);
      for (const Worker& other : workers_)
        if (other.socket >= 0) ::close(other.socket);
      Serve(parent, ends[1], DeskOf(worker));
    }
    ::close(ends[1]);
    if (process < 0)
      ::close(ends[0]);
    else
      worker = {process, ends[0]};
  }

  [[noreturn]] void Serve(::pid_t parent, int socket, Desk& desk) {
    ForgetTemporaries();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(EXIT_FAILURE);
    while (board_->Take(desk)) {
      if (!SendReport(socket, desk.file, work_(desk.file))) break;
      desk.file = kNoFile;
    }
    FormatList::Release();
    ::_exit(EXIT_SUCCESS);
  }

  static int Bury(Worker& worker) {
    ::close(worker.socket);
    int status = 0;
    while (::waitpid(worker.process, &status, 0) < 0 && errno == EINTR) continue;
    worker = {};
    return status;
  }

  const std::function<FileReport(std::size_t)>& work_;
  SharedBoard board_;
  std::vector<Worker> workers_;
};

void RunInWorkers(std::size_t count, const BatchSettings& settings,
                  const std::function<FileReport(std::size_t)>& work,
                  const std::function<FileReport(std::size_t, const WorkerEnd&)>& died,
                  const std::function<bool(std::size_t, const FileReport&)>& done) {
  const std::chrono::seconds limit = settings.limit;
  // Reports of small files are dealt with several at a time: to be woken for each would cost as
  // much as the file.
  constexpr std::chrono::microseconds kGather{500};
  Pool pool(count,
            static_cast<unsigned>(std::min<std::size_t>({settings.jobs, count, kMostWorkers})),
            work);
  std::size_t reported = 0;  // given to `done`
  std::map<std::size_t, FileReport> waiting;
  while (reported < count) {
    std::vector<::pollfd> sockets;
    for (const Worker& worker : pool.workers()) sockets.push_back({worker.socket, POLLIN, 0});
    if (std::ranges::all_of(sockets, [](const ::pollfd& s) { return s.fd < 0; })) {
      // No process can be made, or none any more: the rest is done here.
      waiting[reported] = work(reported);
    } else if (::poll(sockets.data(), sockets.size(), pool.Patience(limit)) < 0) {
      continue;
    }
    for (Worker& worker : pool.workers()) {
      if (worker.process < 0) continue;
      const bool is_late = limit.count() > 0 && pool.Left(worker, limit).count() <= 0;
      if (is_late) Pool::End(worker);
      bool lives = true;
      while (lives && IsReadable(worker.socket)) {
        FileReport report;
        const auto file = ReceiveReport(worker.socket, report);
        lives = file.has_value();
        if (lives) waiting[*file] = std::move(report);
      }
      if (lives) continue;
      const std::size_t file = pool.DeskOf(worker).file;
      const double seconds = pool.SecondsAt(worker);
      const std::string end = pool.Replace(worker);
      if (file == kNoFile || file < reported || waiting.contains(file)) continue;
      waiting[file] =
          died(file, {is_late ? "took more than " + std::to_string(limit.count()) + " s" : end,
                      is_late, seconds});
    }
    const std::size_t before = reported;
    for (auto first = waiting.begin(); first != waiting.end() && first->first == reported;
         first = waiting.erase(first), ++reported) {
      if (!done(reported, first->second)) return;
      pool.LetReadOneMore();
    }
    if (reported > before && reported < count) std::this_thread::sleep_for(kGather);
  }
}

}  // namespace

void RunBatch(std::size_t count, const BatchSettings& settings,
              const std::function<FileReport(std::size_t)>& work,
              const std::function<FileReport(std::size_t, const WorkerEnd&)>& died,
              const std::function<bool(std::size_t, const FileReport&)>& done) {
  if (settings.TakesWorkers(count)) return RunInWorkers(count, settings, work, died, done);
  for (std::size_t i = 0; i < count && done(i, work(i)); ++i) continue;
}

}  // namespace nvimport
