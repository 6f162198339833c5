// Descriptors that a poll can wait on, for events that are not input. All are closed on exec; all
// functions may be called on any thread.
#pragma once

#include <sys/types.h>

#include "platform/descriptor.h"

namespace tarvex {

// Becomes readable with the first raiseEvent and stays so until takeEvent. Empty, with errno set,
// when the system has no descriptor left.
Descriptor eventDescriptor();
void raiseEvent(const Descriptor &event);  // async-signal-safe
void takeEvent(const Descriptor &event);

// Names the child, also when it has ended and been reaped and its number is another's. Becomes
// readable when the child has ended, and stays so. Empty, with errno set, on failure. Linux pidfd.
Descriptor childDescriptor(pid_t child);
void sendSignal(const Descriptor &child, int signal);

}  // namespace tarvex
