#include "ui/focus_ring.h"

#include <QEvent>
#include <QPainter>
#include <utility>

#include "ui/palette.h"

namespace tarvex {
namespace {

constexpr int distance = 4;
constexpr double lineWidth = 2;
constexpr double cornerRadius = 11;

}  // namespace

FocusRing::FocusRing(QWidget *parent) : QWidget(parent) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  hide();
  for (QWidget *const control :
       parent->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
    if ((control->focusPolicy() & Qt::TabFocus) != 0) {
      control->installEventFilter(this);
    }
  }
}

bool FocusRing::eventFilter(QObject *watched, QEvent *event) {
  auto *const control = static_cast<QWidget *>(watched);
  switch (event->type()) {
    case QEvent::FocusOut:
      m_isHandedOn = !control->isEnabled();
      if (m_isHandedOn && m_disabledWithFocus == nullptr) {
        m_disabledWithFocus = control;
      }
      follow();
      break;
    case QEvent::EnabledChange:
      if (control->isEnabled() && control == m_disabledWithFocus && nobodyHasFocus()) {
        m_isHandedOn = false;
        control->setFocus();
      }
      follow();
      break;
    case QEvent::FocusIn:
      if (std::exchange(m_isHandedOn, false)) {
        window()->setFocus();  // the player has not chosen this control
      } else {
        m_disabledWithFocus = nullptr;
      }
      follow();
      break;
    case QEvent::Move:
    case QEvent::Resize:
      follow();
      break;
    default:
      break;
  }
  return QWidget::eventFilter(watched, event);
}

bool FocusRing::nobodyHasFocus() const {
  const QWidget *const focused = window()->focusWidget();
  return focused == nullptr || focused == window();
}

void FocusRing::follow() {
  const QWidget *const control = window()->focusWidget();
  const bool shows = control != nullptr && control->hasFocus() &&
                     control->parentWidget() == parentWidget() &&
                     (control->focusPolicy() & Qt::TabFocus) != 0 &&
                     window()->testAttribute(Qt::WA_KeyboardFocusChange);
  if (shows) {
    setGeometry(control->contentsRect()
                    .translated(control->pos())
                    .adjusted(-distance, -distance, distance, distance));
    raise();
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
