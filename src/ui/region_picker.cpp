#include "ui/region_picker.h"

#include <QKeyEvent>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QWheelEvent>

#include "ui/label.h"

namespace tarvex {
namespace {

// Qt writes the texts of a combo box and its list in the direction of the window. U+2067 and U+2069
// (UAX #9) isolate a right-to-left name, so that the ellipsis is at the name's own end.
QString shown(const QString &name, const QFont &font, int width) {
  const QString fitted = fittedText(name, font, width, 1, Shortened::atEnd);
  return directionOf(name) == Qt::RightToLeft ? u'\u2067' + fitted + u'\u2069' : fitted;
}

}  // namespace

void RegionPicker::addRegion(const QString &name) {
  addItem(name, name);
}

// The layout gives the width. Measuring all names would only load fonts before they are needed.
QSize RegionPicker::sizeHint() const {
  ensurePolished();
  return {0, heightWith(font())};
}

int RegionPicker::heightWith(const QFont &font) const {
  constexpr int aroundTheText = 4;
  QStyleOptionComboBox option;
  initStyleOption(&option);
  return style()
      ->sizeFromContents(QStyle::CT_ComboBox, &option,
                         {0, QFontMetrics(font).height() + aroundTheText}, this)
      .height();
}

void RegionPicker::limitFont() {
  constexpr int tallest = 30;  // device-independent pixels
  QFont limited = font();
  while (heightWith(limited) > tallest) {
    limited.setPixelSize(QFontInfo(limited).pixelSize() - 1);
  }
  setFont(limited);
}

// Limits the font as late as possible: loading it takes time.
bool RegionPicker::event(QEvent *event) {
  const bool result = QComboBox::event(event);
  if (event->type() == QEvent::Polish || event->type() == QEvent::FontChange) {
    limitFont();
  }
  return result;
}

void RegionPicker::showPopup() {
  constexpr int widest = 360;
  for (int index = 0; index < count(); ++index) {
    setItemText(index, shown(itemData(index).toString(), font(), widest));
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
  option.currentText = shown(currentName(), font(), field.width() - 2);
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
      event->ignore();  // the window handles it: Return belongs to the primary button
  }
}

void RegionPicker::wheelEvent(QWheelEvent *event) {
  event->ignore();
}

}  // namespace tarvex
