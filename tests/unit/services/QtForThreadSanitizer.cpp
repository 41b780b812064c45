// Tells ThreadSanitizer what it cannot see inside Qt: that a call is queued before it is made.
// Without this every value that a queued call hands to another thread counts as a race, and to
// suppress those would hide the true ones.

#include "Sanitizers.h"

#include <QCoreApplication>

#if IS_THREAD_SANITIZED

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

/** In the place of Qt's own, which it calls. */
bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot,
                                   Qt::ConnectionType type, void* result)
{
    static const auto invokeOfQt = reinterpret_cast<decltype(&QMetaObject::invokeMethodImpl)>(
        ::dlsym(RTLD_NEXT, "_ZN11QMetaObject16invokeMethodImpl"
                           "EP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv"));
    __tsan_release(object);
    return invokeOfQt(object, slot, type, result);
}

static void ShowDeliveries()
{
    QInternal::registerCallback(QInternal::EventNotifyCallback, [](void** receiverAndEvent) {
        __tsan_acquire(receiverAndEvent[0]);
        return false; // Qt goes on
    });
}
Q_COREAPP_STARTUP_FUNCTION(ShowDeliveries)

#endif
