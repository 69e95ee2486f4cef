// A volume of the property database as host code uses it: the same records, the same connection and the same locks
// as the Ce* calls of this process have.
//
// Records and databases of a volume have identifiers of one number space; none is ever used twice. Every call is one
// transaction, unless a Transaction is open on the volume: then it is part of that. Any number of processes may use
// a volume at once; a call waits for another writer up to the volume's lock timeout (2000 ms).
//
// Failures are VolumeError with the platform's error number: 2 and 3 no such file or folder, 5 denied or in use,
// 11 no volume, 24 record or property too large, 32 another writer did not finish in time, 52 name taken, 87 a value
// that does not fit its identifier, 112 disk full, 183 unique key twice, 1168 no such database, 1358 damaged.
// Objects may be used from any thread.
#pragma once

#include <windbase.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/propertydb/property_set.h"

namespace kez::propertydb {

class VolumeError : public std::runtime_error {
 public:
    VolumeError(DWORD code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    DWORD Code() const { return m_code; }  // the last error that a Ce* call would leave

 private:
    DWORD m_code;
};

struct SortProperty {
    CEPROPID id;
    DWORD flags = 0;  // CEDB_SORT_DESCENDING, CEDB_SORT_CASEINSENSITIVE, ...
};
struct SortOrder {
    std::vector<SortProperty> properties;  // 1 to 16; equal keys follow one another by identifier
    WORD keyFlags = 0;                     // CEDB_SORT_UNIQUE, CEDB_SORT_PRIMARYKEY, ...
};
struct DatabaseDefinition {
    std::u16string name;  // 1 to 127 characters; names compare without regard to ASCII case
    DWORD type = 0;
    std::vector<SortOrder> sortOrders;  // up to 32
    // Where this is not empty a record takes these properties only; a sort order's properties always belong to it.
    std::vector<CEPROPID> properties;
};
struct DatabaseState {
    std::uint32_t records = 0;
    // Moves on with every commit that changed a record of the database or something attached to one, whichever
    // process did it. A list that was read under a number is good as long as the number stands.
    std::uint64_t changes = 0;
    std::uint64_t modified = 0;  // device clock of the last change, as a FILETIME counts; 0 before the first
    std::uint64_t bytes = 0;     // of all values
};

// Something that belongs to a record and goes with it: an exception, a recipient, a picture. (record, kind, key)
// names it; the key is the caller's (a date, a position), and things of one kind come in the order of their keys.
struct Attachment {
    std::int64_t key = 0;
    PropertySet properties;
    Bytes data;  // up to 32 MB; not loaded by Attachments()
};

enum class JournalAction { Added = 1, Changed = 2, Deleted = 3 };
struct JournalEntry {
    std::int64_t sequence;  // ascending in the order of the commits; never used twice
    CEOID database;
    CEOID record;
    JournalAction action;
    std::uint64_t time;  // device clock when it was written, as a FILETIME counts
};

class Connection;

class Volume : public std::enable_shared_from_this<Volume> {
 public:
    // The volume at a device path ("\pim.vol"). It stays open as long as anyone in this process holds it or has it
    // mounted; all of them share one object.
    static std::shared_ptr<Volume> Open(LPCWSTR devicePath);
    // The same, and makes the volume where there is none.
    static std::shared_ptr<Volume> OpenOrCreate(LPCWSTR devicePath);
    // The volume under a connection of its own, which sees no open transaction of this process and joins none.
    static std::shared_ptr<Volume> OpenApart(LPCWSTR devicePath);
    // The one that this process shares, where somebody has it open; else null.
    static std::shared_ptr<Volume> IfOpen(LPCWSTR devicePath);
    static bool Exists(LPCWSTR devicePath);

    ~Volume();
    Volume(const Volume&) = delete;
    Volume& operator=(const Volume&) = delete;

    CEGUID Guid() const;  // what CeMountDBVolEx gives for it
    // Made once with the volume and never changed; a copy of the file has the same, a new volume another.
    std::uint64_t Identity() const;
    // The volume for this thread alone, unless another one has it now: then the lock owns nothing.
    std::unique_lock<std::recursive_mutex> TryLock();

    // Makes durable what this process wrote since its last flush; costs nothing where that is nothing.
    void Flush();

