// The journal of changes. Triggers write it, so that no change can miss it, whoever makes it.
#include "platform/propertydb/records.h"
#include "platform/propertydb/schema.h"
#include "platform/propertydb/volume_table.h"

namespace kez::propertydb {

void Volume::EnableJournal(CEOID database) {
    Connection& connection = *m_private->connection;
    {
        ReadScope scope(connection);
        if (connection.NeedDatabase(database)->journal) return;
    }
    WriteScope scope(connection, WriteScope::Extent::Several);
    if (!connection.NeedDatabase(database)->journal) {
        CreateJournalTriggers(connection.Handle(), database);
        Query(connection.Fixed("UPDATE database SET journal = 1 WHERE oid = ?1")).Bind(1, database).Run();
        connection.DefinitionsChanged();
    }
    scope.Commit();
}

bool Volume::HasJournal(CEOID database) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    return connection.NeedDatabase(database)->journal;
}

std::vector<JournalEntry> Volume::ReadJournal(std::int64_t after, std::size_t limit) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    Query query(
        connection.Fixed("SELECT sequence, database, record, action, time FROM journal WHERE sequence > ?1 "
                         "ORDER BY sequence LIMIT ?2"));
    query.Bind(1, after).Bind(2, static_cast<std::int64_t>(limit));
    std::vector<JournalEntry> entries;
    while (query.Step()) {
        entries.push_back({query.Number(0), static_cast<CEOID>(query.Number(1)), static_cast<CEOID>(query.Number(2)),
                           static_cast<JournalAction>(query.Number(3)), static_cast<std::uint64_t>(query.Number(4))});
    }
    return entries;
}

std::int64_t Volume::LastJournalSequence() {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    return connection.LastChange();
}

void Volume::TrimJournal(std::int64_t upTo) {
    Connection& connection = *m_private->connection;
    WriteScope scope(connection);
    Query(connection.Fixed("DELETE FROM journal WHERE sequence <= ?1")).Bind(1, upTo).Run();
    scope.Commit();
}

}  // namespace kez::propertydb
