// One child process: its start, its output and its end, after POSIX (posix_spawn, pipe, waitpid).
//
// Standard output and standard error go to the write end of one pipe, so that they arrive in the
// order in which they were written; for the rest of the start see platform/spawn.h.
//
// A thread of its own reads the pipe and watches for the end. It hands one chunk at a time to the
// main thread and reads on only when the event loop has had a turn after that chunk: memory stays
// bounded whatever the child writes, and the window stays alive.
#pragma once

#include <sys/types.h>

#include <QObject>
#include <atomic>
#include <cstddef>
#include <functional>
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
  // (never empty), then the exit once everything that the child wrote before it ended has been
  // handed over. The exit does not wait for others who hold the pipe, a daemon that the child left
  // behind for instance; what they still write follows in further chunks. outputEnded comes last,
  // when the last writer has closed the pipe.
  // A handler may do anything but delete the ChildProcess.
  struct Handlers {
    std::function<void(std::string_view chunk)> output;
    std::function<void(int status)> exited;  // the exit code, or the number of the fatal signal
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

  // Asks the child to end (SIGTERM). Never waits, never insists.
  void terminate();

 protected:
  void timerEvent(QTimerEvent *event) override;

 private:
  ChildProcess(Handlers handlers, QObject *parent);
  std::error_code launch(const Program &program);
  std::error_code startWatching();
  void watch();                          // the reading thread
  std::size_t passOn(std::size_t most);  // the reading thread
  void deliver(std::string_view chunk);
  int reap();

  Handlers m_handlers;
  pid_t m_child = -1;  // -1 once reaped
  Descriptor m_pipe;   // read end; the reading thread's own
  Descriptor m_ended;  // polls readable once the child has ended
  Descriptor m_stop;   // polls readable once the reading thread shall return
  // The reading thread's own, except that it waits while the main thread works on a chunk.
  std::vector<char> m_buffer;
  std::size_t m_chunkSize;
  std::counting_semaphore<> m_taken{0};
  std::atomic<bool> m_stopping = false;
  std::thread m_thread;
};

}  // namespace tarvex
