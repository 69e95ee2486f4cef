// CeCreateSession, CeGetDatabaseSession, CeBeginTransaction, CeEndTransaction, CeFreeNotification.
#include "platform/propertydb/ce_handles.h"

using namespace kez::propertydb;
using kez::kernel::Register;

HANDLE CeCreateSession(CEGUID* volume) {
    return Carry("CeCreateSession", INVALID_HANDLE_VALUE, [&] {
        auto session = std::make_shared<Session>(NeedVolume(volume));
        return Register(std::make_shared<SessionHandle>(std::move(session)));
    });
}

HANDLE CeGetDatabaseSession(HANDLE database) {
    return Carry("CeGetDatabaseSession", INVALID_HANDLE_VALUE, [&] {
        return Register(std::make_shared<SessionHandle>(NeedDatabaseHandle(database)->NeedSession()));
    });
}

BOOL CeBeginTransaction(HANDLE session, DWORD isolation) {
    return Carry("CeBeginTransaction", FALSE, [&] {
        const auto handle = NeedSessionHandle(session);
        Require(isolation <= CEDB_ISOLATION_SERIALIZABLE);
        handle->session->Begin(isolation);
        return TRUE;
    });
}

BOOL CeEndTransaction(HANDLE session, BOOL commit) {
    return Carry("CeEndTransaction", FALSE, [&] {
        NeedSessionHandle(session)->session->End(commit != FALSE);
        return TRUE;
    });
}

BOOL CeFreeNotification(CENOTIFYREQUEST* request, CENOTIFICATION* notification) {
    return Carry("CeFreeNotification", FALSE, [&] {
        Require(request && notification);
        const HANDLE heap = request->hHeap ? request->hHeap : GetProcessHeap();
        return HeapFree(heap, 0, notification);
    });
}
