// The states of the primary button and their looks. Plain functions over values, for any thread.
#pragma once

#include <QStringView>

#include "updater/mode.h"

namespace tarvex {

enum class ButtonState {
  // A run is alive, and the button is disabled.
  checking,
  updating,
  starting,
  // The button offers this action.
  update,
  play,
  retry,
};

struct ButtonLook {
  QStringView title;
  bool isEnabled;
  QStringView help;  // for assistive technology
};

ButtonLook lookOf(ButtonState state);

// The state while a run of this mode is alive.
ButtonState workingState(Mode mode);

}  // namespace tarvex
