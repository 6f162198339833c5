#include "ui/title_bar.h"

#include <QAbstractButton>
#include <QEvent>
#include <QPainter>
#include <QPainterPath>

#include "ui/palette.h"

namespace tarvex {
namespace {

// Device-independent pixels.
constexpr int titleSize = 13;
constexpr qreal symbolSize = 10;
constexpr qreal symbolWidth = 1.5;

// The title and the symbols are dimmed while the window is inactive.
const QColor &inkOf(const QWidget &part) {
  return part.isActiveWindow() ? parchment : muted;
}

class TitleButton : public QAbstractButton {
 public:
  TitleButton(QWidget *bar, const QString &name, const QPainterPath &symbol)
      : QAbstractButton(bar), m_symbol(symbol) {
    setAccessibleName(name);
    setFocusPolicy(Qt::NoFocus);  // like the buttons of a desktop's title bar
    setAttribute(Qt::WA_Hover);
    resize(TitleBar::barHeight, TitleBar::barHeight);
  }

 protected:
  void paintEvent(QPaintEvent * /*event*/) override {
    constexpr double hovered = 0.08;
    constexpr double pressed = 0.16;
    QPainter painter(this);
    if (underMouse()) {
      painter.fillRect(rect(), withAlpha(parchment, isDown() ? pressed : hovered));
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(inkOf(*this), symbolWidth));
    painter.translate(QRectF(rect()).center());
    painter.drawPath(m_symbol);
  }

 private:
  QPainterPath m_symbol;  // around (0, 0)
};

QPainterPath lineFrom(QPointF from, QPointF to) {
  QPainterPath line(from);
  line.lineTo(to);
  return line;
}

}  // namespace

TitleBar::TitleBar(QWidget &window) : QWidget(&window) {
  constexpr qreal end = symbolSize / 2;
  QPainterPath cross = lineFrom({-end, -end}, {end, end});
  cross.addPath(lineFrom({-end, end}, {end, -end}));
  auto *const minimise =
      new TitleButton(this, QStringLiteral("Minimize"), lineFrom({-end, end}, {end, end}));
  auto *const close = new TitleButton(this, QStringLiteral("Close"), cross);
  connect(minimise, &QAbstractButton::clicked, &window, &QWidget::showMinimized);
  connect(close, &QAbstractButton::clicked, &window, &QWidget::close);
  m_minimise = minimise;
  m_close = close;
  QFont title = font();
  title.setPixelSize(titleSize);
  title.setWeight(QFont::Medium);
  setFont(title);
}

void TitleBar::changeEvent(QEvent *event) {
  if (event->type() == QEvent::ActivationChange) {
    update();
  }
}

void TitleBar::paintEvent(QPaintEvent * /*event*/) {
  QPainter painter(this);
  painter.fillRect(rect(), forest);
  painter.setPen(inkOf(*this));
  painter.drawText(rect(), Qt::AlignCenter, window()->windowTitle());
}

void TitleBar::resizeEvent(QResizeEvent * /*event*/) {
  m_close->move(width() - barHeight, 0);
  m_minimise->move(width() - 2 * barHeight, 0);
}

}  // namespace tarvex
