#pragma once

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/Cases.h"

namespace nvimport {

// What a run came to: its exit code, or the signal that ended it below zero.
struct Ran {
  int exit_code = 0;
  std::string out;
  std::string errors;

  bool operator==(const Ran&) const = default;
};

inline void PrintTo(const Ran& ran, std::ostream* stream) {
  *stream << "exit " << ran.exit_code << "\n--- out\n" << ran.out << "--- errors\n" << ran.errors;
}

// How the program's streams and limits differ from files without a limit.
struct Streams {
  std::string input = "";
  int in = -1;   // instead of the input
  int out = -1;  // instead of a file
  int errors = -1;
  std::string plug_ins = "";
  std::string configurations = "/nowhere";
  ::rlim_t largest_file = RLIM_INFINITY;
};

// Runs the program in a folder of its own, temporary files in another.
class Desk {
 public:
  Desk() {
    for (const char* name : {"work", "tmp"}) std::filesystem::create_directory(Path(name));
  }

  std::string Path(const std::string& name) const { return root_.path() + "/" + name; }
  void Put(const std::string& name, std::string_view bytes) const {
    root_.Put("work/" + name, bytes);
  }
  std::string Get(const std::string& name) const { return Contents(Path("work/" + name)); }

  // All there is in both folders.
  std::string Listing() const {
    std::vector<std::string> names;
    for (const char* folder : {"work", "tmp"})
      for (const auto& entry : std::filesystem::recursive_directory_iterator(Path(folder)))
        names.push_back(entry.path().lexically_relative(Path("work")));
    std::ranges::sort(names);
    std::string listing;
    for (const std::string& name : names) listing += (listing.empty() ? "" : " ") + name;
    return listing;
  }

  // The line's words are apart by one blank, so that two make an empty one.
  ::pid_t Start(std::string line, const Streams& streams = {}) const {
    root_.Put("in", streams.input);
    std::vector<char*> arguments = {line.data()};
    for (char& c : line) {
      if (c != ' ') continue;
      c = '\0';
      arguments.push_back(&c + 1);
    }
    arguments.push_back(nullptr);
    const ::pid_t process = ::fork();
    if (process != 0) return process;
    // A run that hangs ends too. A closed pipe ends one even where that is ignored.
    ::alarm(60);
    ::signal(SIGPIPE, SIG_IGN);
    const auto take = [](int descriptor, int as) {
      if (descriptor < 0 || ::dup2(descriptor, as) < 0) ::_exit(126);
    };
    constexpr int kNew = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    take(streams.in >= 0 ? streams.in : ::open(Path("in").c_str(), O_RDONLY | O_CLOEXEC), 0);
    take(streams.out >= 0 ? streams.out : ::open(Path("out").c_str(), kNew, 0600), 1);
    take(streams.errors >= 0 ? streams.errors : ::open(Path("errors").c_str(), kNew, 0600), 2);
    const ::rlimit limit{streams.largest_file, streams.largest_file};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::setenv("TMPDIR", "../tmp", 1);
    ::setenv("ASAN_OPTIONS", "handle_segv=0", 1);  // a crash is one there too
    ::setenv("XDG_CONFIG_HOME", streams.configurations.c_str(), 1);
    ::setenv("NVIMPORT_PLUGIN_PATH", streams.plug_ins.c_str(), 1);
    if (::chdir(Path("work").c_str()) == 0) ::execv(NVIMPORT_TEST_COMMAND, arguments.data());
    ::_exit(126);
  }

  Ran Finish(::pid_t process) const {
    int status = 0;
    ::waitpid(process, &status, 0);
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), Contents(Path("out")),
            Contents(Path("errors"))};
  }

  Ran Run(const std::string& line, const Streams& streams = {}) const {
    std::filesystem::remove(Path("out"));
    return Finish(Start("nvimport " + line, streams));
  }

  // Runs it in a terminal whose user has typed `answers`; what the terminal shows is the errors.
  Ran RunInTerminal(const std::string& line, const std::string& answers,
                    const std::string& plug_ins) const {
    std::filesystem::remove(Path("out"));
    int user = -1;
    int terminal = -1;
    EXPECT_EQ(::openpty(&user, &terminal, nullptr, nullptr, nullptr), 0);
    ::termios modes{};
    ::tcgetattr(terminal, &modes);
    modes.c_lflag &= ~static_cast<::tcflag_t>(ECHO);
    modes.c_oflag &= ~static_cast<::tcflag_t>(OPOST);
    ::tcsetattr(terminal, TCSANOW, &modes);
    EXPECT_EQ(::write(user, answers.data(), answers.size()), std::ssize(answers));
    const ::pid_t process =
        Start("nvimport " + line, {.in = terminal, .errors = terminal, .plug_ins = plug_ins});
    ::close(terminal);
    std::string shown;
    char bytes[1024];
    for (::ssize_t got = 0; (got = ::read(user, bytes, sizeof bytes)) > 0;)
      shown.append(bytes, static_cast<std::size_t>(got));
    ::close(user);
    Ran ran = Finish(process);
    ran.errors = shown;
    return ran;
  }

 private:
  TempFolder root_;
};

inline std::string TwoLines(const std::string& text, const std::string& advice) {
  return "nvimport: " + text + "\n  " + advice + "\n";
}

// Whether `value` is as `schema` (a part of `root`) says. What the schema does not name is no fit,
// so that it is kept complete.
inline bool Fits(const nlohmann::json& value, const nlohmann::json& schema,
                 const nlohmann::json& root) {
  const auto fits = [&](const nlohmann::json& one) { return Fits(value, one, root); };
  if (schema.contains("$ref"))
    return fits(root.at(nlohmann::json::json_pointer(schema["$ref"].get<std::string>().substr(1))));
  if (schema.contains("anyOf")) return std::ranges::any_of(schema["anyOf"], fits);
  if (schema.contains("const") && value != schema["const"]) return false;
  if (schema.contains("enum") && std::ranges::count(schema["enum"], value) == 0) return false;
  const std::string types = schema.contains("type") ? schema["type"].dump() : "";
  const auto is = [&](const std::string& type) {
    return types.find('"' + type + '"') != types.npos;
  };
  if (!types.empty() && !is(value.type_name()) && !(value.is_number_integer() && is("integer")))
    return false;
  if (value.is_object()) {
    for (const auto& name : schema["required"])
      if (!value.contains(name.get<std::string>())) return false;
    for (const auto& [name, member] : value.items())
      if (!schema["properties"].contains(name) || !Fits(member, schema["properties"][name], root))
        return false;
  }
  return !value.is_array() || std::ranges::all_of(value, [&](const nlohmann::json& item) {
    return Fits(item, schema["items"], root);
  });
}

inline void ExpectFit(const nlohmann::json& answer, const std::string& name) {
  const auto schema = nlohmann::json::parse(Contents(NVIMPORT_TEST_SCHEMAS "/" + name + ".json"));
  EXPECT_TRUE(Fits(answer, schema, schema)) << name << answer.dump(1);
}

}  // namespace nvimport
