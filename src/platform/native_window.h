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

// Puts the window, which is shown or minimised, before all others and gives it the keyboard, on the
// strength of another start's tokens. On X11 that start's feedback (a busy pointer) ends as well.
// After EWMH's _NET_ACTIVE_WINDOW and the Startup Notification Protocol, and after xdg-activation
// on Wayland, whose compositors may only draw attention to the window when there is no token.
void bringToFront(QWindow &window, const StartupTokens &tokens);

// Whether a status icon may find a place on this desktop, now or later.
bool mayHaveStatusArea();

}  // namespace tarvex
