#include "ui/region_picker.h"

#include <QKeyEvent>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QWheelEvent>

#include "ui/label.h"

namespace tarvex {

void RegionPicker::addRegion(const QString &name) {
  addItem(name, name);
}

// Of the font alone: the width is given, and measuring the names would be dear before they are
// seen.
QSize RegionPicker::sizeHint() const {
  constexpr int aroundTheText = 4;
  QStyleOptionComboBox option;
  initStyleOption(&option);
  return style()->sizeFromContents(QStyle::CT_ComboBox, &option,
                                   {0, fontMetrics().height() + aroundTheText}, this);
}

void RegionPicker::showPopup() {
  constexpr int widest = 360;
  for (int index = 0; index < count(); ++index) {
    setItemText(index, fittedText(itemData(index).toString(), font(), widest, 1, Shortened::atEnd));
  }
  QComboBox::showPopup();
}

void RegionPicker::paintEvent(QPaintEvent * /*event*/) {
  QStylePainter painter(this);
  QStyleOptionComboBox option;
  initStyleOption(&option);
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  const QRect field =
      style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
  option.currentText = fittedText(currentName(), font(), field.width() - 2, 1, Shortened::atEnd);
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
