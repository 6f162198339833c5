#include "ui/main_menu.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

#include "platform/application.h"

namespace tarvex {

QMenuBar *createMainMenu(Application &application) {
  auto *const bar = new QMenuBar;
  QMenu *const menu = bar->addMenu(QString());
  menu->addAction(quitTitle(), QKeySequence(Qt::CTRL | Qt::Key_Q), &application,
                  &Application::terminate);
  return bar;
}

QMenu *submenuOf(const QMenuBar &mainMenu) {
  return mainMenu.actions().front()->menu();
}

void addKeysOf(const QMenuBar &mainMenu, QWidget &window) {
  window.addActions(submenuOf(mainMenu)->actions());
}

}  // namespace tarvex
