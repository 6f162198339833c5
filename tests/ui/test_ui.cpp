#include <QAbstractItemView>
#include <QAccessible>
#include <QDirIterator>
#include <QFontDatabase>
#include <QHelpEvent>
#include <QPainter>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>
#include <algorithm>
#include <cmath>
#include <map>

#include "test_application.h"
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

// The bounds, in device pixels, of all pixels whose difference exceeds this share of the largest
// one.
QRect inkBetween(const QImage &one, const QImage &other, double share) {
  const auto difference = [&](int x, int y) {
    const QRgb left = one.pixel(x, y);
    const QRgb right = other.pixel(x, y);
    return std::abs(qRed(left) - qRed(right)) + std::abs(qGreen(left) - qGreen(right)) +
           std::abs(qBlue(left) - qBlue(right));
  };
  std::map<int, QRect> places;  // of the pixels with this difference
  for (int y = 0; y < one.height(); ++y) {
    for (int x = 0; x < one.width(); ++x) {
      places[difference(x, y)] |= QRect(x, y, 1, 1);
    }
  }
  QRect ink;
  for (const auto &[size, place] : places) {
    if (size > places.rbegin()->first * share) {
      ink |= place;
    }
  }
  return ink;
}

bool isNear(const QColor &one, const QColor &other) {
  return std::abs(one.red() - other.red()) <= 1 && std::abs(one.green() - other.green()) <= 1 &&
         std::abs(one.blue() - other.blue()) <= 1;
}

// The contrast ratio of WCAG 2 between the picture's lightest and darkest colours.
double contrastIn(const QPixmap &picture) {
  const QImage image = picture.toImage();
  const auto linear = [](double share) {
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
  };
  double darkest = 1;
  double lightest = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor colour = image.pixelColor(x, y);
      const double luminance = 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
                               0.0722 * linear(colour.blueF());
      darkest = std::min(darkest, luminance);
      lightest = std::max(lightest, luminance);
    }
  }
  return (lightest + 0.05) / (darkest + 0.05);
}

}  // namespace

class TestUi : public QObject, public WindowDelegate {
  Q_OBJECT

 public:
  bool windowShouldClose() override { return true; }

 private slots:
  void initTestCase() {
    styleQt();
    defaultFont = QApplication::font();
    QDirIterator fonts(TARVEX_TEST_FONTS, QDirIterator::Subdirectories);
    while (fonts.hasNext()) {
      const QString font = fonts.next();
      if (font.contains(
              QRegularExpression("(NotoSans|NotoSansCJK|Roboto|Inter|Cantarell|LiberationSans)-"
                                 "(Regular|Medium|SemiBold|Bold|VF)"))) {
        QFontDatabase::addApplicationFont(font);
      }
    }
  }

  void init() {
    menu = std::make_unique<MainMenu>(*static_cast<Application *>(qApp));
    controls = std::make_unique<Controls>();
    window = std::make_unique<MainWindow>(
        WindowControls{controls->picker, controls->status, controls->version, controls->progress,
                       controls->play, controls->log, controls->footer},
        *menu, *this);
    window->makeKeyAndOrderFront();
    QTRY_VERIFY(controls->play.isVisible());
  }
  void cleanup() {
    controls.reset();
    window.reset();
    QApplication::setFont(defaultFont);
  }

