#include "platform/turn_end.h"

#include <utility>

namespace tarvex {

TurnEnd::TurnEnd(std::function<void()> action) : m_action(std::move(action)) {}

// Not a posted event: when another posted event posts it, the event loop handles it in the same
// round, before the window's events. Not a timer of 0 ms: new events could delay it without limit.
// A timer of 1 ms runs after the event loop has looked at the window's events.
void TurnEnd::schedule() {
  if (m_timer == 0) {
    m_timer = startTimer(1);
  }
}

void TurnEnd::timerEvent(QTimerEvent * /*event*/) {
  killTimer(std::exchange(m_timer, 0));
  m_action();
}

}  // namespace tarvex
