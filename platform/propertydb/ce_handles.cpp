// Life of sessions and of open databases.
#include "platform/propertydb/ce_handles.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "platform/propertydb/records.h"

namespace kez::propertydb {

void Fail(DWORD error) { throw VolumeError(error, "the call is refused with error " + std::to_string(error)); }

// --- Session ------------------------------------------------------------------------------------------------

Session::Session(std::shared_ptr<Volume> volume)
    : m_volume(std::move(volume)), m_connection(std::make_shared<Connection>(m_volume->Inside().share)) {}

Session::~Session() { Abandon(); }

void Session::Begin(DWORD isolation) {
    std::lock_guard lock(m_connection->Mutex());
    Require(m_state == State::None, ERROR_ALREADY_EXISTS);
    if (isolation > CEDB_ISOLATION_READCOMMITTED) {
        m_connection->Begin();
        m_state = State::Open;
    } else {
        m_state = State::Asked;
    }
}

void Session::BeforeWrite() {
    if (m_state != State::Asked) return;  // as with nearly every write: there is nothing to lock for
    std::lock_guard lock(m_connection->Mutex());
    if (m_state != State::Asked) return;
    m_connection->Begin();
    m_state = State::Open;
}

void Session::End(bool commit) {
    std::lock_guard lock(m_connection->Mutex());
    Require(m_state != State::None, ERROR_NOT_FOUND);
    const bool open = m_state == State::Open;
    m_state = State::None;
    if (!open) return;
    if (commit) {
        m_connection->Commit();
    } else {
        m_connection->Rollback();
    }
}

void Session::Abandon() noexcept {
    std::lock_guard lock(m_connection->Mutex());
    if (m_state == State::Open) m_connection->Rollback();
    m_state = State::None;
}

SessionHandle::SessionHandle(std::shared_ptr<Session> owned) : session(std::move(owned)) { ++session->handles; }

SessionHandle::~SessionHandle() {
    if (--session->handles == 0) session->Abandon();
}

// --- Open database ------------------------------------------------------------------------------------------

DatabaseHandle::DatabaseHandle(std::shared_ptr<Volume> volume, std::shared_ptr<Session> session, CEOID database,
                               int order, DWORD flags, const CENOTIFYREQUEST* notify)
    : m_volume(std::move(volume)),
      m_session(std::move(session)),
      m_connection(m_session ? m_session->OwnConnection() : m_volume->Inside().connection),
      m_database(database),
      m_flags(flags),
      m_cursor(m_connection, database, order) {
    VolumeTable::Get().CountHandle(*m_volume, m_database, 1);
    if (notify) m_listener = m_volume->Inside().share->notifications.Add(database, *notify);
}

DatabaseHandle::~DatabaseHandle() {
    OnClose();
    VolumeTable::Get().CountHandle(*m_volume, m_database, -1);
}

DWORD DatabaseHandle::OnClose() {
    if (m_listener) m_volume->Inside().share->notifications.Remove(std::exchange(m_listener, 0));
    return NO_ERROR;
}

void DatabaseHandle::BeforeWrite() {
    if (m_session) m_session->BeforeWrite();
}

std::shared_ptr<Session> DatabaseHandle::NeedSession() {
    std::lock_guard lock(m_connection->Mutex());
    if (!m_session) {
        m_session = std::make_shared<Session>(m_volume);
        m_connection = m_session->OwnConnection();
        m_cursor.UseConnection(m_connection);
    }
    return m_session;
}

std::shared_ptr<DatabaseHandle> NeedDatabaseHandle(HANDLE handle) {
    // Every call on records comes here, and nothing is derived from the class: its name is enough.
    auto object = kernel::Find(handle);
    const kernel::Object* found = object.get();
    Require(found && typeid(*found) == typeid(DatabaseHandle), ERROR_INVALID_HANDLE);
    return std::static_pointer_cast<DatabaseHandle>(std::move(object));
}

std::shared_ptr<SessionHandle> NeedSessionHandle(HANDLE handle) {
    auto session = kernel::FindAs<SessionHandle>(handle);
    Require(session != nullptr, ERROR_INVALID_HANDLE);
    return session;
}

// --- Volumes and descriptions -------------------------------------------------------------------------------

bool MeansAllVolumes(const CEGUID& guid) {
    return guid.Data1 == 0xFF && guid.Data2 == 0 && guid.Data3 == 0 && guid.Data4 == 0;
}

std::shared_ptr<Volume> NeedVolume(const CEGUID* guid) {
    Require(guid != nullptr);
    return VolumeTable::Get().Find(*guid);
}

void Describe(Connection& connection, const Database& database, CEDBASEINFOEX& info) {
    const DatabaseState state = connection.State(database.oid);
    info = {};
    info.wVersion = 2;
    info.wNumSortOrder = static_cast<WORD>(database.orders.size());
    info.dwFlags = CEDB_VALIDCREATE | database.flags;
    const std::size_t length = std::min<std::size_t>(database.name.size(), CEDB_MAXDBASENAMELEN - 1);
    std::copy_n(database.name.data(), length, info.szDbaseName);
    info.dwDbaseType = database.type;
    info.dwNumRecords = state.records;
    info.dwSize = static_cast<DWORD>(std::min<std::uint64_t>(state.bytes, 0xFFFFFFFF));
    info.ftLastModified = {static_cast<DWORD>(state.modified), static_cast<DWORD>(state.modified >> 32)};
    for (std::size_t i = 0; i < database.orders.size(); ++i) info.rgSortSpecs[i] = database.orders[i].sort;
}

std::vector<SORTORDERSPECEX> SortOrdersOf(const CEDBASEINFOEX& info) {
    Require(info.wNumSortOrder <= CEDB_MAXSORTORDER);
    std::vector<SORTORDERSPECEX> orders(info.rgSortSpecs, info.rgSortSpecs + info.wNumSortOrder);
    CheckSortOrders(orders);
    return orders;
}

}  // namespace kez::propertydb
