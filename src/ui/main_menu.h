// The application's menu, with one entry: "Quit Tarvex Launcher", Ctrl+Q.
#pragma once

#include <QMenu>

namespace tarvex {

class Application;

class MainMenu {
 public:
  // The entry asks the application, which must outlive the menu, to end.
  explicit MainMenu(Application &application);

  // The one submenu. There is no menu bar: the window and the status icon offer it.
  QMenu &submenu() { return m_submenu; }

 private:
  QMenu m_submenu;
};

}  // namespace tarvex
