// Where items live: the databases of the volume "\pim.vol". Items are records, their identifiers are the record
// identifiers, and everything that can be counted or ordered is counted and ordered by the records themselves, the
// ones that the property database calls see.
//
// Every operation throws StoreError where the volume refuses. Calls from several threads are serialised inside.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/pocketoutlook/property_bag.h"

namespace kez::pocketoutlook {

// The volume refused: `Error()` is the last error of the property database.
class StoreError : public std::runtime_error {
 public:
    StoreError(const std::string& what, DWORD error) : std::runtime_error(what), m_error(error) {}
    DWORD Error() const { return m_error; }
    HRESULT Result() const { return HRESULT_FROM_WIN32(m_error); }

 private:
    DWORD m_error;
};

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

// Rows that belong to an item beside its record: kept in a database of their own, ordered by owner and key, removed
// with their owner.
enum class Detail {
    Exceptions,  // of a series; the key is the original start of the occurrence
    Recipients,  // of an appointment; the key is the position, from 1
};
struct DetailRow {
    double key = 0;
    PropertyBag values;
};

class ItemStore {
 public:
    // Opens the volume of the open device and makes it and its databases where they are missing.
    static std::shared_ptr<ItemStore> Open();
    virtual ~ItemStore() = default;

    // A number that moves whenever a record of that type may have changed, by this process or another one.
    virtual std::uint64_t ChangeCounter(OlItemType type) = 0;
    // The oids of all items of a type in the database's order.
    virtual std::vector<CEOID> Oids(OlItemType type) = 0;
    virtual std::optional<OlItemType> TypeOf(CEOID oid) = 0;
    // The record's values, large ones (streams) left out; nothing where there is no such item.
    virtual std::optional<PropertyBag> Read(CEOID oid) = 0;
    // A stream property's bytes; empty where there are none.
    virtual std::vector<BYTE> ReadStream(CEOID oid, CEPROPID id) = 0;
    virtual bool HasStream(CEOID oid, CEPROPID id) = 0;
    // Rows ascending by key.
    virtual std::vector<DetailRow> Details(Detail kind, CEOID owner) = 0;
    // The identifier of a property named by a program: the existing one, else a new one of `type` where `create` is
    // set, else PIMPR_INVALID_ID. `replicate` says whether copies of an item carry it.
    virtual CEPROPID NamedProperty(const std::u16string& name, WORD type, bool create, bool replicate) = 0;
    virtual bool Replicates(CEPROPID id) = 0;

    // One transaction: all of it takes place at Commit, or, where it goes out of scope before, nothing. No other
    // transaction of this process can begin meanwhile.
    class Transaction {
     public:
        virtual ~Transaction() = default;
        // A new record with these values; its oid, which never was another item's.
        virtual CEOID Insert(OlItemType type, const PropertyBag& values) = 0;
        // Writes these properties of a record and leaves its others; StoreError 87 where the record is gone. Does
        // nothing for no changes.
        virtual void Update(CEOID oid, const PropertyChanges& changes) = 0;
        // Marks the record as changed though none of its own values is: for changes of details and streams.
        virtual void Touch(CEOID oid) = 0;
        // Removes a record with its details and streams; StoreError 87 where it is gone.
        virtual void Remove(CEOID oid) = 0;
        virtual void WriteStream(CEOID oid, CEPROPID id, const std::vector<BYTE>& bytes) = 0;  // empty removes it
        virtual void PutDetail(Detail kind, CEOID owner, double key,
                               const PropertyBag& values) = 0;  // adds or replaces
        virtual void RemoveDetail(Detail kind, CEOID owner, double key) = 0;
        virtual void RemoveDetails(Detail kind, CEOID owner) = 0;
        virtual void Commit() = 0;
    };
    virtual std::unique_ptr<Transaction> Begin() = 0;
};

}  // namespace kez::pocketoutlook
