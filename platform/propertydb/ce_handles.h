// What the handles of the property database stand for, and what every Ce* call does at its start and end.
#pragma once

#include <windbase.h>

#include <atomic>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "platform/control/control.h"
#include "platform/kernel/handle_table.h"
#include "platform/propertydb/connection.h"
#include "platform/propertydb/cursor.h"
#include "platform/propertydb/volume_table.h"

namespace kez::propertydb {

// Carries out a call: a planned fault first, then `body`; what it throws becomes the last error.
template <class Result, class Body>
Result Carry(const char* call, Result failure, Body body) {
    if (const auto fault = control::PlannedFault(call)) {
        SetLastError(*fault);
        return failure;
    }
    try {
        return body();
    } catch (const VolumeError& error) {
        SetLastError(error.Code());
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return failure;
}

[[noreturn]] void Fail(DWORD error);
inline void Require(bool condition, DWORD error = ERROR_INVALID_PARAMETER) {
    if (!condition) Fail(error);
}

// A session has a connection of its own, so that its open transaction is nobody else's.
class Session {
 public:
    explicit Session(std::shared_ptr<Volume> volume);
    ~Session();

    const std::shared_ptr<Volume>& OwnVolume() const { return m_volume; }
    const std::shared_ptr<Connection>& OwnConnection() const { return m_connection; }
    void Begin(DWORD isolation);
    void End(bool commit);
    // Before a write: a transaction of isolation "read committed" takes the volume's write lock only now, so that it
    // sees what others commit until then.
    void BeforeWrite();
    // The last handle of the session is closed: nobody can end its transaction any more.
    void Abandon() noexcept;
    std::atomic<int> handles{0};

 private:
    std::shared_ptr<Volume> m_volume;
    std::shared_ptr<Connection> m_connection;
    enum class State { None, Asked, Open };
    std::atomic<State> m_state{State::None};  // changes with the connection's mutex held
};

class SessionHandle : public kernel::Object {
 public:
    explicit SessionHandle(std::shared_ptr<Session> session);
    ~SessionHandle() override;
    const std::shared_ptr<Session> session;
};

class DatabaseHandle final : public kernel::Object {
 public:
    DatabaseHandle(std::shared_ptr<Volume> volume, std::shared_ptr<Session> session, CEOID database, int order,
                   DWORD flags, const CENOTIFYREQUEST* notify);
    ~DatabaseHandle() override;
    DWORD OnClose() override;

    const std::shared_ptr<Volume>& OwnVolume() const { return m_volume; }
    Connection& OwnConnection() const { return *m_connection; }
    CEOID DatabaseOid() const { return m_database; }
    bool AutoIncrement() const { return (m_flags & CEDB_AUTOINCREMENT) != 0; }
    bool TakesNewColumns() const { return (m_flags & EDB_USE_CEDB_WRITE_SEMANTICS) != 0; }
    Cursor& Position() { return m_cursor; }
    void BeforeWrite();
    // The session of the handle; a handle without one gets one of its own.
    std::shared_ptr<Session> NeedSession();

 private:
    std::shared_ptr<Volume> m_volume;
    std::shared_ptr<Session> m_session;  // null: every call commits by itself
    std::shared_ptr<Connection> m_connection;
    CEOID m_database;
    DWORD m_flags;
    Cursor m_cursor;
    int m_listener = 0;
};

// A search for databases: what was there when it began.
class SearchHandle : public kernel::Object {
 public:
    struct Found {
        std::weak_ptr<Volume> volume;
        CEGUID guid;
        CEOID database;
    };
    std::mutex mutex;
    std::vector<Found> found;
    std::size_t next = 0;
};

std::shared_ptr<DatabaseHandle> NeedDatabaseHandle(HANDLE handle);  // throws VolumeError 6
std::shared_ptr<SessionHandle> NeedSessionHandle(HANDLE handle);    // throws VolumeError 6

// Throws VolumeError 87 for null, 1168 for a volume that is not mounted.
std::shared_ptr<Volume> NeedVolume(const CEGUID* guid);
bool MeansAllVolumes(const CEGUID& guid);

// What CeOidGetInfoEx2 and CeGetDBInformationByHandle tell of a database.
void Describe(Connection& connection, const Database& database, CEDBASEINFOEX& info);
// The sort orders that a caller gives; throws VolumeError 87.
std::vector<SORTORDERSPECEX> SortOrdersOf(const CEDBASEINFOEX& info);

}  // namespace kez::propertydb
