#pragma once

#include <QString>
#include <QWidget>

namespace nvimport {

// What went wrong.
struct Trouble {
  QString text;    // what is said
  QString detail;  // what the reader says of it
  QString file;    // where
  QString advice;  // what can be done
};

// Returns once the user has seen it, or closed the window.
void ShowTrouble(QWidget* parent, const Trouble& trouble);

}  // namespace nvimport
