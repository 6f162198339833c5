// The baseline of the launcher's window: the same ten controls as Qt widgets, with the same places,
// fonts and colours, in as few lines as possible.
//
//   plain-window [LOG PROGRAM ARGUMENT...]
//
// PROGRAM is the updater. It starts before the window shows, and with each click on the button. Its
// output goes straight to LOG.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <QtWidgets>

namespace {

void startUpdater(char **words) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, words[0], O_WRONLY | O_APPEND | O_CREAT,
                                   0600);
  pid_t child = -1;
  ::posix_spawn(&child, words[1], &actions, nullptr, words + 1, environ);
}

template <typename Control>
Control *place(Control *control, const QRect &frame, int fontSize = 13,
               QFont::Weight weight = QFont::Normal, const QColor &colour = 0x9cab96) {
  QFont font = control->font();
  font.setPixelSize(fontSize);
  font.setWeight(weight);
  control->setFont(font);
  QPalette palette = control->palette();
  palette.setColor(control->foregroundRole(), colour);
  control->setPalette(palette);
  control->setGeometry(frame);
  return control;
}

}  // namespace

int main(int argc, char **argv) {
  ::signal(SIGCHLD, SIG_IGN);  // no zombies
  QApplication application(argc, argv);
  QApplication::setStyle("Fusion");
  const QColor forest(0x0e1b15);
  const QColor parchment(0xe8e3c9);
  const QColor gold(0xd4a340);
  QPalette palette(0x273830, forest);
  palette.setColor(QPalette::Highlight, gold);
  QApplication::setPalette(palette);
  QWidget window;
  window.setFixedSize(540, 365);
  window.setWindowTitle("Tarvex");
  QLinearGradient gradient(0, 0, 0, 365);
  gradient.setColorAt(0, 0x162920);
  gradient.setColorAt(1, forest);
  palette.setBrush(QPalette::Window, gradient);
  window.setPalette(palette);

  const auto label = [&](const char *text, const auto &...look) {
    auto *const result = place(new QLabel(text, &window), look...);
    result->setAlignment(Qt::AlignCenter);
    return result;
  };
  label("Tarvex", QRect(213, 42, 115, 36), 31, QFont::DemiBold, parchment);
  label("CHOOSE YOUR ADVENTURE", QRect(194, 82, 153, 13), 11, QFont::Medium, gold);
  label("Region", QRect(152, 122, 45, 15), 13, QFont::Medium, parchment);
  place(new QComboBox(&window), {209, 117, 170, 24})->addItem("Aurora Reach");
  label("Checking for updates…", QRect(48, 162, 444, 19), 16, QFont::Medium, parchment);
  label("Connecting securely to Aurora Reach", QRect(48, 188, 444, 14), 12);
  place(new QProgressBar(&window), {120, 219, 300, 6})->setRange(0, 0);
  auto *const play = place(new QPushButton("Checking…", &window), {184, 242, 172, 42}, 15,
                           QFont::DemiBold, forest);
  palette = play->palette();
  palette.setColor(QPalette::Button, gold);
  play->setPalette(palette);
  place(new QPushButton("View Log", &window), {230, 291, 80, 14}, 11, QFont::Medium)->hide();
  label("Launcher 0123456789abcdef · Game not installed", QRect(145, 342, 250, 11), 10,
        QFont::Normal, QColor(0x9c, 0xab, 0x96, 0xb2))
      ->setTextInteractionFlags(Qt::TextSelectableByMouse);

  if (argc > 2) {
    QObject::connect(play, &QPushButton::clicked, [&] { startUpdater(argv + 1); });
    startUpdater(argv + 1);
  }
  window.setGeometry(
      {window.screen()->availableGeometry().center() - window.rect().center(), window.size()});
  window.show();
  return QApplication::exec();
}
