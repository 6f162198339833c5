#include "app/second_start.h"

namespace tarvex {

bool mayBeSecondStart(const std::vector<std::string> &arguments) {
  return arguments.size() <= 1;
}

SecondStart onSecondStart(bool windowIsVisible, bool runIsAlive) {
  if (windowIsVisible) {
    return SecondStart::comeForward;
  }
  // Hidden without a run: the window would stay hidden for ever.
  return runIsAlive ? SecondStart::leaveAlone : SecondStart::makeWay;
}

}  // namespace tarvex
