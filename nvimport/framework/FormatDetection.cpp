#include "nvimport/framework/FormatDetection.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/NvFile.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr int kSureAnswer = 2;
constexpr int kPossibleAnswer = 1;

std::vector<int> WithExtension(const std::vector<KnownFormat>& formats,
                               const std::vector<int>& among, const char* path) {
  const std::string extension = "." + NvGetFileExtension(path);
  std::vector<int> matches;
  std::ranges::copy_if(among, std::back_inserter(matches), [&](int index) {
    return HasExtension(*formats[static_cast<std::size_t>(index - 1)].info, extension);
  });
  return matches;
}

// One candidate is taken, several are the user's choice.
void Settle(Detection& detection, std::vector<int> candidates) {
  if (candidates.size() == 1)
    detection.format = candidates.front();
  else
    detection.candidates = std::move(candidates);
}

}  // namespace

std::vector<KnownFormat> BuiltInFormats() {
  std::vector<KnownFormat> formats;
  for (int index = 1; index <= SprFileFactory::GetNumberOfFormats(); ++index)
    formats.push_back({SprFileFactory::GetFormat(index), [index](const char* path) {
                         return SprFileFactory::TestFile(index, path);
                       }});
  return formats;
}

std::vector<std::string> Extensions(const NvImportFormatInfo& format) {
  std::vector<std::string> extensions;
  const char* next = format.extensions;
  for (int i = 0; i < format.extension_count; ++i) {
    extensions.emplace_back(next);
    next += std::strlen(next) + 1;
  }
  return extensions;
}

bool HasExtension(const NvImportFormatInfo& format, std::string_view extension) {
  return std::ranges::any_of(Extensions(format), [&](const std::string& own) {
    return EqualIgnoringCase(own, extension);
  });
}

Detection DetectFormat(const std::vector<KnownFormat>& formats, const char* path) {
  Detection detection;
  detection.file_exists = NvFile::Exists(path);
  std::vector<int> certain;
  std::vector<int> possible;
  for (int index = 1; index <= static_cast<int>(formats.size()); ++index) {
    if (!detection.file_exists) {
      possible.push_back(index);
      continue;
    }
    const KnownFormat& format = formats[static_cast<std::size_t>(index - 1)];
    const int answer = format.test ? format.test(path) : kPossibleAnswer;
    detection.answers.push_back(answer);
    if (answer == kSureAnswer) certain.push_back(index);
    if (answer == kPossibleAnswer) possible.push_back(index);
  }

  if (!certain.empty()) {
    Settle(detection, std::move(certain));
  } else if (!detection.file_exists) {
    Settle(detection, WithExtension(formats, possible, path));
  } else {
    std::vector<int> matches = WithExtension(formats, possible, path);
    Settle(detection, matches.empty() ? std::move(possible) : std::move(matches));
  }
  return detection;
}

int ChooseFormat(const std::vector<KnownFormat>& formats, const char* path) {
  const Detection detection = DetectFormat(formats, path);
  if (detection.candidates.empty()) return detection.format;
  FileTypeQuestion question;
  question.title = "Select File Type";
  question.label = "File Types";
  question.prompt = "The file type of '" + FileName(path) +
                    "' could not be determined. Please select the correct file type.";
  for (const int index : detection.candidates)
    question.names.emplace_back(formats[static_cast<std::size_t>(index - 1)].info->name);
  const auto chosen = Dialogs::Current().SelectFileType(question);
  if (!chosen || *chosen >= detection.candidates.size()) return -1;
  return detection.candidates[*chosen];
}

}  // namespace nvimport
