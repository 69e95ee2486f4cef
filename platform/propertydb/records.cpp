// Writing a record: check it against the database's definition, encode it, make its keys, one statement, counters.
#include "platform/propertydb/records.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "platform/propertydb/schema.h"
#include "platform/propertydb/sort_key.h"

namespace kez::propertydb {

// An update under way: the function `merged` in its statement makes the new bytes of the record from the old ones, so
// that the record is found once and not read before.
struct Merging {
    const Database& database;
    CEOID record;
    const PropertyViews& changes;
    WantedKey* wanted;
    std::size_t sizeBefore = 0;
    std::exception_ptr failure;
};

namespace {

[[noreturn]] void NotAColumn(const Database& database, CEPROPID id) {
    throw VolumeError(ERROR_INVALID_PARAMETER, "property " + std::to_string(id >> 16) + " of type " +
                                                   std::to_string(TypeFromPropID(id)) + " is none of database " +
                                                   std::to_string(database.oid));
}

// Checks that the database takes the properties; where it takes new ones as they come, makes them its columns.
std::shared_ptr<const Database> Admit(Connection& connection, CEOID oid, const PropertyViews& properties,
                                      bool newColumns) {
    auto database = connection.NeedDatabase(oid);
    for (const PropertyView& view : properties) {
        if (IsAutomatic(view.id)) NotAColumn(*database, view.id);  // the volume gives these
    }
    if (database->schema == Schema::Open) return database;
    const bool known = std::ranges::all_of(properties, [&](const auto& view) { return database->FindColumn(view.id); });
    if (database->schema == Schema::Fixed && known) return database;
    const bool adopts = newColumns || database->schema == Schema::FirstWrite;
    std::vector<Column> columns = database->columns;
    for (const PropertyView& view : properties) {
        if (database->FindColumn(view.id)) continue;
        if (!adopts) NotAColumn(*database, view.id);
        if (!view.removed) columns.push_back({view.id, 0, {}});
    }
    if (database->schema == Schema::Fixed && columns.size() == database->columns.size()) return database;
    ReplaceColumns(connection, oid, columns, Schema::Fixed);
    return connection.NeedDatabase(oid);
}

[[noreturn]] void Missing(CEPROPID id) {
    throw VolumeError(ERROR_ACCESS_DENIED, "property " + std::to_string(id >> 16) + " must not be missing");
}

void CheckPresence(const Database& database, const PropertyViews& properties) {
    for (const CEPROPID id : database.needed) {
        if (!FindView(properties, id)) Missing(id);
    }
}

// The same for what `changes` make of `old`.
void CheckPresence(const Database& database, const PropertyViews& old, const PropertyViews& changes) {
    for (const CEPROPID id : database.needed) {
        const auto change = std::ranges::find(changes, id, &PropertyView::id);
        if (change != changes.end() ? change->removed : !FindView(old, id)) Missing(id);
    }
}

void GiveNumbers(Connection& connection, const Database& database, PropertyViews& properties) {
    for (const Column& column : database.columns) {
        if (!IsAutomatic(column.id)) continue;
        Query(connection.Fixed("UPDATE state SET last_number = last_number + 1 WHERE database = ?1"))
            .Bind(1, database.oid)
            .Run();
        Query query(connection.Fixed("SELECT last_number FROM state WHERE database = ?1"));
        query.Bind(1, database.oid).Run();
        const std::int64_t number = query.Number(0);
        PropertyView view;
        view.id = column.id;
        view.size = static_cast<std::uint32_t>(FixedSize(view.Type()));
        std::memcpy(view.number, &number, view.size);
        const auto place = std::ranges::lower_bound(properties, view.id, {}, &PropertyView::id);
        properties.insert(place, view);
    }
}

void BindKeys(Query& query, const Database& database, const PropertyViews& properties, CEOID oid, WantedKey* wanted,
              std::vector<std::string>& keys) {
    if (keys.size() < database.orders.size()) keys.resize(database.orders.size());
    for (std::size_t i = 0; i < database.orders.size(); ++i) {
        MakeSortKey(database.orders[i].sort, properties, oid, keys[i]);
        query.Bind(static_cast<int>(i) + 3, keys[i]);
        if (wanted && wanted->order == static_cast<int>(i)) wanted->key = keys[i];
    }
}

// The key that the caller wants of a record that was not written with its keys.
void MakeWantedKey(const Database& database, const PropertyViews& properties, CEOID record, WantedKey* wanted) {
    if (!wanted || wanted->order < 0) return;
    MakeSortKey(database.orders[static_cast<std::size_t>(wanted->order)].sort, properties, record, wanted->key);
}

void MakeMerged(const Merging& merging, std::string_view before, RecordScratch& scratch) {
    Decode(before, scratch.old);
    CheckPresence(merging.database, scratch.old, merging.changes);
    EncodeMerged(before, scratch.old, merging.changes, scratch.bytes);
    MakeWantedKey(merging.database, scratch.old, merging.record, merging.wanted);  // no change is part of a key
}

void Merged(sqlite3_context* context, int, sqlite3_value** arguments) {
    RecordScratch& scratch = *static_cast<RecordScratch*>(sqlite3_user_data(context));
    Merging* merging = scratch.merging;
    if (!merging) return sqlite3_result_error(context, "no record is being updated", -1);
    try {
        const auto* before = static_cast<const char*>(sqlite3_value_blob(arguments[0]));
        merging->sizeBefore = static_cast<std::size_t>(sqlite3_value_bytes(arguments[0]));
        MakeMerged(*merging, {before, merging->sizeBefore}, scratch);
        sqlite3_result_blob64(context, scratch.bytes.data(), scratch.bytes.size(), SQLITE_STATIC);
    } catch (...) {
        merging->failure = std::current_exception();
        sqlite3_result_error(context, "the record cannot be changed so", -1);
    }
}

// Whether the changes are of columns that are there, and of none that is part of a key.
bool AreBesideKeys(const Database& database, const PropertyViews& changes) {
    return std::ranges::none_of(changes, [&database](const PropertyView& change) {
        return IsAutomatic(change.id) || database.InSortOrder(change.id) ||
               (database.schema != Schema::Open && !database.FindColumn(change.id));
    });
}

// Updates a record in one statement; false where there is no such record.
bool UpdateInPlace(Connection& connection, const std::shared_ptr<const Database>& database, CEOID record,
                   const PropertyViews& changes, WantedKey* wanted) {
    RecordScratch& scratch = connection.Scratch();
    Merging merging{*database, record, changes, wanted, 0, nullptr};
    scratch.merging = &merging;
    try {
        Query(connection.Statements(database).merge).Bind(1, record).Run();
    } catch (const VolumeError&) {
        scratch.merging = nullptr;
        if (merging.failure) std::rethrow_exception(merging.failure);
        throw;
    }
    scratch.merging = nullptr;
    if (sqlite3_changes(connection.Handle()) == 0) return false;
    connection.Count(database->oid, 0,
                     static_cast<std::int64_t>(scratch.bytes.size()) - static_cast<std::int64_t>(merging.sizeBefore));
    connection.Tell(DB_CEOID_CHANGED, record, database->oid);
    return true;
}

bool TouchesKeys(const Database& database, const PropertyViews& old, const PropertyViews& changes) {
    return std::ranges::any_of(changes, [&](const PropertyView& change) {
        if (!database.InSortOrder(change.id)) return false;
        const PropertyView* before = FindView(old, change.id);
        return before ? !before->SameValue(change) : !change.removed;
    });
}

}  // namespace

void AddRecordFunctions(sqlite3* database, RecordScratch& scratch) {
    sqlite3_create_function_v2(database, "merged", 1, SQLITE_UTF8 | SQLITE_DIRECTONLY, &scratch, Merged, nullptr,
                               nullptr, nullptr);
}

CEOID InsertRecord(Connection& connection, CEOID oid, PropertyViews& properties, bool newColumns, WantedKey* wanted) {
    const auto database = Admit(connection, oid, properties, newColumns);
    CheckPresence(*database, properties);
    GiveNumbers(connection, *database, properties);
    RecordScratch& scratch = connection.Scratch();
    std::string& bytes = scratch.bytes;
    Encode(properties, bytes);
    const bool appends = connection.Appends(database);
    const CEOID record = connection.NewOid();
    DatabaseStatements& statements = connection.Statements(database);
    Query insert(appends ? statements.append : statements.insert);
    if (!appends) insert.Bind(1, record);
    insert.Bind(2, bytes);
    BindKeys(insert, *database, properties, record, wanted, scratch.keys);
    insert.Run();
    connection.NoteAdded(oid, appends);
    connection.Count(oid, 1, static_cast<std::int64_t>(bytes.size()));
    connection.Tell(DB_CEOID_CREATED, record, oid);
    return record;
}

bool UpdateRecord(Connection& connection, CEOID oid, CEOID record, const PropertyViews& changes, bool newColumns,
                  WantedKey* wanted, const std::string* known) {
    RecordScratch& scratch = connection.Scratch();
    if (!known) {
        const auto& database = connection.NeedDatabase(oid);
        if (AreBesideKeys(*database, changes)) return UpdateInPlace(connection, database, record, changes, wanted);
        if (!ReadRecord(connection, database, record, scratch.oldBytes)) return false;
        known = &scratch.oldBytes;
    }
    const auto database = Admit(connection, oid, changes, newColumns);
    Decode(*known, scratch.old);
    Merge(scratch.old, changes, scratch.merged);
    CheckPresence(*database, scratch.merged);
    Encode(scratch.merged, scratch.bytes);
    DatabaseStatements& statements = connection.Statements(database);
    if (TouchesKeys(*database, scratch.old, changes)) {
        Query update(statements.updateKeys);
        update.Bind(1, record).Bind(2, scratch.bytes);
        BindKeys(update, *database, scratch.merged, record, wanted, scratch.keys);
        update.Run();
    } else {
        Query(statements.update).Bind(1, record).Bind(2, scratch.bytes).Run();
        MakeWantedKey(*database, scratch.merged, record, wanted);
    }
    connection.Count(oid, 0,
                     static_cast<std::int64_t>(scratch.bytes.size()) - static_cast<std::int64_t>(known->size()));
    connection.Tell(DB_CEOID_CHANGED, record, oid);
    return true;
}

bool RemoveRecord(Connection& connection, CEOID oid, CEOID record) {
    const auto& database = connection.NeedDatabase(oid);
    std::string& bytes = connection.Scratch().oldBytes;
    if (!ReadRecord(connection, database, record, bytes)) return false;
    Query(connection.Statements(database).remove).Bind(1, record).Run();
    connection.NoteRemoved();
    connection.Count(oid, -1, -static_cast<std::int64_t>(bytes.size()));
    connection.Tell(DB_CEOID_RECORD_DELETED, record, oid);
    return true;
}

bool ReadRecord(Connection& connection, const std::shared_ptr<const Database>& database, CEOID record,
                std::string& bytes) {
    Query query(connection.Statements(database).read);
    query.Bind(1, record);
    if (!query.Step()) return false;
    bytes = query.Blob(0);
    return true;
}

std::shared_ptr<const Database> OwnerOf(Connection& connection, CEOID record) {
    for (const auto& [oid, database] : connection.AllDatabases()) {
        Query query(connection.Statements(database).read);
        query.Bind(1, record);
        if (query.Step()) return database;
    }
    return nullptr;
}

// --- Definitions --------------------------------------------------------------------------------------------

void CheckSortOrders(const std::vector<SORTORDERSPECEX>& orders) {
    int primaryKeys = 0;
    for (const SORTORDERSPECEX& order : orders) {
        if (order.wVersion != 2 || order.wNumProps < 1 || order.wNumProps > CEDB_MAXSORTPROP) {
            throw VolumeError(ERROR_INVALID_PARAMETER, "a sort order has to be of version 2 with 1 to 16 properties");
        }
        for (WORD i = 0; i < order.wNumProps; ++i) {
            if (FixedSize(TypeFromPropID(order.rgPropID[i])) < 0) {
                throw VolumeError(ERROR_INVALID_PARAMETER, "a sort order names a property of no sortable type");
            }
        }
        if ((order.wKeyFlags & CEDB_SORT_PRIMARYKEY) == CEDB_SORT_PRIMARYKEY) ++primaryKeys;
    }
    if (primaryKeys > 1) throw VolumeError(ERROR_ACCESS_DENIED, "a database has one primary key at most");
}

CEOID CreateDatabase(Connection& connection, const Database& definition) {
    for (const auto& [oid, database] : connection.AllDatabases()) {
        if (SameName(database->name, definition.name)) {
            throw VolumeError(ERROR_DUP_NAME, "the volume has a database of that name");
        }
    }
    const CEOID oid = connection.NewOid();
    Query(connection.Fixed("INSERT INTO database (oid, name, type, flags, schema) VALUES (?1, ?2, ?3, ?4, ?5)"))
        .Bind(1, oid)
        .BindText(2, definition.name)
        .Bind(3, definition.type)
        .Bind(4, definition.flags)
        .Bind(5, static_cast<int>(definition.schema))
        .Run();
    Query(connection.Fixed("INSERT INTO state (database) VALUES (?1)")).Bind(1, oid).Run();
    CreateRecordTable(connection.Handle(), oid);
    connection.DefinitionsChanged();
    std::vector<SORTORDERSPECEX> orders;
    for (const Order& order : definition.orders) orders.push_back(order.sort);
    ReplaceSortOrders(connection, oid, orders);
    ReplaceColumns(connection, oid, definition.columns, definition.schema);
    connection.Tell(DB_CEOID_CREATED, oid, 0);
    return oid;
}

void DropDatabase(Connection& connection, CEOID oid) {
    const auto database = connection.NeedDatabase(oid);
    for (const char* sql : {"DELETE FROM database WHERE oid = ?1", "DELETE FROM sort_order WHERE database = ?1",
                            "DELETE FROM property WHERE database = ?1", "DELETE FROM state WHERE database = ?1"}) {
        Query(connection.Fixed(sql)).Bind(1, oid).Run();
    }
    DropRecordTable(connection.Handle(), oid);
    connection.DefinitionsChanged();
    connection.Tell(DB_CEOID_DATABASE_DELETED, oid, 0);
}

void ReplaceSortOrders(Connection& connection, CEOID oid, const std::vector<SORTORDERSPECEX>& orders) {
    CheckSortOrders(orders);
    const auto database = connection.NeedDatabase(oid);
    int slot = 0;
    for (const Order& order : database->orders) {
        slot = std::max(slot, order.slot + 1);
        DropKeyColumn(connection.Handle(), oid, order.slot);
    }
    Query(connection.Fixed("DELETE FROM sort_order WHERE database = ?1")).Bind(1, oid).Run();
    const int firstSlot = slot;
    for (std::size_t i = 0; i < orders.size(); ++i, ++slot) {
        Query(connection.Fixed("INSERT INTO sort_order (database, position, slot, sort) VALUES (?1, ?2, ?3, ?4)"))
            .Bind(1, oid)
            .Bind(2, static_cast<std::int64_t>(i))
            .Bind(3, slot)
            .Bind(4, std::string_view(reinterpret_cast<const char*>(&orders[i]), sizeof orders[i]))
            .Run();
        AddKeyColumn(connection.Handle(), oid, slot);
    }
    connection.DefinitionsChanged();

    const auto changed = connection.NeedDatabase(oid);
    std::vector<CEOID> records;
    DatabaseStatements& statements = connection.Statements(changed);
    {
        Query query(statements.orders.at(-1).oids);
        while (query.Step()) records.push_back(static_cast<CEOID>(query.Number(0)));
    }
    for (const CEOID record : records) {
        RecordScratch& scratch = connection.Scratch();
        ReadRecord(connection, changed, record, scratch.bytes);
        Decode(scratch.bytes, scratch.old);
        Query update(statements.updateKeys);
        update.Bind(1, record).Bind(2, scratch.bytes);
        BindKeys(update, *changed, scratch.old, record, nullptr, scratch.keys);
        update.Run();
    }
    for (int made = firstSlot; made < slot; ++made) CreateKeyIndex(connection.Handle(), oid, made);
    connection.DefinitionsChanged();
}

void ReplaceColumns(Connection& connection, CEOID oid, const std::vector<Column>& columns, Schema schema) {
    const auto database = connection.NeedDatabase(oid);
    std::vector<Column> all = columns;
    const auto add = [&all](CEPROPID id) {
        if (std::ranges::find(all, id, &Column::id) == all.end()) all.push_back({id, 0, {}});
    };
    if (schema != Schema::Open) {
        for (const Order& order : database->orders) {
            for (WORD i = 0; i < order.sort.wNumProps; ++i) add(order.sort.rgPropID[i]);
        }
    }
    Query(connection.Fixed("DELETE FROM property WHERE database = ?1")).Bind(1, oid).Run();
    for (std::size_t i = 0; i < all.size(); ++i) {
        Query(
            connection.Fixed("INSERT INTO property (database, position, id, flags, name) VALUES (?1, ?2, ?3, ?4, ?5)"))
            .Bind(1, oid)
            .Bind(2, static_cast<std::int64_t>(i))
            .Bind(3, all[i].id)
            .Bind(4, all[i].flags)
            .BindText(5, all[i].name)
            .Run();
    }
    Query(connection.Fixed("UPDATE database SET schema = ?2 WHERE oid = ?1"))
        .Bind(1, oid)
        .Bind(2, static_cast<int>(schema))
        .Run();
    connection.DefinitionsChanged();
}

void StripProperty(Connection& connection, CEOID oid, CEPROPID id) {
    const auto database = connection.NeedDatabase(oid);
    std::vector<CEOID> records;
    {
        Query query(connection.Statements(database).orders.at(-1).oids);
        while (query.Step()) records.push_back(static_cast<CEOID>(query.Number(0)));
    }
    for (const CEOID record : records) {
        RecordScratch& scratch = connection.Scratch();
        ReadRecord(connection, database, record, scratch.oldBytes);
        Decode(scratch.oldBytes, scratch.old);
        if (!FindView(scratch.old, id)) continue;
        std::erase_if(scratch.old, [id](const PropertyView& view) { return view.id == id; });
        Encode(scratch.old, scratch.bytes);
        Query(connection.Statements(database).update).Bind(1, record).Bind(2, scratch.bytes).Run();
        connection.Count(
            oid, 0,
            static_cast<std::int64_t>(scratch.bytes.size()) - static_cast<std::int64_t>(scratch.oldBytes.size()));
    }
}

}  // namespace kez::propertydb
