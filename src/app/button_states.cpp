#include "app/button_states.h"

namespace tarvex {

// Switches without a default instead of tables: the compiler names them when a state or a mode is
// added.
ButtonLook lookOf(ButtonState state) {
  switch (state) {
    case ButtonState::checking:
      return {u"Checking…", false, u"Working…"};
    case ButtonState::updating:
      return {u"Updating…", false, u"Working…"};
    case ButtonState::starting:
      return {u"Starting…", false, u"Working…"};
    case ButtonState::update:
      return {u"Update", true, u"Downloads and installs the update, then returns to Play"};
    case ButtonState::play:
      return {u"Play", true, u"Starts Tarvex"};
    case ButtonState::retry:
      return {u"Retry", true, u"Checks for updates again"};
  }
  return {};
}

ButtonState workingState(Mode mode) {
  switch (mode) {
    case Mode::check:
      return ButtonState::checking;
    case Mode::update:
      return ButtonState::updating;
    case Mode::play:
      return ButtonState::starting;
  }
  return {};
}

}  // namespace tarvex
