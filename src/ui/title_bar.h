// The window's title bar where the desktop draws none: it closes and minimises. The window itself
// is its handle, so presses beside the buttons go on to it.
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
