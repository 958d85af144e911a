#pragma once

#include <QColor>
#include <algorithm>
#include <cmath>

namespace nvimport {

// How light a colour is seen, from 0 to 1 (the relative luminance of sRGB).
inline double Luminance(const QColor& color) {
  const auto linear = [](float part) {
    const auto value = static_cast<double>(part);
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
         0.0722 * linear(color.blueF());
}

// From 1, for the same, to 21.
inline double Contrast(const QColor& one, const QColor& other) {
  const auto [dark, light] = std::minmax({Luminance(one), Luminance(other)});
  return (light + 0.05) / (dark + 0.05);
}

// A colour that lets some of what is behind it through.
inline QColor Over(const QColor& color, const QColor& behind) {
  const float part = color.alphaF();
  return QColor::fromRgbF(color.redF() * part + behind.redF() * (1 - part),
                          color.greenF() * part + behind.greenF() * (1 - part),
                          color.blueF() * part + behind.blueF() * (1 - part));
}

// What texts, and what lines need to be seen by everybody.
inline constexpr double kTextContrast = 4.5;
inline constexpr double kLineContrast = 3;

}  // namespace nvimport
