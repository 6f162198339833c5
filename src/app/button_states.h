// The states of the primary button and their looks.
#pragma once

#include <QStringView>
#include <cstddef>

#include "updater/mode.h"

namespace tarvex {

// The first three are working states, one a mode and in the modes' order; the others offer an
// action.
enum class ButtonState { checking, updating, starting, update, play, retry };
inline constexpr std::size_t buttonStateCount = static_cast<std::size_t>(ButtonState::retry) + 1;

struct ButtonLook {
  QStringView title;
  bool isEnabled;
  QStringView help;  // for assistive technology
};

const ButtonLook &lookOf(ButtonState state);

ButtonState workingState(Mode mode);

}  // namespace tarvex
