// The ring around the control with the keyboard focus. It is visible only if a key, and not the
// mouse, was the last to move the focus. Main thread.
#pragma once

#include <QWidget>

namespace tarvex {

class FocusRing : public QWidget {
 public:
  // For all children of the parent that take the focus by Tab. Construct the ring after them.
  explicit FocusRing(QWidget *parent);

 protected:
  bool eventFilter(QObject *watched, QEvent *event) override;
  void paintEvent(QPaintEvent *event) override;

 private:
  void noteReason(Qt::FocusReason reason);
  void follow();

  bool m_keyMovesFocus = false;
};

}  // namespace tarvex
