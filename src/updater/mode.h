// The purpose of one run of the updater. The values are indices of tables.
#pragma once

#include <cstddef>

namespace tarvex {

enum class Mode {
  check = 0,   // report what can be installed
  update = 1,  // install it
  play = 2,    // start the game
};
inline constexpr std::size_t modeCount = static_cast<std::size_t>(Mode::play) + 1;

}  // namespace tarvex
