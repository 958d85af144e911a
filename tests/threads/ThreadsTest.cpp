// The library in several threads at once, for ThreadSanitizer too.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <map>
#include <thread>

#include "nvimport/framework/NvImport.h"
#include "nvimport/hosting/export/Export.h"
#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Sanitizer.h"
#include "tests/support/Samples.h"
#include "tests/support/Support.h"

namespace nvimport {

namespace {

std::string Sample(const char* name) { return std::string(NVIMPORT_TEST_SAMPLES "/") + name; }

void InThreads(int count, const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

// What a host gets of a file: its cells, its notes and what was asked, or its failure.
std::string Imported(const std::string& path) {
  MemorySheet sheet;
  ImportRequest request;
  request.files = {path};
  int steps = 0;
  request.progress = [&](const ImportProgress&) { return ++steps > 0; };
  const ImportResult result = ImportFile(request, sheet);
  std::string all = result.failure ? result.failure->text : SheetText(sheet);
  for (const std::string& note : result.notes) all += note + "\n";
  for (const AnsweredQuestion& question : result.questions) all += question.name + "\n";
  return all;
}

TEST(Threads, EachImportGetsWhatIsItsOwn) {
  std::map<std::string, std::string> expected;
  for (const auto& path : Samples()) expected[path] = Imported(path);
  InThreads(4, [&](int thread) {
    auto next = expected.begin();
    std::advance(next, thread * static_cast<int>(expected.size()) / 4);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(Imported(next->first), next->second) << next->first;
      if (++next == expected.end()) next = expected.begin();
    }
  });
}

// Counts the texts of a read by the twelve functions; with `closes`, closes the file in its midst.
struct Counting : NvImportReadData {
  int texts = 0;
  std::function<void()> closes;

  Counting() : NvImportReadData{} {
    set_text = [](NvImportReadData* data, int, int, const char*) {
      auto& self = *static_cast<Counting*>(data);
      if (++self.texts == 1 && self.closes) self.closes();
    };
  }
};

int FormatNamed(std::string_view name) {
  int format = NvImportSizeFileFormatsSupported();
  while (NvImportGetFileFormatInfo(format)->name != name) --format;
  return format;
}

TEST(Threads, EachHandleIsOneThreads) {
  const int format = FormatNamed("CSV File");
  const std::string path = Sample("trials.csv");
  Counting alone;
  long only = 0;
  NvImportOpen(format, path.c_str(), 1, &only, nullptr);
  ASSERT_NE(NvImportRead(format, only, &alone), 0);
  NvImportClose(format, only);
  InThreads(4, [&](int thread) {
    for (int i = 0; i < 50; ++i) {
      long handle = 0;
      const bool misses = (i + thread) % 3 == 0;
      const std::string missing = "/nowhere/" + std::to_string(thread);
      const bool opened =
          NvImportOpen(format, misses ? missing.c_str() : path.c_str(), 1, &handle, nullptr) != 0;
      EXPECT_EQ(opened, !misses);
      const bool says = *NvImportGetLastError(format, handle) != '\0';
      EXPECT_EQ(says, misses) << "another thread's text";
      Counting counting;
      counting.closes = [&] { NvImportClose(format, handle); };
      EXPECT_EQ(NvImportRead(format, handle, &counting) != 0, !misses);
      EXPECT_EQ(counting.texts, misses ? 0 : alone.texts) << "closed in its midst";
      NvImportClose(format, handle);
      EXPECT_EQ(NvImportRead(format, handle, &counting), 0) << "it is closed";
    }
  });
}

TEST(Threads, AProcessForkedMeanwhileReadsOn) {
#if defined(NVIMPORT_UNDER_ASAN)
  GTEST_SKIP() << "the address sanitizer's own locks don't outlive a fork";
#endif
  const std::string path = Sample("mill.xlsx");
  const std::string expected = Imported(path);
  std::atomic<bool> done = false;
  std::thread busy([&] {
    while (!done) EXPECT_EQ(Imported(path), expected);
  });
  for (int i = 0; i < 20; ++i) {
    const ::pid_t child = ::fork();
    if (child == 0) {
      ::alarm(20);
      ::_exit(Imported(path) == expected ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "by a signal " << WTERMSIG(status);
  }
  done = true;
  busy.join();
}

}  // namespace

}  // namespace nvimport
