// Moves over the index of a sort order.
#include "platform/propertydb/cursor.h"

#include <algorithm>

#include "platform/propertydb/options.h"
#include "platform/propertydb/sort_key.h"

namespace kez::propertydb {

namespace {

constexpr std::size_t kMostAhead = 64;
constexpr std::size_t kLongRecord = 16384;  // a row this long ends the reading ahead
constexpr std::uint32_t kFewSteps = 64;     // beyond it a list of all identifiers is worth its making
const std::string kAfterAllKeys = "\xFF";   // a key begins with 1, 2 or 3

// The key right behind `key`: nothing lies between.
std::string Behind(std::string key) {
    key.push_back('\0');
    return key;
}

std::string KeyOfNumber(std::int64_t number) {
    std::string key;
    for (int shift = 56; shift >= 0; shift -= 8) key.push_back(static_cast<char>(number >> shift));
    return key;
}

std::int64_t NumberOfKey(const std::string& key) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < 8; ++i) number = number << 8 | static_cast<unsigned char>(key[i]);
    return static_cast<std::int64_t>(number) + (key.size() > 8 ? 1 : 0);
}

}  // namespace

// --- Cursor -------------------------------------------------------------------------------------------------

Cursor::Cursor(std::shared_ptr<Connection> connection, CEOID database, int order)
    : m_connection(std::move(connection)), m_database(database), m_order(order) {}

void Cursor::UseConnection(std::shared_ptr<Connection> connection) {
    m_connection = std::move(connection);
    m_count = 0;
    m_index.reset();
    m_counted.reset();
}

const std::shared_ptr<const Database>& Cursor::Definition() {
    const auto& database = m_connection->NeedDatabase(m_database);
    if (m_order >= static_cast<int>(database->orders.size())) {
        throw VolumeError(ERROR_KEY_DELETED, "the sort order is gone");
    }
    return database;
}

DatabaseStatements::Seek& Cursor::Statements() { return m_connection->Statements(Definition()).orders.at(m_order); }

// Keys of the order of creation are identifiers, 8 bytes with the high one first, so that they compare as all others.
std::string Cursor::FirstKey() const { return m_order < 0 ? KeyOfNumber(0) : std::string(); }

void Cursor::BindKey(Query& query, const std::string& key) const {
    if (m_order < 0) {
        query.Bind(1, NumberOfKey(key));
    } else {
        query.Bind(1, key);
    }
}

void Cursor::TakeKey(const Query& query, CEOID oid, std::string& key) const {
    if (m_order < 0) {
        key = KeyOfNumber(oid);
    } else {
        key = query.Blob(1);
    }
}

bool Cursor::StandAtEnd() {
    m_place = Place::AtEnd;
    m_count = 0;
    m_index.reset();
    return false;
}

bool Cursor::StandOnRow(std::size_t at) {
    m_at = at;
    m_place = Place::OnRecord;
    m_oid = m_rows[at].oid;
    m_key = m_rows[at].key;
    return true;
}

// Reads rows from the first key that is not before `from`, after `skip` others.
bool Cursor::Forward(const std::string& from, std::size_t skip, std::size_t rows) {
    m_stamp = m_connection->CurrentStamp();
    Query query(Statements().forward);
    BindKey(query, from);
    for (; skip > 0; --skip) {
        if (!query.Step()) return StandAtEnd();
    }
    m_count = 0;
    while (m_count < rows && query.Step()) {
        if (m_rows.size() == m_count) m_rows.emplace_back();
        Row& row = m_rows[m_count++];
        row.oid = static_cast<CEOID>(query.Number(0));
        TakeKey(query, row.oid, row.key);
        row.props = query.Blob(2);
        if (row.props.size() > kLongRecord) break;
    }
    return m_count > 0 ? StandOnRow(0) : StandAtEnd();
}

// Goes to the last key before `before`, and `skip` further.
bool Cursor::Backward(const std::string& before, std::size_t skip) {
    m_stamp = m_connection->CurrentStamp();
    m_ahead = 1;
    Query query(Statements().backward);
    BindKey(query, before);
    for (std::size_t step = 0; step <= skip; ++step) {
        if (!query.Step()) return StandAtEnd();
    }
    if (m_rows.empty()) m_rows.emplace_back();
    m_count = 1;
    m_rows[0].oid = static_cast<CEOID>(query.Number(0));
    TakeKey(query, m_rows[0].oid, m_rows[0].key);
    m_rows[0].props = query.Blob(2);
    return StandOnRow(0);
}

