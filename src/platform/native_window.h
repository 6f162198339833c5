// Native windows and desktops, for the parts that Qt does not cover. X11 (EWMH, Startup
// Notification Protocol) and Wayland (xdg-activation, xdg-decoration). Main thread; nothing here
// keeps the window.
#pragma once

class QColor;
class QWindow;

namespace tarvex {

struct StartupTokens;

// X11 only: makes the X server fill undrawn areas of the window with the background colour, and
// asks the window manager for dark decorations (_GTK_THEME_VARIANT). Call it after the window has
// its native handle and before it is shown.
void dressNativeWindow(const QWindow &window, const QColor &background);

// Asks the desktop to raise a shown or minimised window and to give it the keyboard, with the
// tokens of another start. X11: _NET_ACTIVE_WINDOW; also ends that start's feedback (a busy
// pointer). Wayland: xdg-activation. False: the request could not be made, because there is no
// token or the compositor does not support tokens.
bool bringToFront(QWindow &window, const StartupTokens &tokens);

// Whether the window must draw its own title bar, because the Wayland compositor draws none. Also
// turns off Qt's title bar, which always offers to maximise and loads OpenGL. Call it before the
// first window gets its native handle.
bool needsOwnTitleBar();

// Whether this desktop has, or may get, a place for status icons.
bool mayHaveStatusArea();

}  // namespace tarvex