  // For a font whose lines are 36, 13, 19, 14 and 11 high. The rows below the region picker are
  // measured from its lower edge, because Qt's style gives its height.
  void controlsStandWhereTheyShould() {
    setDesktopFont(QFont("DejaVu Sans", 10));
    controls->progress.show();
    controls->log.show();
    endTurn();
    const int below = controls->picker.geometry().bottom() + 1;
    struct Row {
      Control control;
      double centre;
      int top;
      int bottom;
      int width;  // 0: the text's width
    };
    const Row rows[] = {
        {Control::title, 270, 42, 78, 0},
        {Control::subtitle, 270, 82, 95, 0},
        {Control::regionPicker, 294, 117, below, 170},
        {Control::status, 270, below + 21, below + 40, 444},
        {Control::version, 270, below + 47, below + 61, 444},
        {Control::progress, 270, below + 78, below + 84, 300},
        {Control::playButton, 270, below + 101, below + 143, 172},
        {Control::logButton, 270, below + 150, below + 167, 0},
        {Control::footer, 270, 342, 353, 0},
    };
    QCOMPARE(window->size(), QSize(540, 365));
    for (const Row &row : rows) {
      const QRectF frame = frameOf(at(row.control));
      QVERIFY2(frame.top() == row.top && frame.bottom() == row.bottom &&
                   (row.width == 0 || frame.width() == row.width) &&
                   std::abs(frame.center().x() - row.centre) <=
                       0.5,  // an odd width has its centre between two pixels
               told(nameOf(at(row.control)), frame));
    }
    const QRectF caption = frameOf(at(Control::regionCaption));
    const QRectF picker = frameOf(controls->picker);
    QCOMPARE(caption.right(), 197.0);
    QVERIFY(std::abs(caption.center().y() - picker.center().y()) <= 0.5);
  }

  void everyFontFits_data() {
    QTest::addColumn<QString>("family");
    QTest::addColumn<int>("points");
    for (const char *family : {"DejaVu Sans", "Noto Sans", "Noto Sans CJK JP", "Roboto", "Inter",
                               "Cantarell", "Liberation Sans"}) {
      for (const int points : {10, 20, 28}) {
        QTest::addRow("%s at %d", family, points) << family << points;
      }
    }
  }
  void everyFontFits() {
    QFETCH(QString, family);
    QFETCH(int, points);
    setDesktopFont(QFont(family, points));
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
    for (const bool isFailure : {true, false}) {
      controls->log.setVisible(isFailure);
      controls->progress.setVisible(!isFailure);
      endTurn();
      for (const QWidget *const one : allControls()) {
        QVERIFY2(!one->isVisible() || window->rect().contains(one->geometry()),
                 nameOf(*one).constData());
        for (const QWidget *const other : allControls()) {
          QVERIFY2(one == other || !one->isVisible() || !other->isVisible() ||
                       !frameOf(*one).intersects(frameOf(*other)),
                   told(nameOf(*one), nameOf(*other)));
        }
      }
      for (const Label *const label : std::initializer_list<Label *>{
               &controls->status, &controls->version, &controls->footer}) {
        QVERIFY2(QFontMetrics(label->font()).size(0, label->shownText()).width() <=
                     label->contentsRect().width() + 1,
                 nameOf(*label).constData());
      }
    }
  }

  // The same text drawn without clipping must have no more rows and columns of ink. Its position
  // between two pixels may differ, so the faintest pixels do not count.
  void lettersAreWhole_data() { everyFontFits_data(); }
  void lettersAreWhole() {
    QFETCH(QString, family);
    QFETCH(int, points);
    setDesktopFont(QFont(family, points));
    const QImage blank = pictureWithoutTexts();
    const QString letters = "jÄÅgpqy()";
    for (QWidget *const one : allControls()) {
      if (one == &controls->progress) {
        continue;
      }
      setText(*one, letters);
      const QSize seen = inkBetween(blank, picture(), 0.05).size();
      setText(*one, " ");

      const double ratio = blank.devicePixelRatio();
      QImage ground((QSizeF(300, 100) * ratio).toSize(), QImage::Format_RGB32);
      ground.setDevicePixelRatio(ratio);
      ground.fill(forest);
      QImage whole = ground;
      QPainter painter(&whole);
      painter.setPen(one->palette().color(one->foregroundRole()));
      painter.setFont(one->font());
      painter.drawText(QPointF(50, 60), letters);
      painter.end();
      const QSize wanted = inkBetween(ground, whole, 0.25).size();
      QVERIFY2(seen.height() >= wanted.height() && seen.width() + 1 >= wanted.width(),
               told(nameOf(*one), seen, "not", wanted));
    }
  }

