// The baseline of the launcher's window: what the toolkit takes for a window with nothing in it. A
// click starts the updater's interpreter, with nothing to do, in the shortest way there is.
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <QApplication>
#include <QScreen>
#include <QWidget>

namespace {

class EmptyWindow : public QWidget {
 protected:
  void mouseReleaseEvent(QMouseEvent * /*event*/) override {
    char program[] = "/usr/bin/python3";
    char option[] = "-c";
    char nothing[] = "import time; time.sleep(0.1)";
    char *arguments[] = {program, option, nothing, nullptr};
    pid_t child = -1;
    ::posix_spawn(&child, program, nullptr, nullptr, arguments, environ);
  }
};

}  // namespace

int main(int argc, char **argv) {
  ::signal(SIGCHLD, SIG_IGN);  // no zombies
  QApplication application(argc, argv);
  EmptyWindow window;
  window.setFixedSize(540, 365);
  window.setWindowTitle(QStringLiteral("Tarvex"));
  window.move(window.screen()->availableGeometry().center() - window.rect().center());
  window.show();
  return QApplication::exec();
}
