// The launchers of one folder as they find each other: through a name on the session bus, whose
// owner answers org.freedesktop.Application.Activate (Desktop Entry Specification 1.5) and nothing
// else. Main thread.
//
// Each launcher lines up for the name when it starts. The bus has it owned by the first in the line
// and, when that one has gone, by the next. A launcher that refuses to come forward steps back to
// the end of the line, so that whoever asks again asks another.
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

// The bus name of the launchers of the folder, which need not exist. Two paths of the same folder
// have the same name.
std::string instanceName(const std::filesystem::path &folder);

class SingleInstance {
 public:
  // Connects to the session bus and lines up for the name. All waiting for the bus and for another
  // launcher ends a second after the construction began. A bus that has not let us in by then is
  // given up (platform/session_bus.h): Qt would wait for it forever. Before the application object
  // is made.
  explicit SingleInstance(std::string name);
  ~SingleInstance();

  // Asks the launchers that are before us in the line, one after the other, to bring their window
  // forward. True: one has. False: none was there, none wanted to, or one did not answer, whose
  // place is ours then.
  bool bringOtherForward(const StartupTokens &tokens);

  // From now on `comeForward` is called, from the event loop, whenever another launcher asks, and
  // says whether this one's window has come forward. Also for those who have asked before.
  void serve(std::function<bool(const StartupTokens &)> comeForward);
  // Leaves those unanswered who ask from now on; they are told when this process ends.
  void stopServing();

 private:
  struct Closing {
    void operator()(sd_bus *bus) const { sd_bus_close_unref(bus); }
  };

  static int onCall(sd_bus_message *call, void *self, sd_bus_error *error);

  // Never nothing, which the bus library would take for its own, longer patience.
  uint64_t microsecondsLeft() const;
  int connect();
  int lineUp();
  int activateOwner(const StartupTokens &tokens);
  void readWhatCame();

  const std::string m_name;
  const std::string m_path;  // of the object that the owner of the name has
  const std::chrono::steady_clock::time_point m_deadline;
  std::unique_ptr<sd_bus, Closing> m_bus;  // null: there is none
  bool m_isFirst = true;
  std::function<bool(const StartupTokens &)> m_comeForward;
  std::unique_ptr<QSocketNotifier> m_incoming;
};

}  // namespace tarvex
