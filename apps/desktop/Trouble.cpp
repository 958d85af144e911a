#include "apps/desktop/Trouble.h"

#include <QApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QStringList>

namespace nvimport {

void ShowTrouble(QWidget* parent, const Trouble& trouble) {
  QMessageBox box(QMessageBox::Critical, QApplication::applicationDisplayName(), trouble.text,
                  QMessageBox::Ok, parent);
  QStringList said;
  for (const QString& part : {trouble.detail, trouble.file, trouble.advice})
    if (!part.isEmpty()) said.push_back(part);
  box.setTextFormat(Qt::PlainText);
  box.setInformativeText(said.join("\n\n"));
  box.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  // Under a modal one the window could not be closed.
  box.setModal(false);
  QEventLoop seen;
  QObject::connect(&box, &QDialog::finished, &seen, &QEventLoop::quit);
  box.show();
  seen.exec();
}

}  // namespace nvimport
