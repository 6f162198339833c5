// The launcher's colours, in sRGB, and Qt's style and palette for the controls that Qt draws. Main
// thread.
#pragma once

#include <QColor>

namespace tarvex {

// Each component from 0 to 1.
constexpr QRgb calibrated(double red, double green, double blue) {
  constexpr double full = 255;
  constexpr double half = 0.5;
  return qRgb(static_cast<int>(red * full + half), static_cast<int>(green * full + half),
              static_cast<int>(blue * full + half));
}

inline const QColor forest(calibrated(0.055, 0.105, 0.082));
inline const QColor forestLight(calibrated(0.085, 0.16, 0.125));
inline const QColor parchment(calibrated(0.91, 0.89, 0.79));
inline const QColor muted(calibrated(0.61, 0.67, 0.59));
inline const QColor gold(calibrated(0.83, 0.64, 0.25));

QColor withAlpha(QColor colour, double alpha);

// Mixes the colours: 0 gives `colour`, 1 gives `other`.
QColor blended(const QColor &colour, double fraction, const QColor &other);

// Gives menus, lists, tooltips and the region picker the launcher's colours with every desktop
// theme. Call it once, after the application object and before any control is made.
void styleQt();

}  // namespace tarvex
