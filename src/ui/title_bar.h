// The window's title bar, for desktops that draw none. It has buttons to minimise and to close.
// Presses beside them go to the window, which can be dragged anywhere. Main thread.
#pragma once

#include <QWidget>

namespace tarvex {

class TitleBar : public QWidget {
 public:
  static constexpr int barHeight = 32;  // device-independent pixels

  explicit TitleBar(QWidget &window);

 protected:
  void changeEvent(QEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void resizeEvent(QResizeEvent *event) override;

 private:
  QWidget *m_minimise;
  QWidget *m_close;
};

}  // namespace tarvex
