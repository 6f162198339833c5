#include <sys/eventfd.h>

// glibc 2.36 forgot to make its header fit for C++.
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

// A pidfd is closed on exec by itself.
Descriptor childDescriptor(pid_t child) {
  return Descriptor(::pidfd_open(child, 0));
}

void sendSignal(const Descriptor &child, int signal) {
  ::pidfd_send_signal(child.get(), signal, nullptr, 0);
}

}  // namespace tarvex
