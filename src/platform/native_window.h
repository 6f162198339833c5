// Native windows and desktops, where Qt does not tell or know enough. Main thread.
#pragma once

class QColor;
class QWindow;

namespace tarvex {

struct StartupTokens;

// On X11, and nothing elsewhere: the X server fills undrawn areas of the window with the background
// colour, and the window manager is asked for the dark variant of its decorations
// (_GTK_THEME_VARIANT). Once the window has its native handle, and before it is shown.
void dressNativeWindow(const QWindow &window, const QColor &background);

// Has the window, which is shown or minimised, put before all others with the keyboard, on the
// strength of another start's tokens. On X11 that start's feedback (a busy pointer) ends as well.
// After EWMH's _NET_ACTIVE_WINDOW and the Startup Notification Protocol; after xdg-activation on
// Wayland. False: there is no way to ask, because of the compositor or for lack of a token.
bool bringToFront(QWindow &window, const StartupTokens &tokens);

// Whether the window has to draw a title bar itself: on a Wayland compositor that draws none. The
// one that Qt would draw there is turned off: it always has a button to maximise, and takes OpenGL
// into the process. Before the first window gets its native handle.
bool needsOwnTitleBar();

// Whether a status icon may find a place on this desktop, now or later.
bool mayHaveStatusArea();

}  // namespace tarvex
