// Open options. The first byte, from 0, is the index of a format, the rest are the bytes of the
// options for a good file of it; and the whole input is what was stored of options in a stream.

#include <filesystem>
#include <map>
#include <sstream>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/StreamReader.h"
#include "nvimport/platform/StreamWriter.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

// The largest sample of each format, which leaves most to choose.
std::map<int, std::string> SamplesOfFormats() {
  std::map<int, std::string> samples;
  for (const auto& entry : std::filesystem::directory_iterator(NVIMPORT_TEST_SAMPLES)) {
    const int format = DetectFormat(BuiltInFormats(), entry.path().c_str()).format;
    std::string& path = samples[format];
    if (path.empty() || entry.file_size() > std::filesystem::file_size(path)) path = entry.path();
  }
  samples.erase(-1);
  return samples;
}

// What is asked, nobody answers: the options do, or nothing is read.
void OpenWith(int format, const std::string& path, std::vector<unsigned char> bytes) {
  bytes.shrink_to_fit();  // so that a read beyond them is seen
  NvImportOpenOptions options{static_cast<int>(bytes.size()), bytes.data()};
  const auto reader = SprFileFactory::CreateReader(format);
  try {
    if (reader->Open(true, path.c_str(), &options) != 0) return;
  } catch (const Exception&) {
    Check(reader->GetStatus() == 0, "an exception leaves no status");
    return;
  }
  CheckingSink sink(CheckingSink::Beyond::kAllowed);  // a workbook can claim too little
  ReadAsAnnounced(*reader, sink);
}

void ReadStored(const std::string& stored) {
  std::istringstream in(stored);
  StreamReader stream_reader(in);
  SpreadsheetOpenOptions kept;
  try {
    kept.Read(stream_reader);
  } catch (const Exception&) {
    Check(static_cast<const NvImportOpenOptions*>(kept) == nullptr, "damage leaves nothing held");
    return;
  }
  std::ostringstream out;
  StreamWriter stream_writer(out);
  kept.Write(stream_writer);
  Check(stored.starts_with(out.str()), "what was read is stored again");
}

}  // namespace

void Fuzz(std::string_view input) {
  static const auto samples = SamplesOfFormats();
  const auto sample = samples.lower_bound(Setting(input, 0) % samples.rbegin()->first + 1);
  if (!input.empty()) OpenWith(sample->first, sample->second, {input.begin() + 1, input.end()});
  ReadStored(std::string(input));
}

}  // namespace nvimport
