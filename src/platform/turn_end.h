// Runs an action once at the end of the current turn of the event loop, however often it is
// scheduled before. Main thread; destroying the object cancels the action.
#pragma once

#include <QObject>
#include <functional>

namespace tarvex {

class TurnEnd : public QObject {
 public:
  explicit TurnEnd(std::function<void()> action);

  // The action runs from the event loop, after the window's events that have arrived by then.
  void schedule();
  bool isScheduled() const { return m_timer != 0; }

 protected:
  void timerEvent(QTimerEvent *event) override;

 private:
  std::function<void()> m_action;
  int m_timer = 0;
};

}  // namespace tarvex
