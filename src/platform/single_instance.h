// Lets the launchers of one folder find each other by a name on the session bus (D-Bus
// Specification). The owner of the name serves one method, org.freedesktop.Application.Activate
// (Desktop Entry Specification 1.5). Main thread.
//
// Each launcher queues for the name when it starts. The bus makes the first in the queue the owner.
// A launcher that refuses to raise its window goes to the end of the queue, so that the next
// request reaches another one.
#pragma once

#include <systemd/sd-bus.h>

#include <QSocketNotifier>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "platform/startup.h"

namespace tarvex {

// The bus name of the launchers of a folder, which need not exist. Different paths to one folder
// give the same name.
std::string instanceName(const std::filesystem::path &folder);

class SingleInstance {
 public:
  // Connects to the session bus and queues for the name. All waiting, for the bus and for other
  // launchers, ends one second after the construction began. A bus that has not accepted the
  // connection by then is hidden (giveUpSessionBus). Without a bus, all calls below do nothing.
  // Construct it before the application object.
  explicit SingleInstance(std::string name);
  ~SingleInstance();

  // Asks the launchers ahead in the queue, one after the other, to raise their window. True: one of
  // them has raised it. False: there is no other launcher, all have refused, or one did not answer
  // in time; then this launcher has replaced it as the owner.
  bool bringOtherForward(const StartupTokens &tokens);

  // From now on, `comeForward` is called from the event loop for each request of another launcher,
  // also for earlier requests. It returns whether this launcher has raised its window.
  void serve(std::function<bool(const StartupTokens &)> comeForward);
  // Later requests get no answer. Their senders get an error when this process ends.
  void stopServing();

 private:
  struct Closing {
    void operator()(sd_bus *bus) const { sd_bus_close_unref(bus); }
  };

  static int onCall(sd_bus_message *call, void *self, sd_bus_error *error);

  // At least 1: the bus library takes 0 for its default of 25 seconds.
  uint64_t microsecondsLeft() const;
  int connect();
  int lineUp();
  int activateOwner(const StartupTokens &tokens);
  void readWhatCame();

  const std::string m_name;
  const std::string m_path;  // of the object: the name with slashes (Desktop Entry Specification)
  const std::chrono::steady_clock::time_point m_deadline;
  std::unique_ptr<sd_bus, Closing> m_bus;  // null: no bus
  bool m_isFirst = true;
  std::function<bool(const StartupTokens &)> m_comeForward;
  std::unique_ptr<QSocketNotifier> m_incoming;
};

}  // namespace tarvex
