#include "apps/desktop/PlotChoice.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QVariantMap>

#include "apps/desktop/Settings.h"

namespace nvimport {

namespace {

constexpr const char* kPlots = "plots";
constexpr qsizetype kMostKept = 100;

QString PathOf(const std::string& file) {
  return QFileInfo(QFile::decodeName(file.c_str())).absoluteFilePath();
}

}  // namespace

PlotChoice KeptChoice(const std::string& file) {
  const QString path = PathOf(file);
  for (const QVariant& entry : Settings().value(kPlots).toList()) {
    const QVariantMap kept = entry.toMap();
    if (kept["file"].toString() != path) continue;
    PlotChoice choice;
    choice.curves = static_cast<PlotChoice::Curves>(kept["curves"].toInt());
    choice.x = kept["x"].toInt();
    for (const QVariant& line : kept["lines"].toList()) choice.lines.push_back(line.toInt());
    choice.marks = static_cast<PlotChoice::Marks>(kept["marks"].toInt());
    choice.x_title = kept["x_title"].toString();
    choice.y_title = kept["y_title"].toString();
    return choice;
  }
  return {};
}

void KeepChoice(const std::string& file, const PlotChoice& choice) {
  const QString path = PathOf(file);
  QVariantList all = Settings().value(kPlots).toList();
  all.removeIf([&](const QVariant& entry) { return entry.toMap()["file"].toString() == path; });
  if (choice != PlotChoice()) {
    QVariantList lines;
    for (const int line : choice.lines) lines.push_back(line);
    all.push_front(QVariantMap{{"file", path},
                               {"curves", static_cast<int>(choice.curves)},
                               {"x", choice.x},
                               {"lines", lines},
                               {"marks", static_cast<int>(choice.marks)},
                               {"x_title", choice.x_title},
                               {"y_title", choice.y_title}});
  }
  Settings().setValue(kPlots, all.mid(0, kMostKept));
}

}  // namespace nvimport
