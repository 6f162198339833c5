#include "platform/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <new>
#include <utility>

#include "platform/application.h"
#include "platform/event_descriptors.h"

namespace tarvex {
namespace {

constexpr int statusUnknown = -1;
constexpr std::size_t mostRead = 65536;

// A line costs a flush of the log, from a microsecond to some milliseconds: the turns are measured,
// not the bytes. Only while lines prove to be quick does a look at the clock serve for several.
constexpr std::chrono::milliseconds turn{8};
constexpr std::chrono::microseconds quick{50};
constexpr std::size_t mostAtOnce = 512;

std::error_code lastError() {
  return {errno, std::system_category()};
}

}  // namespace

ChildProcess::ChildProcess(Handlers handlers, QObject *parent)
    : QObject(parent),
      m_handlers(std::move(handlers)),
      m_buffers{std::vector<char>(mostRead), std::vector<char>(mostRead)} {}

ChildProcess *ChildProcess::start(const Program &program, Handlers handlers, QObject *parent,
                                  std::error_code &error) {
  try {
    std::unique_ptr<ChildProcess> process(new ChildProcess(std::move(handlers), parent));
    error = process->launch(program);
    return error ? nullptr : process.release();
  } catch (const std::bad_alloc &) {  // nothing runs yet
    error = std::make_error_code(std::errc::not_enough_memory);
    return nullptr;
  }
}

ChildProcess::~ChildProcess() {
  resume();
  if (m_thread.joinable()) {
    m_stopping = true;
    raiseEvent(m_wake);
    m_free.release(static_cast<std::ptrdiff_t>(m_buffers.size()));
    m_thread.join();  // it waits for nothing but these two
  }
}

std::error_code ChildProcess::launch(const Program &program) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return lastError();
  }
  m_pipe = Descriptor(ends[0]);
  const Descriptor writeEnd(ends[1]);
  m_wake = eventDescriptor();
  if (!m_wake) {
    return lastError();
  }
  if (const std::error_code error = spawn(program, writeEnd.get(), Session::ours, m_child)) {
    m_child = -1;
    return error;
  }
  const std::error_code error = startWatching();
  if (error) {
    // The machine is out of descriptors or threads. A child that nobody can watch must not stay.
    ::kill(m_child, SIGKILL);
    reap();
  }
  return error;
}

std::error_code ChildProcess::startWatching() {
  m_ended = exitDescriptor(m_child);
  if (!m_ended) {
    return lastError();
  }
  try {
    m_thread = std::thread(&ChildProcess::watch, this);
  } catch (const std::system_error &failure) {
    return failure.code();
  } catch (const std::bad_alloc &) {
    return std::make_error_code(std::errc::not_enough_memory);
  }
  return {};
}

