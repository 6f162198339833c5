// The ring around the control with the keyboard focus. It is visible only after the player has
// moved the focus by keyboard. Main thread.
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
  void follow();
};

}  // namespace tarvex
