#include "ui/region_picker.h"

#include <QKeyEvent>
#include <QWheelEvent>

namespace tarvex {

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
