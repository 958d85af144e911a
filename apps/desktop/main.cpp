#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include "apps/desktop/MainWindow.h"
#include "apps/desktop/ReadableColors.h"
#include "nvimport/framework/FormatList.h"
#include "nvimport/framework/Version.h"
#include "nvimport/platform/NvApp.h"

namespace nvimport {

namespace {

constexpr const char* kName = "NvImport";

int RunWindow(QApplication& application) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QObject::tr("Shows tables and spectra of many file formats."));
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addPositionalArgument("FILE", QObject::tr("Files to open, as one selection"), "[FILE...]");
  parser.process(application);
  MainWindow window;
  window.show();
  const QStringList files = parser.positionalArguments();
  QTimer::singleShot(0, &window, [&] { window.OpenFiles(files); });
  return QApplication::exec();
}

}  // namespace

}  // namespace nvimport

int main(int count, char** arguments) {
  using namespace nvimport;
  QApplication application(count, arguments);
  QApplication::setApplicationName("nvimport-desktop");
  QApplication::setApplicationDisplayName(kName);
  QApplication::setApplicationVersion(NVIMPORT_VERSION);
  NvApp::SetName(kName);
  const ReadableColors colors(application);
  const FormatList::ReleaseAtEnd list;
  return RunWindow(application);
}
