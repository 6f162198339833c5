// The second baseline of the launcher's window: what the toolkit takes for a window with two texts,
// a chooser and a button, as any application has them.
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>

int main(int argc, char **argv) {
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QWidget window;
  window.setFixedSize(540, 365);
  window.setWindowTitle(QStringLiteral("Tarvex"));
  const auto place = [&](QWidget *control, int top, int fontSize, QFont::Weight weight) {
    QFont font = control->font();
    font.setPixelSize(fontSize);
    font.setWeight(weight);
    control->setFont(font);
    control->setGeometry(100, top, 300, 34);
  };
  place(new QLabel(QStringLiteral("Tarvex"), &window), 10, 31, QFont::DemiBold);
  place(new QLabel(QStringLiteral("Ready to play"), &window), 60, 16, QFont::Medium);
  auto *const chooser = new QComboBox(&window);
  chooser->addItem(QStringLiteral("Aurora Reach"));
  place(chooser, 110, 13, QFont::Normal);
  place(new QPushButton(QStringLiteral("Play"), &window), 200, 15, QFont::DemiBold);
  window.move(window.screen()->availableGeometry().center() - window.rect().center());
  window.show();
  return QApplication::exec();
}
