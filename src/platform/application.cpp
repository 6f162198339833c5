#include "platform/application.h"

#include <QSessionManager>
#include <QSocketNotifier>
#include <QWidget>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "platform/event_descriptors.h"
#include "platform/notification.h"
#include "platform/single_instance.h"

namespace tarvex {
namespace {

constexpr std::array quitSignals{SIGINT, SIGTERM, SIGHUP};

// Signal and exit handlers get no context argument, so they need globals.
Application *theApplication = nullptr;
const Descriptor *quitSignalEvent = nullptr;

// Async-signal-safe: the interrupted code may be anywhere, even between a call and its errno.
void onQuitSignal(int /*signal*/) {
  const int before = errno;
  raiseEvent(*quitSignalEvent);
  errno = before;
}

bool isIgnored(int signal) {
  struct sigaction action {};
  ::sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

// The parent process may have left any signal blocked or ignored, usually by accident. Only an
// ignored SIGHUP is intended: nohup sets it.
void receiveQuitSignals() {
  sigset_t wanted;
  sigemptyset(&wanted);
  for (const int signal : quitSignals) {
    if (signal == SIGHUP && isIgnored(signal)) {
      continue;
    }
    struct sigaction action {};
    action.sa_handler = onQuitSignal;
    action.sa_flags = SA_RESTART;  // libraries do not expect EINTR
    ::sigaction(signal, &action, nullptr);
    sigaddset(&wanted, signal);
  }
  ::pthread_sigmask(SIG_UNBLOCK, &wanted, nullptr);
}

}  // namespace

QString quitTitle() {
  return QStringLiteral("Quit Tarvex Launcher");
}

Application::Application(int &argumentCount, char **arguments)
    : QApplication(argumentCount, arguments), m_quitSignal(eventDescriptor()) {
  setOrganizationName(QStringLiteral("Tarvex"));
  setApplicationName(QStringLiteral("tarvex-launcher"));
  setDesktopFileName(QStringLiteral("com.tarvex.launcher"));  // gives windows their desktop entry
  setQuitOnLastWindowClosed(false);                           // the delegate decides
  connect(this, &QGuiApplication::lastWindowClosed, this, [this] {
    if (m_delegate->applicationShouldTerminateAfterLastWindowClosed()) {
      terminate();
    }
  });
  connect(this, &QGuiApplication::commitDataRequest, this, [this](QSessionManager &session) {
    // The session manager permits a cancel only together with interaction (XSMP).
    if (m_delegate->applicationShouldTerminate() == TerminateReply::cancel &&
        session.allowsInteraction()) {
      session.cancel();
    }
  });

  theApplication = this;
  quitSignalEvent = &m_quitSignal;
  m_quitNotifier = std::make_unique<QSocketNotifier>(m_quitSignal.get(), QSocketNotifier::Read);
  connect(m_quitNotifier.get(), &QSocketNotifier::activated, this, [this] {
    takeEvent(m_quitSignal);
    terminate();
  });
  receiveQuitSignals();
}

Application::~Application() {
  // The handler must not write to the descriptor that is closed next.
  for (const int signal : quitSignals) {
    if (!isIgnored(signal)) {
      std::signal(signal, SIG_DFL);
    }
  }
  theApplication = nullptr;
}

int Application::run() {
  // Qt calls exit() when the X connection breaks, in the middle of any call. The delegate's last
  // step runs here then. _Exit follows because other threads may still use static objects, which
  // exit() would destroy.
  std::atexit([] {
    if (theApplication != nullptr) {
      theApplication->willTerminate();
      std::_Exit(EXIT_FAILURE);
    }
  });
  handToMain(this, [this] {
    m_delegate->applicationDidFinishLaunching();
    if (m_instance != nullptr) {
      m_instance->serve([this](const StartupTokens &tokens) {
        return m_delegate->applicationShouldHandleReopen(tokens);
      });
    }
  });
  const int result = exec();
  willTerminate();
  return result;
}

void Application::terminate() {
  if (m_delegate->applicationShouldTerminate() == TerminateReply::now) {
    if (m_instance != nullptr) {
      m_instance->stopServing();  // a second start must not rely on a window that will close
    }
    exit(0);
  }
}

void Application::willTerminate() {
  // Only once: after run() has returned, the exit handler may call this function again.
  if (ApplicationDelegate *delegate = std::exchange(m_delegate, nullptr)) {
    delegate->applicationWillTerminate();
  }
}

void Application::requestUserAttention(QWidget &window, const QString &summary,
                                       const QString &body) {
  // In a later turn of the event loop: a failure at the start comes before the window is shown.
  handToMain(&window, [this, &window, summary, body] {
    if (window.isVisible()) {
      alert(&window);
    } else {
      showNotification({summary, body, quitTitle()}, this, [this] { terminate(); });
    }
  });
}

bool Application::event(QEvent *event) {
  if (event->type() == QEvent::Quit) {  // from the end of the session, or from the system's menu
    terminate();
    return true;
  }
  return QApplication::event(event);
}

void handToMain(QObject *receiver, std::function<void()> closure) {
  QMetaObject::invokeMethod(receiver, std::move(closure), Qt::QueuedConnection);
}

}  // namespace tarvex
