#pragma once

namespace tarvex {

// What one run of the updater is for.
enum class Mode { check = 0, update = 1, play = 2 };

}  // namespace tarvex
