#pragma once

class QColor;
class QWindow;

namespace tarvex {

// What the toolkit does not tell the display and its window manager; on X11, and nothing elsewhere.
// The display fills with the background whatever of the window nobody has drawn yet, be it that the
// window has just appeared. The window manager is asked for the dark variant of its decorations.
// Once the window has its native handle, and before it is shown.
void dressNativeWindow(const QWindow &window, const QColor &background);

}  // namespace tarvex
