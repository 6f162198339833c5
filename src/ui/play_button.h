// The primary button: a gold rounded rectangle with a centred title. Main thread.
#pragma once

#include <QPushButton>

namespace tarvex {

class PlayButton : public QPushButton {
 public:
  explicit PlayButton(const QString &title, QWidget *parent = nullptr);

 protected:
  bool hitButton(const QPoint &position) const override;
  void paintEvent(QPaintEvent *event) override;
};

}  // namespace tarvex
