// A small button without a frame: only its title, underlined under the pointer. Main thread.
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
