// Something to be done once, when the current turn of the event loop ends, however often it is
// asked for before. Main thread.
#pragma once

#include <QObject>
#include <functional>

namespace tarvex {

class TurnEnd : public QObject {
 public:
  explicit TurnEnd(std::function<void()> action);

  // The action runs from the event loop, after the events of the window that are there by then.
  void schedule();
  bool isScheduled() const { return m_timer != 0; }

 protected:
  void timerEvent(QTimerEvent *event) override;

 private:
  std::function<void()> m_action;
  int m_timer = 0;
};

}  // namespace tarvex
