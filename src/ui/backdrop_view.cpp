#include "ui/backdrop_view.h"

#include <QLinearGradient>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "ui/palette.h"

namespace tarvex {
namespace {

// Device-independent pixels.
constexpr double frameInset = 18;
constexpr double frameRadius = 16;
constexpr double frameWidth = 1;
constexpr double frameAlpha = 0.055;

}  // namespace

void BackdropView::paintEvent(QPaintEvent * /*event*/) {
  // The line is aligned to device pixels. Otherwise such a thin and faint line would be blurred.
  const double ratio = devicePixelRatioF();
  const double line = std::max(std::round(frameWidth * ratio), 1.0);
  const double edge = std::round(frameInset * ratio - line / 2) + line / 2;
  const QSizeF pixels(std::round(width() * ratio), std::round(height() * ratio));
  const QRectF frame(edge, edge, pixels.width() - 2 * edge, pixels.height() - 2 * edge);
  QLinearGradient gradient(0, 0, 0, height() * ratio);
  gradient.setColorAt(0, forestLight);
  gradient.setColorAt(1, forest);

  QPainter painter(this);
  painter.scale(1 / ratio, 1 / ratio);
  painter.setPen(QPen(withAlpha(Qt::white, frameAlpha), line));
  painter.fillRect(QRectF({0, 0}, pixels), gradient);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.drawRoundedRect(frame, frameRadius * ratio, frameRadius * ratio);
}

}  // namespace tarvex
