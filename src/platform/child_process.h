// One child process: its start, its output and its end, after POSIX (posix_spawn, pipe) and Linux
// (pidfd).
//
// Standard output and standard error go to the write end of one pipe, so that they arrive in the
// order in which they were written; platform/spawn.h has the rest of the start. A thread of its own
// reads the pipe, watches for the end and reaps the child. The main thread gets all of it through
// an OutputQueue, in order and in bounded memory.
#pragma once

#include <sys/types.h>

#include <QObject>
#include <cstddef>
#include <functional>
#include <optional>
#include <semaphore>
#include <string_view>
#include <system_error>
#include <thread>

#include "platform/descriptor.h"
#include "platform/output_queue.h"
#include "platform/spawn.h"

namespace tarvex {

class ChildProcess : public QObject {
 public:
  // All are called on the main thread, from the event loop, in this order. A handler may do
  // anything but destroy the ChildProcess.
  struct Handlers {
    // Everything that was written before the child ended, cut anywhere, never empty.
    std::function<void(std::string_view bytes)> output;
    // The exit code, or the number of the fatal signal; negative when the system does not tell.
    std::function<void(int status)> exited;
    // Bytes of others who still hold the pipe, a daemon that the child left behind for instance.
    // The exit does not wait for them.
    std::function<void(std::string_view bytes)> lateOutput;
    // The last writer has closed the pipe.
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

  // The signal that has ended the child; nothing before `exited`, and when it ended by itself.
  std::optional<int> fatalSignal() const { return m_fatalSignal; }

  // Asks the child to end (SIGTERM), once: further calls do nothing, because a second signal would
  // interrupt the clean-up that the first one has begun. Never waits, never insists.
  void terminate();

 private:
  ChildProcess(Handlers handlers, QObject *parent);
  std::error_code launch(const Program &program);
  // The reading thread.
  void watch();
  std::size_t readOnce(std::size_t most);
  void readWhatIsHeld();

  Handlers m_handlers;
  OutputQueue m_queue;
  Descriptor m_pipe;  // read end; the reading thread's own
  Descriptor
      m_child;        // pidfd: names the child, reaped or not, and polls readable once it has ended
  Descriptor m_wake;  // polls readable once the reading thread shall stop
  std::counting_semaphore<> m_launched{0};  // the reading thread waits for the child
  bool m_askedToEnd = false;
  bool m_exitIsTold = false;
  std::optional<int> m_fatalSignal;
  std::thread m_thread;
};

}  // namespace tarvex
