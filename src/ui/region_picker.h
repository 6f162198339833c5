// The combo box for the region. The list opens by click, Space, F4, Up or Down. Choosing an entry,
// also the current one, emits QComboBox::activated. The mouse wheel, and keys that change the entry
// of a closed combo box, have no effect. Changes by the program emit no signal. Main thread.
#pragma once

#include <QComboBox>

namespace tarvex {

class RegionPicker : public QComboBox {
 public:
  // The font has the desktop's size, or a smaller one if the control would become too high for the
  // window.
  using QComboBox::QComboBox;

  // The name may be any text; a long one is shortened for display.
  void addRegion(const QString &name);
  QString currentName() const { return currentData().toString(); }  // whole

  QSize sizeHint() const override;
  void showPopup() override;

 protected:
  bool event(QEvent *event) override;
  void keyPressEvent(QKeyEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void wheelEvent(QWheelEvent *event) override;

 private:
  int heightWith(const QFont &font) const;
  void limitFont();
};

}  // namespace tarvex
