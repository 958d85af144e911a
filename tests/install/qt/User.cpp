// User SAMPLES: opens samples in the host's window, answers what is asked, and prints what came of
// it.

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <QTreeWidget>
#include <cstdio>
#include <thread>

#include "Host.h"

namespace {

// Answers each dialog that opens by what it holds.
void Answer(QDialog& dialog) {
  std::printf("%s: ", qPrintable(dialog.windowTitle()));
  if (auto* const list = dialog.findChild<QTreeWidget*>())
    list->topLevelItem(1)->setCheckState(0, Qt::Checked);
  if (auto* const table = dialog.findChild<QTableWidget*>())
    std::printf("%d columns by %s, ", table->columnCount(),
                qPrintable(dialog.findChild<QComboBox*>()->currentText()));
  for (QWidget* widget : dialog.findChildren<QWidget*>())
    if (auto* const plot = dynamic_cast<Plot*>(widget)) {
      plot->dragged(1104, 1112);
      std::printf("points %d to %d, ", dialog.findChildren<QSpinBox*>()[0]->value(),
                  dialog.findChildren<QSpinBox*>()[1]->value());
    }
  dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
}

void Print(HostWindow& window) {
  const QTableWidget& table = window.table();
  std::printf("%d x %d, %s\n", table.rowCount(), table.columnCount(),
              qPrintable(table.item(0, 0)->text()));
}

}  // namespace

int main(int count, char** arguments) {
  QApplication application(count, arguments);
  HostWindow window;
  window.show();
  QTimer looks;
  QObject::connect(&looks, &QTimer::timeout, &window, [] {
    for (QWidget* widget : QApplication::topLevelWidgets())
      if (auto* const dialog = qobject_cast<QDialog*>(widget);
          dialog != nullptr && dialog->isVisible() && !qobject_cast<QProgressDialog*>(dialog))
        return Answer(*dialog);
  });
  looks.start(20);
  const QString samples = arguments[1];
  for (const char* name : {"/ovens.xls", "/batches.txt", "/barley.spc"})
    if (window.Open(samples + name)) Print(window);
  // In a thread of its own, under another window's dialogs.
  QMainWindow other;
  nvimport::QtDialogs dialogs(other);
  nvimport::ImportRequest request;
  request.files = {(samples + "/ovens.xls").toStdString()};
  request.dialogs = &dialogs;
  nvimport::MemorySheet sheet;
  std::thread reads([&] {
    nvimport::ImportFile(request, sheet);
    QMetaObject::invokeMethod(&other, &QApplication::quit, Qt::QueuedConnection);
  });
  QApplication::exec();
  reads.join();
  std::printf("%d rows\n", sheet.GetNumberOfRows());
}