    // --- Databases ---
    CEOID FindDatabase(const std::u16string& name);  // 0 where there is none
    CEOID CreateDatabase(const DatabaseDefinition& definition);
    // The database of that name, made where there is none; one that stands is taken as it is.
    CEOID EnsureDatabase(const DatabaseDefinition& definition);
    DatabaseDefinition Definition(CEOID database);
    std::vector<CEOID> Databases();  // ascending
    DatabaseState State(CEOID database);

    // --- Identifiers ---
    CEOID LastIdentifier();  // the highest ever given in this volume
    // Identifiers up to and with this one are given to nobody any more.
    void SkipIdentifiers(CEOID upTo);

    // --- Records ---
    CEOID DatabaseOf(CEOID record);  // 0 where there is no such record
    // All properties; nothing where the database has no such record.
    std::optional<PropertySet> Read(CEOID database, CEOID record);
    // A hint before each Read of a walk: it and those after it read `records`, one by one in this order. They cost less
    // then; what they give is the same.
    void ExpectReads(CEOID database, std::span<const CEOID> records);
    CEOID Insert(CEOID database, const PropertySet& properties);
    // Sets the properties given, removes those without a value, leaves the others. False: no such record.
    bool Update(CEOID database, CEOID record, const PropertySet& changes);
    // Removes the record with everything attached. False: no such record.
    bool Delete(CEOID database, CEOID record);

    // Identifiers of all records in the order of a sort order; -1 is the order of creation. The list is shared and
    // kept until State().changes moves, so asking again is cheap; it sees the caller's own open transaction.
    std::shared_ptr<const std::vector<CEOID>> OrderedOids(CEOID database, int sortOrder = 0);
    // Calls `take` with every record in that order until it returns false. `take` must not use the volume.
    void Walk(CEOID database, int sortOrder, const std::function<bool(CEOID, const PropertySet&)>& take);
    // The first record whose leading properties of the sort order have these values (given in its order); 0: none.
    CEOID FindEqual(CEOID database, int sortOrder, const std::vector<PropertySet::Entry>& values);

    // --- What is attached to a record ---
    // Each change counts as a change of the record: it moves State().changes and goes into the journal.
    std::vector<Attachment> Attachments(CEOID database, CEOID record, DWORD kind);  // by key; data is left empty
    std::optional<Attachment> ReadAttachment(CEOID database, CEOID record, DWORD kind, std::int64_t key);
    // Bytes of its data; nothing where there is no such attachment.
    std::optional<std::uint64_t> AttachmentSize(CEOID database, CEOID record, DWORD kind, std::int64_t key);
    // Adds it or puts it in the place of the one with its key. False: no such record.
    bool PutAttachment(CEOID database, CEOID record, DWORD kind, const Attachment& attachment);
    // False: there was none.
    bool RemoveAttachment(CEOID database, CEOID record, DWORD kind, std::int64_t key);
    // The number removed.
    std::size_t RemoveAttachments(CEOID database, CEOID record, DWORD kind);

    // --- Journal ---
    // From now on every change of a record of `database`, by whatever process, is noted in the transaction that
    // makes it. Doing it again changes nothing.
    void EnableJournal(CEOID database);
    bool HasJournal(CEOID database);
    // Entries after `after`, oldest first, at most `limit`.
    std::vector<JournalEntry> ReadJournal(std::int64_t after, std::size_t limit);
    std::int64_t LastJournalSequence();   // the highest ever given in this volume, trimmed or not; 0 for none
    void TrimJournal(std::int64_t upTo);  // removes the entries up to and with this number

    // --- Named numbers kept with the volume, for its users ---
    std::optional<std::int64_t> Setting(const std::string& name);
    void SetSetting(const std::string& name, std::int64_t value);

    // For the calls of this room.
    struct Private;
    Volume(Private&&);
    Private& Inside() { return *m_private; }

 private:
    friend class Transaction;
    std::unique_ptr<Private> m_private;
};

// One transaction on a volume: what is written between its start and Commit() becomes visible and durable as one, or
// not at all. Without Commit() (an exception flies) everything is taken back. It holds the volume for its thread:
// other threads wait, other processes may read and wait to write; keep it short and end it on the thread that began
// it. One that begins inside another is part of that one: without its Commit() only its own writes are taken back.
class Transaction {
 public:
    explicit Transaction(std::shared_ptr<Volume> volume);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void Commit();  // throws VolumeError; then nothing was written

 private:
    std::shared_ptr<Volume> m_volume;
    bool m_open = true;
};

}  // namespace kez::propertydb
