// The list of regions to choose from. It acts on a choice only: the list opens by click, Space or
// an arrow key, and what is chosen there counts, also when it was chosen before. The mouse wheel
// and the keys that step through a closed combo box do nothing here.
//
// The signal of a choice is QComboBox::activated; filling and setting it from the program is
// silent.
#pragma once

#include <QComboBox>

namespace tarvex {

class RegionPicker : public QComboBox {
 public:
  // Its height and its letters are those of the desktop's font, up to the room that the window has.
  using QComboBox::QComboBox;

  // The name may be any text; what does not fit into the list is shortened for display.
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
