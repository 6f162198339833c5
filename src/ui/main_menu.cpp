#include "ui/main_menu.h"

#include <QAction>
#include <QKeySequence>
#include <QMenuBar>

#include "platform/application.h"

namespace tarvex {

MainMenu::MainMenu(Application &application) {
  m_submenu.addAction(quitTitle(), QKeySequence(Qt::CTRL | Qt::Key_Q), &application,
                      &Application::terminate);
  if (QGuiApplication::platformName() == u"cocoa") {
    m_bar = std::make_unique<QMenuBar>();
    m_bar->addMenu(&m_submenu);
  }
}

MainMenu::~MainMenu() = default;

}  // namespace tarvex
