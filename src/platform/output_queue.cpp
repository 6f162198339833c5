#include "platform/output_queue.h"

#include <algorithm>
#include <utility>

#include "platform/application.h"

namespace tarvex {
namespace {

constexpr std::size_t bufferSize = 65536;

// Each line is flushed to the log, which takes from a microsecond to some milliseconds. So a turn
// is limited by time, not by bytes. Reading the clock after every line would slow down quick lines;
// these come in batches that double up to `largestBatch` bytes.
constexpr std::chrono::milliseconds turn{8};
constexpr std::chrono::microseconds quick{50};
constexpr std::size_t largestBatch = 512;

}  // namespace

OutputQueue::OutputQueue(Use use)
    : m_use(std::move(use)),
      m_buffers{std::vector<char>(bufferSize), std::vector<char>(bufferSize)},
      m_turn([this] {
        if (std::exchange(m_interrupted, false)) {
          work();
        }
      }) {}

std::span<char> OutputQueue::buffer() {
  m_free.acquire();
  return m_closed ? std::span<char>() : m_buffers.at(m_next);
}

void OutputQueue::push(std::size_t count) {
  if (count == 0) {
    m_free.release();
    return;
  }
  handToMain({{m_buffers.at(m_next).data(), count}, {}});
  m_next = (m_next + 1) % m_buffers.size();
}

void OutputQueue::push(std::function<void()> event) {
  handToMain({{}, std::move(event)});
}

void OutputQueue::handToMain(Item item) {
  tarvex::handToMain(this, [this, item = std::move(item)]() mutable {
    m_items.push(std::move(item));
    work();
  });
}

void OutputQueue::close() {
  m_closed = true;
  m_free.release();  // wakes a waiting reader, which then sees m_closed
}

void OutputQueue::work() {
  m_now = Clock::now();
  if (!m_turn.isScheduled()) {
    m_turn.schedule();
    m_turnEnd = m_now + turn;
    m_batch = 0;
  }
  while (!m_items.empty()) {
    if (m_now >= m_turnEnd) {
      m_interrupted = true;
      return;
    }
    Item &item = m_items.front();
    if (item.event) {
      const std::function<void()> event = std::move(item.event);
      m_items.pop();
      event();
      m_now = Clock::now();
      continue;
    }
    useBytes(item.bytes);
    if (item.bytes.empty()) {
      m_items.pop();
      m_free.release();
    }
  }
}

void OutputQueue::useBytes(std::string_view &bytes) {
  const std::size_t lineFeed = bytes.find('\n', std::min(m_batch, bytes.size()));
  const std::string_view batch =
      bytes.substr(0, lineFeed == std::string_view::npos ? lineFeed : lineFeed + 1);
  bytes.remove_prefix(batch.size());
  m_use(batch);
  const Clock::time_point before = std::exchange(m_now, Clock::now());
  const bool isQuick = batch.back() == '\n' && m_now - before < quick;
  m_batch = isQuick ? std::min(2 * m_batch + 1, largestBatch) : 0;
}

}  // namespace tarvex
