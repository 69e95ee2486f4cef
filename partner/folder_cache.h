// What a folder store remembers of files that it has read, so that a listing reads only those that changed.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "partner/file_layer.h"
#include "sync/store.h"

namespace kez::partner {

struct CachedFile {
    FileStamp stamp;
    std::int64_t checked = 0;  // when the file was read: a stamp as young as that may hide a later change
    sync::ItemType type = sync::ItemType::Contact;
    std::string revision;
    std::string uid;
    sync::ProblemCode problem = sync::ProblemCode::None;
    std::string problemText;
    std::int64_t saysChanged = 0;   // when the file says it was changed (REV, LAST-MODIFIED), seconds since 1970
    bool saysChangedIsNew = false;  // it said otherwise, or nothing, when it was last looked at
    bool operator==(const CachedFile&) const = default;
};

using CachedFiles = std::map<std::string, CachedFile>;  // by file name

// Kept for one folder by its owner (the agreement's state). A cache that lost something costs time, nothing else.
class FolderCache {
 public:
    virtual ~FolderCache() = default;
    virtual CachedFiles Load() = 0;
    // Files whose entry changed; nothing for those that went.
    virtual void Save(const std::vector<std::pair<std::string, std::optional<CachedFile>>>& changes) = 0;
};

class MemoryFolderCache : public FolderCache {
 public:
    CachedFiles Load() override { return m_files; }
    void Save(const std::vector<std::pair<std::string, std::optional<CachedFile>>>& changes) override {
        for (const auto& [name, file] : changes) {
            if (file)
                m_files[name] = *file;
            else
                m_files.erase(name);
        }
    }

 private:
    CachedFiles m_files;
};

}  // namespace kez::partner
