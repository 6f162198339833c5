// Native windows and desktops, for the parts that Qt does not cover. X11 (EWMH, Startup
// Notification Protocol) and Wayland (xdg-activation, xdg-decoration). Main thread; nothing here
// keeps the window.
#pragma once

class QColor;
class QWindow;

namespace tarvex {

struct StartupTokens;

// X11 only: the X server fills undrawn areas of the window with the background colour, and the
// window manager is asked for dark decorations (_GTK_THEME_VARIANT). Call it once the window has
// its native handle, and before it is shown.
void dressNativeWindow(const QWindow &window, const QColor &background);

// Asks the desktop to raise the window, which is shown or minimised, and to give it the keyboard.
// The tokens are those of another start. X11: _NET_ACTIVE_WINDOW; the start's feedback (a busy
// pointer) ends, too. Wayland: xdg-activation. False: the request could not be made, because there
// is no token or the compositor knows none.
bool bringToFront(QWindow &window, const StartupTokens &tokens);

// Whether the window must draw its own title bar: on a Wayland compositor that draws none. Also
// turns off the one that Qt would draw there, which always offers to maximise and loads OpenGL.
// Call it before the first window gets its native handle.
bool needsOwnTitleBar();

// Whether this desktop has, or may get, a place for status icons.
bool mayHaveStatusArea();

}  // namespace tarvex
