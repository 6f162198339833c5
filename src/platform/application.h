// The application object: the event loop, the orderly end, and the hand-off to the main thread. One
// object, on the main thread. Public standards: POSIX signals, X session management (XSMP) and the
// Desktop Notifications Specification, through Qt.
#pragma once

#include <QApplication>
#include <functional>
#include <memory>

#include "platform/descriptor.h"

class QSocketNotifier;

namespace tarvex {

class SingleInstance;
struct StartupTokens;

// The title of every entry and button that ends the application.
QString quitTitle();

enum class TerminateReply { cancel, now };

// Receives the application's events and answers its questions, always on the main thread.
class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;
  // Called once, by the event loop's first turn.
  virtual void applicationDidFinishLaunching() = 0;
  // Another launcher was started. Returns true after raising our window; the other one then ends.
  virtual bool applicationShouldHandleReopen(const StartupTokens &tokens) = 0;
  virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;
  // Called for each request to end; may be called again after a cancel.
  virtual TerminateReply applicationShouldTerminate() = 0;
  // Called once, after the event loop. It is the last call.
  virtual void applicationWillTerminate() = 0;
};

// Every request to end goes through terminate(): the menu, closing the last window, SIGINT, SIGTERM
// and SIGHUP, and the end of the desktop session. The reply cancel also cancels the session's end.
// A SIGHUP that was ignored at the start, as under nohup, stays ignored.
// When the X server ends, the delegate is not asked, but applicationWillTerminate still runs. When
// a Wayland compositor ends, Qt exits at once and skips applicationWillTerminate.
class Application : public QApplication {
 public:
  // Both arguments must outlive the application. Pass a count of 1: Qt removes its own options from
  // any position in an argument list.
  Application(int &argumentCount, char **arguments);
  ~Application() override;

  // Call this before run() and before any window is shown. The delegate must outlive run().
  void setDelegate(ApplicationDelegate &delegate) { m_delegate = &delegate; }
  // Optional; call it before run(). The delegate gets the requests of other launchers after
  // applicationDidFinishLaunching and until the application ends. The instance must outlive the
  // application.
  void setInstance(SingleInstance &instance) { m_instance = &instance; }
  // Runs the event loop until the end. Returns the exit status of the program.
  int run();

  void terminate();

  // Marks the window as demanding attention until it becomes active. While it is hidden, a desktop
  // notification shows the two lines and offers to quit.
  void requestUserAttention(QWidget &window, const QString &summary, const QString &body);

 protected:
  bool event(QEvent *event) override;

 private:
  void willTerminate();

  ApplicationDelegate *m_delegate = nullptr;
  SingleInstance *m_instance = nullptr;
  Descriptor m_quitSignal;
  std::unique_ptr<QSocketNotifier> m_quitNotifier;
};

// Runs the closure on the main thread, from the event loop, in the order of the calls. The receiver
// lives on the main thread; when it is destroyed first, the closure is dropped. May be called on
// any thread, as long as the receiver lives during the call.
void handToMain(QObject *receiver, std::function<void()> closure);

}  // namespace tarvex
