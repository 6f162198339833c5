#include "ui/region_picker.h"

#include <QKeyEvent>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QWheelEvent>

#include "ui/label.h"

namespace tarvex {

void RegionPicker::addRegion(const QString &name) {
  constexpr int widest = 360;
  addItem(fittedText(name, font(), widest, 1, Shortened::atEnd), name);
}

void RegionPicker::paintEvent(QPaintEvent * /*event*/) {
  QStylePainter painter(this);
  QStyleOptionComboBox option;
  initStyleOption(&option);
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  const QRect field =
      style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
  option.currentText =
      fittedText(option.currentText, font(), field.width() - 2, 1, Shortened::atEnd);
  painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

void RegionPicker::keyPressEvent(QKeyEvent *event) {
  switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_F4:
      showPopup();
      break;
    default:
      event->ignore();  // the window's: Return belongs to the primary button
  }
}

void RegionPicker::wheelEvent(QWheelEvent *event) {
  event->ignore();
}

}  // namespace tarvex
