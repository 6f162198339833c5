// What the window's own controls tell assistive technology, through Qt's bridge (AT-SPI,
// NSAccessibility). Labels and the region chooser keep their given names; what they show at the
// moment is their text. The progress bar has a value, and is busy while it is indeterminate.
#pragma once

#include <QWidget>

namespace tarvex {

class Label;
class SelectableLabel;

// Tells that the label's text has changed, from `before`.
void announceText(Label &label, const QString &before);

// Tells that the cursor has moved, and what is selected now.
void announceSelection(SelectableLabel &label);

void installAccessibility();  // once is enough; more does no harm

}  // namespace tarvex
