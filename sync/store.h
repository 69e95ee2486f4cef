// The contract of a store: one side of an agreement, a device or a folder.
//
// - An identifier names one item of one type and stays the same while the item lives; it is not given to another
//   item while the agreement remembers it.
// - A revision changes whenever anyone changes the item, and only then. A store that keeps none answers "" when it
//   lists, and then says by `changed` whether the item changed since the listing before; what it reads may have one
//   all the same.
// - Listing may forget: a store that keeps change flags clears them when it lists. Who lists must have made a note
//   that it does so, and must have stored what came before it acts on it.
// - What Create, Update and Delete wrote is visible to everyone at once and durable when Flush has returned.
// - Failure of one item is a value (Problem), never an exception; a store that cannot go on at all throws
//   StoreError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sync/item.h"

namespace kez::sync {

class StoreError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

enum class ProblemCode {
    None,
    Gone,              // the item is not there any more
    ChangedMeanwhile,  // it is not what the caller thinks it is; nothing was written
    Unreadable,        // what is stored cannot be understood
    Refused,           // the store does not take this item
    NotRepresentable,  // the store cannot hold this item without loss of meaning
    Duplicate,         // another item says it is the same one
    Failed,            // the operation failed for a reason outside the item (disk, permissions, ...)
};

struct [[nodiscard]] Problem {
    ProblemCode code = ProblemCode::None;
    std::string text;   // one sentence, without the item's name
    std::string where;  // a file name or "oid 16777220"; may be empty
    explicit operator bool() const { return code != ProblemCode::None; }
};

struct Listed {
    std::string id;
    std::string revision;                    // "" where the store keeps none
    std::optional<bool> changed;             // since the listing before, where the store knows
    std::string hint;                        // a stable name for matching across stores (a UID); may be empty
    std::shared_ptr<const Problem> problem;  // the item is there but cannot be used; null as a rule, so it is small
};

struct Listing {
    bool trusted = true;  // false: the store answered nothing at all, which is not the same as an empty store
    std::vector<Listed> items;
    std::vector<Problem> findings;  // what was odd about the listing, for the report
};

struct [[nodiscard]] ReadResult {
    Problem problem;
    Item item;
    std::string revision;
    std::string raw;                  // what the item was read from (a packet, a file's text), kept in the journal
    std::vector<std::string> losses;  // what of the item the other side will not see, one sentence each
    std::optional<Item> remaining;    // what the store still holds, where reading took something out of it
};

struct [[nodiscard]] WriteResult {
    Problem problem;
    std::string id;
    std::string revision;
    Item held;                             // the item as the store gives it back now
    std::optional<Item> remaining;         // as in ReadResult, where giving it back took something out
    std::vector<std::string> losses = {};  // what of the item this store keeps otherwise for good, one sentence each
};

class Store {
 public:
    virtual ~Store() = default;

    virtual std::string Name() const = 0;      // for messages: the folder's path
    virtual std::string Identity() const = 0;  // stable; another identity is another store

    virtual bool Holds(ItemType type) const = 0;
    virtual Listing List(ItemType type) = 0;
    virtual ReadResult Read(ItemType type, const std::string& id) = 0;

    // A new item. `hint` is a stable name that the store may use for it (a UID).
    virtual WriteResult Create(const Item& item, const std::string& hint) = 0;

    // New items without names: what Create says of each, in their order. A store may do it in fewer steps; a process
    // that is killed meanwhile may have made none of them.
    virtual std::vector<WriteResult> CreateAll(const std::vector<Item>& items) {
        std::vector<WriteResult> results;
        for (const Item& item : items) results.push_back(Create(item, {}));
        return results;
    }

    // Makes the item `wanted`; only fields that differ from what is held are touched. With a non-empty
    // `expectedRevision`, an item that has another one is left alone: ChangedMeanwhile.
    virtual WriteResult Update(const std::string& id, const Item& wanted, const std::string& expectedRevision) = 0;

    // Deleting what is gone already succeeds.
    virtual Problem Delete(ItemType type, const std::string& id, const std::string& expectedRevision) = 0;

    virtual void Flush() = 0;

    // These types are going to be listed, each once and soon: a store may look for all of them at once, now.
    virtual void ExpectLists(const std::vector<ItemType>&) {}

    // Milestones of a pass, for a store that reports them to somebody.
    virtual void BeginPass(ItemType) {}
    virtual void EndPass(ItemType) {}
    virtual void BeginWrites(ItemType) {}
    virtual void EndWrites(ItemType) {}
    // About so many new items without names are going to be made.
    virtual void ExpectNew(ItemType, std::size_t /*count*/) {}

    // The other side holds the item that was read from here, and so does the state.
    virtual void Acknowledge(ItemType, const std::string& /*id*/) {}
};

// What a store takes out of itself while it is read, kept until the other side holds it durably. What Keep was
// given is durable when it returns and survives any end of the process.
class Keepsakes {
 public:
    virtual ~Keepsakes() = default;
    virtual void Keep(ItemType type, const std::string& id, const std::string& what) = 0;
    virtual std::string Kept(ItemType type, const std::string& id) = 0;  // "" for nothing
};

}  // namespace kez::sync
