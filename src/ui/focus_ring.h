// The ring around the control that has the keyboard focus, once the player has used the keyboard to
// give it; also, the focus's way back to a control that lost it by being disabled for a while.
#pragma once

#include <QPointer>
#include <QWidget>

namespace tarvex {

class FocusRing : public QWidget {
 public:
  // The controls that it serves are the parent's children with a tab focus, all there by now.
  explicit FocusRing(QWidget *parent);

 protected:
  bool eventFilter(QObject *watched, QEvent *event) override;
  void paintEvent(QPaintEvent *event) override;

 private:
  bool nobodyHasFocus() const;
  void follow();

  QPointer<QWidget> m_disabledWithFocus;
  bool m_isHandedOn = false;  // by Qt, from a control that is disabled to the next
};

}  // namespace tarvex