  void columnMakesRoomForASecondLine() {
    const int before = controls->play.y();
    controls->version.setText(QString("many words ").repeated(9));
    QTRY_COMPARE(controls->play.y(), before + lineBox(controls->version.font()).height);
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
    QFont font;
    font.setPixelSize(12);
    const QString shown =
        fittedText(text, font, 444, lines, inMiddle ? Shortened::inMiddle : Shortened::atEnd);
    QVERIFY2(QRegularExpression(pattern, QRegularExpression::UseUnicodePropertiesOption)
                 .match(shown)
                 .hasMatch(),
             shown.toUtf8());
    for (const QString &line : shown.split('\n')) {
      QVERIFY2(QFontMetrics(font).horizontalAdvance(line) <= 444 + 1, line.toUtf8());
    }
  }

  void toolTipHasTheLinesThatItWasGivenAndGoesWithItsText() {
    controls->version.setToolTip("<b>a</b> &amp; " + QString("word ").repeated(8));
    QHelpEvent asked(QEvent::ToolTip, {1, 1}, {1, 1});
    QApplication::sendEvent(&controls->version, &asked);
    const QWidgetList all = QApplication::topLevelWidgets();
    const auto tip = std::find_if(all.begin(), all.end(), [](const QWidget *one) {
      return one->isVisible() && one->inherits("QTipLabel");
    });
    QVERIFY(tip != all.end());
    QVERIFY((*tip)->height() < 2 * QFontMetrics(QToolTip::font()).height());
    controls->version.setAttribute(Qt::WA_UnderMouse);
    controls->version.setToolTip({});
    QTRY_VERIFY(!QToolTip::isVisible());
  }

  // There is no window manager here, so the launcher moves the window itself.
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

  // A desktop's font may have a style name, which would override the weight.
  void fontsAndColoursAreOurs() {
    QFont desktop("Inter", 10);
    desktop.setStyleName("Regular");
    setDesktopFont(desktop);
    const QImage blank = pictureWithoutTexts();
    const QColor parchmentWanted("#e8e3c9");
    const QColor mutedWanted("#9cab96");
    const QColor forestWanted("#0e1b15");
    struct Row {
      Control control;
      int size;
      QFont::Weight weight;
      QColor colour;
      double alpha = 1;
      bool enabled = true;
    };
    const Row rows[] = {
        {Control::title, 31, QFont::DemiBold, parchmentWanted},
        {Control::subtitle, 11, QFont::Medium, "#d4a340"},
        {Control::regionCaption, 13, QFont::Medium, parchmentWanted},
        {Control::status, 16, QFont::Medium, parchmentWanted},
        {Control::version, 12, QFont::Normal, mutedWanted},
        {Control::playButton, 15, QFont::DemiBold, forestWanted},
        {Control::playButton, 15, QFont::DemiBold, forestWanted, 0.6, false},
        {Control::logButton, 11, QFont::Medium, mutedWanted},
        {Control::footer, 10, QFont::Normal, mutedWanted, 0.7},
    };
    for (const Row &row : rows) {
      QWidget &control = at(row.control);
      const QFontInfo font(control.font());
      QVERIFY2(
          font.family() == "Inter" && font.pixelSize() == row.size && font.weight() == row.weight,
          told(nameOf(control), font.family(), font.pixelSize(), font.weight()));
      control.setEnabled(row.enabled);
      setText(control, QChar(0x2588));  // a full block: its middle is ink
      const QImage seen = picture();
      setText(control, " ");
      const QPoint middle = (frameOf(control).center() * seen.devicePixelRatio()).toPoint();
      const QColor wanted = blended(blank.pixelColor(middle), row.alpha, row.colour);
      QVERIFY2(isNear(seen.pixelColor(middle), wanted),
               told(nameOf(control), seen.pixelColor(middle), "not", wanted));
    }
  }

