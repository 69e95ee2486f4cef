// Records on a connection: the four operations that everything else is made of. The caller holds the connection's
// mutex; those that write run inside a WriteScope.
#pragma once

#include <windbase.h>

#include <string>

#include "platform/propertydb/connection.h"

namespace kez::propertydb {

// Where a caller wants to know the key of the record it wrote in one of the sort orders.
struct WantedKey {
    int order = -1;
    std::string key;  // stays empty for the order of creation
};

// Gives a connection the SQL functions that the statements below call; `scratch` is the connection's.
void AddRecordFunctions(sqlite3* database, RecordScratch& scratch);

// Throws VolumeError: 5 a property that must be there is not, 24, 87 no property of the database, 183.
CEOID InsertRecord(Connection& connection, CEOID database, PropertyViews& properties, bool newColumns,
                   WantedKey* wanted);
// `changes` sorted by identifier; false where there is no such record. `known` are the record's bytes as they are now,
// where the caller has them.
bool UpdateRecord(Connection& connection, CEOID database, CEOID record, const PropertyViews& changes, bool newColumns,
                  WantedKey* wanted, const std::string* known = nullptr);
bool RemoveRecord(Connection& connection, CEOID database, CEOID record);
// The record's bytes into `bytes`; false where there is no such record.
bool ReadRecord(Connection& connection, const std::shared_ptr<const Database>& database, CEOID record,
                std::string& bytes);
// The database that holds a record; null where there is none.
std::shared_ptr<const Database> OwnerOf(Connection& connection, CEOID record);

// Definitions, each inside a WriteScope of several statements.
CEOID CreateDatabase(Connection& connection, const Database& definition);
void DropDatabase(Connection& connection, CEOID database);
// Puts `orders` in the place of the database's sort orders; throws 183 where a unique key occurs twice.
void ReplaceSortOrders(Connection& connection, CEOID database, const std::vector<SORTORDERSPECEX>& orders);
void ReplaceColumns(Connection& connection, CEOID database, const std::vector<Column>& columns, Schema schema);
// Takes a property out of all records.
void StripProperty(Connection& connection, CEOID database, CEPROPID id);
// Throws VolumeError 87 for a sort order that cannot be.
void CheckSortOrders(const std::vector<SORTORDERSPECEX>& orders);

}  // namespace kez::propertydb