bool Cursor::Refresh() {
    const Stamp stamp = m_connection->CurrentStamp();
    if (m_count > 0 && stamp == m_stamp) return true;
    m_count = 0;
    m_index.reset();
    Query query(Statements().keyOf);
    query.Bind(1, m_oid);
    if (!query.Step()) return false;
    if (m_order >= 0) m_key = query.Blob(0);
    m_bytes = query.Blob(1);
    return true;
}

bool Cursor::ToOid(CEOID oid) {
    const Stamp stamp = m_connection->CurrentStamp();
    Query query(Statements().keyOf);
    query.Bind(1, oid);
    if (!query.Step()) return false;
    if (m_rows.empty()) m_rows.emplace_back();
    m_stamp = stamp;
    m_count = 1;
    m_ahead = 1;
    m_index.reset();
    m_rows[0].oid = oid;
    m_rows[0].key = m_order < 0 ? KeyOfNumber(oid) : std::string(query.Blob(0));
    m_rows[0].props = query.Blob(1);
    return StandOnRow(0);
}

bool Cursor::FromBeginning(std::uint32_t n) {
    m_ahead = 1;
    if (n > kFewSteps) {
        const auto list = m_connection->Lists().Get(*m_connection, Definition(), m_order);
        if (n >= list->size()) return StandAtEnd();
        if (!ToOid((*list)[n])) return StandAtEnd();
    } else if (!Forward(FirstKey(), n, 1)) {
        return false;
    }
    m_index = n;
    return true;
}

bool Cursor::FromEnd(std::uint32_t n) {
    const std::uint32_t records = m_connection->State(m_database).records;
    if (n >= records) return false;
    if (n > kFewSteps) return FromBeginning(records - 1 - n);
    if (!Backward(m_order < 0 ? KeyOfNumber(0x100000000) : kAfterAllKeys, n)) return false;
    m_index = records - 1 - n;
    return true;
}

bool Cursor::FromCurrent(std::int32_t n) {
    if (m_place == Place::AtEnd) {
        if (n >= 0 || !FromEnd(static_cast<std::uint32_t>(-(n + 1)))) return StandAtEnd();
        return true;
    }
    if (m_place == Place::BeforeFirst) {
        return n > 0 ? FromBeginning(static_cast<std::uint32_t>(n - 1)) : StandAtEnd();
    }
    const bool present = Refresh();
    const auto index = m_index;
    const auto place = [this, n, index](bool moved) {
        if (moved && index) m_index = static_cast<std::uint32_t>(static_cast<std::int64_t>(*index) + n);
        return moved;
    };
    if (present && n == 0) return true;
    if (!present && n >= 0) {
        // In the gap the record that followed is one step away; 0 finds it as well.
        const bool skips = CurrentAfterDeletion() == AfterDeletion::Following;
        return Forward(m_key, static_cast<std::size_t>(skips || n == 0 ? n : n - 1), 1);
    }
    if (n < 0) return place(Backward(m_key, static_cast<std::size_t>(-(n + 1))));
    const auto steps = static_cast<std::size_t>(n);
    if (m_count > 0 && m_at + steps < m_count) return place(StandOnRow(m_at + steps));
    m_ahead = std::min(m_ahead * 4, kMostAhead);
    return place(Forward(Behind(m_key), steps - 1, m_ahead));
}

bool Cursor::BeginsWith(const std::string& prefix) const { return m_key.compare(0, prefix.size(), prefix) == 0; }

bool Cursor::ToFirstEqual(const std::string& prefix) {
    m_ahead = 1;
    m_index.reset();
    if (const auto* known = m_connection->Tables().ForSeek(*m_connection, Definition(), m_order)) {
        const auto row = std::ranges::lower_bound(known->rows, std::string_view(prefix), {}, &SeekTables::Row::key);
        const bool found = row != known->rows.end() && row->key.starts_with(prefix);
        return found ? StandOn(*row, known->stamp) : StandAtEnd();
    }
    return (Forward(prefix, 0, 1) && BeginsWith(prefix)) || StandAtEnd();
}