  // A tiling window manager gives the window another size.
  void backdropIsPainted_data() {
    QTest::addColumn<QSize>("size");
    QTest::newRow("as it should be") << QSize(540, 365);
    QTest::newRow("tiled") << QSize(800, 602);
  }
  void backdropIsPainted() {
    QFETCH(QSize, size);
    window->setFixedSize(size);
    const QRect play(controls->play.mapTo(window.get(), QPoint()), controls->play.size());
    QCOMPARE(play.x(), (size.width() - 172) / 2);
    const QPoint footer(0, controls->footer.contentsRect().bottom() + 1);
    QCOMPARE(controls->footer.mapTo(window.get(), footer).y(), (size.height() - 365) / 2 + 353);
    const QImage image = picture();
    const double ratio = image.devicePixelRatio();
    const auto lightness = [&](const QPoint &at) {
      const QRgb colour = image.pixel(at);
      return (qRed(colour) + qGreen(colour) + qBlue(colour)) / 765.0;
    };
    for (const double share : {0.0, 0.25, 0.5, 0.75, 1.0}) {
      const QColor seen = image.pixelColor(2, qRound(share * (image.height() - 1)));
      QVERIFY2(isNear(seen, blended(QColor(22, 41, 32), share, QColor(14, 27, 21))),
               told(share, seen));
    }

    // The frame's line, sampled from each edge inwards, away from corners and texts: it has its
    // full width, and no blurred pixel beside it.
    const int line = std::max(1, qRound(ratio));
    const int edge = static_cast<int>(std::round(18 * ratio - line / 2.0));
    const int right = image.width() - 1;
    const int bottom = image.height() - 1;
    const int from = qRound(60 * ratio);
    struct Side {
      QPoint begin;
      QPoint inwards;
    };
    for (const Side &side : {Side{{0, from}, {1, 0}}, Side{{right, from}, {-1, 0}},
                             Side{{from, 0}, {0, 1}}, Side{{from, bottom}, {0, -1}}}) {
      for (int depth = edge - 2; depth < edge + line + 2; ++depth) {
        const QPoint along(std::abs(side.inwards.y()), std::abs(side.inwards.x()));
        double lift = 0;  // average step towards white
        constexpr int samples = 40;
        for (int sample = 0; sample < samples; ++sample) {
          const QPoint start = side.begin + sample * along;
          const double ground = lightness(start + (edge - 3) * side.inwards);
          const double seen = lightness(start + depth * side.inwards);
          lift += (seen - ground) / (1 - ground) / samples;
        }
        const double wanted = depth >= edge && depth < edge + line ? 0.055 : 0;
        QVERIFY2(std::abs(lift - wanted) < 0.002, told(side.inwards, "at the depth", depth, lift));
      }
    }

    // The rounded corner's horizontal position, four pixels below the upper edge.
    const int row = edge + qRound(4 * ratio);
    const double rise = 16 - (row - edge + 0.5 - line / 2.0) / ratio;
    const double wanted = 16 - std::sqrt(16 * 16 - rise * rise);
    double weight = 0;
    double place = 0;
    for (int x = edge - 2; x < edge + qRound(16 * ratio); ++x) {
      const int lift = qRed(image.pixel(x, row)) - qRed(image.pixel(2, row));
      weight += lift;
      place += lift * (x + 0.5 - edge - line / 2.0) / ratio;
    }
    QVERIFY2(std::abs(place / weight - wanted) < 0.25, told(place / weight, "not", wanted));
  }

  void buttonIsPainted() {
    controls->play.setText({});
    const QImage up = controls->play.grab().toImage();
    const auto painted = [&](const QColor &fill) {
      QImage wanted = up;
      wanted.fill(up.pixelColor(0, 0));
      QPainter painter(&wanted);
      painter.setRenderHint(QPainter::Antialiasing);
      painter.setPen(Qt::NoPen);
      const QRect frame = controls->play.rect();
      painter.setBrush(QColor(212, 163, 64));  // the layer behind
      painter.drawRoundedRect(frame, 8, 8);
      painter.setBrush(fill);
      painter.drawRoundedRect(frame - QMargins(1, 1, 1, 1), 8, 8);
      return wanted;
    };
    QCOMPARE(up, painted(QColor(212, 163, 64)));
    controls->play.setDown(true);
    QCOMPARE(controls->play.grab().toImage(), painted(QColor(174, 134, 52)));
    controls->play.setDown(false);
    controls->play.setEnabled(false);
    QCOMPARE(controls->play.grab().toImage(), up);
  }

