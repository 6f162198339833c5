#include <QAbstractItemView>
#include <QAccessible>
#include <QDirIterator>
#include <QFontDatabase>
#include <QHelpEvent>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "test_application.h"
#include "ui/focus_ring.h"
#include "ui/log_button.h"
#include "ui/main_menu.h"
#include "ui/main_window.h"
#include "ui/palette.h"
#include "ui/play_button.h"
#include "ui/progress_indicator.h"
#include "ui/region_picker.h"
#include "ui/selectable_label.h"

using namespace tarvex;

namespace {

QFont fontOfSize(int pixels) {
  QFont font;
  font.setPixelSize(pixels);
  return font;
}

// The ratio of WCAG 2, between the picture's most frequent colour and the one farthest from it.
double contrastIn(const QPixmap &picture) {
  const QImage image = picture.toImage().convertToFormat(QImage::Format_RGB32);
  QHash<QRgb, int> counts;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      ++counts[image.pixel(x, y)];
    }
  }
  const auto luminance = [](QRgb colour) {
    const auto linear = [](int part) {
      const double share = part / 255.0;
      return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(colour)) + 0.7152 * linear(qGreen(colour)) +
           0.0722 * linear(qBlue(colour)) + 0.05;
  };
  const double ground = luminance(
      std::max_element(counts.keyValueBegin(), counts.keyValueEnd(), [](auto one, auto two) {
        return one.second < two.second;
      })->first);
  double best = 1;
  for (const QRgb colour : counts.keys()) {
    best = std::max({best, luminance(colour) / ground, ground / luminance(colour)});
  }
  return best;
}

}  // namespace

class TestUi : public QObject, public WindowDelegate {
  Q_OBJECT

 public:
  bool windowShouldClose() override { return true; }

 private slots:
  void initTestCase() {
    dressToolkit();
    QDirIterator fonts(TARVEX_TEST_FONTS, QDirIterator::Subdirectories);
    while (fonts.hasNext()) {
      const QString font = fonts.next();
      if (font.contains(QRegularExpression("(NotoSans|Inter|Cantarell|LiberationSans)-"))) {
        QFontDatabase::addApplicationFont(font);
      }
    }
  }

  void init() {
    createWindow();
    window->makeKeyAndOrderFront();
    QTRY_VERIFY(controls->play.isVisible());
  }
  void cleanup() {
    controls.reset();
    window.reset();
  }

  // Measured on the window itself: a control's anchor, the other's, and the distance.
  void controlsStandWhereTheyShould() {
    enum Anchor { left, right, top, bottom, midX, midY, width, height };
    using Frame = QRectF;
    const auto at = [](const Frame &frame, Anchor anchor) {
      const double values[] = {frame.left(),   frame.right(),      frame.top(),
                               frame.bottom(), frame.center().x(), frame.center().y(),
                               frame.width(),  frame.height()};
      return values[anchor];
    };
    controls->progress.show();
    controls->log.show();
    QCoreApplication::sendPostedEvents();
    const Frame backdrop(window->rect());
    const Frame origin;
    const auto named = [&](const char *text) -> Frame {
      for (const QWidget *const one : window->findChildren<QWidget *>()) {
        const auto *const label = dynamic_cast<const Label *>(one);
        if (label != nullptr && label->text() == text) {
          return label->geometry();
        }
      }
      return {};
    };
    const Frame title = named("Tarvex");
    const Frame subtitle = named("CHOOSE YOUR ADVENTURE");
    const Frame caption = named("Region");
    const Frame picker = controls->picker.geometry();
    const Frame status = controls->status.geometry();
    const Frame versions = controls->version.geometry();
    const Frame progress = controls->progress.geometry();
    const Frame play = controls->play.geometry();
    const Frame log = controls->log.geometry();
    const Frame footer = controls->footer.geometry();
    struct Row {
      const Frame &view;
      Anchor anchor;
      const Frame &other;
      Anchor otherAnchor;
      int distance;
    };
    const Row rows[] = {
        {title, top, backdrop, top, 42},
        {title, midX, backdrop, midX, 0},
        {subtitle, top, title, bottom, 4},
        {subtitle, midX, backdrop, midX, 0},
        {picker, top, subtitle, bottom, 22},
        {picker, midX, backdrop, midX, 24},
        {picker, width, origin, left, 170},
        {caption, right, picker, left, -12},
        {caption, midY, picker, midY, 0},
        {status, top, picker, bottom, 21},
        {status, left, backdrop, left, 48},
        {status, right, backdrop, right, -48},
        {versions, top, status, bottom, 7},
        {versions, left, backdrop, left, 48},
        {versions, right, backdrop, right, -48},
        {progress, top, versions, bottom, 17},
        {progress, midX, backdrop, midX, 0},
        {progress, width, origin, left, 300},
        {play, top, progress, bottom, 17},
        {play, midX, backdrop, midX, 0},
        {play, width, origin, left, 172},
        {play, height, origin, left, 42},
        {log, top, play, bottom, 7},
        {log, midX, backdrop, midX, 0},
        {footer, bottom, backdrop, bottom, -12},
        {footer, midX, backdrop, midX, 0},
    };
    QCOMPARE(backdrop, Frame(0, 0, 540, 365));
    for (const Row &row : rows) {
      const double off = at(row.view, row.anchor) - at(row.other, row.otherAnchor) - row.distance;
      // An odd width has no middle on the grid.
      const bool isMiddle = row.anchor == midX || row.anchor == midY;
      QVERIFY2(std::abs(off) <= (isMiddle ? 0.5 : 0),
               qPrintable(QString("row %1 is off by %2").arg(&row - rows + 1).arg(off)));
    }
  }

