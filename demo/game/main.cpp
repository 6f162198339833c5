// A very small game: a real program for the launcher to install, to start and to wait for.
//
//   tarvex-game [--seconds N] [--fail] [anything else, which is ignored]
//
// It ends with status 0 when five fireflies have been caught, when its window is closed, or after N
// seconds. With --fail it ends with status 3 before it has shown a window.

#include <QApplication>
#include <QColor>
#include <QFont>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPointF>
#include <QRadialGradient>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <cstdio>

namespace {

using namespace std::chrono_literals;

constexpr QColor forest(14, 27, 21);
constexpr QColor parchment(232, 227, 201);
constexpr QColor gold(212, 163, 64);

constexpr int failureStatus = 3;
constexpr int firefliesToCatch = 5;
constexpr auto jumpInterval = 1200ms;
constexpr auto farewellTime = 1500ms;

class FireflyGame final : public QWidget {
 public:
  FireflyGame() {
    setWindowTitle(QStringLiteral("Tarvex"));
    setFixedSize(640, 400);
    m_jumps.callOnTimeout(this, [this] { jump(); });
    m_jumps.start(jumpInterval);
    jump();
  }

 protected:
  void mousePressEvent(QMouseEvent *event) override {
    const QPointF distance = event->position() - m_firefly;
    if (isWon() || QPointF::dotProduct(distance, distance) > glowRadius * glowRadius) {
      return;
    }
    ++m_caught;
    if (isWon()) {
      m_jumps.stop();
      QTimer::singleShot(farewellTime, this, &QWidget::close);
      update();
    } else {
      m_jumps.start(jumpInterval);
      jump();
    }
  }

  void paintEvent(QPaintEvent * /*event*/) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), forest);
    if (!isWon()) {
      QRadialGradient glow(m_firefly, glowRadius);
      glow.setColorAt(0.0, parchment);
      glow.setColorAt(0.25, gold);
      glow.setColorAt(1.0, Qt::transparent);
      painter.fillRect(rect(), glow);
    }
    QFont words = font();
    words.setPixelSize(20);
    painter.setFont(words);
    painter.setPen(parchment);
    painter.drawText(rect().adjusted(0, 0, 0, -20), Qt::AlignHCenter | Qt::AlignBottom, message());
  }

 private:
  static constexpr int glowRadius = 36;
  static constexpr int lineHeight = 50;

  bool isWon() const { return m_caught == firefliesToCatch; }

  QString message() const {
    if (isWon()) {
      return QStringLiteral("All five are caught. Farewell!");
    }
    return QStringLiteral("Catch the firefly: %1 of %2").arg(m_caught).arg(firefliesToCatch);
  }

  // Jumps to a random place where the glow is within the window and above the line of text.
  void jump() {
    auto *random = QRandomGenerator::global();
    m_firefly = QPointF(random->bounded(glowRadius, width() - glowRadius),
                        random->bounded(glowRadius, height() - lineHeight - glowRadius));
    update();
  }

  QTimer m_jumps;
  QPointF m_firefly;
  int m_caught = 0;
};

// Escapes the arguments, so that they are one line in the launcher's log.
void printArguments(const QStringList &arguments) {
  QStringList quoted;
  for (const QString &argument : arguments) {
    const QByteArray array = QJsonDocument(QJsonArray{argument}).toJson(QJsonDocument::Compact);
    quoted << QString::fromUtf8(array.sliced(1, array.size() - 2));  // without the brackets
  }
  const QString line =
      QStringLiteral("Game arguments: [%1]\n").arg(quoted.join(QStringLiteral(", ")));
  std::fputs(line.toUtf8().constData(), stdout);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
  // Before QApplication, which removes Qt's own options.
  QStringList arguments;
  for (int index = 1; index < argc; ++index) {
    arguments << QString::fromUtf8(argv[index]);
  }
  printArguments(arguments);
  if (arguments.contains(QStringLiteral("--fail"))) {
    return failureStatus;
  }

  const QApplication application(argc, argv);
  const auto option = arguments.indexOf(QStringLiteral("--seconds"));
  if (option >= 0) {
    bool isNumber = false;
    const int seconds = arguments.value(option + 1).toInt(&isNumber);
    if (isNumber) {
      QTimer::singleShot(std::chrono::seconds(seconds), &application, &QApplication::quit);
    }
  }
  FireflyGame game;
  game.show();
  return QApplication::exec();
}
