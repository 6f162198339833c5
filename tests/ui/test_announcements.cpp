#include "ui/announcements.h"

#include <QList>
#include <QTest>

using namespace tarvex;

namespace {

constexpr Clock::time_point start{};

struct Turn {
  int at;  // milliseconds
  ShownLines lines;
  const char *words;  // taken at this time
};
using Turns = QList<Turn>;

constexpr const char *nothing = nullptr;

}  // namespace

class TestAnnouncements : public QObject {
  Q_OBJECT

 private slots:
  void turnsAreSaid_data() {
    QTest::addColumn<Turns>("turns");
    QTest::newRow("each change once") << Turns{{0, {"A", "x"}, "A"},
                                               {1, {"A", "y"}, nothing},
                                               {2, {"B", "y"}, "B"},
                                               {9000, {"B", "y"}, nothing},
                                               {9001, {"A", "x"}, "A"}};
    QTest::newRow("percentages are the bar's")
        << Turns{{0, {"A"}, "A"},
                 {1, {"B — 1%", "", true}, nothing},
                 {2, {"B — 2%", "", true}, nothing},
                 {3, {"A", "", true}, "A"},
                 {4, {"Ready to play 100%", "", false}, "Ready to play 100%"}};
    QTest::newRow("a failure has both lines")
        << Turns{{0, {"A", "x"}, "A"},
                 {1, {"Failed", "Why.", false, 1}, "Failed. Why."},
                 {2, {"Failed", "Why.", false, 1}, nothing},
                 {3, {"Failed", "Why.", false, 2}, "Failed. Why."},
                 {4, {"Failed", "", false, 3}, "Failed"},
                 {9000, {"A", "x", false, 3}, "A"}};
    // One more would be a flood.
    const Turns many{{0, {"A"}, "A"}, {1, {"B"}, "B"}, {2, {"A"}, "A"},
                     {3, {"B"}, "B"}, {4, {"A"}, "A"}, {5, {"B"}, "B"}};
    QTest::newRow("many changes are no flood")
        << many + Turns{{2000, {"A"}, "A"}, {2001, {"B"}, "B"}, {2002, {"A"}, "A"}};
    QTest::newRow("a flood") << many + Turns{{6, {"A"}, nothing},    {500, {"B"}, nothing},
                                             {1499, {"C"}, nothing}, {2498, {"C"}, nothing},
                                             {2499, {"C"}, "C"},     {9000, {"C"}, nothing}};
    QTest::newRow("a flood that ends where it began") << many + Turns{{6, {"A"}, nothing},
                                                                      {7, {"B"}, nothing},
                                                                      {1007, {"B"}, nothing},
                                                                      {9000, {"A"}, "A"}};
    QTest::newRow("a flood that ends with a percentage")
        << many + Turns{{6, {"A"}, nothing},
                        {7, {"B — 2%", "", true}, nothing},
                        {2000, {"B — 3%", "", true}, nothing}};
    QTest::newRow("a flood that ends with a failure like the last")
        << many +
               Turns{{2000, {"F", "x", false, 1}, "F. x"},  {2001, {"A", "", false, 1}, "A"},
                     {2002, {"B", "", false, 1}, "B"},      {2003, {"A", "", false, 1}, "A"},
                     {2004, {"F", "x", false, 2}, "F. x"},  {2005, {"F", "x", false, 3}, "F. x"},
                     {2006, {"F", "x", false, 4}, nothing}, {3006, {"F", "x", false, 4}, "F. x"}};
  }
  void turnsAreSaid() {
    QFETCH(Turns, turns);
    Announcements announcements;
    for (const Turn &turn : turns) {
      const Clock::time_point now = start + std::chrono::milliseconds(turn.at);
      announcements.note(turn.lines, now);
      const auto words = announcements.take(now);
      QVERIFY2(words == (turn.words ? std::optional<QString>(turn.words) : std::nullopt),
               qPrintable(QString("at %1: %2").arg(turn.at).arg(words.value_or("nothing"))));
      QCOMPARE(announcements.take(now), std::nullopt);
      QVERIFY(!announcements.due() || *announcements.due() > now);
    }
  }

  void valuesAreReportedEveryTenOrTenSeconds() {
    using namespace std::chrono_literals;
    QVERIFY(!isWorthTelling(39.9, start + 9999ms, 30, start));
    QVERIFY(isWorthTelling(40, start, 30, start));
    QVERIFY(isWorthTelling(20, start, 30, start));
    QVERIFY(isWorthTelling(30.1, start + 10s, 30, start));
    QVERIFY(!isWorthTelling(30, start + 20s, 30, start));
  }
};

QTEST_APPLESS_MAIN(TestAnnouncements)
#include "test_announcements.moc"
