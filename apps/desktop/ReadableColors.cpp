#include "apps/desktop/ReadableColors.h"

#include <QApplication>
#include <QEvent>
#include <algorithm>

#include "apps/desktop/Contrast.h"

namespace nvimport {

namespace {

constexpr int kMostSteps = 40;

// Away from a colour that is in front of it.
QColor Behind(QColor ground, const QColor& text) {
  constexpr int kStep = 106;  // percent
  const bool is_dark = Luminance(ground) < Luminance(text);
  for (int i = 0; i < kMostSteps && Contrast(text, ground) < kTextContrast; ++i)
    ground = is_dark ? ground.darker(kStep) : ground.lighter(kStep);
  return ground;
}

// As pale as it may be.
QColor Pale(QColor text, const QColor& ground) {
  constexpr float kStep = 1.0F / kMostSteps;
  for (int i = 0; i < kMostSteps && Contrast(Over(text, ground), ground) < kTextContrast; ++i)
    text.setAlphaF(std::min(text.alphaF() + kStep, 1.0F));
  return text;
}

}  // namespace

QPalette Readable(QPalette palette) {
  for (const auto group : {QPalette::Active, QPalette::Inactive}) {
    const auto mend = [&](QPalette::ColorRole role, const QColor& color) {
      if (color != palette.color(group, role)) palette.setColor(group, role, color);
    };
    const auto of = [&](QPalette::ColorRole role) { return palette.color(group, role); };
    mend(QPalette::Highlight, Behind(of(QPalette::Highlight), of(QPalette::HighlightedText)));
    mend(QPalette::PlaceholderText, Pale(of(QPalette::PlaceholderText), of(QPalette::Base)));
  }
  return palette;
}

ReadableColors::ReadableColors(QObject& application) : QObject(&application) {
  application.installEventFilter(this);
  QApplication::setPalette(Readable(QApplication::palette()));
}

bool ReadableColors::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parent() && event->type() == QEvent::ApplicationPaletteChange) {
    const QPalette readable = Readable(QApplication::palette());
    if (readable != QApplication::palette()) QApplication::setPalette(readable);
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace nvimport