  void everyFontFits_data() {
    QTest::addColumn<QString>("family");
    QTest::addColumn<double>("textScale");
    for (const char *family :
         {"DejaVu Sans", "Noto Sans", "Inter", "Cantarell", "Liberation Sans"}) {
      for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
        QTest::addRow("%s at %g", family, scale) << family << scale;
      }
    }
  }
  void everyFontFits() {
    QFETCH(QString, family);
    QFETCH(double, textScale);
    QVERIFY2(QFontDatabase::families().contains(family), "not among the test's fonts");
    cleanup();
    const QFont before = QApplication::font();
    QApplication::setFont(QFont(family, static_cast<int>(10 * textScale)));
    init();
    const QString longName = QString("Region of very many letters ").repeated(4);
    for (const QString &name : {longName, QString("بحر الشمال"), QString("🌲")}) {
      controls->picker.addRegion(name);
    }
    const QString release(64, u'W');
    controls->footer.setText("Launcher 0123456789abcdef · Game 1.2.3.0123456789ab (" + release +
                             ")");
    controls->status.setText("Launching " + longName + "…");
    QCOMPARE(controls->picker.currentName(), longName);
    QVERIFY(controls->picker.view()->sizeHintForColumn(0) < window->width());
    controls->version.setText("The update could not be completed. " + release + " " + release);
    const bool failed[] = {true, false};
    for (const bool isFailure : failed) {
      controls->log.setVisible(isFailure);
      controls->progress.setVisible(!isFailure);
      QCoreApplication::sendPostedEvents();
      const QList<QWidget *> all =
          controls->play.parentWidget()->findChildren<QWidget *>(Qt::FindDirectChildrenOnly);
      for (const QWidget *const one : all) {
        QVERIFY2(!one->isVisible() || window->rect().contains(one->geometry()),
                 qPrintable(one->accessibleName()));
        for (const QWidget *const other : all) {
          QVERIFY2(one == other || !one->isVisible() || !other->isVisible() ||
                       !one->geometry().intersects(other->geometry()),
                   qPrintable(one->accessibleName() + " and " + other->accessibleName()));
        }
      }
      for (const Label *const label : std::initializer_list<Label *>{
               &controls->status, &controls->version, &controls->footer}) {
        QVERIFY(QFontMetrics(label->font()).size(0, label->shownText()).width() <=
                label->width() + 1);
      }
    }
    QApplication::setFont(before);
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

  void toolTipHasTheLinesThatItWasGiven() {
    controls->version.setToolTip("<b>a</b> &amp; " + QString("word ").repeated(8));
    QHelpEvent asked(QEvent::ToolTip, {1, 1}, {1, 1});
    QApplication::sendEvent(&controls->version, &asked);
    const QWidgetList all = QApplication::topLevelWidgets();
    const auto tip = std::find_if(all.begin(), all.end(), [](const QWidget *one) {
      return one->isVisible() && one->inherits("QTipLabel");
    });
    QVERIFY(tip != all.end());
    QVERIFY((*tip)->height() < 2 * QFontMetrics(QToolTip::font()).height());
  }

  void toolTipGoesWithItsText() {
    controls->version.setToolTip("what was");
    QHelpEvent asked(QEvent::ToolTip, {1, 1}, {1, 1});
    QApplication::sendEvent(&controls->version, &asked);
    QVERIFY(QToolTip::isVisible());
    controls->version.setAttribute(Qt::WA_UnderMouse);
    controls->version.setToolTip({});
    QTRY_VERIFY(!QToolTip::isVisible());
  }

  // Without a window manager, as here.
  void backgroundMovesTheWindow() {
    const QPointF grip(100, 330);
    const auto send = [&](QEvent::Type type, QPointF at, Qt::MouseButton button,
                          Qt::MouseButtons buttons) {
      QMouseEvent event(type, at, window->mapToGlobal(at), button, buttons, Qt::NoModifier);
      QApplication::sendEvent(window.get(), &event);
    };
    const QPoint before = window->pos();
    send(QEvent::MouseMove, grip + QPoint(5, 5), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(window->pos(), before);
    send(QEvent::MouseButtonPress, grip, Qt::LeftButton, Qt::LeftButton);
    send(QEvent::MouseMove, grip + QPoint(30, -20), Qt::NoButton, Qt::LeftButton);
    send(QEvent::MouseMove, grip + QPoint(1, 0), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(window->pos(), before + QPoint(31, -20));
    send(QEvent::MouseButtonRelease, grip, Qt::LeftButton, Qt::NoButton);
    send(QEvent::MouseMove, grip + QPoint(5, 5), Qt::NoButton, Qt::LeftButton);
    QCOMPARE(window->pos(), before + QPoint(31, -20));
  }

  void pixels() {
    controls->play.setText({});
    const QImage image = window->grab().toImage();
    const double ratio = image.devicePixelRatio();
    const auto near = [](const QColor &one, const QColor &two) {
      return qAbs(one.red() - two.red()) <= 1 && qAbs(one.green() - two.green()) <= 1 &&
             qAbs(one.blue() - two.blue()) <= 1;
    };
    const int middle = image.width() / 2;
    const auto column = [&](int x) { return image.pixelColor(x, image.height() / 2).lightness(); };
    QVERIFY(near(image.pixelColor(middle, 0), forestLight));
    QVERIFY(near(image.pixelColor(middle, image.height() - 1), forest));

    // The frame line is as wide as it should be, and between its pixels and the others is no third.
    const int line = std::max(1, static_cast<int>(std::lround(ratio)));
    const int edge = static_cast<int>(std::round(18 * ratio - line / 2.0));
    for (int x = edge - 2; x < edge + line + 2; ++x) {
      const bool isLine = x >= edge && x < edge + line;
      QCOMPARE(column(x) - column(edge - 3) > 5, isLine);
      QVERIFY(isLine || column(x) == column(edge - 3));
    }
    const int corner = static_cast<int>(17 * ratio);
    QVERIFY(near(image.pixelColor(corner, corner), image.pixelColor(middle, corner)));

    const auto button = [&](int x, int y) {
      return controls->play.grab().toImage().pixelColor(static_cast<int>(x * ratio),
                                                        static_cast<int>(y * ratio));
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

  void textsHaveContrast() {
    controls->picker.addRegion("Aurora");
    controls->picker.addRegion("Mossgate");
    controls->play.setText("Play");
    controls->log.show();
    QCoreApplication::sendPostedEvents();
    const auto verify = [](QWidget &widget, const QRect &part, const char *what) {
      const double contrast = contrastIn(widget.grab(part));
      QVERIFY2(contrast >= 4.5, qPrintable(QString("%1: %2").arg(what).arg(contrast)));
    };
    const QMargins edges(12, 4, 30, 4);  // frames and arrows are no text
    verify(controls->picker, controls->picker.rect() - edges, "chooser");
    verify(controls->play, controls->play.rect() - edges, "primary button");
    QWidget &backdrop = *controls->play.parentWidget();
    verify(backdrop, controls->log.geometry(), "log button");
    verify(backdrop, controls->status.geometry(), "status");
    verify(backdrop, controls->version.geometry(), "version");
    QMenu &submenu = menu->submenu();
    submenu.popup({0, 0});
    const QRect entry = submenu.actionGeometry(submenu.actions().constFirst()) - edges;
    verify(submenu, entry, "menu");
    submenu.setActiveAction(submenu.actions().constFirst());
    verify(submenu, entry, "chosen in the menu");
    submenu.close();
    controls->picker.showPopup();
    QAbstractItemView &list = *controls->picker.view();
    for (const int row : {0, 1}) {
      verify(*list.viewport(), list.visualRect(list.model()->index(row, 0)) - edges, "list");
    }
    controls->picker.hidePopup();
  }

  void focusIsSeenAndFindsItsWayBack() {
    controls->picker.addRegion("a");
    controls->log.show();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    const FocusRing *const ring = [&] {
      for (QWidget *const one : window->findChildren<QWidget *>()) {
        if (auto *const found = dynamic_cast<FocusRing *>(one)) {
          return found;
        }
      }
      qFatal("no focus ring");
    }();
    QVERIFY(!ring->isVisible());
    const auto focused = [&] { return QApplication::focusWidget(); };
    for (QWidget *const next :
         std::initializer_list<QWidget *>{&controls->picker, &controls->play, &controls->log,
                                          &controls->footer, &controls->picker, &controls->play}) {
      QTest::keyClick(window.get(), Qt::Key_Tab);
      QCOMPARE(focused(), next);
      QVERIFY(ring->isVisible() && ring->geometry().contains(next->geometry()));
    }
    controls->log.hide();
    controls->picker.setEnabled(false);
    controls->play.setEnabled(false);
    QVERIFY(focused() != &controls->play);
    QVERIFY(!ring->isVisible());
    controls->play.setEnabled(true);
    QCOMPARE(focused(), &controls->play);
    QVERIFY(ring->isVisible());

    controls->picker.setEnabled(true);
    controls->picker.setFocus();
    for (const bool enabled : {false, true}) {  // a run that was started by a choice
      controls->picker.setEnabled(enabled);
      controls->play.setEnabled(enabled);
    }
    QCOMPARE(focused(), &controls->picker);
  }

  void keysReachThePrimaryButton() {
    controls->picker.addRegion("a");
    controls->picker.addRegion("b");
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

  void manyChangesAreShownOnce() {
    struct Paints : QObject {
      bool eventFilter(QObject * /*watched*/, QEvent *event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
      }
      int count = 0;
    } paints;
    controls->status.installEventFilter(&paints);
    for (int value = 1; value <= 1000; ++value) {
      controls->status.setText(QString::number(value));
      QCoreApplication::sendPostedEvents();
    }
    QCOMPARE(controls->status.text(), "1000");
    QTRY_COMPARE(controls->status.shownText(), "1000");
    QCoreApplication::processEvents();
    QVERIFY2(paints.count > 0 && paints.count < 10, qPrintable(QString::number(paints.count)));
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
    const int y = still.height() / 2;
    QCOMPARE(still.pixelColor(still.width() * 55 / 100, y), QColor(212, 163, 64));
    QVERIFY(still.pixelColor(still.width() * 65 / 100, y) != QColor(212, 163, 64));
  }

  void assistiveTechnologyReads() {
    controls->status.setText("one");
    controls->version.setText("two");
    controls->version.setToolTip("two tip");
    controls->footer.setText("three");
    controls->picker.addRegion("a");
    controls->picker.addRegion("b");
    controls->picker.setCurrentIndex(1);
    controls->play.setText("Play");
    using Role = QAccessible::Role;
    struct Row {
      QWidget &control;
      Role role;
      QString name;
      QString description;
      QString text;  // "-": has none
    };
    const Row rows[] = {
        {controls->status, Role::StaticText, "Launcher status", "", "one"},
        {controls->version, Role::StaticText, "Installed version", "two tip", "two"},
        {controls->footer, Role::StaticText, "Launcher and game version", "", "three"},
        {controls->picker, Role::ComboBox, "Region",
         "Chooses the game environment and its compatible client", "b"},
        {controls->play, Role::Button, "Play", "", "-"},
        {controls->log, Role::Button, "View Log", "", "-"},
        {controls->progress, Role::ProgressBar, "", "", "-"},
    };
    for (const Row &row : rows) {
      QAccessibleInterface *const reader = QAccessible::queryAccessibleInterface(&row.control);
      QCOMPARE(reader->text(QAccessible::Name), row.name);
      QCOMPARE(reader->role(), row.role);
      QCOMPARE(reader->text(QAccessible::Description), row.description);
      QAccessibleTextInterface *const text = reader->textInterface();
      QCOMPARE(text == nullptr ? QString("-") : text->text(0, text->characterCount()), row.text);
    }
    QAccessibleInterface *const bar = QAccessible::queryAccessibleInterface(&controls->progress);
    controls->progress.setValue(30);
    QCOMPARE(bar->valueInterface()->currentValue().toDouble(), 30.0);
    QVERIFY(!bar->state().busy);
    controls->progress.setIndeterminate(true);
    QVERIFY(bar->state().busy);
  }

 private:
  void createWindow() {
    menu = std::make_unique<MainMenu>(*static_cast<Application *>(qApp));
    controls = std::make_unique<Controls>();
    window = std::make_unique<MainWindow>(
        WindowControls{controls->picker, controls->status, controls->version, controls->progress,
                       controls->play, controls->log, controls->footer},
        *menu, *this);
  }

  struct Controls {
    RegionPicker picker;
    Label status{"Checking"};
    Label version{"Connecting"};
    SelectableLabel footer{"Launcher"};
    ProgressIndicator progress;
    PlayButton play{"Checking…"};
    LogButton log{"View Log"};
  };
  std::unique_ptr<MainMenu> menu;
  std::unique_ptr<Controls> controls;
  std::unique_ptr<MainWindow> window;
};

TARVEX_TEST_MAIN(TestUi)
#include "test_ui.moc"
