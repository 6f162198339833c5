#pragma once

class QWindow;

namespace tarvex {

// Asks the window manager for the dark variant of its decorations, where there is a way to ask
// (X11). Once the window has its native handle, and before it is shown.
void askForDarkTitleBar(const QWindow &window);

}  // namespace tarvex
