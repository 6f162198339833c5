#include "ui/play_button.h"

#include <QPainter>

#include "ui/palette.h"

namespace tarvex {
namespace {

// Device-independent pixels.
constexpr double cornerRadius = 8;
constexpr double inset = 1;
constexpr double pressedShade = 0.18;
constexpr double disabledTitleAlpha = 0.6;

}  // namespace

PlayButton::PlayButton(const QString &title, QWidget *parent) : QPushButton(title, parent) {}

// Clicks count on the whole rectangle. The shape from Qt's style could be smaller.
bool PlayButton::hitButton(const QPoint &position) const {
  return rect().contains(position);
}

void PlayButton::paintEvent(QPaintEvent * /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);

  // The layer behind. While the button is pressed, it is visible as a rim of plain gold.
  const QRectF bounds = rect();
  painter.setBrush(gold);
  painter.drawRoundedRect(bounds, cornerRadius, cornerRadius);

  painter.setBrush(isDown() ? blended(gold, pressedShade, Qt::black) : gold);
  painter.drawRoundedRect(bounds.adjusted(inset, inset, -inset, -inset), cornerRadius,
                          cornerRadius);

  painter.setPen(isEnabled() ? forest : withAlpha(forest, disabledTitleAlpha));
  painter.setFont(font());
  painter.drawText(bounds, Qt::AlignCenter | Qt::TextSingleLine, text());
}

}  // namespace tarvex
