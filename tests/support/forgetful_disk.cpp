// The layer: everything goes to the files at once, and is noted beside. What is durable is what the notes say: a sync
// does not reach the system, which only would take its time.
#include "tests/support/forgetful_disk.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

namespace kez::tests::forgetful_disk {

namespace {

constexpr std::size_t kSector = 512;

struct Pending {
    std::size_t at;
    std::string bytes;
    bool truncates;  // to the length `at`
};
struct Known {
    std::string durable;
    std::vector<Pending> pending;
};

std::recursive_mutex g_mutex;
std::map<std::filesystem::path, Known> g_files;
std::function<void()> g_look;
std::size_t g_syncs = 0;
sqlite3_vfs* g_below = nullptr;

struct File {
    sqlite3_file base;
    std::filesystem::path* path;  // null for a file that nobody looks at after a cut
    sqlite3_file* real;           // directly behind this object
};

File& Self(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }
sqlite3_file* Real(sqlite3_file* file) { return Self(file).real; }

void Apply(std::string& content, std::size_t at, const char* bytes, std::size_t count) {
    if (content.size() < at + count) content.resize(at + count);
    std::memcpy(content.data() + at, bytes, count);
}

void Apply(std::string& content, const Pending& pending, const Survives& survives) {
    if (pending.truncates) {
        if (content.size() > pending.at && survives()) content.resize(pending.at);
        return;
    }
    for (std::size_t done = 0; done < pending.bytes.size();) {
        const std::size_t toSectorEnd = kSector - (pending.at + done) % kSector;
        const std::size_t count = std::min(toSectorEnd, pending.bytes.size() - done);
        if (survives()) Apply(content, pending.at + done, pending.bytes.data() + done, count);
        done += count;
    }
}

void Look() {
    if (g_look) g_look();
}

int Close(sqlite3_file* file) {
    File& self = Self(file);
    delete self.path;
    return self.real->pMethods->xClose(self.real);
}

int Read(sqlite3_file* file, void* into, int bytes, sqlite3_int64 at) {
    return Real(file)->pMethods->xRead(Real(file), into, bytes, at);
}

int Write(sqlite3_file* file, const void* from, int bytes, sqlite3_int64 at) {
    std::lock_guard lock(g_mutex);
    if (Self(file).path) {
        Look();
        g_files[*Self(file).path].pending.push_back(
            {static_cast<std::size_t>(at), std::string(static_cast<const char*>(from), static_cast<std::size_t>(bytes)),
             false});
    }
    return Real(file)->pMethods->xWrite(Real(file), from, bytes, at);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    std::lock_guard lock(g_mutex);
    if (Self(file).path) g_files[*Self(file).path].pending.push_back({static_cast<std::size_t>(size), {}, true});
    return Real(file)->pMethods->xTruncate(Real(file), size);
}

int Sync(sqlite3_file* file, int) {
    std::lock_guard lock(g_mutex);
    if (!Self(file).path) return SQLITE_OK;
    Look();
    ++g_syncs;
    Known& known = g_files[*Self(file).path];
    for (const Pending& pending : known.pending) Apply(known.durable, pending, [] { return true; });
    known.pending.clear();
    return SQLITE_OK;
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) { return Real(file)->pMethods->xFileSize(Real(file), size); }
int Lock(sqlite3_file* file, int kind) { return Real(file)->pMethods->xLock(Real(file), kind); }
int Unlock(sqlite3_file* file, int kind) { return Real(file)->pMethods->xUnlock(Real(file), kind); }
int CheckReservedLock(sqlite3_file* file, int* out) {
    return Real(file)->pMethods->xCheckReservedLock(Real(file), out);
}
int FileControl(sqlite3_file* file, int what, void* with) {
    return Real(file)->pMethods->xFileControl(Real(file), what, with);
}
int SectorSize(sqlite3_file* file) { return Real(file)->pMethods->xSectorSize(Real(file)); }
int DeviceCharacteristics(sqlite3_file* file) { return Real(file)->pMethods->xDeviceCharacteristics(Real(file)); }
int ShmMap(sqlite3_file* file, int page, int size, int extend, void volatile** region) {
    return Real(file)->pMethods->xShmMap(Real(file), page, size, extend, region);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
    return Real(file)->pMethods->xShmLock(Real(file), offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) { Real(file)->pMethods->xShmBarrier(Real(file)); }
int ShmUnmap(sqlite3_file* file, int remove) { return Real(file)->pMethods->xShmUnmap(Real(file), remove); }

// Version 2: nothing is mapped but the shared memory.
constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    auto* real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(file) + sizeof(File));
    std::memset(static_cast<void*>(real), 0, static_cast<std::size_t>(g_below->szOsFile));
    file->pMethods = nullptr;
    const int result = g_below->xOpen(g_below, name, real, flags, outFlags);
    if (result != SQLITE_OK) {
        if (real->pMethods) real->pMethods->xClose(real);
        return result;
    }
    std::filesystem::path* path = nullptr;
    if (name && flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) {
        std::lock_guard lock(g_mutex);
        path = new std::filesystem::path(name);
        if (!g_files.contains(*path)) {
            std::string& content = g_files[*path].durable;
            content.resize(std::filesystem::file_size(*path));
            std::ifstream(*path, std::ios::binary).read(content.data(), static_cast<std::streamsize>(content.size()));
        }
    }
    new (file) File{{&kMethods}, path, real};
    return SQLITE_OK;
}

// A removed file may be there after a cut as long as nobody synced its folder.
int Delete(sqlite3_vfs*, const char* name, int syncFolder) {
    std::lock_guard lock(g_mutex);
    if (syncFolder) g_files.erase(name);
    return g_below->xDelete(g_below, name, syncFolder);
}

}  // namespace

void Install() {
    if (g_below) return;
    g_below = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs layer = *g_below;
    layer.zName = "forgetful";
    layer.pNext = nullptr;
    layer.szOsFile += static_cast<int>(sizeof(File));
    layer.xOpen = Open;
    layer.xDelete = Delete;
    if (sqlite3_vfs_register(&layer, 1) != SQLITE_OK) throw std::runtime_error("SQLite takes no further layer");
}

Files CutPower(const Survives& survives) {
    std::lock_guard lock(g_mutex);
    Files files;
    for (const auto& [path, known] : g_files) {
        std::string content = known.durable;
        for (const Pending& pending : known.pending) Apply(content, pending, survives);
        files[path] = std::move(content);
    }
    return files;
}

void AtEachCall(std::function<void()> look) {
    std::lock_guard lock(g_mutex);
    g_look = std::move(look);
}

std::size_t Syncs() {
    std::lock_guard lock(g_mutex);
    return g_syncs;
}

void Forget() {
    std::lock_guard lock(g_mutex);
    g_files.clear();
}

}  // namespace kez::tests::forgetful_disk
