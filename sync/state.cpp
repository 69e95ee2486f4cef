// The state file. Its tables:
//
//   about       name, value                      format, identities of both sides, notes
//   pair        number, type, identifiers, revisions, title, what each side held (the folder's only where it differs),
//               doubt
//   unsettled   type, id                         device items listed as changed, until they are settled
//   listing     type                             a listing was begun and not stored
//   writing     type, folder_id                  was being written to the device
//   keepsake    type, id, what                   taken out of the device by reading, until the folder holds it
//   conflict    type, identifiers, title, text, fields, choice
//   cache       name, facts                      the folder store's own
#include "sync/state.h"

#include <cstring>

namespace kez::sync {
namespace {

constexpr const char* kFormat = "kezsync state 1";

constexpr const char* kTables = R"(
CREATE TABLE IF NOT EXISTS about (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS pair (
    number INTEGER PRIMARY KEY AUTOINCREMENT, type INTEGER NOT NULL,
    device_id TEXT NOT NULL, folder_id TEXT NOT NULL,
    device_revision TEXT NOT NULL, folder_revision TEXT NOT NULL, title TEXT NOT NULL,
    doubt INTEGER NOT NULL DEFAULT 0, device_base BLOB NOT NULL, folder_base BLOB,
    UNIQUE (type, device_id), UNIQUE (type, folder_id));
CREATE TABLE IF NOT EXISTS unsettled (type INTEGER NOT NULL, id TEXT NOT NULL, PRIMARY KEY (type, id)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS look_again (type INTEGER NOT NULL, id TEXT NOT NULL, PRIMARY KEY (type, id)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS listing (type INTEGER PRIMARY KEY);
CREATE TABLE IF NOT EXISTS writing (
    type INTEGER NOT NULL, folder_id TEXT NOT NULL, PRIMARY KEY (type, folder_id)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS keepsake (
    type INTEGER NOT NULL, id TEXT NOT NULL, what BLOB NOT NULL, PRIMARY KEY (type, id)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS conflict (
    type INTEGER NOT NULL, key TEXT NOT NULL, device_id TEXT NOT NULL, folder_id TEXT NOT NULL,
    title TEXT NOT NULL, text TEXT NOT NULL, fields TEXT NOT NULL, choice TEXT NOT NULL DEFAULT '',
    PRIMARY KEY (type, key)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS cache (name TEXT PRIMARY KEY, facts BLOB NOT NULL) WITHOUT ROWID;
)";

void AppendCounted(std::string& out, const std::string& bytes) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(size >> shift);
    out += bytes;
}

bool TakeCounted(const std::string& bytes, std::size_t& at, std::string& out) {
    if (bytes.size() - at < 4) return false;
    std::uint32_t size = 0;
    for (int i = 0; i < 4; ++i)
        size |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    at += 4;
    if (bytes.size() - at < size) return false;
    out.assign(bytes, at, size);
    at += size;
    return true;
}

std::int64_t Number(ItemType type) { return static_cast<std::int64_t>(type); }

std::string ConflictKey(const WaitingConflict& conflict) {
    return conflict.deviceId.empty() ? "folder:" + conflict.folderId : conflict.deviceId;
}

std::string Joined(const std::vector<std::string>& names) {
    std::string joined;
    for (const std::string& name : names) joined += (joined.empty() ? "" : ",") + name;
    return joined;
}

std::vector<std::string> Split(const std::string& joined) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at < joined.size();) {
        const std::size_t end = std::min(joined.find(',', at), joined.size());
        names.push_back(joined.substr(at, end - at));
        at = end + 1;
    }
    return names;
}

}  // namespace

std::string Packed(const Fields& fields) {
    std::string packed;
    for (const auto& [name, value] : fields) {
        AppendCounted(packed, name);
        AppendCounted(packed, value);
    }
    return packed;
}

std::optional<Fields> Unpacked(const std::string& bytes) {
    Fields fields;
    for (std::size_t at = 0; at < bytes.size();) {
        std::string name;
        std::string value;
        if (!TakeCounted(bytes, at, name) || !TakeCounted(bytes, at, value)) return std::nullopt;
        fields.emplace_hint(fields.end(), std::move(name), std::move(value));
    }
    return fields;
}

State::State(const std::filesystem::path& file, const std::string& deviceIdentity, const std::string& folderIdentity,
             bool durable)
    : m_durable(durable) {
    try {
        m_connection = std::make_unique<Sqlite>(file.string());
        // Each row is read once and written once: a megabyte of pages is enough.
        m_connection->Execute("PRAGMA journal_mode=WAL; PRAGMA cache_size=-1000");
        m_connection->Execute(durable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF");
        {
            Transaction transaction(*m_connection);
            m_connection->Execute(kTables);
            transaction.Commit();
        }
        const std::string format = Note("format");
        // One that an earlier version was killed while making has the first notes only.
        if (format.empty() || (format == kFormat && Note("folder").empty())) {
            m_isNew = true;
            Transaction transaction(*m_connection);
            SetNote("format", kFormat);
            SetNote("device", deviceIdentity);
            SetNote("folder", folderIdentity);
            transaction.Commit();
            return;
        }
        if (format != kFormat) {
            throw StateError(file.string() + " was written by another version (" + format + "); this one reads " +
                             kFormat);
        }
        if (Note("device") != deviceIdentity || Note("folder") != folderIdentity) {
            throw StateError(file.string() + " belongs to another device or folder; it was left as it is");
        }
    } catch (const SqliteError& error) {
        throw StateError(std::string("the state file cannot be used: ") + error.what());
    }
}

State::~State() = default;

// What was relaxed before is durable with it: the log is synced as a whole.
Sqlite& State::Durable() {
    if (m_relaxed) m_connection->Execute("PRAGMA synchronous=FULL");
    m_relaxed = false;
    return *m_connection;
}

Sqlite& State::Relaxed() {
    if (m_durable && !m_relaxed) m_connection->Execute("PRAGMA synchronous=NORMAL");
    m_relaxed = m_durable;
    return *m_connection;
}

std::set<ItemType> State::BeginListings(const std::vector<ItemType>& types) {
    std::set<ItemType> found;
    Transaction transaction(Durable());
    Statement put(Durable(), "INSERT OR IGNORE INTO listing (type) VALUES (?)");
    for (const ItemType type : types) {
        put.Bind(Number(type)).Run();
        if (m_connection->Changes() == 0) found.insert(type);
    }
    transaction.Commit();
    return found;
}

void State::EndListings(const std::map<ItemType, std::vector<std::string>>& changed) {
    Transaction transaction(Durable());
    Statement put(Durable(), "INSERT OR IGNORE INTO unsettled (type, id) VALUES (?, ?)");
    Statement end(Durable(), "DELETE FROM listing WHERE type = ?");
    for (const auto& [type, ids] : changed) {
        for (const std::string& id : ids) put.Bind(Number(type)).Bind(id).Run();
        end.Bind(Number(type)).Run();
    }
    transaction.Commit();
}

std::set<std::string> State::Unsettled(ItemType type) {
    std::set<std::string> ids;
    Statement all(
        *m_connection,
        "SELECT id FROM unsettled WHERE type = ?1 UNION SELECT id FROM look_again WHERE type = ?1 ORDER BY id");
    for (all.Bind(Number(type)); all.Step();) ids.emplace_hint(ids.end(), all.Bytes(0));
    return ids;
}

void State::ForgetLooksAgain() { Durable().Execute("DELETE FROM look_again"); }

std::vector<Pair> State::Pairs(ItemType type) {
    std::vector<Pair> pairs;
    pairs.reserve(CountPairs(type));
    Statement all(*m_connection,
                  "SELECT number, device_id, folder_id, device_revision, folder_revision, title, doubt FROM pair "
                  "WHERE type = ? ORDER BY number");
    for (all.Bind(Number(type)); all.Step();) {
        pairs.push_back({all.Integer(0), type, all.Bytes(1), all.Bytes(2), all.Bytes(3), all.Bytes(4), all.Bytes(5),
                         static_cast<Doubt>(all.Integer(6))});
    }
    all.Reset();
    sqlite3_db_release_memory(m_connection->Handle());  // pages that are not read again
    return pairs;
}

std::size_t State::CountPairs(ItemType type) {
    Statement count(*m_connection, "SELECT count(*) FROM pair WHERE type = ?");
    return count.Bind(Number(type)).Step() ? static_cast<std::size_t>(count.Integer(0)) : 0;
}

Bases State::BasesOf(const Pair& pair) {
    if (!m_basesOf) {
        m_basesOf =
            std::make_unique<Statement>(*m_connection, "SELECT device_base, folder_base FROM pair WHERE number = ?");
    }
    Statement& one = *m_basesOf;
    Bases bases;
    if (one.Bind(pair.number).Step()) {
        bases.device = Unpacked(one.Bytes(0)).value_or(Fields{});
        bases.folder = one.IsNull(1) ? bases.device : Unpacked(one.Bytes(1)).value_or(Fields{});
    }
    one.Reset();
    return bases;
}

void State::DoubtAll(Doubt doubt) {
    Transaction transaction(Durable());
    Statement(Durable(), "UPDATE pair SET doubt = ?").Bind(static_cast<std::int64_t>(doubt)).Run();
    // An older device is to be told again what the folder says. It has not seen what was written since.
    if (doubt == Doubt::OldDevice) Durable().Execute("UPDATE pair SET folder_revision = ''; DELETE FROM look_again");
    // An older state does not know what the device has told since.
    Statement list(Durable(), "INSERT OR IGNORE INTO listing (type) VALUES (?)");
    if (doubt == Doubt::OldFolder) {
        for (const ItemType type : kAllItemTypes) list.Bind(Number(type)).Run();
    }
    transaction.Commit();
}

void State::NoteWriting(ItemType type, const std::string& folderId) {
    Sqlite& connection = Relaxed();
    if (!m_noteWriting) {
        m_noteWriting =
            std::make_unique<Statement>(connection, "INSERT OR IGNORE INTO writing (type, folder_id) VALUES (?, ?)");
    }
    m_noteWriting->Bind(Number(type)).Bind(folderId).Run();
}

std::set<std::pair<ItemType, std::string>> State::Writing() {
    std::set<std::pair<ItemType, std::string>> items;
    Statement all(*m_connection, "SELECT type, folder_id FROM writing");
    while (all.Step()) items.emplace(static_cast<ItemType>(all.Integer(0)), all.Bytes(1));
    return items;
}

void State::Commit(const Batch& batch) {
    Transaction transaction(Durable());
    Statement forget(Durable(), "DELETE FROM pair WHERE number = ?");
    for (const std::int64_t number : batch.forgotten) forget.Bind(number).Run();

    // Where the same two still belong together their place in the indexes stays as it is.
    Statement change(Durable(),
                     "UPDATE pair SET device_revision = ?, folder_revision = ?, title = ?, doubt = ?, device_base = ?, "
                     "folder_base = ? WHERE number = ? AND type = ? AND device_id = ? AND folder_id = ?");
    Statement drop(Durable(),
                   "DELETE FROM pair WHERE number = ?1 OR (type = ?2 AND (device_id = ?3 OR folder_id = ?4))");
    Statement put(Durable(),
                  "INSERT INTO pair (number, type, device_id, folder_id, device_revision, folder_revision, title, "
                  "doubt, device_base, folder_base) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    Statement written(Durable(), "DELETE FROM writing WHERE type = ? AND folder_id = ?");
    const auto bindFacts = [](Statement& statement, const Pair& pair, const Bases& bases) -> Statement& {
        statement.Bind(pair.deviceRevision).Bind(pair.folderRevision).Bind(pair.title);
        statement.Bind(static_cast<std::int64_t>(pair.doubt)).BindBlob(Packed(bases.device));
        return bases.folder == bases.device ? statement.BindNull() : statement.BindBlob(Packed(bases.folder));
    };
    for (const auto& [pair, bases] : batch.agreed) {
        bool isThere = false;
        if (pair.number) {
            bindFacts(change, pair, bases).Bind(pair.number).Bind(Number(pair.type));
            change.Bind(pair.deviceId).Bind(pair.folderId).Run();
            isThere = m_connection->Changes() == 1;
        }
        if (!isThere) {
            drop.Bind(pair.number).Bind(Number(pair.type)).Bind(pair.deviceId).Bind(pair.folderId).Run();
            if (pair.number) {
                put.Bind(pair.number);
            } else {
                put.BindNull();
            }
            put.Bind(Number(pair.type)).Bind(pair.deviceId).Bind(pair.folderId);
            bindFacts(put, pair, bases).Run();
        }
        written.Bind(Number(pair.type)).Bind(pair.folderId).Run();
    }

    Statement settle(Durable(), "DELETE FROM unsettled WHERE type = ? AND id = ?");
    Statement looked(Durable(), "DELETE FROM look_again WHERE type = ? AND id = ?");
    Statement release(Durable(), "DELETE FROM keepsake WHERE type = ? AND id = ?");
    for (const auto& [type, id] : batch.settledOnDevice) {
        settle.Bind(Number(type)).Bind(id).Run();
        looked.Bind(Number(type)).Bind(id).Run();
        release.Bind(Number(type)).Bind(id).Run();
    }
    Statement again(Durable(), "INSERT OR IGNORE INTO look_again (type, id) VALUES (?, ?)");
    for (const auto& [type, id] : batch.lookAgainOnDevice) again.Bind(Number(type)).Bind(id).Run();

    Statement settleConflict(Durable(), "DELETE FROM conflict WHERE type = ? AND key = ?");
    for (const auto& [type, key] : batch.settledConflicts) settleConflict.Bind(Number(type)).Bind(key).Run();
    Statement wait(
        Durable(),
        "INSERT INTO conflict (type, key, device_id, folder_id, title, text, fields) VALUES (?, ?, ?, ?, ?, ?, ?) "
        "ON CONFLICT (type, key) DO UPDATE SET device_id = excluded.device_id, folder_id = excluded.folder_id, "
        "title = excluded.title, text = excluded.text, fields = excluded.fields");
    for (const WaitingConflict& conflict : batch.waiting) {
        wait.Bind(Number(conflict.type)).Bind(ConflictKey(conflict)).Bind(conflict.deviceId).Bind(conflict.folderId);
        wait.Bind(conflict.title).Bind(conflict.text).Bind(Joined(conflict.fields)).Run();
    }
    transaction.Commit();
}

std::vector<WaitingConflict> State::Conflicts() {
    std::vector<WaitingConflict> conflicts;
    Statement all(
        *m_connection,
        "SELECT type, title, device_id, folder_id, text, fields, choice FROM conflict ORDER BY type, title, key");
    while (all.Step()) {
        conflicts.push_back({static_cast<ItemType>(all.Integer(0)), all.Bytes(1), all.Bytes(2), all.Bytes(3),
                             all.Bytes(4), Split(all.Bytes(5)), all.Bytes(6)});
    }
    return conflicts;
}

void State::Choose(const WaitingConflict& conflict, const std::string& choice) {
    Statement(Durable(), "UPDATE conflict SET choice = ? WHERE type = ? AND key = ?")
        .Bind(choice)
        .Bind(Number(conflict.type))
        .Bind(ConflictKey(conflict))
        .Run();
}

void State::Keep(ItemType type, const std::string& id, const std::string& what) {
    Statement(Durable(), "INSERT OR REPLACE INTO keepsake (type, id, what) VALUES (?, ?, ?)")
        .Bind(Number(type))
        .Bind(id)
        .BindBlob(what)
        .Run();
}

std::string State::Kept(ItemType type, const std::string& id) {
    Statement one(*m_connection, "SELECT what FROM keepsake WHERE type = ? AND id = ?");
    return one.Bind(Number(type)).Bind(id).Step() ? one.Bytes(0) : std::string();
}

std::string State::Note(const std::string& name) {
    Statement one(*m_connection, "SELECT value FROM about WHERE name = ?");
    return one.Bind(name).Step() ? one.Bytes(0) : std::string();
}

void State::SetNote(const std::string& name, const std::string& value) {
    Statement(Durable(), "INSERT OR REPLACE INTO about (name, value) VALUES (?, ?)").Bind(name).Bind(value).Run();
}

void State::ForEachCached(const std::function<void(std::string name, std::string facts)>& take) {
    Statement all(*m_connection, "SELECT name, facts FROM cache");
    while (all.Step()) take(all.Bytes(0), all.Bytes(1));
    all.Reset();
    sqlite3_db_release_memory(m_connection->Handle());
}

void State::ReplaceCached(const std::vector<std::pair<std::string, std::string>>& changed,
                          const std::vector<std::string>& removed) {
    if (changed.empty() && removed.empty()) return;
    Sqlite& connection = Relaxed();
    Transaction transaction(connection);
    Statement put(connection, "INSERT OR REPLACE INTO cache (name, facts) VALUES (?, ?)");
    for (const auto& [name, facts] : changed) put.Bind(name).BindBlob(facts).Run();
    Statement remove(connection, "DELETE FROM cache WHERE name = ?");
    for (const std::string& name : removed) remove.Bind(name).Run();
    transaction.Commit();
}

void State::CopyTo(const std::filesystem::path& file) {
    try {
        CopyAsFile(*m_connection, file.string());
    } catch (const SqliteError& error) {
        throw StateError("the state cannot be copied: " + std::string(error.what()));
    }
}

}  // namespace kez::sync
