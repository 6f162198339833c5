#include "ui/log_button.h"

#include <QPainter>

#include "ui/label.h"
#include "ui/palette.h"

namespace tarvex {
namespace {

// Device-independent pixels. They make the button easier to hit, and leave room for letters that
// reach beyond their line.
constexpr int sideMargin = 8;
constexpr int margin = 2;

}  // namespace

LogButton::LogButton(const QString &title, QWidget *parent) : QPushButton(title, parent) {
  setAttribute(Qt::WA_Hover);  // repaints when the pointer enters or leaves
}

QSize LogButton::sizeHint() const {
  return {fontMetrics().horizontalAdvance(text()) + 2 * sideMargin,
          lineBox(font()).height + 2 * margin};
}

void LogButton::paintEvent(QPaintEvent * /*event*/) {
  QPainter painter(this);
  QFont shown = font();
  shown.setUnderline(underMouse());
  painter.setFont(shown);
  painter.setPen(isDown() ? parchment : palette().color(QPalette::ButtonText));
  painter.drawText(QPointF(sideMargin, margin + lineBox(font()).baseline), text());
}

}  // namespace tarvex