int ChildProcess::reap() {
  int status = 0;
  pid_t reaped = -1;
  do {
    reaped = ::waitpid(m_child, &status, 0);
  } while (reaped < 0 && errno == EINTR);
  m_child = -1;
  if (reaped < 0) {
    return statusUnknown;  // somebody has set SIGCHLD so that the system throws it away
  }
  return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

bool ChildProcess::isRunning() const {
  siginfo_t info{};
  return m_child > 0 &&
         ::waitid(P_PID, static_cast<id_t>(m_child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == 0;
}

void ChildProcess::suspend(std::chrono::milliseconds atMost) {
  signal(SIGSTOP);
  m_suspension = static_cast<int>(atMost.count());
  raiseEvent(m_wake);
}

void ChildProcess::resume() {
  if (m_suspension.exchange(-1) >= 0) {
    signal(SIGCONT);
  }
}

void ChildProcess::terminate() {
  signal(SIGTERM);
  resume();
}

void ChildProcess::signal(int number) const {
  // Until it is reaped, which the main thread does once the reading thread has told it of the exit,
  // the number cannot belong to another process.
  if (m_child > 0) {
    ::kill(m_child, number);
  }
}

void ChildProcess::watch() {
  bool exitSeen = false;
  while (m_pipe || !exitSeen) {
    std::array<pollfd, 3> polled{{{m_wake.get(), POLLIN, 0},
                                  {exitSeen ? -1 : m_ended.get(), POLLIN, 0},
                                  {m_pipe.get(), POLLIN, 0}}};
    const auto &[woken, ended, readable] = polled;
    if (::poll(polled.data(), polled.size(), exitSeen ? -1 : m_suspension.load()) == 0) {
      resume();
    }
    if (woken.revents != 0) {
      takeEvent(m_wake);
    }
    if (m_stopping) {
      return;
    }
    if (ended.revents != 0) {
      // What the child wrote before it ended is in the pipe by now, and a pipe keeps the order: the
      // bytes that it holds at this moment are all that the exit has to wait for.
      passOnWhatIsHeld();
      if (m_stopping) {
        return;
      }
      awaitDelivery();
      exitSeen = true;
      handToMain(this, [this] { m_handlers.exited(reap()); });
    } else if (readable.revents != 0) {
      passOn(mostRead);
    }
  }
  awaitDelivery();
  handToMain(this, [this] {
    m_handlers.outputEnded();
    deleteLater();
  });
}

// Reads at most `most` bytes and hands them over. Returns their number; at the end of the output it
// closes the pipe.
std::size_t ChildProcess::passOn(std::size_t most) {
  m_free.acquire();
  if (m_stopping) {
    return 0;
  }
  std::vector<char> &buffer = m_buffers.at(m_nextBuffer);
  const ssize_t count = ::read(m_pipe.get(), buffer.data(), std::min(most, buffer.size()));
  if (count <= 0) {
    m_free.release();
    if (count == 0 || errno != EINTR) {
      m_pipe.reset();
    }
    return 0;
  }
  m_nextBuffer = (m_nextBuffer + 1) % m_buffers.size();
  const std::string_view chunk(buffer.data(), static_cast<std::size_t>(count));
  handToMain(this, [this, chunk] {
    m_undelivered.push(chunk);
    deliver();
  });
  return chunk.size();
}

void ChildProcess::passOnWhatIsHeld() {
  int held = 0;
  if (m_pipe) {
    ::ioctl(m_pipe.get(), FIONREAD, &held);
  }
  for (auto left = static_cast<std::size_t>(held); left > 0 && m_pipe && !m_stopping;) {
    left -= passOn(left);
  }
}

void ChildProcess::awaitDelivery() {
  for (std::size_t count = 0; count < m_buffers.size(); ++count) {
    m_free.acquire();
  }
  m_free.release(static_cast<std::ptrdiff_t>(m_buffers.size()));
}

void ChildProcess::deliver() {
  using Clock = std::chrono::steady_clock;
  Clock::time_point now = Clock::now();
  if (m_turnTimer == 0) {
    // Due long before the turn is over, so that no time is lost; but the event loop comes to it
    // only after it has looked at the window's events. A posted event would not do: one that is
    // posted on the heels of another is still handled in the same round of the loop.
    m_turnTimer = startTimer(1);
    m_turnEnd = now + turn;
    m_atOnce = 0;
  }
  for (; !m_undelivered.empty(); m_undelivered.pop(), m_free.release()) {
    for (std::string_view &chunk = m_undelivered.front(); !chunk.empty();) {
      if (now >= m_turnEnd) {
        m_interrupted = true;  // the timer goes on with it
        return;
      }
      const std::size_t lineFeed = chunk.find('\n', std::min(m_atOnce, chunk.size()));
      const std::string_view lines =
          chunk.substr(0, lineFeed == std::string_view::npos ? lineFeed : lineFeed + 1);
      chunk.remove_prefix(lines.size());
      m_handlers.output(lines);
      const Clock::time_point before = std::exchange(now, Clock::now());
      const bool isQuick = lines.back() == '\n' && now - before < quick;
      m_atOnce = isQuick ? std::min(2 * m_atOnce + 1, mostAtOnce) : 0;
    }
  }
}

void ChildProcess::timerEvent(QTimerEvent * /*event*/) {
  killTimer(std::exchange(m_turnTimer, 0));
  if (std::exchange(m_interrupted, false)) {
    deliver();
  }
}

}  // namespace tarvex
