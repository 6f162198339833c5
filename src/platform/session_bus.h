// The desktop session's D-Bus (D-Bus Specification), found or hidden through the environment. Main
// thread, before another one is started.
#pragma once

namespace tarvex {

// Whether the environment names a bus. It need not answer.
bool hasSessionBus();

// Without a session bus, the D-Bus library would start one and wait for it, as soon as Qt's
// accessibility asks for it. This prevents that. Call it before the application object is made.
void neverStartSessionBus();

// Hides the session bus from this process: Qt waits without limit for one that does not answer.
// Call it before the application object is made.
void giveUpSessionBus();

}  // namespace tarvex
