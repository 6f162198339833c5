// The application's menu with its only entry: "Quit Tarvex Launcher", Ctrl+Q. Main thread.
#pragma once

#include <QMenu>

namespace tarvex {

class Application;

class MainMenu {
 public:
  // The entry calls terminate() of the application, which must outlive the menu.
  explicit MainMenu(Application &application);

  // There is no menu bar; the window and the status icon open this as their context menu.
  QMenu &submenu() { return m_submenu; }

 private:
  QMenu m_submenu;
};

}  // namespace tarvex
