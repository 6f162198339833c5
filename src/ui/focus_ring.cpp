#include "ui/focus_ring.h"

#include <QEvent>
#include <QFocusEvent>
#include <QPainter>

#include "ui/palette.h"

namespace tarvex {
namespace {

// Device-independent pixels.
constexpr int distance = 4;
constexpr double lineWidth = 2;
constexpr double cornerRadius = 11;

}  // namespace

FocusRing::FocusRing(QWidget *parent) : QWidget(parent) {
  setAttribute(Qt::WA_TransparentForMouseEvents);  // clicks go to the control below
  hide();
  for (QWidget *const control :
       parent->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
    if ((control->focusPolicy() & Qt::TabFocus) != 0) {
      control->installEventFilter(this);
    }
  }
}

bool FocusRing::eventFilter(QObject *watched, QEvent *event) {
  switch (event->type()) {
    case QEvent::FocusIn:
      noteReason(static_cast<const QFocusEvent *>(event)->reason());
      follow();
      break;
    case QEvent::FocusOut:
    case QEvent::EnabledChange:
    case QEvent::Move:
    case QEvent::Resize:
      follow();
      break;
    default:
      break;
  }
  return QWidget::eventFilter(watched, event);
}

// For any other reason, for instance when an enabled control gets the focus back, the player goes
// on with the keyboard or the mouse as before. Qt's WA_KeyboardFocusChange does not tell that on Qt
// 6.11: each setFocus() of the program resets it.
void FocusRing::noteReason(Qt::FocusReason reason) {
  if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
      reason == Qt::ShortcutFocusReason) {
    m_keyMovesFocus = true;
  } else if (reason == Qt::MouseFocusReason) {
    m_keyMovesFocus = false;
  }
}

void FocusRing::follow() {
  const QWidget *const control = window()->focusWidget();
  const bool shows = control != nullptr && control->hasFocus() &&
                     control->parentWidget() == parentWidget() &&
                     (control->focusPolicy() & Qt::TabFocus) != 0 && m_keyMovesFocus;
  if (shows) {
    setGeometry(control->contentsRect()
                    .translated(control->pos())
                    .adjusted(-distance, -distance, distance, distance));
    raise();  // above controls that came later
  }
  setVisible(shows);
}

void FocusRing::paintEvent(QPaintEvent * /*event*/) {
  constexpr double inside = lineWidth / 2;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(parchment, lineWidth));
  painter.drawRoundedRect(QRectF(rect()).adjusted(inside, inside, -inside, -inside), cornerRadius,
                          cornerRadius);
}

}  // namespace tarvex
