// Where items live: the databases of the volume "\pim.vol". Items are records, their identifiers are the record
// identifiers, and everything that can be counted or ordered is counted and ordered by the records themselves, the
// ones that the property database calls see.
//
// Every operation throws propertydb::VolumeError where the volume refuses. Objects may be used from any thread.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/pocketoutlook/property_bag.h"
#include "platform/propertydb/volume.h"

namespace kez::pocketoutlook {

// One folder and the database behind it.
struct FolderRow {
    OlDefaultFolders folder;
    OlItemType type;
    const char16_t* database;
    DWORD databaseType;
    CEPROPID order;  // the stored property by which the database and a fresh collection are ordered, then by oid
    DWORD orderFlags;
};
const FolderRow* FindFolder(INT folder);      // null where there is no such folder
const FolderRow* FindItemType(INT itemType);  // null where there is no such item type
const FolderRow& RowOf(OlItemType type);

// What belongs to an item beside its record: rows in the order of their keys, removed with their item. A change of one
// is a change of the item.
enum class Detail : DWORD {
    Exceptions = 1,  // of a series; the key is the original start of the occurrence, as WallTicks
    Recipients = 2,  // of an appointment; the key is the position, from 1
    Streams = 3,     // contents of stream properties; the key is the property's identifier
};
struct DetailRow {
    std::int64_t key = 0;
    PropertyBag values;
};

// A property that a program named.
struct NamedProperty {
    CEPROPID id;
    bool replicates;  // copies of an item carry it
};

class ItemStore {
 public:
    // The store of the open device; makes the volume and its databases where they are missing.
    static std::shared_ptr<ItemStore> Open();
    explicit ItemStore(std::shared_ptr<propertydb::Volume> volume);

    // --- Reading ---
    // The identifier of a folder: that of its database.
    CEOID FolderOid(OlItemType type) const { return Database(type); }
    const FolderRow* FolderOf(CEOID oid) const;  // null where `oid` is no folder's
    // Moves whenever an item of that type may have changed, whoever changed it.
    std::uint64_t ChangeCounter(OlItemType type) const;
    // The oids of all items of a type in the database's order; read together with the counter they are good for.
    struct OidList {
        std::shared_ptr<const std::vector<CEOID>> oids;
        std::uint64_t counter;
    };
    OidList Oids(OlItemType type) const;
    std::size_t Count(OlItemType type) const;
    std::optional<OlItemType> TypeOf(CEOID oid) const;
    std::optional<PropertyBag> Read(OlItemType type, CEOID oid) const;  // nothing where there is no such item
    // A hint before a Read: this one and those after it are of `oids`, one by one.
    void ExpectReads(OlItemType type, std::span<const CEOID> oids) const {
        m_volume->ExpectReads(Database(type), oids);
    }
    // Calls `take` with every item of a type in the database's order until it returns false. `take` must not use the
    // store.
    void Walk(OlItemType type, const std::function<bool(CEOID, const PropertyBag&)>& take) const;
    propertydb::Bytes ReadStream(OlItemType type, CEOID oid, CEPROPID id) const;  // empty where there is none
    bool HasStream(OlItemType type, CEOID oid, CEPROPID id) const;
    std::vector<DetailRow> Details(Detail kind, OlItemType type, CEOID owner) const;  // ascending by key
    std::optional<PropertyBag> ReadDetail(Detail kind, OlItemType type, CEOID owner, std::int64_t key) const;

    // --- Named properties ---
    // The identifier that goes with a name, or PIMPR_INVALID_ID.
    CEPROPID FindName(const std::u16string& name);
    // The same, and makes one of value type `type` where there is none.
    CEPROPID MakeName(const std::u16string& name, WORD type, bool replicates);
    std::optional<NamedProperty> FindNamed(CEPROPID id);

    // --- Writing ---
    // One transaction: all of it takes place at Commit, or, where it goes out of scope before, nothing. Other threads
    // that use the volume wait meanwhile.
    class Transaction {
     public:
        explicit Transaction(ItemStore& store) : m_store(store), m_transaction(store.m_volume) {}
        // A new record with these values; its oid, which never was another item's.
        CEOID Insert(OlItemType type, const PropertyBag& values);
        // Writes what Difference() found and leaves the record's other values. VolumeError 87 where the record is gone
        // (also below). Does nothing for no changes.
        void Update(OlItemType type, CEOID oid, const propertydb::PropertySet& changes);
        // Removes a record with its details and streams.
        void Remove(OlItemType type, CEOID oid);
        void WriteStream(OlItemType type, CEOID oid, CEPROPID id, const propertydb::Bytes& bytes);  // empty removes it
        void PutDetail(Detail kind, OlItemType type, CEOID owner, std::int64_t key, const PropertyBag& values);
        void RemoveDetail(Detail kind, OlItemType type, CEOID owner, std::int64_t key);
        void RemoveDetails(Detail kind, OlItemType type, CEOID owner);
        void Commit();

     private:
        ItemStore& m_store;
        propertydb::Transaction m_transaction;
        // A removal that is the whole transaction, and the change counter before it.
        struct Removal {
            OlItemType type;
            CEOID oid;
            std::uint64_t counter;
        };
        std::optional<Removal> m_removal;
        bool m_onlyRemoval = true;
    };

 private:
    std::size_t Position(OlItemType type) const;  // in the folder table
    CEOID Database(OlItemType type) const { return m_databases[Position(type)]; }
    // Takes a removed item out of the kept list, so that deleting one item after another does not read the whole list
    // each time.
    void ForgetOid(OlItemType type, CEOID oid, std::uint64_t counterBefore) const;

    std::shared_ptr<propertydb::Volume> m_volume;
    std::vector<CEOID> m_databases;  // in the order of the folder table
    mutable std::mutex m_mutex;      // guards m_lists
    mutable std::vector<OidList> m_lists;
};

}  // namespace kez::pocketoutlook
