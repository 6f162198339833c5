// The desktop session's D-Bus (D-Bus Specification), found or hidden through the environment. Main
// thread, before another one is started.
#pragma once

namespace tarvex {

// Whether the environment names a bus. The bus need not be running.
bool hasSessionBus();

// Prevents the D-Bus library from starting a session bus when there is none. Otherwise it would
// start one for Qt's accessibility, and wait for it. Call it before the application object is made.
void neverStartSessionBus();

// Hides the session bus from this process, because Qt waits without limit for a bus that does not
// answer. Call it before the application object is made.
void giveUpSessionBus();

}  // namespace tarvex
