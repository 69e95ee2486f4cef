// A place in a sort order of a database, and the moves from it.
//
// The place is remembered as the key of the record, not as a number: when records come or go, or the record itself
// goes, the moves still start between the same neighbours. The key is the one the record had when this cursor last
// looked: a record that others moved and then deleted leaves the cursor where it last saw it. Stepping forward reads
// ahead: rows that were read are used as long as the volume's stamp says that nobody changed anything.
#pragma once

#include <windbase.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/propertydb/connection.h"

namespace kez::propertydb {

// Every operation needs the connection's mutex held.
class Cursor {
 public:
    // `order` is the index of the sort order, -1 the order of creation.
    Cursor(std::shared_ptr<Connection> connection, CEOID database, int order);

    // Goes on from the same place under another connection of the volume.
    void UseConnection(std::shared_ptr<Connection> connection);

    enum class Place { BeforeFirst, OnRecord, AtEnd };
    Place Where() const { return m_place; }
    CEOID Oid() const { return m_oid; }  // of the record it stands on, or stood on when that was deleted
    int SortOrder() const { return m_order; }

    // --- Moves: true where they end on a record, which is then the place ---
    bool ToOid(CEOID oid);                // a failure leaves the place as it was
    bool FromBeginning(std::uint32_t n);  // a failure ends at the end
    bool FromEnd(std::uint32_t n);        // a failure leaves the place as it was
    bool FromCurrent(std::int32_t n);     // a failure ends at the end, as do those below
    bool ToFirstEqual(const std::string& prefix);
    bool ToNextEqual(const std::string& prefix);
    bool ToGreater(const std::string& prefix, bool orEqual);
    bool ToSmaller(const std::string& prefix, bool orEqual);
    // The first whose key starts with `key` and goes on with text that begins with `folded`, case ignored; `turned`
    // where that part of the order is descending.
    bool ToFirstBeginning(const std::string& key, const std::u16string& folded, bool turned);

    // The record was written through this handle: stands on it. `key` as WantedKey gives it.
    void PutOn(CEOID oid, std::string key);
    // The number of records before the one it stands on.
    std::uint32_t Index();
    // The bytes of the record it stands on; null where that was deleted. Valid until the next operation.
    const std::string* Read();
    // The same for any record, but only where the bytes are at hand and good; null otherwise.
    const std::string* AtHand(CEOID oid) const;

 private:
    struct Row {
        CEOID oid;
        std::string key;
        std::string props;
    };

    const std::shared_ptr<const Database>& Definition();
    DatabaseStatements::Seek& Statements();
    std::string FirstKey() const;
    void TakeKey(const Query& query, CEOID oid, std::string& key) const;  // of a row with identifier, key and bytes
    void BindKey(Query& query, const std::string& key) const;
    bool Refresh();  // true: the record it stands on is still there
    bool StandOnRow(std::size_t at);
    bool StandOn(const SeekTables::Row& row, const Stamp& stamp);
    bool StandAtEnd();
    bool Forward(const std::string& from, std::size_t skip, std::size_t rows);
    bool Backward(const std::string& before, std::size_t skip);
    bool BeginsWith(const std::string& prefix) const;

    std::shared_ptr<Connection> m_connection;
    CEOID m_database;
    int m_order;

    Place m_place = Place::BeforeFirst;
    CEOID m_oid = 0;
    std::string m_key;
    std::vector<Row> m_rows;               // from the place on, in order
    std::size_t m_at = 0;                  // the place in m_rows
    std::size_t m_count = 0;               // rows of m_rows that are filled
    std::size_t m_ahead = 1;               // rows to read at the next step
    Stamp m_stamp;                         // of the rows
    std::optional<std::uint32_t> m_index;  // at m_stamp
    std::optional<Stamp> m_counted;        // when an index was last counted out
    std::string m_bytes;
};

}  // namespace kez::propertydb
