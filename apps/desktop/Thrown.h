#pragma once

#include <QObject>
#include <QString>
#include <exception>
#include <new>

#include "apps/desktop/SheetText.h"

// What `operation` throws, if it does.
template <typename Operation>
QString Thrown(const Operation& operation) {
  try {
    operation();
    return {};
  } catch (const std::bad_alloc&) {
    return QObject::tr("There is not enough memory for this file.");
  } catch (const std::exception& exception) {
    return FromBytes(exception.what());
  }
}
