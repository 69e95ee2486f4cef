// Each notification is a block of the heap that the request named; CeFreeNotification frees it.
#include "platform/propertydb/notifications.h"

#include "platform/control/control.h"
#include "platform/control/notification_window.h"

namespace kez::propertydb {

namespace {

void Send(const CENOTIFYREQUEST& request, const Change& change, const CEGUID& volume) {
    const HANDLE heap = request.hHeap ? request.hHeap : GetProcessHeap();
    auto* notification = static_cast<CENOTIFICATION*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, sizeof(CENOTIFICATION)));
    if (!notification) return;
    notification->dwSize = sizeof(CENOTIFICATION);
    notification->dwParam = request.dwParam;
    notification->uType = change.kind;
    notification->guid = volume;
    notification->oid = change.oid;
    notification->oidParent = change.parent;
    if (!control::Deliver(request.hwnd, WM_DBNOTIFICATION, 0, notification)) HeapFree(heap, 0, notification);
}

bool Concerns(CEOID database, const Change& change) {
    return change.kind == DB_CEVOL_CHANGED || change.oid == database || change.parent == database;
}

}  // namespace

int Notifications::Add(CEOID database, const CENOTIFYREQUEST& request) {
    std::lock_guard lock(m_mutex);
    m_listeners.push_back({++m_last, database, request});
    ++m_count;
    return m_last;
}

void Notifications::Remove(int number) {
    std::lock_guard lock(m_mutex);
    m_count -= static_cast<int>(
        std::erase_if(m_listeners, [number](const Listener& listener) { return listener.number == number; }));
}

void Notifications::Tell(const std::vector<Change>& changes, const CEGUID& volume, std::size_t most) {
    std::vector<Listener> listeners;
    {
        std::lock_guard lock(m_mutex);
        listeners = m_listeners;
    }
    const std::vector<Change> one = {{DB_CEVOL_CHANGED, 0, 0}};
    for (const Change& change : changes.size() > most ? one : changes) {
        for (const Listener& listener : listeners) {
            if (Concerns(listener.database, change)) Send(listener.request, change, volume);
        }
    }
}

}  // namespace kez::propertydb
