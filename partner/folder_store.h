// A folder of .vcf and .ics files, one item a file, as one side of an agreement.
//
// - An item's identifier is its file's name; its hint is its UID. Hidden files, other extensions and folders are not
//   items. Links are not followed: a link with an item's extension is listed with a problem.
// - A revision is a digest of the file's bytes, so touching a file changes nothing. Whether a file has to be read for
//   it is told by its stamp, unless that is so young that a change could hide behind it.
// - A write goes to a hidden file of the same folder, which is then put in the item's place in one step. Whatever
//   happens when, an item's file is the old one or the new one. What killed runs left is removed before the first
//   write.
// - Nothing is read or written outside the folder.
#pragma once

#include <future>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "partner/file_layer.h"
#include "partner/folder_cache.h"
#include "partner/item_format.h"
#include "sync/store.h"

namespace kez::partner {

enum class Durability {
    Item,   // each write is durable when it returns
    Batch,  // each file is whole on the disk before it takes its place; the folder is synced with each 100th, and Flush
    None,   // the system's own time; after a power cut files may be empty
};

class FolderStore : public sync::Store {
 public:
    // Throws StoreError where `folder` is missing, no folder, or not readable. `formats`, `files` and `cache` stay the
    // caller's and must outlive the store.
    FolderStore(const std::string& folder, std::vector<const ItemFormat*> formats, FileLayer& files, FolderCache& cache,
                Durability durability = Durability::Batch);
    ~FolderStore() override;

    std::string Name() const override { return m_folder; }
    // The identifier in the folder's marker file; "" where there is none: nobody has used the folder yet, or it is
    // the empty place where another file system was mounted.
    std::string Identity() const override { return m_identity; }
    // Writes the marker file where there is none.
    void Mark();

    bool Holds(sync::ItemType type) const override;
    sync::Listing List(sync::ItemType type) override;
    sync::ReadResult Read(sync::ItemType type, const std::string& id) override;
    sync::WriteResult Create(const sync::Item& item, const std::string& hint) override;
    // Their files are on the way to the disk together before the first one is waited for.
    std::vector<sync::WriteResult> CreateAll(const std::vector<sync::Item>& items) override;
    sync::WriteResult Update(const std::string& id, const sync::Item& wanted,
                             const std::string& expectedRevision) override;
    sync::Problem Delete(sync::ItemType type, const std::string& id, const std::string& expectedRevision) override;
    void Flush() override;
    // The folder is read once for all of them, while the caller does something else.
    void ExpectLists(const std::vector<sync::ItemType>& types) override;
    // Their names are random, and yet come in their order: files, tables and indexes grow at their ends.
    void ExpectNew(sync::ItemType type, std::size_t count) override;

    // When a listed item was last changed, in nanoseconds since 1970 UTC: what its file says (REV, LAST-MODIFIED) where
    // that has moved since both last looked, else when the file was written. Nothing where it is not there.
    std::optional<std::int64_t> ChangedAt(const std::string& id);

    static constexpr const char* kMarkerName = ".kezfolder";

 private:
    using Changes = std::vector<std::pair<std::string, std::optional<CachedFile>>>;
    // A new item on its way to its place.
    struct Draft {
        const ItemFormat* format = nullptr;
        std::string uid;
        std::string bytes;
        std::string hidden;     // its file; "" where there is none
        sync::Problem problem;  // why there will be none
    };

    const ItemFormat* FormatOf(std::string_view name) const;
    NameFilter NamesOf(std::set<sync::ItemType> types) const;
    std::vector<FileEntry> Entries(sync::ItemType type);
    std::string_view ExtensionOf(sync::ItemType type) const;
    std::string PathOf(const std::string& id) const { return m_folder + "/" + id; }
    sync::Problem CheckId(const std::string& id) const;
    void CheckFolder() const;
    CachedFiles& Cache();
    CachedFile Describe(const FileReading& reading, const FileContent& content) const;
    void Forget(const std::string& id);
    void RemoveLeftovers();
    std::string WriteHidden(const std::string& bytes, std::uint32_t mode);
    void SyncHidden(const std::string& hidden);
    void RemoveHidden(const std::string& hidden);
    Draft MakeDraft(const sync::Item& item, const std::string& hint);
    void SyncDraft(Draft& draft);
    sync::WriteResult PlaceDraft(Draft& draft);
    void Settle();
    void SyncFolderNow();
    std::string NameFor(const std::string& uid, std::string_view extension, int attempt);
    std::string NewUid();
    std::string TimeText() const;
    sync::WriteResult Failure(sync::ProblemCode code, std::string text, const std::string& id) const;
    sync::WriteResult Held(const std::string& id, std::string bytes) const;
    sync::WriteResult Placed(const std::string& id, const std::string& bytes);

    std::string m_folder;
    std::string m_identity;
    std::uint64_t m_folderInode = 0;
    std::vector<const ItemFormat*> m_formats;
    FileLayer& m_files;
    FolderCache& m_cache;
    Durability m_durability;
    std::future<std::vector<FileEntry>> m_look;  // on its way, for
    std::set<sync::ItemType> m_lookedFor;        // these types, and
    std::vector<FileEntry> m_looked;             // come back: what these types still have to be given
    std::optional<CachedFiles> m_loaded;
    Changes m_cacheChanges;
    int m_unsynced = 1;  // a run that was killed may have left a name that is not durable
    int m_written = 0;
    std::uint64_t m_expected = 0;  // new items, and how many of them have been named
    std::uint64_t m_named = 0;
    bool m_cleaned = false;
};

// 128 bits of a digest of bytes, in hexadecimal. Tells a change from none; it is no defence against forgery.
std::string RevisionOf(std::string_view bytes);

}  // namespace kez::partner
