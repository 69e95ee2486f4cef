// All that a folder store does with files, as an interface: the real one, and in tests ones that fail at the nth call
// or forget what was not synced.
#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kez::partner {

// What tells that a file is the one that was seen before. Times in nanoseconds since 1970.
struct FileStamp {
    std::int64_t modified = 0;
    std::int64_t changed = 0;  // of the inode: moves also where someone puts the modification time back
    std::uint64_t size = 0;
    std::uint64_t inode = 0;
    bool operator==(const FileStamp&) const = default;
};

enum class FileKind { None, Regular, Folder, Link, Other };

struct FileEntry {
    std::string name;
    FileKind kind = FileKind::None;
    FileStamp stamp;
};

struct FileContent {
    std::string bytes;
    FileStamp stamp;         // of the opened file itself
    std::uint32_t mode = 0;  // permission bits
};

class FileError : public std::runtime_error {
 public:
    FileError(int error, const std::string& what);
    int Error() const { return m_error; }  // of errno

 private:
    int m_error;
};

using NameFilter = std::function<bool(std::string_view name)>;

// Paths are absolute. Every operation throws FileError, whose text names the operation, the path and the reason.
class FileLayer {
 public:
    virtual ~FileLayer() = default;

    // What is in a folder (where `wanted` is given, what it says yes to) in the order of names, with the stamps of
    // regular files; links are not followed.
    virtual std::vector<FileEntry> List(const std::string& folder, const NameFilter& wanted = {}) = 0;
    // The same, which may begin at once, beside its caller: `wanted` is then asked from another thread. The layer must
    // outlive what is returned. Errors are thrown by its get().
    virtual std::future<std::vector<FileEntry>> ListAhead(const std::string& folder, NameFilter wanted) {
        return std::async(std::launch::deferred,
                          [this, folder, wanted = std::move(wanted)] { return List(folder, wanted); });
    }
    // One entry; of kind None where there is nothing. Links are not followed.
    virtual FileEntry Look(const std::string& path) = 0;
    // A regular file; a link is refused (ELOOP).
    virtual FileContent Read(const std::string& path) = 0;
    // A new file, with these permission bits or, for 0, the usual ones; one that is there is refused (EEXIST).
    virtual void Write(const std::string& path, const std::string& bytes, std::uint32_t mode) = 0;
    // Asks for a file to be written to the disk soon, so that Sync has less to wait for. Never fails, promises nothing.
    virtual void StartSync(const std::string& /*path*/) {}
    // Makes what was written to a file, or done in a folder, durable.
    virtual void Sync(const std::string& path) = 0;
    virtual void SyncFolder(const std::string& folder) = 0;
    // Puts a file in the place of another, in one step; or, as a new one, only where there is none (EEXIST).
    virtual void Rename(const std::string& from, const std::string& to) = 0;
    virtual void RenameNew(const std::string& from, const std::string& to) = 0;
    virtual void Remove(const std::string& path) = 0;

    virtual std::int64_t Now() = 0;                       // the clock that stamps are made with
    virtual bool ProcessLives(std::int64_t process) = 0;  // by its number, on this machine
    virtual std::int64_t ThisProcess() = 0;
    virtual std::string RandomName() = 0;  // a UUID
};

class RealFileLayer : public FileLayer {
 public:
    std::vector<FileEntry> List(const std::string& folder, const NameFilter& wanted = {}) override;
    std::future<std::vector<FileEntry>> ListAhead(const std::string& folder, NameFilter wanted) override;
    FileEntry Look(const std::string& path) override;
    FileContent Read(const std::string& path) override;
    void Write(const std::string& path, const std::string& bytes, std::uint32_t mode) override;
    void StartSync(const std::string& path) override;
    void Sync(const std::string& path) override;
    void SyncFolder(const std::string& folder) override;
    void Rename(const std::string& from, const std::string& to) override;
    void RenameNew(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;
    std::int64_t Now() override;
    bool ProcessLives(std::int64_t process) override;
    std::int64_t ThisProcess() override;
    std::string RandomName() override;
};

}  // namespace kez::partner
