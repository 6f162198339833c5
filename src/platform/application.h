// The application object: the event loop, the orderly end, and the hand-off to the main thread.
#pragma once

#include <QApplication>
#include <functional>
#include <memory>

#include "platform/descriptor.h"

class QSocketNotifier;

namespace tarvex {

class SingleInstance;
struct StartupTokens;

// What the wish to end the application is called, wherever it can be chosen.
QString quitTitle();

enum class TerminateReply { cancel, now };

// What the application asks of its one delegate, always on the main thread.
class ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;
  virtual void applicationDidFinishLaunching() = 0;  // once, when the event loop has begun
  // Another launcher was started. True: our window has come forward, and the other one ends.
  virtual bool applicationShouldHandleReopen(const StartupTokens &tokens) = 0;
  virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;
  virtual TerminateReply applicationShouldTerminate() = 0;
  virtual void applicationWillTerminate() = 0;  // once, after the event loop; nothing follows
};

// Every wish to end goes through terminate(): the menu, the last window's closing, SIGINT, SIGTERM
// and SIGHUP, and the end of the desktop session (which is asked to stay when the reply is cancel).
// A SIGHUP that is ignored when the application is made, as under nohup, stays so.
// When an X server goes away there is no asking, but the delegate's last step still runs. When a
// Wayland compositor does, Qt ends the process on the spot.
class Application : public QApplication {
 public:
  // Both arguments must outlive the application. Pass a count of 1: Qt picks options of
  // its own out of an argument list, wherever they stand.
  Application(int &argumentCount, char **arguments);
  ~Application() override;

  // Before run() and before any window is shown. The delegate must outlive run().
  void setDelegate(ApplicationDelegate &delegate) { m_delegate = &delegate; }
  // Before run(), too, and optional: the delegate hears of other starts between its first step and
  // the decision to end. The instance must outlive the application.
  void setInstance(SingleInstance &instance) { m_instance = &instance; }
  int run();

  void terminate();

  // Draws the player's attention to the window, which shows these two lines, until it becomes
  // active. While it is hidden, a desktop notification shows the lines and offers to quit.
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

// Runs the closure on the main thread, from the event loop, after all that were handed over before
// it. The receiver lives on the main thread; when it is destroyed first, the closure is dropped.
// From any thread, as long as the receiver lives during the call.
void handToMain(QObject *receiver, std::function<void()> closure);

}  // namespace tarvex