bool Cursor::StandOn(const SeekTables::Row& row, const Stamp& stamp) {
    m_stamp = stamp;
    if (m_rows.empty()) m_rows.emplace_back();
    m_count = 1;
    m_rows[0].oid = row.oid;
    m_rows[0].key = row.key;
    m_rows[0].props = row.props;
    return StandOnRow(0);
}

bool Cursor::ToNextEqual(const std::string& prefix) { return (FromCurrent(1) && BeginsWith(prefix)) || StandAtEnd(); }

bool Cursor::ToGreater(const std::string& prefix, bool orEqual) {
    if (m_place == Place::AtEnd) return StandAtEnd();
    std::string from = orEqual ? prefix : AfterPrefix(prefix);
    if (m_place == Place::OnRecord) {
        Refresh();
        from = std::max(from, m_key);
    }
    m_ahead = 1;
    m_index.reset();
    return Forward(from, 0, 1);
}

bool Cursor::ToSmaller(const std::string& prefix, bool orEqual) {
    if (m_place == Place::BeforeFirst) return StandAtEnd();
    std::string before = orEqual ? AfterPrefix(prefix) : prefix;
    if (m_place == Place::OnRecord) {
        Refresh();
        before = std::min(before, Behind(m_key));
    }
    m_index.reset();
    return Backward(before, 0);
}

// In an order that tells upper from lower case the keys that begin alike without regard to case do not stand
// together: all that agree in the parts before the text are looked at.
bool Cursor::ToFirstBeginning(const std::string& key, const std::u16string& folded, bool turned) {
    m_ahead = 1;
    m_index.reset();
    std::string from = key;
    while (Forward(from, 0, kMostAhead)) {
        for (std::size_t i = 0; i < m_count; ++i) {
            const std::string& candidate = m_rows[i].key;
            if (candidate.compare(0, key.size(), key) != 0) return StandAtEnd();
            std::u16string text;
            for (std::size_t at = key.size(); at + 1 < candidate.size() && text.size() < folded.size(); at += 2) {
                auto unit = static_cast<char16_t>(static_cast<unsigned char>(candidate[at]) << 8 |
                                                  static_cast<unsigned char>(candidate[at + 1]));
                if (turned) unit = static_cast<char16_t>(~unit);
                if (unit == 0) break;
                AppendFolded(&unit, 1, CEDB_SORT_CASEINSENSITIVE, text);
            }
            if (text == folded) return StandOnRow(i);
        }
        from = Behind(m_rows[m_count - 1].key);
    }
    return false;
}

void Cursor::PutOn(CEOID oid, std::string key) {
    m_place = Place::OnRecord;
    m_oid = oid;
    m_key = m_order < 0 ? KeyOfNumber(oid) : std::move(key);
    m_count = 0;
    m_index.reset();
}

std::uint32_t Cursor::Index() {
    if (m_index && m_connection->CurrentStamp() == m_stamp) return *m_index;
    const auto& database = Definition();
    // Someone who asks twice without a change in between is likely to ask again: then the list pays.
    const Stamp now = m_connection->CurrentStamp();
    const bool again = m_counted == now;
    m_counted = now;
    const auto list = again ? m_connection->Lists().Get(*m_connection, database, m_order)
                            : m_connection->Lists().Kept(*m_connection, database, m_order);
    if (list) {
        const auto keyIsBefore = [this](CEOID oid, const std::string& key) {
            if (m_order < 0) return oid < static_cast<CEOID>(NumberOfKey(key));
            Query query(Statements().keyOf);
            query.Bind(1, oid);
            return query.Step() && query.Blob(0) < key;
        };
        m_index = static_cast<std::uint32_t>(std::lower_bound(list->begin(), list->end(), m_key, keyIsBefore) -
                                             list->begin());
        return *m_index;
    }
    Query query(Statements().rank);
    BindKey(query, m_key);
    m_index = query.Step() ? static_cast<std::uint32_t>(query.Number(0)) : 0;
    return *m_index;
}

const std::string* Cursor::AtHand(CEOID oid) const {
    const bool good = m_place == Place::OnRecord && m_oid == oid && m_count > 0;
    return good && m_connection->CurrentStamp() == m_stamp ? &m_rows[m_at].props : nullptr;
}

const std::string* Cursor::Read() {
    if (!Refresh()) return nullptr;
    return m_count > 0 ? &m_rows[m_at].props : &m_bytes;
}

}  // namespace kez::propertydb
