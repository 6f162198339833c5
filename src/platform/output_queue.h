// A queue of bytes and events from one reading thread to the main thread: in order, in bounded
// memory, and with time for the window in between.
//
// The reading thread fills one of two buffers while the main thread uses the other. When both are
// full, the reading thread waits; this is the back-pressure. The main thread uses bytes for about
// 8 ms in each turn of the event loop, even if more bytes are waiting.
#pragma once

#include <QObject>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <queue>
#include <semaphore>
#include <span>
#include <string_view>
#include <vector>

#include "platform/turn_end.h"

namespace tarvex {

class OutputQueue : public QObject {
 public:
  // Called on the main thread with the bytes in order, at least one. A call gets one line or a part
  // of a line, or a batch of lines if the calls before it were quick.
  using Use = std::function<void(std::string_view bytes)>;

  // Main thread; throws std::bad_alloc. `use` and the events may do anything but destroy the queue.
  // The reading thread must end before the queue is destroyed; bytes and events that are left are
  // dropped.
  explicit OutputQueue(Use use);

  // Reading thread: waits for a free buffer of 64 KiB and returns it. Empty when the queue is
  // closed; otherwise, call push next.
  std::span<char> buffer();
  // Reading thread: hands over the first `count` bytes of that buffer. With 0, gives it back.
  void push(std::size_t count);
  // Reading thread: hands over an event. The main thread calls it after all bytes pushed before it.
  void push(std::function<void()> event);

  // Main thread: from now on the reading thread never waits.
  void close();

 private:
  struct Item {
    std::string_view bytes;
    std::function<void()> event;  // where there are no bytes
  };
  void handToMain(Item item);
  void work();
  void useBytes(std::string_view &bytes);

  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t bufferCount = 2;

  Use m_use;
  std::array<std::vector<char>, bufferCount> m_buffers;
  std::counting_semaphore<> m_free{bufferCount};
  std::size_t m_next = 0;  // the buffer to fill; used by the reading thread alone
  std::atomic<bool> m_closed = false;

  // Used by the main thread alone.
  std::queue<Item> m_items;
  TurnEnd m_turn;  // scheduled from the beginning of a turn to its end
  Clock::time_point m_now;
  Clock::time_point m_turnEnd;
  std::size_t m_batch = 0;     // minimum batch in bytes; a batch ends at the next line feed
  bool m_interrupted = false;  // the turn's time was up before all items were used
};

}  // namespace tarvex
