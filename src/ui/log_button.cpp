#include "ui/log_button.h"

#include <QPainter>

#include "ui/label.h"
#include "ui/palette.h"

namespace tarvex {
namespace {

constexpr int sideMargin = 8;  // a little more to aim at than the letters

}  // namespace

LogButton::LogButton(const QString &title, QWidget *parent) : QPushButton(title, parent) {
  setAttribute(Qt::WA_Hover);
}

QSize LogButton::sizeHint() const {
  return {fontMetrics().horizontalAdvance(text()) + 2 * sideMargin, lineHeight(font())};
}

void LogButton::paintEvent(QPaintEvent * /*event*/) {
  QPainter painter(this);
  QFont shown = font();
  shown.setUnderline(underMouse());
  painter.setFont(shown);
  painter.setPen(isDown() ? parchment : palette().color(QPalette::ButtonText));
  painter.drawText(rect(), Qt::AlignCenter | Qt::TextDontClip | Qt::TextSingleLine, text());
}

}  // namespace tarvex
