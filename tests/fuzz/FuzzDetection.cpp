// Every format's word on the input under each of their extensions, and what is concluded from that.

#include <filesystem>
#include <set>

#include "nvimport/framework/FormatDetection.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

// One link for each extension: detection looks at names too.
class Names {
 public:
  explicit Names(const char* target) {
    std::set<std::string> extensions;
    for (const KnownFormat& format : BuiltInFormats())
      for (const std::string& extension : Extensions(*format.info)) extensions.insert(extension);
    for (const std::string& extension : extensions) {
      paths_.push_back(folder_.path() + "/file" + extension);
      std::filesystem::create_symlink(target, paths_.back());
    }
  }

  const char* Of(int number) const {
    return paths_[static_cast<std::size_t>(number) % paths_.size()].c_str();
  }

 private:
  TempFolder folder_;
  std::vector<std::string> paths_;
};

}  // namespace

void Fuzz(std::string_view input) {
  static const std::vector<KnownFormat> formats = BuiltInFormats();
  static const MemoryFile file;
  static const Names names(file.path());
  if (input.empty()) return;
  file.Put(input.substr(1));
  const Detection detection = DetectFormat(formats, names.Of(Setting(input, 0)));
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
}

}  // namespace nvimport
