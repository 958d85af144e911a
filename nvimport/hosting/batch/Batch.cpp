#include "nvimport/hosting/batch/Batch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <new>
#include <optional>
#include <thread>

#include "nvimport/framework/FormatList.h"
#include "nvimport/platform/Workers.h"

namespace nvimport {

namespace {

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
bool SendReport(Workers& workers, std::size_t file, const FileReport& report) {
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
  return workers.Send(bytes);
}

// The file, or none where no report comes any more.
std::optional<std::size_t> ReceiveReport(Workers& workers, std::size_t worker, FileReport& report) {
  ReportHead head;
  if (!workers.Receive(worker, &head, sizeof head)) return std::nullopt;
  report.fate = static_cast<FileReport::Fate>(head.fate);
  report.exit_code = static_cast<int>(head.exit_code);
  report.noted_format = static_cast<int>(head.noted_format);
  const auto receive = [&](std::string& text, std::size_t size) {
    text.resize(size);
    return workers.Receive(worker, text.data(), size);
  };
  if (!receive(report.data, head.data_size) || !receive(report.messages, head.messages_size) ||
      !receive(report.entry, head.entry_size) || !receive(report.found, head.found_size))
    return std::nullopt;
  return static_cast<std::size_t>(head.file);
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

  explicit Board(std::size_t count) : count_(count) {}

  Desk& desk(std::size_t worker) { return desks_[worker]; }
  bool has_files() const { return next_ < count_; }

  // Whether there was another file for the desk.
  bool Take(Desk& desk) {
    // It lies on the desk before it is taken, so that none is lost with a worker.
    std::size_t file = next_;
    do {
      desk.since = Clock::now().time_since_epoch().count();
      desk.file = file < count_ ? file : kNoFile;
    } while (file < count_ && !next_.compare_exchange_weak(file, file + 1));
    return file < count_;
  }

  // Nobody takes another file.
  void Close() { next_ = count_; }

 private:
  std::size_t count_;
  std::atomic<std::size_t> next_ = 0;
  std::array<Desk, kMostWorkers> desks_;
};

class Pool {
 public:
  Pool(std::size_t count, unsigned workers, const std::function<FileReport(std::size_t)>& work)
      : work_(work),
        size_(workers),
        workers_(workers, sizeof(Board), Board::kAhead * workers,
                 [count](void* memory) { new (memory) Board(count); }),
        board_(static_cast<Board*>(workers_.memory())) {
    workers_.ServeIfOne([this](std::size_t worker) { Serve(worker); });
    for (std::size_t worker = 0; worker < size_; ++worker) Start(worker);
  }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool() {
    if (board_ == nullptr) return;
    board_->Close();
    // Nor does anybody wait for one.
    for (std::size_t worker = 0; worker < size_; ++worker) workers_.GiveLeave();
    for (std::size_t worker = 0; worker < size_; ++worker) {
      if (!workers_.Lives(worker)) continue;
      // One without a file ends by itself.
      if (FileOf(worker) != kNoFile) workers_.AskToEnd(worker);
      workers_.Bury(worker);
    }
    board_->~Board();
  }

  std::size_t size() const { return size_; }
  Workers& workers() { return workers_; }
  bool has_workers() const {
    for (std::size_t worker = 0; worker < size_; ++worker)
      if (workers_.Lives(worker)) return true;
    return false;
  }
  std::size_t FileOf(std::size_t worker) { return board_->desk(worker).file; }

  // How long the worker has had its file.
  double SecondsAt(std::size_t worker) {
    const Clock::time_point since{Clock::duration(board_->desk(worker).since)};
    return std::chrono::duration<double>(Clock::now() - since).count();
  }

  // What is left of `limit` for the file that the worker reads.
  std::chrono::milliseconds Left(std::size_t worker, std::chrono::seconds limit) {
    if (!workers_.Lives(worker) || FileOf(worker) == kNoFile) return limit;
    const Clock::time_point since{Clock::duration(board_->desk(worker).since)};
    return std::chrono::ceil<std::chrono::milliseconds>(since + limit - Clock::now());
  }

  // How long to wait for a report before a worker has had `limit`; below 0 for ever.
  std::chrono::milliseconds Patience(std::chrono::seconds limit) {
    constexpr std::chrono::milliseconds kNone{0};
    if (limit.count() == 0) return std::chrono::milliseconds(-1);
    std::chrono::milliseconds left = limit;
    for (std::size_t worker = 0; worker < size_; ++worker)
      left = std::min(left, Left(worker, limit));
    return std::max(left, kNone);
  }

  // Waits for the worker's end and says what it was. Another one takes its place when there is
  // something to do, unless the place itself is what kills.
  std::string Replace(std::size_t worker) {
    const bool had_file = board_->desk(worker).file.exchange(kNoFile) != kNoFile;
    std::string words = workers_.Bury(worker);
    if (had_file && board_->has_files()) Start(worker);
    return words;
  }

 private:
  void Start(std::size_t worker) {
    workers_.Start(worker, [this, worker] { Serve(worker); });
  }

  void Serve(std::size_t worker) {
    Desk& desk = board_->desk(worker);
    for (;;) {
      workers_.TakeLeave();
      if (!board_->Take(desk) || !SendReport(workers_, desk.file, work_(desk.file))) break;
      desk.file = kNoFile;
    }
    FormatList::Release();
  }

  const std::function<FileReport(std::size_t)>& work_;
  std::size_t size_;
  Workers workers_;
  Board* board_;
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
    // No process can be made, or none any more: the rest is done here.
    if (!pool.has_workers())
      waiting[reported] = work(reported);
    else if (!pool.workers().Wait(pool.Patience(limit)))
      continue;
    for (std::size_t worker = 0; worker < pool.size(); ++worker) {
      if (!pool.workers().Lives(worker)) continue;
      const bool is_late = limit.count() > 0 && pool.Left(worker, limit).count() <= 0;
      if (is_late) pool.workers().End(worker);
      bool lives = true;
      while (lives && pool.workers().HasNews(worker)) {
        FileReport report;
        const auto file = ReceiveReport(pool.workers(), worker, report);
        lives = file.has_value();
        if (lives) waiting[*file] = std::move(report);
      }
      if (lives) continue;
      const std::size_t file = pool.FileOf(worker);
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
      pool.workers().GiveLeave();
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
