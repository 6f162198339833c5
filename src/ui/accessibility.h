// The accessibility interfaces of the window's own controls, through Qt's bridge (AT-SPI). Labels
// and the region picker keep a given accessible name; their current content is their text. The
// progress bar has a value, and is busy while it is indeterminate. Main thread. Without an active
// assistive technology, the functions do nothing.
#pragma once

#include <QWidget>

namespace tarvex {

class Label;
class SelectableLabel;

// Reports that the label's text has changed from `before` to its current one.
void announceText(Label &label, const QString &before);

// Reports the label's cursor and selection.
void announceSelection(SelectableLabel &label);

// Call it before the window is shown. Further calls have no effect.
void installAccessibility();

}  // namespace tarvex
