// The application's menu, with one entry: "Quit Tarvex Launcher", Ctrl+Q (Command-Q on macOS).
#pragma once

#include <QMenu>
#include <memory>

class QMenuBar;

namespace tarvex {

class Application;

class MainMenu {
 public:
  // The entry asks the application, which must outlive the menu, to end.
  explicit MainMenu(Application &application);
  ~MainMenu();

  // The one submenu. Where the desktop has a place for an application's menu bar, it is there; in
  // any case the window and the status icon offer it.
  QMenu &submenu() { return m_submenu; }

 private:
  QMenu m_submenu;
  std::unique_ptr<QMenuBar> m_bar;
};

}  // namespace tarvex
