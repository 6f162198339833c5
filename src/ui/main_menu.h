// The application's menu: one submenu with one entry, "Quit Tarvex Launcher".
#pragma once

class QMenu;
class QMenuBar;
class QWidget;

namespace tarvex {

class Application;

// The menu bar of the whole application, which the desktops that have one show at the top of the
// screen; elsewhere it stays unseen, and its submenu and its key are what the window offers.
// Without a parent: the caller owns it. The entry asks the application, which must outlive the
// menu, to end.
QMenuBar *createMainMenu(Application &application);

// The one submenu.
QMenu *submenuOf(const QMenuBar &mainMenu);

// Makes the entry's key work in the window.
void addKeysOf(const QMenuBar &mainMenu, QWidget &window);

}  // namespace tarvex
