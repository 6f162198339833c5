#include <QAccessible>
#include <QSignalSpy>
#include <QTest>

#include "test_application.h"
#include "ui/log_button.h"
#include "ui/main_menu.h"
#include "ui/main_window.h"
#include "ui/palette.h"
#include "ui/play_button.h"
#include "ui/progress_indicator.h"
#include "ui/region_picker.h"

using namespace tarvex;

namespace {

QString told(const QRect &rect) {
  return QString("%1,%2 %3x%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

QFont fontOfSize(int pixels) {
  QFont font;
  font.setPixelSize(pixels);
  return font;
}

}  // namespace

class TestUi : public QObject, public WindowDelegate {
  Q_OBJECT

 public:
  bool windowShouldClose() override { return mayClose; }

 private slots:
  void initTestCase() { dressToolkit(); }

  void init() {
    menu = std::make_unique<MainMenu>(*static_cast<Application *>(qApp));
    controls = std::make_unique<Controls>();
    window = std::make_unique<MainWindow>(
        WindowControls{controls->picker, controls->status, controls->version, controls->progress,
                       controls->play, controls->log, controls->footer},
        *menu, *this);
    window->makeKeyAndOrderFront();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
  }
  void cleanup() {
    controls.reset();
    window.reset();
  }

  // Heights that do not depend on the font: the column can be computed by hand.
  void columnFollowsTheTable() {
    const auto frames = layOut([](Control control, std::optional<int> width) {
      return control == Control::version ? QSize(1, *width == 444 ? 30 : 0) : QSize(100, 20);
    });
    const QStringList expected{
        "220,42 100x20", "220,66 100x20",  "97,108 100x20",  "209,108 170x20", "48,149 444x20",
        "48,176 444x30", "120,223 300x20", "184,260 172x42", "220,309 100x20", "220,333 100x20"};
    QStringList found;
    for (const QRect &frame : frames) {
      found.append(told(frame));
    }
    QCOMPARE(found, expected);
  }

  void columnMakesRoomForASecondLine() {
    const int before = controls->play.y();
    controls->version.setText(QString("many words ").repeated(9));
    QTRY_COMPARE(controls->play.y(), before + lineHeight(controls->version.font()));
    controls->version.setText("few");
    QTRY_COMPARE(controls->play.y(), before);
    QCOMPARE(window->size(), QSize(540, 365));
    QCOMPARE(window->minimumSize(), window->maximumSize());
  }

  void longTextsAreShortened_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("inMiddle");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("fits") << "short" << 1 << true << "^short$";
    QTest::newRow("in the middle")
        << "begin " + QString(300, u'x') + " end" << 1 << true << "^begin x+…x* end$";
    QTest::newRow("at the end") << "begin " + QString(300, u'x') << 1 << false << "^begin x+…$";
    QTest::newRow("two lines") << "begin " + QString("word ").repeated(100) + "end" << 2 << true
                               << "^begin [word ]+\n?[word ]*…[word ]*\n?[word ]+end$";
    QTest::newRow("one word on two lines") << QString(60, u'w') << 2 << true << "^w+\nw+$";
    QTest::newRow("line ends are spaces") << "a\nb\r\u2028c" << 2 << true << "^a b  c$";
    QTest::newRow("whole characters") << QString("👨‍👩‍👧").repeated(200) << 1 << true
                                      << "^(👨‍👩‍👧)+…(👨‍👩‍👧)+$";
    QTest::newRow("a megabyte") << "begin" + QString(1 << 20, u'x') + "end" << 2 << true
                                << "^beginx+\n?x*…x*\n?x*end$";
    QTest::newRow("markup") << "<b>a</b> &amp;" << 1 << true << "^<b>a</b> &amp;$";
  }
  void longTextsAreShortened() {
    QFETCH(QString, text);
    QFETCH(int, lines);
    QFETCH(bool, inMiddle);
    QFETCH(QString, pattern);
    const QFont font = fontOfSize(12);
    const QString shown =
        fittedText(text, font, 444, lines, inMiddle ? Shortened::inMiddle : Shortened::atEnd);
    QVERIFY2(QRegularExpression(pattern, QRegularExpression::UseUnicodePropertiesOption)
                 .match(shown)
                 .hasMatch(),
             shown.toUtf8());
    for (const QString &line : shown.split('\n')) {
      QVERIFY(QFontMetrics(font).horizontalAdvance(line) <= 444 + 1);
    }
  }

  void pixels() {
    controls->play.setText({});
    const QImage image = window->grab().toImage();
    const auto at = [&](int x, int y) { return image.pixelColor(x, y); };
    const auto near = [](const QColor &one, const QColor &two) {
      return qAbs(one.red() - two.red()) <= 1 && qAbs(one.green() - two.green()) <= 1 &&
             qAbs(one.blue() - two.blue()) <= 1;
    };
    QVERIFY(near(at(270, 0), forestLight));
    QVERIFY(near(at(270, 364), forest));
    QVERIFY(at(18, 180).lightness() > at(17, 180).lightness() + 3);
    QVERIFY(at(18, 180).lightness() > at(19, 180).lightness() + 3);
    QVERIFY(near(at(17, 17), at(270, 17)));  // the frame's corners are round

    const auto button = [&](int x, int y) {
      return controls->play.grab().toImage().pixelColor(x, y);
    };
    QCOMPARE(button(86, 21), QColor(212, 163, 64));
    QCOMPARE(button(86, 0), QColor(212, 163, 64));
    controls->play.setDown(true);
    QCOMPARE(button(86, 21), QColor(174, 134, 52));
    QCOMPARE(button(86, 0), QColor(212, 163, 64));  // the layer behind shows as a rim
    controls->play.setDown(false);
    controls->play.setEnabled(false);
    QCOMPARE(button(86, 21), QColor(212, 163, 64));
  }

  void keysReachThePrimaryButton() {
    controls->picker.addItems({"a", "b"});
    QSignalSpy presses(&controls->play, &QAbstractButton::clicked);
    QSignalSpy choices(&controls->picker, &QComboBox::activated);
    for (QWidget *const focused :
         std::initializer_list<QWidget *>{window.get(), &controls->picker, &controls->footer}) {
      focused->setFocus();
      QTest::keyClick(focused, Qt::Key_Return);
      QTest::keyClick(focused, Qt::Key_Enter);
    }
    QCOMPARE(presses.count(), 6);
    controls->play.setEnabled(false);
    QTest::keyClick(window.get(), Qt::Key_Return);
    QCOMPARE(presses.count(), 6);
    QCOMPARE(choices.count(), 0);
  }

  void progressPropertiesAreIndependent() {
    ProgressIndicator &progress = controls->progress;
    QVERIFY(!progress.isVisible());
    progress.setIndeterminate(true);
    progress.setAnimating(true);
    progress.setValue(60);
    QVERIFY(progress.isIndeterminate() && progress.isAnimating() && progress.value() == 60);
    progress.show();
    const QImage busy = progress.grab().toImage();
    QTRY_VERIFY(progress.grab().toImage() != busy);
    progress.setAnimating(false);
    QVERIFY(progress.isIndeterminate());
    progress.setIndeterminate(false);
    const QImage still = progress.grab().toImage();
    QCOMPARE(still.pixelColor(170, 3), QColor(212, 163, 64));
    QVERIFY(still.pixelColor(190, 3) != QColor(212, 163, 64));
  }

  void assistiveTechnologyReads_data() {
    QTest::addColumn<QString>("control");
    QTest::addColumn<int>("role");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("text");
    using Role = QAccessible::Role;
    const auto row = [](const char *control, Role role, const char *name, const char *description,
                        const char *text) {
      QTest::newRow(control) << control << static_cast<int>(role) << name << description << text;
    };
    row("status", Role::StaticText, "Launcher status", "", "one");
    row("version", Role::StaticText, "Installed version", "two tip", "two");
    row("footer", Role::StaticText, "Launcher and game version", "", "three");
    row("picker", Role::ComboBox, "Region",
        "Chooses the game environment and its compatible client", "b");
    row("play", Role::Button, "Play", "", "-");
    row("log", Role::Button, "View Log", "", "-");
    row("progress", Role::ProgressBar, "", "", "-");
  }
  void assistiveTechnologyReads() {
    controls->status.setText("one");
    controls->version.setText("two");
    controls->version.setToolTip("two tip");
    controls->footer.setText("three");
    controls->picker.addItems({"a", "b"});
    controls->picker.setCurrentIndex(1);
    controls->play.setText("Play");
    controls->progress.setValue(30);
    const QMap<QString, QWidget *> widgets{
        {"status", &controls->status},    {"version", &controls->version},
        {"footer", &controls->footer},    {"picker", &controls->picker},
        {"play", &controls->play},        {"log", &controls->log},
        {"progress", &controls->progress}};
    QFETCH(QString, control);
    QAccessibleInterface *const reader = QAccessible::queryAccessibleInterface(widgets[control]);
    QTEST(static_cast<int>(reader->role()), "role");
    QTEST(reader->text(QAccessible::Name), "name");
    QTEST(reader->text(QAccessible::Description), "description");
    QAccessibleTextInterface *const text = reader->textInterface();
    QTEST(text == nullptr ? QString("-") : text->text(0, text->characterCount()), "text");
    if (control == "progress") {
      QCOMPARE(reader->valueInterface()->currentValue().toDouble(), 30.0);
      QVERIFY(!reader->state().busy);
      controls->progress.setIndeterminate(true);
      QVERIFY(reader->state().busy);
    }
  }

  void menuHasOneEntry() {
    const QList<QAction *> entries = menu->submenu().actions();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries[0]->text(), "Quit Tarvex Launcher");
    QCOMPARE(entries[0]->shortcut(), QKeySequence("Ctrl+Q"));
  }

  void closeCanBeRefused() {
    mayClose = false;
    window->close();
    QVERIFY(window->isVisible());
    mayClose = true;
    window->close();
    QVERIFY(!window->isVisible());
  }

 private:
  struct Controls {
    RegionPicker picker;
    Label status{"Checking"};
    Label version{"Connecting"};
    Label footer{"Launcher"};
    ProgressIndicator progress;
    PlayButton play{"Checking…"};
    LogButton log{"View Log"};
  };
  std::unique_ptr<MainMenu> menu;
  std::unique_ptr<Controls> controls;
  std::unique_ptr<MainWindow> window;
  bool mayClose = true;
};

TARVEX_TEST_MAIN(TestUi)
#include "test_ui.moc"
