// The launcher's own colours, in sRGB, and the dress of what Qt draws by itself.
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

// A share `fraction` of the other colour, the rest of this one.
QColor blended(const QColor &colour, double fraction, const QColor &other);

// Makes menus, lists, tooltips and the region chooser look at home in the window, whatever the
// desktop's theme is. Once, after the application object is there and before any control is.
void dressToolkit();

}  // namespace tarvex
