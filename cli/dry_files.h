// Files that are read and never written: what is done to them is kept in memory and seen by later reads, so that a
// synchronisation can be rehearsed on a folder.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "partner/file_layer.h"

namespace kez::cli {

class DryFiles : public partner::FileLayer {
 public:
    // `folder` (absolute) counts as there even where it is not.
    explicit DryFiles(std::string folder) : m_folder(std::move(folder)) {}

    std::vector<partner::FileEntry> List(const std::string& folder, const partner::NameFilter& wanted = {}) override;
    partner::FileEntry Look(const std::string& path) override;
    partner::FileContent Read(const std::string& path) override;
    void Write(const std::string& path, const std::string& bytes, std::uint32_t mode) override;
    void Sync(const std::string&) override {}
    void SyncFolder(const std::string&) override {}
    void Rename(const std::string& from, const std::string& to) override;
    void RenameNew(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;
    std::int64_t Now() override { return m_real.Now(); }
    bool ProcessLives(std::int64_t process) override { return m_real.ProcessLives(process); }
    std::int64_t ThisProcess() override { return m_real.ThisProcess(); }
    std::string RandomName() override { return m_real.RandomName(); }

 private:
    partner::FileEntry EntryOf(const std::string& path, const partner::FileContent& content) const;

    partner::RealFileLayer m_real;
    std::string m_folder;
    std::map<std::string, std::optional<partner::FileContent>> m_changes;  // by path; nothing for what was removed
    std::uint64_t m_nextInode = 1ULL << 62;
};

}  // namespace kez::cli