  void ellipsisStandsAtTheCut_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("atTheLeft");
    QTest::newRow("from left to right") << QString("HHHH ").repeated(30) << false;
    QTest::newRow("from right to left") << QString("بحر الشمال ").repeated(30) << true;
    QTest::newRow("Latin in Arabic") << QString("الشمال HHHH ").repeated(30) << true;
    QTest::newRow("Arabic in Latin") << QString("HHHH الشمال ").repeated(30) << false;
  }
  void ellipsisStandsAtTheCut() {
    QFETCH(QString, name);
    QFETCH(bool, atTheLeft);
    setDesktopFont(QFont("DejaVu Sans", 10));
    controls->picker.addRegion(name);
    controls->status.setText(name);
    endTurn();
    controls->picker.showPopup();
    QAbstractItemView &list = *controls->picker.view();
    const QMargins edges(4, 4, 24, 4);
    for (const QPixmap &picture :
         {controls->picker.grab(controls->picker.rect() - edges),
          list.viewport()->grab(list.visualRect(list.model()->index(0, 0)) &
                                list.viewport()->rect()),
          controls->status.grab()}) {
      const QImage image = picture.toImage().convertToFormat(QImage::Format_RGB32);
      QImage ground = image;
      ground.fill(image.pixel(1, image.height() / 2));
      const QRect ink = inkBetween(ground, image, 0.3);
      const int dot = qRound(3 * image.devicePixelRatio());
      const auto highestAt = [&](int left) {
        const QRect part(left, 0, dot, image.height());
        return inkBetween(ground.copy(part), image.copy(part), 0.3).height();
      };
      const int seen = highestAt(atTheLeft ? ink.left() : ink.right() - dot + 1);
      QVERIFY2(seen <= dot, told("the ink's height", seen));
    }
    controls->picker.hidePopup();
  }

  // The other texts have the colours that fontsAndColoursAreOurs compares.
  void textsOfQtHaveContrast() {
    controls->picker.addRegion("Aurora");
    controls->picker.addRegion("Mossgate");
    const auto verify = [](QWidget &widget, const QRect &part, const char *what) {
      const double contrast = contrastIn(widget.grab(part));
      QVERIFY2(contrast >= 4.5, told(what, contrast));
    };
    const QMargins edges(12, 4, 30, 4);  // leaves out frames and arrows
    verify(controls->picker, controls->picker.rect() - edges, "chooser");
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

  void focusIsVisibleAndComesBack() {
    controls->picker.addRegion("a");
    controls->log.show();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    const QWidget *const ring = inStackingOrder().last();
    const auto focused = [&] { return QApplication::focusWidget(); };
    QTRY_COMPARE(focused(), &controls->play);
    QVERIFY(!ring->isVisible());
    for (QWidget *const next : std::initializer_list<QWidget *>{
             &controls->log, &controls->footer, &controls->picker, &controls->play}) {
      QTest::keyClick(window.get(), Qt::Key_Tab);
      QVERIFY2(focused() == next && ring->isVisible() &&
                   ring->geometry().toRectF().contains(frameOf(*next)),
               nameOf(*next).constData());
    }
    controls->log.setFocus();
    controls->picker.setEnabled(false);
    controls->play.setEnabled(false);
    controls->log.hide();
    QCOMPARE(focused(), nullptr);
    QVERIFY(!ring->isVisible());
    controls->play.setEnabled(true);
    QTRY_COMPARE(focused(), &controls->play);
    QVERIFY(ring->isVisible());
    QTest::mouseClick(&controls->footer, Qt::LeftButton);
    QCOMPARE(focused(), &controls->footer);
    QVERIFY(!ring->isVisible());

    controls->picker.setEnabled(true);
    controls->picker.setFocus();
    for (const bool enabled : {false, true}) {  // as in a run that a choice has started
      controls->picker.setEnabled(enabled);
      controls->play.setEnabled(enabled);
    }
    QTRY_COMPARE(focused(), &controls->picker);
  }

  void shiftAndF10OpenTheMenuOfTheControl() {
    struct Row {
      QWidget &focused;
      QString entry;
    };
    for (const Row &row : {Row{controls->play, quitTitle()}, Row{controls->footer, "Copy"}}) {
      row.focused.setFocus();
      QTest::keyClick(&row.focused, Qt::Key_F10, Qt::ShiftModifier);
      auto *const shown = qobject_cast<QMenu *>(QApplication::activePopupWidget());
      QVERIFY(shown != nullptr);
      QCOMPARE(shown->actions().first()->text(), row.entry);
      shown->close();
    }
  }

  void keysReachThePrimaryButton() {
    controls->picker.addRegion("a");
    QSignalSpy presses(&controls->play, &QAbstractButton::clicked);
    for (QWidget *const focused :
         std::initializer_list<QWidget *>{window.get(), &controls->picker, &controls->footer}) {
      focused->setFocus();
      QTest::keyClick(focused, Qt::Key_Return);
      QTest::keyClick(focused, Qt::Key_Enter);
      QVERIFY2(presses.count() == 2, told(focused));
      presses.clear();
    }
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
    QVERIFY2(paints.count > 0 && paints.count < 10, told(paints.count));
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

  // The end-to-end tests read the roles, names, texts and values.
  void assistiveTechnologyReads() {
    const auto read = [](QWidget &control) -> const QAccessibleInterface & {
      return *QAccessible::queryAccessibleInterface(&control);
    };
    controls->version.setToolTip("tip");
    QCOMPARE(read(controls->version).text(QAccessible::Description), "tip");
    QCOMPARE(read(controls->picker).text(QAccessible::Description),
             "Chooses the game environment and its compatible client");
    QVERIFY(!read(controls->progress).state().busy);
    controls->progress.setIndeterminate(true);
    QVERIFY(read(controls->progress).state().busy);
  }

 private:
  // The controls, the lowest first, and the focus ring.
  QWidgetList inStackingOrder() const {
    return controls->play.parentWidget()->findChildren<QWidget *>(Qt::FindDirectChildrenOnly);
  }
  QWidgetList allControls() const { return inStackingOrder().first(controlCount); }
  QWidget &at(Control control) const { return *allControls()[static_cast<int>(control)]; }
  QByteArray nameOf(const QWidget &control) const {
    static const PerControl<const char *> names{
        "title",   "subtitle", "region caption", "region chooser", "status",
        "version", "progress", "primary button", "log button",     "footer"};
    return names[static_cast<std::size_t>(allControls().indexOf(&control))];
  }
  static QRectF frameOf(const QWidget &control) {
    return {control.contentsRect().translated(control.pos())};
  }
  // Waits until the controls are painted and placed anew.
  static void endTurn() {
    QEventLoop loop;
    TurnEnd end([&] { loop.quit(); });
    end.schedule();
    loop.exec();
    QCoreApplication::sendPostedEvents();
  }
  QImage picture() const {
    endTurn();
    return window->grab().toImage();
  }
  QImage pictureWithoutTexts() const {
    controls->log.show();
    for (QWidget *const one : allControls()) {
      setText(*one, " ");
    }
    return picture();
  }
  static void setText(QWidget &control, const QString &text) {
    if (auto *const label = dynamic_cast<Label *>(&control)) {
      label->setText(text);
    } else if (auto *const button = dynamic_cast<QAbstractButton *>(&control)) {
      button->setText(text);
    } else if (auto *const picker = dynamic_cast<RegionPicker *>(&control)) {
      picker->clear();
      picker->addRegion(text);
    }
  }
  void setDesktopFont(const QFont &font) {
    QVERIFY2(QFontDatabase::families().contains(font.family()), "not among the test's fonts");
    cleanup();
    QApplication::setFont(font);
    init();
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
  QFont defaultFont;
  std::unique_ptr<MainMenu> menu;
  std::unique_ptr<Controls> controls;
  std::unique_ptr<MainWindow> window;
};

TARVEX_TEST_MAIN(TestUi)
#include "test_ui.moc"
