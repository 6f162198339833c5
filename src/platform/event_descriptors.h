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

// Becomes readable when the child has ended, and stays so. The child is not reaped by it. Empty,
// with errno set, on failure.
Descriptor exitDescriptor(pid_t child);

}  // namespace tarvex
