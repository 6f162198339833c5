// The ring around the control that has the keyboard focus, once the player has used the keyboard to
// give it.
#pragma once

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
  void follow();
};

}  // namespace tarvex
