// What a database is: its name, its sort orders, the properties it may hold. Read from the volume once and shared
// until any process changes a definition.
#pragma once

#include <windbase.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kez::propertydb {

struct Column {
    CEPROPID id;
    DWORD flags;  // DB_PROP_NOTNULL, DB_PROP_COMPRESSED
    std::u16string name;
};

// Which properties a record may hold.
enum class Schema {
    Open = 0,        // any
    FirstWrite = 1,  // those of the sort orders and of the first record, which makes it Fixed
    Fixed = 2,       // the columns
};

struct Order {
    SORTORDERSPECEX sort;  // as it was given
    int slot;              // its keys are in column key<slot>; a slot is never used for a second order
};

struct Database {
    CEOID oid = 0;
    std::u16string name;
    DWORD type = 0;
    DWORD flags = 0;  // the upper half of CEDBASEINFOEX::dwFlags
    Schema schema = Schema::Open;
    std::vector<Order> orders;
    std::vector<Column> columns;
    bool journal = false;
    std::vector<CEPROPID> needed;  // what no record may be without, by its column or by a sort order

    const Column* FindColumn(CEPROPID id) const;
    // The order that equals `sort` in properties and flags; -1 where there is none.
    int FindOrder(const SORTORDERSPECEX& sort) const;
    bool InSortOrder(CEPROPID id) const;
};

// Whether the volume itself gives the values of a property.
inline bool IsAutomatic(CEPROPID id) {
    return TypeFromPropID(id) == CEVT_AUTO_I4 || TypeFromPropID(id) == CEVT_AUTO_I8;
}

using Databases = std::map<CEOID, std::shared_ptr<const Database>>;

// Whether two names are the same: without regard to ASCII case.
bool SameName(const std::u16string& a, const std::u16string& b);

}  // namespace kez::propertydb
