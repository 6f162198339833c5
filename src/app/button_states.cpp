#include "app/button_states.h"

#include <cstddef>
#include <iterator>

namespace tarvex {
namespace {

// In the order of the states.
constexpr ButtonLook looks[] = {
    {u"Checking…", false, u"Working…"},
    {u"Updating…", false, u"Working…"},
    {u"Starting…", false, u"Working…"},
    {u"Update", true, u"Downloads and installs the update, then returns to Play"},
    {u"Play", true, u"Starts Tarvex"},
    {u"Retry", true, u"Checks for updates again"},
};
static_assert(std::size(looks) == buttonStateCount);

}  // namespace

const ButtonLook &lookOf(ButtonState state) {
  return looks[static_cast<std::size_t>(state)];
}

ButtonState workingState(Mode mode) {
  return static_cast<ButtonState>(mode);
}

}  // namespace tarvex
