// What is handed to another thread through Qt happened before it arrives there. The thread
// sanitizer does not see it: Qt is not instrumented, and its locks are none that a library
// call takes. Builds with that sanitizer have this in the place of Qt's function, so that
// no race of ours needs to be suppressed along with what only looks like one.
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

#include <QObject>

namespace {

class Relay : public QtPrivate::QSlotObjectBase {
 public:
  explicit Relay(QSlotObjectBase *slot) : QSlotObjectBase(&arrive), m_slot(slot) {
    __tsan_release(this);
  }

 private:
  static void arrive(int what, QSlotObjectBase *self, QObject *receiver, void **arguments,
                     bool * /*equal*/) {
    __tsan_acquire(self);
    auto *const relay = static_cast<Relay *>(self);
    if (what == Call) {
      relay->m_slot->call(receiver, arguments);
      __tsan_release(self);  // the thread that posted it may be the one that deletes it
    } else if (what == Destroy) {
      relay->m_slot->destroyIfLastRef();
      delete relay;
    }
  }

  QSlotObjectBase *m_slot;
};

}  // namespace

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *ret) {
  static const auto ofQt = reinterpret_cast<decltype(&invokeMethodImpl)>(
      ::dlsym(RTLD_NEXT,
              "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseE"
              "N2Qt14ConnectionTypeEPv"));
  return ofQt(object, new Relay(slot), type, ret);
}
