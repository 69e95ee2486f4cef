// File layers for tests: one in memory that forgets what was not synced, and one that records and fails at the nth
// call.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "partner/file_layer.h"

namespace kez::tests {

// A folder in memory with the rules of a disk: what was written is lost in a power cut unless the file was synced, and
// what was made, renamed or removed is undone unless the folder was. Each operation advances the clock by a second.
class DiskFiles : public partner::FileLayer {
 public:
    explicit DiskFiles(std::string folder) : m_folder(std::move(folder)) {}

    // What everybody sees, and what is there after a power cut: the names as they were last synced, each with its
    // synced bytes (nothing where the file was not).
    std::map<std::string, std::string> Visible() const;
    void PowerCut();
    // What is there after a power cut in which each change of a name that was not synced survives or not; and a folder
    // as it was found.
    struct Found {
        std::string bytes;
        partner::FileStamp stamp;
        std::uint32_t mode;
    };
    std::map<std::string, Found> AfterCut(const std::function<bool()>& survives) const;
    void PutBack(const std::map<std::string, Found>& found);
    void Put(const std::string& name, const std::string& bytes);  // as another program, durably
    void SetKind(const std::string& name, partner::FileKind kind) { m_live[name]->kind = kind; }
    std::vector<std::string> calls;
    std::vector<std::string> started;  // files asked to be on their way to the disk, none of which is there for that
    int failAt = 0;                    // the number of the call that fails, from 1; 0 for none
    int failWith = 5;
    std::function<void(const std::string& call)> before;  // for what happens meanwhile
    bool processesLive = false;
    std::string randomNames = "random-";  // what they begin with; another one for another process on the same folder

    std::vector<partner::FileEntry> List(const std::string& folder, const partner::NameFilter& wanted) override;
    partner::FileEntry Look(const std::string& path) override;
    partner::FileContent Read(const std::string& path) override;
    void Write(const std::string& path, const std::string& bytes, std::uint32_t mode) override;
    void StartSync(const std::string& path) override { started.push_back(NameOf(path)); }
    void Sync(const std::string& path) override;
    void SyncFolder(const std::string& folder) override;
    void Rename(const std::string& from, const std::string& to) override;
    void RenameNew(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;
    std::int64_t Now() override { return m_clock; }
    bool ProcessLives(std::int64_t) override { return processesLive; }
    std::int64_t ThisProcess() override { return 77; }
    std::string RandomName() override { return randomNames + std::to_string(++m_random); }

 private:
    struct File {
        std::string bytes, synced;
        partner::FileKind kind = partner::FileKind::Regular;
        partner::FileStamp stamp;
        std::uint32_t mode = 0644;
    };
    using Names = std::map<std::string, std::shared_ptr<File>>;

    void Count(const std::string& call, const std::string& path);
    std::string NameOf(const std::string& path) const { return path.substr(m_folder.size() + 1); }
    [[noreturn]] void Fail(int error, const std::string& call) const;
    std::shared_ptr<File> Find(const std::string& path, const std::string& call);
    void Tick() { m_clock += 1'000'000'001; }

    std::string m_folder;
    Names m_live, m_durable;
    std::int64_t m_clock = 1'772'445'600'000'000'000;  // 2026-03-02 10:00:00
    std::uint64_t m_inodes = 100;
    int m_random = 0;
};

}  // namespace kez::tests
