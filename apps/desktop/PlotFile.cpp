#include <QFile>
#include <charconv>
#include <optional>
#include <string>

#include "apps/desktop/Curves.h"
#include "apps/desktop/DecimalGuess.h"
#include "apps/desktop/SpectraPlot.h"
#include "apps/nvimport/CellText.h"
#include "apps/nvimport/Commands.h"
#include "apps/nvimport/FileRun.h"
#include "apps/nvimport/OutputTarget.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr int kLeast = 100;
constexpr int kMost = 20000;

std::optional<QSize> ParseSize(const std::string& text) {
  int width = 0;
  int height = 0;
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, width);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x') return std::nullopt;
  const auto second = std::from_chars(first.ptr + 1, end, height);
  if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
  if (std::min(width, height) < kLeast || std::max(width, height) > kMost) return std::nullopt;
  return QSize(width, height);
}

std::optional<Failure> Draw(MemorySheet& sheet, const Settings& settings, QSize size,
                            const std::string& kind, const Input& input, OutputTarget& target) {
  auto curves = std::make_shared<Curves>(
      TakeCurves(sheet, GuessDecimalMark(sheet), [](std::size_t, std::size_t) { return true; }));
  if (curves->size() == 0)
    return Failure{kFailed, "There is nothing to plot.",
                   input.shown + ": its sheet holds no numbers"};
  SpectraPlot plot;
  plot.SetCurves(curves);
  if (settings.reverse_x) plot.SetReversed(true);
  std::string path;
  if (auto failure = target.BeginAtPath("." + kind, path)) return failure;
  const QString refused =
      plot.Save(QFile::decodeName(path.c_str()), QString::fromStdString(kind), size);
  if (!refused.isEmpty()) return target.Because(refused.toStdString());
  return target.Commit();
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
  const auto size = ParseSize(settings.size);
  if (!size)
    return wrong("There is no picture of that size.", "--size takes WIDTHxHEIGHT in pixels");
  std::string kind = settings.to.empty() ? NvGetFileExtension(settings.output) : settings.to;
  for (const char* known : {"svg", "png", "pdf"})
    if (EqualIgnoringCase(kind, known)) kind = known;
  if (kind != "svg" && kind != "png" && kind != "pdf")
    return wrong("A picture is an SVG, PNG or PDF file.", "--to takes svg, png or pdf");

  return run.ForEach([&](FileTurn& turn) {
    OutputTarget target(settings.output, settings.force);
    if (const auto failure = target.Check()) return turn.Fail(*failure);
    auto session = turn.Session();
    MemorySheet sheet;
    auto failure = session.Read(sheet);
    if (!failure) failure = Draw(sheet, settings, *size, kind, turn.input(), target);
    if (failure) turn.Fail(*failure);
    turn.SayNotes(session);
  });
}

}  // namespace nvimport
