// The window's background: a dark green gradient with a faint frame inside the edges. Main thread.
#pragma once

#include <QWidget>

namespace tarvex {

class BackdropView : public QWidget {
 public:
  using QWidget::QWidget;

 protected:
  void paintEvent(QPaintEvent *event) override;
};

}  // namespace tarvex
