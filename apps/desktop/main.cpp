#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <cstring>
#include <string>

#include "apps/desktop/MainWindow.h"
#include "apps/nvimport/CommandLine.h"
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

// With --plot first it draws a picture, shows nothing, and takes what the command "nvimport plot"
// takes.
int main(int count, char** arguments) {
  using namespace nvimport;
  const bool plots = count > 1 && std::strcmp(arguments[1], "--plot") == 0;
  if (plots) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Standard error is for what the import has to say.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  }
  // Qt takes arguments of its own away, which would be file names.
  int qt_count = plots ? 1 : count;
  QApplication application(qt_count, arguments);
  QApplication::setApplicationName("nvimport-desktop");
  QApplication::setApplicationDisplayName(kName);
  QApplication::setApplicationVersion(NVIMPORT_VERSION);
  NvApp::SetName(kName);
  if (!plots) return RunWindow(application);
  std::string command = "plot";
  arguments[1] = command.data();
  return RunCommandLine(count, arguments);
}
