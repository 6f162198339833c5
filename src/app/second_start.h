// A start of the launcher while another one of the same support folder is there.
#pragma once

#include <string>
#include <vector>

namespace tarvex {

// Whether a start with this argument list, the program's path at its head, is content with the
// other launcher's window. Arguments are for this launcher; a relaunch always has some.
bool mayBeSecondStart(const std::vector<std::string> &arguments);

// What the launcher that is there does.
enum class SecondStart {
  comeForward,  // its window is what the player wants
  leaveAlone,   // it waits, hidden, for the end of its game
  makeWay,      // its game is over, and nothing would ever show its window again
};
SecondStart onSecondStart(bool windowIsVisible, bool runIsAlive);

}  // namespace tarvex
