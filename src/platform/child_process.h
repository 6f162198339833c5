// One child process: its start, its output and its end, after POSIX (posix_spawn, pipe, waitpid).
//
// Standard output and standard error go to the write end of one pipe, so that they arrive in the
// order in which they were written; for the rest of the start see platform/spawn.h.
//
// A thread of its own reads the pipe and watches for the end. It is never more than two reads ahead
// of the main thread, which works on them for a few milliseconds in each turn of the event loop:
// memory stays bounded whatever the child writes, and the window alive.
#pragma once

#include <sys/types.h>

#include <QObject>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <queue>
#include <semaphore>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/descriptor.h"
#include "platform/spawn.h"

namespace tarvex {

class ChildProcess : public QObject {
 public:
  // All are called on the main thread, from the event loop, in the order of the events: each chunk
  // (never empty; several lines or a part of one, cut anywhere), then the exit once everything that
  // the child wrote before it ended has been handed over. The exit does not wait for others who
  // hold the pipe, a daemon that the child left behind for instance; what they still write follows
  // in further chunks. outputEnded comes last, when the last writer has closed the pipe. A handler
  // may do anything but delete the ChildProcess.
  struct Handlers {
    std::function<void(std::string_view chunk)> output;
    // The exit code, or the number of the fatal signal; negative when the system does not tell.
    std::function<void(int status)> exited;
    std::function<void()> outputEnded;
  };

  // Starts a child. Null on failure, with the system's error in `error`; then nothing was started
  // and nothing is left open. The object deletes itself after outputEnded, or goes with its parent
  // before; the child then lives on, but nobody reads it.
  static ChildProcess *start(const Program &program, Handlers handlers, QObject *parent,
                             std::error_code &error);
  ~ChildProcess() override;

  // Whether the system still runs the child. False as soon as it has ended, which may be before
  // the exit is handed over.
  bool isRunning() const;

  // Keeps the child from running (SIGSTOP) until resume (SIGCONT), terminate or the end of this
  // object, whichever comes first, and no longer than `atMost`, even if the main thread hangs. To
  // resume a child that is not suspended does nothing.
  void suspend(std::chrono::milliseconds atMost);
  void resume();

  // Asks the child to end (SIGTERM). Never waits, never insists.
  void terminate();

 protected:
  void timerEvent(QTimerEvent *event) override;

 private:
  ChildProcess(Handlers handlers, QObject *parent);
  std::error_code launch(const Program &program);
  std::error_code startWatching();
  // The reading thread.
  void watch();
  std::size_t passOn(std::size_t most);
  void passOnWhatIsHeld();
  void awaitDelivery();

  void deliver();
  void signal(int number) const;
  int reap();

  Handlers m_handlers;
  pid_t m_child = -1;  // -1 once reaped
  Descriptor m_pipe;   // read end; the reading thread's own
  Descriptor m_ended;  // polls readable once the child has ended
  Descriptor m_wake;   // polls readable once the reading thread shall look at what is below
  // The reading thread fills the buffers in turn, and waits for one that the main thread is done
  // with.
  static constexpr std::size_t bufferCount = 2;
  std::array<std::vector<char>, bufferCount> m_buffers;
  std::size_t m_nextBuffer = 0;
  std::counting_semaphore<> m_free{bufferCount};
  std::queue<std::string_view> m_undelivered;  // the main thread's
  int m_turnTimer = 0;  // runs from the beginning of a turn until the event loop comes round
  std::chrono::steady_clock::time_point m_turnEnd;
  std::size_t m_atOnce = 0;    // bytes after which the next line feed ends what is handed over
  bool m_interrupted = false;  // at the end of a turn, with something undelivered
  std::atomic<int> m_suspension = -1;  // milliseconds at most; -1 while not suspended
  std::atomic<bool> m_stopping = false;
  std::thread m_thread;
};

}  // namespace tarvex
