// Bytes and events on their way from one reading thread to the main thread: in order, in bounded
// memory, and without keeping the window from answering.
//
// The reading thread fills one of two buffers while the main thread works on the other. With both
// taken it waits: that is the back-pressure. The main thread works for 8 ms in a turn of the event
// loop, however many bytes there are and however long a line takes.
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
  // Called on the main thread with the bytes in order, never none. Several lines come in one call
  // only while lines prove to be quick to use. A call may hold a part of a line.
  using Use = std::function<void(std::string_view bytes)>;

  // Main thread; throws std::bad_alloc. Nothing is used or called any more once the queue is
  // destroyed, which the reading thread must not outlive. `use` and the events may do anything but
  // destroy the queue.
  explicit OutputQueue(Use use);

  // Reading thread: waits for a free buffer of 64 KiB. It is empty once the queue is closed. A call
  // of push must follow.
  std::span<char> buffer();
  // Reading thread: hands over the first `count` bytes of that buffer; with 0 it is free again.
  void push(std::size_t count);
  // Reading thread: an event, to be called on the main thread after all bytes pushed before it.
  void push(std::function<void()> event);

  // Main thread: ends the waiting of the reading thread, for good.
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
  std::size_t m_next = 0;  // the reading thread's, the buffer to fill
  std::atomic<bool> m_closed = false;
  // The main thread's.
  std::queue<Item> m_items;
  TurnEnd m_turn;  // scheduled from its beginning on
  Clock::time_point m_now;
  Clock::time_point m_turnEnd;
  std::size_t m_batch = 0;  // minimum size of a call's bytes, which then end at the next line feed
  bool m_interrupted = false;  // at the end of a turn, with items left
};

}  // namespace tarvex
