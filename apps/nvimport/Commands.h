#pragma once

#include <optional>
#include <string>
#include <vector>

namespace nvimport {

// What the command line says, unjudged.
struct Settings {
  std::vector<std::string> words;  // behind the name of the command
  std::string configuration;
  bool no_configuration = false;
  std::vector<std::string> files;
  std::string files_from;
  std::string files_from0;  // likewise, with NUL behind each name
  bool recursive = false;
  std::vector<std::string> include;  // patterns of files in folders
  std::vector<std::string> exclude;
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
  bool allow_query = false;
  std::optional<std::string> query;  // of a database that is named in place of a file
  std::optional<std::string> table;
  std::vector<std::string> options;        // KEY=VALUE
  std::vector<std::string> write_options;  // likewise
  bool together = false;
  std::optional<std::string> chosen_files;  // of those together
  std::string encoding;
  std::string output_encoding;
  std::string to;
  std::string output;
  std::string out_dir;
  std::string report;
  bool goes_on = false;           // with the run that the report is of
  std::string description;        // the file that it goes to, or the folder for several
  bool with_description = false;  // in JSON lines
  std::string x_names;            // "exact" for names that are the x values
  std::optional<std::string> written_columns;
  std::optional<std::string> written_rows;
  int skipped_rows = 0;
  bool transposed = false;
  bool is_long = false;
  std::string decimal_mark;
  bool combines = false;     // all files in one table
  bool with_source = false;  // the sheets of each
  bool each_sheet = false;   // in a file of its own
  std::string grid;          // of a table of spectra: "union" or "first"
  std::string header;  // whether first rows name columns: "yes", "no", or told by what they hold
  bool force = false;
  bool yes = false;       // forces, and asks nothing
  bool no_input = false;  // asks nothing
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
