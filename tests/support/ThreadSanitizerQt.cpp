// SPDX-License-Identifier: MIT
// Linked into the tests of the ThreadSanitizer build only. Debian's Qt is not instrumented: what its mutexes and event
// queues order is invisible, and everything handed over by them looks like a race. These definitions take the place of
// Qt's own, call them, and tell ThreadSanitizer what happens before what.
//
// Mutexes are followed one by one. Event queues are not: which receiver an event goes to is decided inside Qt, so all
// of them count as one, and an event's delivery counts as later than every emission and post before it. A race between
// two threads is therefore missed when, by chance, an unrelated event was delivered in between.
#include <QByteArray>
#include <QCoreApplication>
#include <QMetaObject>
#include <QMetaType>
#include <QMutex>

#include <dlfcn.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <utility>

extern "C" {
void __tsan_acquire(void* address); // NOLINT(bugprone-reserved-identifier): the sanitizer's interface
void __tsan_release(void* address); // NOLINT(bugprone-reserved-identifier): the sanitizer's interface
}

namespace {

template<typename Function>
Function* qtsOwn(const char* mangledName)
{
    void* const symbol = dlsym(RTLD_NEXT, mangledName);
    if (!symbol)
        std::abort();
    return reinterpret_cast<Function*>(symbol);
}

char eventQueues; // Its address stands for all event queues.

bool beforeDelivery(void** /*receiverEventResult*/)
{
    __tsan_acquire(&eventQueues);
    return false;
}

const bool deliveriesAreFollowed = QInternal::registerCallback(QInternal::EventNotifyCallback, beforeDelivery);

// The copies that queued signals carry are made after the emission was noted, so each registered type's copying is
// followed too. A copying function does not learn which type it was asked for; each type gets one of its own.
constexpr std::size_t kTypeLimit = 128;
std::array<std::atomic<QMetaType::Constructor>, kTypeLimit> originalConstructors;
std::atomic<std::size_t> typeCount{0};

template<std::size_t index>
void* constructAndNote(void* where, const void* copied)
{
    void* const object = originalConstructors[index].load()(where, copied);
    __tsan_release(&eventQueues);
    return object;
}

template<std::size_t... indexes>
constexpr std::array<QMetaType::Constructor, kTypeLimit> notingConstructors(std::index_sequence<indexes...> /*all*/)
{
    return {constructAndNote<indexes>...};
}

QMetaType::Constructor noting(QMetaType::Constructor original)
{
    static constexpr auto constructors = notingConstructors(std::make_index_sequence<kTypeLimit>());
    const std::size_t index = typeCount.fetch_add(1);
    if (index >= kTypeLimit)
        std::abort();
    originalConstructors[index].store(original);
    return constructors[index];
}

/// A function to be invoked, and the note that it has been: whoever waits for it goes on after that.
class NotedCall : public QtPrivate::QSlotObjectBase
{
public:
    explicit NotedCall(QtPrivate::QSlotObjectBase* noted) : QSlotObjectBase(&NotedCall::run), m_noted(noted) {}

private:
    static void run(int what, QSlotObjectBase* self, QObject* receiver, void** arguments, bool* /*equal*/)
    {
        auto* const call = static_cast<NotedCall*>(self);
        if (what == Call) {
            call->m_noted->call(receiver, arguments);
            __tsan_release(&eventQueues);
        } else if (what == Destroy) {
            call->m_noted->destroyIfLastRef();
            delete call;
        }
    }

    QtPrivate::QSlotObjectBase* const m_noted;
};

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static auto* const original = qtsOwn<void(QMutex*)>("_ZN6QMutex4lockEv");
    original(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static auto* const original = qtsOwn<bool(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = original(this, timeout);
    if (locked)
        __tsan_acquire(this);
    return locked;
}

void QMutex::unlock() noexcept
{
    static auto* const original = qtsOwn<void(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    original(this);
}

void QMetaObject::activate(QObject* sender, const QMetaObject* metaObject, int signal, void** arguments)
{
    static auto* const original =
        qtsOwn<void(QObject*, const QMetaObject*, int, void**)>("_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    __tsan_release(&eventQueues);
    original(sender, metaObject, signal, arguments);
}

bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot, Qt::ConnectionType type,
                                   void* result)
{
    static auto* const original = qtsOwn<bool(QObject*, QtPrivate::QSlotObjectBase*, Qt::ConnectionType, void*)>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");
    auto* const call = new NotedCall(slot);
    __tsan_release(&eventQueues);
    const bool done = original(object, call, type, result);
    if (type == Qt::BlockingQueuedConnection)
        __tsan_acquire(&eventQueues);
    return done;
}

void QCoreApplication::postEvent(QObject* receiver, QEvent* event, int priority)
{
    static auto* const original =
        qtsOwn<void(QObject*, QEvent*, int)>("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
    __tsan_release(&eventQueues);
    original(receiver, event, priority);
}

void QObject::deleteLater()
{
    static auto* const original = qtsOwn<void(QObject*)>("_ZN7QObject11deleteLaterEv");
    __tsan_release(&eventQueues);
    original(this);
}

// ::QByteArray: without the colons the name is the type number that QMetaType calls so.
int QMetaType::registerNormalizedType(const ::QByteArray& name, Destructor destructor, Constructor constructor,
                                      int size, TypeFlags flags, const QMetaObject* metaObject)
{
    static auto* const original =
        qtsOwn<int(const ::QByteArray&, Destructor, Constructor, int, TypeFlags, const QMetaObject*)>(
            "_ZN9QMetaType22registerNormalizedTypeERK10QByteArrayPFvPvEPFS3_S3_PKvEi6QFlagsINS_8TypeFlagEEPK11"
            "QMetaObject");
    return original(name, destructor, noting(constructor), size, flags, metaObject);
}
