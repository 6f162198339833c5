// Descriptors that make events visible to poll(2). Linux (eventfd, pidfd). The caller owns them;
// all are closed on exec. All functions may be called on any thread.
#pragma once

#include <sys/types.h>

#include "platform/descriptor.h"

namespace tarvex {

// Becomes readable with the first raiseEvent and stays readable until takeEvent. Empty, with errno
// set, when no descriptor is left.
Descriptor eventDescriptor();
void raiseEvent(const Descriptor &event);  // async-signal-safe
void takeEvent(const Descriptor &event);

// A pidfd. It identifies the child also after the child was reaped and its process id was reused.
// Becomes readable when the child has ended, and stays readable. Empty, with errno set, on failure.
Descriptor childDescriptor(pid_t child);
// Does nothing when the child has ended.
void sendSignal(const Descriptor &child, int signal);

}  // namespace tarvex
