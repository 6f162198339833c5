// The desktop session's D-Bus.
#pragma once

namespace tarvex {

bool hasSessionBus();

// Without a session bus, the bus library would try to start one for whoever asks, Qt's
// accessibility for instance, and make us wait for it. Afterwards it does not. Call this before the
// application object is made.
void neverStartSessionBus();

// From now on there is no session bus, for us and for Qt, which waits without limit for one that
// does not answer. Before the application object is made.
void giveUpSessionBus();

}  // namespace tarvex
