// The baseline of the launcher's start: what the toolkit takes for a window with nothing in it.
#include <QApplication>
#include <QScreen>
#include <QWidget>

int main(int argc, char **argv) {
  QApplication application(argc, argv);
  QWidget window;
  window.setFixedSize(540, 365);
  window.setWindowTitle(QStringLiteral("Tarvex"));
  window.move(window.screen()->availableGeometry().center() - window.rect().center());
  window.show();
  return QApplication::exec();
}
