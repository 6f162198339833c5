#include <QTest>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "platform/output_queue.h"
#include "platform/turn_end.h"
#include "test_application.h"

using namespace tarvex;

namespace {

bool push(OutputQueue &queue, std::string_view bytes) {
  const std::span<char> buffer = queue.buffer();
  if (!buffer.empty()) {
    std::copy(bytes.begin(), bytes.end(), buffer.begin());
    queue.push(bytes.size());
  }
  return !buffer.empty();
}

void workFor(std::chrono::microseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) {
  }
}

std::string lines(int count) {
  return QByteArray("a line\n").repeated(count).toStdString();
}

}  // namespace

class TestOutputQueue : public QObject {
  Q_OBJECT

 private slots:
  void bytesAndEventsKeepTheirOrder() {
    QByteArray seen;
    OutputQueue queue([&](std::string_view bytes) { seen.append(bytes); });
    std::thread reader([&] {
      for (int index = 0; index < 100; ++index) {
        push(queue, std::to_string(index) + (index % 3 == 0 ? "\n" : " "));
        queue.push([&] { seen.append('|'); });
        queue.buffer();
        queue.push(0);  // gives the buffer back
      }
      queue.push([&] { seen.append('.'); });
    });
    QTRY_VERIFY(seen.endsWith('.'));
    reader.join();
    QByteArray expected;
    for (int index = 0; index < 100; ++index) {
      expected += QByteArray::number(index) + (index % 3 == 0 ? "\n|" : " |");
    }
    QCOMPARE(seen, expected + '.');
  }

  void readerWaitsForTheMainThread() {
    qsizetype used = 0;
    std::atomic<int> pushed = 0;
    OutputQueue queue([&](std::string_view bytes) { used += qsizetype(bytes.size()); });
    std::thread reader([&] {
      while (push(queue, "some bytes")) {
        ++pushed;
      }
    });
    while (pushed < 2) {
    }
    workFor(std::chrono::milliseconds(50));
    QCOMPARE(pushed, 2);  // two buffers: the event loop has not run
    QTRY_VERIFY(used > 1000);
    queue.close();
    reader.join();  // close has ended its wait
  }

  // Events of the window come between two turns. Quick lines come in batches, which
  // must shrink when lines become slow.
  void turnIsLimitedByTime_data() {
    QTest::addColumn<int>("quickLines");
    QTest::addColumn<int>("microseconds");  // the cost of each line after the quick ones
    QTest::addColumn<int>("most");          // lines in a turn of 8 ms, with a margin
    QTest::newRow("slow from the start") << 0 << 500 << 40;
    QTest::newRow("slow after quick ones") << 3000 << 500 << 40;
    QTest::newRow("one line longer than a turn") << 0 << 10000 << 1;
  }
  void turnIsLimitedByTime() {
    QFETCH(int, quickLines);
    QFETCH(int, microseconds);
    QFETCH(int, most);
    int count = 0;
    int quickCalls = 0;
    int slowCalls = 0;
    int inThisTurn = 0;
    int mostInATurn = 0;
    OutputQueue queue([&](std::string_view bytes) {
      const auto here = static_cast<int>(std::count(bytes.begin(), bytes.end(), '\n'));
      const bool isQuick = count < quickLines;
      count += here;
      if (isQuick) {
        ++quickCalls;
        return;
      }
      QVERIFY2(slowCalls++ == 0 || here == 1, told(here));
      mostInATurn = std::max(mostInATurn, ++inThisTurn);
      workFor(std::chrono::microseconds(microseconds));
    });
    QTimer window;
    connect(&window, &QTimer::timeout, this, [&] { inThisTurn = 0; });
    window.start(0);
    constexpr int slowLines = 100;
    std::thread reader([&] {
      push(queue, lines(quickLines + slowLines / 2));
      push(queue, lines(slowLines / 2));
    });
    reader.join();
    QTRY_COMPARE_WITH_TIMEOUT(count, quickLines + slowLines, 30000);
    QVERIFY2(mostInATurn <= most, told(mostInATurn));
    QVERIFY2(quickCalls <= quickLines / 4, told(quickCalls));
  }

  void turnEndRunsOnce() {
    int ends = 0;
    TurnEnd turn([&] { ++ends; });
    for (int round = 0; round < 1000; ++round) {
      turn.schedule();
    }
    QCOMPARE(ends, 0);
    QTRY_COMPARE(ends, 1);
    QVERIFY(!turn.isScheduled());
    turn.schedule();
    QTRY_COMPARE(ends, 2);
  }
};

TARVEX_TEST_MAIN(TestOutputQueue)
#include "test_output_queue.moc"
