#pragma once

#include <optional>
#include <string>
#include <vector>

namespace nvimport {

// What the command line says, unjudged.
struct Settings {
  std::vector<std::string> words;  // behind the name of the command
  std::vector<std::string> files;
  std::string files_from;
  std::string files_from0;  // likewise, with NUL behind each name
  std::string stdin_name = "stdin";
  std::string format;
  std::optional<std::string> delimiter;
  bool ignore_consecutive = false;
  std::optional<std::string> sheets;
  std::optional<std::string> blocks;
  std::optional<std::string> range;
  std::string merge;
  std::optional<std::string> password;
  std::string password_file;
  std::vector<std::string> options;  // KEY=VALUE
  bool together = false;
  std::optional<std::string> chosen_files;  // of those together
  std::string encoding;
  std::string output_encoding;
  std::string to;
  std::string output;
  std::string out_dir;
  std::string report;
  std::string description;        // the file that it goes to, or the folder for several
  bool with_description = false;  // in JSON lines
  std::string x_names;            // "exact" for names that are the x values
  bool force = false;
  bool sparse = false;
  bool safe_formulas = false;
  bool json = false;
  bool notes = false;
  bool kept_rules = false;
  bool strict = false;
  bool quiet = false;
  bool keep_going = false;
  unsigned jobs = 1;
  int timeout = 0;  // seconds that a file may take, 0 for no limit
  int rows = 20;
  int columns = 0;                // as many as fit
  std::string size = "1200x800";  // of a picture, in pixels
  bool reverse_x = false;
  std::string library;
  int time_limit = 10;      // seconds
  int memory_limit = 1024;  // MiB
};

// Each runs one command and returns its exit code.
int RunFormats(const Settings& settings);
int RunDetect(const Settings& settings);
int RunInfo(const Settings& settings);
int RunShow(const Settings& settings);
int RunConvert(const Settings& settings);
int RunValidate(const Settings& settings);
// The desktop program draws the picture; the command starts it.
int RunPlot(const Settings& settings);

}  // namespace nvimport
