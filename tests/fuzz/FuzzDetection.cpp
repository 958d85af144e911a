// Every format's word on the input under each of their extensions, and what is concluded from that.

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "nvimport/framework/FormatDetection.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

namespace {

// One link for each extension: detection looks at names too.
class Names {
 public:
  explicit Names(const char* target) {
    std::string pattern = (std::filesystem::temp_directory_path() / "detect-XXXXXX").string();
    Check(::mkdtemp(pattern.data()) != nullptr, "there is a folder");
    folder_ = pattern;
    std::set<std::string> extensions;
    for (const KnownFormat& format : BuiltInFormats())
      for (const std::string& extension : Extensions(*format.info)) extensions.insert(extension);
    for (const std::string& extension : extensions) {
      paths_.push_back(folder_ / ("file" + extension));
      std::filesystem::create_symlink(target, paths_.back());
    }
  }
  Names(const Names&) = delete;
  Names& operator=(const Names&) = delete;
  ~Names() { std::filesystem::remove_all(folder_); }

  const std::string& Of(std::uint8_t number) const { return paths_[number % paths_.size()]; }

 private:
  std::filesystem::path folder_;
  std::vector<std::string> paths_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<KnownFormat> formats = BuiltInFormats();
  static const MemoryFile file;
  static const Names names(file.path());
  if (size == 0) return 0;
  file.Put({reinterpret_cast<const char*>(data) + 1, size - 1});
  const Detection detection = DetectFormat(formats, names.Of(data[0]).c_str());
  Check(detection.file_exists && detection.answers.size() == formats.size(),
        "every format has a word");
  int certain = 0;
  for (const int answer : detection.answers) {
    Check(answer >= 0 && answer <= 2, "a word is 0, 1 or 2");
    certain += answer == 2 ? 1 : 0;
  }
  if (detection.format > 0) {
    const int answer = detection.answers[static_cast<std::size_t>(detection.format) - 1];
    Check(answer == 2 || (answer == 1 && certain == 0), "a certain format beats a possible one");
  }
  return 0;
}

}  // namespace nvimport
