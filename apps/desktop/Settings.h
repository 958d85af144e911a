#pragma once

#include <QSettings>

namespace nvimport {

// What the window keeps from one run to the next.
inline QSettings Settings() {
  return {QSettings::IniFormat, QSettings::UserScope, "nvimport", "desktop"};
}

}  // namespace nvimport
