#include <sys/eventfd.h>

// The header of glibc 2.36 lacks the extern "C" that C++ needs.
extern "C" {
#include <sys/pidfd.h>
}

#include "platform/event_descriptors.h"

namespace tarvex {

Descriptor eventDescriptor() {
  return Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

void raiseEvent(const Descriptor &event) {
  ::eventfd_write(event.get(), 1);
}

void takeEvent(const Descriptor &event) {
  eventfd_t count = 0;
  ::eventfd_read(event.get(), &count);
}

// The kernel closes every pidfd on exec; no flag is needed.
Descriptor childDescriptor(pid_t child) {
  return Descriptor(::pidfd_open(child, 0));
}

void sendSignal(const Descriptor &child, int signal) {
  ::pidfd_send_signal(child.get(), signal, nullptr, 0);
}

}  // namespace tarvex
