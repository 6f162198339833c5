#include "platform/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "platform/event_descriptors.h"

namespace tarvex {
namespace {

constexpr int statusUnknown = -1;
constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

std::error_code lastError() {
  return {errno, std::system_category()};
}

struct End {
  int status;
  bool isSignal;
};

// The child's end. Absent while a tracer (ptrace) has not released the dead child.
std::optional<End> reap(const Descriptor &child) {
  siginfo_t info{};
  if (::waitid(P_PIDFD, static_cast<id_t>(child.get()), &info, WEXITED | WNOHANG) != 0) {
    return End{statusUnknown, false};  // a library has made the process ignore SIGCHLD
  }
  return info.si_pid != 0 ? std::optional(End{info.si_status, info.si_code != CLD_EXITED})
                          : std::nullopt;
}

}  // namespace

ChildProcess::ChildProcess(Handlers handlers, QObject *parent)
    : QObject(parent), m_handlers(std::move(handlers)), m_queue([this](std::string_view bytes) {
        (m_exitIsTold ? m_handlers.lateOutput : m_handlers.output)(bytes);
      }) {}

ChildProcess *ChildProcess::start(const Program &program, Handlers handlers, QObject *parent,
                                  std::error_code &error) {
  try {
    std::unique_ptr<ChildProcess> process(new ChildProcess(std::move(handlers), parent));
    error = process->launch(program);
    return error ? nullptr : process.release();
  } catch (const std::bad_alloc &) {
    error = std::make_error_code(std::errc::not_enough_memory);
  } catch (const std::system_error &failure) {
    error = failure.code();
  }
  return nullptr;
}

ChildProcess::~ChildProcess() {
  if (m_thread.joinable()) {
    raiseEvent(m_wake);
    m_queue.close();
    m_launched.release();
    m_thread.join();  // returns soon: the calls above end every wait of the thread
  }
}

// The thread starts before the child: if there is no thread to watch it, no child must run. After
// the child's start, nothing throws.
std::error_code ChildProcess::launch(const Program &program) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return lastError();
  }
  m_pipe = Descriptor(ends[0]);
  const Descriptor writeEnd(ends[1]);
  m_wake = eventDescriptor();
  // Reserves a number for the child's descriptor. A lack of descriptors must be noticed before the
  // child runs.
  Descriptor placeholder = eventDescriptor();
  if (!m_wake || !placeholder) {
    return lastError();
  }
  m_thread = std::thread(&ChildProcess::watch, this);
  pid_t child = -1;
  if (const std::error_code error = spawn(program, writeEnd.get(), Session::ours, child)) {
    return error;
  }
  placeholder.reset();
  m_child = childDescriptor(child);
  if (!m_child) {  // the kernel has run out of memory
    // SIGKILL is harmless to a child that has just started. An unwatched updater must not run.
    const std::error_code error = lastError();
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, WNOHANG);
    return error;
  }
  m_launched.release();
  return {};
}

bool ChildProcess::isRunning() const {
  pollfd ended{m_child.get(), POLLIN, 0};
  return ::poll(&ended, 1, 0) == 0;
}

void ChildProcess::terminate() {
  if (!std::exchange(m_askedToEnd, true)) {
    sendSignal(m_child, SIGTERM);
  }
}

void ChildProcess::watch() {
  enum class Child { runs, ended, reaped };
  // In milliseconds. No event tells when a tracer has released the dead child.
  constexpr int untilAskedAgain = 100;
  m_launched.acquire();
  for (Child child = Child::runs; m_pipe || child != Child::reaped;) {
    // poll ignores negative descriptors: an ended child, a closed pipe.
    std::array<pollfd, 3> polled{{{m_wake.get(), POLLIN, 0},
                                  {child == Child::runs ? m_child.get() : -1, POLLIN, 0},
                                  {m_pipe.get(), POLLIN, 0}}};
    const auto &[woken, ended, readable] = polled;
    ::poll(polled.data(), polled.size(), child == Child::ended ? untilAskedAgain : -1);
    if (woken.revents != 0) {
      return;
    }
    if (ended.revents != 0) {  // before the pipe, which a daemon may keep readable for ever
      readWhatIsHeld();
      child = Child::ended;
    } else if (readable.revents != 0) {
      readOnce(unlimited);
    }
    if (child == Child::ended) {
      if (const std::optional<End> end = reap(m_child)) {
        child = Child::reaped;
        m_queue.push([this, end] {
          m_exitIsTold = true;
          if (end->isSignal) {
            m_fatalSignal = end->status;
          }
          m_handlers.exited(end->status);
        });
      }
    }
  }
  m_queue.push([this] {
    m_handlers.outputEnded();
    deleteLater();
  });
}

// Reads at most `most` bytes. Returns their number; at the end of the output it closes the pipe.
std::size_t ChildProcess::readOnce(std::size_t most) {
  const std::span<char> buffer = m_queue.buffer();
  if (buffer.empty()) {
    return 0;
  }
  const ssize_t count = ::read(m_pipe.get(), buffer.data(), std::min(most, buffer.size()));
  if (count == 0 || (count < 0 && errno != EINTR)) {
    m_pipe.reset();
  }
  const auto size = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  m_queue.push(size);
  return size;
}

// The child's last bytes are in the pipe when it has ended. Reading exactly as many as the pipe
// holds now is enough. Waiting for the end of the output could take for ever: a daemon may keep
// the pipe open.
void ChildProcess::readWhatIsHeld() {
  int held = 0;
  if (m_pipe) {
    ::ioctl(m_pipe.get(), FIONREAD, &held);
  }
  for (auto left = static_cast<std::size_t>(held); left > 0 && m_pipe;) {
    const std::size_t count = readOnce(left);
    if (count == 0) {
      return;
    }
    left -= count;
  }
}

}  // namespace tarvex
