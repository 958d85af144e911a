#include <QApplication>

#include "Host.h"

int main(int count, char** arguments) {
  QApplication application(count, arguments);
  HostWindow window;
  window.show();
  if (count > 1) window.Open(QFile::decodeName(arguments[1]));
  return QApplication::exec();
}
