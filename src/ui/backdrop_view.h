// The window's background: a dark green gradient with a faint frame line inside the edges.
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
