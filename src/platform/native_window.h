// Native windows and desktops, where Qt does not tell or know enough. Main thread.
#pragma once

class QColor;
class QWindow;

namespace tarvex {

// On X11, and nothing elsewhere: the X server fills undrawn areas of the window with the background
// colour, and the window manager is asked for the dark variant of its decorations
// (_GTK_THEME_VARIANT). Once the window has its native handle, and before it is shown.
void dressNativeWindow(const QWindow &window, const QColor &background);

// Whether a status icon may find a place on this desktop, now or later.
bool mayHaveStatusArea();

}  // namespace tarvex
