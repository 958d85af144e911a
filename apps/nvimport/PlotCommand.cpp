#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string>

#include "apps/nvimport/Commands.h"
#include "apps/nvimport/FileRun.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/export/Picture.h"
#include "nvimport/platform/DynamicLibrary.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/NvApp.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr int kLeast = 100;
constexpr int kMost = 20000;

// "WIDTHxHEIGHT" in pixels.
bool TakeSize(const std::string& text, PictureSettings& picture) {
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, picture.width);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x') return false;
  const auto second = std::from_chars(first.ptr + 1, end, picture.height);
  return second.ec == std::errc() && second.ptr == end &&
         std::min(picture.width, picture.height) >= kLeast &&
         std::max(picture.width, picture.height) <= kMost;
}

// What draws comes with the window.
std::string DrawingLibrary() {
  return PathText(FilePath(NvApp::GetCompleteDirectory()).parent_path() / kDrawingLibrary);
}

std::optional<Failure> Draw(DrawPictureFunction& draw, MemorySheet& sheet,
                            const PictureSettings& picture, const std::string& shown,
                            OutputTarget& target) {
  std::string path;
  if (auto failure = target.BeginAtPath("." + picture.kind, path)) return failure;
  std::string why;
  if (draw(sheet, picture, path, why)) return target.Commit();
  if (why.empty())
    return Failure{Failure::kFailed, "There is nothing to plot.", "its sheet holds no numbers",
                   shown};
  return target.Because(why);
}

}  // namespace

int RunPlot(const Settings& settings) {
  FileRun run(settings);
  if (const auto failure = run.Prepare()) return SayFailure(*failure);
  const auto wrong = [](const char* text, const char* advice) {
    return SayFailure(WrongUsage(text, advice));
  };
  if (settings.output.empty())
    return wrong("There is no output.", "give -o OUT, a file that ends with .svg, .png or .pdf");
  if (run.plan().inputs.size() > 1)
    return wrong("Several files can't go into one picture.", "--together makes one sheet of them");
  PictureSettings picture;
  picture.is_reversed = settings.reverse_x;
  if (!TakeSize(settings.size, picture))
    return wrong("There is no picture of that size.", "--size takes WIDTHxHEIGHT in pixels");
  const std::string kind = settings.to.empty() ? NvGetFileExtension(settings.output) : settings.to;
  for (const char* known : {"svg", "png", "pdf"})
    if (EqualIgnoringCase(kind, known)) picture.kind = known;
  if (picture.kind.empty())
    return wrong("A picture is an SVG, PNG or PDF file.", "--to takes svg, png or pdf");
  const DynamicLibrary library(DrawingLibrary());
  auto* const draw = library.Find<DrawPictureFunction>(kDrawPicture);
  if (draw == nullptr)
    return SayFailure({Failure::kFailed, "The plot could not be drawn.",
                       "what draws it comes with the window, in the package nvimport-desktop, and "
                       "is not installed"});

  run.plan().import.describing = Describing::kAll;
  return run.ForEach([&](FileTurn& turn) {
    OutputTarget target(settings.output, settings.force, CommandWords());
    if (const auto failure = target.Check()) return turn.Fail(*failure);
    MemorySheet sheet;
    const ImportResult result = turn.Read(sheet);
    auto failure = result.failure;
    picture.description = &result.description;
    if (!failure) failure = Draw(*draw, sheet, picture, turn.input().shown, target);
    if (failure) turn.Fail(*failure);
    turn.SayNotes(result);
  });
}

}  // namespace nvimport
