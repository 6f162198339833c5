// Decisions about a second start: a start of the launcher while another launcher of the same
// support folder runs. Plain functions over values, for any thread; platform/single_instance.h does
// the work.
#pragma once

#include <string>
#include <vector>

namespace tarvex {

// Whether a start with this argument list may end after it has raised the other launcher's window.
// The first element is the program's path. A start with arguments may not end, because they are
// meant for a new launcher. A relaunch always has arguments.
bool mayBeSecondStart(const std::vector<std::string> &arguments);

// The reaction of the launcher that runs already.
enum class SecondStart {
  comeForward,  // show its window
  leaveAlone,   // refuse: its window is hidden until its game ends
  makeWay,      // refuse and end: its game is over, and its hidden window is never shown again
};
SecondStart onSecondStart(bool windowIsVisible, bool runIsAlive);

}  // namespace tarvex
