// race RUNS COMMAND... [-- COMMAND...]...: runs the commands in turn, RUNS times each, and prints a
// line for each run: which command, its seconds, its peak memory in KiB. What they print is
// dropped. Fails when one of them does.
//
// A small program of its own, because a process's peak begins at that of the one that started it.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

int main(int count, char** arguments) {
  std::vector<char**> commands;
  for (int i = 2; i < count; ++i) {
    if (i == 2 || arguments[i - 1] == nullptr) commands.push_back(arguments + i);
    if (std::strcmp(arguments[i], "--") == 0) arguments[i] = nullptr;
  }
  if (commands.empty()) return 2;

  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  for (const int descriptor : {0, 1, 2})
    posix_spawn_file_actions_addopen(&quiet, descriptor, "/dev/null", O_RDWR, 0);

  const int runs = std::atoi(arguments[1]);
  for (int run = 0; run < runs; ++run) {
    for (std::size_t i = 0; i < commands.size(); ++i) {
      using Clock = std::chrono::steady_clock;
      const auto start = Clock::now();
      pid_t child = 0;
      int status = 0;
      rusage usage{};
      if (posix_spawnp(&child, commands[i][0], &quiet, nullptr, commands[i], environ) != 0 ||
          wait4(child, &status, 0, &usage) < 0 || status != 0) {
        std::fprintf(stderr, "%s failed\n", commands[i][0]);
        return 1;
      }
      std::printf("%zu %.6f %ld\n", i, std::chrono::duration<double>(Clock::now() - start).count(),
                  usage.ru_maxrss);
    }
  }
  posix_spawn_file_actions_destroy(&quiet);
  return 0;
}
