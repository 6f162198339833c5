// Tells the thread sanitizer about calls between threads through Qt: everything before the call
// happens before its arrival. The sanitizer cannot see that, because Qt is not instrumented and
// does not lock through the C library. Builds with the sanitizer replace Qt's function by this one.
// Suppressing the false reports instead would also hide real races.
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
      __tsan_release(self);  // the sending thread may delete it
    } else if (what == Destroy) {
      relay->m_slot->destroyIfLastRef();
      delete relay;
    }
  }

  QSlotObjectBase *m_slot;
};

// Calls Qt's function of this name. Its further parameters depend on Qt's version.
template <typename... Rest>
bool relayed(const char *symbol, QObject *object, QtPrivate::QSlotObjectBase *slot,
             Qt::ConnectionType type, Rest... rest) {
  using Function = bool (*)(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, Rest...);
  static const auto ofQt = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, symbol));
  return ofQt(object, new Relay(slot), type, rest...);
}

}  // namespace

#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *ret) {
  return relayed(
      "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseE"
      "N2Qt14ConnectionTypeEPv",
      object, slot, type, ret);
}
#else
bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, qsizetype parameterCount,
                                   const void *const *parameters, const char *const *names,
                                   const QtPrivate::QMetaTypeInterface *const *metaTypes) {
  return relayed(
      "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseE"
      "N2Qt14ConnectionTypeExPKPKvPKPKcPKPKNS2_18QMetaTypeInterfaceE",
      object, slot, type, parameterCount, parameters, names, metaTypes);
}
#endif
