// A small button without a frame: its title alone, underlined while the pointer is on it.
#pragma once

#include <QPushButton>

namespace tarvex {

class LogButton : public QPushButton {
 public:
  explicit LogButton(const QString &title, QWidget *parent = nullptr);

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent *event) override;
};

}  // namespace tarvex
