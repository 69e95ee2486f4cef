// What is attached to records: one table beside the records of each database.
#include "platform/propertydb/records.h"
#include "platform/propertydb/schema.h"
#include "platform/propertydb/volume_table.h"

namespace kez::propertydb {

namespace {

constexpr std::size_t kMostData = 32 * 1024 * 1024;

bool HasRecord(Connection& connection, CEOID database, CEOID record) {
    Query query(connection.Statements(connection.NeedDatabase(database)).read);
    query.Bind(1, record);
    return query.Step();
}

void NoteChange(Connection& connection, CEOID database, CEOID record) {
    connection.Count(database, 0, 0);
    connection.Tell(DB_CEOID_CHANGED, record, database);
}

// Prepares "<verb> attachments_<database> <rest>", for an existing database.
Statement& Prepared(Connection& connection, CEOID database, const std::string& verb, const std::string& rest) {
    connection.NeedDatabase(database);
    return connection.Named(verb + " " + AttachmentTable(database) + " " + rest);
}

constexpr const char* kThisOne = "WHERE record = ?1 AND kind = ?2 AND key = ?3";

}  // namespace

std::vector<Attachment> Volume::Attachments(CEOID database, CEOID record, DWORD kind) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    Query query(
        Prepared(connection, database, "SELECT key, props FROM", "WHERE record = ?1 AND kind = ?2 ORDER BY key"));
    query.Bind(1, record).Bind(2, kind);
    std::vector<Attachment> attachments;
    while (query.Step()) attachments.push_back({query.Number(0), DecodeSet(query.Blob(1)), {}});
    return attachments;
}

std::optional<Attachment> Volume::ReadAttachment(CEOID database, CEOID record, DWORD kind, std::int64_t key) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    Query query(Prepared(connection, database, "SELECT props, data FROM", kThisOne));
    query.Bind(1, record).Bind(2, kind).Bind(3, key);
    if (!query.Step()) return std::nullopt;
    Attachment attachment{key, DecodeSet(query.Blob(0)), {}};
    const std::string_view data = query.Blob(1);
    attachment.data.assign(data.begin(), data.end());
    return attachment;
}

std::optional<std::uint64_t> Volume::AttachmentSize(CEOID database, CEOID record, DWORD kind, std::int64_t key) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    Query query(Prepared(connection, database, "SELECT length(data) FROM", kThisOne));
    query.Bind(1, record).Bind(2, kind).Bind(3, key);
    if (!query.Step()) return std::nullopt;
    return static_cast<std::uint64_t>(query.Number(0));
}

bool Volume::PutAttachment(CEOID database, CEOID record, DWORD kind, const Attachment& attachment) {
    if (attachment.data.size() > kMostData) throw VolumeError(ERROR_BAD_LENGTH, "a stream is longer than 32 MB");
    PropertyViews views;
    ViewsOf(attachment.properties, views);
    std::string props;
    Encode(views, props);
    Connection& connection = *m_private->connection;
    WriteScope scope(connection);
    if (!HasRecord(connection, database, record)) return false;
    Query(Prepared(connection, database, "INSERT INTO",
                   "(record, kind, key, props, data) VALUES (?1, ?2, ?3, ?4, ?5) "
                   "ON CONFLICT (record, kind, key) DO UPDATE SET props = ?4, data = ?5"))
        .Bind(1, record)
        .Bind(2, kind)
        .Bind(3, attachment.key)
        .Bind(4, props)
        .Bind(5, std::string_view(reinterpret_cast<const char*>(attachment.data.data()), attachment.data.size()))
        .Run();
    NoteChange(connection, database, record);
    scope.Commit();
    return true;
}

bool Volume::RemoveAttachment(CEOID database, CEOID record, DWORD kind, std::int64_t key) {
    Connection& connection = *m_private->connection;
    WriteScope scope(connection);
    Query(Prepared(connection, database, "DELETE FROM", kThisOne)).Bind(1, record).Bind(2, kind).Bind(3, key).Run();
    if (sqlite3_changes(connection.Handle()) == 0) return false;
    NoteChange(connection, database, record);
    scope.Commit();
    return true;
}

std::size_t Volume::RemoveAttachments(CEOID database, CEOID record, DWORD kind) {
    Connection& connection = *m_private->connection;
    WriteScope scope(connection);
    Query(Prepared(connection, database, "DELETE FROM", "WHERE record = ?1 AND kind = ?2"))
        .Bind(1, record)
        .Bind(2, kind)
        .Run();
    const auto removed = static_cast<std::size_t>(sqlite3_changes(connection.Handle()));
    if (removed == 0) return 0;
    NoteChange(connection, database, record);
    scope.Commit();
    return removed;
}

}  // namespace kez::propertydb
