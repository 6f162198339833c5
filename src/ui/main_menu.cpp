#include "ui/main_menu.h"

#include <QAction>
#include <QKeySequence>

#include "platform/application.h"

namespace tarvex {

MainMenu::MainMenu(Application &application) {
  m_submenu.addAction(quitTitle(), QKeySequence(Qt::CTRL | Qt::Key_Q), &application,
                      &Application::terminate);
}

}  // namespace tarvex
