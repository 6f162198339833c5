// One child process: its start, its output and its end. POSIX (posix_spawn, pipe) and Linux
// (pidfd). Used on the main thread.
//
// Standard output and standard error share one pipe, so that their bytes arrive in the order in
// which they were written. platform/spawn.h has the rest of the start. One thread for each child
// reads the pipe, waits for the end and reaps the child. An OutputQueue hands bytes and events to
// the main thread, in order and in bounded memory.
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
  // All are required, and are called on the main thread, from the event loop, in this order.
  // `exited` and then `outputEnded` come exactly once, unless the object is deleted before. A
  // handler may do anything but delete the ChildProcess.
  struct Handlers {
    // Bytes that were written before the child ended, in chunks cut at any byte, never empty.
    std::function<void(std::string_view bytes)> output;
    // The exit code, or the number of the fatal signal; negative when it is unknown.
    std::function<void(int status)> exited;
    // Bytes that another process wrote into the pipe after the child's end: a daemon that the child
    // left behind, for instance. The exit does not wait for them.
    std::function<void(std::string_view bytes)> lateOutput;
    // The last writer has closed the pipe.
    std::function<void()> outputEnded;
  };

  // Starts a child. Null on failure, with the system's error in `error`; then no child runs and
  // nothing is left open. The object deletes itself after outputEnded. When its parent deletes it
  // before, the child goes on with a pipe that has no reader.
  static ChildProcess *start(const Program &program, Handlers handlers, QObject *parent,
                             std::error_code &error);
  ~ChildProcess() override;

  // False as soon as the child has ended, which may be before `exited` is called.
  bool isRunning() const;

  // The signal that ended the child. Absent before `exited`, and after an exit without a signal.
  std::optional<int> fatalSignal() const { return m_fatalSignal; }

  // Asks the child to end (SIGTERM) and returns at once. Further calls do nothing, because a second
  // signal would interrupt the clean-up that the first one has begun.
  void terminate();

 private:
  ChildProcess(Handlers handlers, QObject *parent);
  std::error_code launch(const Program &program);
  // On the reading thread.
  void watch();
  std::size_t readOnce(std::size_t most);
  void readWhatIsHeld();

  Handlers m_handlers;
  OutputQueue m_queue;
  Descriptor m_pipe;                        // read end; used by the reading thread alone
  Descriptor m_child;                       // pidfd; see childDescriptor
  Descriptor m_wake;                        // becomes readable when the reading thread must stop
  std::counting_semaphore<> m_launched{0};  // the reading thread waits for the child
  bool m_askedToEnd = false;
  bool m_exitIsTold = false;
  std::optional<int> m_fatalSignal;
  std::thread m_thread;
};

}  // namespace tarvex
