#include "platform/session_bus.h"

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace tarvex {
namespace {

constexpr const char *addressVariable = "DBUS_SESSION_BUS_ADDRESS";
// An unknown transport: connecting fails at once.
constexpr const char *noAddress = "disabled:";

}  // namespace

bool hasSessionBus() {
  if (const char *const address = std::getenv(addressVariable)) {
    return std::string_view(address) != noAddress;
  }
  // Without an address, libraries use this socket (sd-bus and libdbus).
  const char *const runtime = std::getenv("XDG_RUNTIME_DIR");
  return runtime != nullptr && ::access((std::string(runtime) + "/bus").c_str(), R_OK) == 0;
}

void neverStartSessionBus() {
  if (!hasSessionBus()) {
    giveUpSessionBus();
  }
}

void giveUpSessionBus() {
  ::setenv(addressVariable, noAddress, 1);
}

}  // namespace tarvex
