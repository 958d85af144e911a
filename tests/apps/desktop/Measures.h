#pragma once

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <vector>

#include "apps/desktop/Contrast.h"

namespace nvimport {

// With the frame that a window manager gives it, which at times is known late and empty until then.
inline bool IsOnScreen(const QWidget& window) {
  const QRect frame = window.frameGeometry().united(window.geometry());
  return window.screen()->availableGeometry().contains(frame);
}

// What of a window can't be read as it is shown.
class Measures {
 public:
  Measures(const QWidget& window, QSize most) : window_(window) {
    if (!QRect({}, most).contains(QRect({}, window.size())))
      Fault(QStringLiteral("%1 x %2 is too large").arg(window.width()).arg(window.height()));
    if (!IsOnScreen(window) && window.windowFlags() & Qt::Window &&
        QGuiApplication::platformName() == "xcb")
      Fault("it reaches beyond the screen");
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
      if (!widget->isVisible() || widget->window() != &window) continue;
      MeasureText(*widget);
      MeasureColors(*widget);
    }
    for (const QWidget* one : texts_)
      for (const QWidget* other : texts_)
        if (one < other && !one->isAncestorOf(other) && !other->isAncestorOf(one) &&
            Place(*one).intersects(Place(*other)))
          Fault(QStringLiteral("%1 lies over %2")
                    .arg(one->metaObject()->className(), other->metaObject()->className()));
  }

  const QStringList& faults() const { return faults_; }

 private:
  void Fault(const QString& fault) { faults_.push_back(fault); }
  QRect Place(const QWidget& widget) const {
    return {widget.mapTo(&window_, QPoint()), widget.size()};
  }

  void MeasureText(const QWidget& widget) {
    const auto* const label = qobject_cast<const QLabel*>(&widget);
    const auto* const button = qobject_cast<const QAbstractButton*>(&widget);
    const QString text = label != nullptr    ? label->text()
                         : button != nullptr ? button->text()
                                             : QString();
    if (text.isEmpty()) return;
    texts_.push_back(&widget);
    const QSize needed = label != nullptr && label->wordWrap()
                             ? QSize(0, label->heightForWidth(label->width()))
                             : widget.minimumSizeHint();
    if (needed.width() > widget.width() || needed.height() > widget.height())
      Fault(text + " is cut");
  }

  // What disabled controls say need not be read.
  void MeasureColors(const QWidget& widget) {
    if (!widget.isEnabled()) return;
    using Roles = std::pair<QPalette::ColorRole, QPalette::ColorRole>;
    std::vector<Roles> pairs;
    const auto* const line = qobject_cast<const QLineEdit*>(&widget);
    if (line != nullptr || qobject_cast<const QAbstractSpinBox*>(&widget) != nullptr)
      pairs = {{QPalette::Text, QPalette::Base}, {QPalette::HighlightedText, QPalette::Highlight}};
    else if (qobject_cast<const QAbstractItemView*>(&widget) != nullptr)
      pairs = {{QPalette::Text, QPalette::Base},
               {QPalette::Text, QPalette::AlternateBase},
               {QPalette::HighlightedText, QPalette::Highlight}};
    else if (qobject_cast<const QComboBox*>(&widget) != nullptr ||
             qobject_cast<const QAbstractButton*>(&widget) != nullptr)
      pairs = {{QPalette::ButtonText, QPalette::Button}};
    else if (const auto* const label = qobject_cast<const QLabel*>(&widget))
      if (!label->text().isEmpty()) pairs = {{label->foregroundRole(), BackgroundOf(widget)}};
    if (const auto* const view = qobject_cast<const QAbstractItemView*>(&widget))
      MeasureCells(*view);
    if (line != nullptr && !line->placeholderText().isEmpty())
      pairs.emplace_back(QPalette::PlaceholderText, QPalette::Base);
    for (const auto group : {QPalette::Active, QPalette::Inactive})
      for (const auto& [text, ground] : pairs) {
        const QColor behind = widget.palette().color(group, ground);
        const double contrast = Contrast(Over(widget.palette().color(group, text), behind), behind);
        if (contrast < kTextContrast)
          Fault(QStringLiteral("the contrast of %1 (role %2 on %3) is %4")
                    .arg(widget.metaObject()->className())
                    .arg(int{text})
                    .arg(int{ground})
                    .arg(contrast, 0, 'f', 1));
      }
  }

  // Those that have a colour of their own.
  void MeasureCells(const QAbstractItemView& view) {
    constexpr int kMost = 8;
    const QAbstractItemModel* const model = view.model();
    for (int row = 0; model != nullptr && row < std::min(model->rowCount(), kMost); ++row)
      for (int column = 0; column < std::min(model->columnCount(), kMost); ++column)
        if (const QVariant color = model->index(row, column).data(Qt::ForegroundRole);
            color.isValid() && Contrast(qvariant_cast<QBrush>(color).color(),
                                        view.palette().color(QPalette::Base)) < kTextContrast)
          return Fault(QStringLiteral("cells of %1 are pale").arg(view.metaObject()->className()));
  }

  static QPalette::ColorRole BackgroundOf(const QWidget& widget) {
    const QWidget* ground = &widget;
    while (!ground->autoFillBackground() && !ground->isWindow()) ground = ground->parentWidget();
    return ground->backgroundRole();
  }

  const QWidget& window_;
  std::vector<const QWidget*> texts_;
  QStringList faults_;
};

}  // namespace nvimport
