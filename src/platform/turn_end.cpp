#include "platform/turn_end.h"

#include <utility>

namespace tarvex {

TurnEnd::TurnEnd(std::function<void()> action) : m_action(std::move(action)) {}

// A posted event would not do: the event loop handles one that is posted by another in the same
// round. A timer without delay would not do either: events that keep coming put it off. This one is
// due early; the event loop comes to it after it has looked at the window's events.
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
