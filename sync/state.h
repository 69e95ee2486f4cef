// What an agreement between one device and one folder remembers: which items belong together, what both sides held
// when they last agreed, what is still to be looked at, and what only the state still holds. One SQLite file.
//
// An item's new state is committed after both sides hold it, never before. Every commit is atomic; with full
// durability it also survives a power cut.
#pragma once

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sync/item.h"
#include "sync/sqlite.h"
#include "sync/store.h"

namespace kez::sync {

// The state file cannot be used; the text names it.
class StateError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// Why what is remembered of an item is not what both sides last agreed on.
enum class Doubt {
    None,
    OldDevice,  // the device was put back to an older copy of itself
    OldFolder,  // the folder, with this state in it, was
};

// Two items, one on each side, that are the same one.
struct Pair {
    std::int64_t number = 0;
    ItemType type = ItemType::Contact;
    std::string deviceId;
    std::string folderId;
    std::string deviceRevision;
    std::string folderRevision;  // "" where the folder's item is to be looked at again
    std::string title;
    Doubt doubt = Doubt::None;  // until both sides have been compared
};

// What both sides held, as Remembered() gives it.
struct Bases {
    Fields device;
    Fields folder;
};

struct WaitingConflict {
    ItemType type = ItemType::Contact;
    std::string title;
    std::string deviceId;  // "" where the item is gone on the device
    std::string folderId;  // "" where it is gone in the folder
    std::string text;      // one sentence: what is disputed
    std::vector<std::string> fields;
    std::string choice;  // "", or what the user decided: "device", "folder", "both"
};

// What is to be remembered of some items, committed together.
struct Batch {
    struct Agreed {
        Pair pair;  // number 0 for a new one
        Bases bases;
    };
    std::vector<Agreed> agreed;
    std::vector<std::int64_t> forgotten;                              // pair numbers
    std::vector<std::pair<ItemType, std::string>> settledOnDevice;    // identifiers that need no further look
    std::vector<std::pair<ItemType, std::string>> lookAgainOnDevice;  // settled, and to be compared in the next pass
    std::vector<WaitingConflict> waiting;
    std::vector<std::pair<ItemType, std::string>> settledConflicts;  // by device identifier, or "folder:" + folder's
    // Items; most of them are settled on the device as well.
    std::size_t Size() const {
        return std::max(agreed.size() + forgotten.size() + waiting.size(), settledOnDevice.size());
    }
};

class State : public Keepsakes {
 public:
    // Opens or makes the state of this device and this folder. A file that belongs to another pair, or is no state
    // file, is refused with StateError and left as it is.
    State(const std::filesystem::path& file, const std::string& deviceIdentity, const std::string& folderIdentity,
          bool durable);
    ~State() override;

    bool IsNew() const { return m_isNew; }  // nothing has ever been agreed on

    // Listing clears the device's change flags, so it is noted before and what was listed after: of each type that was
    // listed, the identifiers of what changed. Beginning answers the types of which a note of an earlier pass is found:
    // their flags may be lost, and everything has to be compared.
    std::set<ItemType> BeginListings(const std::vector<ItemType>& types);
    void EndListings(const std::map<ItemType, std::vector<std::string>>& changed);
    // Identifiers listed as changed and not settled since, or to be looked at again.
    std::set<std::string> Unsettled(ItemType type);
    // Nothing is to be looked at again that was not listed as changed: for who only tells what is known to have
    // changed.
    void ForgetLooksAgain();

    std::vector<Pair> Pairs(ItemType type);
    std::size_t CountPairs(ItemType type);
    Bases BasesOf(const Pair& pair);

    // All that is remembered is doubted, and everything is to be compared.
    void DoubtAll(Doubt doubt);

    // Notes that the device is about to be written what the folder's item says; the note goes when both have agreed on
    // the item. It survives the end of the process; a power cut may take it or leave it, so what it says of the folder
    // is durable before.
    void NoteWriting(ItemType type, const std::string& folderId);
    std::set<std::pair<ItemType, std::string>> Writing();

    void Commit(const Batch& batch);

    std::vector<WaitingConflict> Conflicts();
    void Choose(const WaitingConflict& conflict, const std::string& choice);

    void Keep(ItemType type, const std::string& id, const std::string& what) override;
    std::string Kept(ItemType type, const std::string& id) override;

    // Small facts by name, for who uses this state; not part of any item.
    std::string Note(const std::string& name);
    void SetNote(const std::string& name, const std::string& value);

    // A table of facts about the folder's files, as its store wants to find them again. A power cut may take what was
    // not followed by a commit.
    void ForEachCached(const std::function<void(std::string name, std::string facts)>& take);
    void ReplaceCached(const std::vector<std::pair<std::string, std::string>>& changed,
                       const std::vector<std::string>& removed);

    // A copy of the whole state, made while it is in use; nothing may be there. Durable when the file is synced.
    void CopyTo(const std::filesystem::path& file);

 private:
    Sqlite& Durable();  // for who writes what a power cut is not to take
    Sqlite& Relaxed();  // for who writes what only has to survive the process

    std::unique_ptr<Sqlite> m_connection;
    std::unique_ptr<Statement> m_noteWriting;  // these two for each item
    std::unique_ptr<Statement> m_basesOf;
    bool m_durable;
    bool m_relaxed = false;  // what is committed now would survive the process, not a power cut
    bool m_isNew = false;
};

// Fields as bytes and back; broken bytes give nothing.
std::string Packed(const Fields& fields);
std::optional<Fields> Unpacked(const std::string& bytes);

}  // namespace kez::sync
