#pragma once

#include <cstddef>

namespace tarvex {

// What one run of the updater is for.
enum class Mode { check = 0, update = 1, play = 2 };
inline constexpr std::size_t modeCount = static_cast<std::size_t>(Mode::play) + 1;

}  // namespace tarvex
